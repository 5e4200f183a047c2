// Prints what every member that our objects answer with their own dispatch gives a late-bound
// C++ client, call by call: HRESULT, result, EXCEPINFO, argument error, what reached the
// by-reference arguments, the thread's error information afterwards, object identities and
// GetIDsOfNames. fastpath_compare.sh runs it twice, once with QORVINTR_COM_GENERIC_INVOKE=1
// (every call through the type library) and once without, and fails on any difference.
#include <windows.h>
#include <oleauto.h>

#include <cstdio>
#include <string>
#include <vector>

#include "com_test_support.h"

using namespace comtest;

namespace {

int g_steps = 0;

std::string Show(const VARIANT& v) {
  char head[32];
  std::snprintf(head, sizeof head, "vt=%u", static_cast<unsigned>(V_VT(&v)));
  std::string s = head;
  if (V_VT(&v) == VT_DISPATCH) return s + (V_DISPATCH(&v) ? " object" : " Nothing");
  if (V_VT(&v) == VT_BSTR && !V_BSTR(&v)) return s + " null";
  if (V_VT(&v) == VT_EMPTY) return s;
  return s + " '" + Narrow(TextOf(v)) + "'";
}

// One call: args in written order; by-reference ones are shown again after the call.
void Step(const char* label, IDispatch* d, DISPID id, WORD flags, std::vector<VARIANT*> args,
          bool want_result = true, bool named_put = true) {
  ++g_steps;
  std::vector<VARIANT> reversed(args.size());
  for (size_t i = 0; i < args.size(); ++i) reversed[args.size() - 1 - i] = *args[i];
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS p{reversed.empty() ? nullptr : reversed.data(), nullptr,
               static_cast<UINT>(reversed.size()), 0};
  if (named_put && (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF))) {
    p.rgdispidNamedArgs = &put;
    p.cNamedArgs = 1;
  }
  VARIANT result;
  VariantInit(&result);
  V_VT(&result) = VT_I4;  // something to see whether the call replaced it
  V_I4(&result) = 777;
  EXCEPINFO e{};
  e.scode = 123;
  UINT arg_error = 999;
  HRESULT hr = d->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &p,
                         want_result ? &result : nullptr, &e, &arg_error);
  std::printf("%s: hr=%08lX result=%s", label, static_cast<unsigned long>(hr),
              Show(result).c_str());
  std::printf(" excep={%u,%08lX,'%s','%s',%s,%lu} argerr=%u", e.wCode,
              static_cast<unsigned long>(e.scode),
              e.bstrSource ? Narrow(e.bstrSource).c_str() : "<null>",
              e.bstrDescription ? Narrow(e.bstrDescription).c_str() : "<null>",
              e.bstrHelpFile ? "help" : "nohelp", static_cast<unsigned long>(e.dwHelpContext),
              arg_error);
  for (size_t i = 0; i < args.size(); ++i) {
    VARIANT& a = *args[i];
    if (V_VT(&a) == (VT_BYREF | VT_BSTR)) {
      std::printf(" arg%zu='%s'", i, Narrow(*V_BSTRREF(&a) ? *V_BSTRREF(&a) : L"").c_str());
    } else if (V_VT(&a) == (VT_BYREF | VT_VARIANT)) {
      std::printf(" arg%zu=%s", i, Show(*V_VARIANTREF(&a)).c_str());
    } else if (V_VT(&a) == (VT_BYREF | VT_DISPATCH)) {
      std::printf(" arg%zu=%s", i, *V_DISPATCHREF(&a) ? "object" : "Nothing");
    }
  }
  IErrorInfo* info = nullptr;
  HRESULT left = GetErrorInfo(0, &info);
  if (info) info->Release();
  std::printf(" errorinfo=%s\n", left == S_OK ? "left" : "none");
  SysFreeString(e.bstrSource);
  SysFreeString(e.bstrDescription);
  SysFreeString(e.bstrHelpFile);
  VariantClear(&result);
}

DISPID Id(IDispatch* d, const wchar_t* name) {
  HRESULT hr = S_OK;
  DISPID id = IdOf(d, name, &hr);
  std::printf("GetIDsOfNames(%s): hr=%08lX id=%ld\n", Narrow(name).c_str(),
              static_cast<unsigned long>(hr), static_cast<long>(id));
  return id;
}

IDispatch* ObjectOf(IDispatch* d, DISPID id, std::vector<VARIANT*> args, WORD flags) {
  std::vector<VARIANT> reversed(args.size());
  for (size_t i = 0; i < args.size(); ++i) reversed[args.size() - 1 - i] = *args[i];
  DISPPARAMS p{reversed.empty() ? nullptr : reversed.data(), nullptr,
               static_cast<UINT>(reversed.size()), 0};
  Var r;
  if (FAILED(d->Invoke(id, IID_NULL, 0, flags, &p, &r.v, nullptr, nullptr)) ||
      V_VT(&r.v) != VT_DISPATCH || !V_DISPATCH(&r.v)) {
    return nullptr;
  }
  V_DISPATCH(&r.v)->AddRef();
  return V_DISPATCH(&r.v);
}

constexpr WORD kGet = DISPATCH_PROPERTYGET;
constexpr WORD kGetM = DISPATCH_METHOD | DISPATCH_PROPERTYGET;
constexpr WORD kMethod = DISPATCH_METHOD;
constexpr WORD kPut = DISPATCH_PROPERTYPUT;
constexpr WORD kPutRef = DISPATCH_PROPERTYPUTREF;

void Names(IDispatch* d) {
  for (const wchar_t* n : {L"data", L"NAME", L"item", L"Exists", L"addobject", L"REMOVE",
                           L"mcol", L"Add", L"count", L"_NewEnum", L"realizeregularexpression",
                           L"ResetMemory", L"init", L"DataFields", L"objError", L"Release",
                           L"bogus", L"QueryInterface"}) {
    Id(d, n);
  }
  LPOLESTR two[2] = {const_cast<LPOLESTR>(L"Item"), const_cast<LPOLESTR>(L"Name")};
  DISPID ids[2] = {0, 0};
  HRESULT hr = d->GetIDsOfNames(IID_NULL, two, 2, 0, ids);
  std::printf("GetIDsOfNames(Item, Name): hr=%08lX ids=%ld,%ld\n", static_cast<unsigned long>(hr),
              static_cast<long>(ids[0]), static_cast<long>(ids[1]));
}

void Field(IDispatch* f, IDispatch* other) {
  std::printf("-- DataField\n");
  Names(f);
  Var name, number, text, nul, obj, by_text_target, by_text, empty;
  SetText(&name.v, L"Fld");
  SetI4(&number.v, 41);
  SetText(&text.v, L"x-ray");
  V_VT(&nul.v) = VT_NULL;
  SetDispatch(&obj.v, other);
  SetText(&by_text_target.v, L"ByRefName");
  SetByRefVariant(&by_text.v, &by_text_target.v);
  for (DISPID id : {1, 2, 3}) {
    Step("put text", f, id, kPut, {&name.v});
    Step("get text", f, id, kGet, {});
    Step("get text (method|get)", f, id, kGetM, {});
    Step("get text (method)", f, id, kMethod, {});
    Step("put number (converted)", f, id, kPut, {&number.v});
    Step("put byref variant", f, id, kPut, {&by_text.v});
    Step("get without result", f, id, kGet, {}, false);
    Step("put Null", f, id, kPut, {&nul.v});
    Step("put object", f, id, kPut, {&obj.v});
    Step("put unnamed", f, id, kPut, {&name.v}, true, false);
    Step("get with an argument", f, id, kGet, {&name.v});
  }
  for (VARIANT* v : {&number.v, &text.v, &nul.v, &by_text.v, &empty.v, &obj.v}) {
    Step("Data put", f, 0, kPut, {v});
    Step("Data get", f, 0, kGetM, {});
  }
  Step("Data putref", f, 0, kPutRef, {&obj.v});
  Step("Data get", f, 0, kGet, {});
  Step("Data putref text", f, 0, kPutRef, {&text.v});
  Step("Data put|putref", f, 0, kPut | kPutRef, {&number.v});
  Step("Data get 2 args", f, 0, kGet, {&number.v, &number.v});
  Step("unknown member", f, 42, kGet, {});
}

void Fields(IDispatch* fs, IDispatch* f) {
  std::printf("-- DataFields\n");
  Names(fs);
  Var a, n41, t_long, cls, t, txt, b, key_target, key_byref, one, missing, fobj, num_key;
  SetText(&a.v, L"A");
  SetI4(&n41.v, 41);
  SetText(&t_long.v, L"Long");
  SetText(&cls.v, L"Host");
  SetText(&t.v, L"T");
  SetText(&txt.v, L"x-ray box");
  SetText(&b.v, L"B");
  SetText(&key_target.v, L"a");
  SetByRefVariant(&key_byref.v, &key_target.v);
  SetI4(&one.v, 1);
  SetText(&missing.v, L"zz");
  SetDispatch(&fobj.v, f);
  V_VT(&num_key.v) = VT_R8;
  V_R8(&num_key.v) = 2.0;
  Step("Add 3", fs, 5, kGetM, {&a.v, &n41.v, &t_long.v});
  Step("Add 2", fs, 5, kGetM, {&t.v, &txt.v});
  Step("Add 4", fs, 5, kGetM, {&b.v, &txt.v, &t_long.v, &cls.v});
  Step("Add duplicate", fs, 5, kGetM, {&a.v, &n41.v});
  Step("Add byref name", fs, 5, kGetM, {&key_byref.v, &n41.v});
  Step("Add 1 arg", fs, 5, kGetM, {&a.v});
  for (VARIANT* k : {&a.v, &key_byref.v, &one.v, &num_key.v, &missing.v, &n41.v}) {
    Step("Item", fs, 0, kGetM, {k});
    Step("Item (method)", fs, 0, kMethod, {k});
    Step("Item (get)", fs, 0, kGet, {k});
    Step("Exists", fs, 1, kGetM, {k});
  }
  Step("Item no args", fs, 0, kGetM, {});
  Step("Count", fs, 6, kGet, {});
  Step("Count (method|get)", fs, 6, kGetM, {});
  Step("AddObject", fs, 2, kGetM, {&fobj.v});
  Step("AddObject again", fs, 2, kGetM, {&fobj.v});
  IDispatch* held = f;
  Var by_obj;
  V_VT(&by_obj.v) = VT_BYREF | VT_DISPATCH;
  V_DISPATCHREF(&by_obj.v) = &held;
  Step("AddObject byref", fs, 2, kGetM, {&by_obj.v});
  Var obj_target, obj_byref;
  SetDispatch(&obj_target.v, f);
  SetByRefVariant(&obj_byref.v, &obj_target.v);
  Step("AddObject byref variant", fs, 2, kGetM, {&obj_byref.v});
  Step("AddObject text", fs, 2, kGetM, {&a.v});
  Var name_of_f;
  Var got;
  Get(f, L"Name", &got.v);
  Step("Remove missing", fs, 3, kMethod, {&missing.v});
  Step("Remove field", fs, 3, kMethod, {&got.v});
  Step("Remove again", fs, 3, kMethod, {&got.v});
  Step("Exists removed", fs, 1, kGetM, {&got.v});
  Step("mCol", fs, 4, kGet, {});
  IDispatch* col = ObjectOf(fs, 4, {}, kGet);
  IDispatch* col2 = ObjectOf(fs, 4, {}, kGetM);
  std::printf("mCol same object: %d\n", SameObject(col, col2));
  IDispatch* via_fields = ObjectOf(fs, 0, {&a.v}, kGetM);
  IDispatch* via_col = ObjectOf(col, 0, {&a.v}, kGetM);
  std::printf("Item same object through mCol: %d\n", SameObject(via_fields, via_col));
  std::printf("-- mCol\n");
  Names(col);
  for (VARIANT* k : {&a.v, &key_byref.v, &one.v, &missing.v}) {
    Step("mCol Item", col, 0, kGetM, {k});
    Step("mCol Item (get)", col, 0, kGet, {k});
  }
  Step("mCol Count", col, 1, kGet, {});
  Step("mCol Count (method)", col, 1, kMethod, {});
  via_fields->Release();
  via_col->Release();
  col->Release();
  col2->Release();
}

void Interpreter(IDispatch* in, IDispatch* fs) {
  std::printf("-- Interpreter\n");
  Names(in);
  for (DISPID id : {1, 2, 3, 4, 10, 11}) Step("text property", in, id, kGetM, {});
  BSTR script = SysAllocString(L"A + 1");
  Var by_script;
  V_VT(&by_script.v) = VT_BYREF | VT_BSTR;
  V_BSTRREF(&by_script.v) = &script;
  Step("RealizeRegularExpression before Init", in, 9, kGetM, {&by_script.v});
  IDispatch* fields = fs;
  fields->AddRef();
  IDispatch* errors = nullptr;
  BSTR system = SysAllocString(L"Sys");
  BSTR application = SysAllocString(L"App");
  Var a0, a1, a2, a3;
  V_VT(&a0.v) = VT_BYREF | VT_DISPATCH;
  V_DISPATCHREF(&a0.v) = &fields;
  V_VT(&a1.v) = VT_BYREF | VT_DISPATCH;
  V_DISPATCHREF(&a1.v) = &errors;
  V_VT(&a2.v) = VT_BYREF | VT_BSTR;
  V_BSTRREF(&a2.v) = &system;
  V_VT(&a3.v) = VT_BYREF | VT_BSTR;
  V_BSTRREF(&a3.v) = &application;
  Step("Init", in, 8, kGetM, {&a0.v, &a1.v, &a2.v, &a3.v});
  for (const wchar_t* text : {L"A + 1", L"1 + 2 * 3 - 4 / 2", L"\"ab\" & \"cd\"",
                              L"IF A = 1 THEN \"x\" ELSE \"y\" END IF", L"Replace T, \"x\" , \"y\"",
                              L"Nosuch + 1", L"(1 + ", L"A"}) {
    SysFreeString(script);
    script = SysAllocString(text);
    Step("RealizeRegularExpression", in, 9, kGetM, {&by_script.v});
    IDispatch* answer = ObjectOf(in, 9, {&by_script.v}, kGetM);
    if (answer) {
      Step("  answer Name", answer, 2, kGet, {});
      Step("  answer DataType", answer, 1, kGet, {});
      Step("  answer Data", answer, 0, kGet, {});
      answer->Release();
    }
    Step("ResetMemory", in, 12, kMethod, {});
  }
  Var var_target, var_byref, plain;
  SetText(&var_target.v, L"A + 1");
  SetByRefVariant(&var_byref.v, &var_target.v);
  SetText(&plain.v, L"A + 1");
  Step("RealizeRegularExpression byref variant", in, 9, kGetM, {&var_byref.v});
  Step("RealizeRegularExpression by value", in, 9, kGetM, {&plain.v});
  Step("RealizeRegularExpression no args", in, 9, kGetM, {});
  Step("ResetMemory with an argument", in, 12, kMethod, {&plain.v});
  Step("ResetMemory (get)", in, 12, kGet, {});
  Step("DataFields", in, 7, kGet, {});
  IDispatch* back = ObjectOf(in, 7, {}, kGet);
  std::printf("DataFields same object: %d\n", SameObject(back, fs));
  if (back) back->Release();
  Step("objError", in, 5, kGetM, {});
  Var fsv, nothing;
  SetDispatch(&fsv.v, fs);
  V_VT(&nothing.v) = VT_DISPATCH;
  Step("putref DataFields", in, 7, kPutRef, {&fsv.v});
  Step("putref objError Nothing", in, 5, kPutRef, {&nothing.v});
  Step("put DataFields (not putref)", in, 7, kPut, {&fsv.v});
  Var ini, ini_target, ini_byref;
  SetText(&ini.v, L"C:\\x.ini");
  Step("put g_orlina_ini_filename", in, 10, kPut, {&ini.v});
  SetText(&ini_target.v, L"C:\\y.ini");
  SetByRefVariant(&ini_byref.v, &ini_target.v);
  Step("put OrlinaIniFilename", in, 11, kPut, {&ini_byref.v});
  Step("get OrlinaIniFilename", in, 11, kGet, {});
  SysFreeString(script);
  SysFreeString(system);
  SysFreeString(application);
  if (fields) fields->Release();
  if (errors) errors->Release();
}

}  // namespace

int main() {
  if (FAILED(CoInitialize(nullptr))) return 1;
  IDispatch* f = CreateByProgId(L"QorvDFld.DataField");
  IDispatch* f2 = CreateByProgId(L"QorvDFld.DataField");
  IDispatch* fs = CreateByProgId(L"QorvDFld.DataFields");
  IDispatch* in = CreateByProgId(L"QorvIntr.Interpreter");
  IDispatch* log = CreateByProgId(L"QorvLog.Log");
  if (!f || !f2 || !fs || !in || !log) {
    std::printf("FAILED: the classes cannot be created\n");
    return 1;
  }
  Field(f, fs);
  Var n;
  SetText(&n.v, L"Fld2");
  Put(f2, L"Name", &n.v);
  Fields(fs, f2);
  Interpreter(in, fs);
  std::printf("-- Log\n");
  Names(log);
  Var msg;
  SetText(&msg.v, L"message");
  Step("WriteLogMsg before Init", log, 2, kGetM, {&msg.v});
  Step("WriteLogMsg (get)", log, 2, kGet, {&msg.v});
  f->Release();
  f2->Release();
  fs->Release();
  in->Release();
  log->Release();
  CoUninitialize();
  std::printf("steps: %d\n", g_steps);
  return 0;
}
