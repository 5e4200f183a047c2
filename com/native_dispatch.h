#pragma once
// Our own (native) objects handed out through IDispatch.
//
// When a value the interpreter gives a host holds an object that is no host object (a data
// field made without the data field component, for instance), the host gets this small wrapper.
// A data field answers Data (the default member, DISPID_VALUE), DataType, Name and DataClass by
// name, for reading and writing; any other object answers its default member only. Handed back
// to us, the wrapper unwraps to the very same native object.

#include <windows.h>
#include <oleauto.h>

#include <atomic>

#include "qorvintr/value.h"
#include "com/own_object.h"
#include "com/server.h"

namespace qorvintr::com {

// A module recognises its own wrappers behind an IDispatch by their IOwnObject (own_object.h),
// of kind Native: a wrapper of another DLL is a foreign object.
class NativeObjectDispatch final : public IDispatch, public IOwnObject {
 public:
  // A new wrapper (one reference, for the caller). Throws std::bad_alloc.
  static IDispatch* Create(automation::ObjectRef object);
  // The native object behind one of this module's wrappers; null for anything else.
  static automation::ObjectRef Unwrap(IDispatch* dispatch) noexcept;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override;

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID lcid, ITypeInfo** info) override;
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID iid, LPOLESTR* names, UINT count, LCID lcid,
                                          DISPID* ids) override;
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID iid, LCID lcid, WORD flags,
                                   DISPPARAMS* params, VARIANT* result, EXCEPINFO* info,
                                   UINT* arg_error) override;

  const void* STDMETHODCALLTYPE ModuleTag() override { return OwnModuleTag(); }
  const char* STDMETHODCALLTYPE BuildTag() override { return OwnBuildTag(); }
  OwnKind STDMETHODCALLTYPE Kind() override { return OwnKind::Native; }
  void* STDMETHODCALLTYPE Direct() override { return nullptr; }
  IDispatch* STDMETHODCALLTYPE DispatchOf() override { return this; }
  const automation::ObjectRef* STDMETHODCALLTYPE NativeObject() override { return &object_; }

 private:
  explicit NativeObjectDispatch(automation::ObjectRef object) : object_(std::move(object)) {}
  ~NativeObjectDispatch() = default;

  ModuleCount count_;
  std::atomic<ULONG> refs_{1};
  automation::ObjectRef object_;
};

}  // namespace qorvintr::com
