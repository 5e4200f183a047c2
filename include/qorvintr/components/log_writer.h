#pragma once
// The stock logging component ("QorvLog.Log"): entries appended to a file, rotated over a fixed
// number of files by size.
//
// Files. Init's path names a folder, or a file in an existing folder:
//   - a folder: the current file is "<application key>.<kind>" in it ("OrUpDebg.Log" for the
//     debug log), the older ones "<application key>.1.<kind>" (the newest) up to
//     "<application key>.<n-1>.<kind>" (the oldest);
//   - a file: the current file is that file, the older ones "<stem>.1<extension>" and so on.
// At most n files exist (n = the number of logs; 0 or less counts as 1). When the next entry
// would take the current file past the size limit (in bytes; 0 or less means no limit), the files
// move up one place, the oldest is deleted, and a new current file starts; an entry larger than
// the limit still goes whole into a file of its own.
// Content. A new file begins with the title and CR LF. Each entry is written as given, then
// CR LF, the separator and CR LF, in UTF-8, and flushed at once.
// Flag. True appends to an existing current file; False moves it to the older files first.
// Answers. 0 when done; 76 "Path not found" when the folder is missing, 75 "Path/File access
// error" when a file cannot be opened, 57 "Device I/O error" when a write fails, 52 "Bad file
// name or number" when writing before a successful Init.

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>

#include "qorvintr/value.h"
#include "qorvintr/contract/log_writer.h"

namespace qorvintr::components {

class RotatingLogWriter : public contract::LogWriter {
 public:
  RotatingLogWriter() = default;
  RotatingLogWriter(const RotatingLogWriter&) = delete;
  RotatingLogWriter& operator=(const RotatingLogWriter&) = delete;
  ~RotatingLogWriter() override;

  automation::Value Init(std::u16string_view application_key, std::u16string_view kind,
                         std::u16string& path, std::int16_t number_of_logs,
                         std::int32_t& log_size, bool flag, std::u16string& separator,
                         std::u16string_view title) override;
  automation::Value WriteLogMsg(std::u16string_view text) override;

  // The file the next entry goes to (empty before a successful Init), and the older file of
  // place k (1 = the newest older file).
  std::filesystem::path CurrentFile() const { return current_; }
  std::filesystem::path OlderFile(int place) const;

 private:
  void Close() noexcept;
  bool OpenCurrent(bool truncate);
  bool Rotate();

  std::FILE* file_ = nullptr;
  std::filesystem::path folder_;
  std::filesystem::path current_;
  std::u16string stem_;
  std::u16string extension_;
  std::string separator_;  // UTF-8
  std::string title_;      // UTF-8
  std::int64_t limit_ = 0;
  int keep_ = 1;
  std::int64_t size_ = 0;   // bytes in the current file
  bool has_entries_ = false;
};

}  // namespace qorvintr::components
