#include "host/WholeFile.h"

#include <cerrno>
#include <cstdio>
#include <memory>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/FileSystem.h"

namespace qvhost {

namespace {

namespace fs = std::filesystem;

constexpr int kMostLinks = 40;  // As many as Linux follows.

struct FileCloser {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

std::error_code LastError() { return {errno, std::generic_category()}; }

fs::path FolderOf(const fs::path& file) {
  return file.has_parent_path() ? file.parent_path() : fs::path(".");
}

}  // namespace

WholeFile::WholeFile(std::string path) : path_(std::move(path)), target_(path_) {
  std::error_code error;
  // The system itself follows the links first, as it may know reasons not to.
  const fs::file_status status = fs::status(target_, error);
  if (status.type() == fs::file_type::none) FailIf(error);
  if (fs::is_directory(status)) Fail("it is a folder");
  const bool exists = fs::exists(status);
  if (exists) FailIf(CheckWritable(target_));
  if (exists && !fs::is_regular_file(status)) {
    writePath_ = target_;
    return;
  }
  FindTarget();
  MakeTemporary(exists);
}

/// Follows symbolic links by hand, as the last one may lead to a file that does not exist yet.
void WholeFile::FindTarget() {
  std::error_code error;
  for (int links = 0; fs::is_symlink(fs::symlink_status(target_, error)); ++links) {
    if (links == kMostLinks) FailIf(std::make_error_code(std::errc::too_many_symbolic_link_levels));
    const fs::path next = fs::read_symlink(target_, error);
    FailIf(error);
    // An absolute path takes the place of the folder.
    target_ = FolderOf(target_) / next;
  }
}

void WholeFile::MakeTemporary(bool replaces) {
  std::error_code error;
  folder_ = TemporaryFolder::Make(FolderOf(target_), error);
  FailIf(error);
  writePath_ = folder_->Path() / "whole";
  FailIf(CreatePrivateFile(writePath_, mode_));
  if (!replaces) return;
  mode_ = fs::status(target_, error).permissions() & fs::perms::all;
  FailIf(error);
  error = CopyOwner(target_, writePath_);
  // The latter of a user that is not known here, as in a container.
  if (error == std::errc::operation_not_permitted || error == std::errc::invalid_argument) {
    Fail("it belongs to another user or group, and what replaces it would not");
  }
  FailIf(error);
  FailIf(CopyAttributes(target_, writePath_));
}

void WholeFile::Write(std::string_view text) const {
  File file(std::fopen(writePath_.string().c_str(), "wb"));
  if (!file) FailIf(LastError());
  const bool written = std::fwrite(text.data(), 1, text.size(), file.get()) == text.size() &&
                       std::fflush(file.get()) == 0;
  if (!written) FailIf(LastError());
  if (std::fclose(file.release()) != 0) FailIf(LastError());
}

void WholeFile::Finish() {
  if (IsDirect()) return;
  FailIf(FinishFile(writePath_, mode_));
}

void WholeFile::Commit() {
  if (IsDirect()) return;
  std::error_code error;
  fs::rename(writePath_, target_, error);
  FailIf(error);
}

void WholeFile::Settle() const {
  if (!IsDirect()) SyncFolder(FolderOf(target_));
}

void WholeFile::FailIf(const std::error_code& error) const {
  if (error) Fail(std::generic_category().message(error.value()));
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

}  // namespace qvhost
