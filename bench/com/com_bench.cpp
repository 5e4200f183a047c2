// What one script costs a late-bound C++ host of QorvIntr.Interpreter, against the platform's
// Script Control (MSScriptControl.ScriptControl, VBScript) doing the same job in the same
// process and run.
//
// QorvIntr side: the host fields live in a QorvDFld.DataFields collection given to Init; each
// call is RealizeRegularExpression (the script passed by reference, as a host passes its
// variable), a read of the answer's Data, and ResetMemory. Script Control side: the same fields
// are script variables defined with AddCode (with the helper functions of SCRIPT_CONTROL_CODE);
// each call is Eval of the equivalent expression. Every member is found once by
// GetIDsOfNames; the timed loops call Invoke with the cached DISPIDs.
//
// Before timing, each family's answer on both sides must be the expected one, and the last
// answer of every timed batch is checked again: a wrong answer stops the program (exit 1).
// Timing: QueryPerformanceCounter over COUNT calls, the two sides interleaved (the order
// swapped every round), ROUNDS rounds; the table shows the medians per call.
//
// Usage (under Wine, after regsvr32 of the three DLLs):
//   com_bench.exe FAMILIES.tsv SCRIPT_CONTROL_CODE.vbs [--count N] [--rounds R]
#include <windows.h>
#include <oleauto.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "com_test_support.h"

using namespace comtest;

namespace {

struct Family {
  std::string label;
  std::wstring ours;      // the QorvIntr script
  std::wstring vbscript;  // the expression the Script Control evaluates
  std::wstring expected;  // the answer's text on both sides
};

bool ReadText(const char* path, std::string* text) {
  std::ifstream in(path, std::ios::binary);
  if (!in) return false;
  std::ostringstream s;
  s << in.rdbuf();
  *text = s.str();
  return true;
}

// One family per line: label, our script, the VBScript expression, the expected answer
// (tab-separated); blank lines and lines starting with # are skipped.
bool ReadFamilies(const char* path, std::vector<Family>* families) {
  std::string text;
  if (!ReadText(path, &text)) return false;
  std::istringstream lines(text);
  std::string line;
  while (std::getline(lines, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    if (line.empty() || line[0] == '#') continue;
    std::vector<std::string> parts;
    size_t start = 0;
    for (size_t tab; (tab = line.find('\t', start)) != std::string::npos; start = tab + 1) {
      parts.push_back(line.substr(start, tab - start));
    }
    parts.push_back(line.substr(start));
    if (parts.size() != 4) {
      std::printf("%s: not four tab-separated parts: %s\n", path, line.c_str());
      return false;
    }
    families->push_back({parts[0], Wide(parts[1]), Wide(parts[2]), Wide(parts[3])});
  }
  return !families->empty();
}

[[noreturn]] void Fail(const char* what) {
  std::printf("FAILED: %s\n", what);
  std::fflush(stdout);
  std::exit(1);
}

DISPID CachedId(IDispatch* d, const wchar_t* name) {
  HRESULT hr = S_OK;
  DISPID id = IdOf(d, name, &hr);
  if (FAILED(hr)) {
    std::printf("FAILED: GetIDsOfNames(%s) = 0x%08lX\n", Narrow(name).c_str(),
                static_cast<unsigned long>(hr));
    std::exit(1);
  }
  return id;
}

double Seconds(LARGE_INTEGER from, LARGE_INTEGER to) {
  static LARGE_INTEGER frequency = [] {
    LARGE_INTEGER f;
    QueryPerformanceFrequency(&f);
    return f;
  }();
  return static_cast<double>(to.QuadPart - from.QuadPart) / static_cast<double>(frequency.QuadPart);
}

// QorvIntr.Interpreter over a QorvDFld.DataFields collection.
class OursSide {
 public:
  OursSide() {
    interp_ = CreateByProgId(L"QorvIntr.Interpreter");
    fields_ = CreateByProgId(L"QorvDFld.DataFields");
    if (!interp_ || !fields_) Fail("QorvIntr.Interpreter or QorvDFld.DataFields cannot be created");
    AddField(L"A", [](VARIANT* v) { SetI4(v, 41); }, L"Long");
    AddField(L"T", [](VARIANT* v) { SetText(v, L"x-ray box"); }, L"String");
    AddField(L"D", [](VARIANT* v) {
      VariantInit(v);
      V_VT(v) = VT_DATE;
      V_DATE(v) = 37329.0;  // 3/14/2002
    }, L"Date");
    errors_ = MakeErrorObject(&reported_);

    // Init's parameters are by reference; the server takes values for them as well.
    Var f, e, s, a, answer;
    SetDispatch(&f.v, fields_);
    SetDispatch(&e.v, errors_);
    SetText(&s.v, L"Bench");
    SetText(&a.v, L"ComBench");
    if (FAILED(Get(interp_, L"Init", &answer, {&f.v, &e.v, &s.v, &a.v})) ||
        V_VT(&answer.v) != VT_BOOL || V_BOOL(&answer.v) != VARIANT_TRUE) {
      Fail("Init of QorvIntr.Interpreter");
    }
    run_id_ = CachedId(interp_, L"RealizeRegularExpression");
    reset_id_ = CachedId(interp_, L"ResetMemory");
  }
  ~OursSide() {
    SysFreeString(script_);
    interp_->Release();
    fields_->Release();
    errors_->Release();
  }
  OursSide(const OursSide&) = delete;
  OursSide& operator=(const OursSide&) = delete;

  void Use(const std::wstring& script) {
    SysFreeString(script_);
    script_ = SysAllocString(script.c_str());
  }

  // One call as a host makes it; the answer's Data goes to *data.
  void Call(VARIANT* data) {
    VARIANT arg;
    V_VT(&arg) = VT_BYREF | VT_BSTR;
    V_BSTRREF(&arg) = &script_;
    DISPPARAMS params{&arg, nullptr, 1, 0};
    VARIANT field;
    VariantInit(&field);
    HRESULT hr = interp_->Invoke(run_id_, IID_NULL, LOCALE_USER_DEFAULT,
                                 DISPATCH_METHOD | DISPATCH_PROPERTYGET, &params, &field, nullptr,
                                 nullptr);
    if (FAILED(hr) || V_VT(&field) != VT_DISPATCH || !V_DISPATCH(&field)) {
      Fail("RealizeRegularExpression answered no data field");
    }
    // All data fields are of one class: the first answer tells the DISPID of Data.
    if (data_id_ == DISPID_UNKNOWN) data_id_ = CachedId(V_DISPATCH(&field), L"Data");
    DISPPARAMS none{nullptr, nullptr, 0, 0};
    hr = V_DISPATCH(&field)->Invoke(data_id_, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_PROPERTYGET,
                                    &none, data, nullptr, nullptr);
    VariantClear(&field);
    if (FAILED(hr)) Fail("reading the Data of QorvIntr's answer");
    hr = interp_->Invoke(reset_id_, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &none, nullptr,
                         nullptr, nullptr);
    if (FAILED(hr)) Fail("ResetMemory");
  }

  // ReportError calls so far (a family that reports an error gives no figure worth having).
  size_t Reported() const { return reported_.size(); }

 private:
  template <typename SetData>
  void AddField(const wchar_t* name, SetData set_data, const wchar_t* type) {
    Var n, d, t, added;
    SetText(&n.v, name);
    set_data(&d.v);
    SetText(&t.v, type);
    if (FAILED(Get(fields_, L"Add", &added, {&n.v, &d.v, &t.v}))) Fail("DataFields.Add");
  }

  IDispatch* interp_ = nullptr;
  IDispatch* fields_ = nullptr;
  HostObject* errors_ = nullptr;
  std::vector<ReportedCall> reported_;
  BSTR script_ = nullptr;
  DISPID run_id_ = DISPID_UNKNOWN;
  DISPID reset_id_ = DISPID_UNKNOWN;
  DISPID data_id_ = DISPID_UNKNOWN;
};

// MSScriptControl.ScriptControl with the VBScript language.
class ScriptControlSide {
 public:
  explicit ScriptControlSide(const std::wstring& code) {
    control_ = CreateByProgId(L"MSScriptControl.ScriptControl");
    if (!control_) Fail("MSScriptControl.ScriptControl cannot be created");
    Var language, text;
    SetText(&language.v, L"VBScript");
    if (FAILED(Put(control_, L"Language", &language.v))) Fail("ScriptControl.Language = VBScript");
    SetText(&text.v, code.c_str());
    CallResult r;
    CallByName(control_, L"AddCode", DISPATCH_METHOD, {&text.v}, nullptr, r);
    if (FAILED(r.hr)) {
      std::printf("FAILED: ScriptControl.AddCode = 0x%08lX %s\n", static_cast<unsigned long>(r.hr),
                  Narrow(r.Description()).c_str());
      std::exit(1);
    }
    eval_id_ = CachedId(control_, L"Eval");
  }
  ~ScriptControlSide() {
    VariantClear(&expression_);
    control_->Release();
  }
  ScriptControlSide(const ScriptControlSide&) = delete;
  ScriptControlSide& operator=(const ScriptControlSide&) = delete;

  void Use(const std::wstring& expression) {
    VariantClear(&expression_);
    SetText(&expression_, expression.c_str());
  }

  void Call(VARIANT* data) {
    DISPPARAMS params{&expression_, nullptr, 1, 0};
    EXCEPINFO info{};
    HRESULT hr = control_->Invoke(eval_id_, IID_NULL, LOCALE_USER_DEFAULT,
                                  DISPATCH_METHOD | DISPATCH_PROPERTYGET, &params, data, &info,
                                  nullptr);
    if (FAILED(hr)) {
      std::printf("FAILED: ScriptControl.Eval(%s) = 0x%08lX %s\n",
                  Narrow(V_BSTR(&expression_)).c_str(), static_cast<unsigned long>(hr),
                  info.bstrDescription ? Narrow(info.bstrDescription).c_str() : "");
      std::exit(1);
    }
  }

 private:
  IDispatch* control_ = nullptr;
  VARIANT expression_{};
  DISPID eval_id_ = DISPID_UNKNOWN;
};

// COUNT calls of one side; answers the seconds per call and leaves the last answer's text.
template <typename Side>
double TimeCalls(Side& side, int count, std::wstring* last) {
  VARIANT data;
  VariantInit(&data);
  LARGE_INTEGER start, stop;
  QueryPerformanceCounter(&start);
  for (int i = 0; i < count; ++i) {
    VariantClear(&data);
    side.Call(&data);
  }
  QueryPerformanceCounter(&stop);
  *last = TextOf(data);
  VariantClear(&data);
  return Seconds(start, stop) / count;
}

void Expect(const Family& family, const char* side, const std::wstring& answer) {
  if (answer == family.expected) return;
  std::printf("FAILED: %s, %s answered \"%s\", expected \"%s\"\n", family.label.c_str(), side,
              Narrow(answer).c_str(), Narrow(family.expected).c_str());
  std::fflush(stdout);
  std::exit(1);
}

double Median(std::vector<double> values) {
  std::sort(values.begin(), values.end());
  size_t n = values.size();
  return n % 2 ? values[n / 2] : (values[n / 2 - 1] + values[n / 2]) / 2;
}

int Usage() {
  std::printf("usage: com_bench.exe FAMILIES.tsv SCRIPT_CONTROL_CODE.vbs [--count N] [--rounds R]"
              " [--only ours|control]\n"
              "  --only SIDE  time one side alone (to profile it; the other shows 0)\n");
  return 2;
}

int Run(int argc, char** argv) {
  int count = 500;
  int rounds = 5;
  std::vector<const char*> files;
  std::string only;
  for (int i = 1; i < argc; ++i) {
    std::string arg = argv[i];
    if (arg == "--only" && i + 1 < argc) {
      only = argv[++i];
      if (only != "ours" && only != "control") return Usage();
    } else if ((arg == "--count" || arg == "--rounds") && i + 1 < argc) {
      int n = std::atoi(argv[++i]);
      if (n < 1) return Usage();
      (arg == "--count" ? count : rounds) = n;
    } else if (arg.rfind("--", 0) == 0) {
      return Usage();
    } else {
      files.push_back(argv[i]);
    }
  }
  if (files.size() != 2) return Usage();
  std::vector<Family> families;
  if (!ReadFamilies(files[0], &families)) {
    std::printf("FAILED: no families read from %s\n", files[0]);
    return 1;
  }
  std::string code;
  if (!ReadText(files[1], &code)) {
    std::printf("FAILED: cannot read %s\n", files[1]);
    return 1;
  }

  OursSide ours;
  ScriptControlSide control(Wide(code));

  struct Row {
    std::string label;
    double control_us, ours_us;
  };
  std::vector<Row> rows;
  for (const Family& family : families) {
    ours.Use(family.ours);
    control.Use(family.vbscript);
    std::wstring answer;
    TimeCalls(control, 1, &answer);
    Expect(family, "Script Control", answer);
    size_t reported = ours.Reported();
    TimeCalls(ours, 1, &answer);
    Expect(family, "QorvIntr", answer);
    if (ours.Reported() != reported) {
      std::printf("FAILED: %s, QorvIntr reported an error\n", family.label.c_str());
      return 1;
    }

    std::vector<double> control_times, ours_times;
    for (int round = 0; round < rounds; ++round) {
      // Swapping the order each round spreads the drift of the machine over both sides.
      for (int turn = 0; turn < 2; ++turn) {
        if ((turn == 0) == (round % 2 == 0)) {
          if (only == "ours") continue;
          control_times.push_back(TimeCalls(control, count, &answer));
          Expect(family, "Script Control", answer);
        } else {
          if (only == "control") continue;
          ours_times.push_back(TimeCalls(ours, count, &answer));
          Expect(family, "QorvIntr", answer);
        }
      }
    }
    if (ours.Reported() != reported) {
      std::printf("FAILED: %s, QorvIntr reported an error\n", family.label.c_str());
      return 1;
    }
    auto median_us = [](const std::vector<double>& times) {
      return times.empty() ? 0.0 : Median(times) * 1e6;
    };
    rows.push_back({family.label, median_us(control_times), median_us(ours_times)});
  }

  std::printf("C++ host, late-bound (cached DISPIDs): %d calls per side per round, %d rounds, "
              "median per call\n\n", count, rounds);
  // (The header is written out: a width would count the two bytes of the micro sign.)
  std::printf("%-20s | Script Control \xC2\xB5s | QorvIntr \xC2\xB5s | ratio\n", "family");
  std::printf("%s\n", std::string(20, '-').append(" | ").append(17, '-').append(" | ")
                          .append(11, '-').append(" | ").append(28, '-').c_str());
  for (const Row& row : rows) {
    double ratio = row.ours_us <= row.control_us ? row.control_us / row.ours_us
                                                 : row.ours_us / row.control_us;
    char verdict[64];
    if (!only.empty()) {
      std::snprintf(verdict, sizeof verdict, "%s only", only.c_str());
    } else {
      std::snprintf(verdict, sizeof verdict, "QorvIntr is %.1fx %s", ratio,
                    row.ours_us <= row.control_us ? "faster" : "slower");
    }
    std::printf("%-20s | %17.2f | %11.2f | %s\n", row.label.c_str(), row.control_us, row.ours_us,
                verdict);
  }
  std::printf("\nscripts (QorvIntr | Script Control Eval):\n");
  for (const Family& family : families) {
    std::printf("  %-20s %s | %s\n", family.label.c_str(), Narrow(family.ours).c_str(),
                Narrow(family.vbscript).c_str());
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (FAILED(CoInitialize(nullptr))) {
    std::printf("FAILED: CoInitialize\n");
    return 1;
  }
  int status = Run(argc, argv);
  CoUninitialize();
  return status;
}
