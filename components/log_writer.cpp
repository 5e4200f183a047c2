#include "components/log_writer.h"

#include <string>
#include <system_error>

#include "automation/text.h"

namespace qorvintr::components {

namespace {

constexpr std::int32_t kBadFileNameOrNumber = 52;
constexpr std::int32_t kDeviceIoError = 57;
constexpr std::int32_t kPathFileAccessError = 75;
constexpr std::int32_t kPathNotFound = 76;

std::FILE* OpenFile(const std::filesystem::path& path, bool truncate) {
#ifdef _WIN32
  return ::_wfopen(path.c_str(), truncate ? L"wb" : L"ab");
#else
  return std::fopen(path.c_str(), truncate ? "wb" : "ab");
#endif
}

automation::Value Answer(std::int32_t code) { return automation::Value::Long(code); }

}  // namespace

RotatingLogWriter::~RotatingLogWriter() { Close(); }

void RotatingLogWriter::Close() noexcept {
  if (file_ != nullptr) {
    std::fclose(file_);
    file_ = nullptr;
  }
}

std::filesystem::path RotatingLogWriter::OlderFile(int place) const {
  std::u16string name = stem_;
  name += u'.';
  std::string digits = std::to_string(place);
  name.append(digits.begin(), digits.end());
  name += extension_;
  return folder_ / std::filesystem::path(name);
}

bool RotatingLogWriter::OpenCurrent(bool truncate) {
  Close();
  file_ = OpenFile(current_, truncate);
  if (file_ == nullptr) return false;
  if (std::fseek(file_, 0, SEEK_END) != 0) return false;
  long at = std::ftell(file_);
  size_ = at > 0 ? at : 0;
  has_entries_ = false;
  if (size_ == 0 && !title_.empty()) {
    std::string header = title_ + "\r\n";
    if (std::fwrite(header.data(), 1, header.size(), file_) != header.size() ||
        std::fflush(file_) != 0) {
      return false;
    }
    size_ = static_cast<std::int64_t>(header.size());
  } else if (size_ > 0) {
    has_entries_ = true;  // an existing file we append to
  }
  return true;
}

bool RotatingLogWriter::Rotate() {
  Close();
  std::error_code ec;
  if (keep_ > 1) {
    std::filesystem::remove(OlderFile(keep_ - 1), ec);
    for (int place = keep_ - 2; place >= 1; --place) {
      std::filesystem::path from = OlderFile(place);
      if (std::filesystem::exists(from, ec)) std::filesystem::rename(from, OlderFile(place + 1), ec);
    }
    std::filesystem::rename(current_, OlderFile(1), ec);
  }
  // With a single file (or a failed rename) the current file starts over.
  return OpenCurrent(true);
}

automation::Value RotatingLogWriter::Init(std::u16string_view application_key,
                                          std::u16string_view kind, std::u16string& path,
                                          std::int16_t number_of_logs, std::int32_t& log_size,
                                          bool flag, std::u16string& separator,
                                          std::u16string_view title) {
  Close();
  current_.clear();
  try {
    separator_ = automation::ToUtf8(separator);
    title_ = automation::ToUtf8(title);
    limit_ = log_size;
    keep_ = number_of_logs > 0 ? number_of_logs : 1;

    if (path.empty()) return Answer(kPathNotFound);
    std::error_code ec;
    std::filesystem::path given{path};
    if (std::filesystem::is_directory(given, ec)) {
      folder_ = given;
      stem_ = std::u16string(application_key);
      std::u16string_view ext = kind.empty() ? std::u16string_view(u"log") : kind;
      extension_.assign(1, u'.');
      extension_.append(ext);
    } else {
      folder_ = given.parent_path();
      std::filesystem::path folder = folder_.empty() ? std::filesystem::path(".") : folder_;
      if (!given.has_filename() || !std::filesystem::is_directory(folder, ec)) {
        return Answer(kPathNotFound);
      }
      stem_ = given.stem().u16string();
      extension_ = given.extension().u16string();
    }
    current_ = folder_ / std::filesystem::path(stem_ + extension_);
    if (std::filesystem::is_directory(current_, ec)) {
      current_.clear();
      return Answer(kPathFileAccessError);
    }

    if (!flag && std::filesystem::file_size(current_, ec) > 0 && !ec) {
      if (!Rotate()) {
        Close();
        return Answer(kPathFileAccessError);
      }
      return Answer(0);
    }
    if (!OpenCurrent(false)) {
      Close();
      return Answer(kPathFileAccessError);
    }
    return Answer(0);
  } catch (...) {
    // A path the file system cannot represent, or no memory: the log cannot be written.
    Close();
    return Answer(kPathFileAccessError);
  }
}

automation::Value RotatingLogWriter::WriteLogMsg(std::u16string_view text) {
  if (current_.empty()) return Answer(kBadFileNameOrNumber);
  try {
    std::string entry = automation::ToUtf8(text);
    entry += "\r\n";
    entry += separator_;
    entry += "\r\n";
    if (file_ == nullptr && !OpenCurrent(false)) {
      Close();
      return Answer(kPathFileAccessError);
    }
    if (limit_ > 0 && has_entries_ &&
        size_ + static_cast<std::int64_t>(entry.size()) > limit_) {
      if (!Rotate()) {
        Close();
        return Answer(kPathFileAccessError);
      }
    }
    if (std::fwrite(entry.data(), 1, entry.size(), file_) != entry.size() ||
        std::fflush(file_) != 0) {
      std::clearerr(file_);
      return Answer(kDeviceIoError);
    }
    size_ += static_cast<std::int64_t>(entry.size());
    has_entries_ = true;
    return Answer(0);
  } catch (...) {
    // No memory for the entry's text: the entry is not written, as when the device fails.
    return Answer(kDeviceIoError);
  }
}

}  // namespace qorvintr::components
