#include "qorvintr/components/field_collection.h"

#include <iterator>
#include <utility>

#include "automation/chars.h"
#include "automation/text.h"
#include "qorvintr/error.h"

namespace qorvintr::components {

using automation::Raise;
namespace err = automation::err;

namespace {
// Beyond ASCII the platform's own lower-casing decides.
inline char16_t FoldKeyChar(char16_t c) noexcept {
  if (c < 0x80) return automation::AsciiLower(c);
  return automation::LCaseChar(c);
}
}  // namespace

std::size_t FoldedKeyHash::operator()(std::u16string_view key) const noexcept {
  // FNV-1a over the folded code units.
  std::uint64_t h = 14695981039346656037ull;
  for (char16_t c : key) {
    h ^= FoldKeyChar(c);
    h *= 1099511628211ull;
  }
  return static_cast<std::size_t>(h);
}

bool FoldedKeyEqual::operator()(std::u16string_view a, std::u16string_view b) const noexcept {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i] && FoldKeyChar(a[i]) != FoldKeyChar(b[i])) return false;
  }
  return true;
}

// ---- FieldCollection ----------------------------------------------------------------------

contract::DataFieldRef FieldCollection::Item(std::u16string_view key) {
  auto it = index_.find(IndexKey(key));
  if (it == index_.end()) Raise(err::InvalidProcedureCall);
  return it->second->field;
}

void FieldCollection::Add(const contract::DataFieldRef& field) {
  if (!field) Raise(err::ObjectVariableNotSet);
  Add(field, field->Name());
}

void FieldCollection::Add(const contract::DataFieldRef& field, std::u16string key) {
  if (!field) Raise(err::ObjectVariableNotSet);
  if (!TryAdd(field, std::move(key))) Raise(err::KeyAlreadyAssociated);
}

bool FieldCollection::TryAdd(const contract::DataFieldRef& field, std::u16string key) {
  const std::size_t hash = IndexKey(key).hash;
  if (index_.find(IndexKey(key, hash)) != index_.end()) return false;
  order_.push_back(Entry{std::move(key), field});
  auto last = std::prev(order_.end());
  try {
    index_.emplace(IndexKey(last->key, hash), last);
  } catch (...) {
    // No memory for the index entry: the list must not keep a key the index lacks.
    order_.pop_back();
    throw;
  }
  return true;
}

bool FieldCollection::Contains(std::u16string_view key) const {
  return index_.find(IndexKey(key)) != index_.end();
}

contract::DataFieldRef FieldCollection::Find(std::u16string_view key) const {
  auto it = index_.find(IndexKey(key));
  return it == index_.end() ? nullptr : it->second->field;
}

void FieldCollection::Remove(std::u16string_view key) {
  if (!TryRemove(key)) Raise(err::InvalidProcedureCall);
}

bool FieldCollection::TryRemove(std::u16string_view key) {
  auto it = index_.find(IndexKey(key));
  if (it == index_.end()) return false;
  auto entry = it->second;
  index_.erase(it);  // before the entry: the index key views the entry's text
  order_.erase(entry);
  return true;
}

contract::DataFieldRef FieldCollection::ItemAt(std::int32_t index) const {
  if (index < 1 || static_cast<std::size_t>(index) > order_.size()) {
    Raise(err::SubscriptOutOfRange);
  }
  auto it = order_.begin();
  std::advance(it, index - 1);
  return it->field;
}

void FieldCollection::Clear() noexcept {
  index_.clear();
  order_.clear();
}

// ---- DataFieldCollection ------------------------------------------------------------------

DataFieldCollection::DataFieldCollection() : col_(std::make_shared<FieldCollection>()) {}

DataFieldCollection::DataFieldCollection(FieldCollectionRef collection)
    : col_(collection ? std::move(collection) : std::make_shared<FieldCollection>()) {}

std::int16_t DataFieldCollection::AddObject(contract::DataFieldRef& field) {
  if (!field) return static_cast<std::int16_t>(err::ObjectVariableNotSet);
  return col_->TryAdd(field, field->Name()) ? 0
                                            : static_cast<std::int16_t>(err::KeyAlreadyAssociated);
}

std::shared_ptr<DataFieldObject> DataFieldCollection::Add(std::u16string name,
                                                          automation::Value data,
                                                          std::u16string data_type,
                                                          std::u16string data_class) {
  auto field = MakeDataField(name, std::move(data), std::move(data_type), std::move(data_class));
  col_->Add(field, std::move(name));
  return field;
}

}  // namespace qorvintr::components
