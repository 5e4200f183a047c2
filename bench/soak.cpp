// The soak: millions of scripts through the library with the stock components (the host of the
// README: the stock collection, the stock ErrorRecorder as the error object, one interpreter)
// and through `qorvintr batch` on a pipe, with the resident set after warm-up and at the end.
// Eight everyday scripts take turns; two of them fail and report an error every time.
//
//   qorvintr_soak [--runs N] [--warmup N] [--part library|command|both] [--jobs N]
//                 [--reset] [--every-call] [--corpus DIR] [--qorvintr PATH]
//
// --reset calls ResetMemory after every script (the library host); --every-call gives the
// ErrorRecorder kKeepEveryCall (what it kept before it was bounded), to see the difference.
// --corpus DIR (library only): the scripts of every case in DIR/*.cases take turns instead,
// with the fields of every case in the collection (the first of a name wins); a script longer
// than kLongestCorpusScript characters (the one longest readable script) is left out, since it
// alone would take most of the time.
// Every answer is compared with the answer of the first round; the count of those that differ is
// printed. The resident set, the open file descriptors and the threads are read after warm-up,
// at each quarter of the rest and at the end. Linux only (they come from /proc).
#include <fcntl.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "qorvintr/convert.h"
#include "automation/text.h"
#include "qorvintr/components/defaults.h"
#include "qorvintr/components/error_recorder.h"
#include "qorvintr/components/field_collection.h"
#include "interpreter/interpreter.h"
#include "scripts/case_file.h"
#include "scripts/case_fields.h"

namespace {

using qorvintr::automation::Value;
namespace components = qorvintr::components;
namespace contract = qorvintr::contract;

// Six that answer a value, two that fail (division by zero, a type mismatch).
constexpr std::array<std::string_view, 8> kScripts{{
    "(Amount - Copay ) * Quantity",
    "Format Amount, \"#,##0.00\"",
    "IF Sex = \"M\" THEN \"male\" ELSEIF Sex = \"F\" THEN \"female\" ELSE \"other\" END IF",
    "Replace Phone, \".\" , \"-\"",
    "FormatHL7DateTime AdmitDate, 0, /, True, True, -0500",
    "Name & \"!\"",
    "Amount / 0",
    "\"abc\" * 2",
}};
constexpr int kFailingScripts = 2;

struct FieldText {
  const char* name;
  const char* type;
  const char* value;
};
constexpr std::array<FieldText, 7> kFields{{
    {"Amount", "Double", "1250.5"},
    {"Copay", "Double", "20"},
    {"Quantity", "Long", "3"},
    {"Sex", "String", "F"},
    {"Phone", "String", "555.123.4567"},
    {"AdmitDate", "Date", "3/14/2002"},
    {"Name", "String", "Smith"},
}};

struct Settings {
  std::uint64_t runs = 10'000'000;
  std::uint64_t warmup = 0;  // 0: a tenth of the runs, at most 100000
  std::string part = "both";
  unsigned jobs = 0;         // 0: the command's default
  bool reset = false;
  bool every_call = false;
  std::string qorvintr = QORVINTR_SOAK_COMMAND;
  std::string corpus;  // a folder of *.cases, or empty: the eight everyday scripts
};

struct Memory {
  long rss_kb = -1;   // VmRSS
  long peak_kb = -1;  // VmHWM
  long threads = -1;  // Threads
  long fds = -1;      // entries of /proc/PID/fd
};

// pid 0: this process.
Memory ReadMemory(pid_t pid) {
  const std::string dir = pid == 0 ? std::string("/proc/self") : "/proc/" + std::to_string(pid);
  Memory m;
  std::ifstream in(dir + "/status");
  std::string line;
  while (std::getline(in, line)) {
    if (line.rfind("VmRSS:", 0) == 0) m.rss_kb = std::atol(line.c_str() + 6);
    if (line.rfind("VmHWM:", 0) == 0) m.peak_kb = std::atol(line.c_str() + 6);
    if (line.rfind("Threads:", 0) == 0) m.threads = std::atol(line.c_str() + 8);
  }
  std::error_code ec;
  long fds = 0;
  for (std::filesystem::directory_iterator it(dir + "/fd", ec), end; !ec && it != end; it.increment(ec)) ++fds;
  // Our own reading of /proc/self/fd holds one descriptor while it counts.
  if (!ec) m.fds = pid == 0 ? fds - 1 : fds;
  return m;
}

double Mb(long kb) { return static_cast<double>(kb) / 1024.0; }

// Readings after warm-up, at each quarter of the rest, and at the end.
class Checkpoints {
 public:
  Checkpoints(std::uint64_t warmup, std::uint64_t runs) : warmup_(warmup), runs_(runs) {
    for (int q = 1; q <= 3; ++q) at_.push_back(warmup + (runs - warmup) * static_cast<std::uint64_t>(q) / 4);
  }
  // Called with the count of scripts done so far.
  void Maybe(std::uint64_t done, pid_t pid) {
    if (done == warmup_ || std::find(at_.begin(), at_.end(), done) != at_.end()) {
      readings_.emplace_back(done, ReadMemory(pid));
    }
  }
  void End(std::uint64_t done, pid_t pid) { readings_.emplace_back(done, ReadMemory(pid)); }

  void Print() const {
    if (readings_.empty()) return;
    const Memory& first = readings_.front().second;
    for (const auto& [done, m] : readings_) {
      std::printf("  after %11llu scripts: resident %6.1f MB (%+.2f MB), open file descriptors "
                  "%ld (%+ld), threads %ld\n",
                  static_cast<unsigned long long>(done), Mb(m.rss_kb), Mb(m.rss_kb - first.rss_kb),
                  m.fds, m.fds - first.fds, m.threads);
    }
    std::printf("  peak resident set %.1f MB\n", Mb(readings_.back().second.peak_kb));
  }

 private:
  std::uint64_t warmup_;
  std::uint64_t runs_;
  std::vector<std::uint64_t> at_;
  std::vector<std::pair<std::uint64_t, Memory>> readings_;
};

double Seconds(std::chrono::steady_clock::time_point since) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - since).count();
}

// The answer as text: Name, DataType and the text of Data.
std::string Describe(const contract::DataFieldRef& field) {
  if (!field) return "Nothing";
  std::u16string text = field->Name();
  text += u'\t';
  text += field->DataType();
  text += u'\t';
  text += qorvintr::automation::CStr(field->Data());
  return qorvintr::automation::ToUtf8(text);
}

void AddField(components::DataFieldCollection& fields, const std::string& name,
              const std::string& type, const std::string& value) {
  const std::u16string key = qorvintr::automation::FromUtf8(name);
  if (fields.Fields().Contains(key)) return;
  const std::u16string t = qorvintr::automation::FromUtf8(type);
  try {
    fields.Add(key, qorvintr::scripts::FieldValue(type, Value::String(qorvintr::automation::FromUtf8(value))), t);
  } catch (const qorvintr::automation::AutomationError&) {
    // A case's field whose text does not convert: the case's own runner says so, not the soak.
  }
}

constexpr std::size_t kLongestCorpusScript = 4096;

void SoakLibrary(const Settings& s) {
  components::RegisterDefaultComponents();
  auto fields = std::make_shared<components::DataFieldCollection>();
  for (const FieldText& f : kFields) AddField(*fields, f.name, f.type, f.value);
  std::vector<std::u16string> scripts;
  std::size_t left_out = 0;
  if (s.corpus.empty()) {
    for (std::string_view script : kScripts) scripts.push_back(qorvintr::automation::FromUtf8(script));
  } else {
    for (const qorvintr::scripts::Case& c : qorvintr::scripts::ReadCorpus(s.corpus)) {
      if (!c.parse_error.empty()) continue;
      if (c.script.size() > kLongestCorpusScript) {
        ++left_out;
        continue;
      }
      scripts.push_back(qorvintr::automation::FromUtf8(c.script));
      for (const std::string& line : c.field_lines) {
        qorvintr::scripts::FieldLine f;
        std::string why;
        if (qorvintr::scripts::ParseFieldLine(line, f, why)) AddField(*fields, f.name, f.type, f.value);
      }
    }
  }
  auto errors = std::make_shared<components::ErrorRecorder>(
      s.every_call ? components::ErrorRecorder::kKeepEveryCall
                   : components::ErrorRecorder::kKeepByDefault);
  contract::DataFieldsRef f = fields;
  contract::HostErrorRef e = errors;
  std::u16string system = u"Upload", application = u"Soak";
  qorvintr::engine::Interpreter interpreter;
  interpreter.Init(f, e, system, application);
  const int host_fields = fields->Count();

  std::vector<std::string> expected;
  std::uint64_t differing = 0;
  Checkpoints checkpoints(s.warmup, s.runs);
  const auto started = std::chrono::steady_clock::now();
  for (std::uint64_t i = 0; i < s.runs; ++i) {
    std::u16string script = scripts[i % scripts.size()];
    contract::DataFieldRef result = interpreter.RealizeRegularExpression(script);
    if (s.reset) interpreter.ResetMemory();
    std::string answer = Describe(result);
    if (i < scripts.size()) {
      expected.push_back(std::move(answer));
    } else if (answer != expected[i % scripts.size()]) {
      ++differing;
    }
    checkpoints.Maybe(i + 1, 0);
  }
  const double seconds = Seconds(started);
  checkpoints.End(s.runs, 0);
  if (s.corpus.empty()) {
    std::printf("library: %llu scripts (%zu scripts in turn, %d failing), one interpreter, the "
                "stock collection and ErrorRecorder (keeps %s)%s\n",
                static_cast<unsigned long long>(s.runs), scripts.size(), kFailingScripts,
                s.every_call ? "every call" : "the last 100",
                s.reset ? ", ResetMemory after each script" : "");
  } else {
    std::printf("library: %llu scripts (the %zu scripts of %s/*.cases in turn, %zu longer than "
                "%zu characters left out, %d host fields), one interpreter, the stock collection "
                "and ErrorRecorder (keeps %s)%s\n",
                static_cast<unsigned long long>(s.runs), scripts.size(), s.corpus.c_str(),
                left_out, kLongestCorpusScript,
                host_fields, s.every_call ? "every call" : "the last 100",
                s.reset ? ", ResetMemory after each script" : ", no ResetMemory");
  }
  checkpoints.Print();
  std::printf("  errors counted %llu, calls kept %zu, fields in the collection %d, answers "
              "differing from the first round %llu, %.0f scripts per second\n",
              static_cast<unsigned long long>(errors->Count()), errors->Calls().size(),
              fields->Count(), static_cast<unsigned long long>(differing),
              seconds > 0 ? static_cast<double>(s.runs) / seconds : 0.0);
}

bool WriteAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t n = ::write(fd, data, size);
    if (n < 0) {
      if (errno == EINTR) continue;
      return false;
    }
    data += n;
    size -= static_cast<std::size_t>(n);
  }
  return true;
}

int SoakCommand(const Settings& s) {
  std::vector<std::string> argv{s.qorvintr, "batch"};
  if (s.jobs > 0) {
    argv.push_back("--jobs");
    argv.push_back(std::to_string(s.jobs));
  }
  for (const FieldText& f : kFields) {
    argv.push_back("--field");
    argv.push_back(std::string(f.name) + ":" + f.type + "=" + f.value);
  }
  int to_child[2];
  int from_child[2];
  if (::pipe(to_child) != 0 || ::pipe(from_child) != 0) {
    std::perror("pipe");
    return 1;
  }
  const pid_t pid = ::fork();
  if (pid < 0) {
    std::perror("fork");
    return 1;
  }
  if (pid == 0) {
    ::dup2(to_child[0], 0);
    ::dup2(from_child[1], 1);
    const int null = ::open("/dev/null", O_WRONLY);
    if (null >= 0) ::dup2(null, 2);
    ::close(to_child[0]);
    ::close(to_child[1]);
    ::close(from_child[0]);
    ::close(from_child[1]);
    std::vector<char*> args;
    for (std::string& a : argv) args.push_back(a.data());
    args.push_back(nullptr);
    ::execv(args[0], args.data());
    ::_exit(127);
  }
  ::close(to_child[0]);
  ::close(from_child[1]);
  ::signal(SIGPIPE, SIG_IGN);

  // The lines go in from a thread of their own; the input stays open until every answer has
  // come back and the resident set is read.
  const std::uint64_t runs = s.runs;
  std::thread feeder([fd = to_child[1], runs] {
    std::string block;
    constexpr std::uint64_t kRounds = 512;
    for (std::uint64_t r = 0; r < kRounds; ++r) {
      for (std::string_view script : kScripts) {
        block += script;
        block += '\n';
      }
    }
    const std::uint64_t per_block = kRounds * kScripts.size();
    std::uint64_t sent = 0;
    while (sent < runs) {
      if (runs - sent >= per_block) {
        if (!WriteAll(fd, block.data(), block.size())) return;
        sent += per_block;
      } else {
        std::string rest;
        for (; sent < runs; ++sent) {
          rest += kScripts[sent % kScripts.size()];
          rest += '\n';
        }
        if (!WriteAll(fd, rest.data(), rest.size())) return;
      }
    }
  });

  std::vector<std::string> expected;
  std::uint64_t answered = 0, differing = 0;
  Checkpoints checkpoints(s.warmup, runs);
  std::string partial;
  std::vector<char> buffer(1 << 16);
  const auto started = std::chrono::steady_clock::now();
  while (answered < runs) {
    const ssize_t n = ::read(from_child[0], buffer.data(), buffer.size());
    if (n < 0 && errno == EINTR) continue;
    if (n <= 0) break;
    std::size_t from = 0;
    for (std::size_t i = 0; i < static_cast<std::size_t>(n); ++i) {
      if (buffer[i] != '\n') continue;
      partial.append(buffer.data() + from, i - from);
      from = i + 1;
      const std::size_t k = answered % kScripts.size();
      if (answered < kScripts.size()) {
        expected.push_back(partial);
      } else if (partial != expected[k]) {
        ++differing;
      }
      partial.clear();
      ++answered;
      checkpoints.Maybe(answered, pid);
    }
    partial.append(buffer.data() + from, static_cast<std::size_t>(n) - from);
  }
  const double seconds = Seconds(started);
  checkpoints.End(answered, pid);
  feeder.join();
  ::close(to_child[1]);
  int wait_status = 0;
  ::waitpid(pid, &wait_status, 0);
  ::close(from_child[0]);

  std::printf("command: %llu lines through a pipe into 'qorvintr batch%s%s' (%zu --field "
              "options)\n",
              static_cast<unsigned long long>(runs), s.jobs > 0 ? " --jobs " : "",
              s.jobs > 0 ? std::to_string(s.jobs).c_str() : "", kFields.size());
  checkpoints.Print();
  std::printf("  answers %llu, differing from the first round %llu, exit status %d, %.0f scripts "
              "per second\n",
              static_cast<unsigned long long>(answered), static_cast<unsigned long long>(differing),
              WIFEXITED(wait_status) ? WEXITSTATUS(wait_status) : -1,
              seconds > 0 ? static_cast<double>(answered) / seconds : 0.0);
  return answered == runs && differing == 0 ? 0 : 1;
}

int Usage() {
  std::fprintf(stderr,
               "usage: qorvintr_soak [--runs N] [--warmup N] [--part library|command|both] "
               "[--jobs N] [--reset] [--every-call] [--corpus DIR] [--qorvintr PATH]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  Settings s;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    auto value = [&]() -> const char* { return i + 1 < argc ? argv[++i] : nullptr; };
    if (arg == "--runs" || arg == "--warmup" || arg == "--jobs") {
      const char* v = value();
      if (v == nullptr) return Usage();
      const unsigned long long n = std::strtoull(v, nullptr, 10);
      if (arg == "--runs") s.runs = n;
      if (arg == "--warmup") s.warmup = n;
      if (arg == "--jobs") s.jobs = static_cast<unsigned>(n);
    } else if (arg == "--part") {
      const char* v = value();
      if (v == nullptr) return Usage();
      s.part = v;
    } else if (arg == "--corpus") {
      const char* v = value();
      if (v == nullptr) return Usage();
      s.corpus = v;
    } else if (arg == "--qorvintr") {
      const char* v = value();
      if (v == nullptr) return Usage();
      s.qorvintr = v;
    } else if (arg == "--reset") {
      s.reset = true;
    } else if (arg == "--every-call") {
      s.every_call = true;
    } else {
      return Usage();
    }
  }
  if (s.part != "library" && s.part != "command" && s.part != "both") return Usage();
  if (s.runs < 16) s.runs = 16;
  if (s.warmup == 0 || s.warmup > s.runs) s.warmup = std::min<std::uint64_t>(100'000, s.runs / 10);
  if (s.warmup < kScripts.size()) s.warmup = kScripts.size();
  int status = 0;
  if (s.part != "command") SoakLibrary(s);
  std::fflush(stdout);
  if (s.part != "library") status = SoakCommand(s);
  return status;
}
