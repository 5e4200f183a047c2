#pragma once
// Shared by the Windows test programs of the COM servers: checks that count failures, VARIANT
// holders, late-bound calls by member name, and a host object whose members the test writes
// (IDispatch by hand, no type library), as a C++ host would write its own error object.

#include <windows.h>
#include <oleauto.h>

#include <atomic>
#include <cstdio>
#include <cstring>
#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace comtest {

inline int g_failures = 0;
inline int g_checks = 0;

// UTF-8 text (a file's line) as a wide string.
inline std::wstring Wide(const std::string& utf8) {
  if (utf8.empty()) return L"";
  int n = MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), nullptr, 0);
  std::wstring w(static_cast<size_t>(n), L'\0');
  MultiByteToWideChar(CP_UTF8, 0, utf8.data(), static_cast<int>(utf8.size()), w.data(), n);
  return w;
}

inline std::string Narrow(const std::wstring& w) {
  std::string s;
  for (wchar_t c : w) {
    if (c >= 32 && c < 127) {
      s += static_cast<char>(c);
    } else {
      char buf[12];
      std::snprintf(buf, sizeof buf, "\\u%04X", static_cast<unsigned>(c));
      s += buf;
    }
  }
  return s;
}

#define CHECK(cond)                                                                  \
  do {                                                                               \
    ++::comtest::g_checks;                                                           \
    if (!(cond)) {                                                                   \
      ++::comtest::g_failures;                                                       \
      std::printf("FAILED %s:%d: %s\n", __FILE__, __LINE__, #cond);                  \
    }                                                                                \
  } while (0)

#define CHECK_HR(expr, expected)                                                     \
  do {                                                                               \
    ++::comtest::g_checks;                                                           \
    HRESULT hr_ = (expr);                                                            \
    if (hr_ != static_cast<HRESULT>(expected)) {                                     \
      ++::comtest::g_failures;                                                       \
      std::printf("FAILED %s:%d: %s = 0x%08lX, expected 0x%08lX\n", __FILE__, __LINE__, \
                  #expr, static_cast<unsigned long>(hr_),                           \
                  static_cast<unsigned long>(expected));                             \
    }                                                                                \
  } while (0)

#define CHECK_TEXT(actual, expected)                                                 \
  do {                                                                               \
    ++::comtest::g_checks;                                                           \
    std::wstring a_ = (actual);                                                      \
    std::wstring e_ = (expected);                                                    \
    if (a_ != e_) {                                                                  \
      ++::comtest::g_failures;                                                       \
      std::printf("FAILED %s:%d: %s = \"%s\", expected \"%s\"\n", __FILE__, __LINE__, #actual, \
                  ::comtest::Narrow(a_).c_str(), ::comtest::Narrow(e_).c_str());     \
    }                                                                                \
  } while (0)

inline int Summary(const char* program) {
  std::printf("%s: %d checks, %d failed\n", program, g_checks, g_failures);
  return g_failures == 0 ? 0 : 1;
}

// ---- VARIANT helpers -------------------------------------------------------------------------

struct Var {
  VARIANT v;
  Var() { VariantInit(&v); }
  ~Var() { VariantClear(&v); }
  Var(const Var&) = delete;
  Var& operator=(const Var&) = delete;
  VARIANT* operator&() { return &v; }
  VARTYPE vt() const { return V_VT(&v); }
};

inline void SetText(VARIANT* v, const wchar_t* text) {
  VariantInit(v);
  V_VT(v) = VT_BSTR;
  V_BSTR(v) = SysAllocString(text);
}
inline void SetI4(VARIANT* v, LONG n) {
  VariantInit(v);
  V_VT(v) = VT_I4;
  V_I4(v) = n;
}
inline void SetDispatch(VARIANT* v, IDispatch* d) {
  VariantInit(v);
  V_VT(v) = VT_DISPATCH;
  V_DISPATCH(v) = d;
  if (d) d->AddRef();
}
inline void SetByRefVariant(VARIANT* v, VARIANT* target) {
  VariantInit(v);
  V_VT(v) = VT_BYREF | VT_VARIANT;
  V_VARIANTREF(v) = target;
}

// The text of a VARIANT converted as the platform converts (VARIANT_ALPHABOOL: "True").
inline std::wstring TextOf(const VARIANT& v) {
  VARIANT t;
  VariantInit(&t);
  if (FAILED(VariantChangeTypeEx(&t, const_cast<VARIANT*>(&v), 1033, VARIANT_ALPHABOOL,
                                 VT_BSTR))) {
    return L"<no text>";
  }
  std::wstring s(V_BSTR(&t), SysStringLen(V_BSTR(&t)));
  VariantClear(&t);
  return s;
}

// ---- Late binding by name --------------------------------------------------------------------

struct CallResult {
  HRESULT hr = S_OK;
  EXCEPINFO info{};
  UINT arg_error = 0;
  ~CallResult() {
    SysFreeString(info.bstrSource);
    SysFreeString(info.bstrDescription);
    SysFreeString(info.bstrHelpFile);
  }
  std::wstring Description() const {
    return info.bstrDescription ? std::wstring(info.bstrDescription) : std::wstring();
  }
};

inline DISPID IdOf(IDispatch* d, const wchar_t* name, HRESULT* hr_out = nullptr) {
  DISPID id = DISPID_UNKNOWN;
  LPOLESTR n = const_cast<LPOLESTR>(name);
  HRESULT hr = d->GetIDsOfNames(IID_NULL, &n, 1, LOCALE_USER_DEFAULT, &id);
  if (hr_out) *hr_out = hr;
  return id;
}

// Calls a member by name with the arguments in their written order (args[0] is the first).
// A put passes its last argument as the value.
inline void CallByName(IDispatch* d, const wchar_t* name, WORD flags,
                       std::vector<VARIANT*> args, VARIANT* result, CallResult& r) {
  HRESULT hr = S_OK;
  DISPID id = IdOf(d, name, &hr);
  if (FAILED(hr)) {
    r.hr = hr;
    return;
  }
  std::vector<VARIANT> reversed(args.size());
  for (size_t i = 0; i < args.size(); ++i) reversed[args.size() - 1 - i] = *args[i];
  DISPID put = DISPID_PROPERTYPUT;
  DISPPARAMS p{reversed.empty() ? nullptr : reversed.data(), nullptr,
               static_cast<UINT>(reversed.size()), 0};
  if (flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) {
    p.rgdispidNamedArgs = &put;
    p.cNamedArgs = 1;
  }
  r.hr = d->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, flags, &p, result, &r.info, &r.arg_error);
}

// Shorthands: a property read or function call whose result is used.
inline HRESULT Get(IDispatch* d, const wchar_t* name, VARIANT* result,
                   std::vector<VARIANT*> args = {}) {
  CallResult r;
  CallByName(d, name, DISPATCH_METHOD | DISPATCH_PROPERTYGET, std::move(args), result, r);
  return r.hr;
}
inline std::wstring GetText(IDispatch* d, const wchar_t* name) {
  Var v;
  if (FAILED(Get(d, name, &v))) return L"<call failed>";
  return TextOf(v.v);
}
inline HRESULT Put(IDispatch* d, const wchar_t* name, VARIANT* value, WORD flags = DISPATCH_PROPERTYPUT) {
  CallResult r;
  CallByName(d, name, flags, {value}, nullptr, r);
  return r.hr;
}
inline IDispatch* GetObject(IDispatch* d, const wchar_t* name, std::vector<VARIANT*> args = {}) {
  Var v;
  if (FAILED(Get(d, name, &v, std::move(args)))) return nullptr;
  if (V_VT(&v.v) != VT_DISPATCH || !V_DISPATCH(&v.v)) return nullptr;
  IDispatch* out = V_DISPATCH(&v.v);
  out->AddRef();
  return out;
}

// Init of QorvIntr.Interpreter with every argument passed by reference, as a script host passes
// its variables; answer takes Init's Boolean.
inline HRESULT InitByRef(IDispatch* interp, IDispatch* fields, IDispatch* errors,
                         const wchar_t* system, const wchar_t* application, VARIANT* answer) {
  Var f, e, s, a;
  SetDispatch(&f.v, fields);
  SetDispatch(&e.v, errors);
  SetText(&s.v, system);
  SetText(&a.v, application);
  VARIANT rf, re, rs, ra;
  SetByRefVariant(&rf, &f.v);
  SetByRefVariant(&re, &e.v);
  SetByRefVariant(&rs, &s.v);
  SetByRefVariant(&ra, &a.v);
  CallResult r;
  CallByName(interp, L"Init", DISPATCH_METHOD | DISPATCH_PROPERTYGET, {&rf, &re, &rs, &ra},
             answer, r);
  return r.hr;
}

inline IDispatch* CreateByProgId(const wchar_t* prog_id) {
  CLSID clsid;
  if (FAILED(CLSIDFromProgID(prog_id, &clsid))) return nullptr;
  IDispatch* d = nullptr;
  if (FAILED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, IID_IDispatch,
                              reinterpret_cast<void**>(&d)))) {
    return nullptr;
  }
  return d;
}

inline bool SameObject(IUnknown* a, IUnknown* b) {
  if (!a || !b) return a == b;
  IUnknown* ua = nullptr;
  IUnknown* ub = nullptr;
  a->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&ua));
  b->QueryInterface(IID_IUnknown, reinterpret_cast<void**>(&ub));
  bool same = ua == ub && ua != nullptr;
  if (ua) ua->Release();
  if (ub) ub->Release();
  return same;
}

// ---- A host object written by hand -----------------------------------------------------------

// IUnknown and the type-information members of a host object without type information; the
// object lives until its last Release.
class DispatchBase : public IDispatch {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** object) override {
    if (!object) return E_POINTER;
    if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch)) {
      *object = static_cast<IDispatch*>(this);
      AddRef();
      return S_OK;
    }
    *object = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++refs_; }
  ULONG STDMETHODCALLTYPE Release() override {
    ULONG left = --refs_;
    if (left == 0) delete this;
    return left;
  }
  ULONG Refs() const { return refs_; }

  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* n) override {
    *n = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override {
    return DISP_E_BADINDEX;
  }

 protected:
  DispatchBase() = default;
  virtual ~DispatchBase() = default;

 private:
  std::atomic<ULONG> refs_{1};
};

// Members by name, each a handler that sees the raw DISPPARAMS (arguments last first).
class HostObject : public DispatchBase {
 public:
  using Handler = std::function<HRESULT(WORD flags, DISPPARAMS* params, VARIANT* result,
                                        EXCEPINFO* info)>;

  static HostObject* Create() { return new HostObject(); }

  void Define(const std::wstring& name, Handler handler) {
    members_.push_back({name, std::move(handler)});
  }

  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID,
                                          DISPID* ids) override {
    for (UINT i = 0; i < count; ++i) ids[i] = DISPID_UNKNOWN;
    for (size_t m = 0; m < members_.size(); ++m) {
      if (_wcsicmp(members_[m].name.c_str(), names[0]) == 0) {
        ids[0] = static_cast<DISPID>(m + 1);
        ++lookups_;
        return count == 1 ? S_OK : DISP_E_UNKNOWNNAME;
      }
    }
    return DISP_E_UNKNOWNNAME;
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params,
                                   VARIANT* result, EXCEPINFO* info, UINT*) override {
    if (id < 1 || static_cast<size_t>(id) > members_.size()) return DISP_E_MEMBERNOTFOUND;
    ++calls_;
    return members_[id - 1].handler(flags, params, result, info);
  }

  int Lookups() const { return lookups_; }
  int Calls() const { return calls_; }

 private:
  HostObject() = default;
  ~HostObject() override = default;
  struct Entry {
    std::wstring name;
    Handler handler;
  };
  std::vector<Entry> members_;
  int lookups_ = 0;
  int calls_ = 0;
};

// One ReportError call as the error object saw it: each argument's VARTYPE (by-reference ones
// as passed) and its text (followed through the reference).
struct ReportedCall {
  VARTYPE types[11] = {};
  VARTYPE inner[11] = {};
  std::wstring texts[11];
  SCODE omitted_scode = 0;
};

// An error object written by the host: records each ReportError and answers 0. When rename is
// set, it also changes the by-reference system argument (the seventh), as a host may.
inline HostObject* MakeErrorObject(std::vector<ReportedCall>* calls, const wchar_t* rename = nullptr) {
  HostObject* o = HostObject::Create();
  std::wstring renamed = rename ? rename : L"";
  o->Define(L"ReportError", [calls, renamed](WORD, DISPPARAMS* p, VARIANT* result, EXCEPINFO*) {
    if (p->cArgs != 11) return static_cast<HRESULT>(DISP_E_BADPARAMCOUNT);
    ReportedCall c;
    for (UINT i = 0; i < 11; ++i) {
      VARIANT& a = p->rgvarg[10 - i];
      c.types[i] = V_VT(&a);
      const VARIANT* target = &a;
      if (V_VT(&a) == (VT_BYREF | VT_VARIANT)) target = V_VARIANTREF(&a);
      c.inner[i] = V_VT(target);
      if (V_VT(target) == VT_ERROR) {
        c.omitted_scode = V_ERROR(target);
        c.texts[i] = L"";
      } else {
        c.texts[i] = TextOf(*target);
      }
    }
    calls->push_back(c);
    VARIANT& system = p->rgvarg[10 - 6];
    if (!renamed.empty() && V_VT(&system) == (VT_BYREF | VT_VARIANT)) {
      VariantClear(V_VARIANTREF(&system));
      SetText(V_VARIANTREF(&system), renamed.c_str());
    }
    if (result) SetI4(result, 0);
    return S_OK;
  });
  return o;
}

}  // namespace comtest
