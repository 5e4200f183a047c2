#pragma once
// The stock keyed collection of data fields, with the platform collection's behaviour: keys
// compared without regard to case, insertion order kept, a missing key raises 5.

#include <cstddef>
#include <cstdint>
#include <list>
#include <memory>
#include <string>
#include <string_view>
#include <unordered_map>

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
  using const_iterator = std::list<Entry>::const_iterator;

  FieldCollection() = default;
  FieldCollection(const FieldCollection&) = delete;
  FieldCollection& operator=(const FieldCollection&) = delete;

  // The field held under the key; a key not held raises 5.
  contract::DataFieldRef Item(std::u16string_view key) override;
  std::int32_t Count() override { return static_cast<std::int32_t>(order_.size()); }

  // Adds under the key (the field's Name when no key is given). A key already held raises 457
  // and changes nothing; no field raises 91.
  void Add(const contract::DataFieldRef& field);
  void Add(const contract::DataFieldRef& field, std::u16string key);
  // The same without raising: false (nothing changed) when the key is already held.
  bool TryAdd(const contract::DataFieldRef& field, std::u16string key);

  bool Contains(std::u16string_view key) const;
  // The field, or none when the key is not held.
  contract::DataFieldRef Find(std::u16string_view key) const;
  // Removes the key; a key not held raises 5.
  void Remove(std::u16string_view key);
  // false when the key was not held.
  bool TryRemove(std::u16string_view key);
  // By position, 1 to Count, in the order added; outside that raises 9.
  contract::DataFieldRef ItemAt(std::int32_t index) const;
  void Clear() noexcept;

  std::size_t size() const noexcept { return order_.size(); }
  const_iterator begin() const noexcept { return order_.begin(); }
  const_iterator end() const noexcept { return order_.end(); }

 private:
  // A key of the index with its folded hash, made once per lookup: walking a bucket and
  // erasing then read the stored hash instead of folding every key they pass again.
  struct IndexKey {
    std::u16string_view text;
    std::size_t hash;
    explicit IndexKey(std::u16string_view key) noexcept : text(key), hash(FoldedKeyHash{}(key)) {}
    IndexKey(std::u16string_view key, std::size_t key_hash) noexcept : text(key), hash(key_hash) {}
  };
  struct IndexKeyHash {
    std::size_t operator()(const IndexKey& key) const noexcept { return key.hash; }
  };
  struct IndexKeyEqual {
    bool operator()(const IndexKey& a, const IndexKey& b) const noexcept {
      return a.hash == b.hash && FoldedKeyEqual{}(a.text, b.text);
    }
  };

  // Keys of the index view the key strings of the entries, which never move in the list.
  std::list<Entry> order_;
  std::unordered_map<IndexKey, std::list<Entry>::iterator, IndexKeyHash, IndexKeyEqual> index_;
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
