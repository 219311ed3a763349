#pragma once

#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>

#include "host/FileSystem.h"

namespace qvhost {

/// A new folder that only the effective user can use, for files that must not outlive the run: the
/// host's one way to name a temporary file. It is locked as long as it is in use, so that a later
/// run can tell what a killed one left behind, and removes it.
///
/// Owns the folder and the files in it; it may hold no other folders. Movable. One thread at a
/// time.
class TemporaryFolder {
 public:
  /// Makes one in `parent`, after removing the abandoned ones there (see RemoveAbandoned). None
  /// with `error` set when that is not possible.
  [[nodiscard]] static std::optional<TemporaryFolder> Make(const std::filesystem::path& parent,
                                                           std::error_code& error);
  /// Removes the folder with its files.
  ~TemporaryFolder();
  TemporaryFolder(TemporaryFolder&&) noexcept = default;
  TemporaryFolder& operator=(TemporaryFolder&& other) noexcept;
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;

  [[nodiscard]] const std::filesystem::path& Path() const { return path_; }

 private:
  TemporaryFolder(std::filesystem::path path, OpenFolder folder);

  std::filesystem::path path_;
  OpenFolder folder_;  ///< Locked; not open after a move.
};

/// Whether a file name is one that TemporaryFolder gives: `.qvreg-`, 16 hexadecimal digits, `.tmp`.
[[nodiscard]] bool IsTemporaryName(std::string_view name);

/// Removes the temporary folders in `parent` that the effective user owns and no living process has
/// locked. Failures are ignored: what cannot be removed stays.
void RemoveAbandoned(const std::filesystem::path& parent) noexcept;

/// Removes every temporary folder of this process and ends it at once, without destructors. Any
/// thread may call it.
[[noreturn]] void ExitWithoutTemporaries(int code) noexcept;

}  // namespace qvhost
