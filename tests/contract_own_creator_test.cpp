// Creators registered with a test of whether they run anything of the host's, and the second
// probe of collections: what the interpreter asks before it tries a run unwatched over them.
#include <gtest/gtest.h>

#include <memory>

#include "contract/stock.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/contract/creation.h"

namespace qorvintr::contract {
namespace {

constexpr std::u16string_view kId = u"Own.Creator.Test";

bool g_quiet = true;
bool Quiet() noexcept { return g_quiet; }

automation::ObjectRef MakeField() { return std::make_shared<components::DataFieldObject>(); }

TEST(OwnCreator, KeepsItsTestUntilTheIdentifierIsRegisteredAgain) {
  const std::uint64_t before = stock::CreatorGeneration();
  stock::RegisterOwnCreator(kId, MakeField, Quiet);
  EXPECT_NE(stock::CreatorGeneration(), before);
  EXPECT_EQ(stock::OwnCreatorTest(kId), &Quiet);
  EXPECT_EQ(stock::OwnCreatorTest(u"own.creator.TEST"), &Quiet);  // ProgIDs ignore case
  EXPECT_FALSE(stock::IsStockCreator(kId));
  EXPECT_TRUE(CreateObject(kId) != nullptr);
  RegisterCreator(kId, MakeField);
  EXPECT_EQ(stock::OwnCreatorTest(kId), nullptr);
  stock::RegisterOwnCreator(kId, MakeField, Quiet);
  EXPECT_TRUE(UnregisterCreator(kId));
  EXPECT_EQ(stock::OwnCreatorTest(kId), nullptr);
}

int g_made = 0;
DataFieldRef MakeCounted() {
  ++g_made;
  return std::make_shared<components::DataFieldObject>();
}

TEST(OwnCreator, KeepsItsFieldMakerUntilTheIdentifierIsRegisteredAgain) {
  stock::RegisterOwnCreator(kId, MakeField, Quiet, MakeCounted);
  ASSERT_EQ(stock::OwnFieldMaker(u"OWN.creator.test"), &MakeCounted);
  g_made = 0;
  EXPECT_TRUE(stock::OwnFieldMaker(kId)() != nullptr);
  EXPECT_EQ(g_made, 1);
  stock::RegisterOwnCreator(kId, MakeField, Quiet);  // no maker this time
  EXPECT_EQ(stock::OwnFieldMaker(kId), nullptr);
  EXPECT_EQ(stock::OwnCreatorTest(kId), &Quiet);
  stock::RegisterOwnCreator(kId, MakeField, Quiet, MakeCounted);
  RegisterCreator(kId, MakeField);
  EXPECT_EQ(stock::OwnFieldMaker(kId), nullptr);
  stock::RegisterOwnCreator(kId, MakeField, Quiet, MakeCounted);
  EXPECT_TRUE(UnregisterCreator(kId));
  EXPECT_EQ(stock::OwnFieldMaker(kId), nullptr);
}

TEST(OwnCreator, NoneForAnIdentifierWithoutOne) {
  EXPECT_EQ(stock::OwnCreatorTest(u"Nobody.Registered.This"), nullptr);
  EXPECT_EQ(stock::OwnFieldMaker(u"Nobody.Registered.This"), nullptr);
}

int g_probed = 0;
std::size_t NoKeys(void*) { return 0; }
stock::OwnFieldsView Probe(DataFields& fields) {
  ++g_probed;
  stock::OwnFieldsView view;
  view.collection = &fields;
  view.generated_like_keys = NoKeys;
  return view;
}

TEST(OwnFieldsProbe, AsksTheInstalledProbeAboutACollection) {
  components::DataFieldCollection fields;
  stock::SetOwnFieldsProbe(nullptr);
  EXPECT_FALSE(stock::ProbeOwnFields(&fields));
  stock::SetOwnFieldsProbe(Probe);
  EXPECT_FALSE(stock::ProbeOwnFields(nullptr));
  EXPECT_EQ(g_probed, 0);
  stock::OwnFieldsView view = stock::ProbeOwnFields(&fields);
  EXPECT_EQ(g_probed, 1);
  EXPECT_EQ(view.collection, static_cast<void*>(static_cast<DataFields*>(&fields)));
  stock::SetOwnFieldsProbe(nullptr);
}

}  // namespace
}  // namespace qorvintr::contract
