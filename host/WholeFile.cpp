#include "host/WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <random>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

namespace {

namespace fs = std::filesystem;

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

std::string LastReason() { return std::generic_category().message(errno); }

/// A name beside the target that no other run uses; "x" in the open mode makes sure of it.
fs::path NameBeside(const fs::path& target) {
  std::random_device random;
  fs::path name = target;
  name += fmt::format(".{:08x}{:08x}.tmp", random(), random());
  return name;
}

void WriteAll(const WholeFile& whole, const char* mode, std::string_view text) {
  File file(std::fopen(whole.WritePath().string().c_str(), mode));
  if (!file) whole.Fail(LastReason());
  const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size() &&
                       std::fflush(file.get()) == 0;
  if (!written) whole.Fail(LastReason());
  if (std::fclose(file.release()) != 0) whole.Fail(LastReason());
}

}  // namespace

WholeFile::Temporary::~Temporary() {
  std::error_code ignored;
  if (!path.empty()) fs::remove(path, ignored);
}

WholeFile::WholeFile(std::string path) : path_(std::move(path)), target_(path_) {
  std::error_code error;
  if (fs::is_directory(target_, error)) Fail("it is a folder");
  if (IsDeviceOrPipe(path_)) return;
  if (fs::exists(target_, error)) {
    // A link keeps pointing at the file that is replaced.
    target_ = fs::canonical(path_, error);
    if (error) Fail(error.message());
  }
  temporary_.path = NameBeside(target_);
  WriteAll(*this, "wbx", "");
}

void WholeFile::TakeName() {
  if (temporary_.path.empty()) return;
  std::error_code error;
  fs::rename(temporary_.path, target_, error);
  if (error) Fail(error.message());
  temporary_.path.clear();
}

void WholeFile::Fail(const std::string& reason) const {
  throw Error(
      ExitCode::kRunFailed,
      fmt::format("The file '{}' could not be written: {}. Name a file in an existing folder "
                  "that you may write to and that has room.",
                  path_, reason));
}

bool IsDeviceOrPipe(const std::string& path) {
  std::error_code error;
  const fs::file_status status = fs::status(path, error);
  return fs::exists(status) && !fs::is_regular_file(status) && !fs::is_directory(status);
}

void CheckFileWritable(const std::string& path) { const WholeFile file(path); }

void WriteWholeFile(const std::string& path, std::string_view text,
                    const std::function<void()>& beforeRename) {
  WholeFile file(path);
  WriteAll(file, "wb", text);
  if (beforeRename) beforeRename();
  file.TakeName();
}

}  // namespace qvhost
