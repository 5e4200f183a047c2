#pragma once
// modDebugLog: the optional trace of the interpreter, switched on and configured in section
// "Upload" of the host's INI file and written through the logging component "QorvLog.Log".
//
// The settings, the log object and the INI file name are module state kept once per thread
// (the host's apartment); nothing is locked.

#include <cstdint>
#include <string>
#include <string_view>

#include "qorvintr/contract/log_writer.h"

namespace qorvintr::support::modDebugLog {

inline constexpr std::int32_t kDefaultLogSize = 1048576;  // bytes: one megabyte
inline constexpr std::int32_t kDefaultNumLogs = 3;
inline constexpr std::u16string_view kDefaultSeparator = u"<END OF ENTRY>";
inline constexpr std::u16string_view kIniSection = u"Upload";

struct DebugLogSettings {
  bool enabled = false;  // the debug-log switch
  std::u16string log_path;
  std::int32_t log_size = kDefaultLogSize;
  std::int32_t number_of_logs = kDefaultNumLogs;
  std::u16string separator = std::u16string(kDefaultSeparator);
};

// The INI file the settings come from (the interpreter's OrlinaIniFilename sets it).
void SetIniFileName(std::u16string file_name);
const std::u16string& IniFileName() noexcept;

const DebugLogSettings& Settings() noexcept;
bool IsDebugLogEnabled() noexcept;
// The log object InitDebugLog created, if any.
contract::LogWriterRef LogObject() noexcept;

// Reads DebugLogPath, LogSize, NumLogs, Separator and WriteDebugLog, in that order, applying
// each as it is read. False (nothing changed) when no INI file name is set. A LogSize of 2048
// megabytes or more does not fit 32 bits and raises 6 "Overflow" (so does a NumLogs beyond 32
// bits); the keys after it are then left as they were. LogSize and NumLogs that are not numeric
// give their defaults. No error trap: errors reach the caller.
bool ReadDebugLogSettings();

// Opens the log when the switch is (or, after reading the settings, becomes) on, and writes the
// start message (an empty one is first replaced, in the caller's variable, by
// "Debug Log Initialized"). Answers 0 when written, -1 when logging is off, -3 when the first
// entry could not be written. Runs under its own error trap: a failure to create or initialise
// the log object is written to the log as "modDebugLog - InitDebugLog - Error Trap" (when it can
// be) and answers 0; when no log object could be created, logging is off until the next call.
std::int32_t InitDebugLog(std::u16string& start_message) noexcept;

// Writes one entry: CR LF, the current date and time (general date text), CR LF, the message.
// Answers the log object's answer, or 0 (calling nothing) when logging is off. No error trap:
// with logging on and no log object it raises 91.
std::int32_t WriteDebugLog(std::u16string_view message);

// Teardown: releases the log object (the next InitDebugLog creates a new one).
void ReleaseDebugLog() noexcept;
// Forgets the settings read (logging off, defaults back) and releases the log object; the INI
// file name stays. For hosts that reload their configuration, and for tests.
void ResetDebugLog() noexcept;

}  // namespace qorvintr::support::modDebugLog
