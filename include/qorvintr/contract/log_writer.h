#pragma once
// The logging component ("QorvLog.Log") that the debug log writes through.

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "qorvintr/error.h"
#include "qorvintr/value.h"

namespace qorvintr::contract {

class LogWriter : public automation::Object {
 public:
  // Opens the log. The debug log passes: application key "OrUpDebg", kind "Log", the log path
  // (by reference), the number of files to keep, the size limit of one file in bytes (by
  // reference), True, the entry separator (by reference) and the title "Debug Log".
  // The answer is a number (0 for success); the debug log reads it as a 32-bit integer.
  virtual automation::Value Init(std::u16string_view application_key, std::u16string_view kind,
                                 std::u16string& path, std::int16_t number_of_logs,
                                 std::int32_t& log_size, bool flag, std::u16string& separator,
                                 std::u16string_view title) = 0;
  // Writes one whole entry. The answer is a number (0 when written), read as a 32-bit integer.
  virtual automation::Value WriteLogMsg(std::u16string_view text) = 0;

  automation::Value DefaultValue() override {
    automation::Raise(automation::err::MemberNotSupported);
  }
  std::u16string ClassName() const override { return u"Log"; }
};
using LogWriterRef = std::shared_ptr<LogWriter>;

}  // namespace qorvintr::contract
