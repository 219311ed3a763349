#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "host/TemporaryFolder.h"

namespace qvhost {

/// A file in the making, so that its name holds all that was meant for it or what it held before,
/// however the process ends: writing goes to a file in a temporary folder beside it, which is
/// renamed into place at the end and removed otherwise. A path that is something else than a
/// regular file (a device, a pipe) is written directly.
///
/// A file that is replaced keeps its owner, permissions, access list and extended attributes; until
/// then what was written is for the owner alone. Its other hard links keep what they held. Symbolic
/// links are followed to their end, where a file is made if there is none; they keep pointing at
/// it.
///
/// Owns the temporary folder. Movable. One thread at a time. Throws Error (kRunFailed) that names
/// the file and the reason.
class WholeFile {
 public:
  /// Makes the temporary file. Refuses what could not be committed: a folder, a file that may not
  /// be written to or whose owner could not be kept, a folder that cannot hold a new file.
  explicit WholeFile(std::string path);

  /// As it was given.
  [[nodiscard]] const std::string& Path() const { return path_; }
  /// Where symbolic links lead.
  [[nodiscard]] const std::filesystem::path& Target() const { return target_; }
  /// Where to write. There is an empty file, or the device or pipe itself.
  [[nodiscard]] const std::filesystem::path& WritePath() const { return writePath_; }
  /// Whether it is a device or a pipe.
  [[nodiscard]] bool IsDirect() const { return !folder_; }

  /// Writes a text, all that the file is to hold.
  void Write(std::string_view text) const;

  /// Does everything but the renaming: permissions, and waiting until the data are on the disk.
  /// Whoever wrote the file has closed it.
  void Finish();

  /// Makes what was written the file of that name; after Finish.
  void Commit();

  /// After Commit: waits until the name is on the disk, too. Failures are ignored.
  void Settle() const;

  /// Throws the Error for a reason such as "No space left on device".
  [[noreturn]] void Fail(const std::string& reason) const;

 private:
  void FailIf(const std::error_code& error) const;
  void FindTarget();
  void MakeTemporary(bool replaces);

  std::string path_;
  std::filesystem::path target_;
  std::filesystem::path writePath_;
  std::optional<TemporaryFolder> folder_;
  std::filesystem::perms mode_{};  ///< That the file gets in the end.
};

/// Whether a path names a device or a pipe, which is written directly.
[[nodiscard]] bool IsDeviceOrPipe(const std::string& path);

}  // namespace qvhost
