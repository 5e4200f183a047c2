#include "com/variant.h"

#include <cstdint>
#include <limits>
#include <new>
#include <type_traits>
#include <typeinfo>

#include "qorvintr/error.h"
#include "com/dispatch_client.h"
#include "com/native_dispatch.h"

namespace qorvintr::com {

using automation::Value;
using automation::VarType;

namespace {

constexpr std::int32_t kBadVarType = 458;

template <class Integer>
Value FromWideInteger(Integer n) {
  constexpr std::int64_t kMin = std::numeric_limits<std::int32_t>::min();
  constexpr std::int64_t kMax = std::numeric_limits<std::int32_t>::max();
  if constexpr (std::is_signed_v<Integer>) {
    if (static_cast<std::int64_t>(n) >= kMin && static_cast<std::int64_t>(n) <= kMax) {
      return Value::Long(static_cast<std::int32_t>(n));
    }
  } else {
    if (static_cast<std::uint64_t>(n) <= static_cast<std::uint64_t>(kMax)) {
      return Value::Long(static_cast<std::int32_t>(n));
    }
  }
  return Value::Double(static_cast<double>(n));
}

Value FromObjectPointer(IUnknown* unknown) {
  if (!unknown) return Value::Object(nullptr);
  ComRef<IDispatch> dispatch;
  if (FAILED(unknown->QueryInterface(IID_IDispatch,
                                     reinterpret_cast<void**>(dispatch.address()))) ||
      !dispatch.get()) {
    automation::Raise(automation::err::NoAutomationSupport);
  }
  return Value::Object(FromDispatch(dispatch.get()));
}

}  // namespace

BSTR ToBstr(std::u16string_view text) {
  if (text.size() > 0x7FFFFFF0u / sizeof(wchar_t)) throw std::bad_alloc();
  BSTR b = SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.data()),
                             static_cast<UINT>(text.size()));
  if (!b) throw std::bad_alloc();
  return b;
}

std::u16string FromBstr(BSTR b) { return std::u16string(BstrView(b)); }

void WriteBackText(BSTR* target, std::u16string_view text) {
  if (BstrView(*target) == text) return;
  BSTR replacement = ToBstr(text);
  SysFreeString(*target);
  *target = replacement;
}

void ToVariant(const Value& value, VARIANT* out) {
  InitVariant(out);
  switch (value.Type()) {
    case VarType::Empty: return;
    case VarType::Null: V_VT(out) = VT_NULL; return;
    case VarType::Integer: V_VT(out) = VT_I2; V_I2(out) = value.GetInteger(); return;
    case VarType::Long: V_VT(out) = VT_I4; V_I4(out) = value.GetLong(); return;
    case VarType::Single: V_VT(out) = VT_R4; V_R4(out) = value.GetSingle(); return;
    case VarType::Double: V_VT(out) = VT_R8; V_R8(out) = value.GetDouble(); return;
    case VarType::Date: V_VT(out) = VT_DATE; V_DATE(out) = value.GetDate(); return;
    case VarType::String:
      V_BSTR(out) = ToBstr(value.GetString());
      V_VT(out) = VT_BSTR;
      return;
    case VarType::Object:
      V_DISPATCH(out) = ToDispatch(value.GetObject());
      V_VT(out) = VT_DISPATCH;
      return;
    case VarType::Error: V_VT(out) = VT_ERROR; V_ERROR(out) = value.GetError(); return;
    case VarType::Boolean:
      V_VT(out) = VT_BOOL;
      V_BOOL(out) = value.GetBoolean() ? VARIANT_TRUE : VARIANT_FALSE;
      return;
  }
  automation::Raise(kBadVarType);
}

namespace {

// The value a by-reference VARIANT (other than a Variant's) points at.
Value FromByRef(const VARIANT& v) {
  const VARTYPE vt = V_VT(&v);
  if (!V_BYREF(&v)) automation::Raise(automation::err::TypeMismatch);
  switch (vt & ~VT_BYREF) {
    case VT_I2: return Value::Integer(*V_I2REF(&v));
    case VT_I4: return Value::Long(*V_I4REF(&v));
    case VT_R4: return Value::Single(*V_R4REF(&v));
    case VT_R8: return Value::Double(*V_R8REF(&v));
    case VT_DATE: return Value::Date(*V_DATEREF(&v));
    case VT_BSTR: return Value::String(BstrView(*V_BSTRREF(&v)));
    case VT_BOOL: return Value::Boolean(*V_BOOLREF(&v) != VARIANT_FALSE);
    case VT_ERROR: return Value::Error(*V_ERRORREF(&v));
    case VT_DISPATCH: return FromObjectPointer(*V_DISPATCHREF(&v));
    case VT_UNKNOWN: return FromObjectPointer(*V_UNKNOWNREF(&v));
    case VT_I1: return Value::Integer(static_cast<std::int16_t>(*V_I1REF(&v)));
    case VT_UI1: return Value::Integer(static_cast<std::int16_t>(*V_UI1REF(&v)));
    case VT_UI2: return Value::Long(static_cast<std::int32_t>(*V_UI2REF(&v)));
    case VT_UI4: return FromWideInteger(*V_UI4REF(&v));
    case VT_INT: return Value::Long(static_cast<std::int32_t>(*V_INTREF(&v)));
    case VT_UINT: return FromWideInteger(*V_UINTREF(&v));
    case VT_I8: return FromWideInteger(*V_I8REF(&v));
    case VT_UI8: return FromWideInteger(*V_UI8REF(&v));
    case VT_CY:
    case VT_DECIMAL: {
      VARIANT copy;
      InitVariant(&copy);
      if (FAILED(VariantCopyInd(&copy, const_cast<VARIANT*>(&v)))) {
        automation::Raise(automation::err::TypeMismatch);
      }
      Value result = FromVariant(copy);
      ClearVariant(&copy);
      return result;
    }
    default: automation::Raise(kBadVarType);
  }
}

}  // namespace

Value FromVariant(const VARIANT& v) {
  const VARTYPE vt = V_VT(&v);
  if (vt == (VT_BYREF | VT_VARIANT)) {
    if (!V_VARIANTREF(&v)) automation::Raise(automation::err::TypeMismatch);
    return FromVariant(*V_VARIANTREF(&v));
  }
  if (vt & VT_BYREF) return FromByRef(v);
  switch (vt) {
    case VT_EMPTY: return Value();
    case VT_NULL: return Value::Null();
    case VT_I2: return Value::Integer(V_I2(&v));
    case VT_I4: return Value::Long(V_I4(&v));
    case VT_R4: return Value::Single(V_R4(&v));
    case VT_R8: return Value::Double(V_R8(&v));
    case VT_DATE: return Value::Date(V_DATE(&v));
    case VT_BSTR: return Value::String(BstrView(V_BSTR(&v)));
    case VT_BOOL: return Value::Boolean(V_BOOL(&v) != VARIANT_FALSE);
    case VT_ERROR: return Value::Error(V_ERROR(&v));
    case VT_DISPATCH: return FromObjectPointer(V_DISPATCH(&v));
    case VT_UNKNOWN: return FromObjectPointer(V_UNKNOWN(&v));
    case VT_I1: return Value::Integer(static_cast<std::int16_t>(V_I1(&v)));
    case VT_UI1: return Value::Integer(static_cast<std::int16_t>(V_UI1(&v)));
    case VT_UI2: return Value::Long(static_cast<std::int32_t>(V_UI2(&v)));
    case VT_UI4: return FromWideInteger(V_UI4(&v));
    case VT_INT: return Value::Long(static_cast<std::int32_t>(V_INT(&v)));
    case VT_UINT: return FromWideInteger(V_UINT(&v));
    case VT_I8: return FromWideInteger(V_I8(&v));
    case VT_UI8: return FromWideInteger(V_UI8(&v));
    case VT_CY: {
      double d = 0;
      if (FAILED(VarR8FromCy(V_CY(&v), &d))) automation::Raise(automation::err::Overflow);
      return Value::Double(d);
    }
    case VT_DECIMAL: {
      double d = 0;
      DECIMAL dec = V_DECIMAL(&v);
      if (FAILED(VarR8FromDec(&dec, &d))) automation::Raise(automation::err::Overflow);
      return Value::Double(d);
    }
    default: automation::Raise(kBadVarType);
  }
}

namespace {

// The COM object behind one of our adapters, or null. The adapter made for each temporary is
// told by its exact type first: with mingw-w64, dynamic_cast compares type names with strcmp
// at every step of its walk through the classes (unless the types are the very same).
ComBacked* BackedPart(automation::Object* object) {
  if (&typeid(*object) == &typeid(DirectDataField)) {
    return static_cast<DirectDataField*>(static_cast<contract::DataField*>(object));
  }
  return dynamic_cast<ComBacked*>(object);
}

}  // namespace

IDispatch* ToDispatch(const automation::ObjectRef& object) {
  if (!object) return nullptr;
  if (auto* backed = BackedPart(object.get())) {
    IDispatch* d = backed->BackingDispatch();
    d->AddRef();
    return d;
  }
  return NativeObjectDispatch::Create(object);
}

automation::ObjectRef FromDispatch(IDispatch* dispatch) {
  if (!dispatch) return nullptr;
  if (automation::ObjectRef native = NativeObjectDispatch::Unwrap(dispatch)) return native;
  return std::make_shared<DispatchDataField>(dispatch);
}

}  // namespace qorvintr::com
