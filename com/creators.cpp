#include "com/creators.h"

#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <type_traits>
#include <vector>

#include "qorvintr/error.h"
#include "com/dispatch_client.h"
#include "com/variant.h"
#include "qorvintr/contract/creation.h"
#include "contract/stock.h"
#include "support/thread_pointer.h"

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
// Reached once per temporary: through a ThreadPointer, not a thread_local (emulated by
// mingw-w64: ~35-58 ns a reach under Wine). Made by the thread's first interpreter, gone with
// its last.
struct ThreadClasses {
  std::vector<KnownClass> classes;
  // The kept class of QorvDFld.DataField when it is QorvDFld's own factory of this build (held
  // by its entry in classes): each temporary goes straight to it, without the search by ProgID.
  IOwnObject* field_factory = nullptr;
  int interpreters = 0;
};
support::ThreadPointer g_thread_classes;

ThreadClasses* Classes() noexcept { return static_cast<ThreadClasses*>(g_thread_classes.Get()); }

// QorvDFld's own factory when the thread has found it (kept while an interpreter lives on the
// thread, so it stays for the caller's call), else null.
IOwnObject* KnownFieldFactory() noexcept {
  const ThreadClasses* known = Classes();
  return known != nullptr ? known->field_factory : nullptr;
}

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
  ThreadClasses* known = Classes();
  if (known != nullptr) {
    for (const KnownClass& k : known->classes) {
      if (k.prog_id == prog_id) {
        k.factory->AddRef();
        if (k.own) k.own->AddRef();
        return ClassInfo{k.factory, k.own, k.ids};
      }
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
  if (known != nullptr && known->interpreters > 0) {
    // Kept until the last interpreter of the thread goes.
    known->classes.push_back(KnownClass{std::move(id), factory.get(), own.get(), ids});
    factory->AddRef();
    if (own.get()) own->AddRef();
    if (own.get() && known->field_factory == nullptr) known->field_factory = own.get();
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

// QorvDFld's own factory: the same object CreateInstance makes, without IDispatch.
std::shared_ptr<DirectDataField> CreateOwnField(IOwnObject* factory) {
  IOwnObject* created = nullptr;
  HRESULT hr = static_cast<DirectFieldFactory*>(factory->Direct())->CreateField(&created);
  if (FAILED(hr) || !created) automation::Raise(automation::err::CantCreateObject);
  ComRef<IOwnObject> field(created);
  return std::make_shared<DirectDataField>(field.get());
}

template <class Adapter>
automation::ObjectRef CreateAdapter(std::u16string_view prog_id) {
  if constexpr (std::is_same_v<Adapter, DispatchDataField>) {
    if (IOwnObject* factory = KnownFieldFactory()) return CreateOwnField(factory);
  }
  ClassInfo k = ClassOf(prog_id);
  ClassHold hold{k};
  if constexpr (std::is_same_v<Adapter, DispatchDataField>) {
    if (k.own) return CreateOwnField(k.own);
  }
  ComRef<IDispatch> dispatch(CreateOfClass(k));
  return std::make_shared<Adapter>(dispatch.get(), k.ids);
}

// QorvDFld's own factory, the field made with its members written in the same call.
std::shared_ptr<DirectDataField> CreateFilledOwnField(IOwnObject* factory,
                                                      const contract::stock::FieldContent& c) {
  FieldFill fill{.name = c.name.data(),
                 .name_size = SizeOf(c.name),
                 .data_type = c.data_type.data(),
                 .data_type_size = SizeOf(c.data_type),
                 .data_class = c.data_class.data(),
                 .data_class_size = SizeOf(c.data_class),
                 .has_data = c.data != nullptr};
  Variant value;
  if (c.data != nullptr && c.data->IsString()) {
    const std::u16string& text = c.data->GetString();
    fill.text = text.data();
    fill.text_size = SizeOf(text);
  } else if (c.data != nullptr) {
    ToVariant(*c.data, value.get());
    fill.value = value.get();
  }
  IOwnObject* created = nullptr;
  EXCEPINFO info{};
  const HRESULT hr =
      static_cast<DirectFieldFactory*>(factory->Direct())->CreateFilledField(fill, &created, &info);
  if (hr == DISP_E_EXCEPTION) CheckDirect(hr, info);
  if (FAILED(hr) || !created) automation::Raise(automation::err::CantCreateObject);
  ComRef<IOwnObject> field(created);
  return std::make_shared<DirectDataField>(field.get());
}

// The creator of QorvDFld.DataField as a data field holding the content: the same object,
// without the registry's lookup or a cast when QorvDFld's own factory is known on the thread.
contract::DataFieldRef MakeField(const contract::stock::FieldContent& content) {
  if (IOwnObject* factory = KnownFieldFactory()) return CreateFilledOwnField(factory, content);
  return contract::stock::CreateFilled(contract::kDataFieldProgId, content);
}

// Whether the creator of QorvDFld.DataField goes straight to QorvDFld's own factory of this
// build on this thread (it has been found there once), so that creating runs nothing of the
// host's. Until then runs are never tried unwatched.
bool OwnFieldFactoryKnown() noexcept { return KnownFieldFactory() != nullptr; }

}  // namespace

void InterpreterCreated() noexcept {
  ThreadClasses* known = Classes();
  if (known == nullptr) {
    // Without memory (or a slot) the thread keeps no classes: each temporary then looks its
    // class up again, as it would with no interpreter.
    known = new (std::nothrow) ThreadClasses();
    if (known == nullptr) return;
    if (!g_thread_classes.Set(known)) {
      delete known;
      return;
    }
  }
  ++known->interpreters;
}

void InterpreterDestroyed() noexcept {
  ThreadClasses* known = Classes();
  if (known == nullptr) return;
  if (--known->interpreters > 0) return;
  // The factories go with the last interpreter, so that the classes' DLLs may unload.
  g_thread_classes.Set(nullptr);
  for (KnownClass& k : known->classes) {
    if (k.own) k.own->Release();
    k.factory->Release();
  }
  delete known;
}

void RegisterComCreators() {
  static std::once_flag once;
  std::call_once(once, [] {
    contract::stock::RegisterOwnCreator(
        contract::kDataFieldProgId,
        [] { return CreateAdapter<DispatchDataField>(contract::kDataFieldProgId); },
        OwnFieldFactoryKnown, MakeField);
    contract::RegisterCreator(contract::kLogProgId, [] {
      return CreateAdapter<DispatchLogWriter>(contract::kLogProgId);
    });
    InstallOwnFieldsProbe();
  });
}

}  // namespace qorvintr::com
