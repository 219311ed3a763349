#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/TemporaryFolder.h"

namespace qvhost {

/// The folder for temporary files: `folder`, or the system's when it is empty.
[[nodiscard]] std::string FolderForSpool(const std::string& folder);

/// A TemporaryFolder in such a folder. Throws Error (kRunFailed), which names the folder.
[[nodiscard]] TemporaryFolder MakeSpoolFolder(const std::string& folder);

/// A temporary file of doubles that nobody else can open and that never outlives the process.
///
/// Made in a TemporaryFolder, readable by the owner alone, and without a name at once where the
/// platform allows it (otherwise removed by the system when it is closed), so that nothing is left
/// behind however the process ends. Owns the stream. Movable. One thread at a time.
///
/// Every operation that can fail throws Error (kRunFailed): it says which folder, how much was
/// written so far, and to use --spool-dir.
class SpoolFile {
 public:
  /// Creates an empty file in `folder`; an empty text means the system's folder for temporary
  /// files.
  explicit SpoolFile(const std::string& folder);
  ~SpoolFile() = default;
  SpoolFile(const SpoolFile&) = delete;
  SpoolFile& operator=(const SpoolFile&) = delete;
  SpoolFile(SpoolFile&&) noexcept = default;
  /// Not assignable: the old stream would lose its buffer before it is closed.
  SpoolFile& operator=(SpoolFile&&) = delete;

  /// Adds values at the end. Only before the records are read or changed.
  void Append(std::span<const double> values);

  /// Hands everything written so far to the system, so that a full disk shows here at the latest.
  void Flush();

  /// Fills `values` from position `offset`, counted in doubles; they must have been written, and
  /// flushed. Any number of threads may read at the same time. Where the stream stands afterwards
  /// is undefined: seek before reading it.
  void ReadAt(std::int64_t offset, std::span<double> values) const;

  /// Has `change` change records of `recordSize` doubles each, of which the file consists: it is
  /// called with some of them at a time, and the number of the first, on up to `threads` threads,
  /// on none of them twice. `afterBlocks` is called on the calling thread with the number of
  /// records done; what either throws ends the work. Leaves the stream at the first record.
  void ChangeRecords(std::size_t recordSize, int threads,
                     const std::function<void(std::int64_t first, std::span<double>)>& change,
                     const std::function<void(std::int64_t)>& afterBlocks);

  /// Positions the stream at its first value.
  void Rewind();

  /// The stream, open for binary reading and writing; owned by this object, at the same address
  /// after a move.
  [[nodiscard]] std::FILE* Stream() const { return stream_.get(); }

  /// The folder that the file is in.
  [[nodiscard]] const std::string& Folder() const { return folder_; }

 private:
  struct Closer {
    void operator()(std::FILE* file) const noexcept {
      std::fclose(file);  // NOLINT(*-owning-memory): this is what owns it
    }
  };

  void WriteAt(std::int64_t offset, std::span<const double> values) const;
  [[noreturn]] void ThrowWriteError(int error) const;
  /// `error` of 0: the file is too short.
  [[noreturn]] void ThrowReadError(int error) const;

  std::string folder_;
  std::int64_t written_ = 0;             ///< Values appended so far, the failed ones included.
  std::optional<TemporaryFolder> home_;  ///< Where the file needs a name; outlives the stream.
  std::vector<char> buffer_;  ///< The stream's; declared before it, so that it goes after it.
  std::unique_ptr<std::FILE, Closer> stream_;
};

}  // namespace qvhost
