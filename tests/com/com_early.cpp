// An early-bound host: it calls _Interpreter through its vtable, as a host compiled against the
// type library does, and checks the registered type library itself: the members of
// _Interpreter in their slot order with their kinds and parameter types.
//
// Usage (under Wine, after regsvr32 of the three DLLs): com_early.exe
#include <windows.h>
#include <oleauto.h>
#include <initguid.h>

#include "QorvIntr.h"

#include <cstdio>
#include <string>
#include <vector>

#include "com_test_support.h"
#include "qorvintr/version.h"

using namespace comtest;

namespace {

// One slot of the interface: name, kind, parameter types and the result (the retval's type).
struct Slot {
  const wchar_t* name;
  INVOKEKIND kind;
  std::vector<VARTYPE> params;  // VT_PTR | x written as VT_BYREF | x for by-reference ones
};

VARTYPE TypeOf(const TYPEDESC& t) {
  if (t.vt == VT_PTR && t.lptdesc) {
    const TYPEDESC& inner = *t.lptdesc;
    if (inner.vt == VT_PTR && inner.lptdesc) return static_cast<VARTYPE>(VT_BYREF | VT_BYREF);
    return static_cast<VARTYPE>(VT_BYREF | inner.vt);
  }
  return t.vt;
}

void TypeLibraryLayout() {
  ITypeLib* lib = nullptr;
  CHECK_HR(LoadRegTypeLib(LIBID_QorvIntr, QORVINTR_VERSION_MAJOR, QORVINTR_VERSION_MINOR, 0, &lib),
           S_OK);
  if (!lib) return;
  ITypeInfo* info = nullptr;
  CHECK_HR(lib->GetTypeInfoOfGuid(IID__Interpreter, &info), S_OK);
  if (!info) {
    lib->Release();
    return;
  }
  // The dual interface's vtable side.
  HREFTYPE ref = 0;
  ITypeInfo* vtable = nullptr;
  if (SUCCEEDED(info->GetRefTypeOfImplType(static_cast<UINT>(-1), &ref))) {
    info->GetRefTypeInfo(ref, &vtable);
  }
  CHECK(vtable != nullptr);
  if (!vtable) {
    info->Release();
    lib->Release();
    return;
  }
  TYPEATTR* attr = nullptr;
  vtable->GetTypeAttr(&attr);
  CHECK(attr && attr->typekind == TKIND_INTERFACE);
  CHECK(attr && (attr->wTypeFlags & TYPEFLAG_FDUAL));

  const VARTYPE BSTR_OUT = VT_BYREF | VT_BSTR;
  const VARTYPE DISP_OUT = VT_BYREF | VT_DISPATCH;
  const std::vector<Slot> expected = {
      {L"Release", INVOKE_PROPERTYGET, {BSTR_OUT}},
      {L"Major", INVOKE_PROPERTYGET, {BSTR_OUT}},
      {L"Minor", INVOKE_PROPERTYGET, {BSTR_OUT}},
      {L"Revision", INVOKE_PROPERTYGET, {BSTR_OUT}},
      {L"objError", INVOKE_PROPERTYPUTREF, {VT_DISPATCH}},
      {L"objError", INVOKE_PROPERTYGET, {DISP_OUT}},
      {L"strExpression", INVOKE_PROPERTYPUT, {VT_BYREF | VT_I2, VT_BSTR}},
      {L"DataFields", INVOKE_PROPERTYPUTREF, {VT_DISPATCH}},
      {L"DataFields", INVOKE_PROPERTYGET, {DISP_OUT}},
      {L"Init", INVOKE_FUNC, {DISP_OUT, DISP_OUT, BSTR_OUT, BSTR_OUT, VT_BYREF | VT_BOOL}},
      {L"RealizeRegularExpression", INVOKE_FUNC, {BSTR_OUT, DISP_OUT}},
      {L"g_orlina_ini_filename", INVOKE_PROPERTYGET, {BSTR_OUT}},
      {L"g_orlina_ini_filename", INVOKE_PROPERTYPUT, {VT_BSTR}},
      {L"OrlinaIniFilename", INVOKE_PROPERTYPUT, {BSTR_OUT}},
      {L"OrlinaIniFilename", INVOKE_PROPERTYGET, {BSTR_OUT}},
      {L"ResetMemory", INVOKE_FUNC, {}},
  };
  CHECK(attr && attr->cFuncs == expected.size());
  const int first_slot = 7;  // after IUnknown's three and IDispatch's four
  for (UINT i = 0; attr && i < attr->cFuncs && i < expected.size(); ++i) {
    FUNCDESC* fd = nullptr;
    if (FAILED(vtable->GetFuncDesc(i, &fd))) {
      CHECK(!"GetFuncDesc");
      continue;
    }
    BSTR name = nullptr;
    UINT got = 0;
    vtable->GetNames(fd->memid, &name, 1, &got);
    CHECK_TEXT(std::wstring(name ? name : L""), expected[i].name);
    SysFreeString(name);
    CHECK(fd->invkind == expected[i].kind);
    CHECK(fd->oVft == static_cast<SHORT>((first_slot + i) * sizeof(void*)));
    CHECK(fd->cParams == static_cast<SHORT>(expected[i].params.size()));
    for (SHORT p = 0; p < fd->cParams && p < static_cast<SHORT>(expected[i].params.size()); ++p) {
      VARTYPE t = TypeOf(fd->lprgelemdescParam[p].tdesc);
      if (t != expected[i].params[p]) {
        std::printf("  %s parameter %d: type 0x%X, expected 0x%X\n",
                    Narrow(expected[i].name).c_str(), p, t, expected[i].params[p]);
      }
      CHECK(t == expected[i].params[p]);
      // By-reference parameters are [in, out]; the results [out, retval].
      USHORT flags = fd->lprgelemdescParam[p].paramdesc.wParamFlags;
      if (expected[i].params[p] & VT_BYREF) CHECK(flags & PARAMFLAG_FOUT);
    }
    vtable->ReleaseFuncDesc(fd);
  }
  vtable->ReleaseTypeAttr(attr);
  vtable->Release();
  info->Release();
  lib->Release();
}

std::wstring Text(BSTR b) { return b ? std::wstring(b, SysStringLen(b)) : std::wstring(); }

void EarlyBound() {
  _Interpreter* interp = nullptr;
  CHECK_HR(CoCreateInstance(CLSID_Interpreter, nullptr, CLSCTX_INPROC_SERVER, IID__Interpreter,
                            reinterpret_cast<void**>(&interp)),
           S_OK);
  if (!interp) return;
  BSTR b = nullptr;
  CHECK_HR(interp->get_Major(&b), S_OK);
  CHECK_TEXT(Text(b), std::to_wstring(QORVINTR_VERSION_MAJOR));
  SysFreeString(b);
  CHECK_HR(interp->get_Release(&b), S_OK);
  wchar_t release[32];
  std::swprintf(release, 32, L"%02d.%02d.%04d", QORVINTR_VERSION_MAJOR, QORVINTR_VERSION_MINOR,
                QORVINTR_VERSION_REVISION);
  CHECK_TEXT(Text(b), release);
  SysFreeString(b);

  // strExpression of an instance that does not exist: a failed call with the error's text.
  short index = 0;
  BSTR script = SysAllocString(L"1 + 1");
  HRESULT hr = interp->put_strExpression(&index, script);
  CHECK_HR(hr, 0x800A0009);
  IErrorInfo* error = nullptr;
  CHECK_HR(GetErrorInfo(0, &error), S_OK);
  if (error) {
    BSTR description = nullptr;
    error->GetDescription(&description);
    CHECK_TEXT(Text(description), L"Subscript out of range");
    SysFreeString(description);
    error->Release();
  }
  SysFreeString(script);

  // Init and a script through the vtable, with the stock collection and a host error object.
  IDispatch* fields = CreateByProgId(L"QorvDFld.DataFields");
  std::vector<ReportedCall> calls;
  HostObject* errors = MakeErrorObject(&calls);
  IDispatch* errors_dispatch = errors;
  BSTR system = SysAllocString(L"Early");
  BSTR application = SysAllocString(L"Bound");
  VARIANT_BOOL done = VARIANT_FALSE;
  CHECK_HR(interp->Init(&fields, &errors_dispatch, &system, &application, &done), S_OK);
  CHECK(done == VARIANT_TRUE);
  IDispatch* got = nullptr;
  CHECK_HR(interp->get_objError(&got), S_OK);
  CHECK(SameObject(got, errors));
  if (got) got->Release();

  BSTR expression = SysAllocString(L" 6 * 7 ");
  IDispatch* result = nullptr;
  CHECK_HR(interp->RealizeRegularExpression(&expression, &result), S_OK);
  CHECK_TEXT(Text(expression), L"6 * 7");
  CHECK(result != nullptr);
  if (result) {
    CHECK_TEXT(GetText(result, L"Data"), L"42");
    result->Release();
  }
  SysFreeString(expression);

  expression = SysAllocString(L"1 / 0");
  CHECK_HR(interp->RealizeRegularExpression(&expression, &result), S_OK);
  CHECK(result != nullptr);
  if (result) {
    CHECK_TEXT(GetText(result, L"Name"), L"Error");
    result->Release();
  }
  CHECK(calls.size() == 1);
  if (!calls.empty()) {
    CHECK_TEXT(calls[0].texts[6], L"Early");
    CHECK_TEXT(calls[0].texts[7], L"Bound");
  }
  SysFreeString(expression);
  CHECK_HR(interp->ResetMemory(), S_OK);

  CHECK_HR(interp->putref_objError(nullptr), S_OK);
  CHECK_HR(interp->get_objError(&got), S_OK);
  CHECK(got == nullptr);

  SysFreeString(system);
  SysFreeString(application);
  interp->Release();
  errors->Release();
  if (fields) fields->Release();
}

// The version resource of each DLL carries the project version: major.minor.0.revision.
void VersionResources() {
  for (const wchar_t* clsid_text : {L"{942AD119-FDB3-463A-B7B8-BED4779577AE}",
                                    L"{8F147EA3-2B00-4CB0-B28B-C7B1A4AE7DBD}",
                                    L"{7FBCE9C2-3D0C-4AED-8C95-C8B07CE1FC05}"}) {
    std::wstring key = std::wstring(L"CLSID\\") + clsid_text + L"\\InprocServer32";
    wchar_t path[MAX_PATH] = {};
    LONG size = sizeof path;
    CHECK(RegQueryValueW(HKEY_CLASSES_ROOT, key.c_str(), path, &size) == ERROR_SUCCESS);
    DWORD handle = 0;
    DWORD bytes = GetFileVersionInfoSizeW(path, &handle);
    CHECK(bytes > 0);
    if (bytes == 0) continue;
    std::vector<char> data(bytes);
    CHECK(GetFileVersionInfoW(path, 0, bytes, data.data()));
    VS_FIXEDFILEINFO* info = nullptr;
    UINT length = 0;
    CHECK(VerQueryValueW(data.data(), L"\\", reinterpret_cast<void**>(&info), &length));
    if (!info) continue;
    CHECK(HIWORD(info->dwFileVersionMS) == QORVINTR_VERSION_MAJOR);
    CHECK(LOWORD(info->dwFileVersionMS) == QORVINTR_VERSION_MINOR);
    CHECK(LOWORD(info->dwFileVersionLS) == QORVINTR_VERSION_REVISION);
    CHECK(info->dwFileType == VFT_DLL);
    wchar_t* self_register = nullptr;
    CHECK(VerQueryValueW(data.data(), L"\\StringFileInfo\\040904B0\\OLESelfRegister",
                         reinterpret_cast<void**>(&self_register), &length));
  }
}

}  // namespace

int main() {
  if (FAILED(CoInitialize(nullptr))) return 2;
  TypeLibraryLayout();
  VersionResources();
  EarlyBound();
  CoUninitialize();
  return Summary("com_early");
}
