#pragma once

#include <cstdint>
#include <cstdio>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/TemporaryFolder.h"
#include "host/table/FileKind.h"
#include "host/table/InputFiles.h"
#include "host/table/ReadingOptions.h"

namespace qvhost {

/// Called often while a pipe is copied, also while nothing comes, with the bytes so far. May throw
/// to end it.
using CopyProgress = std::function<void(std::uint64_t bytes)>;

/// Throws Error (kBadInput) unless `data` is one existing, readable file with something in it.
void CheckFile(const std::string& data);

/// The files that a run names as its data, as DuckDB can read them, again and again: what comes
/// through a pipe or is no UTF-8 is copied to a temporary folder once, from start to end.
///
/// A name is a path, a pattern of files, or `-` for standard input. Owns the folder; the files are
/// gone with it. One thread at a time. Movable.
class DataFiles {
 public:
  /// Checks that everything named is there, reads the pipes, and settles the format. Throws Error:
  /// kBadInput where there is nothing to read, the formats differ or an option does not go with the
  /// format, kRunFailed where the temporary folder cannot be written. `spoolDir` is its parent;
  /// empty for the system's. `progress` is not kept.
  DataFiles(const std::vector<std::string>& names, const ReadingOptions& options,
            const std::string& spoolDir, const CopyProgress& progress = {});

  [[nodiscard]] FileFormat Format() const { return format_; }

  /// For people: the names, or the first few of them.
  [[nodiscard]] std::string Name() const;

  /// What DuckDB's functions that read files take, as SQL: a pattern or a list.
  [[nodiscard]] std::string Sql() const;

  /// Whether more than one file may be read.
  [[nodiscard]] bool AreSeveral() const;

  /// The path of the only file.
  [[nodiscard]] const std::string& Path() const;

  /// A text with the names of the user in place of those of temporary files.
  [[nodiscard]] std::string WithNames(std::string text) const;

  /// Adds what the user named. Patterns are expanded by whoever reads them.
  void AddTo(InputFiles& inputs) const;

 private:
  struct File {
    std::string name;     ///< As the user wrote it; `standard input`.
    std::string path;     ///< A pattern of DuckDB's that matches just the files to be read.
    std::string copy;     ///< The temporary file; empty for none.
    std::string written;  ///< A path that leads to what the user named.
    bool isPattern = false;
  };

  void Add(const std::string& name, const CopyProgress& progress);
  void AddPipe(const std::string& name, const CopyProgress& progress);
  void AddPath(const std::string& name);
  void AddPattern(const std::string& pattern);
  void AddFile(const std::string& path);
  void Copy(std::FILE* from, const std::string& name, const std::string& written,
            const CopyProgress& progress);
  void AgreeOn(FileFormat format, const std::string& name);
  void CheckOptions() const;
  [[nodiscard]] FileFormat FormatOf(const std::string& name, const FileKind& kind) const;
  /// A new name in the temporary folder, which is made if there is none.
  std::string NewPath(const std::string& ending);

  ReadingOptions options_;
  std::string spoolDir_;
  std::optional<TemporaryFolder> folder_;
  int copies_ = 0;
  std::vector<File> files_;
  FileFormat format_ = FileFormat::kUnknown;
};

}  // namespace qvhost
