#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <span>
#include <system_error>

// What the standard library does not offer about files: locks, owners, attributes, durability, and
// pipes that are read as they are filled. The
// only declarations of the host whose definitions depend on the platform's file system.

namespace qvhost {

/// An open folder, which can be locked against other processes. Owns the handle; closing it, or the
/// end of the process however it comes, unlocks the folder. Movable.
class OpenFolder {
 public:
  enum class LockResult {
    kLocked,      ///< No other process can lock it now.
    kTaken,       ///< Another process has locked it, or that cannot be told at the moment.
    kUnsupported  ///< Its file system has no locks: no process can lock it.
  };

  OpenFolder() = default;
  /// Opens a folder. IsOpen() is false where there is none, or a symbolic link.
  explicit OpenFolder(const std::filesystem::path& path);
  OpenFolder(OpenFolder&& other) noexcept;
  OpenFolder& operator=(OpenFolder&& other) noexcept;
  OpenFolder(const OpenFolder&) = delete;
  OpenFolder& operator=(const OpenFolder&) = delete;
  ~OpenFolder();

  [[nodiscard]] bool IsOpen() const { return handle_ >= 0; }
  /// Whether the effective user owns it.
  [[nodiscard]] bool IsOwn() const;
  /// Whether `path` still leads to it.
  [[nodiscard]] bool IsAt(const std::filesystem::path& path) const;
  /// Does not wait.
  [[nodiscard]] LockResult Lock() const;
  /// Removes the files in this folder and then `path`, if that is an empty folder. Follows no
  /// symbolic link and enters no folder. Failures are ignored.
  void Remove(const std::filesystem::path& path) noexcept;

 private:
  int handle_ = -1;
};

/// Makes a folder that only the effective user can use, whatever the umask. Fails when there is
/// something of this name.
[[nodiscard]] std::error_code MakePrivateFolder(const std::filesystem::path& path);

/// Whether the effective user may write to an existing file, without opening it.
[[nodiscard]] std::error_code CheckWritable(const std::filesystem::path& path);

/// Makes an empty file that only the effective user can use, whatever the umask. `mode` becomes the
/// permissions that the umask, or the folder's access list, gives a new file at this place.
[[nodiscard]] std::error_code CreatePrivateFile(const std::filesystem::path& path,
                                                std::filesystem::perms& mode);

/// Gives `file` the owner, the group, the access list and the user's extended attributes of
/// `model`, and the other attributes as far as the system allows. The permissions stay as they are.
[[nodiscard]] std::error_code CopyOwner(const std::filesystem::path& model,
                                        const std::filesystem::path& file);
[[nodiscard]] std::error_code CopyAttributes(const std::filesystem::path& model,
                                             const std::filesystem::path& file);

/// Gives a file its permissions and waits until all of it is on the disk.
[[nodiscard]] std::error_code FinishFile(const std::filesystem::path& path,
                                         std::filesystem::perms mode);

/// Waits until the names in a folder are on the disk. Failures are ignored.
void SyncFolder(const std::filesystem::path& path) noexcept;

/// A stream on a new file that only this process can open and that the system removes when it is
/// closed; null with errno set. Where the platform allows it, the name is gone at once.
[[nodiscard]] std::FILE* OpenTransient(const std::filesystem::path& path);

/// Reads up to `size` bytes of a stream's file from byte `offset` on, wherever the stream stands;
/// what the stream has not handed to the system yet is not seen. How many bytes there were, fewer
/// at the end of the file; below 0 with errno set for a failure. Any number of threads may read one
/// file at the same time. Where the stream stands afterwards is undefined: seek before reading it.
[[nodiscard]] long long ReadAt(std::FILE* stream, std::int64_t offset, void* data,
                               std::size_t size);

/// Writes all of the data at a place, counted in bytes, of the file of a stream which holds nothing
/// back; false with errno set for a failure. Any number of threads may write to places of their
/// own. Where the stream stands afterwards is undefined: seek before reading it.
[[nodiscard]] bool WriteAt(std::FILE* stream, std::int64_t offset, const void* data,
                           std::size_t size);

/// Reads what has arrived in a stream that nothing else reads: the number of bytes, 0 at the end.
/// None, with errno 0, when nothing has arrived after `wait` (some platforms wait for ever) or
/// until a signal; none, with errno set, when reading failed.
[[nodiscard]] std::optional<std::size_t> ReadArrived(std::FILE* stream, std::span<char> buffer,
                                                     std::chrono::milliseconds wait);

}  // namespace qvhost
