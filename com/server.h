#pragma once
// What every in-process server of this folder shares: the module's object and lock counts, the
// class factory, the type library embedded in the DLL, and self-registration.
//
// Each DLL links its own copy of this code, so the counts and the type library are per DLL.

#include <windows.h>
#include <oleauto.h>
#include <unknwn.h>

#include <atomic>
#include <cstddef>
#include <iterator>
#include <new>

#include "com/own_object.h"

namespace qorvintr::com {

// ---- Module counts (DllCanUnloadNow) ----------------------------------------------------------

// Every COM object of the DLL counts itself for as long as it lives; LockServer counts locks.
void ObjectCreated() noexcept;
void ObjectDestroyed() noexcept;
void LockModule(bool lock) noexcept;
// S_OK when no object lives and no lock is held, else S_FALSE.
HRESULT CanUnloadNow() noexcept;
long LiveObjects() noexcept;

// Counts one object for as long as it exists: make it a member of every COM object.
class ModuleCount {
 public:
  ModuleCount() noexcept { ObjectCreated(); }
  ~ModuleCount() { ObjectDestroyed(); }
  ModuleCount(const ModuleCount&) = delete;
  ModuleCount& operator=(const ModuleCount&) = delete;
};

// ---- The DLL and its type library -------------------------------------------------------------

// This DLL (not the process's executable).
HMODULE ThisModule() noexcept;
// The full path of this DLL; empty on failure.
bool ThisModulePath(wchar_t* buffer, DWORD size) noexcept;

// The type library embedded in this DLL (resource TYPELIB 1), loaded once. Not AddRef'd: it lives
// as long as the DLL. Null when it cannot be loaded.
ITypeLib* ModuleTypeLib() noexcept;
// The type information of a dual interface of that library, as the vtable interface (what
// ITypeInfo::Invoke needs). Not AddRef'd. Null when missing.
ITypeInfo* InterfaceTypeInfo(REFIID iid) noexcept;
// The type information of a class of that library. Not AddRef'd.
ITypeInfo* ClassTypeInfo(REFCLSID clsid) noexcept;

// ---- Class factory ----------------------------------------------------------------------------

using CreateFunction = HRESULT (*)(REFIID iid, void** object);

// One factory per class; it creates objects through a function and counts as an object itself.
class ClassFactory final : public IClassFactory {
 public:
  // own: what the factory answers as its IOwnObject (a part that lives as long as the DLL), or
  // null.
  ClassFactory(CreateFunction create, IOwnObject* own) noexcept : create_(create), own_(own) {}

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override;
  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID iid, void** object) override;
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override;

 private:
  ModuleCount count_;
  std::atomic<ULONG> refs_{1};
  CreateFunction create_;
  IOwnObject* own_;
};

// Creates a new object of type T (a COM object starting with one reference) and asks it for iid.
template <class T>
HRESULT CreateObjectOf(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  *object = nullptr;
  T* created = new (std::nothrow) T();
  if (!created) return E_OUTOFMEMORY;
  HRESULT hr = created->QueryInterface(iid, object);
  created->Release();
  return hr;
}

// ---- Registration -----------------------------------------------------------------------------

struct ClassEntry {
  const CLSID* clsid;
  const wchar_t* prog_id;      // "QorvIntr.Interpreter"
  const wchar_t* description;  // the default value of the class keys
  CreateFunction create;
  IOwnObject* factory_part;  // the factory's IOwnObject (own_object.h), or null
};

// DllGetClassObject over a table of classes.
HRESULT GetClassObject(const ClassEntry* classes, std::size_t count, REFCLSID clsid, REFIID iid,
                       void** object) noexcept;

// Writes, for each class: HKCR\<ProgID> (with CLSID), HKCR\CLSID\{clsid} (with InprocServer32 =
// this DLL, ThreadingModel "Apartment", ProgID, TypeLib, Version), and registers the embedded
// type library. A failure part-way removes what was written.
HRESULT RegisterServer(const ClassEntry* classes, std::size_t count) noexcept;
// Removes every key RegisterServer wrote and unregisters the type library. Keys already gone
// are no error.
HRESULT UnregisterServer(const ClassEntry* classes, std::size_t count) noexcept;

}  // namespace qorvintr::com

// The four entry points of exports.def, over the DLL's table of classes (an array, named with
// its namespace). Use once, at global scope, in the server's own source.
#define QORVINTR_COM_SERVER_EXPORTS(classes)                                                     \
  extern "C" HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID iid,              \
                                                      LPVOID* object) {                         \
    return ::qorvintr::com::GetClassObject(classes, std::size(classes), clsid, iid, object);   \
  }                                                                                             \
  extern "C" HRESULT STDAPICALLTYPE DllCanUnloadNow() {                                        \
    return ::qorvintr::com::CanUnloadNow();                                                     \
  }                                                                                             \
  extern "C" HRESULT STDAPICALLTYPE DllRegisterServer() {                                      \
    return ::qorvintr::com::RegisterServer(classes, std::size(classes));                       \
  }                                                                                             \
  extern "C" HRESULT STDAPICALLTYPE DllUnregisterServer() {                                    \
    return ::qorvintr::com::UnregisterServer(classes, std::size(classes));                     \
  }
