#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/WholeFile.h"
#include "host/table/InputFiles.h"

namespace qvhost {

/// The files that a run writes: all are tried before the work, so that one that cannot be written
/// stops the run early, begun when the data have been read, as a pattern of data files might match
/// them, and committed together at the end. Destroyed before that, they leave every file as it was;
/// a device or a pipe is written at once. None of them may be a file that the run reads, by
/// whatever name, and no two of them may be one file.
///
/// Owns the files. One thread at a time. Throws Error as WholeFile does, and as Check does.
class OutputFiles {
 public:
  /// Adds the file that an option names, and tries whether it can be written. Throws Error
  /// (kBadInput) when another option names it.
  void Add(const std::string& option, const std::string& path);

  /// Begins all files.
  void Begin();

  /// The file of this path; valid as long as this object. After Begin.
  [[nodiscard]] const WholeFile& Get(const std::string& path) const;

  /// Sets which files the run reads, as far as they are known, and checks.
  void SetInputs(InputFiles inputs);

  /// Checks the files as they are now. Throws Error (kBadInput) that names the option, the file
  /// and the input, or the other output.
  void Check() const;

  /// Does everything but the renaming, which takes no time and hardly ever fails. Whoever wrote the
  /// files has closed them.
  void Finish();

  /// Checks once more and renames the files into place, one straight after another, and waits until
  /// that is on the disk; after Finish. The first failure ends it, and files renamed until then
  /// stay.
  void Commit();

 private:
  struct Output {
    std::string option;
    std::string path;
    std::optional<WholeFile> file;
  };
  static void CheckTwo(const Output& one, const Output& other);

  std::vector<Output> outputs_;
  InputFiles inputs_;
};

}  // namespace qvhost
