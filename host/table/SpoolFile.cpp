#include "host/table/SpoolFile.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <random>
#include <system_error>

#include <fmt/format.h>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#else
#include <fcntl.h>
#include <unistd.h>
#endif

#include "host/Error.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr std::size_t kStreamBuffer = std::size_t{1} << 18;

std::string FolderOrDefault(const std::string& folder) {
  if (!folder.empty()) return folder;
  std::error_code error;
  const fs::path system = fs::temp_directory_path(error);
  return error ? std::string(".") : system.string();
}

#ifdef _WIN32

constexpr int kMostNames = 100;

/// A stream on a new file that the system deletes when it is closed; null with errno set.
std::FILE* CreateNameless(const std::string& folder) {
  std::random_device random;
  int descriptor = -1;
  for (int i = 0; i < kMostNames && descriptor < 0; ++i) {
    const fs::path path = fs::path(folder) / fmt::format("qvreg-{:08x}{:08x}", random(), random());
    const errno_t failed = _wsopen_s(
        &descriptor, path.c_str(),
        _O_CREAT | _O_EXCL | _O_RDWR | _O_BINARY | _O_TEMPORARY | _O_SHORT_LIVED | _O_NOINHERIT,
        _SH_DENYRW, _S_IREAD | _S_IWRITE);
    if (failed != 0 && failed != EEXIST) return nullptr;
  }
  return descriptor < 0 ? nullptr : _fdopen(descriptor, "w+b");
}

int SeekStream(std::FILE* stream, std::int64_t offset) {
  return _fseeki64(stream, offset, SEEK_SET);
}

#else

/// A stream on a new file whose name is gone at once; null with errno set.
std::FILE* CreateNameless(const std::string& folder) {
  std::string path = (fs::path(folder) / "qvreg-XXXXXX").string();
  const int descriptor = mkostemp(path.data(), O_CLOEXEC);
  if (descriptor < 0) return nullptr;
  unlink(path.c_str());
  std::FILE* const stream = fdopen(descriptor, "w+b");
  if (stream == nullptr) close(descriptor);
  return stream;
}

int SeekStream(std::FILE* stream, std::int64_t offset) {
  return fseeko(stream, static_cast<off_t>(offset), SEEK_SET);
}

#endif

std::string SizeText(std::int64_t values) {
  const double bytes = static_cast<double>(values) * static_cast<double>(sizeof(double));
  if (bytes < 1e6) return fmt::format("{:.0f} kB", bytes / 1e3);
  if (bytes < 1e9) return fmt::format("{:.0f} MB", bytes / 1e6);
  return fmt::format("{:.1f} GB", bytes / 1e9);
}

constexpr std::int64_t kValueSize = sizeof(double);

}  // namespace

SpoolFile::SpoolFile(const std::string& folder)
    : folder_(FolderOrDefault(folder)), buffer_(kStreamBuffer), stream_(CreateNameless(folder_)) {
  if (stream_ == nullptr) {
    throw Error(ExitCode::kRunFailed,
                fmt::format("No temporary file can be made in the folder '{}' ({}); name another "
                            "folder with --spool-dir.",
                            folder_, std::strerror(errno)));
  }
  std::setvbuf(stream_.get(), buffer_.data(), _IOFBF, buffer_.size());
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
  throw Error(ExitCode::kRunFailed,
              fmt::format("The temporary file in the folder '{}' cannot be read back ({}).",
                          folder_, errno == 0 ? "it is too short" : std::strerror(errno)));
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

void SpoolFile::ThrowWriteError(int error) const {
  throw Error(ExitCode::kRunFailed,
              fmt::format("The temporary file in the folder '{}' cannot be written ({}); {} were "
                          "needed so far. Name a folder with more room with --spool-dir.",
                          folder_, std::strerror(error), SizeText(written_)));
}

}  // namespace qvhost
