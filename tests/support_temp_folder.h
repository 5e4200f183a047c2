#pragma once
// A throwaway folder for tests that write files; removed with everything in it at the end.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <system_error>

namespace qorvintr::testing_support {

class TempFolder {
 public:
  TempFolder() {
    static std::atomic<unsigned> counter{0};
    auto stamp = std::chrono::steady_clock::now().time_since_epoch().count();
    path_ = std::filesystem::temp_directory_path() /
            ("qorvintr-test-" + std::to_string(stamp) + "-" + std::to_string(counter++));
    std::filesystem::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::filesystem::path& path() const { return path_; }
  std::u16string u16() const { return path_.u16string(); }

  // Writes the bytes as they are and answers the file's full name.
  std::filesystem::path Write(const std::string& name, const std::string& bytes) const {
    std::filesystem::path file = path_ / name;
    std::ofstream out(file, std::ios::binary);
    out << bytes;
    return file;
  }

 private:
  std::filesystem::path path_;
};

inline std::string ReadFile(const std::filesystem::path& file) {
  std::ifstream in(file, std::ios::binary);
  return std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
}

}  // namespace qorvintr::testing_support
