#include "components/field_collection.h"

#include <iterator>
#include <utility>

#include "automation/error.h"
#include "automation/text.h"

namespace qorvintr::components {

using automation::Raise;
namespace err = automation::err;

char16_t FoldNonAsciiKeyChar(char16_t c) noexcept {
  // Beyond ASCII the platform's own lower-casing decides; one code unit stays one code unit.
  try {
    std::u16string lower = automation::LCase(std::u16string_view(&c, 1));
    return lower.size() == 1 ? lower[0] : c;
  } catch (...) {
    return c;  // no case mapping to be had: the unit stands for itself
  }
}

// ---- FieldCollection ----------------------------------------------------------------------

contract::DataFieldRef FieldCollection::Item(std::u16string_view key) {
  auto it = index_.find(key);
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
  if (index_.find(key) != index_.end()) return false;
  order_.push_back(Entry{std::move(key), field});
  auto last = std::prev(order_.end());
  try {
    index_.emplace(std::u16string_view(last->key), last);
  } catch (...) {
    // No memory for the index: the entry goes again, so that nothing changed, and the error on.
    order_.pop_back();
    throw;
  }
  return true;
}

bool FieldCollection::Contains(std::u16string_view key) const {
  return index_.find(key) != index_.end();
}

contract::DataFieldRef FieldCollection::Find(std::u16string_view key) const {
  auto it = index_.find(key);
  return it == index_.end() ? nullptr : it->second->field;
}

void FieldCollection::Remove(std::u16string_view key) {
  if (!TryRemove(key)) Raise(err::InvalidProcedureCall);
}

bool FieldCollection::TryRemove(std::u16string_view key) {
  auto it = index_.find(key);
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
