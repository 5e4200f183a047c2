#pragma once
// How the three DLLs of one build reach each other's objects without IDispatch.
//
// Every COM object of this folder that another of our DLLs may want to call directly answers
// the private interface IOwnObject (QueryInterface with kIidOwnObject; in-process only, never
// marshalled). It tells the module that made it, the build it comes from and its kind, and
// hands out a plain interface of its kind (DirectField, DirectFields, DirectCollection,
// DirectFieldFactory). Those interfaces pass only plain values across the DLL boundary: text as
// char16_t pointer and length (copied out through a TextSink before the call returns), numbers,
// VARIANTs, COM pointers and an EXCEPINFO for errors. No C++ object, allocator or exception of
// one DLL ever reaches another, so the DLLs' separate C++ runtimes never meet. An object of a
// different build (another configure of the project) is not used directly: the callers then
// fall back to IDispatch, by name.
//
// A failing direct call answers DISP_E_EXCEPTION with the EXCEPINFO the same call through
// IDispatch::Invoke would have given (FillExcepInfo of the error), so the caller raises the
// very same error with RaiseFromDispatch.

#include <windows.h>
#include <oleauto.h>

#include <cstddef>
#include <cstdint>
#include <string>

#include "qorvintr/value.h"

namespace qorvintr::com {

// {D2CDF51A-4604-40E8-841E-0AEFE5FA71E2}
inline constexpr IID kIidOwnObject = {
    0xD2CDF51A, 0x4604, 0x40E8, {0x84, 0x1E, 0x0A, 0xEF, 0xE5, 0xFA, 0x71, 0xE2}};

enum class OwnKind : std::uint32_t {
  Native,           // NativeObjectDispatch: a native object of the module, for that module only
  DataField,        // QorvDFld.DataField: Direct() is a DirectField
  DataFields,       // QorvDFld.DataFields: DirectFields
  FieldCollection,  // its mCol: DirectCollection
  FieldFactory,     // the class factory of QorvDFld.DataField: DirectFieldFactory
};

// Where a callee writes a text: the caller's function copies it before the call returns.
struct TextSink {
  void (*assign)(void* target, const char16_t* text, std::uint32_t size) noexcept;
  void* target;
};

// A sink that assigns to a std::u16string of the caller's module.
TextSink SinkInto(std::u16string& target) noexcept;

enum class FieldText : std::uint32_t { DataType, Name, DataClass };

struct DirectField {
  // Data: a text value is written to the sink and *out is VT_BSTR with no BSTR; anything else
  // is *out (which must be empty) as get_Data answers it.
  virtual HRESULT STDMETHODCALLTYPE GetData(VARIANT* out, TextSink text, EXCEPINFO* info) = 0;
  // Data = the text (when value is null) or the VARIANT, as put_Data takes it.
  virtual HRESULT STDMETHODCALLTYPE SetData(const VARIANT* value, const char16_t* text,
                                            std::uint32_t size, EXCEPINFO* info) = 0;
  virtual HRESULT STDMETHODCALLTYPE GetText(FieldText which, TextSink text, EXCEPINFO* info) = 0;
  virtual HRESULT STDMETHODCALLTYPE SetText(FieldText which, const char16_t* text,
                                            std::uint32_t size, EXCEPINFO* info) = 0;

 protected:
  ~DirectField() = default;
};

struct IOwnObject;

struct DirectFields {
  // The answers of Item, Exists, AddObject, Remove and mCol for a text key.
  virtual HRESULT STDMETHODCALLTYPE Item(const char16_t* key, std::uint32_t size,
                                         IDispatch** out, EXCEPINFO* info) = 0;
  virtual HRESULT STDMETHODCALLTYPE Exists(const char16_t* key, std::uint32_t size, bool* out,
                                           EXCEPINFO* info) = 0;
  virtual HRESULT STDMETHODCALLTYPE AddObject(IDispatch* field, std::int16_t* out,
                                              EXCEPINFO* info) = 0;
  virtual HRESULT STDMETHODCALLTYPE Remove(const char16_t* key, std::uint32_t size,
                                           EXCEPINFO* info) = 0;
  virtual HRESULT STDMETHODCALLTYPE MCol(IDispatch** out, EXCEPINFO* info) = 0;
  // For runs nobody can watch; neither raises nor runs anything of the host's.
  // How many held keys begin like a temporary's name ("autodf" in any case, as keys compare).
  virtual std::size_t STDMETHODCALLTYPE GeneratedLikeKeys() = 0;
  // The field of the key (AddRef'd) when it is one of this module's own fields and its Data
  // holds no object; otherwise null (a missing key included).
  virtual IOwnObject* STDMETHODCALLTYPE QuietItem(const char16_t* key, std::uint32_t size) = 0;

 protected:
  ~DirectFields() = default;
};

struct DirectCollection {
  virtual HRESULT STDMETHODCALLTYPE Item(const char16_t* key, std::uint32_t size,
                                         IDispatch** out, EXCEPINFO* info) = 0;
  virtual HRESULT STDMETHODCALLTYPE Count(std::int32_t* out, EXCEPINFO* info) = 0;

 protected:
  ~DirectCollection() = default;
};

// What a field made by CreateFilledField holds: its three texts, and its Data as SetData takes
// it (the text when value is null), or none (has_data false: Data stays Empty).
struct FieldFill {
  const char16_t* name;
  std::uint32_t name_size;
  const char16_t* data_type;
  std::uint32_t data_type_size;
  const char16_t* data_class;
  std::uint32_t data_class_size;
  bool has_data = false;
  const VARIANT* value = nullptr;
  const char16_t* text = nullptr;
  std::uint32_t text_size = 0;
};

struct DirectFieldFactory {
  // A new QorvDFld.DataField, as CreateInstance(IID_IDispatch) makes it, as its IOwnObject.
  virtual HRESULT STDMETHODCALLTYPE CreateField(IOwnObject** out) = 0;
  // The same field with the members written, as SetText and SetData write them (Name,
  // DataType, DataClass, then Data), in one call.
  virtual HRESULT STDMETHODCALLTYPE CreateFilledField(const FieldFill& fill, IOwnObject** out,
                                                      EXCEPINFO* info) = 0;

 protected:
  ~DirectFieldFactory() = default;
};

struct IOwnObject : public IUnknown {
  // The module that made the object (its image base).
  virtual const void* STDMETHODCALLTYPE ModuleTag() = 0;
  // The build of that module: equal texts, equal interfaces.
  virtual const char* STDMETHODCALLTYPE BuildTag() = 0;
  virtual OwnKind STDMETHODCALLTYPE Kind() = 0;
  // The plain interface of the kind (null for Native); valid while the object is held.
  virtual void* STDMETHODCALLTYPE Direct() = 0;
  // The object's IDispatch (not AddRef'd); null for a factory.
  virtual IDispatch* STDMETHODCALLTYPE DispatchOf() = 0;
  // Native only, and only for the module that made it.
  virtual const automation::ObjectRef* STDMETHODCALLTYPE NativeObject() = 0;
};

// This module's image base and build.
const void* OwnModuleTag() noexcept;
const char* OwnBuildTag() noexcept;

// The IOwnObject of one of our objects of this build (AddRef'd), or null: for any other
// object, and when direct calls are switched off (QORVINTR_COM_GENERIC_INVOKE, see
// dual_object.h). One QueryInterface, whatever the object. An object of trusted_module (a module
// whose build was checked already, and which the caller holds) needs no check of its build.
IOwnObject* OwnObjectOf(IUnknown* object, const void* trusted_module = nullptr) noexcept;
// True when a native object's IOwnObject is usable by this module.
bool IsOwnNative(IOwnObject* own) noexcept;

// Switched off: every call of our objects goes through the type library's invoke, and our DLLs
// call each other through IDispatch, as any client does. Set by the environment variable
// QORVINTR_COM_GENERIC_INVOKE=1 (read once per DLL), for the tests that compare both ways.
bool FastPathsOff() noexcept;

// Completes a failed direct call's EXCEPINFO for the error in flight (call only inside a
// catch block) as IDispatch::Invoke completes it, and answers DISP_E_EXCEPTION.
HRESULT DirectFailure(EXCEPINFO* info) noexcept;

// Runs the body of a direct method: S_OK, or the error as DirectFailure gives it.
template <class Body>
HRESULT DirectGuard(EXCEPINFO* info, Body&& body) noexcept {
  try {
    body();
    return S_OK;
  } catch (...) {
    // No exception may leave the module: the error goes back in the EXCEPINFO.
    return DirectFailure(info);
  }
}

// Raises the error of a failed direct call (as RaiseFromDispatch, which frees the texts).
void CheckDirect(HRESULT hr, EXCEPINFO& info);

}  // namespace qorvintr::com
