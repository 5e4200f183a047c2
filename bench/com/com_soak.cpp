// The soak through COM, as the host really runs it: one QorvIntr.Interpreter over one
// QorvDFld.DataFields collection, a late-bound C++ host, the same scripts called again and
// again (RealizeRegularExpression, a read of the answer's Name, DataType and Data, then
// ResetMemory, or no ResetMemory at all with --no-reset). It prints the process's handles,
// threads, working set and private bytes after warm-up, at each quarter of the rest and at the
// end, and counts the answers that differ from the first round's and the rounds after which
// the host's collection held more than its own fields. Figures only: it fails (exit 1) on a
// call that fails, never on a figure.
//
// Usage (under Wine, after regsvr32 of the three DLLs):
//   com_soak.exe [--runs N] [--no-reset]
#include <windows.h>
#include <oleauto.h>
#include <psapi.h>
#include <tlhelp32.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "com_test_support.h"

using namespace comtest;

namespace {

// Everyday jobs and failures: the failures go through ReportError and the error field.
const wchar_t* const kScripts[] = {
    L"A + 1",
    L"1 + 2 * 3 - 4 / 2",
    L"\"ab\" & \"cd\"",
    L"IF A = 1 THEN \"x\" ELSEIF A > 40 THEN \"big\" ELSE \"y\" END IF",
    L"Replace T, \"x\" , \"y\"",
    L"FormatHL7DateTime D, 0, /, True, True, -0500",
    L"Format A, \"0.00\"",
    L"DateCompare D, \"3/15/2002\"",
    L"DateCat D \"9:30\"",
    L"(A + 1 ) * (A - 1 )",
    L"A / 0",
    L"Nosuch + 1",
    L"Format(A, \"0.00\")",
    L"IF A > 1 THEN",
};
constexpr int kScriptCount = static_cast<int>(sizeof kScripts / sizeof kScripts[0]);
constexpr long kHostFields = 3;

[[noreturn]] void Fail(const char* what, HRESULT hr) {
  std::printf("FAILED: %s (0x%08lX)\n", what, static_cast<unsigned long>(hr));
  std::fflush(stdout);
  std::exit(1);
}

struct Figures {
  DWORD handles = 0;      // GetProcessHandleCount; Wine answers 0
  std::uintptr_t next_handle = 0;  // the value a new handle gets: grows when handles leak
  long threads = 0;
  SIZE_T working_set = 0;
  SIZE_T private_bytes = 0;
};

Figures Measure() {
  Figures f;
  GetProcessHandleCount(GetCurrentProcess(), &f.handles);
  // Handle values are reused lowest first, so a fresh handle's value stays put unless handles
  // are left open; it tells where the count does not.
  if (HANDLE probe = CreateEventW(nullptr, FALSE, FALSE, nullptr)) {
    f.next_handle = reinterpret_cast<std::uintptr_t>(probe);
    CloseHandle(probe);
  }
  PROCESS_MEMORY_COUNTERS_EX memory{};
  memory.cb = sizeof memory;
  if (GetProcessMemoryInfo(GetCurrentProcess(),
                           reinterpret_cast<PROCESS_MEMORY_COUNTERS*>(&memory), sizeof memory)) {
    f.working_set = memory.WorkingSetSize;
    f.private_bytes = memory.PrivateUsage;
  }
  HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
  if (snapshot != INVALID_HANDLE_VALUE) {
    THREADENTRY32 entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Thread32First(snapshot, &entry); more; more = Thread32Next(snapshot, &entry)) {
      if (entry.th32OwnerProcessID == GetCurrentProcessId()) ++f.threads;
    }
    CloseHandle(snapshot);
  }
  return f;
}

void Print(const char* when, long runs, const Figures& f, const Figures& first) {
  std::printf("%-8s %9ld scripts: handles %lu (%+ld), next handle 0x%llx (%+lld), threads %ld,"
              " working set %.2f MB (%+.2f), private %.2f MB (%+.2f)\n",
              when, runs, static_cast<unsigned long>(f.handles),
              static_cast<long>(f.handles) - static_cast<long>(first.handles),
              static_cast<unsigned long long>(f.next_handle),
              static_cast<long long>(f.next_handle) - static_cast<long long>(first.next_handle),
              f.threads,
              f.working_set / 1048576.0,
              (static_cast<double>(f.working_set) - static_cast<double>(first.working_set)) / 1048576.0,
              f.private_bytes / 1048576.0,
              (static_cast<double>(f.private_bytes) - static_cast<double>(first.private_bytes)) / 1048576.0);
  std::fflush(stdout);
}

class Host {
 public:
  Host() {
    interp_ = CreateByProgId(L"QorvIntr.Interpreter");
    fields_ = CreateByProgId(L"QorvDFld.DataFields");
    if (!interp_ || !fields_) Fail("QorvIntr.Interpreter or QorvDFld.DataFields cannot be created", E_FAIL);
    Var a, t, d;
    SetI4(&a.v, 41);
    Add(L"A", &a.v, L"Long");
    SetText(&t.v, L"x-ray box");
    Add(L"T", &t.v, L"String");
    V_VT(&d.v) = VT_DATE;
    V_DATE(&d.v) = 37329.0;  // 3/14/2002
    Add(L"D", &d.v, L"Date");
    errors_ = MakeErrorObject(&reported_);
    Var f, e, s, app, answer;
    SetDispatch(&f.v, fields_);
    SetDispatch(&e.v, errors_);
    SetText(&s.v, L"Soak");
    SetText(&app.v, L"ComSoak");
    HRESULT hr = Get(interp_, L"Init", &answer, {&f.v, &e.v, &s.v, &app.v});
    if (FAILED(hr) || V_VT(&answer.v) != VT_BOOL || V_BOOL(&answer.v) != VARIANT_TRUE) Fail("Init", hr);
    run_id_ = IdOf(interp_, L"RealizeRegularExpression");
    reset_id_ = IdOf(interp_, L"ResetMemory");
    count_id_ = IdOf(fields_, L"Count");
  }
  ~Host() {
    interp_->Release();
    fields_->Release();
    errors_->Release();
  }
  Host(const Host&) = delete;
  Host& operator=(const Host&) = delete;

  // One call as a host makes it; the answer as "Name<TAB>DataType<TAB>Data".
  std::wstring Run(const wchar_t* script, bool reset) {
    BSTR text = SysAllocString(script);
    VARIANT arg;
    V_VT(&arg) = VT_BYREF | VT_BSTR;
    V_BSTRREF(&arg) = &text;
    DISPPARAMS params{&arg, nullptr, 1, 0};
    Var field;
    HRESULT hr = interp_->Invoke(run_id_, IID_NULL, LOCALE_USER_DEFAULT,
                                 DISPATCH_METHOD | DISPATCH_PROPERTYGET, &params, &field.v,
                                 nullptr, nullptr);
    SysFreeString(text);
    if (FAILED(hr)) Fail("RealizeRegularExpression", hr);
    std::wstring answer = L"(no field)";
    if (V_VT(&field.v) == VT_DISPATCH && V_DISPATCH(&field.v)) {
      IDispatch* f = V_DISPATCH(&field.v);
      answer = GetText(f, L"Name") + L"\t" + GetText(f, L"DataType") + L"\t" + GetText(f, L"Data");
    }
    if (reset) {
      DISPPARAMS none{nullptr, nullptr, 0, 0};
      hr = interp_->Invoke(reset_id_, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none,
                           nullptr, nullptr, nullptr);
      if (FAILED(hr)) Fail("ResetMemory", hr);
    }
    reported_.clear();  // the error object keeps what it saw; the soak needs none of it
    return answer;
  }

  long FieldCount() {
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    Var count;
    HRESULT hr = fields_->Invoke(count_id_, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET,
                                 &none, &count.v, nullptr, nullptr);
    if (FAILED(hr) || FAILED(VariantChangeType(&count.v, &count.v, 0, VT_I4))) Fail("DataFields.Count", hr);
    return V_I4(&count.v);
  }

 private:
  void Add(const wchar_t* name, VARIANT* data, const wchar_t* type) {
    Var n, t, added;
    SetText(&n.v, name);
    SetText(&t.v, type);
    HRESULT hr = Get(fields_, L"Add", &added, {&n.v, data, &t.v});
    if (FAILED(hr)) Fail("DataFields.Add", hr);
  }

  IDispatch* interp_ = nullptr;
  IDispatch* fields_ = nullptr;
  HostObject* errors_ = nullptr;
  std::vector<ReportedCall> reported_;
  DISPID run_id_ = DISPID_UNKNOWN;
  DISPID reset_id_ = DISPID_UNKNOWN;
  DISPID count_id_ = DISPID_UNKNOWN;
};

}  // namespace

int main(int argc, char** argv) {
  long runs = 1000000;
  bool reset = true;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--runs") == 0 && i + 1 < argc) {
      runs = std::atol(argv[++i]);
    } else if (std::strcmp(argv[i], "--no-reset") == 0) {
      reset = false;
    } else {
      std::printf("usage: com_soak.exe [--runs N] [--no-reset]\n");
      return 2;
    }
  }
  if (runs < 4 * kScriptCount) runs = 4 * kScriptCount;
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) Fail("CoInitializeEx", E_FAIL);
  long differing = 0, leftover_rounds = 0, done = 0;
  {
    Host host;
    std::vector<std::wstring> first;
    for (int s = 0; s < kScriptCount; ++s) first.push_back(host.Run(kScripts[s], reset));
    std::printf("%ld scripts (%d different, %s):\n", runs, kScriptCount,
                reset ? "ResetMemory after each" : "no ResetMemory");
    for (int s = 0; s < kScriptCount; ++s) {
      std::printf("  %-64s -> %s\n", Narrow(kScripts[s]).c_str(), Narrow(first[s]).c_str());
    }
    // Warm-up: a tenth of the runs, then the figures every quarter of the rest.
    const long warm = runs / 10;
    const long rest = runs - warm;
    Figures base;
    long next_mark = warm;
    int quarter = 0;
    done = kScriptCount;
    while (done < runs) {
      for (int s = 0; s < kScriptCount && done < runs; ++s, ++done) {
        // Without ResetMemory a temporary's name goes on counting: only the value is compared.
        std::wstring answer = host.Run(kScripts[s], reset);
        const std::wstring& want = first[s];
        const std::wstring_view a = answer, w = want;
        const bool same = reset ? a == w : a.substr(std::min(a.find(L'\t'), a.size())) ==
                                               w.substr(std::min(w.find(L'\t'), w.size()));
        if (!same && ++differing <= 5) {
          std::printf("differs: %s -> %s\n", Narrow(kScripts[s]).c_str(), Narrow(answer).c_str());
        }
      }
      if (host.FieldCount() != kHostFields) ++leftover_rounds;
      if (done >= next_mark) {
        if (quarter == 0) {
          base = Measure();
          Print("warm-up", done, base, base);
        } else {
          Print(quarter == 4 ? "end" : "quarter", done, Measure(), base);
        }
        ++quarter;
        next_mark = warm + rest * quarter / 4;
      }
    }
  }
  CoUninitialize();
  std::printf("answers differing from the first round: %ld; rounds that left a field in the"
              " collection: %ld\n", differing, leftover_rounds);
  return 0;
}
