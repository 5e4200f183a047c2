// The pieces of the COM servers on their own, in one process (no registration needed):
// Value <-> VARIANT for every kind, the late-bound adapters over host objects written here
// (arguments, by-reference write-back, and the platform's error for every way a call can fail),
// the wrapper of native objects, and the HRESULT of our own errors.
#include <windows.h>
#include <oleauto.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <string>

#include "qorvintr/error.h"
#include "qorvintr/value.h"
#include "com/dispatch_client.h"
#include "com/errors.h"
#include "com/native_dispatch.h"
#include "com/variant.h"
#include "com_test_support.h"
#include "qorvintr/components/data_field.h"

using namespace comtest;
using qorvintr::automation::AutomationError;
using qorvintr::automation::Value;
using qorvintr::automation::VarType;
namespace com = qorvintr::com;

namespace {

std::wstring W(const std::u16string& s) { return std::wstring(s.begin(), s.end()); }

// The number of the error a call raises; 0 when it raises none.
template <class F>
int RaisedNumber(F&& f, std::u16string* description = nullptr) {
  try {
    f();
  } catch (const AutomationError& e) {
    if (description) *description = e.Description();
    return e.Number();
  }
  return 0;
}

void RoundTrip(const Value& v, VARTYPE expected_vt) {
  VARIANT out;
  com::ToVariant(v, &out);
  CHECK(V_VT(&out) == expected_vt);
  Value back = com::FromVariant(out);
  CHECK(back.SameAs(v));
  VariantClear(&out);
}

void Values() {
  RoundTrip(Value(), VT_EMPTY);
  RoundTrip(Value::Null(), VT_NULL);
  RoundTrip(Value::Integer(-32768), VT_I2);
  RoundTrip(Value::Long(2147483647), VT_I4);
  RoundTrip(Value::Single(1.5f), VT_R4);
  RoundTrip(Value::Double(-0.1), VT_R8);
  RoundTrip(Value::Date(37329.395833333336), VT_DATE);
  RoundTrip(Value::Boolean(true), VT_BOOL);
  RoundTrip(Value::Boolean(false), VT_BOOL);
  RoundTrip(Value::Missing(), VT_ERROR);
  // UTF-16 as is: an embedded zero, a lone surrogate, a pair.
  std::u16string odd = u"a";
  odd += u'\0';
  odd += u'\xD800';
  odd += u"\xD83D\xDE00z";
  RoundTrip(Value::String(odd), VT_BSTR);
  RoundTrip(Value::String(u""), VT_BSTR);

  VARIANT v;
  com::ToVariant(Value::Boolean(true), &v);
  CHECK(V_BOOL(&v) == VARIANT_TRUE);
  com::ToVariant(Value::Missing(), &v);
  CHECK(V_ERROR(&v) == DISP_E_PARAMNOTFOUND);
  com::ToVariant(Value::Date(2.25), &v);
  CHECK(V_DATE(&v) == 2.25);
  com::ToVariant(Value::String(odd), &v);
  CHECK(SysStringLen(V_BSTR(&v)) == odd.size());
  VariantClear(&v);

  // Kinds the platform has and Value lacks.
  VariantInit(&v);
  V_VT(&v) = VT_UI1;
  V_UI1(&v) = 200;
  CHECK(com::FromVariant(v).SameAs(Value::Integer(200)));
  V_VT(&v) = VT_I8;
  V_I8(&v) = 5000000000LL;
  CHECK(com::FromVariant(v).SameAs(Value::Double(5000000000.0)));
  V_I8(&v) = -7;
  CHECK(com::FromVariant(v).SameAs(Value::Long(-7)));
  V_VT(&v) = VT_CY;
  V_CY(&v).int64 = 12345;  // 1.2345
  CHECK(com::FromVariant(v).SameAs(Value::Double(1.2345)));
  // By reference, followed.
  LONG n = 41;
  V_VT(&v) = VT_BYREF | VT_I4;
  V_I4REF(&v) = &n;
  CHECK(com::FromVariant(v).SameAs(Value::Long(41)));
  VARIANT inner;
  VariantInit(&inner);
  V_VT(&inner) = VT_R8;
  V_R8(&inner) = 2.5;
  V_VT(&v) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(&v) = &inner;
  CHECK(com::FromVariant(v).SameAs(Value::Double(2.5)));
  // An array is no value of ours: 458.
  SAFEARRAY* array = SafeArrayCreateVector(VT_VARIANT, 0, 1);
  VARIANT arr;
  VariantInit(&arr);
  V_VT(&arr) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(&arr) = array;
  CHECK(RaisedNumber([&] { com::FromVariant(arr); }) == 458);
  VariantClear(&arr);

  // Objects: a native object goes out wrapped and comes back as itself; a host's IDispatch
  // goes in adapted and comes back as itself.
  auto field = qorvintr::components::MakeDataField(u"Error", Value::Boolean(false), u"Boolean");
  VARIANT obj;
  com::ToVariant(Value::Object(field), &obj);
  CHECK(V_VT(&obj) == VT_DISPATCH && V_DISPATCH(&obj) != nullptr);
  Value back = com::FromVariant(obj);
  CHECK(back.IsObject() && back.GetObject() == field);
  VariantClear(&obj);

  HostObject* host = HostObject::Create();
  VARIANT hv;
  SetDispatch(&hv, host);
  Value adapted = com::FromVariant(hv);
  VARIANT again;
  com::ToVariant(adapted, &again);
  CHECK(V_DISPATCH(&again) == static_cast<IDispatch*>(host));
  VariantClear(&again);
  VariantClear(&hv);
  adapted = Value();
  CHECK(host->Refs() == 1);
  host->Release();

  // Nothing.
  VARIANT nothing;
  VariantInit(&nothing);
  V_VT(&nothing) = VT_DISPATCH;
  V_DISPATCH(&nothing) = nullptr;
  Value none = com::FromVariant(nothing);
  CHECK(none.IsObject() && !none.GetObject());
}

void NativeWrapper() {
  auto field = qorvintr::components::MakeDataField(u"Amount", Value::Double(12.5), u"Double",
                                                    u"Host");
  IDispatch* d = com::ToDispatch(field);
  CHECK_TEXT(GetText(d, L"Name"), L"Amount");
  CHECK_TEXT(GetText(d, L"datatype"), L"Double");
  CHECK_TEXT(GetText(d, L"DataClass"), L"Host");
  CHECK_TEXT(GetText(d, L"Data"), L"12.5");
  CHECK(IdOf(d, L"Data") == DISPID_VALUE);
  HRESULT hr = S_OK;
  IdOf(d, L"Nope", &hr);
  CHECK_HR(hr, DISP_E_UNKNOWNNAME);
  // Setters, converted as the language converts; a value for Data is kept as given.
  Var five;
  SetI4(&five.v, 5);
  CHECK_HR(Put(d, L"Name", &five.v), S_OK);
  CHECK_TEXT(W(field->Name()), L"5");
  CHECK_HR(Put(d, L"Data", &five.v), S_OK);
  CHECK(field->Data().SameAs(Value::Long(5)));
  Var null;
  V_VT(&null.v) = VT_NULL;
  CHECK_HR(Put(d, L"DataType", &null.v), DISP_E_TYPEMISMATCH);
  // Dispatch errors.
  Var result;
  CHECK_HR(Get(d, L"Name", &result, {&five.v}), DISP_E_BADPARAMCOUNT);
  DISPPARAMS none{nullptr, nullptr, 0, 0};
  CHECK_HR(d->Invoke(77, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, nullptr, nullptr, nullptr),
           DISP_E_MEMBERNOTFOUND);
  // The default member.
  Var value;
  CHECK_HR(d->Invoke(DISPID_VALUE, IID_NULL, 0, DISPATCH_PROPERTYGET, &none, &value.v, nullptr,
                     nullptr),
           S_OK);
  CHECK(V_VT(&value.v) == VT_I4 && V_I4(&value.v) == 5);
  // The same native object behind it.
  CHECK(com::NativeObjectDispatch::Unwrap(d) == field);
  CHECK(com::LiveObjects() == 1);
  d->Release();
  CHECK(com::LiveObjects() == 0);
}

// A host collection written here, whose members answer as the test says.
struct FieldsBehaviour {
  std::wstring item_rename;             // Item changes the caller's name to this
  HRESULT exists_hr = S_OK;             // Exists fails with this HRESULT
  bool exists_wrong_type = false;       // Exists answers a text
  bool exception_with_wcode = false;    // Exists raises through EXCEPINFO (wCode 1001)
  SCODE exception_scode = 0;            // Exists raises through EXCEPINFO with this scode
  VARIANT add_answer{};                 // what AddObject answers
  bool item_answers_text = false;       // Item answers a text instead of an object
};

HostObject* MakeFields(FieldsBehaviour* b, HostObject* field) {
  HostObject* o = HostObject::Create();
  o->Define(L"Item", [b, field](WORD, DISPPARAMS* p, VARIANT* result, EXCEPINFO*) -> HRESULT {
    if (p->cArgs != 1) return DISP_E_BADPARAMCOUNT;
    VARIANT& name = p->rgvarg[0];
    if (V_VT(&name) != (VT_BYREF | VT_BSTR)) return DISP_E_TYPEMISMATCH;
    if (!b->item_rename.empty()) {
      SysFreeString(*V_BSTRREF(&name));
      *V_BSTRREF(&name) = SysAllocString(b->item_rename.c_str());
    }
    if (b->item_answers_text) {
      SetText(result, L"text");
    } else {
      SetDispatch(result, field);
    }
    return S_OK;
  });
  o->Define(L"Exists", [b](WORD, DISPPARAMS*, VARIANT* result, EXCEPINFO* info) -> HRESULT {
    if (b->exception_with_wcode) {
      info->wCode = 1001;
      info->bstrDescription = SysAllocString(L"Host says no");
      info->bstrSource = SysAllocString(L"HostFields");
      return DISP_E_EXCEPTION;
    }
    if (b->exception_scode != 0) {
      info->scode = b->exception_scode;
      return DISP_E_EXCEPTION;
    }
    if (FAILED(b->exists_hr)) return b->exists_hr;
    if (b->exists_wrong_type) {
      SetText(result, L"maybe");
    } else {
      V_VT(result) = VT_BOOL;
      V_BOOL(result) = VARIANT_TRUE;
    }
    return S_OK;
  });
  o->Define(L"AddObject", [b](WORD, DISPPARAMS* p, VARIANT* result, EXCEPINFO*) -> HRESULT {
    if (p->cArgs != 1 || V_VT(&p->rgvarg[0]) != (VT_BYREF | VT_DISPATCH)) {
      return DISP_E_TYPEMISMATCH;
    }
    VariantCopy(result, &b->add_answer);
    return S_OK;
  });
  return o;
}

void Adapters() {
  HostObject* field = HostObject::Create();
  field->Define(L"Name", [](WORD, DISPPARAMS*, VARIANT* r, EXCEPINFO*) -> HRESULT {
    SetText(r, L"F");
    return S_OK;
  });
  FieldsBehaviour b;
  HostObject* host = MakeFields(&b, field);
  {
    com::DispatchDataFields fields(host);

    // Item: the name by reference, written back; the answer adapted.
    std::u16string name = u"Amount";
    qorvintr::contract::DataFieldRef got = fields.Item(name);
    CHECK(got != nullptr);
    CHECK(got && W(got->Name()) == L"F");
    CHECK_TEXT(W(name), L"Amount");
    b.item_rename = L"Changed";
    got = fields.Item(name);
    CHECK_TEXT(W(name), L"Changed");
    b.item_rename.clear();
    // A member name is looked up once per adapter.
    int lookups = host->Lookups();
    got = fields.Item(name);
    CHECK(host->Lookups() == lookups);

    // Exists and the platform's errors.
    CHECK(fields.Exists(name));
    b.exists_wrong_type = true;
    CHECK(RaisedNumber([&] { fields.Exists(name); }) == 13);
    b.exists_wrong_type = false;
    const struct {
      HRESULT hr;
      int number;
    } mapped[] = {{DISP_E_MEMBERNOTFOUND, 438}, {DISP_E_TYPEMISMATCH, 13},
                  {DISP_E_BADPARAMCOUNT, 450},  {DISP_E_PARAMNOTOPTIONAL, 449},
                  {DISP_E_OVERFLOW, 6},         {DISP_E_NONAMEDARGS, 446},
                  {E_OUTOFMEMORY, 7},           {E_NOINTERFACE, 430},
                  {static_cast<HRESULT>(0x80004005), static_cast<int>(0x80004005)}};
    for (const auto& m : mapped) {
      b.exists_hr = m.hr;
      CHECK(RaisedNumber([&] { fields.Exists(name); }) == m.number);
    }
    b.exists_hr = S_OK;
    std::u16string description;
    b.exception_with_wcode = true;
    CHECK(RaisedNumber([&] { fields.Exists(name); }, &description) == 1001);
    CHECK_TEXT(W(description), L"Host says no");
    b.exception_with_wcode = false;
    b.exception_scode = static_cast<SCODE>(0x800A01A8);  // the language's 424
    CHECK(RaisedNumber([&] { fields.Exists(name); }, &description) == 424);
    CHECK_TEXT(W(description), L"Object required");
    b.exception_scode = static_cast<SCODE>(0x80040205);  // an object-defined error
    CHECK(RaisedNumber([&] { fields.Exists(name); }) == static_cast<int>(0x80040205));
    b.exception_scode = 0;

    // Members the object lacks: 438.
    CHECK(RaisedNumber([&] { fields.Remove(name); }) == 438);
    CHECK(RaisedNumber([&] { fields.mCol(); }) == 438);

    // AddObject: the field by reference, the answer read as a 16-bit integer.
    auto native = qorvintr::components::MakeDataField(u"N", Value::Long(1), u"Long");
    qorvintr::contract::DataFieldRef f = native;
    V_VT(&b.add_answer) = VT_I2;
    V_I2(&b.add_answer) = 0;
    CHECK(fields.AddObject(f) == 0);
    CHECK(f == native);
    V_VT(&b.add_answer) = VT_I4;
    V_I4(&b.add_answer) = 70000;
    CHECK(RaisedNumber([&] { fields.AddObject(f); }) == 6);
    VariantClear(&b.add_answer);
    SetText(&b.add_answer, L"x");
    CHECK(RaisedNumber([&] { fields.AddObject(f); }) == 13);
    VariantClear(&b.add_answer);

    // An object where an object is needed.
    b.item_answers_text = true;
    CHECK(RaisedNumber([&] { fields.Item(name); }) == 424);
    b.item_answers_text = false;
  }
  CHECK(host->Refs() == 1);
  host->Release();
  CHECK(field->Refs() == 1);
  field->Release();
}

void ErrorObject() {
  std::vector<ReportedCall> calls;
  HostObject* host = MakeErrorObject(&calls, L"Renamed");
  com::DispatchHostError errors(host);
  Value system = Value::String(u"Sys");
  Value application = Value::String(u"App");
  Value module = Value::String(u"Interpreter");
  Value answer = errors.ReportError(Value::Long(150100), Value::String(u"Error: 5 - x"),
                                    Value::Date(37329.5), Value::Integer(4), Value::Integer(15),
                                    Value::Missing(), system, application,
                                    Value::String(u"02.01.0000"), module,
                                    Value::String(u"AddInstance"));
  CHECK(answer.SameAs(Value::Long(0)));
  CHECK(calls.size() == 1);
  if (!calls.empty()) {
    const VARTYPE kTypes[11] = {VT_I4, VT_BSTR, VT_DATE, VT_I2, VT_I2, VT_ERROR,
                                VT_BYREF | VT_VARIANT, VT_BYREF | VT_VARIANT, VT_BSTR,
                                VT_BYREF | VT_VARIANT, VT_BSTR};
    for (int i = 0; i < 11; ++i) CHECK(calls[0].types[i] == kTypes[i]);
    CHECK_HR(calls[0].omitted_scode, DISP_E_PARAMNOTFOUND);
    CHECK_TEXT(calls[0].texts[10], L"AddInstance");
  }
  // The host changed the system name through its reference.
  CHECK(system.SameAs(Value::String(u"Renamed")));
  CHECK(application.SameAs(Value::String(u"App")));
  host->Release();
}

void OurErrors() {
  CHECK_HR(com::HresultOfNumber(9), 0x800A0009);
  CHECK_HR(com::HresultOfNumber(static_cast<int>(0x80040205)), 0x80040205);
  EXCEPINFO info{};
  com::FillExcepInfo(&info, AutomationError(9));
  CHECK_HR(info.scode, 0x800A0009);
  CHECK_TEXT(std::wstring(info.bstrDescription), L"Subscript out of range");
  SysFreeString(info.bstrDescription);
  SysFreeString(info.bstrSource);
  CHECK(com::ErrorNumberOfHresult(static_cast<HRESULT>(0x800A01B6)) == 438);
}

// The modules' own memcpy and memmove (support/windows/memory_copy.cpp): every size around
// the steps of the small copies and past them, every alignment, and moves that overlap either
// way, against a byte-by-byte copy.
void MemoryCopies() {
  // Called through pointers the compiler cannot see through: the linked functions run.
  void* (*volatile copy)(void*, const void*, size_t) = &memcpy;
  void* (*volatile move)(void*, const void*, size_t) = &memmove;
  HMODULE runtime = GetModuleHandleW(L"msvcrt.dll");
  FARPROC runtime_copy = runtime ? GetProcAddress(runtime, "memcpy") : nullptr;
  CHECK(reinterpret_cast<void*>(copy) != reinterpret_cast<void*>(runtime_copy));
  unsigned char source[512], target[512], expected[512];
  for (int i = 0; i < 512; ++i) source[i] = static_cast<unsigned char>(i * 7 + 3);
  int wrong = 0;
  for (size_t size = 0; size <= 300; ++size) {
    for (size_t from = 0; from < 8; ++from) {
      for (size_t to = 0; to < 8; ++to) {
        for (int i = 0; i < 512; ++i) target[i] = expected[i] = 0xEE;
        for (size_t i = 0; i < size; ++i) expected[to + i] = source[from + i];
        if (copy(target + to, source + from, size) != target + to) ++wrong;
        for (int i = 0; i < 512; ++i) wrong += target[i] != expected[i];
      }
    }
    for (int shift = -70; shift <= 70; ++shift) {
      const size_t from = 100, to = static_cast<size_t>(100 + shift);
      for (int i = 0; i < 512; ++i) target[i] = expected[i] = source[i];
      unsigned char held[512];
      for (size_t i = 0; i < size; ++i) held[i] = expected[from + i];
      for (size_t i = 0; i < size; ++i) expected[to + i] = held[i];
      if (move(target + to, target + from, size) != target + to) ++wrong;
      for (int i = 0; i < 512; ++i) wrong += target[i] != expected[i];
    }
  }
  CHECK(wrong == 0);
}

}  // namespace

int main() {
  if (FAILED(CoInitialize(nullptr))) return 2;
  Values();
  NativeWrapper();
  Adapters();
  ErrorObject();
  OurErrors();
  MemoryCopies();
  CHECK(com::LiveObjects() == 0);
  CoUninitialize();
  return Summary("com_adapter_test");
}
