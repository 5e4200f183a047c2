#include "qorvintr/contract/creation.h"

#include <gtest/gtest.h>

#include <memory>

#include "qorvintr/error.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/components/defaults.h"
#include "qorvintr/components/log_writer.h"
#include "qorvintr/contract/data_field.h"
#include "qorvintr/contract/log_writer.h"
#include "test_support.h"

namespace {

using qorvintr::automation::AutomationError;
using qorvintr::automation::Object;
using qorvintr::automation::ObjectRef;
namespace contract = qorvintr::contract;

using qorvintr::testing_support::ErrorOf;

class Creation : public ::testing::Test {
 protected:
  void SetUp() override { Clean(); }
  void TearDown() override { Clean(); }
  static void Clean() {
    contract::UnregisterCreator(contract::kDataFieldProgId);
    contract::UnregisterCreator(contract::kLogProgId);
    contract::UnregisterCreator(u"Host.Thing");
  }
};

TEST_F(Creation, AnUnknownProgIdRaises429) {
  try {
    contract::CreateObject(u"No.Such.Thing");
    FAIL() << "no error";
  } catch (const AutomationError& e) {
    EXPECT_EQ(e.Number(), 429);
    EXPECT_EQ(e.Description(), u"ActiveX component can't create object");
  }
  EXPECT_EQ(ErrorOf([] { contract::CreateObject(contract::kDataFieldProgId); }), 429);
}

TEST_F(Creation, NothingIsRegisteredUntilAHostAsks) {
  EXPECT_FALSE(contract::IsRegistered(contract::kDataFieldProgId));
  EXPECT_FALSE(contract::IsRegistered(contract::kLogProgId));
  EXPECT_EQ(qorvintr::components::RegisterDefaultComponents(), 2);
  EXPECT_TRUE(contract::IsRegistered(contract::kDataFieldProgId));
  EXPECT_TRUE(contract::IsRegistered(contract::kLogProgId));
  auto field = contract::CreateObjectAs<contract::DataField>(contract::kDataFieldProgId);
  ASSERT_NE(field, nullptr);
  EXPECT_NE(std::dynamic_pointer_cast<qorvintr::components::DataFieldObject>(field), nullptr);
  auto log = contract::CreateObjectAs<contract::LogWriter>(contract::kLogProgId);
  EXPECT_NE(std::dynamic_pointer_cast<qorvintr::components::RotatingLogWriter>(log), nullptr);
}

TEST_F(Creation, EachCreationIsANewObject) {
  qorvintr::components::RegisterDefaultComponents();
  auto a = contract::CreateObject(contract::kDataFieldProgId);
  auto b = contract::CreateObject(contract::kDataFieldProgId);
  EXPECT_NE(a.get(), b.get());
}

class HostField : public qorvintr::components::DataFieldObject {
 public:
  std::u16string ClassName() const override { return u"HostField"; }
};

TEST_F(Creation, AHostsOwnCreatorWinsOverTheDefaults) {
  contract::RegisterCreator(contract::kDataFieldProgId,
                            [] { return std::static_pointer_cast<Object>(std::make_shared<HostField>()); });
  EXPECT_EQ(qorvintr::components::RegisterDefaultComponents(), 1);  // only the log
  auto field = contract::CreateObject(contract::kDataFieldProgId);
  EXPECT_EQ(field->ClassName(), u"HostField");
}

TEST_F(Creation, RegisteringAgainReplacesAndUnregisteringRemoves) {
  int made = 0;
  contract::RegisterCreator(u"Host.Thing", [&] {
    made = 1;
    return std::static_pointer_cast<Object>(std::make_shared<HostField>());
  });
  contract::RegisterCreator(u"Host.Thing", [&] {
    made = 2;
    return std::static_pointer_cast<Object>(std::make_shared<HostField>());
  });
  contract::CreateObject(u"Host.Thing");
  EXPECT_EQ(made, 2);
  EXPECT_TRUE(contract::UnregisterCreator(u"Host.Thing"));
  EXPECT_FALSE(contract::UnregisterCreator(u"Host.Thing"));
  EXPECT_EQ(ErrorOf([] { contract::CreateObject(u"Host.Thing"); }), 429);
}

TEST_F(Creation, ProgIdsMatchWithoutRegardToCase) {
  qorvintr::components::RegisterDefaultComponents();
  EXPECT_NE(contract::CreateObject(u"qorvdfld.datafield"), nullptr);
  EXPECT_NE(contract::CreateObject(u"QORVLOG.LOG"), nullptr);
  EXPECT_EQ(ErrorOf([] { contract::CreateObject(u"QorvDFld.DataFields"); }), 429);
}

TEST_F(Creation, ACreatorThatGivesNoObjectRaises429) {
  contract::RegisterCreator(u"Host.Thing", [] { return ObjectRef(); });
  EXPECT_EQ(ErrorOf([] { contract::CreateObject(u"Host.Thing"); }), 429);
}

TEST_F(Creation, ACreatorsOwnErrorGoesThrough) {
  contract::RegisterCreator(u"Host.Thing", []() -> ObjectRef { qorvintr::automation::Raise(7); });
  EXPECT_EQ(ErrorOf([] { contract::CreateObject(u"Host.Thing"); }), 7);
}

TEST_F(Creation, AnObjectWithoutTheExpectedInterfaceRaises430) {
  contract::RegisterCreator(u"Host.Thing",
                            [] { return std::static_pointer_cast<Object>(std::make_shared<HostField>()); });
  EXPECT_EQ(ErrorOf([] { contract::CreateObjectAs<contract::LogWriter>(u"Host.Thing"); }), 430);
}

TEST_F(Creation, ACreatorMayItselfCreateObjects) {
  qorvintr::components::RegisterDefaultComponents();
  contract::RegisterCreator(u"Host.Thing", [] { return contract::CreateObject(contract::kDataFieldProgId); });
  EXPECT_NE(contract::CreateObjectAs<contract::DataField>(u"Host.Thing"), nullptr);
}

TEST_F(Creation, AnEmptyCreatorUnregisters) {
  qorvintr::components::RegisterDefaultComponents();
  contract::RegisterCreator(contract::kLogProgId, contract::Creator());
  EXPECT_FALSE(contract::IsRegistered(contract::kLogProgId));
}

}  // namespace
