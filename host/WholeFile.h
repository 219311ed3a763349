#pragma once

#include <filesystem>
#include <functional>
#include <string>
#include <string_view>

namespace qvhost {

/// A file in the making, so that its name holds all that was meant for it or what it held before:
/// writing goes to a temporary file in the same folder, which takes the name at the end and is
/// removed otherwise. A path that is something else than a regular file (a device, a pipe) is
/// written directly.
///
/// Owns the temporary file. One thread at a time. Throws Error (kRunFailed) that names the file and
/// the reason.
class WholeFile {
 public:
  /// Makes the temporary file, so that a folder that cannot be written to shows here.
  explicit WholeFile(std::string path);
  /// Removes the temporary file unless it has taken the name.
  ~WholeFile() = default;
  WholeFile(const WholeFile&) = delete;
  WholeFile& operator=(const WholeFile&) = delete;

  /// Where to write. There is an empty file, or the device or pipe itself.
  [[nodiscard]] const std::filesystem::path& WritePath() const {
    return temporary_.path.empty() ? target_ : temporary_.path;
  }

  /// Makes what was written the file of that name. Whoever wrote it has closed it.
  void TakeName();

  /// Throws the Error for a reason such as "No space left on device".
  [[noreturn]] void Fail(const std::string& reason) const;

 private:
  /// Removes the file of this name, if there is a name.
  struct Temporary {
    Temporary() = default;
    Temporary(const Temporary&) = delete;
    Temporary& operator=(const Temporary&) = delete;
    ~Temporary();

    std::filesystem::path path;
  };

  std::string path_;  ///< As it was given.
  std::filesystem::path target_;
  Temporary temporary_;
};

/// Whether a path names a device or a pipe, which is written directly.
[[nodiscard]] bool IsDeviceOrPipe(const std::string& path);

/// Checks that writing the file has a chance, so that a long run does not fail at its very end.
/// Leaves nothing behind; throws as WholeFile does.
void CheckFileWritable(const std::string& path);

/// Writes a text so that the file holds all of it or stays as it was. `beforeRename` is called
/// right before the name is taken, what it throws passes through; may be empty. Throws as WholeFile
/// does.
void WriteWholeFile(const std::string& path, std::string_view text,
                    const std::function<void()>& beforeRename = {});

}  // namespace qvhost
