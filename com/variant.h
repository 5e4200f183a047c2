#pragma once
// Value <-> VARIANT, one to one: Empty, Null, Integer (VT_I2), Long (VT_I4), Single (VT_R4),
// Double (VT_R8), Date (VT_DATE, the serial as is), String (VT_BSTR, UTF-16 as is, embedded
// zeros and lone surrogates kept), Boolean (VT_BOOL, True is -1), Error (VT_ERROR, so an omitted
// argument stays DISP_E_PARAMNOTFOUND) and Object (VT_DISPATCH).
//
// Objects: an adapter over a host's IDispatch gives back that IDispatch; one of our own native
// objects is wrapped in a small IDispatch of its own, and that wrapper unwraps again to the same
// native object. A VARIANT of a kind Value lacks is taken as the nearest kind (bytes as Integer,
// unsigned and 64-bit integers as Long when they fit else Double, Currency and Decimal as
// Double); arrays and records raise 458.

#include <windows.h>
#include <oleauto.h>

#include <string>
#include <string_view>

#include "qorvintr/value.h"

namespace qorvintr::com {

// VariantInit and VariantClear, without a call into the runtime for a value that holds nothing
// to free (most of the values our objects pass): each is a call through an import otherwise.
inline void InitVariant(VARIANT* v) noexcept { V_VT(v) = VT_EMPTY; }
inline HRESULT ClearVariant(VARIANT* v) noexcept {
  switch (V_VT(v)) {
    case VT_EMPTY: case VT_NULL: case VT_I1: case VT_I2: case VT_I4: case VT_I8:
    case VT_UI1: case VT_UI2: case VT_UI4: case VT_UI8: case VT_INT: case VT_UINT:
    case VT_R4: case VT_R8: case VT_CY: case VT_DATE: case VT_BOOL: case VT_ERROR:
      V_VT(v) = VT_EMPTY;
      return S_OK;
    default:
      return VariantClear(v);
  }
}

static_assert(sizeof(wchar_t) == sizeof(char16_t), "BSTR text is UTF-16");

inline const wchar_t* WideOf(const std::u16string& s) noexcept {
  return reinterpret_cast<const wchar_t*>(s.c_str());
}
inline const wchar_t* WideOf(std::u16string_view s) noexcept {
  return reinterpret_cast<const wchar_t*>(s.data());
}

// A new BSTR of the text (never null: the empty text is an empty BSTR). Throws std::bad_alloc.
BSTR ToBstr(std::u16string_view text);
// The text of a BSTR (a null BSTR is the empty text).
std::u16string FromBstr(BSTR b);
inline std::u16string_view BstrView(BSTR b) noexcept {
  return b ? std::u16string_view(reinterpret_cast<const char16_t*>(b), SysStringLen(b))
           : std::u16string_view();
}

// Writes the value into out, which must hold nothing (VT_EMPTY or cleared). Throws.
void ToVariant(const automation::Value& value, VARIANT* out);
// The value of a VARIANT, by-reference ones followed. Throws AutomationError (458) for kinds
// Value cannot hold.
automation::Value FromVariant(const VARIANT& v);

// The IDispatch that stands for an object (null for none), AddRef'd for the caller.
IDispatch* ToDispatch(const automation::ObjectRef& object);
// The object an IDispatch stands for: our own native object when it is one of our wrappers,
// otherwise a late-bound adapter (a data field adapter, which answers the default member too).
automation::ObjectRef FromDispatch(IDispatch* dispatch);

// Writes the text into a caller's by-reference BSTR when it differs from what the BSTR holds.
// Throws std::bad_alloc.
void WriteBackText(BSTR* target, std::u16string_view text);

// RAII holders.
class Bstr {
 public:
  Bstr() = default;
  explicit Bstr(std::u16string_view text) : b_(ToBstr(text)) {}
  ~Bstr() { SysFreeString(b_); }
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  BSTR get() const noexcept { return b_; }
  BSTR* address() noexcept { return &b_; }

 private:
  BSTR b_ = nullptr;
};

// One counted reference to a COM object for the length of a scope; null for none.
template <class Interface>
class ComRef {
 public:
  ComRef() noexcept = default;
  explicit ComRef(Interface* held) noexcept : held_(held) {}
  ~ComRef() {
    if (held_) held_->Release();
  }
  ComRef(const ComRef&) = delete;
  ComRef& operator=(const ComRef&) = delete;
  Interface* get() const noexcept { return held_; }
  Interface* operator->() const noexcept { return held_; }
  // Where a call stores a reference (an out argument, or a by-reference one it may replace):
  // whatever the variable holds at the end of the scope is released.
  Interface** address() noexcept { return &held_; }
  // Hands the reference over to the caller.
  Interface* release() noexcept {
    Interface* held = held_;
    held_ = nullptr;
    return held;
  }

 private:
  Interface* held_ = nullptr;
};

class Variant {
 public:
  Variant() noexcept { InitVariant(&v_); }
  ~Variant() { ClearVariant(&v_); }
  Variant(const Variant&) = delete;
  Variant& operator=(const Variant&) = delete;
  VARIANT* get() noexcept { return &v_; }
  const VARIANT& operator*() const noexcept { return v_; }
  void Clear() noexcept { ClearVariant(&v_); }

 private:
  VARIANT v_;
};

}  // namespace qorvintr::com
