#include "qorvintr/contract/creation.h"

#include <atomic>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include "automation/chars.h"
#include "contract/stock.h"

namespace qorvintr::contract {

namespace {

// ProgIDs name the same class when they differ only in the case of ASCII letters.
bool SameProgId(std::u16string_view a, std::u16string_view b) noexcept {
  return automation::EqualsIgnoreAsciiCase(a, b);
}

struct Entry {
  std::u16string prog_id;
  std::shared_ptr<const Creator> creator;
  bool stock = false;
  stock::QuietTest quiet = nullptr;
  stock::FieldMaker make_field = nullptr;
};

// A handful of identifiers at most: a flat list scanned under a shared lock is the cheapest
// lookup for the creation of every temporary.
struct Registry {
  std::shared_mutex mutex;
  std::vector<Entry> entries;
  std::atomic<std::uint64_t> generation{0};

  Entry* Find(std::u16string_view prog_id) noexcept {
    for (Entry& e : entries) {
      if (SameProgId(e.prog_id, prog_id)) return &e;
    }
    return nullptr;
  }
};

Registry& TheRegistry() {
  static Registry registry;
  return registry;
}

}  // namespace

void RegisterCreator(std::u16string_view prog_id, Creator creator) {
  if (!creator) {
    UnregisterCreator(prog_id);
    return;
  }
  auto shared = std::make_shared<const Creator>(std::move(creator));
  Registry& r = TheRegistry();
  std::unique_lock lock(r.mutex);
  r.generation.fetch_add(1, std::memory_order_release);
  if (Entry* e = r.Find(prog_id)) {
    e->creator = std::move(shared);
    e->stock = false;
    e->quiet = nullptr;
    e->make_field = nullptr;
  } else {
    r.entries.push_back(Entry{std::u16string(prog_id), std::move(shared)});
  }
}

namespace {
bool AddIfAbsent(std::u16string_view prog_id, Creator creator, bool stock) {
  if (!creator) return false;
  auto shared = std::make_shared<const Creator>(std::move(creator));
  Registry& r = TheRegistry();
  std::unique_lock lock(r.mutex);
  if (r.Find(prog_id)) return false;
  r.entries.push_back(Entry{std::u16string(prog_id), std::move(shared), stock});
  r.generation.fetch_add(1, std::memory_order_release);
  return true;
}
}  // namespace

bool RegisterCreatorIfAbsent(std::u16string_view prog_id, Creator creator) {
  return AddIfAbsent(prog_id, std::move(creator), false);
}

bool UnregisterCreator(std::u16string_view prog_id) {
  Registry& r = TheRegistry();
  std::unique_lock lock(r.mutex);
  for (auto it = r.entries.begin(); it != r.entries.end(); ++it) {
    if (SameProgId(it->prog_id, prog_id)) {
      r.entries.erase(it);
      r.generation.fetch_add(1, std::memory_order_release);
      return true;
    }
  }
  return false;
}

bool IsRegistered(std::u16string_view prog_id) {
  Registry& r = TheRegistry();
  std::shared_lock lock(r.mutex);
  return r.Find(prog_id) != nullptr;
}

automation::ObjectRef CreateObject(std::u16string_view prog_id) {
  std::shared_ptr<const Creator> creator;
  {
    Registry& r = TheRegistry();
    std::shared_lock lock(r.mutex);
    if (Entry* e = r.Find(prog_id)) creator = e->creator;
  }
  // The creator runs outside the lock: it may itself create or register objects.
  if (!creator) automation::Raise(automation::err::CantCreateObject);
  automation::ObjectRef object = (*creator)();
  if (!object) automation::Raise(automation::err::CantCreateObject);
  return object;
}

}  // namespace qorvintr::contract

namespace qorvintr::contract::stock {

bool RegisterStockCreatorIfAbsent(std::u16string_view prog_id, Creator creator) {
  return AddIfAbsent(prog_id, std::move(creator), true);
}

bool IsStockCreator(std::u16string_view prog_id) {
  Registry& r = TheRegistry();
  std::shared_lock lock(r.mutex);
  const Entry* e = r.Find(prog_id);
  return e != nullptr && e->stock;
}

std::uint64_t CreatorGeneration() noexcept {
  return TheRegistry().generation.load(std::memory_order_acquire);
}

namespace {
std::atomic<FieldsProbe> g_fields_probe{nullptr};
std::atomic<OwnFieldsProbe> g_own_fields_probe{nullptr};
}  // namespace

void SetFieldsProbe(FieldsProbe probe) noexcept {
  g_fields_probe.store(probe, std::memory_order_release);
}

FieldsView ProbeFields(DataFields* fields) noexcept {
  FieldsProbe probe = g_fields_probe.load(std::memory_order_acquire);
  if (fields == nullptr || probe == nullptr) return {};
  return probe(*fields);
}

void Fill(DataField& field, const FieldContent& content) {
  field.SetName(std::u16string(content.name));
  field.SetDataType(std::u16string(content.data_type));
  field.SetDataClass(std::u16string(content.data_class));
  if (content.data != nullptr) field.SetData(*content.data);
}

DataFieldRef CreateFilled(std::u16string_view prog_id, const FieldContent& content) {
  DataFieldRef field = CreateObjectAs<DataField>(prog_id);
  if (field) Fill(*field, content);
  return field;
}

void RegisterOwnCreator(std::u16string_view prog_id, Creator creator, QuietTest quiet,
                        FieldMaker make_field) {
  RegisterCreator(prog_id, std::move(creator));
  Registry& r = TheRegistry();
  std::unique_lock lock(r.mutex);
  if (Entry* e = r.Find(prog_id)) {
    e->quiet = quiet;
    e->make_field = make_field;
  }
  r.generation.fetch_add(1, std::memory_order_release);
}

QuietTest OwnCreatorTest(std::u16string_view prog_id) {
  Registry& r = TheRegistry();
  std::shared_lock lock(r.mutex);
  const Entry* e = r.Find(prog_id);
  return e != nullptr ? e->quiet : nullptr;
}

FieldMaker OwnFieldMaker(std::u16string_view prog_id) {
  Registry& r = TheRegistry();
  std::shared_lock lock(r.mutex);
  const Entry* e = r.Find(prog_id);
  return e != nullptr ? e->make_field : nullptr;
}

void SetOwnFieldsProbe(OwnFieldsProbe probe) noexcept {
  g_own_fields_probe.store(probe, std::memory_order_release);
}

OwnFieldsView ProbeOwnFields(DataFields* fields) noexcept {
  OwnFieldsProbe probe = g_own_fields_probe.load(std::memory_order_acquire);
  if (fields == nullptr || probe == nullptr) return {};
  return probe(*fields);
}

}  // namespace qorvintr::contract::stock
