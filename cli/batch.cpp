// qorvintr batch: one script per line in, one answer per line out, as the lines arrive.
//
// One job reads a line, answers it and goes on. With --jobs N, N threads answer (each with its
// own session: interpreter, collection, error object and per-thread module state) while this
// thread reads; the answers are written in the order of the lines, and at most a window of lines
// is read ahead of the last answer written, so memory stays the same however long the input.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#ifdef _WIN32
#include <io.h>
#endif

#include "automation/text.h"
#include "cli/commands.h"
#include "cli/options.h"
#include "cli/session.h"
#include "cli/text_io.h"
#include "support/thread_signal.h"

namespace qorvintr::cli {

namespace {

// Lines per job that may be read ahead of the last answer written.
constexpr std::size_t kWindowPerJob = 64;
// The output buffer when nobody waits for each line (a file).
constexpr std::size_t kFileBuffer = std::size_t{1} << 16;

std::string AnswerLine(const contract::DataFieldRef& field) {
  std::u16string line = ResultLine(field);
  line += u'\n';
  return automation::ToUtf8(line);
}

// Standard output: flushed after every answer when someone may be waiting for it (a pipe, a
// terminal), buffered when it goes to a file.
class AnswerOutput {
 public:
  AnswerOutput() : flush_each_(IsPipeOrTerminal(stdout)) {
    if (!flush_each_) std::setvbuf(stdout, nullptr, _IOFBF, kFileBuffer);
#ifdef _WIN32
    // The Windows C runtime leaves a console (and NUL, which it takes for one) unbuffered and
    // writes it a character at a time: 16 writes for "Autodf3<TAB>Long<TAB>42", ~9 us a line
    // under Wine. Buffered, with each answer flushed as it is written, the same bytes go out in
    // the same order, one write per answer.
    if (flush_each_ && _isatty(_fileno(stdout))) {
      std::setvbuf(stdout, nullptr, _IOFBF, kFileBuffer);
      flush_answer_ = true;
    }
#endif
  }
  // The --errors lines of one script (already printed by a single job), then its answer.
  void Write(std::string_view errors, std::string_view answer) {
    if (!errors.empty()) WriteErr(errors);
    std::fwrite(answer.data(), 1, answer.size(), stdout);
    if (flush_answer_) std::fflush(stdout);
  }
  // After one answer, or after a run of answers written together.
  void Done() {
    if (flush_each_) std::fflush(stdout);
  }

 private:
  bool flush_each_;
  bool flush_answer_ = false;  // after every answer, as the unbuffered stream did
};

std::uint64_t RunOneJob(const Options& options, LineReader& reader, AnswerOutput& output,
                        std::chrono::steady_clock::time_point& started) {
  Session session(options);
  started = std::chrono::steady_clock::now();
  std::uint64_t lines = 0;
  for (std::u16string line; reader.Next(line); ++lines) {
    output.Write({}, AnswerLine(session.RunAlone(Unescape(line))));
    output.Done();
  }
  return lines;
}

// Several jobs over one window of lines, answered in order.
class OrderedJobs {
 public:
  OrderedJobs(const Options& options, unsigned jobs, AnswerOutput& output)
      : options_(options), jobs_(jobs), output_(output), slots_(kWindowPerJob * jobs) {}

  // Answers every line of the reader; the number of lines. started: when every job was ready.
  std::uint64_t Run(LineReader& reader, std::chrono::steady_clock::time_point& started);

 private:
  struct Slot {
    std::u16string script;
    std::string errors;  // the --errors lines of the script, UTF-8
    std::string answer;  // UTF-8, with its line feed
    bool done = false;
  };

  void Work();
  void Fail(std::exception_ptr error);
  void WriteReady(std::unique_lock<support::Mutex>& lock);
  Slot& SlotOf(std::uint64_t line) { return slots_[line % slots_.size()]; }

  const Options& options_;
  const unsigned jobs_;
  AnswerOutput& output_;
  std::vector<Slot> slots_;

  support::Mutex mutex_;
  support::ConditionVariable work_ready_;   // a line to answer, the end, or a failure
  support::ConditionVariable room_ready_;   // a slot of the window is free again
  support::ConditionVariable jobs_ready_;   // every job has its session (or one failed)
  unsigned starting_ = 0;                // jobs still making their session
  std::uint64_t read_ = 0;               // lines put in the window
  std::uint64_t taken_ = 0;              // lines a job took
  std::uint64_t written_ = 0;            // answers handed to the output
  bool end_of_input_ = false;
  bool writing_ = false;                 // a job is writing answers
  std::exception_ptr failure_;
};

void OrderedJobs::Fail(std::exception_ptr error) {
  {
    std::lock_guard<support::Mutex> lock(mutex_);
    if (!failure_) failure_ = std::move(error);
  }
  work_ready_.notify_all();
  room_ready_.notify_all();
  jobs_ready_.notify_all();
}

// Hands the answers that are next in line to the output, outside the lock; one job at a time
// writes, and it goes on while answers are ready, so none is left behind.
void OrderedJobs::WriteReady(std::unique_lock<support::Mutex>& lock) {
  writing_ = true;
  std::vector<Slot> ready;
  for (;;) {
    while (written_ < taken_ && SlotOf(written_).done) {
      Slot& slot = SlotOf(written_);
      ready.push_back(std::move(slot));
      slot = Slot{};
      ++written_;
    }
    if (ready.empty()) break;
    room_ready_.notify_one();
    lock.unlock();
    for (const Slot& slot : ready) output_.Write(slot.errors, slot.answer);
    output_.Done();
    ready.clear();
    lock.lock();
  }
  writing_ = false;
}

void OrderedJobs::Work() {
  // The session lives and dies on this thread: the interpreter's module state is per thread.
  std::unique_ptr<Session> session;
  std::u16string errors;
  try {
    session = std::make_unique<Session>(options_);
    session->PrintErrorsInto(&errors);
  } catch (...) {
    // A usage error (or no memory) while making the session: the command ends with it.
    Fail(std::current_exception());
  }
  {
    std::lock_guard<support::Mutex> lock(mutex_);
    --starting_;
  }
  jobs_ready_.notify_all();
  if (!session) return;

  for (;;) {
    std::uint64_t line = 0;
    std::u16string script;
    {
      std::unique_lock<support::Mutex> lock(mutex_);
      work_ready_.wait(lock, [&] { return failure_ || taken_ < read_ || end_of_input_; });
      if (failure_ || taken_ == read_) return;
      line = taken_++;
      script = std::move(SlotOf(line).script);
    }
    std::string answer, error_lines;
    try {
      errors.clear();
      answer = AnswerLine(session->RunAlone(Unescape(script)));
      error_lines = automation::ToUtf8(errors);
    } catch (...) {
      // The interpreter lets nothing escape; this is the command's own failure (no memory).
      Fail(std::current_exception());
      return;
    }
    std::unique_lock<support::Mutex> lock(mutex_);
    Slot& slot = SlotOf(line);
    slot.answer = std::move(answer);
    slot.errors = std::move(error_lines);
    slot.done = true;
    if (!writing_) WriteReady(lock);
  }
}

std::uint64_t OrderedJobs::Run(LineReader& reader,
                               std::chrono::steady_clock::time_point& started) {
  std::vector<std::thread> threads;
  threads.reserve(jobs_);
  try {
    for (unsigned i = 0; i < jobs_; ++i) {
      {
        std::lock_guard<support::Mutex> lock(mutex_);
        ++starting_;
      }
      threads.emplace_back([this] { Work(); });
    }
    bool failed = false;
    {
      std::unique_lock<support::Mutex> lock(mutex_);
      jobs_ready_.wait(lock, [&] { return starting_ == 0 || failure_; });
      failed = static_cast<bool>(failure_);
    }
    started = std::chrono::steady_clock::now();
    std::u16string line;
    while (!failed && reader.Next(line)) {
      std::unique_lock<support::Mutex> lock(mutex_);
      room_ready_.wait(lock, [&] { return failure_ || read_ - written_ < slots_.size(); });
      if (failure_) break;
      SlotOf(read_).script = std::move(line);
      ++read_;
      lock.unlock();
      work_ready_.notify_one();
    }
  } catch (...) {
    // A thread that could not start or a failing read: the jobs are stopped and joined before
    // the error goes on.
    Fail(std::current_exception());
  }
  {
    std::lock_guard<support::Mutex> lock(mutex_);
    end_of_input_ = true;
  }
  work_ready_.notify_all();
  for (std::thread& t : threads) t.join();
  if (failure_) std::rethrow_exception(failure_);
  return read_;
}

unsigned JobCount(const Options& options) {
  // The debug log (its files, or standard error) belongs to one interpreter.
  const bool debug_log = options.ini.has_value() || options.log_stderr;
  if (options.jobs) {
    if (*options.jobs > 1 && debug_log) {
      throw UsageError(
          "batch: the debug log (--ini, --log-stderr) is written by one interpreter; "
          "use --jobs 1");
    }
    return *options.jobs;
  }
  if (debug_log) return 1;
  const unsigned cores = std::thread::hardware_concurrency();
  return cores == 0 ? 1 : (cores > kMaxJobs ? kMaxJobs : cores);
}

}  // namespace

int BatchCommand(const std::vector<std::string>& args) {
  const Options options = ParseOptions(args, CommandName::kBatch);
  if (options.operands.size() > 1) {
    throw UsageError("batch: one FILE only; got '" + options.operands[1] + "' too");
  }
  const unsigned jobs = JobCount(options);
  std::unique_ptr<LineReader> reader;
  if (options.operands.empty() || options.operands[0] == "-") {
    reader = std::make_unique<LineReader>();
  } else {
    reader = std::make_unique<LineReader>(options.operands[0], "batch file");
  }
  FixedClock clock(options.now);
  AnswerOutput output;
  auto started = std::chrono::steady_clock::now();
  std::uint64_t lines = 0;
  if (jobs == 1) {
    lines = RunOneJob(options, *reader, output, started);
  } else {
    OrderedJobs ordered(options, jobs, output);
    lines = ordered.Run(*reader, started);
  }
  std::fflush(stdout);
  if (options.stats) {
    const double seconds =
        std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    char text[160];
    std::snprintf(text, sizeof text,
                  "qorvintr batch: %llu scripts in %.3f s, %.0f scripts per second, %u job%s\n",
                  static_cast<unsigned long long>(lines), seconds,
                  seconds > 0 ? static_cast<double>(lines) / seconds : 0.0, jobs,
                  jobs == 1 ? "" : "s");
    WriteErr(std::string_view(text));
  }
  return 0;
}

}  // namespace qorvintr::cli
