#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "tests/support/TempFolder.h"

namespace qvfuzz {

/// What a run of the command left.
struct CommandOutcome {
  int code = -1;
  std::string out;
  std::string err;
  /// Of files that it wrote or replaced, by their name in the folder; one that it removed is empty.
  std::map<std::string, std::string> files;

  bool operator==(const CommandOutcome&) const = default;
};

/// The folder that the command runs in, with a small table in files of every kind, files that are
/// no tables, and two saved models; and `tmp`, where its temporary files go. Each run finds them as
/// they were.
class CommandFolder {
 public:
  CommandFolder();
  CommandFolder(const CommandFolder&) = delete;
  CommandFolder& operator=(const CommandFolder&) = delete;

  /// Runs the command, in this process. Checks that it leaves no file open.
  CommandOutcome Run(const std::vector<std::string>& words);

 private:
  void WriteTables() const;
  void WriteDatabases() const;
  void SaveModels();
  void Restore(const CommandOutcome& outcome) const;

  qvtest::TempFolder folder_;
  qvtest::TempFolder kept_;  ///< The same files, to restore them.
  int errors_;               ///< Standard error as it was, and output.
  int output_;
};

}  // namespace qvfuzz
