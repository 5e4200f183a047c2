#pragma once
// The base of every creatable class of this folder: IUnknown, and IDispatch through the type
// library embedded in the DLL (ITypeInfo::Invoke on the dual interface), so late-bound callers
// (scripts, IDispatch::Invoke by name) and early-bound ones (the vtable) reach the same methods.
//
// Two things are added to what the type library alone gives:
// - names are looked up among the interface's own members first, so that a member named like
//   one of IUnknown's or IDispatch's ("Release") is the interface's member;
// - a by-reference parameter of a given type (BSTR*, short*, IDispatch** ...) also takes a
//   caller's Variant passed by reference (VT_BYREF | VT_VARIANT, as scripts pass variables): the
//   method works on the variable itself, so what it writes reaches the caller.
// A method that fails records the error (errors.h), and the caller's EXCEPINFO gets its number,
// source and description.

#include <windows.h>
#include <oleauto.h>

#include <atomic>

#include "com/server.h"

namespace qorvintr::com {

HRESULT TypeLibGetIDsOfNames(ITypeInfo* info, LPOLESTR* names, UINT count, DISPID* ids) noexcept;
HRESULT TypeLibInvoke(ITypeInfo* info, void* instance, DISPID id, WORD flags, DISPPARAMS* params,
                      VARIANT* result, EXCEPINFO* excep, UINT* arg_error) noexcept;

template <class Interface>
class DualObject : public Interface, public ISupportErrorInfo {
 public:
  explicit DualObject(REFIID iid) noexcept : iid_(iid) {}
  DualObject(const DualObject&) = delete;
  DualObject& operator=(const DualObject&) = delete;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch) ||
        IsEqualIID(iid, iid_)) {
      *object = static_cast<Interface*>(this);
    } else if (IsEqualIID(iid, IID_ISupportErrorInfo)) {
      *object = static_cast<ISupportErrorInfo*>(this);
    } else {
      *object = nullptr;
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG left = --refs_;
    if (left == 0) delete this;
    return left;
  }

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (!count) return E_POINTER;
    *count = InterfaceTypeInfo(iid_) ? 1 : 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
    if (!info) return E_POINTER;
    *info = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    ITypeInfo* type = InterfaceTypeInfo(iid_);
    if (!type) return E_UNEXPECTED;
    type->AddRef();
    *info = type;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override {
    return TypeLibGetIDsOfNames(InterfaceTypeInfo(iid_), names, count, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params,
                                   VARIANT* result, EXCEPINFO* excep,
                                   UINT* arg_error) override {
    // Alive through the call, whatever the caller releases meanwhile.
    AddRef();
    HRESULT hr = TypeLibInvoke(InterfaceTypeInfo(iid_), static_cast<Interface*>(this), id, flags,
                               params, result, excep, arg_error);
    Release();
    return hr;
  }

  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
    return IsEqualIID(iid, iid_) ? S_OK : S_FALSE;
  }

 protected:
  virtual ~DualObject() = default;
  const IID& InterfaceId() const noexcept { return iid_; }

 private:
  ModuleCount count_;
  std::atomic<ULONG> refs_{1};
  IID iid_;
};

}  // namespace qorvintr::com
