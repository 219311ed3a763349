#include "host/report/WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <random>
#include <system_error>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

namespace {

namespace fs = std::filesystem;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

[[noreturn]] void Fail(const std::string& path, const std::string& reason) {
  throw Error(
      ExitCode::kRunFailed,
      fmt::format("The file '{}' could not be written: {}. Name a file in an existing folder "
                  "that you may write to and that has room.",
                  path, reason));
}

std::string LastReason() { return std::generic_category().message(errno); }

/// Removes the temporary file unless it took its final name.
class TemporaryFile {
 public:
  explicit TemporaryFile(fs::path path) : path_(std::move(path)) {}
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }
  [[nodiscard]] const fs::path& Path() const { return path_; }

 private:
  fs::path path_;
};

/// A name beside the target that no other run uses; "x" in the open mode makes sure of it.
fs::path NameBeside(const fs::path& target) {
  std::random_device random;
  fs::path name = target;
  name += fmt::format(".{:08x}{:08x}.tmp", random(), random());
  return name;
}

void WriteAll(const std::string& shownPath, const fs::path& path, const char* mode,
              std::string_view text) {
  File file(std::fopen(path.string().c_str(), mode));
  if (!file) Fail(shownPath, LastReason());
  const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size() &&
                       std::fflush(file.get()) == 0;
  if (!written) Fail(shownPath, LastReason());
  if (std::fclose(file.release()) != 0) Fail(shownPath, LastReason());
}

/// Where the text of a file goes.
struct Destination {
  fs::path target;
  bool direct = false;  ///< A device or a pipe, which no other file can replace.
};

Destination FindDestination(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  if (fs::is_directory(status)) Fail(path, "it is a folder");
  if (!fs::exists(status)) return {path, false};
  if (!fs::is_regular_file(status)) return {path, true};
  // A link keeps pointing at the file that is replaced.
  const fs::path target = fs::canonical(path, error);
  if (error) Fail(path, error.message());
  return {target, false};
}

}  // namespace

void CheckFileWritable(const std::string& path) {
  const Destination destination = FindDestination(path);
  if (destination.direct) return;
  const TemporaryFile temporary(NameBeside(destination.target));
  WriteAll(path, temporary.Path(), "wbx", "");
}

void WriteWholeFile(const std::string& path, std::string_view text) {
  const Destination destination = FindDestination(path);
  if (destination.direct) {
    WriteAll(path, destination.target, "wb", text);
    return;
  }
  const TemporaryFile temporary(NameBeside(destination.target));
  WriteAll(path, temporary.Path(), "wbx", text);
  std::error_code error;
  fs::rename(temporary.Path(), destination.target, error);
  if (error) Fail(path, error.message());
}

}  // namespace qvhost
