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
//
// The hot members of each class are answered by the class's own dispatch (FastInvoke) for the
// usual shapes of a call: the flags a client uses for the member, no named arguments beyond a
// put's, the right count, and arguments of the parameter's own type (or a Variant by reference
// holding it, as scripts pass variables). The method runs exactly as the type library would
// run it, and the answer, the EXCEPINFO and what reaches by-reference arguments are the same;
// any other shape goes to the type library. GetIDsOfNames answers the interface's own member
// names from the class's table (the type library's DISPIDs). QORVINTR_COM_GENERIC_INVOKE=1
// sends everything through the type library (own_object.h).

#include <windows.h>
#include <oleauto.h>

#include <atomic>
#include <cstring>
#include <span>

#include "com/own_object.h"
#include "com/server.h"

namespace qorvintr::com {

HRESULT TypeLibGetIDsOfNames(ITypeInfo* info, LPOLESTR* names, UINT count, DISPID* ids) noexcept;
HRESULT TypeLibInvoke(ITypeInfo* info, void* instance, DISPID id, WORD flags, DISPPARAMS* params,
                      VARIANT* result, EXCEPINFO* excep, UINT* arg_error) noexcept;

// A member's name and DISPID, as the type library has them.
struct MemberName {
  const wchar_t* name;
  DISPID id;
};
// The DISPID of one of the names (without regard to ASCII case); false when none matches.
bool FindMemberName(std::span<const MemberName> table, const wchar_t* name, DISPID* id) noexcept;

// One dispatch call, for a class's own dispatch of its hot members.
class FastCall {
 public:
  FastCall(WORD flags, DISPPARAMS* params, VARIANT* result, EXCEPINFO* excep) noexcept
      : flags_(flags), params_(params), result_(result), excep_(excep) {}

  // The shapes answered: a property read (flags with PROPERTYGET), a method call (flags with
  // METHOD), a put or putref with its value as the named argument DISPID_PROPERTYPUT; n
  // arguments, none named otherwise.
  bool PropertyGet(UINT n) const noexcept;
  bool Method(UINT n) const noexcept;
  bool Put() const noexcept { return PutOf(DISPATCH_PROPERTYPUT); }
  bool PutRef() const noexcept { return PutOf(DISPATCH_PROPERTYPUTREF); }
  UINT Count() const noexcept { return params_->cArgs; }

  // Argument i (from the first) for a parameter of a given type; false when it is of another
  // kind (the type library then converts it).
  bool Value(UINT i, const VARIANT** out) const noexcept;      // [in] VARIANT
  bool Text(UINT i, BSTR* out) const noexcept;                 // [in] BSTR
  bool TextRef(UINT i, BSTR** out) const noexcept;             // [in, out] BSTR*
  bool Object(UINT i, IDispatch** out) const noexcept;         // [in] IDispatch*
  bool ObjectRef(UINT i, IDispatch*** out) const noexcept;     // [in, out] IDispatch**

  // The method's answer: the call's HRESULT (DISP_E_EXCEPTION with the EXCEPINFO for a
  // failure), with the retval in the caller's result on success. Each takes the retval over.
  HRESULT Done(HRESULT hr) noexcept;
  HRESULT ReturnVariant(HRESULT hr, VARIANT& value) noexcept;
  HRESULT ReturnText(HRESULT hr, BSTR value) noexcept;
  HRESULT ReturnObject(HRESULT hr, IDispatch* value) noexcept;
  HRESULT ReturnBool(HRESULT hr, VARIANT_BOOL value) noexcept;
  HRESULT ReturnShort(HRESULT hr, short value) noexcept;
  HRESULT ReturnLong(HRESULT hr, LONG value) noexcept;

 private:
  bool PutOf(WORD kind) const noexcept;
  const VARIANT& Arg(UINT i) const noexcept { return params_->rgvarg[params_->cArgs - 1 - i]; }
  HRESULT Answer(HRESULT hr, VARIANT& value) noexcept;

  WORD flags_;
  DISPPARAMS* params_;
  VARIANT* result_;
  EXCEPINFO* excep_;
  bool has_no_retval_ = false;
};

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
    } else if (IsEqualIID(iid, kIidOwnObject) && OwnPart()) {
      *object = OwnPart();
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
    if (names && ids && count == 1 && names[0] && !FastPathsOff() &&
        FindMemberName(MemberNames(), names[0], &ids[0])) {
      return S_OK;
    }
    return TypeLibGetIDsOfNames(InterfaceTypeInfo(iid_), names, count, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params,
                                   VARIANT* result, EXCEPINFO* excep,
                                   UINT* arg_error) override {
    // Alive through the call, whatever the caller releases meanwhile.
    AddRef();
    HRESULT hr = S_OK;
    bool answered = false;
    if (params && !FastPathsOff()) {
      FastCall call(flags, params, result, excep);
      answered = FastInvoke(id, call, hr);
    }
    if (!answered) {
      hr = TypeLibInvoke(InterfaceTypeInfo(iid_), static_cast<Interface*>(this), id, flags,
                         params, result, excep, arg_error);
    }
    Release();
    return hr;
  }

  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID iid) override {
    return IsEqualIID(iid, iid_) ? S_OK : S_FALSE;
  }

 protected:
  virtual ~DualObject() = default;
  const IID& InterfaceId() const noexcept { return iid_; }

  // The class's own dispatch of its hot members: true when it answered the call (hr is the
  // answer), false to leave it to the type library.
  virtual bool FastInvoke(DISPID, FastCall&, HRESULT&) noexcept { return false; }
  // The interface's own members, for GetIDsOfNames.
  virtual std::span<const MemberName> MemberNames() const noexcept { return {}; }
  // The object's IOwnObject (a class that implements it), or null.
  virtual IOwnObject* OwnPart() noexcept { return nullptr; }

 private:
  ModuleCount count_;
  std::atomic<ULONG> refs_{1};
  IID iid_;
};

// The IUnknown of a class that derives from DualObject and from IOwnObject: DualObject's.
#define QORVINTR_DUAL_OWN_UNKNOWN()                                                          \
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {             \
    return DualObject::QueryInterface(iid, object);                                          \
  }                                                                                          \
  ULONG STDMETHODCALLTYPE AddRef() override { return DualObject::AddRef(); }                 \
  ULONG STDMETHODCALLTYPE Release() override { return DualObject::Release(); }               \
  const void* STDMETHODCALLTYPE ModuleTag() override { return OwnModuleTag(); }              \
  const char* STDMETHODCALLTYPE BuildTag() override { return OwnBuildTag(); }                \
  const automation::ObjectRef* STDMETHODCALLTYPE NativeObject() override { return nullptr; } \
  IOwnObject* OwnPart() noexcept override { return this; }

}  // namespace qorvintr::com
