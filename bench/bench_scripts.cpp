// Benchmarks: what one field script costs a host, by script family, by script length and by the
// number of host data fields, and (where Lua 5.4 is available) the same work done by Lua
// compiling and running an equivalent chunk per call.
//
// Every call is made the way a host makes it: RealizeRegularExpression on the script, then
// ResetMemory (a host resets between scripts; without it the hold table keeps growing, which
// the NoReset benchmarks show). The debug log is off. Items are scripts: items_per_second is
// scripts per second.
//
// QORVINTR_BENCH_SHOW=1 prints each script's result (and Lua's) before the benchmarks run.

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "automation/text.h"
#include "qorvintr/value.h"
#include "qorvintr/components/data_field.h"
#include "qorvintr/components/defaults.h"
#include "qorvintr/components/error_recorder.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/contract/creation.h"
#include "interpreter/interpreter.h"
#include "support/debug_log.h"

#ifdef QORVINTR_BENCH_LUA
extern "C" {
#include <lauxlib.h>
#include <lua.h>
#include <lualib.h>
}
#endif

namespace {

using qorvintr::engine::Interpreter;
using qorvintr::automation::Value;
namespace automation = qorvintr::automation;
namespace components = qorvintr::components;
namespace contract = qorvintr::contract;

// 3/14/2002 9:30:00 AM
constexpr double kNow = 37329.395833333336;
// The same moment as Unix time (seconds since 1/1/1970, UTC), for Lua's os.date.
constexpr long long kNowUnix = 1016098200;

struct Script {
  const char* family;
  const char* name;
  const char* script;  // ours
  const char* lua;     // an equivalent Lua chunk (nullptr: none)
};

// Realistic field scripts of an HL7 upload, one family per built-in plus operators and IF,
// written as the language reads them: a word ended by "(", "," or ")" keeps that character, so
// a closing parenthesis stands after a blank and a built-in's arguments follow its name.
const std::vector<Script>& Corpus() {
  static const std::vector<Script> corpus = {
      {"Operators", "FieldPlusNumber", "Count + 8", "return Count + 8"},
      {"Operators", "Parentheses", "(Count + 8 ) * 2", "return (Count + 8) * 2"},
      // No precedence: operators group from the right.
      {"Operators", "DoubleArithmetic", "Amount * 1.5 - 0.25", "return Amount * (1.5 - 0.25)"},
      {"Operators", "Concatenate", "Name & \"^\" & Sep", "return Name .. \"^\" .. Sep"},
      {"Operators", "Compare", "Count <= 50", "return Count <= 50"},
      {"Operators", "DateLiteral", "#3/14/2002# + 1", "return DateSerial(2002, 3, 14) + 1"},
      {"If", "ThenElse", "IF Count > 100 THEN \"HIGH\" ELSE \"LOW\" END IF",
       "if Count > 100 then return \"HIGH\" else return \"LOW\" end"},
      {"If", "ElseIfChain",
       "IF Count > 100 THEN \"HIGH\" ELSEIF Count > 10 THEN \"MID\" ELSE \"LOW\" END IF",
       "if Count > 100 then return \"HIGH\" elseif Count > 10 then return \"MID\" else return "
       "\"LOW\" end"},
      {"If", "FieldBranch", "IF Flag THEN Name ENDIF", "if Flag then return Name end return false"},
      {"Format", "Number", "Format Amount, \"0.00\"", "return string.format(\"%.2f\", Amount)"},
      {"Format", "Thousands", "Format Count, \"#,##0.00\"",
       "return string.format(\"%.2f\", Count)"},
      {"Format", "Date", "Format Admitted, \"yyyymmdd\"",
       "return os.date(\"!%Y%m%d\", AdmittedUnix)"},
      {"FormatHL7DateTime", "DateOnly", "FormatHL7DateTime VisitDate",
       "local m, d, y = VisitDate:match(\"(%d+)/(%d+)/(%d+)\") "
       "return string.format(\"%04d%02d%02d\", y, m, d)"},
      {"FormatHL7DateTime", "DateTimeZone",
       "FormatHL7DateTime VisitDate, VisitTime, /, True, True, -0500",
       "local m, d, y = VisitDate:match(\"(%d+)/(%d+)/(%d+)\") "
       "local h, n, ap = VisitTime:match(\"(%d+):(%d+) (%a+)\") h = tonumber(h) % 12 "
       "if ap == \"PM\" then h = h + 12 end "
       "return string.format(\"%04d%02d%02d%02d%02d00%s\", y, m, d, h, n, \"-0500\")"},
      {"Replace", "All", "Replace Name, \",\" , \"^\"", "return (Name:gsub(\",\", \"^\"))"},
      {"Replace", "FromStart", "Replace ( Name , \"h\" , \"H\" , 3 )",
       "return (Name:sub(3):gsub(\"h\", \"H\"))"},
      {"Replace", "Once", "Replace Name, \"h\" , \"H\" , 1, 1",
       "return (Name:gsub(\"h\", \"H\", 1))"},
      {"Dates", "DateCompare", "DateCompare VisitDate \"03/15/2002\"",
       "local a, b = ParseDate(VisitDate), ParseDate(\"03/15/2002\") "
       "if a < b then return -1 elseif a > b then return 1 else return 0 end"},
      {"Dates", "DateCat", "DateCat VisitDate VisitTime",
       "return ParseDate(VisitDate) + ParseTime(VisitTime)"},
      {"Dates", "DateCompareInIf",
       "IF DateCompare VisitDate \"1/1/2000\" = 1 THEN \"AFTER\" ELSE \"BEFORE\" END IF",
       "if ParseDate(VisitDate) > ParseDate(\"1/1/2000\") then return \"AFTER\" else return "
       "\"BEFORE\" end"},
  };
  return corpus;
}

std::u16string U(std::string_view s) { return automation::FromUtf8(s); }

// A host: its collection of data fields, its error object and one interpreter.
struct Host {
  std::shared_ptr<components::DataFieldCollection> fields =
      std::make_shared<components::DataFieldCollection>();
  std::shared_ptr<components::ErrorRecorder> errors =
      std::make_shared<components::ErrorRecorder>();
  std::unique_ptr<Interpreter> interpreter = std::make_unique<Interpreter>();

  // extra: how many more fields ("Field1" ...) the host holds beside its usual ones.
  explicit Host(int extra = 0) {
    fields->Add(u"Name", Value::String(u"Smith, John"), u"String");
    fields->Add(u"Count", Value::Long(42), u"Long");
    fields->Add(u"Amount", Value::Double(12.5), u"Double");
    fields->Add(u"VisitDate", Value::String(u"3/14/2002"), u"Date");
    fields->Add(u"VisitTime", Value::String(u"9:30 AM"), u"String");
    fields->Add(u"Admitted", Value::Date(kNow), u"Date");
    fields->Add(u"Flag", Value::Boolean(true), u"Boolean");
    fields->Add(u"Sep", Value::String(u"^"), u"String");
    for (int i = 1; i <= extra; ++i) {
      fields->Add(u"Field" + U(std::to_string(i)), Value::Long(i), u"Long");
    }
    contract::DataFieldsRef f = fields;
    contract::HostErrorRef e = errors;
    std::u16string system = u"Upload", application = u"HL7";
    interpreter->Init(f, e, system, application);
  }

  // One script as a host runs it.
  contract::DataFieldRef Run(std::u16string& script) {
    contract::DataFieldRef result = interpreter->RealizeRegularExpression(script);
    interpreter->ResetMemory();
    return result;
  }
};

std::string Describe(const contract::DataFieldRef& f) {
  if (!f) return "(no field)";
  Value data = f->Data();
  std::u16string text;
  try {
    text = data.IsNull() ? u"Null" : automation::CStr(data);
  } catch (...) {
    text = u"(no text)";
  }
  return automation::ToUtf8(f->Name() + u" " + f->DataType() + u" " + text);
}

bool IsFailure(const contract::DataFieldRef& f) { return !f || f->Name() == u"Error"; }

// Times one script; a script that fails is not measured (its figures would mislead).
void RunScript(benchmark::State& state, std::u16string script, Host& host) {
  {
    std::u16string probe = script;
    host.errors->Clear();
    contract::DataFieldRef r = host.Run(probe);
    if (IsFailure(r) || !host.errors->Calls().empty()) {
      state.SkipWithError(("the script fails: " + Describe(r)).c_str());
      return;
    }
  }
  for (auto _ : state) {
    contract::DataFieldRef r = host.Run(script);
    benchmark::DoNotOptimize(r);
  }
  state.SetItemsProcessed(state.iterations());
}

Host& SharedHost() {
  static Host& host = *new Host;  // kept to the end: its teardown needs the thread's state
  return host;
}

// ---- Length: a long operator chain and a long literal, up to the 32766-character limit --------

std::u16string OperatorChain(std::int64_t length) {
  std::u16string s = u"1";
  while (static_cast<std::int64_t>(s.size()) + 4 <= length) s += u" + 1";
  return s;
}

std::u16string LongLiteral(std::int64_t length) {
  std::u16string s = u"\"";
  s.append(static_cast<std::size_t>(std::max<std::int64_t>(length - 2, 0)), u'x');
  s += u'"';
  return s;
}

void BM_Length_OperatorChain(benchmark::State& state) {
  RunScript(state, OperatorChain(state.range(0)), SharedHost());
  state.SetComplexityN(state.range(0));
  state.SetBytesProcessed(state.iterations() * state.range(0) * 2);
}
BENCHMARK(BM_Length_OperatorChain)
    ->Arg(16)->Arg(128)->Arg(1024)->Arg(8192)->Arg(32766)->Complexity();

void BM_Length_Literal(benchmark::State& state) {
  RunScript(state, LongLiteral(state.range(0)), SharedHost());
  state.SetComplexityN(state.range(0));
  state.SetBytesProcessed(state.iterations() * state.range(0) * 2);
}
BENCHMARK(BM_Length_Literal)->Arg(16)->Arg(128)->Arg(1024)->Arg(8192)->Arg(32766)->Complexity();

// A field joined to a long literal: the literal, then one operator through the evaluator.
void BM_Length_FieldAndLiteral(benchmark::State& state) {
  RunScript(state, u"Name & " + LongLiteral(state.range(0) - 7), SharedHost());
  state.SetComplexityN(state.range(0));
}
BENCHMARK(BM_Length_FieldAndLiteral)->Arg(16)->Arg(1024)->Arg(32766)->Complexity();

// ---- Number of host data fields -----------------------------------------------------------

void BM_Fields(benchmark::State& state, const char* script) {
  Host host(static_cast<int>(state.range(0)));
  std::u16string s = U(script);
  // Refer to a field in the middle of the host's list where the script asks for one.
  const std::u16string marker = u"FieldMid";
  std::size_t at = s.find(marker);
  if (at != std::u16string::npos) {
    s.replace(at, marker.size(), u"Field" + U(std::to_string(state.range(0) / 2 + 1)));
  }
  RunScript(state, s, host);
  state.counters["fields"] = static_cast<double>(host.fields->Count());
}
BENCHMARK_CAPTURE(BM_Fields, Operators, "(Count + 8 ) * 2")
    ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK_CAPTURE(BM_Fields, FieldInTheMiddle, "FieldMid + Count")
    ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000);
BENCHMARK_CAPTURE(BM_Fields, If, "IF Count > 100 THEN \"HIGH\" ELSE \"LOW\" END IF")
    ->Arg(10)->Arg(100)->Arg(1000)->Arg(10000)->Arg(100000);

// ---- A host that never calls ResetMemory ------------------------------------------------------
// The hold table of level 0 keeps every slot it ever used, and the end of each run walks all of
// them: the cost per script grows with the number of scripts run since the last reset. One
// timed unit is n scripts and one reset; items are scripts.

void BM_NoReset(benchmark::State& state) {
  Host& host = SharedHost();
  const std::int64_t n = state.range(0);
  std::u16string script = u"Count + 8";
  for (auto _ : state) {
    for (std::int64_t i = 0; i < n; ++i) {
      contract::DataFieldRef r = host.interpreter->RealizeRegularExpression(script);
      benchmark::DoNotOptimize(r);
    }
    host.interpreter->ResetMemory();
  }
  state.SetItemsProcessed(state.iterations() * n);
}
BENCHMARK(BM_NoReset)->Arg(1)->Arg(10)->Arg(100)->Arg(1000)->Arg(5000);

// ---- A new interpreter per script (what a host pays when it does not keep one) ---------------

void BM_NewInterpreterPerScript(benchmark::State& state) {
  Host& host = SharedHost();
  std::u16string script = u"Count + 8";
  for (auto _ : state) {
    Interpreter interpreter;
    contract::DataFieldsRef f = host.fields;
    contract::HostErrorRef e = host.errors;
    std::u16string system = u"Upload", application = u"HL7";
    interpreter.Init(f, e, system, application);
    contract::DataFieldRef r = interpreter.RealizeRegularExpression(script);
    benchmark::DoNotOptimize(r);
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_NewInterpreterPerScript);

#ifdef QORVINTR_BENCH_LUA
// ---- Lua 5.4: compile and run an equivalent chunk per call ------------------------------------

// Date helpers a Lua host would give its scripts once (our built-ins are native code too):
// days since 30 December 1899, as our dates count.
const char kLuaHelpers[] =
    "function DateSerial(y, m, d)\n"
    "  return os.time{year = y, month = m, day = d, hour = 12} // 86400 + 25569\n"
    "end\n"
    "function ParseDate(s)\n"
    "  local m, d, y = s:match('(%d+)/(%d+)/(%d+)')\n"
    "  return DateSerial(tonumber(y), tonumber(m), tonumber(d))\n"
    "end\n"
    "function ParseTime(s)\n"
    "  local h, n, ap = s:match('(%d+):(%d+) (%a+)')\n"
    "  h = tonumber(h) % 12\n"
    "  if ap == 'PM' then h = h + 12 end\n"
    "  return (h * 60 + tonumber(n)) / 1440\n"
    "end\n";

struct LuaHost {
  lua_State* L = luaL_newstate();
  LuaHost() {
    luaL_openlibs(L);
    if (luaL_dostring(L, kLuaHelpers) != LUA_OK) {
      std::fprintf(stderr, "Lua helpers: %s\n", lua_tostring(L, -1));
      std::abort();
    }
    lua_pushstring(L, "Smith, John");
    lua_setglobal(L, "Name");
    lua_pushinteger(L, 42);
    lua_setglobal(L, "Count");
    lua_pushnumber(L, 12.5);
    lua_setglobal(L, "Amount");
    lua_pushstring(L, "3/14/2002");
    lua_setglobal(L, "VisitDate");
    lua_pushstring(L, "9:30 AM");
    lua_setglobal(L, "VisitTime");
    lua_pushnumber(L, kNow);
    lua_setglobal(L, "Admitted");
    lua_pushinteger(L, kNowUnix);
    lua_setglobal(L, "AdmittedUnix");
    lua_pushboolean(L, 1);
    lua_setglobal(L, "Flag");
    lua_pushstring(L, "^");
    lua_setglobal(L, "Sep");
  }
  ~LuaHost() { lua_close(L); }
  // Compiles and runs the chunk; false (with the message on the stack's top) on failure.
  bool Run(const std::string& chunk, std::string* shown = nullptr) {
    if (luaL_loadbuffer(L, chunk.data(), chunk.size(), "field") != LUA_OK ||
        lua_pcall(L, 0, 1, 0) != LUA_OK) {
      if (shown) *shown = std::string("error: ") + lua_tostring(L, -1);
      lua_settop(L, 0);
      return false;
    }
    if (shown) *shown = luaL_tolstring(L, -1, nullptr);
    lua_settop(L, 0);
    return true;
  }
};

LuaHost& SharedLua() {
  static LuaHost lua;
  return lua;
}

void RunLua(benchmark::State& state, std::string chunk) {
  LuaHost& lua = SharedLua();
  std::string shown;
  if (!lua.Run(chunk, &shown)) {
    state.SkipWithError(shown.c_str());
    return;
  }
  for (auto _ : state) {
    bool ok = lua.Run(chunk);
    benchmark::DoNotOptimize(ok);
  }
  state.SetItemsProcessed(state.iterations());
}
#endif

void RegisterCorpus() {
  for (const Script& s : Corpus()) {
    std::string name = std::string("Script/") + s.family + "/" + s.name;
    std::u16string script = U(s.script);
    benchmark::RegisterBenchmark(name.c_str(), [script](benchmark::State& state) {
      RunScript(state, script, SharedHost());
    });
#ifdef QORVINTR_BENCH_LUA
    if (s.lua) {
      std::string lua_name = std::string("Lua/") + s.family + "/" + s.name;
      std::string chunk = s.lua;
      benchmark::RegisterBenchmark(lua_name.c_str(),
                                   [chunk](benchmark::State& state) { RunLua(state, chunk); });
    }
#endif
  }
#ifdef QORVINTR_BENCH_LUA
  // The long operator chain in Lua, for the length figures.
  benchmark::RegisterBenchmark("Lua/Length/OperatorChain", [](benchmark::State& state) {
    RunLua(state, "return " + automation::ToUtf8(OperatorChain(state.range(0))));
  })->Arg(16)->Arg(1024)->Arg(32766);
  benchmark::RegisterBenchmark("Lua/Length/Literal", [](benchmark::State& state) {
    RunLua(state, "return " + automation::ToUtf8(LongLiteral(state.range(0))));
  })->Arg(16)->Arg(1024)->Arg(32766);
#endif
}

void ShowResults() {
  for (const Script& s : Corpus()) {
    std::u16string script = U(s.script);
    Host& host = SharedHost();
    host.errors->Clear();
    std::string ours = Describe(host.Run(script));
    std::printf("%-18s %-18s %-45s %s", s.family, s.name, s.script, ours.c_str());
    if (!host.errors->Calls().empty()) std::printf("  [%zu errors reported]", host.errors->Calls().size());
#ifdef QORVINTR_BENCH_LUA
    std::string shown;
    if (s.lua) SharedLua().Run(s.lua, &shown);
    std::printf("  | Lua: %s", shown.c_str());
#endif
    std::printf("\n");
  }
}

}  // namespace

int main(int argc, char** argv) {
  automation::SetClock([] { return kNow; });
  // The stock components, as a C++ host registers them.
  components::RegisterDefaultComponents();
  const char* show = std::getenv("QORVINTR_BENCH_SHOW");
  if (show && *show == '1') ShowResults();
  RegisterCorpus();
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
