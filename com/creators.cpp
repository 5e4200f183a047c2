#include "com/creators.h"

#include <memory>
#include <mutex>
#include <string>
#include <type_traits>
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
  IOwnObject* own;  // the factory's, when it is QorvDFld's own of this build; else null
  DispIdCacheRef ids;
};
thread_local std::vector<KnownClass> t_classes;
thread_local int t_interpreters = 0;

struct ClassInfo {
  IClassFactory* factory;  // AddRef'd for the caller
  IOwnObject* own;         // the same, or null
  DispIdCacheRef ids;
};

// The factory's IOwnObject when it makes QorvDFld.DataField objects of this build.
IOwnObject* OwnFieldFactory(IClassFactory* factory) noexcept {
  IOwnObject* own = OwnObjectOf(factory);
  if (own && own->Kind() != OwnKind::FieldFactory) {
    own->Release();
    own = nullptr;
  }
  return own;
}

ClassInfo ClassOf(std::u16string_view prog_id) {
  for (const KnownClass& k : t_classes) {
    if (k.prog_id == prog_id) {
      k.factory->AddRef();
      if (k.own) k.own->AddRef();
      return ClassInfo{k.factory, k.own, k.ids};
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
  ComRef<IOwnObject> own(prog_id == contract::kDataFieldProgId ? OwnFieldFactory(factory.get())
                                                                : nullptr);
  if (t_interpreters > 0) {
    // Kept until the last interpreter of the thread goes.
    t_classes.push_back(KnownClass{std::move(id), factory.get(), own.get(), ids});
    factory->AddRef();
    if (own.get()) own->AddRef();
  }
  return ClassInfo{factory.release(), own.release(), std::move(ids)};
}

// Releases the caller's references of a ClassInfo.
struct ClassHold {
  const ClassInfo& k;
  ~ClassHold() {
    if (k.own) k.own->Release();
    k.factory->Release();
  }
};

IDispatch* CreateOfClass(const ClassInfo& k) {
  IDispatch* dispatch = nullptr;
  HRESULT hr = k.factory->CreateInstance(nullptr, IID_IDispatch,
                                         reinterpret_cast<void**>(&dispatch));
  if (hr == E_NOINTERFACE) automation::Raise(automation::err::NoAutomationSupport);
  if (FAILED(hr) || !dispatch) automation::Raise(automation::err::CantCreateObject);
  return dispatch;
}

template <class Adapter>
automation::ObjectRef CreateAdapter(std::u16string_view prog_id) {
  ClassInfo k = ClassOf(prog_id);
  ClassHold hold{k};
  if constexpr (std::is_same_v<Adapter, DispatchDataField>) {
    if (k.own) {
      // QorvDFld's own factory: the same object CreateInstance makes, without IDispatch.
      IOwnObject* created = nullptr;
      HRESULT hr = static_cast<DirectFieldFactory*>(k.own->Direct())->CreateField(&created);
      if (FAILED(hr) || !created) automation::Raise(automation::err::CantCreateObject);
      ComRef<IOwnObject> field(created);
      return std::make_shared<DirectDataField>(field.get());
    }
  }
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
  for (KnownClass& k : classes) {
    if (k.own) k.own->Release();
    k.factory->Release();
  }
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
