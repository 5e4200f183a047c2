#include "com/native_dispatch.h"

#include <cwchar>
#include <new>
#include <string_view>
#include <utility>

#include "automation/chars.h"
#include "qorvintr/convert.h"
#include "qorvintr/error.h"
#include "com/errors.h"
#include "com/variant.h"
#include "qorvintr/contract/data_field.h"

namespace qorvintr::com {

using automation::Value;

namespace {

// Data is the default member.
constexpr DISPID kData = DISPID_VALUE;
constexpr DISPID kDataType = 1;
constexpr DISPID kName = 2;
constexpr DISPID kDataClass = 3;

struct NamedMember {
  const wchar_t* name;
  DISPID id;
};
constexpr NamedMember kFieldMembers[] = {
    {L"Data", kData}, {L"DataType", kDataType}, {L"Name", kName}, {L"DataClass", kDataClass}};

bool SameName(const wchar_t* a, const wchar_t* b) noexcept {
  // Member names are ASCII; the platform matches them without regard to case.
  return automation::EqualsIgnoreAsciiCase(std::wstring_view(a), std::wstring_view(b));
}

// The text of a property put's argument, converted as the language does; DISP_E_TYPEMISMATCH
// when it cannot be.
HRESULT TextArgument(const VARIANT& arg, std::u16string& text, UINT* arg_error) {
  try {
    if (V_VT(&arg) == VT_BSTR) {
      text = FromBstr(V_BSTR(&arg));
    } else {
      text = automation::CStr(FromVariant(arg));
    }
    return S_OK;
  } catch (const std::bad_alloc&) {
    return E_OUTOFMEMORY;
  } catch (...) {
    // Any failure of the conversion (13, a default member that raises) is a type mismatch.
    if (arg_error) *arg_error = 0;
    return DISP_E_TYPEMISMATCH;
  }
}

}  // namespace

IDispatch* NativeObjectDispatch::Create(automation::ObjectRef object) {
  NativeObjectDispatch* wrapper = new NativeObjectDispatch(std::move(object));
  return static_cast<IDispatch*>(wrapper);
}

automation::ObjectRef NativeObjectDispatch::Unwrap(IDispatch* dispatch) noexcept {
  if (!dispatch) return nullptr;
  IOwnObject* own = OwnObjectOf(dispatch);
  automation::ObjectRef object;
  if (IsOwnNative(own)) object = *own->NativeObject();
  if (own) own->Release();
  return object;
}

HRESULT NativeObjectDispatch::QueryInterface(REFIID iid, void** object) {
  if (!object) return E_POINTER;
  if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch)) {
    *object = static_cast<IDispatch*>(this);
  } else if (IsEqualIID(iid, kIidOwnObject)) {
    *object = static_cast<IOwnObject*>(this);
  } else {
    *object = nullptr;
    return E_NOINTERFACE;
  }
  AddRef();
  return S_OK;
}

ULONG NativeObjectDispatch::Release() {
  ULONG left = --refs_;
  if (left == 0) delete this;
  return left;
}

HRESULT NativeObjectDispatch::GetTypeInfoCount(UINT* count) {
  if (!count) return E_POINTER;
  *count = 0;
  return S_OK;
}

HRESULT NativeObjectDispatch::GetTypeInfo(UINT, LCID, ITypeInfo** info) {
  if (info) *info = nullptr;
  return DISP_E_BADINDEX;
}

HRESULT NativeObjectDispatch::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                            DISPID* ids) {
  if (!names || !ids) return E_POINTER;
  if (count == 0) return S_OK;
  for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
  const bool is_field = dynamic_cast<contract::DataField*>(object_.get()) != nullptr;
  if (is_field && names[0]) {
    for (const NamedMember& m : kFieldMembers) {
      if (SameName(names[0], m.name)) {
        ids[0] = m.id;
        // None of these members has named parameters.
        return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
      }
    }
  }
  return DISP_E_UNKNOWNNAME;
}

HRESULT NativeObjectDispatch::Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params,
                                     VARIANT* result, EXCEPINFO* info, UINT* arg_error) {
  if (!params) return E_INVALIDARG;
  auto* field = dynamic_cast<contract::DataField*>(object_.get());
  const bool put = (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) != 0;
  const bool get = (flags & (DISPATCH_METHOD | DISPATCH_PROPERTYGET)) != 0;
  if (id != kData && (!field || (id != kDataType && id != kName && id != kDataClass))) {
    return DISP_E_MEMBERNOTFOUND;
  }
  // Keep the object alive through the call, whatever the callee's callbacks do.
  automation::ObjectRef keep = object_;
  try {
    if (put) {
      if (params->cNamedArgs > 1 ||
          (params->cNamedArgs == 1 && params->rgdispidNamedArgs[0] != DISPID_PROPERTYPUT)) {
        return DISP_E_NONAMEDARGS;
      }
      if (params->cArgs != 1) return DISP_E_BADPARAMCOUNT;
      if (!field) return DISP_E_MEMBERNOTFOUND;
      const VARIANT& arg = params->rgvarg[0];
      if (id == kData) {
        field->SetData(FromVariant(arg));
        return S_OK;
      }
      std::u16string text;
      HRESULT hr = TextArgument(arg, text, arg_error);
      if (FAILED(hr)) return hr;
      if (id == kDataType) field->SetDataType(std::move(text));
      if (id == kName) field->SetName(std::move(text));
      if (id == kDataClass) field->SetDataClass(std::move(text));
      return S_OK;
    }
    if (!get) return DISP_E_MEMBERNOTFOUND;
    if (params->cNamedArgs != 0) return DISP_E_NONAMEDARGS;
    if (params->cArgs != 0) return DISP_E_BADPARAMCOUNT;
    Value answer;
    if (id == kData) {
      answer = field ? field->Data() : keep->DefaultValue();
    } else if (id == kDataType) {
      answer = Value::String(field->DataType());
    } else if (id == kName) {
      answer = Value::String(field->Name());
    } else {
      answer = Value::String(field->DataClass());
    }
    if (result) {
      ClearVariant(result);
      ToVariant(answer, result);
    }
    return S_OK;
  } catch (...) {
    // No exception may cross IDispatch::Invoke: every error goes back in the EXCEPINFO.
    automation::AutomationError error = CurrentError();
    if (info) FillExcepInfo(info, error);
    return DISP_E_EXCEPTION;
  }
}

}  // namespace qorvintr::com
