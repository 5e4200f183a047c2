#include "com/creators.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "qorvintr/error.h"
#include "com/dispatch_client.h"
#include "com/variant.h"
#include "qorvintr/contract/creation.h"

namespace qorvintr::com {

namespace {

// The classes of the ProgIDs asked for on this thread, while an interpreter lives on it: the
// class's factory, kept so that each temporary is one CreateInstance (CoCreateInstance would
// look the class up in the registry every time), and the dispatch identifiers of the class's
// members, which every object of one class shares, so each member is looked up once.
struct KnownClass {
  std::u16string prog_id;
  IClassFactory* factory;
  DispIdCacheRef ids;
};
thread_local std::vector<KnownClass> t_classes;
thread_local int t_interpreters = 0;

struct ClassInfo {
  IClassFactory* factory;  // AddRef'd for the caller
  DispIdCacheRef ids;
};

ClassInfo ClassOf(std::u16string_view prog_id) {
  for (const KnownClass& k : t_classes) {
    if (k.prog_id == prog_id) {
      k.factory->AddRef();
      return ClassInfo{k.factory, k.ids};
    }
  }
  std::u16string id(prog_id);
  CLSID clsid{};
  if (FAILED(CLSIDFromProgID(WideOf(id), &clsid))) {
    automation::Raise(automation::err::CantCreateObject);
  }
  ComRef<IClassFactory> factory;
  if (FAILED(CoGetClassObject(clsid, CLSCTX_SERVER, nullptr, IID_IClassFactory,
                              reinterpret_cast<void**>(factory.address()))) ||
      !factory.get()) {
    automation::Raise(automation::err::CantCreateObject);
  }
  auto ids = std::make_shared<DispIdCache>();
  if (t_interpreters > 0) {
    // Kept until the last interpreter of the thread goes.
    t_classes.push_back(KnownClass{std::move(id), factory.get(), ids});
    factory->AddRef();
  }
  return ClassInfo{factory.release(), std::move(ids)};
}

IDispatch* CreateOfClass(const ClassInfo& k) {
  IDispatch* dispatch = nullptr;
  HRESULT hr = k.factory->CreateInstance(nullptr, IID_IDispatch,
                                         reinterpret_cast<void**>(&dispatch));
  k.factory->Release();
  if (hr == E_NOINTERFACE) automation::Raise(automation::err::NoAutomationSupport);
  if (FAILED(hr) || !dispatch) automation::Raise(automation::err::CantCreateObject);
  return dispatch;
}

template <class Adapter>
automation::ObjectRef CreateAdapter(std::u16string_view prog_id) {
  ClassInfo k = ClassOf(prog_id);
  ComRef<IDispatch> dispatch(CreateOfClass(k));
  return std::make_shared<Adapter>(dispatch.get(), k.ids);
}

}  // namespace

void InterpreterCreated() noexcept { ++t_interpreters; }

void InterpreterDestroyed() noexcept {
  if (--t_interpreters > 0) return;
  t_interpreters = 0;
  // The factories go with the last interpreter, so that the classes' DLLs may unload.
  std::vector<KnownClass> classes;
  classes.swap(t_classes);
  for (KnownClass& k : classes) k.factory->Release();
}

void RegisterComCreators() {
  static std::once_flag once;
  std::call_once(once, [] {
    contract::RegisterCreator(contract::kDataFieldProgId, [] {
      return CreateAdapter<DispatchDataField>(contract::kDataFieldProgId);
    });
    contract::RegisterCreator(contract::kLogProgId, [] {
      return CreateAdapter<DispatchLogWriter>(contract::kLogProgId);
    });
  });
}

}  // namespace qorvintr::com
