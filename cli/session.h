#pragma once
// One host: the data fields, the error object, the debug log's settings and one interpreter,
// set up from the command's options; scripts run one after the other in it.

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "cli/options.h"
#include "cli/paths.h"
#include "qorvintr/components/field_collection.h"
#include "qorvintr/contract/data_field.h"
#include "qorvintr/contract/host_error.h"
#include "interpreter/interpreter.h"

namespace qorvintr::cli {

// The host's error object of the command: prints each ReportError call on standard error when
// asked to (or adds it to a text the caller writes later), counts the calls, and answers 0 (the
// error is cleared).
class PrintingErrorObject : public contract::HostError {
 public:
  explicit PrintingErrorObject(bool print) : print_(print) {}
  automation::Value ReportError(const automation::Value& code, const automation::Value& text,
                                const automation::Value& when, const automation::Value& arg4,
                                const automation::Value& arg5, const automation::Value& arg6,
                                automation::Value& system, automation::Value& application,
                                const automation::Value& release, automation::Value& module,
                                const automation::Value& procedure) override;
  std::uint64_t calls() const noexcept { return calls_; }
  // The printed lines go to the end of *sink instead of standard error (none: standard error).
  void PrintInto(std::u16string* sink) noexcept { sink_ = sink; }

 private:
  bool print_;
  std::u16string* sink_ = nullptr;
  std::uint64_t calls_ = 0;
};

// The line --errors prints for one call: "ReportError: " and the eleven arguments as text,
// joined by " | " (an omitted argument as the empty text).
std::u16string ReportErrorLine(const std::array<automation::Value, 11>& arguments);

// --now: the clock reads the given time while this object lives. The clock is the process's,
// so one object serves every session of a command, whatever thread runs them.
class FixedClock {
 public:
  explicit FixedClock(std::optional<double> now);
  ~FixedClock();
  FixedClock(const FixedClock&) = delete;
  FixedClock& operator=(const FixedClock&) = delete;

 private:
  bool fixed_ = false;
};

class Session {
 public:
  // Throws UsageError (an unreadable INI file, a temporary INI that cannot be written).
  explicit Session(const Options& options);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Runs one script; the data field of its value, or none.
  contract::DataFieldRef Run(std::u16string script);
  // The same, then the interpreter's memory is reset (ResetMemory): the next script is answered
  // as by a fresh interpreter, whatever ran before it, and the names of temporaries that a
  // failing script left taken are free again (else, after 32767 of them, every script would
  // fail). The reset costs about 6% of a short script.
  contract::DataFieldRef RunAlone(std::u16string script);
  // Who watches the runs step by step (none: nobody).
  void Listen(engine::RunListener* listener) noexcept { interpreter_->SetListener(listener); }
  // --errors lines go to the end of *sink instead of standard error.
  void PrintErrorsInto(std::u16string* sink) noexcept { errors_->PrintInto(sink); }

  std::uint64_t reported_errors() const noexcept { return errors_->calls(); }
  std::int32_t field_count() const noexcept { return fields_->Count(); }

 private:
  std::optional<TemporaryFile> generated_ini_;
  std::shared_ptr<components::DataFieldCollection> fields_;
  std::shared_ptr<PrintingErrorObject> errors_;
  std::unique_ptr<engine::Interpreter> interpreter_;
};

// The result line of eval and batch: Name TAB DataType TAB Data (escaped to one line), or the
// word Nothing.
std::u16string ResultLine(const contract::DataFieldRef& field);

}  // namespace qorvintr::cli
