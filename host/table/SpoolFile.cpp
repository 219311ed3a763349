#include "host/table/SpoolFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/FileSystem.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kStreamBuffer = std::size_t{1} << 18;

int SeekStream(std::FILE* stream, std::int64_t offset) {
#ifdef _WIN32
  return _fseeki64(stream, offset, SEEK_SET);
#else
  return fseeko(stream, static_cast<off_t>(offset), SEEK_SET);
#endif
}

std::string SizeText(std::int64_t values) {
  const double bytes = static_cast<double>(values) * static_cast<double>(sizeof(double));
  if (bytes < 1e6) return fmt::format("{:.0f} kB", bytes / 1e3);
  if (bytes < 1e9) return fmt::format("{:.0f} MB", bytes / 1e6);
  return fmt::format("{:.1f} GB", bytes / 1e9);
}

constexpr std::int64_t kValueSize = sizeof(double);

[[noreturn]] void RefuseFolder(const std::string& folder, const std::error_code& error) {
  throw Error(ExitCode::kRunFailed,
              fmt::format("No temporary file can be made in the folder '{}' ({}); name another "
                          "folder with --spool-dir.",
                          folder, std::generic_category().message(error.value())));
}

}  // namespace

std::string FolderForSpool(const std::string& folder) {
  if (!folder.empty()) return folder;
  std::error_code error;
  const fs::path system = fs::temp_directory_path(error);
  return error ? std::string(".") : system.string();
}

TemporaryFolder MakeSpoolFolder(const std::string& folder) {
  std::error_code error;
  std::optional<TemporaryFolder> made = TemporaryFolder::Make(folder, error);
  if (!made) RefuseFolder(folder, error);
  return std::move(*made);
}

SpoolFile::SpoolFile(const std::string& folder)
    : folder_(FolderForSpool(folder)), buffer_(kStreamBuffer) {
  home_ = MakeSpoolFolder(folder_);
  stream_.reset(OpenTransient(home_->Path() / "records"));
  if (stream_ == nullptr) RefuseFolder(folder_, {errno, std::generic_category()});
  std::setvbuf(stream_.get(), buffer_.data(), _IOFBF, buffer_.size());
#ifndef _WIN32
  home_.reset();  // The file has no name any more.
#endif
}

void SpoolFile::Append(std::span<const double> values) {
  written_ += static_cast<std::int64_t>(values.size());
  Write(values);
}

void SpoolFile::Flush() {
  if (std::fflush(stream_.get()) != 0) ThrowWriteError(errno);
}

void SpoolFile::Read(std::int64_t offset, std::span<double> values) {
  Seek(offset);
  errno = 0;
  if (std::fread(values.data(), sizeof(double), values.size(), stream_.get()) == values.size()) {
    return;
  }
  ThrowReadError(errno);
}

void SpoolFile::ReadAt(std::int64_t offset, std::span<double> values) const {
  const std::size_t wanted = values.size_bytes();
  const long long read = qvhost::ReadAt(stream_.get(), offset * kValueSize, values.data(), wanted);
  if (read != static_cast<long long>(wanted)) ThrowReadError(read < 0 ? errno : 0);
}

void SpoolFile::Overwrite(std::int64_t offset, std::span<const double> values) {
  Seek(offset);
  Write(values);
}

void SpoolFile::Rewind() { Seek(0); }

void SpoolFile::Seek(std::int64_t offset) {
  // What is still buffered is written first, so that a seek can meet a full disk.
  if (SeekStream(stream_.get(), offset * kValueSize) != 0) ThrowWriteError(errno);
}

void SpoolFile::Write(std::span<const double> values) {
  if (std::fwrite(values.data(), sizeof(double), values.size(), stream_.get()) != values.size()) {
    ThrowWriteError(errno);
  }
}

void SpoolFile::ThrowReadError(int error) const {
  throw Error(ExitCode::kRunFailed,
              fmt::format("The temporary file in the folder '{}' cannot be read back ({}).",
                          folder_, error == 0 ? "it is too short" : std::strerror(error)));
}

void SpoolFile::ThrowWriteError(int error) const {
  throw Error(ExitCode::kRunFailed,
              fmt::format("The temporary file in the folder '{}' cannot be written ({}); {} were "
                          "needed so far. Name a folder with more room with --spool-dir.",
                          folder_, std::strerror(error), SizeText(written_)));
}

}  // namespace qvhost
