#ifndef _WIN32

#include <array>
#include <cerrno>
#include <cstdlib>
#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

#include "host/FileSystem.h"

namespace qvhost {
namespace {

namespace fs = std::filesystem;

constexpr mode_t kPrivateFolder = S_IRWXU;
constexpr mode_t kPrivateFile = S_IRUSR | S_IWUSR;
constexpr mode_t kNewFile = kPrivateFile | S_IRGRP | S_IWGRP | S_IROTH | S_IWOTH;
constexpr mode_t kPermissions = S_IRWXU | S_IRWXG | S_IRWXO;

constexpr const char* kAccessList = "system.posix_acl_access";

std::error_code LastError() { return {errno, std::generic_category()}; }

/// A descriptor that is closed at the end of its scope.
class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  ~Descriptor() {
    if (number_ >= 0) close(number_);
  }

  [[nodiscard]] bool IsOpen() const { return number_ >= 0; }
  [[nodiscard]] int Number() const { return number_; }
  [[nodiscard]] int Release() { return std::exchange(number_, -1); }

 private:
  int number_;
};

struct FolderCloser {
  void operator()(DIR* folder) const { closedir(folder); }
};

/// Removes what is no folder; whether there was something.
bool RemoveFiles(int folder) {
  // Read through a descriptor of its own, which starts at the first entry.
  Descriptor anew(openat(folder, ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!anew.IsOpen()) return false;
  const std::unique_ptr<DIR, FolderCloser> entries(fdopendir(anew.Number()));
  if (!entries) return false;
  static_cast<void>(anew.Release());
  bool removed = false;
  while (const dirent* entry = readdir(entries.get())) {
    removed = unlinkat(folder, static_cast<const char*>(entry->d_name), 0) == 0 || removed;
  }
  return removed;
}

std::vector<std::string> AttributeNames(const char* path) {
  const ssize_t size = listxattr(path, nullptr, 0);
  if (size <= 0) return {};
  std::vector<char> list(static_cast<std::size_t>(size));
  const ssize_t used = listxattr(path, list.data(), list.size());
  std::vector<std::string> names;
  for (std::size_t at = 0; used > 0 && at < static_cast<std::size_t>(used);) {
    names.emplace_back(list.data() + at);
    at += names.back().size() + 1;
  }
  return names;
}

std::error_code CopyAttribute(const char* model, const char* file, const char* name) {
  const ssize_t size = getxattr(model, name, nullptr, 0);
  if (size < 0) return {};  // Gone, or not for this user to see.
  std::vector<char> value(static_cast<std::size_t>(size));
  const ssize_t used = getxattr(model, name, value.data(), value.size());
  if (used < 0) return LastError();
  return setxattr(file, name, value.data(), static_cast<std::size_t>(used), 0) == 0
             ? std::error_code()
             : LastError();
}

}  // namespace

OpenFolder::OpenFolder(const fs::path& path)
    : handle_(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC)) {}

OpenFolder::OpenFolder(OpenFolder&& other) noexcept : handle_(std::exchange(other.handle_, -1)) {}

OpenFolder& OpenFolder::operator=(OpenFolder&& other) noexcept {
  std::swap(handle_, other.handle_);
  return *this;
}

OpenFolder::~OpenFolder() {
  if (IsOpen()) close(handle_);
}

bool OpenFolder::IsOwn() const {
  struct stat status {};
  return fstat(handle_, &status) == 0 && status.st_uid == geteuid();
}

bool OpenFolder::IsAt(const fs::path& path) const {
  struct stat here {};
  struct stat there {};
  return fstat(handle_, &here) == 0 && lstat(path.c_str(), &there) == 0 &&
         here.st_dev == there.st_dev && here.st_ino == there.st_ino;
}

OpenFolder::LockResult OpenFolder::Lock() const {
  if (flock(handle_, LOCK_EX | LOCK_NB) == 0) return LockResult::kLocked;
  // The last three pass, unlike what a file system says that has no locks.
  const bool isPassing = errno == EWOULDBLOCK || errno == EINTR || errno == EIO || errno == ENOMEM;
  return isPassing ? LockResult::kTaken : LockResult::kUnsupported;
}

// NOLINTNEXTLINE(*-make-member-function-const): on Windows it closes the handle.
void OpenFolder::Remove(const fs::path& path) noexcept {
  // Another thread may still be adding files.
  while (rmdir(path.c_str()) != 0 && (errno == ENOTEMPTY || errno == EEXIST)) {
    if (!RemoveFiles(handle_)) return;
  }
}

std::error_code MakePrivateFolder(const fs::path& path) {
  if (mkdir(path.c_str(), kPrivateFolder) != 0) return LastError();
  struct stat status {};
  // A umask may take rights even from the owner. Whatever fails here shows when the folder is
  // opened.
  if (lstat(path.c_str(), &status) == 0 && (status.st_mode & kPermissions) != kPrivateFolder) {
    [[maybe_unused]] const int ignored =
        fchmodat(AT_FDCWD, path.c_str(), kPrivateFolder, AT_SYMLINK_NOFOLLOW);
  }
  return {};
}

std::error_code CheckWritable(const fs::path& path) {
  return faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS) == 0 ? std::error_code() : LastError();
}

std::error_code CreatePrivateFile(const fs::path& path, fs::perms& mode) {
  const Descriptor file(open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, kNewFile));
  if (!file.IsOpen()) return LastError();
  struct stat status {};
  if (fstat(file.Number(), &status) != 0) return LastError();
  mode = static_cast<fs::perms>(status.st_mode & kPermissions);
  return fchmod(file.Number(), kPrivateFile) == 0 ? std::error_code() : LastError();
}

std::error_code CopyOwner(const fs::path& model, const fs::path& file) {
  struct stat wanted {};
  struct stat found {};
  if (stat(model.c_str(), &wanted) != 0 || stat(file.c_str(), &found) != 0) return LastError();
  if (wanted.st_uid == found.st_uid && wanted.st_gid == found.st_gid) return {};
  return chown(file.c_str(), wanted.st_uid, wanted.st_gid) == 0 ? std::error_code() : LastError();
}

std::error_code CopyAttributes(const fs::path& model, const fs::path& file) {
  // The folder may have given the new file an access list that the model lacks.
  removexattr(file.c_str(), kAccessList);
  for (const std::string& name : AttributeNames(model.c_str())) {
    const std::error_code error = CopyAttribute(model.c_str(), file.c_str(), name.c_str());
    const bool mustBeKept = name == kAccessList || name.starts_with("user.");
    if (error && mustBeKept) return error;
  }
  // The access list sets the permissions, too.
  return chmod(file.c_str(), kPrivateFile) == 0 ? std::error_code() : LastError();
}

std::error_code FinishFile(const fs::path& path, fs::perms mode) {
  const Descriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC));
  const bool done = file.IsOpen() && fchmod(file.Number(), static_cast<mode_t>(mode)) == 0 &&
                    fsync(file.Number()) == 0;
  return done ? std::error_code() : LastError();
}

void SyncFolder(const fs::path& path) noexcept {
  const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  // Not every file system can do it for a folder; the files themselves are safe.
  if (folder.IsOpen()) static_cast<void>(fsync(folder.Number()));
}

std::FILE* OpenTransient(const fs::path& path) {
  Descriptor file(open(path.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, kPrivateFile));
  if (!file.IsOpen()) return nullptr;
  unlink(path.c_str());
  if (fchmod(file.Number(), kPrivateFile) != 0) return nullptr;
  std::FILE* const stream = fdopen(file.Number(), "w+b");
  if (stream != nullptr) static_cast<void>(file.Release());
  return stream;
}

long long ReadAt(std::FILE* stream, std::int64_t offset, void* data, std::size_t size) {
  const int file = fileno(stream);
  auto* bytes = static_cast<unsigned char*>(data);
  std::size_t done = 0;
  while (done < size) {
    const ssize_t read = pread(file, bytes + done, size - done,
                               static_cast<off_t>(offset) + static_cast<off_t>(done));
    if (read < 0 && errno == EINTR) continue;
    if (read < 0) return -1;
    if (read == 0) break;
    done += static_cast<std::size_t>(read);
  }
  return static_cast<long long>(done);
}

bool WriteAt(std::FILE* stream, std::int64_t offset, const void* data, std::size_t size) {
  const int file = fileno(stream);
  const auto* bytes = static_cast<const unsigned char*>(data);
  std::size_t done = 0;
  while (done < size) {
    const ssize_t written = pwrite(file, bytes + done, size - done,
                                   static_cast<off_t>(offset) + static_cast<off_t>(done));
    if (written < 0 && errno == EINTR) continue;
    if (written < 0) return false;
    done += static_cast<std::size_t>(written);
  }
  return true;
}

std::optional<std::size_t> ReadArrived(std::FILE* stream, std::span<char> buffer,
                                       std::chrono::milliseconds wait) {
  pollfd input{fileno(stream), POLLIN, 0};
  errno = 0;
  const int ready = poll(&input, 1, static_cast<int>(wait.count()));
  if (ready < 0 && errno == EINTR) {
    errno = 0;
    return std::nullopt;
  }
  // What cannot be polled is read.
  if (ready == 0) return std::nullopt;
  const ssize_t size = read(input.fd, buffer.data(), buffer.size());
  if (size >= 0) return static_cast<std::size_t>(size);
  if (errno == EINTR || errno == EAGAIN) errno = 0;
  return std::nullopt;
}

}  // namespace qvhost

#endif
