#include "qorvintr/components/field_collection.h"

#include <bit>
#include <cstring>
#include <typeinfo>
#include <utility>

#include "automation/chars.h"
#include "automation/text.h"
#include "contract/stock.h"
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
  if (a == b) return true;  // the usual case: the same name in the same case
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (a[i] != b[i] && FoldKeyChar(a[i]) != FoldKeyChar(b[i])) return false;
  }
  return true;
}

// ---- FieldCollection ----------------------------------------------------------------------

bool FieldCollection::GeneratedLike(std::u16string_view key) noexcept {
  constexpr std::u16string_view prefix = contract::stock::kTemporaryNamePrefix;
  if (key.size() < prefix.size()) return false;
  for (std::size_t i = 0; i < prefix.size(); ++i) {
    if (FoldKeyChar(key[i]) != prefix[i]) return false;
  }
  return true;
}

namespace {
constexpr std::size_t kNoSlot = static_cast<std::size_t>(-1);
constexpr std::size_t kFirstSlots = 16;

// The index's hash of the folded key, four code units at a time. A block of ASCII units is
// folded all at once; any other block unit by unit. Either way the same folded units go in, so
// a key and its other-cased forms hash alike.
inline std::uint64_t FoldAsciiBlock(std::uint64_t block) noexcept {
  // Per 16-bit lane (each below 0x80, so no carry crosses lanes): 0x80 set when the unit is
  // 'A' or above, cleared again when it is above 'Z'; that bit moved down is the 0x20 of case.
  constexpr std::uint64_t kLanes = 0x0001000100010001ull;
  const std::uint64_t from_a = block + kLanes * (0x80 - u'A');
  const std::uint64_t past_z = block + kLanes * (0x80 - u'Z' - 1);
  const std::uint64_t upper = from_a & ~past_z & (kLanes * 0x80);
  return block | (upper >> 2);
}

inline std::uint32_t Hash32(std::u16string_view key) noexcept {
  std::uint64_t h = 0x9E3779B97F4A7C15ull ^ key.size();
  std::size_t i = 0;
  for (; i < key.size(); i += 4) {
    const std::size_t n = key.size() - i < 4 ? key.size() - i : 4;
    std::uint64_t block = 0;
    bool ascii = true;
    if (n == 4 && std::endian::native == std::endian::little) {
      // Four whole units in one load: unit k lands in lane k, as the loop below puts it.
      std::memcpy(&block, key.data() + i, sizeof block);
      ascii = (block & 0xFF80FF80FF80FF80ull) == 0;
    } else {
      for (std::size_t k = 0; k < n; ++k) {
        block |= std::uint64_t{key[i + k]} << (16 * k);
        if (key[i + k] >= 0x80) ascii = false;
      }
    }
    if (ascii) {
      block = FoldAsciiBlock(block);
    } else {
      block = 0;
      for (std::size_t k = 0; k < n; ++k) block |= std::uint64_t{FoldKeyChar(key[i + k])} << (16 * k);
    }
    h = (h ^ block) * 0xFF51AFD7ED558CCDull;
    h ^= h >> 29;
  }
  return static_cast<std::uint32_t>(h ^ (h >> 32));
}
}  // namespace

std::size_t FieldCollection::FindSlot(std::u16string_view key, std::uint32_t hash) const noexcept {
  if (slots_.empty()) return kNoSlot;
  const std::size_t mask = slots_.size() - 1;
  for (std::size_t i = hash & mask;; i = (i + 1) & mask) {
    const Slot& s = slots_[i];
    if (s.position == 0) return kNoSlot;
    if (s.hash == hash && FoldedKeyEqual{}(order_[s.position - 1].key, key)) return i;
  }
}

void FieldCollection::Grow() {
  const std::size_t size = slots_.empty() ? kFirstSlots : slots_.size() * 2;
  std::vector<Slot> grown(size, Slot{0, 0});
  const std::size_t mask = size - 1;
  for (const Slot& s : slots_) {
    if (s.position == 0) continue;
    std::size_t i = s.hash & mask;
    while (grown[i].position != 0) i = (i + 1) & mask;
    grown[i] = s;
  }
  slots_ = std::move(grown);
}

std::size_t FieldCollection::SlotOfPosition(std::uint32_t position,
                                            std::uint32_t hash) const noexcept {
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = hash & mask;
  while (slots_[i].position != position) i = (i + 1) & mask;
  return i;
}

void FieldCollection::EraseAt(std::size_t slot) noexcept {
  const std::size_t mask = slots_.size() - 1;
  const std::size_t at = slots_[slot].position - 1;
  // Backward shift: the slots after the freed one that would no longer be reached move up.
  std::size_t hole = slot;
  for (std::size_t j = (hole + 1) & mask; slots_[j].position != 0; j = (j + 1) & mask) {
    const std::size_t home = slots_[j].hash & mask;
    const bool reachable = hole <= j ? (home > hole && home <= j) : (home > hole || home <= j);
    if (!reachable) {
      slots_[hole] = slots_[j];
      hole = j;
    }
  }
  slots_[hole] = Slot{0, 0};
  // The field goes when this ends, with the collection whole again.
  Entry gone = std::move(order_[at]);
  if (GeneratedLike(gone.key)) --generated_like_;
  if (at + 1 == order_.size()) {
    order_.pop_back();
    meta_.pop_back();
    // Holes just before it go with it.
    while (!meta_.empty() && !meta_.back().live) {
      order_.pop_back();
      meta_.pop_back();
      --holes_;
    }
    return;
  }
  // Taken out from before the last: a hole, closed up once holes are half the entries.
  order_[at] = Entry{};
  meta_[at].live = false;
  ++holes_;
  if (holes_ * 2 > order_.size()) Compact();
}

void FieldCollection::Compact() const noexcept {
  if (holes_ == 0) return;
  std::size_t to = 0;
  for (std::size_t from = 0; from < order_.size(); ++from) {
    if (!meta_[from].live) continue;
    if (from != to) {
      const std::size_t slot =
          SlotOfPosition(static_cast<std::uint32_t>(from + 1), meta_[from].hash);
      slots_[slot].position = static_cast<std::uint32_t>(to + 1);
      order_[to] = std::move(order_[from]);
      meta_[to] = meta_[from];
    }
    ++to;
  }
  order_.resize(to);
  meta_.resize(to);
  holes_ = 0;
}

contract::DataFieldRef FieldCollection::Item(std::u16string_view key) {
  const std::size_t slot = FindSlot(key, Hash32(key));
  if (slot == kNoSlot) Raise(err::InvalidProcedureCall);
  return order_[slots_[slot].position - 1].field;
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
  const std::uint32_t hash = Hash32(key);
  if (FindSlot(key, hash) != kNoSlot) return false;
  // These may fail for want of memory, and then nothing has changed.
  if ((order_.size() + 1) * 2 > slots_.size()) Grow();
  if (meta_.size() == meta_.capacity()) meta_.reserve(meta_.empty() ? 16 : meta_.size() * 2);
  const bool generated_like = GeneratedLike(key);
  order_.push_back(Entry{std::move(key), field});
  meta_.push_back(Meta{hash, true});
  const std::size_t mask = slots_.size() - 1;
  std::size_t i = hash & mask;
  while (slots_[i].position != 0) i = (i + 1) & mask;
  slots_[i] = Slot{static_cast<std::uint32_t>(order_.size()), hash};
  if (generated_like) ++generated_like_;
  return true;
}

bool FieldCollection::Contains(std::u16string_view key) const {
  return FindSlot(key, Hash32(key)) != kNoSlot;
}

contract::DataFieldRef FieldCollection::Find(std::u16string_view key) const {
  const contract::DataFieldRef* field = FindRef(key);
  return field ? *field : nullptr;
}

const contract::DataFieldRef* FieldCollection::FindRef(std::u16string_view key) const noexcept {
  const std::size_t slot = FindSlot(key, Hash32(key));
  return slot == kNoSlot ? nullptr : &order_[slots_[slot].position - 1].field;
}

void FieldCollection::Remove(std::u16string_view key) {
  if (!TryRemove(key)) Raise(err::InvalidProcedureCall);
}

bool FieldCollection::TryRemove(std::u16string_view key) {
  const std::size_t slot = FindSlot(key, Hash32(key));
  if (slot == kNoSlot) return false;
  EraseAt(slot);
  return true;
}

contract::DataFieldRef FieldCollection::ItemAt(std::int32_t index) const {
  if (index < 1 || static_cast<std::size_t>(index) > size()) {
    Raise(err::SubscriptOutOfRange);
  }
  Compact();
  return order_[static_cast<std::size_t>(index) - 1].field;
}

void FieldCollection::Clear() noexcept {
  slots_.clear();
  meta_.clear();
  order_.clear();
  holes_ = 0;
  generated_like_ = 0;
}

// ---- DataFieldCollection ------------------------------------------------------------------

namespace {

// The interpreter's direct way in, for a collection that is exactly this class over exactly a
// FieldCollection: nothing a derived class overrides can then be bypassed.
bool ViewExists(void* c, std::u16string_view name) {
  return static_cast<FieldCollection*>(c)->Contains(name);
}
const contract::DataFieldRef* ViewFind(void* c, std::u16string_view name) {
  return static_cast<FieldCollection*>(c)->FindRef(name);
}
bool ViewTryAdd(void* c, const contract::DataFieldRef& field, std::u16string_view name) {
  return static_cast<FieldCollection*>(c)->TryAdd(field, std::u16string(name));
}
bool ViewTryRemove(void* c, std::u16string_view name) {
  return static_cast<FieldCollection*>(c)->TryRemove(name);
}
std::size_t ViewGeneratedLikeKeys(void* c) {
  return static_cast<FieldCollection*>(c)->GeneratedLikeKeys();
}

contract::stock::FieldsView Probe(contract::DataFields& fields) {
  if (typeid(fields) != typeid(DataFieldCollection)) return {};
  FieldCollection& col = static_cast<DataFieldCollection&>(fields).Fields();
  if (typeid(col) != typeid(FieldCollection)) return {};
  contract::stock::FieldsView view;
  view.collection = &col;
  view.exists = ViewExists;
  view.find = ViewFind;
  view.try_add = ViewTryAdd;
  view.try_remove = ViewTryRemove;
  view.generated_like_keys = ViewGeneratedLikeKeys;
  return view;
}

}  // namespace

DataFieldCollection::DataFieldCollection() : col_(std::make_shared<FieldCollection>()) {
  contract::stock::SetFieldsProbe(Probe);
}

DataFieldCollection::DataFieldCollection(FieldCollectionRef collection)
    : col_(collection ? std::move(collection) : std::make_shared<FieldCollection>()) {
  contract::stock::SetFieldsProbe(Probe);
}

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
