#pragma once
// The stock keyed collection of data fields, with the platform collection's behaviour: keys
// compared without regard to case, insertion order kept, a missing key raises 5.

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "qorvintr/value.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/contract/data_field.h"

namespace qorvintr::components {

// Keys compared without regard to case, one code unit at a time, so that hashing and comparing
// never allocate.
struct FoldedKeyHash {
  std::size_t operator()(std::u16string_view key) const noexcept;
};
struct FoldedKeyEqual {
  bool operator()(std::u16string_view a, std::u16string_view b) const noexcept;
};

// The keyed collection itself (what DataFields.mCol answers).
class FieldCollection : public contract::KeyedCollection {
 public:
  struct Entry {
    std::u16string key;
    contract::DataFieldRef field;
  };
  using const_iterator = std::vector<Entry>::const_iterator;

  FieldCollection() = default;
  FieldCollection(const FieldCollection&) = delete;
  FieldCollection& operator=(const FieldCollection&) = delete;

  // The field held under the key; a key not held raises 5.
  contract::DataFieldRef Item(std::u16string_view key) override;
  std::int32_t Count() override { return static_cast<std::int32_t>(size()); }

  // Adds under the key (the field's Name when no key is given). A key already held raises 457
  // and changes nothing; no field raises 91.
  void Add(const contract::DataFieldRef& field);
  void Add(const contract::DataFieldRef& field, std::u16string key);
  // The same without raising: false (nothing changed) when the key is already held.
  bool TryAdd(const contract::DataFieldRef& field, std::u16string key);

  bool Contains(std::u16string_view key) const;
  // The field, or none when the key is not held.
  contract::DataFieldRef Find(std::u16string_view key) const;
  // The same without a counted copy: valid until the collection changes.
  const contract::DataFieldRef* FindRef(std::u16string_view key) const noexcept;
  // Removes the key; a key not held raises 5.
  void Remove(std::u16string_view key);
  // false when the key was not held.
  bool TryRemove(std::u16string_view key);
  // By position, 1 to Count, in the order added; outside that raises 9.
  contract::DataFieldRef ItemAt(std::int32_t index) const;
  void Clear() noexcept;

  std::size_t size() const noexcept { return order_.size() - holes_; }
  // Whether the key could be a name the interpreter gives its temporaries: it begins with their
  // prefix as keys compare. How many held keys do is kept as they come and go.
  static bool GeneratedLike(std::u16string_view key) noexcept;
  std::size_t GeneratedLikeKeys() const noexcept { return generated_like_; }
  const_iterator begin() const noexcept {
    Compact();
    return order_.begin();
  }
  const_iterator end() const noexcept {
    Compact();
    return order_.end();
  }

 private:
  // One slot of the index: the entry's position plus one (0: free) and its folded hash, so that
  // probing compares hashes before texts and growing never folds a key again.
  struct Slot {
    std::uint32_t position;
    std::uint32_t hash;
  };
  // Per entry: its folded hash, and whether it is still held (a field taken out from before
  // the last one leaves a hole until the entries are closed up).
  struct Meta {
    std::uint32_t hash;
    bool live;
  };
  // The index slot holding the key, or npos.
  std::size_t FindSlot(std::u16string_view key, std::uint32_t hash) const noexcept;
  std::size_t SlotOfPosition(std::uint32_t position, std::uint32_t hash) const noexcept;
  void Grow();
  void EraseAt(std::size_t slot) noexcept;
  // Closes up the holes, keeping the order; the reads by position and the enumeration see
  // only held entries. Const because it changes nothing a reader can tell.
  void Compact() const noexcept;

  // The entries in the order added (with holes_ holes); the index (open addressing, linear
  // probing, a power of two at most half full) gives a key's position. Fields go mostly in the
  // reverse order they came, so taking one out is usually taking the last.
  mutable std::vector<Entry> order_;
  mutable std::vector<Meta> meta_;
  mutable std::vector<Slot> slots_;
  mutable std::size_t holes_ = 0;
  std::size_t generated_like_ = 0;
};
using FieldCollectionRef = std::shared_ptr<FieldCollection>;

// The host's DataFields: the interpreter's view of a FieldCollection.
class DataFieldCollection : public contract::DataFields {
 public:
  DataFieldCollection();
  explicit DataFieldCollection(FieldCollectionRef collection);

  contract::DataFieldRef Item(std::u16string& name) override { return col_->Item(name); }
  bool Exists(std::u16string& name) override { return col_->Contains(name); }
  // 0 when added under the field's Name; 457 when that name is already held and 91 for no
  // field (nothing changed in both cases).
  std::int16_t AddObject(contract::DataFieldRef& field) override;
  void Remove(std::u16string& name) override { col_->Remove(name); }
  contract::KeyedCollectionRef mCol() override { return col_; }

  // For C++ hosts.
  FieldCollection& Fields() noexcept { return *col_; }
  const FieldCollection& Fields() const noexcept { return *col_; }
  std::int32_t Count() const noexcept { return static_cast<std::int32_t>(col_->size()); }
  // A new stock field added under its name (457 when the name is held).
  std::shared_ptr<DataFieldObject> Add(std::u16string name, automation::Value data,
                                       std::u16string data_type,
                                       std::u16string data_class = {});

 private:
  FieldCollectionRef col_;
};
using DataFieldCollectionRef = std::shared_ptr<DataFieldCollection>;

}  // namespace qorvintr::components
