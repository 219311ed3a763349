#ifdef _WIN32

#include <algorithm>
#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <sys/stat.h>
#include <windows.h>

#include "host/FileSystem.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

/// Stands for the folder's lock: nobody else can open it, and the system removes it at the end.
constexpr const wchar_t* kLockFile = L"lock";

/// A descriptor of a file that nobody else can open meanwhile; negative with errno set.
int OpenAlone(const fs::path& path, int flags) {
  int file = -1;
  const errno_t failed = _wsopen_s(&file, path.c_str(), flags | _O_RDWR | _O_BINARY | _O_NOINHERIT,
                                   _SH_DENYRW, _S_IREAD | _S_IWRITE);
  if (failed != 0) errno = failed;
  return failed == 0 ? file : -1;
}

}  // namespace

// Opening a folder is locking it.
OpenFolder::OpenFolder(const fs::path& path)
    : handle_(fs::is_symlink(path) ? -1 : OpenAlone(path / kLockFile, _O_CREAT | _O_TEMPORARY)) {}

OpenFolder::OpenFolder(OpenFolder&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

OpenFolder& OpenFolder::operator=(OpenFolder&& other) noexcept {
  std::swap(handle_, other.handle_);
  return *this;
}

OpenFolder::~OpenFolder() {
  if (IsOpen()) _close(handle_);
}

bool OpenFolder::IsOwn() const { return true; }

bool OpenFolder::IsAt(const fs::path& path) const { return fs::exists(path / kLockFile); }

OpenFolder::LockResult OpenFolder::Lock() const { return LockResult::kLocked; }

void OpenFolder::Remove(const fs::path& path) noexcept {
  // The lock's file must go before its folder can.
  _close(std::exchange(handle_, -1));
  std::error_code ignored;
  fs::remove_all(path, ignored);
}

std::error_code MakePrivateFolder(const fs::path& path) {
  std::error_code error;
  if (!fs::create_directory(path, error) && !error) {
    error = std::make_error_code(std::errc::file_exists);
  }
  return error;
}

std::error_code CheckWritable(const fs::path& path) {
  constexpr int kWrite = 2;
  return _waccess(path.c_str(), kWrite) == 0 ? std::error_code()
                                             : std::error_code(errno, std::generic_category());
}

std::error_code CreatePrivateFile(const fs::path& path, fs::perms& mode) {
  const int file = OpenAlone(path, _O_CREAT | _O_EXCL);
  if (file < 0) return {errno, std::generic_category()};
  _close(file);
  mode = fs::perms::all;
  return {};
}

// The access list of the folder holds for what is in it.
std::error_code CopyOwner(const fs::path& /*model*/, const fs::path& /*file*/) { return {}; }
std::error_code CopyAttributes(const fs::path& /*model*/, const fs::path& /*file*/) { return {}; }

std::error_code FinishFile(const fs::path& path, fs::perms /*mode*/) {
  const int file = OpenAlone(path, 0);
  if (file < 0) return {errno, std::generic_category()};
  const bool failed = _commit(file) != 0;
  const int reason = errno;
  _close(file);
  return failed ? std::error_code(reason, std::generic_category()) : std::error_code();
}

void SyncFolder(const fs::path& /*path*/) noexcept {}

std::FILE* OpenTransient(const fs::path& path) {
  const int file = OpenAlone(path, _O_CREAT | _O_EXCL | _O_TEMPORARY | _O_SHORT_LIVED);
  return file < 0 ? nullptr : _fdopen(file, "w+b");
}

namespace {

/// Read or written at once.
constexpr std::size_t kMostAtOnce = std::size_t{1} << 30;

OVERLAPPED PlaceAt(std::int64_t offset, std::size_t further) {
  const auto place = static_cast<std::uint64_t>(offset) + further;
  OVERLAPPED at = {};
  at.Offset = static_cast<DWORD>(place);
  at.OffsetHigh = static_cast<DWORD>(place >> 32);
  return at;
}

}  // namespace

long long ReadAt(std::FILE* stream, std::int64_t offset, void* data, std::size_t size) {
  auto* const file = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
  auto* bytes = static_cast<unsigned char*>(data);
  std::size_t done = 0;
  while (done < size) {
    OVERLAPPED at = PlaceAt(offset, done);
    DWORD read = 0;
    const auto wanted = static_cast<DWORD>(std::min(size - done, kMostAtOnce));
    if (ReadFile(file, bytes + done, wanted, &read, &at) == 0) {
      if (GetLastError() == ERROR_HANDLE_EOF) break;
      errno = EIO;
      return -1;
    }
    if (read == 0) break;
    done += read;
  }
  return static_cast<long long>(done);
}

bool WriteAt(std::FILE* stream, std::int64_t offset, const void* data, std::size_t size) {
  auto* const file = reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(stream)));
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::size_t done = 0;
  while (done < size) {
    OVERLAPPED at = PlaceAt(offset, done);
    DWORD written = 0;
    const auto wanted = static_cast<DWORD>(std::min(size - done, kMostAtOnce));
    if (WriteFile(file, bytes + done, wanted, &written, &at) == 0) {
      errno = GetLastError() == ERROR_DISK_FULL ? ENOSPC : EIO;
      return false;
    }
    done += written;
  }
  return true;
}

std::optional<std::size_t> ReadArrived(std::FILE* stream, std::span<char> buffer,
                                       std::chrono::milliseconds /*wait*/) {
  const int file = _fileno(stream);
  // Standard input is a text otherwise.
  static_cast<void>(_setmode(file, _O_BINARY));
  errno = 0;
  const int size = _read(file, buffer.data(), static_cast<unsigned>(buffer.size()));
  if (size < 0) return std::nullopt;
  return static_cast<std::size_t>(size);
}

}  // namespace qvhost

#endif
