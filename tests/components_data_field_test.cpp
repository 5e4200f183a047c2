#include "qorvintr/components/data_field.h"

#include <gtest/gtest.h>

#include "qorvintr/convert.h"
#include "qorvintr/value.h"

namespace {

using qorvintr::automation::Value;
using qorvintr::components::DataFieldObject;
using qorvintr::components::MakeDataField;

TEST(DataFieldObject, KeepsItsFourMembers) {
  DataFieldObject f;
  f.SetName(u"Autodf1");
  f.SetDataType(u"Double");
  f.SetData(Value::Double(7.25));
  f.SetDataClass(u"Auto");
  EXPECT_EQ(f.Name(), u"Autodf1");
  EXPECT_EQ(f.DataType(), u"Double");
  EXPECT_TRUE(f.Data().SameAs(Value::Double(7.25)));
  EXPECT_EQ(f.DataClass(), u"Auto");
}

TEST(DataFieldObject, DataIsKeptAsAssignedWithoutConversionToTheTypeWord) {
  auto f = MakeDataField(u"X", Value::String(u"12"), u"Long");
  EXPECT_TRUE(f->Data().SameAs(Value::String(u"12")));
  f->SetData(Value::Null());
  EXPECT_TRUE(f->Data().IsNull());
}

TEST(DataFieldObject, DataIsTheDefaultMember) {
  auto f = MakeDataField(u"X", Value::Date(37329.5), u"Date");
  EXPECT_TRUE(f->DefaultValue().SameAs(Value::Date(37329.5)));
  EXPECT_EQ(qorvintr::automation::CStr(Value::Object(f)), u"3/14/2002 12:00:00 PM");
}

TEST(DataFieldObject, AFieldMayHoldAnotherFieldAsData) {
  auto inner = MakeDataField(u"In", Value::Long(3), u"Long");
  auto outer = MakeDataField(u"Out", Value::Object(inner), u"Variant");
  EXPECT_EQ(qorvintr::automation::CLng(Value::Object(outer)), 3);
  EXPECT_EQ(qorvintr::automation::TypeName(outer->Data()), u"DataField");
}

TEST(DataFieldObject, ReadsWithoutCopies) {
  auto f = MakeDataField(u"Name", Value::Long(1), u"Long", u"Host");
  EXPECT_EQ(f->NameRef(), u"Name");
  EXPECT_TRUE(f->DataRef().SameAs(Value::Long(1)));
  EXPECT_EQ(f->DataClass(), u"Host");
}

}  // namespace
