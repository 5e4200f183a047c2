#include "com/dual_object.h"

#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "automation/chars.h"
#include "com/errors.h"
#include "com/variant.h"

namespace qorvintr::com {

namespace {

// The names of an interface's own members (not those inherited from IUnknown or IDispatch),
// read once per type information.
struct OwnNames {
  ITypeInfo* info;
  std::vector<std::pair<std::wstring, MEMBERID>> members;
};

const OwnNames* NamesOf(ITypeInfo* info) {
  static std::mutex mutex;
  static std::vector<std::unique_ptr<OwnNames>> tables;
  std::lock_guard<std::mutex> lock(mutex);
  for (const auto& t : tables) {
    if (t->info == info) return t.get();
  }
  auto table = std::make_unique<OwnNames>();
  table->info = info;
  TYPEATTR* attr = nullptr;
  if (FAILED(info->GetTypeAttr(&attr))) return nullptr;
  const WORD funcs = attr->cFuncs;
  info->ReleaseTypeAttr(attr);
  for (WORD i = 0; i < funcs; ++i) {
    FUNCDESC* fd = nullptr;
    if (FAILED(info->GetFuncDesc(i, &fd))) continue;
    const MEMBERID memid = fd->memid;
    info->ReleaseFuncDesc(fd);
    BSTR member = nullptr;
    UINT got = 0;
    if (FAILED(info->GetNames(memid, &member, 1, &got)) || got == 0) continue;
    table->members.emplace_back(std::wstring(member, SysStringLen(member)), memid);
    SysFreeString(member);
  }
  tables.push_back(std::move(table));
  return tables.back().get();
}

bool OwnMember(ITypeInfo* info, const wchar_t* name, DISPID* id) noexcept {
  try {
    const OwnNames* names = NamesOf(info);
    if (!names) return false;
    // Member names are ASCII; the platform matches them without regard to case.
    const std::wstring_view wanted(name);
    for (const auto& m : names->members) {
      if (automation::EqualsIgnoreAsciiCase(std::wstring_view(m.first), wanted)) {
        *id = m.second;
        return true;
      }
    }
  } catch (...) {
    // No table (no memory, or its lock failed): the type library's own lookup answers.
  }
  return false;
}

// The function the call addresses, for its parameter types; null when there is none.
FUNCDESC* FindFunction(ITypeInfo* info, DISPID id, WORD flags, ITypeInfo2** holder) noexcept {
  *holder = nullptr;
  ITypeInfo2* info2 = nullptr;
  if (FAILED(info->QueryInterface(IID_ITypeInfo2, reinterpret_cast<void**>(&info2)))) {
    return nullptr;
  }
  static constexpr struct {
    WORD flag;
    INVOKEKIND kind;
  } kKinds[] = {{DISPATCH_METHOD, INVOKE_FUNC},
                {DISPATCH_PROPERTYGET, INVOKE_PROPERTYGET},
                {DISPATCH_PROPERTYPUT, INVOKE_PROPERTYPUT},
                {DISPATCH_PROPERTYPUTREF, INVOKE_PROPERTYPUTREF}};
  for (const auto& k : kKinds) {
    if (!(flags & k.flag)) continue;
    UINT index = 0;
    if (FAILED(info2->GetFuncIndexOfMemId(id, k.kind, &index))) continue;
    FUNCDESC* fd = nullptr;
    if (SUCCEEDED(info2->GetFuncDesc(index, &fd))) {
      *holder = info2;
      return fd;
    }
  }
  info2->Release();
  return nullptr;
}

// The pointed-to type of a by-reference parameter that is not a Variant; VT_EMPTY otherwise.
VARTYPE ByRefTarget(const ELEMDESC& param) noexcept {
  const TYPEDESC& t = param.tdesc;
  if (t.vt != VT_PTR || !t.lptdesc) return VT_EMPTY;
  switch (t.lptdesc->vt) {
    case VT_I2: case VT_I4: case VT_R4: case VT_R8: case VT_DATE: case VT_BSTR:
    case VT_BOOL: case VT_DISPATCH: case VT_UNKNOWN: case VT_ERROR: case VT_I1: case VT_UI1:
    case VT_UI2: case VT_UI4: case VT_INT: case VT_UINT: case VT_CY:
      return t.lptdesc->vt;
    default:
      return VT_EMPTY;
  }
}

bool SameContent(const VARIANT& a, const VARIANT& b) noexcept {
  if (V_VT(&a) != V_VT(&b)) return false;
  switch (V_VT(&a)) {
    case VT_BSTR: {
      UINT la = SysStringLen(V_BSTR(&a));
      return la == SysStringLen(V_BSTR(&b)) &&
             (la == 0 || std::memcmp(V_BSTR(&a), V_BSTR(&b), la * sizeof(OLECHAR)) == 0);
    }
    case VT_DISPATCH: return V_DISPATCH(&a) == V_DISPATCH(&b);
    case VT_UNKNOWN: return V_UNKNOWN(&a) == V_UNKNOWN(&b);
    default: return std::memcmp(&V_I8(&a), &V_I8(&b), sizeof(LONGLONG)) == 0;
  }
}

// A by-reference argument given as a Variant of another type: the method works on a converted
// copy, which goes back into the caller's Variant when the method changed it.
struct Converted {
  VARIANT* caller = nullptr;
  VARIANT value;
  VARIANT before;
};

bool HasByRefVariant(const DISPPARAMS& params) noexcept {
  for (UINT k = 0; k < params.cArgs && params.rgvarg; ++k) {
    if (V_VT(&params.rgvarg[k]) == (VT_BYREF | VT_VARIANT)) return true;
  }
  return false;
}

// The parameter (from 0) that argument k of the call stands for; -1 for none.
int ParameterOf(const DISPPARAMS& params, const FUNCDESC& fd, UINT k) noexcept {
  if (k < params.cNamedArgs) {
    DISPID n = params.rgdispidNamedArgs[k];
    return (n == DISPID_PROPERTYPUT) ? fd.cParams - 1 : static_cast<int>(n);
  }
  return static_cast<int>(params.cArgs - 1 - k);
}

// A copy of the caller's Variant as the parameter's type, and a second copy to tell later
// whether the method changed it. False (nothing kept) when it does not convert.
bool ConvertForMethod(VARIANT* caller, VARTYPE target, Converted& c) noexcept {
  InitVariant(&c.value);
  InitVariant(&c.before);
  HRESULT hr = S_OK;
  if (target == VT_DISPATCH && (V_VT(caller) == VT_EMPTY)) {
    // An unset variable is Nothing.
    V_VT(&c.value) = VT_DISPATCH;
    V_DISPATCH(&c.value) = nullptr;
  } else {
    hr = VariantChangeTypeEx(&c.value, caller, 1033, VARIANT_ALPHABOOL, target);
  }
  if (FAILED(hr) || FAILED(VariantCopy(&c.before, &c.value))) {
    ClearVariant(&c.value);
    ClearVariant(&c.before);
    return false;
  }
  c.caller = caller;
  return true;
}

// Points each by-reference Variant argument (args: shallow copies of the caller's) whose
// parameter is a by-reference one of a given type at a value of that type: the caller's
// variable itself when it has that type, else a converted copy kept in converted. Answers how
// many copies were made.
UINT AdaptByRefArguments(const DISPPARAMS& params, const FUNCDESC& fd, VARIANT* args,
                         Converted* converted) noexcept {
  UINT converted_count = 0;
  for (UINT k = 0; k < params.cArgs; ++k) {
    VARIANT& arg = args[k];
    if (V_VT(&arg) != (VT_BYREF | VT_VARIANT) || !V_VARIANTREF(&arg)) continue;
    const int p = ParameterOf(params, fd, k);
    if (p < 0 || p >= fd.cParams) continue;
    const VARTYPE target = ByRefTarget(fd.lprgelemdescParam[p]);
    if (target == VT_EMPTY) continue;
    VARIANT* inner = V_VARIANTREF(&arg);
    while (V_VT(inner) == (VT_BYREF | VT_VARIANT) && V_VARIANTREF(inner)) {
      inner = V_VARIANTREF(inner);
    }
    if (V_VT(inner) & VT_BYREF) continue;
    if (V_VT(inner) == target) {
      // The method works on the caller's variable itself.
      V_VT(&arg) = static_cast<VARTYPE>(VT_BYREF | target);
      V_BYREF(&arg) = &V_I8(inner);
      continue;
    }
    // Otherwise on a converted copy; one that does not convert is left to the type library's
    // own rules.
    Converted& c = converted[converted_count];
    if (!ConvertForMethod(inner, target, c)) continue;
    ++converted_count;
    V_VT(&arg) = static_cast<VARTYPE>(VT_BYREF | target);
    V_BYREF(&arg) = &V_I8(&c.value);
  }
  return converted_count;
}

// After the call: each copy the method changed goes back into the caller's Variant (only when
// the call succeeded), and the copies are cleared.
void WriteBackConverted(Converted* converted, UINT count, bool succeeded) noexcept {
  for (UINT i = 0; i < count; ++i) {
    Converted& c = converted[i];
    if (succeeded && !SameContent(c.value, c.before)) {
      VARIANT copy;
      InitVariant(&copy);
      if (SUCCEEDED(VariantCopy(&copy, &c.value))) {
        ClearVariant(c.caller);
        *c.caller = copy;
      }
    }
    ClearVariant(&c.value);
    ClearVariant(&c.before);
  }
}

}  // namespace

// ---- The classes' own dispatch -------------------------------------------------------------

bool FindMemberName(std::span<const MemberName> table, const wchar_t* name, DISPID* id) noexcept {
  // Member names are ASCII; the platform matches them without regard to case.
  const std::wstring_view wanted(name);
  for (const MemberName& m : table) {
    if (automation::EqualsIgnoreAsciiCase(std::wstring_view(m.name), wanted)) {
      *id = m.id;
      return true;
    }
  }
  return false;
}

namespace {

constexpr WORD kGetMethod = DISPATCH_METHOD | DISPATCH_PROPERTYGET;

// The Variant a chain of by-reference Variants leads to, as the type library's by-reference
// adaptation follows it; null when it ends in another by-reference kind.
const VARIANT* Target(const VARIANT& arg) noexcept {
  const VARIANT* inner = V_VARIANTREF(&arg);
  if (!inner) return nullptr;
  while (V_VT(inner) == (VT_BYREF | VT_VARIANT) && V_VARIANTREF(inner)) {
    inner = V_VARIANTREF(inner);
  }
  return (V_VT(inner) & VT_BYREF) ? nullptr : inner;
}

// The kinds a [in] VARIANT parameter takes as they are (the method reads them through
// FromVariant, which follows references).
bool PlainKind(VARTYPE vt) noexcept {
  switch (vt) {
    case VT_EMPTY: case VT_NULL: case VT_I2: case VT_I4: case VT_R4: case VT_R8: case VT_CY:
    case VT_DATE: case VT_BSTR: case VT_DISPATCH: case VT_ERROR: case VT_BOOL: case VT_UNKNOWN:
    case VT_I1: case VT_UI1: case VT_UI2: case VT_UI4: case VT_I8: case VT_UI8: case VT_INT:
    case VT_UINT:
      return true;
    default:
      return false;
  }
}

}  // namespace

bool FastCall::PropertyGet(UINT n) const noexcept {
  return (flags_ == DISPATCH_PROPERTYGET || flags_ == kGetMethod) && params_->cNamedArgs == 0 &&
         params_->cArgs == n && (n == 0 || params_->rgvarg);
}

bool FastCall::Method(UINT n) const noexcept {
  return (flags_ == DISPATCH_METHOD || flags_ == kGetMethod) && params_->cNamedArgs == 0 &&
         params_->cArgs == n && (n == 0 || params_->rgvarg);
}

bool FastCall::PutOf(WORD kind) const noexcept {
  return flags_ == kind && params_->cArgs == 1 && params_->rgvarg && params_->cNamedArgs == 1 &&
         params_->rgdispidNamedArgs && params_->rgdispidNamedArgs[0] == DISPID_PROPERTYPUT;
}

bool FastCall::Value(UINT i, const VARIANT** out) const noexcept {
  const VARIANT& a = Arg(i);
  if (PlainKind(V_VT(&a)) || (V_VT(&a) == (VT_BYREF | VT_VARIANT) && V_VARIANTREF(&a))) {
    *out = &a;
    return true;
  }
  return false;
}

bool FastCall::Text(UINT i, BSTR* out) const noexcept {
  const VARIANT& a = Arg(i);
  if (V_VT(&a) == VT_BSTR) {
    *out = V_BSTR(&a);
    return true;
  }
  if (V_VT(&a) == (VT_BYREF | VT_BSTR) && V_BSTRREF(&a)) {
    *out = *V_BSTRREF(&a);
    return true;
  }
  if (V_VT(&a) == (VT_BYREF | VT_VARIANT) && V_VARIANTREF(&a) &&
      V_VT(V_VARIANTREF(&a)) == VT_BSTR) {
    *out = V_BSTR(V_VARIANTREF(&a));
    return true;
  }
  return false;
}

bool FastCall::TextRef(UINT i, BSTR** out) const noexcept {
  const VARIANT& a = Arg(i);
  if (V_VT(&a) == (VT_BYREF | VT_BSTR) && V_BSTRREF(&a)) {
    *out = V_BSTRREF(&a);
    return true;
  }
  if (V_VT(&a) == (VT_BYREF | VT_VARIANT)) {
    const VARIANT* inner = Target(a);
    if (inner && V_VT(inner) == VT_BSTR) {
      // The method works on the caller's variable itself.
      *out = &const_cast<VARIANT*>(inner)->bstrVal;
      return true;
    }
  }
  return false;
}

bool FastCall::Object(UINT i, IDispatch** out) const noexcept {
  const VARIANT& a = Arg(i);
  if (V_VT(&a) == VT_DISPATCH) {
    *out = V_DISPATCH(&a);
    return true;
  }
  if (V_VT(&a) == (VT_BYREF | VT_DISPATCH) && V_DISPATCHREF(&a)) {
    *out = *V_DISPATCHREF(&a);
    return true;
  }
  if (V_VT(&a) == (VT_BYREF | VT_VARIANT) && V_VARIANTREF(&a) &&
      V_VT(V_VARIANTREF(&a)) == VT_DISPATCH) {
    *out = V_DISPATCH(V_VARIANTREF(&a));
    return true;
  }
  return false;
}

bool FastCall::ObjectRef(UINT i, IDispatch*** out) const noexcept {
  const VARIANT& a = Arg(i);
  if (V_VT(&a) == (VT_BYREF | VT_DISPATCH) && V_DISPATCHREF(&a)) {
    *out = V_DISPATCHREF(&a);
    return true;
  }
  if (V_VT(&a) == (VT_BYREF | VT_VARIANT)) {
    const VARIANT* inner = Target(a);
    if (inner && V_VT(inner) == VT_DISPATCH) {
      *out = &const_cast<VARIANT*>(inner)->pdispVal;
      return true;
    }
  }
  return false;
}

HRESULT FastCall::Answer(HRESULT hr, VARIANT& value) noexcept {
  if (excep_) std::memset(excep_, 0, sizeof(*excep_));
  // Kept: a failed method's retval (Nothing, False, 0) still reaches the caller's result, as the type library's invoke hands it on (tests/com/fastpath_compare.sh: com_fastpath "Add duplicate")
  if (result_ && !has_no_retval_) {
    ClearVariant(result_);
    *result_ = value;
  } else {
    ClearVariant(&value);
  }
  if (SUCCEEDED(hr)) return hr;
  if (excep_) {
    // As the type library's invoke reports a failed method: the error information the method
    // left goes into the EXCEPINFO, and FillExcepInfo completes it as TypeLibInvoke does.
    excep_->scode = hr;
    IErrorInfo* error = nullptr;
    if (GetErrorInfo(0, &error) == S_OK && error) {
      error->GetDescription(&excep_->bstrDescription);
      error->GetHelpFile(&excep_->bstrHelpFile);
      error->GetSource(&excep_->bstrSource);
      error->GetHelpContext(&excep_->dwHelpContext);
      error->Release();
    }
    FillExcepInfo(excep_, hr);
  }
  return DISP_E_EXCEPTION;
}

HRESULT FastCall::Done(HRESULT hr) noexcept {
  if (excep_) std::memset(excep_, 0, sizeof(*excep_));
  if (SUCCEEDED(hr)) return hr;
  VARIANT none;
  InitVariant(&none);
  has_no_retval_ = true;
  return Answer(hr, none);
}

HRESULT FastCall::ReturnVariant(HRESULT hr, VARIANT& value) noexcept { return Answer(hr, value); }

HRESULT FastCall::ReturnText(HRESULT hr, BSTR value) noexcept {
  VARIANT v;
  V_VT(&v) = VT_BSTR;
  V_BSTR(&v) = value;
  return Answer(hr, v);
}

HRESULT FastCall::ReturnObject(HRESULT hr, IDispatch* value) noexcept {
  VARIANT v;
  V_VT(&v) = VT_DISPATCH;
  V_DISPATCH(&v) = value;
  return Answer(hr, v);
}

HRESULT FastCall::ReturnBool(HRESULT hr, VARIANT_BOOL value) noexcept {
  VARIANT v;
  V_VT(&v) = VT_BOOL;
  V_BOOL(&v) = value;
  return Answer(hr, v);
}

HRESULT FastCall::ReturnShort(HRESULT hr, short value) noexcept {
  VARIANT v;
  V_VT(&v) = VT_I2;
  V_I2(&v) = value;
  return Answer(hr, v);
}

HRESULT FastCall::ReturnLong(HRESULT hr, LONG value) noexcept {
  VARIANT v;
  V_VT(&v) = VT_I4;
  V_I4(&v) = value;
  return Answer(hr, v);
}

// ---- The type library's dispatch ------------------------------------------------------------

HRESULT TypeLibGetIDsOfNames(ITypeInfo* info, LPOLESTR* names, UINT count,
                             DISPID* ids) noexcept {
  if (!info) return E_UNEXPECTED;
  if (!names || !ids) return E_POINTER;
  if (count == 0) return S_OK;
  if (count == 1 && names[0]) {
    DISPID own = DISPID_UNKNOWN;
    if (OwnMember(info, names[0], &own)) {
      ids[0] = own;
      return S_OK;
    }
  }
  return info->GetIDsOfNames(names, count, ids);
}

HRESULT TypeLibInvoke(ITypeInfo* info, void* instance, DISPID id, WORD flags, DISPPARAMS* params,
                      VARIANT* result, EXCEPINFO* excep, UINT* arg_error) noexcept {
  if (!info) return E_UNEXPECTED;
  if (!params) return E_INVALIDARG;
  if (excep) std::memset(excep, 0, sizeof(*excep));

  const UINT count = params->cArgs;
  DISPPARAMS adapted = *params;
  std::unique_ptr<VARIANT[]> args;
  std::unique_ptr<Converted[]> converted;
  UINT converted_count = 0;
  ITypeInfo2* holder = nullptr;
  FUNCDESC* fd = HasByRefVariant(*params) ? FindFunction(info, id, flags, &holder) : nullptr;
  if (fd) {
    args.reset(new (std::nothrow) VARIANT[count]);
    converted.reset(new (std::nothrow) Converted[count]);
    if (!args || !converted) {
      holder->ReleaseFuncDesc(fd);
      holder->Release();
      return E_OUTOFMEMORY;
    }
    // Shallow copies: the caller keeps owning its arguments.
    std::memcpy(args.get(), params->rgvarg, count * sizeof(VARIANT));
    converted_count = AdaptByRefArguments(*params, *fd, args.get(), converted.get());
    adapted.rgvarg = args.get();
  }

  HRESULT hr = info->Invoke(instance, id, flags, &adapted, result, excep, arg_error);

  WriteBackConverted(converted.get(), converted_count, SUCCEEDED(hr));
  if (fd) {
    holder->ReleaseFuncDesc(fd);
    holder->Release();
  }
  if (hr == DISP_E_EXCEPTION && excep) FillExcepInfo(excep, excep->scode);
  return hr;
}

}  // namespace qorvintr::com
