#include "qorvintr/components/field_collection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <vector>

#include "qorvintr/error.h"
#include "qorvintr/value.h"
#include "qorvintr/components/data_field.h"
#include "test_support.h"

namespace {

using qorvintr::automation::Value;
using qorvintr::components::DataFieldCollection;
using qorvintr::components::FieldCollection;
using qorvintr::components::MakeDataField;
using qorvintr::contract::DataFieldRef;

using qorvintr::testing_support::ErrorOf;

DataFieldRef Field(std::u16string name, std::int32_t n = 0) {
  return MakeDataField(std::move(name), Value::Long(n), u"Long");
}

std::u16string Digits(int n) {
  std::string s = std::to_string(n);
  return std::u16string(s.begin(), s.end());
}

TEST(FieldCollection, NamesAreComparedWithoutRegardToCase) {
  DataFieldCollection c;
  DataFieldRef f = Field(u"PatientName");
  ASSERT_EQ(c.AddObject(f), 0);
  std::u16string upper = u"PATIENTNAME", lower = u"patientname", mixed = u"pATIENTnAME";
  EXPECT_TRUE(c.Exists(upper));
  EXPECT_EQ(c.Item(lower), f);
  EXPECT_EQ(c.mCol()->Item(mixed), f);
  std::u16string other = u"PatientNam";
  EXPECT_FALSE(c.Exists(other));
}

TEST(FieldCollection, CaseIsFoldedBeyondAscii) {
  DataFieldCollection c;
  DataFieldRef f = Field(u"\u00C9cole");
  ASSERT_EQ(c.AddObject(f), 0);
  std::u16string lower = u"\u00E9COLE";
  EXPECT_TRUE(c.Exists(lower));
}

TEST(FieldCollection, AddObjectAnswers0WhenAddedAndNonZeroWithNothingChangedWhenTheNameIsHeld) {
  DataFieldCollection c;
  DataFieldRef first = Field(u"X", 1);
  DataFieldRef second = Field(u"x", 2);
  EXPECT_EQ(c.AddObject(first), 0);
  EXPECT_NE(c.AddObject(second), 0);
  EXPECT_EQ(c.Count(), 1);
  std::u16string name = u"X";
  EXPECT_EQ(c.Item(name), first);
}

TEST(FieldCollection, AddObjectOfNoFieldAnswersNonZero) {
  DataFieldCollection c;
  DataFieldRef none;
  EXPECT_NE(c.AddObject(none), 0);
  EXPECT_EQ(c.Count(), 0);
}

TEST(FieldCollection, ItemOfAMissingNameRaises5) {
  DataFieldCollection c;
  std::u16string name = u"Nope";
  EXPECT_EQ(ErrorOf([&] { c.Item(name); }), 5);
  EXPECT_EQ(ErrorOf([&] { c.mCol()->Item(name); }), 5);
}

TEST(FieldCollection, RemoveOfAMissingNameRaises5) {
  DataFieldCollection c;
  std::u16string name = u"Nope";
  EXPECT_EQ(ErrorOf([&] { c.Remove(name); }), 5);
}

TEST(FieldCollection, RemoveTakesTheFieldOutAndItMayBeAddedAgain) {
  DataFieldCollection c;
  DataFieldRef f = Field(u"A");
  c.AddObject(f);
  std::u16string name = u"a";
  c.Remove(name);
  EXPECT_FALSE(c.Exists(name));
  EXPECT_EQ(c.Count(), 0);
  EXPECT_EQ(c.AddObject(f), 0);
  EXPECT_TRUE(c.Exists(name));
}

TEST(FieldCollection, MColGivesTheUnderlyingCollection) {
  auto inner = std::make_shared<FieldCollection>();
  DataFieldCollection c(inner);
  EXPECT_EQ(c.mCol().get(), inner.get());
  DataFieldRef f = Field(u"A");
  c.AddObject(f);
  EXPECT_EQ(inner->Count(), 1);
  EXPECT_EQ(inner->Item(u"a"), f);
}

TEST(FieldCollection, InsertionOrderIsKeptForEnumeration) {
  DataFieldCollection c;
  for (const char16_t* n : {u"C", u"A", u"B", u"D"}) c.Add(n, Value::Long(0), u"Long");
  std::u16string b = u"B";
  c.Remove(b);
  c.Add(u"B", Value::Long(1), u"Long");
  std::vector<std::u16string> names;
  for (const auto& entry : c.Fields()) names.push_back(entry.key);
  EXPECT_EQ(names, (std::vector<std::u16string>{u"C", u"A", u"D", u"B"}));
  EXPECT_EQ(c.Fields().ItemAt(1)->Name(), u"C");
  EXPECT_EQ(c.Fields().ItemAt(4)->Name(), u"B");
  EXPECT_EQ(ErrorOf([&] { c.Fields().ItemAt(0); }), 9);
  EXPECT_EQ(ErrorOf([&] { c.Fields().ItemAt(5); }), 9);
}

// Taking fields out from the middle, from the end and mixed with adding: order, positions,
// count and lookups stay those of a list that closes up at once.
TEST(FieldCollection, RemovingFromAnywhereKeepsOrderPositionsAndLookups) {
  DataFieldCollection c;
  std::vector<std::u16string> model;
  for (int i = 0; i < 40; ++i) {
    c.Add(u"F" + Digits(i), Value::Long(i), u"Long");
    model.push_back(u"F" + Digits(i));
  }
  auto remove = [&](const std::u16string& name) {
    std::u16string n = name;
    c.Remove(n);
    model.erase(std::find(model.begin(), model.end(), name));
  };
  auto check = [&] {
    ASSERT_EQ(c.Count(), static_cast<std::int32_t>(model.size()));
    std::vector<std::u16string> names;
    for (const auto& entry : c.Fields()) names.push_back(entry.key);
    EXPECT_EQ(names, model);
    for (std::size_t i = 0; i < model.size(); ++i) {
      EXPECT_EQ(c.Fields().ItemAt(static_cast<std::int32_t>(i + 1))->Name(), model[i]);
      std::u16string n = model[i];
      EXPECT_TRUE(c.Exists(n));
      EXPECT_EQ(c.Item(n)->Name(), model[i]);
    }
    EXPECT_EQ(ErrorOf([&] { c.Fields().ItemAt(static_cast<std::int32_t>(model.size() + 1)); }),
              9);
  };
  for (int i = 1; i < 40; i += 3) remove(u"F" + Digits(i));  // holes in the middle
  check();
  remove(u"F39");  // the last, with a hole before it
  remove(u"F38");
  check();
  c.Add(u"F1", Value::Long(100), u"Long");  // a name taken out comes back at the end
  model.push_back(u"F1");
  std::u16string gone = u"F4";
  EXPECT_FALSE(c.Exists(gone));
  check();
  for (int i = 0; i < 38; i += 2) {
    std::u16string n = u"f" + Digits(i);
    if (c.Exists(n)) remove(u"F" + Digits(i));
  }
  check();
}

TEST(FieldCollection, AddForHostsRaises457ForANameAlreadyHeld) {
  DataFieldCollection c;
  c.Add(u"Sex", Value::String(u"F"), u"String", u"Host");
  EXPECT_EQ(ErrorOf([&] { c.Add(u"SEX", Value::String(u"M"), u"String"); }), 457);
  EXPECT_EQ(ErrorOf([&] { c.Fields().Add(nullptr); }), 91);
  EXPECT_EQ(c.Count(), 1);
  EXPECT_EQ(c.Fields().Find(u"sex")->DataClass(), u"Host");
  EXPECT_EQ(c.Fields().Find(u"nobody"), nullptr);
}

TEST(FieldCollection, TheKeyIsTheNameAtTheTimeOfAdding) {
  DataFieldCollection c;
  DataFieldRef f = Field(u"Old");
  c.AddObject(f);
  f->SetName(u"New");
  std::u16string old_name = u"Old", new_name = u"New";
  EXPECT_TRUE(c.Exists(old_name));
  EXPECT_FALSE(c.Exists(new_name));
}

TEST(FieldCollection, OneFieldMayBeHeldUnderTwoKeys) {
  FieldCollection c;
  DataFieldRef f = Field(u"A");
  c.Add(f, u"First");
  c.Add(f, u"Second");
  EXPECT_EQ(c.Item(u"first"), c.Item(u"SECOND"));
  EXPECT_EQ(c.Count(), 2);
}

TEST(FieldCollection, AnyUtf16KeyIsHandled) {
  DataFieldCollection c;
  std::u16string odd = u"\xD800\xDFFF\xDC00 \u00FF";
  c.Add(odd, Value::Long(1), u"Long");
  c.Add(u"", Value::Long(2), u"Long");
  std::u16string same = odd, empty;
  EXPECT_TRUE(c.Exists(same));
  EXPECT_TRUE(c.Item(empty)->Data().SameAs(Value::Long(2)));
  std::u16string longer(100000, u'k');
  c.Add(longer, Value::Long(3), u"Long");
  EXPECT_TRUE(c.Exists(longer));
}

TEST(FieldCollection, ClearEmptiesIt) {
  DataFieldCollection c;
  c.Add(u"A", Value::Long(1), u"Long");
  c.Fields().Clear();
  EXPECT_EQ(c.Count(), 0);
  std::u16string a = u"A";
  EXPECT_FALSE(c.Exists(a));
}

TEST(FieldCollection, HoldsAHundredThousandFields) {
  DataFieldCollection c;
  const int n = 100000;
  auto start = std::chrono::steady_clock::now();
  for (int i = 0; i < n; ++i) {
    DataFieldRef f = Field(u"Field" + Digits(i), i);
    ASSERT_EQ(c.AddObject(f), 0);
  }
  EXPECT_EQ(c.Count(), n);
  for (int i = 0; i < n; ++i) {
    std::u16string name = u"FIELD" + Digits(i);
    ASSERT_TRUE(c.Exists(name));
    ASSERT_TRUE(c.Item(name)->Data().SameAs(Value::Long(i)));
  }
  for (int i = 0; i < n; i += 2) {
    std::u16string name = u"field" + Digits(i);
    c.Remove(name);
  }
  EXPECT_EQ(c.Count(), n / 2);
  int expected = 1;
  for (const auto& entry : c.Fields()) {
    ASSERT_EQ(entry.key, u"Field" + Digits(expected));
    expected += 2;
  }
  std::u16string gone = u"Field0", kept = u"Field99999";
  EXPECT_FALSE(c.Exists(gone));
  EXPECT_TRUE(c.Exists(kept));
  auto took = std::chrono::duration_cast<std::chrono::milliseconds>(
      std::chrono::steady_clock::now() - start);
  std::printf("100,000 fields added, looked up twice, half removed: %lld ms\n",
              static_cast<long long>(took.count()));
}

}  // namespace
