#include "host/table/SpoolFile.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/FileSystem.h"
#include "host/Threads.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kStreamBuffer = std::size_t{1} << 18;

std::string SizeText(std::int64_t values) {
  const double bytes = static_cast<double>(values) * static_cast<double>(sizeof(double));
  if (bytes < 1e6) return fmt::format("{:.0f} kB", bytes / 1e3);
  if (bytes < 1e9) return fmt::format("{:.0f} MB", bytes / 1e6);
  return fmt::format("{:.1f} GB", bytes / 1e9);
}

constexpr std::int64_t kValueSize = sizeof(double);
/// Changed at once.
constexpr std::int64_t kBlockValues = std::int64_t{1} << 17;  // 1 MB

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
  if (std::fwrite(values.data(), sizeof(double), values.size(), stream_.get()) != values.size()) {
    ThrowWriteError(errno);
  }
}

void SpoolFile::Flush() {
  if (std::fflush(stream_.get()) != 0) ThrowWriteError(errno);
}

void SpoolFile::ReadAt(std::int64_t offset, std::span<double> values) const {
  const std::size_t wanted = values.size_bytes();
  const long long read = qvhost::ReadAt(stream_.get(), offset * kValueSize, values.data(), wanted);
  if (read != static_cast<long long>(wanted)) ThrowReadError(read < 0 ? errno : 0);
}

void SpoolFile::WriteAt(std::int64_t offset, std::span<const double> values) const {
  const std::size_t bytes = values.size_bytes();
  if (!qvhost::WriteAt(stream_.get(), offset * kValueSize, values.data(), bytes)) {
    ThrowWriteError(errno);
  }
}

void SpoolFile::ChangeRecords(std::size_t recordSize, int threads,
                              const std::function<void(std::int64_t, std::span<double>)>& change,
                              const std::function<void(std::int64_t)>& afterBlocks) {
  Flush();
  const auto size = static_cast<std::int64_t>(recordSize);
  const std::int64_t records = written_ / size;
  const std::int64_t atOnce = std::max<std::int64_t>(kBlockValues / size, 1);
  // As many blocks as threads, so that progress is told, and an interrupt heard, between them.
  const std::int64_t turn = atOnce * threads;
  std::vector<std::vector<double>> blocks(static_cast<std::size_t>(threads));
  for (std::int64_t done = 0; done < records; done += turn) {
    const std::int64_t end = std::min(done + turn, records);
    const auto count = static_cast<std::size_t>((end - done + atOnce - 1) / atOnce);
    ForEachOnThreads(threads, count, [&](std::size_t i) {
      const std::int64_t first = done + atOnce * static_cast<std::int64_t>(i);
      std::vector<double>& block = blocks[i];
      block.resize(static_cast<std::size_t>(std::min(atOnce, end - first) * size));
      ReadAt(first * size, block);
      change(first, block);
      WriteAt(first * size, block);
    });
    afterBlocks(end);
  }
  Rewind();
}

void SpoolFile::Rewind() {
  // What is still buffered is written first, so that a seek can meet a full disk.
  if (std::fseek(stream_.get(), 0, SEEK_SET) != 0) ThrowWriteError(errno);
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
