#include "qorvintr/contract/creation.h"

#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include "automation/chars.h"

namespace qorvintr::contract {

namespace {

// ProgIDs name the same class when they differ only in the case of ASCII letters.
bool SameProgId(std::u16string_view a, std::u16string_view b) noexcept {
  return automation::EqualsIgnoreAsciiCase(a, b);
}

struct Entry {
  std::u16string prog_id;
  std::shared_ptr<const Creator> creator;
};

// A handful of identifiers at most: a flat list scanned under a shared lock is the cheapest
// lookup for the creation of every temporary.
struct Registry {
  std::shared_mutex mutex;
  std::vector<Entry> entries;

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
  if (Entry* e = r.Find(prog_id)) {
    e->creator = std::move(shared);
  } else {
    r.entries.push_back(Entry{std::u16string(prog_id), std::move(shared)});
  }
}

bool RegisterCreatorIfAbsent(std::u16string_view prog_id, Creator creator) {
  if (!creator) return false;
  auto shared = std::make_shared<const Creator>(std::move(creator));
  Registry& r = TheRegistry();
  std::unique_lock lock(r.mutex);
  if (r.Find(prog_id)) return false;
  r.entries.push_back(Entry{std::u16string(prog_id), std::move(shared)});
  return true;
}

bool UnregisterCreator(std::u16string_view prog_id) {
  Registry& r = TheRegistry();
  std::unique_lock lock(r.mutex);
  for (auto it = r.entries.begin(); it != r.entries.end(); ++it) {
    if (SameProgId(it->prog_id, prog_id)) {
      r.entries.erase(it);
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
