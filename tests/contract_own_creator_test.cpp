// Creators registered with a test of whether they run anything of the host's, and the second
// probe of collections: what the interpreter asks before it tries a run unwatched over them.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <utility>

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
DataFieldRef MakeCounted(const stock::FieldContent& content) {
  ++g_made;
  auto field = std::make_shared<components::DataFieldObject>();
  stock::Fill(*field, content);
  return field;
}

TEST(OwnCreator, KeepsItsFieldMakerUntilTheIdentifierIsRegisteredAgain) {
  stock::RegisterOwnCreator(kId, MakeField, Quiet, MakeCounted);
  ASSERT_EQ(stock::OwnFieldMaker(u"OWN.creator.test"), &MakeCounted);
  g_made = 0;
  const automation::Value data = automation::Value::Long(7);
  DataFieldRef made = stock::OwnFieldMaker(kId)({u"Autodf1", u"Long", u"Auto", &data});
  ASSERT_TRUE(made != nullptr);
  EXPECT_EQ(g_made, 1);
  EXPECT_EQ(made->Name(), u"Autodf1");
  EXPECT_EQ(made->Data().GetLong(), 7);
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

// A field records the order its members are written in.
class WriteOrder final : public components::DataFieldObject {
 public:
  void SetData(const automation::Value& value) override {
    order += u'D';
    DataFieldObject::SetData(value);
  }
  void SetDataType(std::u16string type) override {
    order += u'T';
    DataFieldObject::SetDataType(std::move(type));
  }
  void SetName(std::u16string name) override {
    order += u'N';
    DataFieldObject::SetName(std::move(name));
  }
  void SetDataClass(std::u16string data_class) override {
    order += u'C';
    DataFieldObject::SetDataClass(std::move(data_class));
  }
  std::u16string order;
};

TEST(OwnCreator, FillWritesNameTypeClassThenDataAndLeavesDataAloneWithoutOne) {
  WriteOrder field;
  const automation::Value data = automation::Value::String(std::u16string(u"ab"));
  stock::Fill(field, {u"Autodf2", u"String", u"Auto", &data});
  EXPECT_EQ(field.order, u"NTCD");
  EXPECT_EQ(field.NameRef(), u"Autodf2");
  EXPECT_EQ(field.DataTypeRef(), u"String");
  EXPECT_EQ(field.DataClassRef(), u"Auto");
  EXPECT_EQ(field.DataRef().GetString(), u"ab");

  WriteOrder empty;
  stock::Fill(empty, {u"Autodf3", u"Variant", u"Auto", nullptr});
  EXPECT_EQ(empty.order, u"NTC");
  EXPECT_EQ(empty.DataRef().Type(), automation::VarType::Empty);
}

TEST(OwnCreator, CreateFilledMakesTheCreatorsFieldAndFillsIt) {
  RegisterCreator(kId, [] { return automation::ObjectRef(std::make_shared<WriteOrder>()); });
  const automation::Value data = automation::Value::Long(41);
  DataFieldRef made = stock::CreateFilled(kId, {u"Autodf4", u"Long", u"Auto", &data});
  ASSERT_TRUE(made != nullptr);
  auto* field = dynamic_cast<WriteOrder*>(made.get());
  ASSERT_TRUE(field != nullptr);
  EXPECT_EQ(field->order, u"NTCD");
  EXPECT_EQ(field->NameRef(), u"Autodf4");
  EXPECT_EQ(field->DataRef().GetLong(), 41);
  EXPECT_TRUE(UnregisterCreator(kId));
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
