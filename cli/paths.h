#pragma once
// File names at the command's edges: UTF-8 on the command line, native paths inside.

#include <filesystem>
#include <string>
#include <string_view>

namespace qorvintr::cli {

std::filesystem::path PathFromUtf8(std::string_view utf8);
std::string PathToUtf8(const std::filesystem::path& path);

// The folder of the running program, or empty when it cannot be told.
std::filesystem::path ExecutableFolder(const char* argv0);

// A file of the given content in the system's temporary folder, deleted again when the object
// goes. Throws UsageError when it cannot be written.
class TemporaryFile {
 public:
  TemporaryFile(std::string_view stem, std::string_view content);
  ~TemporaryFile();
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  const std::filesystem::path& path() const noexcept { return path_; }

 private:
  std::filesystem::path path_;
};

}  // namespace qorvintr::cli
