#include "support/debug_log.h"

#include <limits>
#include <new>
#include <utility>

#include "qorvintr/convert.h"
#include "automation/datetime.h"
#include "qorvintr/error.h"
#include "automation/text.h"
#include "qorvintr/value.h"
#include "qorvintr/contract/creation.h"
#include "support/error_trap.h"
#include "support/profile.h"
#include "support/thread_object.h"

namespace qorvintr::support::modDebugLog {

namespace {

using automation::Value;

struct ModuleState {
  DebugLogSettings settings;
  contract::LogWriterRef log;
  std::u16string ini_file;
};

// The thread's state; null once it is gone (an interpreter that outlives it, such as a host's
// static object torn down at exit after the thread's own state, must not touch it any more) or
// when none can be had.
ModuleState* State() noexcept { return ThreadObject<ModuleState>::Get(); }

// The platform's private-profile read into a buffer of 128 characters, blanks trimmed.
std::u16string ReadSetting(const ModuleState& m, std::u16string_view key) {
  return automation::Trim(ReadProfileString(kIniSection, key, u"", m.ini_file, 128));
}

}  // namespace

void SetIniFileName(std::u16string file_name) {
  if (ModuleState* m = State()) m->ini_file = std::move(file_name);
}

const std::u16string& IniFileName() noexcept {
  static const std::u16string kNone;
  const ModuleState* m = State();
  return m ? m->ini_file : kNone;
}

const DebugLogSettings& Settings() noexcept {
  static const DebugLogSettings kOff;
  const ModuleState* m = State();
  return m ? m->settings : kOff;
}

bool IsDebugLogEnabled() noexcept {
  const ModuleState* m = State();
  return m && m->settings.enabled;
}

contract::LogWriterRef LogObject() noexcept {
  const ModuleState* m = State();
  return m ? m->log : nullptr;
}

bool ReadDebugLogSettings() {
  ModuleState* state = State();
  if (state == nullptr || state->ini_file.empty()) return false;
  ModuleState& m = *state;

  m.settings.log_path = ReadSetting(m, u"DebugLogPath");

  std::u16string size = ReadSetting(m, u"LogSize");
  Value size_value = Value::String(std::move(size));
  if (automation::IsNumeric(size_value)) {
    std::int64_t bytes = std::int64_t{automation::CLng(size_value)} * kDefaultLogSize;
    if (bytes > std::numeric_limits<std::int32_t>::max() ||
        bytes < std::numeric_limits<std::int32_t>::min()) {
      // Kept: a LogSize of 2048 or more raises 6 and leaves the keys after it unread (tests/support_debug_log_test.cpp: LogSize2047StillFitsAnd2048RaisesOverflow)
      automation::Raise(automation::err::Overflow);
    }
    m.settings.log_size = static_cast<std::int32_t>(bytes);
  } else {
    m.settings.log_size = kDefaultLogSize;
  }

  Value logs_value = Value::String(ReadSetting(m, u"NumLogs"));
  m.settings.number_of_logs =
      automation::IsNumeric(logs_value) ? automation::CLng(logs_value) : kDefaultNumLogs;

  std::u16string separator = ReadSetting(m, u"Separator");
  m.settings.separator =
      separator.empty() ? std::u16string(kDefaultSeparator) : std::move(separator);

  // Kept: the switch is on only for "True" exactly, case included (tests/support_debug_log_test.cpp: WriteDebugLogSetToLowerCaseTrueLeavesLoggingOff)
  m.settings.enabled = ReadSetting(m, u"WriteDebugLog") == u"True";
  return true;
}

std::int32_t InitDebugLog(std::u16string& start_message) noexcept {
  // The log's own trap: it reports to no one, and a log that cannot write even the trap text
  // leaves the answer 0 all the same.
  return RunTrapped<OnHandlerError::kDrop, std::int32_t>(
      0,
      [&]() -> std::int32_t {
        ModuleState* state = State();
        if (state == nullptr) return -1;
        ModuleState& m = *state;
        if (!m.settings.enabled) ReadDebugLogSettings();
        if (!m.settings.enabled) return -1;

        m.log = contract::CreateObjectAs<contract::LogWriter>(contract::kLogProgId);
        // The log object sees the module's own variables by reference.
        std::int16_t number_of_logs =
            automation::CInt(Value::Long(m.settings.number_of_logs));
        (void)automation::CLng(m.log->Init(u"OrUpDebg", u"Log", m.settings.log_path,
                                           number_of_logs, m.settings.log_size, true,
                                           m.settings.separator, u"Debug Log"));
        if (automation::TrimView(start_message).empty()) {
          start_message = u"Debug Log Initialized";
        }
        return WriteDebugLog(automation::TrimView(start_message)) != 0 ? -3 : 0;
      },
      [](const TrappedError& e) {
        // With no log object every later entry would raise 91 into the trap that writes it and
        // change what the script answers; the log stays off until the next Init tries again.
        // (The trap text below had nowhere to go either way.)
        // Departure: a log object that could not be created leaves logging off (tests/support_debug_log_test.cpp: DebugLog.FailureToCreateTheLogObjectIsTrappedAndLeavesLoggingOff)
        if (ModuleState* m = State(); m && !m->log) m->settings.enabled = false;
        LogErrorTrap(u"modDebugLog", u"InitDebugLog", e);
      });
}

std::int32_t WriteDebugLog(std::u16string_view message) {
  ModuleState* state = State();
  if (state == nullptr || !state->settings.enabled) return 0;
  ModuleState& m = *state;
  std::u16string entry;
  std::u16string when = automation::DateToText(automation::Now());
  entry.reserve(when.size() + message.size() + 4);
  entry += u"\r\n";
  entry += when;
  entry += u"\r\n";
  entry += message;
  // Hold our own reference: the log object may be released while it writes.
  contract::LogWriterRef log = m.log;
  if (!log) automation::Raise(automation::err::ObjectVariableNotSet);
  return automation::CLng(log->WriteLogMsg(entry));
}

void ReleaseDebugLog() noexcept {
  if (ModuleState* m = State()) m->log.reset();
}

void ResetDebugLog() noexcept {
  ModuleState* m = State();
  if (m == nullptr) return;
  m->log.reset();
  DebugLogSettings& s = m->settings;
  s.enabled = false;
  s.log_path.clear();
  s.log_size = kDefaultLogSize;
  s.number_of_logs = kDefaultNumLogs;
  try {
    s.separator.assign(kDefaultSeparator);
  } catch (const std::bad_alloc&) {
    s.separator.clear();  // a reset must not fail: no separator then
  }
}

}  // namespace qorvintr::support::modDebugLog
