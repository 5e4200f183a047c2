// A C++ host that reaches the servers only late-bound, by name, as a script host does: it
// creates QorvIntr.Interpreter, QorvDFld.DataFields and QorvDFld.DataField by ProgID, gives the
// interpreter the collection and an error object of its own, runs scripts, and checks the
// answers, the ReportError calls, the "Error" field, the debug log written through QorvLog.Log,
// the platform's dispatch errors, host objects that misbehave, and that every DLL can unload
// once everything is released.
//
// Usage (under Wine, after regsvr32 of the three DLLs): com_host.exe
#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "com_test_support.h"
#include "qorvintr/version.h"

using namespace comtest;

namespace {

std::wstring ExpectedRelease() {
  wchar_t text[64];
  std::swprintf(text, 64, L"%02d.%02d.%04d", QORVINTR_VERSION_MAJOR, QORVINTR_VERSION_MINOR,
                QORVINTR_VERSION_REVISION);
  return text;
}

// Runs one script through RealizeRegularExpression, the text passed by reference as a script
// host passes a variable; the text afterwards goes to *after.
IDispatch* Run(IDispatch* interp, const wchar_t* script, std::wstring* after = nullptr,
               HRESULT* hr_out = nullptr) {
  Var text;
  SetText(&text, script);
  Var ref;
  SetByRefVariant(&ref.v, &text.v);
  Var result;
  CallResult r;
  CallByName(interp, L"RealizeRegularExpression", DISPATCH_METHOD | DISPATCH_PROPERTYGET,
             {&ref.v}, &result, r);
  V_VT(&ref.v) = VT_EMPTY;  // the reference owns nothing
  if (hr_out) *hr_out = r.hr;
  if (after) *after = TextOf(text.v);
  if (FAILED(r.hr) || V_VT(&result.v) != VT_DISPATCH || !V_DISPATCH(&result.v)) return nullptr;
  IDispatch* field = V_DISPATCH(&result.v);
  field->AddRef();
  return field;
}

struct FieldLine {
  std::wstring name, type, data;
};
FieldLine Describe(IDispatch* field) {
  if (!field) return {L"Nothing", L"", L""};
  FieldLine line{GetText(field, L"Name"), GetText(field, L"DataType"), L""};
  // The data field's default member is its Data.
  Var data;
  DISPPARAMS none{nullptr, nullptr, 0, 0};
  if (SUCCEEDED(field->Invoke(DISPID_VALUE, IID_NULL, LOCALE_USER_DEFAULT,
                              DISPATCH_PROPERTYGET, &none, &data.v, nullptr, nullptr))) {
    line.data = TextOf(data.v);
  }
  return line;
}

typedef HRESULT(STDAPICALLTYPE* CanUnloadFn)();
HRESULT CanUnload(const wchar_t* dll) {
  HMODULE module = GetModuleHandleW(dll);
  if (!module) return E_FAIL;
  auto fn = reinterpret_cast<CanUnloadFn>(
      reinterpret_cast<void*>(GetProcAddress(module, "DllCanUnloadNow")));
  return fn ? fn() : E_FAIL;
}

// ---- The checks -------------------------------------------------------------------------------

void VersionAndProperties(IDispatch* interp) {
  CHECK_TEXT(GetText(interp, L"Release"), ExpectedRelease());
  CHECK_TEXT(GetText(interp, L"Major"), std::to_wstring(QORVINTR_VERSION_MAJOR));
  CHECK_TEXT(GetText(interp, L"Minor"), std::to_wstring(QORVINTR_VERSION_MINOR));
  CHECK_TEXT(GetText(interp, L"Revision"), std::to_wstring(QORVINTR_VERSION_REVISION));
  // Names match without regard to case, as the platform matches them.
  CHECK_TEXT(GetText(interp, L"rElEaSe"), ExpectedRelease());

  // The public field and the property over it.
  Var name;
  SetText(&name.v, L"C:\\hosts\\orlina.ini");
  CHECK_HR(Put(interp, L"g_orlina_ini_filename", &name.v), S_OK);
  CHECK_TEXT(GetText(interp, L"g_orlina_ini_filename"), L"C:\\hosts\\orlina.ini");
  CHECK_TEXT(GetText(interp, L"OrlinaIniFilename"), L"C:\\hosts\\orlina.ini");
  Var other;
  SetText(&other.v, L"C:\\other.ini");
  Var ref;
  SetByRefVariant(&ref.v, &other.v);
  CHECK_HR(Put(interp, L"OrlinaIniFilename", &ref.v), S_OK);
  V_VT(&ref.v) = VT_EMPTY;
  CHECK_TEXT(GetText(interp, L"g_orlina_ini_filename"), L"C:\\other.ini");
  Var empty;
  SetText(&empty.v, L"");
  CHECK_HR(Put(interp, L"OrlinaIniFilename", &empty.v), S_OK);
  CHECK_TEXT(GetText(interp, L"OrlinaIniFilename"), L"");

  // objError and DataFields are Nothing until given.
  Var nothing;
  CHECK_HR(Get(interp, L"objError", &nothing), S_OK);
  CHECK(V_VT(&nothing.v) == VT_DISPATCH && V_DISPATCH(&nothing.v) == nullptr);
}

void DispatchErrors(IDispatch* interp) {
  HRESULT hr = S_OK;
  IdOf(interp, L"NoSuchMember", &hr);
  CHECK_HR(hr, DISP_E_UNKNOWNNAME);
  // Whole names only.
  IdOf(interp, L"ReleaseX", &hr);
  CHECK_HR(hr, DISP_E_UNKNOWNNAME);
  IdOf(interp, L"Releas", &hr);
  CHECK_HR(hr, DISP_E_UNKNOWNNAME);

  // Arguments for a property without parameters: the platform takes them as an index into the
  // property's value, which is no collection.
  Var extra;
  SetI4(&extra.v, 1);
  Var result;
  CallResult r1;
  CallByName(interp, L"Major", DISPATCH_PROPERTYGET, {&extra.v}, &result, r1);
  CHECK_HR(r1.hr, DISP_E_NOTACOLLECTION);

  // Too few and too many arguments for Init.
  Var a, b, c, d, e;
  SetDispatch(&a.v, nullptr);
  SetDispatch(&b.v, nullptr);
  SetText(&c.v, L"s");
  SetText(&d.v, L"a");
  SetText(&e.v, L"x");
  CallResult r2;
  CallByName(interp, L"Init", DISPATCH_METHOD, {&a.v}, &result, r2);
  CHECK(r2.hr == DISP_E_BADPARAMCOUNT || r2.hr == DISP_E_PARAMNOTOPTIONAL);
  CallResult r2b;
  CallByName(interp, L"Init", DISPATCH_METHOD, {&a.v, &b.v, &c.v, &d.v, &e.v}, &result, r2b);
  CHECK_HR(r2b.hr, DISP_E_BADPARAMCOUNT);
  // A text where an object is wanted.
  CallResult r2c;
  CallByName(interp, L"Init", DISPATCH_METHOD, {&c.v, &b.v, &c.v, &d.v}, &result, r2c);
  CHECK_HR(r2c.hr, DISP_E_TYPEMISMATCH);

  // A member that does not exist by number, and a read-only property put.
  DISPPARAMS none{nullptr, nullptr, 0, 0};
  CHECK_HR(interp->Invoke(999, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none, nullptr,
                          nullptr, nullptr),
           DISP_E_MEMBERNOTFOUND);
  Var text;
  SetText(&text.v, L"x");
  CHECK_HR(Put(interp, L"Release", &text.v), DISP_E_MEMBERNOTFOUND);

  // A text that is no object for objError.
  CHECK(FAILED(Put(interp, L"objError", &text.v, DISPATCH_PROPERTYPUTREF)));

  // strExpression of an instance that does not exist is the caller's error: 9, raised.
  Var index, script;
  V_VT(&index.v) = VT_I2;
  V_I2(&index.v) = 3;
  SetText(&script.v, L"1 + 1");
  CallResult r3;
  CallByName(interp, L"strExpression", DISPATCH_PROPERTYPUT, {&index.v, &script.v}, nullptr, r3);
  CHECK_HR(r3.hr, DISP_E_EXCEPTION);
  CHECK_HR(r3.info.scode, 0x800A0009);
  CHECK_TEXT(r3.Description(), L"Subscript out of range");
}

IDispatch* MakeFields() {
  IDispatch* fields = CreateByProgId(L"QorvDFld.DataFields");
  CHECK(fields != nullptr);
  if (!fields) return nullptr;
  // Through Add (name, data, type) ...
  Var n, d, t, added;
  SetText(&n.v, L"Count");
  SetI4(&d.v, 5);
  SetText(&t.v, L"Long");
  CallResult r;
  CallByName(fields, L"Add", DISPATCH_METHOD, {&n.v, &d.v, &t.v}, &added.v, r);
  CHECK_HR(r.hr, S_OK);
  // ... and through a field made by ProgID and AddObject, as the interpreter does.
  IDispatch* field = CreateByProgId(L"QorvDFld.DataField");
  CHECK(field != nullptr);
  if (field) {
    Var name, data, type, cls;
    SetText(&name.v, L"Visit Date");
    SetText(&data.v, L"3/14/2002");
    SetText(&type.v, L"String");
    SetText(&cls.v, L"Host");
    CHECK_HR(Put(field, L"Name", &name.v), S_OK);
    CHECK_HR(Put(field, L"DataType", &type.v), S_OK);
    CHECK_HR(Put(field, L"Data", &data.v), S_OK);
    CHECK_HR(Put(field, L"DataClass", &cls.v), S_OK);
    Var arg, answer;
    SetDispatch(&arg.v, field);
    CHECK_HR(Get(fields, L"AddObject", &answer, {&arg.v}), S_OK);
    CHECK(V_VT(&answer.v) == VT_I2 && V_I2(&answer.v) == 0);
    // The same name again (in another case) is not added.
    Var again;
    CHECK_HR(Get(fields, L"AddObject", &again, {&arg.v}), S_OK);
    CHECK(V_VT(&again.v) == VT_I2 && V_I2(&again.v) != 0);
    // Item answers the very object added, by key in any case.
    Var key;
    SetText(&key.v, L"VISIT DATE");
    IDispatch* item = GetObject(fields, L"Item", {&key.v});
    CHECK(SameObject(item, field));
    if (item) item->Release();
    field->Release();
  }
  CHECK_TEXT(GetText(fields, L"Count"), L"2");
  return fields;
}

void Scripts(IDispatch* interp, IDispatch* fields, IDispatch* errors,
             std::vector<ReportedCall>& calls) {
  Var answer;
  CHECK_HR(InitByRef(interp, fields, errors, L"ComHost", L"LateBound", &answer), S_OK);
  CHECK(V_VT(&answer.v) == VT_BOOL && V_BOOL(&answer.v) == VARIANT_TRUE);

  // The properties give back the very objects given.
  IDispatch* got_errors = GetObject(interp, L"objError");
  IDispatch* got_fields = GetObject(interp, L"DataFields");
  CHECK(SameObject(got_errors, errors));
  CHECK(SameObject(got_fields, fields));
  if (got_errors) got_errors->Release();
  if (got_fields) got_fields->Release();

  // A script over a host field; the caller's text comes back trimmed (by reference).
  std::wstring after;
  IDispatch* r = Run(interp, L"  Count + 2  ", &after);
  FieldLine line = Describe(r);
  CHECK_TEXT(line.type, L"Long");
  CHECK_TEXT(line.data, L"7");
  CHECK(line.name.rfind(L"Autodf", 0) == 0);
  CHECK_TEXT(GetText(r, L"DataClass"), L"Auto");
  CHECK_TEXT(after, L"Count + 2");
  if (r) r->Release();
  // The temporaries are gone from the host's collection again.
  CHECK_TEXT(GetText(fields, L"Count"), L"2");

  r = Run(interp, L"\"a\" & \"b\"");
  line = Describe(r);
  CHECK_TEXT(line.type, L"String");
  CHECK_TEXT(line.data, L"ab");
  if (r) r->Release();

  r = Run(interp, L"IF Count = 5 THEN \"five\" ELSE \"other\" END IF");
  CHECK_TEXT(Describe(r).data, L"five");
  if (r) r->Release();

  // Any UTF-16 text passes unchanged, a lone surrogate too; a very long text is no crash.
  std::wstring odd = L"\"a";
  odd += static_cast<wchar_t>(0xD800);
  odd += L"z\" & \"";
  odd += static_cast<wchar_t>(0xDC00);
  odd += L"\"";
  std::wstring odd_answer = L"a";
  odd_answer += static_cast<wchar_t>(0xD800);
  odd_answer += L"z";
  odd_answer += static_cast<wchar_t>(0xDC00);
  r = Run(interp, odd.c_str());
  CHECK_TEXT(Describe(r).data, odd_answer);
  if (r) r->Release();
  std::wstring long_script = L"\"" + std::wstring(40000, L'x') + L"\" & \"y\"";
  HRESULT long_hr = E_FAIL;
  r = Run(interp, long_script.c_str(), nullptr, &long_hr);
  CHECK_HR(long_hr, S_OK);
  CHECK(r != nullptr);
  if (r) r->Release();

  // An empty script answers Nothing.
  HRESULT hr = S_OK;
  r = Run(interp, L"   ", nullptr, &hr);
  CHECK_HR(hr, S_OK);
  CHECK(r == nullptr);

  // A failing script: the answer is the "Error" field, the call itself succeeds, and the error
  // object hears of it with eleven arguments of the platform's kinds.
  calls.clear();
  r = Run(interp, L"Count / 0", nullptr, &hr);
  CHECK_HR(hr, S_OK);
  line = Describe(r);
  CHECK_TEXT(line.name, L"Error");
  CHECK_TEXT(line.type, L"Boolean");
  CHECK_TEXT(line.data, L"False");
  if (r) r->Release();
  CHECK(calls.size() == 1);
  if (!calls.empty()) {
    const ReportedCall& c = calls[0];
    const VARTYPE kTypes[11] = {VT_I4, VT_BSTR, VT_DATE, VT_I2, VT_I2, VT_ERROR,
                                VT_BYREF | VT_VARIANT, VT_BYREF | VT_VARIANT, VT_BSTR,
                                VT_BYREF | VT_VARIANT, VT_BSTR};
    for (int i = 0; i < 11; ++i) CHECK(c.types[i] == kTypes[i]);
    CHECK(c.inner[6] == VT_BSTR && c.inner[7] == VT_BSTR && c.inner[9] == VT_BSTR);
    CHECK_HR(c.omitted_scode, DISP_E_PARAMNOTFOUND);
    CHECK_TEXT(c.texts[0], L"150100");
    CHECK_TEXT(c.texts[1], L"Error: -2147220981 - Division by zero");
    CHECK_TEXT(c.texts[3], L"4");
    CHECK_TEXT(c.texts[4], L"15");
    CHECK_TEXT(c.texts[6], L"ComHost");
    CHECK_TEXT(c.texts[7], L"LateBound");
    CHECK_TEXT(c.texts[8], ExpectedRelease());
    CHECK_TEXT(c.texts[9], L"Interpreter");
    CHECK_TEXT(c.texts[10], L"EvaluateExpression");
  }
  CHECK_TEXT(GetText(fields, L"Count"), L"2");
}

// The error object may change the by-reference system name; the interpreter keeps the change.
void ByReferenceReport(IDispatch* interp, IDispatch* fields) {
  std::vector<ReportedCall> calls;
  HostObject* renaming = MakeErrorObject(&calls, L"Renamed");
  Var answer;
  CHECK_HR(InitByRef(interp, fields, renaming, L"Before", L"App", &answer), S_OK);
  IDispatch* r = Run(interp, L"Count / 0");
  if (r) r->Release();
  r = Run(interp, L"Count / 0");
  if (r) r->Release();
  CHECK(calls.size() == 2);
  if (calls.size() == 2) {
    CHECK_TEXT(calls[0].texts[6], L"Before");
    CHECK_TEXT(calls[1].texts[6], L"Renamed");
  }
  renaming->Release();
}

// A host collection that forwards to a real one, except for one member that misbehaves.
enum class Fault { Missing, Raises, WrongType };

HostObject* FaultyFields(IDispatch* inner, const wchar_t* member, Fault fault) {
  HostObject* o = HostObject::Create();
  inner->AddRef();
  // The collection lives as long as the object (released by the last handler copy's owner:
  // kept simple, the test releases inner itself at the end).
  for (const wchar_t* name : {L"Item", L"Exists", L"AddObject", L"Remove", L"mCol"}) {
    std::wstring n = name;
    if (n == member && fault == Fault::Missing) continue;
    bool faulty = n == member;
    o->Define(n, [inner, n, faulty, fault](WORD flags, DISPPARAMS* p, VARIANT* result,
                                           EXCEPINFO* info) -> HRESULT {
      if (faulty && fault == Fault::Raises) {
        if (info) {
          info->wCode = 1001;
          info->bstrSource = SysAllocString(L"FaultyFields");
          info->bstrDescription = SysAllocString(L"Host says no");
        }
        return DISP_E_EXCEPTION;
      }
      if (faulty && fault == Fault::WrongType) {
        if (result) SetText(result, L"not a number");
        return S_OK;
      }
      DISPID id = IdOf(inner, n.c_str());
      EXCEPINFO e{};
      UINT arg_error = 0;
      HRESULT hr = inner->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, p, result, &e,
                                 &arg_error);
      if (info) *info = e;
      else {
        SysFreeString(e.bstrSource);
        SysFreeString(e.bstrDescription);
        SysFreeString(e.bstrHelpFile);
      }
      return hr;
    });
  }
  return o;
}

// Drops a faulty collection and its error object from the interpreter before they go, then
// releases them and the inner collection (twice: FaultyFields took one reference).
void DropHostObjects(IDispatch* interp, HostObject* faulty, HostObject* errors,
                     IDispatch* inner) {
  Var none;
  V_VT(&none.v) = VT_DISPATCH;
  V_DISPATCH(&none.v) = nullptr;
  CHECK_HR(Put(interp, L"DataFields", &none.v, DISPATCH_PROPERTYPUTREF), S_OK);
  CHECK_HR(Put(interp, L"objError", &none.v, DISPATCH_PROPERTYPUTREF), S_OK);
  CallResult reset;
  CallByName(interp, L"ResetMemory", DISPATCH_METHOD, {}, nullptr, reset);
  CHECK_HR(reset.hr, S_OK);
  faulty->Release();
  errors->Release();
  inner->Release();
  inner->Release();
}

void MisbehavingHost(IDispatch* interp) {
  struct Case {
    Fault fault;
    const wchar_t* text;
  } cases[] = {
      {Fault::Missing, L"Error: 438 - Object doesn't support this property or method"},
      {Fault::Raises, L"Error: 1001 - Host says no"},
      {Fault::WrongType, L"Error: 13 - Type mismatch"},
  };
  for (const Case& c : cases) {
    IDispatch* inner = CreateByProgId(L"QorvDFld.DataFields");
    if (!inner) {
      CHECK(inner != nullptr);
      continue;
    }
    std::vector<ReportedCall> calls;
    HostObject* errors = MakeErrorObject(&calls);
    HostObject* faulty = FaultyFields(inner, L"AddObject", c.fault);
    Var answer;
    CHECK_HR(InitByRef(interp, faulty, errors, L"Sys", L"App", &answer), S_OK);
    HRESULT hr = S_OK;
    IDispatch* r = Run(interp, L"1 + 2", nullptr, &hr);
    // Never a failed call, never a crash: the interpreter answers, and reports the platform's
    // error inside the procedure that called the collection.
    CHECK_HR(hr, S_OK);
    CHECK(r != nullptr);
    if (r) r->Release();
    CHECK(!calls.empty());
    if (!calls.empty()) {
      CHECK_TEXT(calls[0].texts[1], c.text);
      CHECK_TEXT(calls[0].texts[10], L"CreateNumericDataField");
    }
    DropHostObjects(interp, faulty, errors, inner);
  }
}

// A host whose error object runs another script on the same interpreter while the first one
// reports: each call answers, and each gets its own script back, trimmed.
void NestedRun(IDispatch* interp) {
  IDispatch* inner = CreateByProgId(L"QorvDFld.DataFields");
  if (!inner) {
    CHECK(inner != nullptr);
    return;
  }
  HostObject* faulty = FaultyFields(inner, L"AddObject", Fault::Raises);
  int reports = 0;
  std::wstring nested_after;
  bool nested_answered = false;
  HostObject* errors = HostObject::Create();
  errors->Define(L"ReportError", [&](WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO*) {
    if (++reports == 1) {
      HRESULT hr = S_OK;
      IDispatch* r = Run(interp, L"  7 * 6  ", &nested_after, &hr);
      nested_answered = SUCCEEDED(hr) && r != nullptr;
      if (r) r->Release();
    }
    if (result) SetI4(result, 0);
    return S_OK;
  });
  Var answer;
  CHECK_HR(InitByRef(interp, faulty, errors, L"Sys", L"App", &answer), S_OK);
  std::wstring after;
  HRESULT hr = S_OK;
  IDispatch* r = Run(interp, L"   1 + 2 ", &after, &hr);
  CHECK_HR(hr, S_OK);
  CHECK(r != nullptr);
  if (r) r->Release();
  CHECK(reports >= 2);
  CHECK(nested_answered);
  CHECK_TEXT(nested_after, L"7 * 6");
  CHECK_TEXT(after, L"1 + 2");
  DropHostObjects(interp, faulty, errors, inner);
}

std::wstring TempFolder() {
  wchar_t base[MAX_PATH];
  GetTempPathW(MAX_PATH, base);
  std::wstring folder = std::wstring(base) + L"qorvintr_com_host_" +
                        std::to_wstring(GetCurrentProcessId());
  CreateDirectoryW(folder.c_str(), nullptr);
  return folder;
}

std::string ReadWholeFile(const std::wstring& path) {
  HANDLE h = CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                         OPEN_EXISTING, 0, nullptr);
  if (h == INVALID_HANDLE_VALUE) return {};
  std::string data;
  char buffer[4096];
  DWORD got = 0;
  while (ReadFile(h, buffer, sizeof buffer, &got, nullptr) && got > 0) data.append(buffer, got);
  CloseHandle(h);
  return data;
}

// The debug log: switched on in the host's INI file, written through QorvLog.Log.
void DebugLog(IDispatch* fields) {
  std::wstring folder = TempFolder();
  std::wstring ini = folder + L"\\orlina.ini";
  WritePrivateProfileStringW(L"Upload", L"WriteDebugLog", L"True", ini.c_str());
  WritePrivateProfileStringW(L"Upload", L"DebugLogPath", folder.c_str(), ini.c_str());
  WritePrivateProfileStringW(L"Upload", L"NumLogs", L"2", ini.c_str());

  IDispatch* interp = CreateByProgId(L"QorvIntr.Interpreter");
  CHECK(interp != nullptr);
  if (!interp) return;
  std::vector<ReportedCall> calls;
  HostObject* errors = MakeErrorObject(&calls);
  Var name;
  SetText(&name.v, ini.c_str());
  CHECK_HR(Put(interp, L"OrlinaIniFilename", &name.v), S_OK);
  Var answer;
  CHECK_HR(InitByRef(interp, fields, errors, L"Sys", L"App", &answer), S_OK);
  IDispatch* r = Run(interp, L"Count / 0");
  if (r) r->Release();
  // The log object lives in the interpreter until it goes.
  CHECK(GetModuleHandleW(L"QorvLog.dll") != nullptr);
  CHECK_HR(CanUnload(L"QorvLog.dll"), S_FALSE);
  interp->Release();
  errors->Release();

  std::string log = ReadWholeFile(folder + L"\\OrUpDebg.Log");
  std::string release;
  for (wchar_t c : ExpectedRelease()) release += static_cast<char>(c);
  CHECK(log.rfind("Debug Log", 0) == 0);
  CHECK(log.find("-     Interpreter - Init     -") != std::string::npos);
  CHECK(log.find("Interpreter Version: " + release) != std::string::npos);
  CHECK(log.find("Interpreter - EvaluateExpression - Error Trap") != std::string::npos);
  CHECK(log.find("<END OF ENTRY>") != std::string::npos);
  if (log.empty()) std::printf("no log file in %s\n", Narrow(folder).c_str());

  // Logging off again for the rest of the process.
  WritePrivateProfileStringW(L"Upload", L"WriteDebugLog", L"False", ini.c_str());
  DeleteFileW((folder + L"\\OrUpDebg.Log").c_str());
  DeleteFileW(ini.c_str());
  RemoveDirectoryW(folder.c_str());
}

// A lock on the server keeps the DLL; once unlocked and unloaded, it loads again and works.
void LockAndUnload() {
  CLSID clsid;
  CHECK_HR(CLSIDFromProgID(L"QorvIntr.Interpreter", &clsid), S_OK);
  IClassFactory* factory = nullptr;
  CHECK_HR(CoGetClassObject(clsid, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                            reinterpret_cast<void**>(&factory)),
           S_OK);
  if (!factory) return;
  CHECK_HR(factory->LockServer(TRUE), S_OK);
  factory->Release();
  CHECK_HR(CanUnload(L"QorvIntr.dll"), S_FALSE);
  CoFreeUnusedLibrariesEx(0, 0);
  CHECK(GetModuleHandleW(L"QorvIntr.dll") != nullptr);
  CHECK_HR(CoGetClassObject(clsid, CLSCTX_INPROC_SERVER, nullptr, IID_IClassFactory,
                            reinterpret_cast<void**>(&factory)),
           S_OK);
  if (!factory) return;
  CHECK_HR(factory->LockServer(FALSE), S_OK);
  factory->Release();
  CHECK_HR(CanUnload(L"QorvIntr.dll"), S_OK);

  // COM lets go of the DLLs that can unload. QorvDFld.dll and QorvLog.dll leave the process;
  // QorvIntr.dll stays mapped until this thread ends, because the C++ runtime pins a DLL whose
  // per-thread state (the interpreter's module state) has destructors still to run.
  for (int pass = 0; pass < 3; ++pass) {
    CoFreeUnusedLibrariesEx(0, 0);
    Sleep(20);
  }
  CHECK(GetModuleHandleW(L"QorvDFld.dll") == nullptr);
  CHECK(GetModuleHandleW(L"QorvLog.dll") == nullptr);

  // Created again: a fresh interpreter runs a script.
  IDispatch* interp = CreateByProgId(L"QorvIntr.Interpreter");
  IDispatch* fields = CreateByProgId(L"QorvDFld.DataFields");
  std::vector<ReportedCall> calls;
  HostObject* errors = MakeErrorObject(&calls);
  CHECK(interp != nullptr && fields != nullptr);
  if (interp && fields) {
    Var answer;
    CHECK_HR(InitByRef(interp, fields, errors, L"Sys", L"App", &answer), S_OK);
    IDispatch* r = Run(interp, L"40 + 2");
    CHECK_TEXT(Describe(r).data, L"42");
    if (r) r->Release();
  }
  if (interp) interp->Release();
  if (fields) fields->Release();
  errors->Release();
  CHECK_HR(CanUnload(L"QorvIntr.dll"), S_OK);
}

}  // namespace

int main() {
  if (FAILED(CoInitialize(nullptr))) {
    std::printf("CoInitialize failed\n");
    return 2;
  }
  {
    IDispatch* interp = CreateByProgId(L"QorvIntr.Interpreter");
    CHECK(interp != nullptr);
    if (!interp) {
      CoUninitialize();
      return Summary("com_host");
    }
    VersionAndProperties(interp);
    DispatchErrors(interp);

    IDispatch* fields = MakeFields();
    std::vector<ReportedCall> calls;
    HostObject* errors = MakeErrorObject(&calls);
    if (fields) {
      Scripts(interp, fields, errors, calls);
      ByReferenceReport(interp, fields);
    }
    MisbehavingHost(interp);
    NestedRun(interp);
    if (fields) DebugLog(fields);

    // While objects live, the DLLs say they cannot unload.
    CHECK_HR(CanUnload(L"QorvIntr.dll"), S_FALSE);
    CHECK_HR(CanUnload(L"QorvDFld.dll"), S_FALSE);

    interp->Release();
    errors->Release();
    if (fields) fields->Release();

    // Everything released: every DLL may unload.
    CHECK_HR(CanUnload(L"QorvIntr.dll"), S_OK);
    CHECK_HR(CanUnload(L"QorvDFld.dll"), S_OK);
    CHECK_HR(CanUnload(L"QorvLog.dll"), S_OK);

    LockAndUnload();
  }
  CoUninitialize();
  return Summary("com_host");
}
