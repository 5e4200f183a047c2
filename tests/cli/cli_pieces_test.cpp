// The pieces of the qorvintr command that the program's own output cannot reach: the text of
// values the command line cannot produce (Empty, Null, an unset object, an object whose default
// member fails), the escapes, the lines files skip, the field parser and the ReportError line.
#include <gtest/gtest.h>

#include <array>
#include <memory>
#include <string>

#include "automation/datetime.h"
#include "qorvintr/error.h"
#include "qorvintr/value.h"
#include "cli/hl7.h"
#include "cli/options.h"
#include "cli/session.h"
#include "cli/text_io.h"
#include "qorvintr/components/data_field.h"

namespace qorvintr::cli {
namespace {

using automation::Value;

class FailingObject : public automation::Object {
 public:
  std::u16string ClassName() const override { return u"Failing"; }
  Value DefaultValue() override { automation::Raise(automation::err::MemberNotSupported); }
};

TEST(CliValueText, EmptyIsTheEmptyText) { EXPECT_EQ(ValueText(Value()), u""); }

TEST(CliValueText, NullIsTheWordNull) { EXPECT_EQ(ValueText(Value::Null()), u"Null"); }

TEST(CliValueText, AnUnsetObjectIsTheWordNothing) {
  EXPECT_EQ(ValueText(Value::Object(nullptr)), u"Nothing");
}

TEST(CliValueText, AnObjectShowsItsDefaultMember) {
  auto inner = components::MakeDataField(u"A", Value::Long(42), u"Long");
  auto outer = components::MakeDataField(u"B", Value::Object(inner), u"Variant");
  EXPECT_EQ(ValueText(Value::Object(outer)), u"42");
}

TEST(CliValueText, AnObjectWhoseDefaultMemberFailsShowsTheError) {
  EXPECT_EQ(ValueText(Value::Object(std::make_shared<FailingObject>())),
            u"<error 438: Object doesn't support this property or method>");
}

TEST(CliValueText, PlatformTextOfNumbersDatesAndBooleans) {
  EXPECT_EQ(ValueText(Value::Double(0.1)), u"0.1");
  EXPECT_EQ(ValueText(Value::Boolean(true)), u"True");
  EXPECT_EQ(ValueText(Value::Date(37329.395833333336)), u"3/14/2002 9:30:00 AM");
  EXPECT_EQ(ValueText(Value::Date(0)), u"12:00:00 AM");
}

TEST(CliEscapes, UnescapeReadsTheFourEscapesAndKeepsOtherBackslashes) {
  EXPECT_EQ(Unescape(u"a\\r\\nb\\tc\\\\d"), u"a\r\nb\tc\\d");
  EXPECT_EQ(Unescape(u"7 \\ 2"), u"7 \\ 2");
  EXPECT_EQ(Unescape(u"\\q\\"), u"\\q\\");
  EXPECT_EQ(Unescape(u"\\\\n"), u"\\n");
  EXPECT_EQ(Unescape(u""), u"");
}

TEST(CliEscapes, EscapeLineIsUndoneByUnescape) {
  const std::u16string text = u"a\tb\r\nc\\d\\n";
  EXPECT_EQ(EscapeLine(text), u"a\\tb\\r\\nc\\\\d\\\\n");
  EXPECT_EQ(Unescape(EscapeLine(text)), text);
}

TEST(CliEscapes, LoneSurrogatesPassThrough) {
  const std::u16string text{u'a', static_cast<char16_t>(0xD800), u'b'};
  EXPECT_EQ(EscapeLine(text), text);
}

TEST(CliFileLines, BlankLinesAndLinesStartingWithAHashAreSkipped) {
  EXPECT_TRUE(IsBlankOrComment(u""));
  EXPECT_TRUE(IsBlankOrComment(u" \t "));
  EXPECT_TRUE(IsBlankOrComment(u"\t # a comment"));
  EXPECT_FALSE(IsBlankOrComment(u" A=1"));
  EXPECT_FALSE(IsBlankOrComment(u"PID-7\tFormat A, \"#\""));
  EXPECT_EQ(TrimBlanksAndTabs(u" \t a b\t "), u"a b");
  EXPECT_EQ(TrimBlanksAndTabs(u"\r x \n"), u"\r x \n");
}

TEST(CliFieldDefinition, TypedFieldsAreConvertedAndSpeltAsTheInterpreterComparesThem) {
  FieldDefinition f = ParseFieldDefinition(u" Count : integer = 12", "test");
  EXPECT_EQ(f.name, u"Count");
  EXPECT_EQ(f.data_type, u"Integer");
  ASSERT_EQ(f.data.Type(), automation::VarType::Integer);
  EXPECT_EQ(f.data.GetInteger(), 12);

  f = ParseFieldDefinition(u"When:DATE=3/14/2002", "test");
  EXPECT_EQ(f.data_type, u"Date");
  ASSERT_EQ(f.data.Type(), automation::VarType::Date);
  EXPECT_DOUBLE_EQ(f.data.GetDate(), 37329.0);

  f = ParseFieldDefinition(u"Code:Variant= 007", "test");
  EXPECT_EQ(f.data_type, u"Variant");
  ASSERT_TRUE(f.data.IsString());
  EXPECT_EQ(f.data.GetString(), u" 007");
}

TEST(CliFieldDefinition, UntypedFieldsAreStringsAndTheValueIsKeptWhole) {
  FieldDefinition f = ParseFieldDefinition(u"Url=a=b: c", "test");
  EXPECT_EQ(f.name, u"Url");
  EXPECT_EQ(f.data_type, u"String");
  EXPECT_EQ(f.data.GetString(), u"a=b: c");
}

TEST(CliFieldDefinition, ANameWithAColonNeedsAType) {
  FieldDefinition f = ParseFieldDefinition(u"A:B:String=x", "test");
  EXPECT_EQ(f.name, u"A:B");
  EXPECT_THROW(ParseFieldDefinition(u"A:B=x", "test"), UsageError);
}

TEST(CliFieldDefinition, MalformedFieldsAreUsageErrors) {
  EXPECT_THROW(ParseFieldDefinition(u"NoValue", "test"), UsageError);
  EXPECT_THROW(ParseFieldDefinition(u"=1", "test"), UsageError);
  EXPECT_THROW(ParseFieldDefinition(u" :Long=1", "test"), UsageError);
  EXPECT_THROW(ParseFieldDefinition(u"A:Currency=1", "test"), UsageError);
  EXPECT_THROW(ParseFieldDefinition(u"A:Long=x", "test"), UsageError);
  EXPECT_THROW(ParseFieldDefinition(u"A:Integer=40000", "test"), UsageError);
  EXPECT_THROW(ParseFieldDefinition(u"A:Boolean=maybe", "test"), UsageError);
}

TEST(CliReportErrorLine, ElevenArgumentsJoinedWithTheOmittedOneEmpty) {
  const std::array<Value, 11> arguments{
      Value::Long(150100),
      Value::String(u"Error: 5 - Invalid procedure call or argument"),
      Value::Date(37329.395833333336),
      Value::Integer(4),
      Value::Integer(15),
      Value::Missing(),
      Value::String(u"Sys"),
      Value::String(u"App"),
      Value::String(u"02.01.0000"),
      Value::String(u"Interpreter"),
      Value::String(u"AddInstance")};
  EXPECT_EQ(ReportErrorLine(arguments),
            u"ReportError: 150100 | Error: 5 - Invalid procedure call or argument | "
            u"3/14/2002 9:30:00 AM | 4 | 15 |  | Sys | App | 02.01.0000 | Interpreter | "
            u"AddInstance");
}

TEST(CliReportErrorLine, ATextWithALineBreakStaysOnOneLine) {
  std::array<Value, 11> arguments;
  arguments.fill(Value::Missing());
  arguments[1] = Value::String(u"two\r\nlines");
  EXPECT_EQ(ReportErrorLine(arguments),
            u"ReportError:  | two\\r\\nlines |  |  |  |  |  |  |  |  | ");
}

TEST(CliResultLine, NoFieldIsTheWordNothing) { EXPECT_EQ(ResultLine(nullptr), u"Nothing"); }

TEST(CliResultLine, NameTypeAndDataSeparatedByTabs) {
  contract::DataFieldRef f = components::MakeDataField(u"N", Value::String(u"a\tb"), u"String");
  EXPECT_EQ(ResultLine(f), u"N\tString\ta\\tb");
  f = components::MakeDataField(u"E", Value(), u"Variant");
  EXPECT_EQ(ResultLine(f), u"E\tVariant\t");
  f = components::MakeDataField(u"Z", Value::Null(), u"Variant");
  EXPECT_EQ(ResultLine(f), u"Z\tVariant\tNull");
}

TEST(CliHl7, EscapeTurnsSeparatorsAndLineEndsIntoEscapesAndKeepsComponents) {
  EXPECT_EQ(Hl7Escape(u"a|b\r\nc\\d^e~f&g"), u"a\\F\\b\\X0D\\\\X0A\\c\\E\\d^e~f&g");
  // A backslash of the value is escaped too, so text that looks like an escape stays text.
  EXPECT_EQ(Hl7Escape(u"\\F\\"), u"\\E\\F\\E\\");
}

TEST(CliHl7, MessageHasMshFirstAndSegmentsInTheOrderTheyFirstAppear) {
  EXPECT_EQ(Hl7Message({}), u"MSH|^~\\&\r");
  EXPECT_EQ(Hl7Message({{u"PV1-2", u"I"}, {u"MSH-3", u"APP"}, {u"PID-3", u"1"}, {u"PV1-1", u"x"}}),
            u"MSH|^~\\&|APP\rPV1|x|I\rPID|||1\r");
  EXPECT_EQ(Hl7Message({{u"ZZ1-3", u""}}), u"MSH|^~\\&\rZZ1\r");
}

TEST(CliHl7, FieldNamesThatAreNotSegNAreUsageErrors) {
  for (std::u16string_view name : {u"X-1", u"PID5", u"PID-0", u"pid-5", u"PID-", u"PID-12345",
                                   u"MSH-1", u"MSH-2"}) {
    EXPECT_THROW(Hl7Message({{std::u16string(name), u"v"}}), UsageError);
  }
}

}  // namespace
}  // namespace qorvintr::cli
