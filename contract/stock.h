#pragma once
// Private to the library: what lets the interpreter talk to the stock components directly when
// the host's objects are exactly those, instead of through the members a host's own objects
// answer. Nothing here changes what a host can observe; a host's own objects never take it.

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "qorvintr/contract/creation.h"
#include "qorvintr/contract/data_field.h"

namespace qorvintr::contract::stock {

// ---- Creators ---------------------------------------------------------------------------------

// Registers the stock creator of the identifier when it has none (as RegisterCreatorIfAbsent),
// marked as the stock one; any later registration of the identifier takes the mark away.
bool RegisterStockCreatorIfAbsent(std::u16string_view prog_id, Creator creator);
// Whether the identifier's creator is the stock one.
bool IsStockCreator(std::u16string_view prog_id);
// Changes with every registration and removal, so that a caller may keep IsStockCreator's
// answer for as long as it stays the same.
std::uint64_t CreatorGeneration() noexcept;

// ---- The stock collection -------------------------------------------------------------------

// The interpreter names its temporaries with this prefix and a number; here folded to lower
// case, as the stock collection compares names.
inline constexpr std::u16string_view kTemporaryNamePrefix = u"autodf";
// Whether an ASCII text begins with that prefix in any case (beyond ASCII the collection's own
// folding decides, which the interpreter does not carry).
constexpr bool AsciiBeginsLikeATemporary(std::u16string_view text) noexcept {
  if (text.size() < kTemporaryNamePrefix.size()) return false;
  for (std::size_t i = 0; i < kTemporaryNamePrefix.size(); ++i) {
    char16_t c = text[i];
    if (c >= u'A' && c <= u'Z') c = static_cast<char16_t>(c + (u'a' - u'A'));
    if (c != kTemporaryNamePrefix[i]) return false;
  }
  return true;
}

// Direct members of a stock collection, by name without copies; each does what the member of
// the same meaning in DataFields does, raising nothing: a missing name answers false or none.
struct FieldsView {
  void* collection = nullptr;  // none: the host's collection is not the stock one
  bool (*exists)(void* collection, std::u16string_view name) = nullptr;
  // The held field, or nullptr; valid until the collection changes.
  const DataFieldRef* (*find)(void* collection, std::u16string_view name) = nullptr;
  bool (*try_add)(void* collection, const DataFieldRef& field, std::u16string_view name) = nullptr;
  bool (*try_remove)(void* collection, std::u16string_view name) = nullptr;
  // How many held names begin with kTemporaryNamePrefix, as names compare.
  std::size_t (*generated_like_keys)(void* collection) = nullptr;

  explicit operator bool() const noexcept { return collection != nullptr; }
};

// The stock components install the probe when their first collection is made; it answers an
// empty view for any collection that is not exactly theirs.
using FieldsProbe = FieldsView (*)(DataFields& fields);
void SetFieldsProbe(FieldsProbe probe) noexcept;
FieldsView ProbeFields(DataFields* fields) noexcept;

// ---- The library's own objects behind another module's interfaces ---------------------------

// Answers whether a creator runs nothing of the host's right now (a COM creator: while the class
// it would make is the library's own, of this build).
using QuietTest = bool (*)() noexcept;
// What a new field holds from the start: the members the general run writes into a field it
// creates. No data leaves Data as created (Empty).
struct FieldContent {
  std::u16string_view name;
  std::u16string_view data_type;
  std::u16string_view data_class;
  const automation::Value* data = nullptr;
};
// Writes the content into a field just created, member by member in the general run's order
// (Name, DataType, DataClass, Data): what any creator's field is given.
void Fill(DataField& field, const FieldContent& content);
// A field of the identifier's creator (CreateObjectAs) given the content by Fill; none when the
// creator made none.
DataFieldRef CreateFilled(std::u16string_view prog_id, const FieldContent& content);
// What the creator makes, as a data field holding the content, without the registry's lookup or
// a cast: the result of an unwatched run is made once per script, under the creator registered
// with it, in one step.
using FieldMaker = DataFieldRef (*)(const FieldContent& content);
// Registers the identifier's creator (as RegisterCreator) with that test, and with its maker of
// data fields when it has one; any later registration of the identifier takes both away.
void RegisterOwnCreator(std::u16string_view prog_id, Creator creator, QuietTest quiet,
                        FieldMaker make_field = nullptr);
// The test registered with the identifier's creator, or null.
QuietTest OwnCreatorTest(std::u16string_view prog_id);
// The maker registered with the identifier's creator, or null.
FieldMaker OwnFieldMaker(std::u16string_view prog_id);

// What an unwatched run asks of a collection that is the library's own but reached through
// another module (the COM servers' collection): only answers that run nothing of the host's.
struct OwnFieldsView {
  void* collection = nullptr;  // none: not such a collection
  // How many held names begin with kTemporaryNamePrefix, as names compare.
  std::size_t (*generated_like_keys)(void* collection) = nullptr;
  // The held field of the name when reading its members runs nothing of the host's; none for a
  // missing name, for a field of any other kind and for one whose Data holds an object.
  DataFieldRef (*find_quiet)(void* collection, std::u16string_view name) = nullptr;

  explicit operator bool() const noexcept { return collection != nullptr; }
};

using OwnFieldsProbe = OwnFieldsView (*)(DataFields& fields);
void SetOwnFieldsProbe(OwnFieldsProbe probe) noexcept;
OwnFieldsView ProbeOwnFields(DataFields* fields) noexcept;

}  // namespace qorvintr::contract::stock
