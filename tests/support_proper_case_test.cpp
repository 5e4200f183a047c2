#include "support/proper_case.h"

#include <gtest/gtest.h>

#include <string>

namespace {

namespace tools = qorvintr::support::modTools;

TEST(ProperCase, OfTheEmptyTextIsTheEmptyText) { EXPECT_EQ(tools::ProperCase(u""), u""); }

TEST(ProperCase, OfDataFieldIsDataField) {
  EXPECT_EQ(tools::ProperCase(u"DATA FIELD"), u"Data Field");
}

TEST(ProperCase, OfTheSeedAUTODF0IsAutodf0) {
  EXPECT_EQ(tools::ProperCase(u"AUTODF0"), u"Autodf0");
  EXPECT_EQ(tools::ProperCase(u"FormatHL7DateTime"), u"Formathl7datetime");
}

TEST(ProperCase, OnlyABlankStartsAWord) {
  EXPECT_EQ(tools::ProperCase(u"a\tb-c.d1e"), u"A\tb-c.d1e");
}

TEST(ProperCase, TwoBlanksInARowKeepBothAndCapitaliseTheLetterAfter) {
  EXPECT_EQ(tools::ProperCase(u"one  two"), u"One  Two");
  EXPECT_EQ(tools::ProperCase(u" lead"), u" Lead");
}

TEST(ProperCase, ATextEndingInABlankDoesNotFail) {
  EXPECT_EQ(tools::ProperCase(u"end "), u"End ");
  EXPECT_EQ(tools::ProperCase(u" "), u" ");
}

TEST(ProperCase, TheFunctionListIsStoredInCapitalisedWordForm) {
  EXPECT_EQ(tools::ProperCase(u"If, Format, FormatHL7DateTime, Replace, DateCat, DateCompare"),
            u"If, Format, Formathl7datetime, Replace, Datecat, Datecompare");
}

TEST(ProperCase, AnyUtf16ContentIsHandled) {
  std::u16string odd = u"\xD800x \xDC00y \u00E9t\u00C9";
  std::u16string result = tools::ProperCase(odd);
  EXPECT_EQ(result.size(), odd.size());
  EXPECT_EQ(result[0], u'\xD800');
  EXPECT_EQ(result[1], u'x');
}

}  // namespace
