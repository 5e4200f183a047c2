// The tagged value itself: every kind copied, moved and assigned over every other kind keeps
// exactly what it held, and raw reads of the wrong kind stay harmless.

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "qorvintr/value.h"

namespace au = qorvintr::automation;
using au::Value;
using au::VarType;

namespace {

// An object that counts the references held to it.
class Counted : public au::Object {
 public:
  std::u16string ClassName() const override { return u"Counted"; }
  Value DefaultValue() override { return Value::Long(7); }
};

std::vector<Value> OneOfEachKind(const au::ObjectRef& object) {
  return {Value(),
          Value::Null(),
          Value::Boolean(true),
          Value::Integer(-12),
          Value::Long(123456),
          Value::Single(1.5f),
          Value::Double(2.25),
          Value::Date(37329.5),
          Value::String(u"short"),
          Value::String(u"a text well past the short-string buffer of the library"),
          Value::Object(object),
          Value::Object(nullptr),
          Value::Error(5),
          Value::Missing()};
}

TEST(Value, EveryKindCopiedOverEveryKindIsTheSameAsTheOriginal) {
  auto object = std::make_shared<Counted>();
  const std::vector<Value> kinds = OneOfEachKind(object);
  for (const Value& from : kinds) {
    for (const Value& to : kinds) {
      Value target = to;
      target = from;
      EXPECT_TRUE(target.SameAs(from));
      EXPECT_EQ(target.Type(), from.Type());
      Value constructed(from);
      EXPECT_TRUE(constructed.SameAs(from));
    }
  }
  // The vector's two object values and the test's own reference, nothing left over.
  EXPECT_EQ(object.use_count(), 2);
}

TEST(Value, EveryKindMovedOverEveryKindArrivesWhole) {
  auto object = std::make_shared<Counted>();
  const std::vector<Value> kinds = OneOfEachKind(object);
  for (const Value& from : kinds) {
    for (const Value& to : kinds) {
      Value source = from;
      Value target = to;
      target = std::move(source);
      EXPECT_TRUE(target.SameAs(from));
      Value source2 = from;
      Value constructed(std::move(source2));
      EXPECT_TRUE(constructed.SameAs(from));
    }
  }
  EXPECT_EQ(object.use_count(), 2);
}

TEST(Value, AssigningAValueToItselfKeepsIt) {
  Value text = Value::String(u"a text well past the short-string buffer of the library");
  const Value& same = text;
  text = same;
  EXPECT_EQ(text.GetString(), u"a text well past the short-string buffer of the library");
  auto object = std::make_shared<Counted>();
  Value held = Value::Object(object);
  Value& alias = held;
  held = std::move(alias);
  EXPECT_EQ(held.GetObject(), object);
}

TEST(Value, ATextReplacedByANumberAndBackReadsRight) {
  Value v = Value::String(u"first text, longer than the short buffer");
  v = Value::Long(5);
  EXPECT_EQ(v.Type(), VarType::Long);
  EXPECT_EQ(v.GetLong(), 5);
  v = Value::String(u"second");
  EXPECT_EQ(v.GetString(), u"second");
}

TEST(Value, RawReadsOfTheWrongKindAreTheEmptyTextAndNoObject) {
  EXPECT_EQ(Value::Long(3).GetString(), u"");
  EXPECT_EQ(Value().GetString(), u"");
  EXPECT_EQ(Value::String(u"x").GetObject(), nullptr);
  EXPECT_EQ(Value::Double(1).GetObject(), nullptr);
}

TEST(Value, AnObjectValueReleasesItsReferenceWhenItGoesOrIsReplaced) {
  auto object = std::make_shared<Counted>();
  {
    Value v = Value::Object(object);
    EXPECT_EQ(object.use_count(), 2);
    v = Value::Integer(1);
    EXPECT_EQ(object.use_count(), 1);
    v = Value::Object(object);
    EXPECT_EQ(object.use_count(), 2);
  }
  EXPECT_EQ(object.use_count(), 1);
}

// An object whose default member is a value it owns.
class Holder : public au::Object {
 public:
  std::u16string ClassName() const override { return u"Holder"; }
  Value DefaultValue() override { return inner; }
  Value inner = Value::String(u"the inner text, longer than the short-string buffer");
};

TEST(Value, AValueMovedFromInsideTheObjectItReplacesArrivesWhole) {
  auto holder = std::make_shared<Holder>();
  Holder* raw = holder.get();
  Value v = Value::Object(std::move(holder));
  // The holder lives only in v: the text moved out of it must be taken before it goes.
  v = std::move(raw->inner);
  ASSERT_TRUE(v.IsString());
  EXPECT_EQ(v.GetString(), u"the inner text, longer than the short-string buffer");
}

}  // namespace
