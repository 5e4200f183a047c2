#include "cli/paths.h"

#include <chrono>
#include <fstream>
#include <random>

#include "cli/text_io.h"

#ifdef _WIN32
#include <windows.h>
#endif

namespace qorvintr::cli {

std::filesystem::path PathFromUtf8(std::string_view utf8) {
  std::u8string text(utf8.size(), u8'\0');
  for (std::size_t i = 0; i < utf8.size(); ++i) text[i] = static_cast<char8_t>(utf8[i]);
  return std::filesystem::path(text);
}

std::string PathToUtf8(const std::filesystem::path& path) {
  const std::u8string text = path.u8string();
  return std::string(text.begin(), text.end());
}

std::filesystem::path ExecutableFolder(const char* argv0) {
  std::error_code ec;
#ifdef _WIN32
  wchar_t buffer[32768];
  DWORD n = GetModuleFileNameW(nullptr, buffer, static_cast<DWORD>(std::size(buffer)));
  if (n > 0 && n < std::size(buffer)) return std::filesystem::path(buffer).parent_path();
#else
  std::filesystem::path self = std::filesystem::read_symlink("/proc/self/exe", ec);
  if (!ec && !self.empty()) return self.parent_path();
#endif
  if (argv0 == nullptr || *argv0 == '\0') return {};
  std::filesystem::path given = PathFromUtf8(argv0);
  if (!given.has_parent_path()) return {};
  std::filesystem::path full = std::filesystem::absolute(given, ec);
  return ec ? std::filesystem::path() : full.parent_path();
}

TemporaryFile::TemporaryFile(std::string_view stem, std::string_view content) {
  std::error_code ec;
  std::filesystem::path folder = std::filesystem::temp_directory_path(ec);
  if (ec) throw UsageError("cannot find the temporary folder: " + ec.message());
  std::random_device seed;
  std::mt19937_64 random(seed() ^ static_cast<std::uint64_t>(
                                      std::chrono::steady_clock::now().time_since_epoch().count()));
  for (int attempt = 0; attempt < 100; ++attempt) {
    std::filesystem::path candidate =
        folder / (std::string(stem) + "-" + std::to_string(random() % 1000000000ull) + ".ini");
    if (std::filesystem::exists(candidate, ec)) continue;
    std::ofstream out(candidate, std::ios::binary);
    if (!out) break;
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    out.close();
    if (!out) break;
    path_ = std::move(candidate);
    return;
  }
  throw UsageError("cannot write a temporary file in '" + PathToUtf8(folder) + "'");
}

TemporaryFile::~TemporaryFile() {
  std::error_code ec;
  if (!path_.empty()) std::filesystem::remove(path_, ec);
}

}  // namespace qorvintr::cli
