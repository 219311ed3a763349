#pragma once

#include <array>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <random>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>

namespace qvtest {

/// All bytes of a file; empty when there is none.
inline std::string ReadFile(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// A new folder for a test's files, removed with all that is in it. No two tests share one, though
/// they run at the same time.
class TempFolder {
 public:
  TempFolder() {
    std::random_device bits;
    std::array<char, 40> name{};
    std::snprintf(name.data(), name.size(), "qvreg-test-%08x%08x", bits(), bits());
    path_ = std::filesystem::temp_directory_path() / name.data();
    if (!std::filesystem::create_directory(path_)) throw std::runtime_error("no new folder");
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
  }

  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }
  [[nodiscard]] std::string File(std::string_view name) const { return (path_ / name).string(); }

  /// Writes a file and answers its path.
  std::string Write(std::string_view name, std::string_view text) const {
    std::ofstream(path_ / name, std::ios::binary) << text;
    return File(name);
  }

  [[nodiscard]] bool IsEmpty() const { return std::filesystem::is_empty(path_); }

 private:
  std::filesystem::path path_;
};

}  // namespace qvtest
