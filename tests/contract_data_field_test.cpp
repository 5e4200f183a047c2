// The data field contract, exercised the way the interpreter uses it: only through the abstract
// types, with objects made by programmatic identifier.
#include "qorvintr/contract/data_field.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "qorvintr/convert.h"
#include "qorvintr/value.h"
#include "qorvintr/components/defaults.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/contract/creation.h"

namespace {

using qorvintr::automation::Value;
namespace contract = qorvintr::contract;

class DataFieldContract : public ::testing::Test {
 protected:
  void SetUp() override {
    contract::UnregisterCreator(contract::kDataFieldProgId);
    qorvintr::components::RegisterDefaultComponents();
    fields_ = std::make_shared<qorvintr::components::DataFieldCollection>();
  }
  void TearDown() override {
    contract::UnregisterCreator(contract::kDataFieldProgId);
    contract::UnregisterCreator(contract::kLogProgId);
  }
  // What a creator of a temporary does for a text value.
  std::u16string CreateStringField(std::u16string name, std::u16string text) {
    contract::DataFieldRef field =
        contract::CreateObjectAs<contract::DataField>(contract::kDataFieldProgId);
    field->SetName(std::move(name));
    field->SetDataType(u"String");
    field->SetData(Value::String(std::move(text)));
    field->SetDataClass(u"Auto");
    return fields_->AddObject(field) == 0 ? field->Name() : std::u16string();
  }
  contract::DataFieldsRef fields_;
};

TEST_F(DataFieldContract, AFieldCreatedByTheInterpreterHasClassAutoItsNameAndExistsAfterAddObject) {
  std::u16string name = CreateStringField(u"Autodf1", u"abc");
  EXPECT_EQ(name, u"Autodf1");
  EXPECT_TRUE(fields_->Exists(name));
  contract::DataFieldRef field = fields_->Item(name);
  ASSERT_NE(field, nullptr);
  EXPECT_EQ(field->DataClass(), u"Auto");
  EXPECT_EQ(field->Name(), u"Autodf1");
  EXPECT_EQ(field->DataType(), u"String");
  EXPECT_TRUE(field->Data().SameAs(Value::String(u"abc")));
}

TEST_F(DataFieldContract, AFieldUsedAsAValueGivesItsData) {
  contract::DataFieldRef field =
      contract::CreateObjectAs<contract::DataField>(contract::kDataFieldProgId);
  field->SetData(Value::Boolean(true));
  Value as_value = Value::Object(field);
  EXPECT_TRUE(qorvintr::automation::Dereference(as_value).SameAs(Value::Boolean(true)));
  EXPECT_TRUE(qorvintr::automation::CBool(as_value));
  field->SetData(Value::Long(5));
  EXPECT_EQ(qorvintr::automation::CStr(as_value), u"5");
  EXPECT_EQ(qorvintr::automation::TypeName(as_value), u"DataField");
}

TEST_F(DataFieldContract, RemoveOfANameFollowedByExistsGivesFalse) {
  std::u16string name = CreateStringField(u"Autodf2", u"x");
  ASSERT_TRUE(fields_->Exists(name));
  fields_->Remove(name);
  EXPECT_FALSE(fields_->Exists(name));
}

TEST_F(DataFieldContract, AddObjectOfANameAlreadyHeldIsRefusedAndTheCreatorGetsNoName) {
  ASSERT_EQ(CreateStringField(u"Autodf3", u"first"), u"Autodf3");
  EXPECT_EQ(CreateStringField(u"Autodf3", u"second"), u"");
  std::u16string name = u"Autodf3";
  EXPECT_TRUE(fields_->Item(name)->Data().SameAs(Value::String(u"first")));
}

TEST_F(DataFieldContract, MColItemGivesTheSameFieldAsItem) {
  std::u16string name = CreateStringField(u"Autodf4", u"x");
  contract::KeyedCollectionRef col = fields_->mCol();
  ASSERT_NE(col, nullptr);
  EXPECT_EQ(col->Item(name).get(), fields_->Item(name).get());
  EXPECT_EQ(col->Count(), 1);
}

TEST_F(DataFieldContract, AnEmptyFieldHasEmptyMembers) {
  contract::DataFieldRef field =
      contract::CreateObjectAs<contract::DataField>(contract::kDataFieldProgId);
  EXPECT_TRUE(field->Data().IsEmpty());
  EXPECT_EQ(field->Name(), u"");
  EXPECT_EQ(field->DataType(), u"");
  EXPECT_EQ(field->DataClass(), u"");
}

TEST_F(DataFieldContract, TheCollectionUsedAsAValueHasNoDefaultMember) {
  EXPECT_THROW(qorvintr::automation::Dereference(Value::Object(fields_)),
               qorvintr::automation::AutomationError);
}

}  // namespace
