#pragma once

#include <string>
#include <vector>

#include "host/table/InputFiles.h"

namespace qvhost {

/// The files that a run writes. None of them may be a file that the run reads, by whatever name,
/// and no two of them may be one file. One thread at a time.
class OutputFiles {
 public:
  /// Adds the file that an option names. Throws Error (kBadInput) when another option names it.
  void Add(const std::string& option, const std::string& file);

  /// Sets which files the run reads, as far as they are known, and checks.
  void SetInputs(InputFiles inputs);

  /// Looks at the files as they are now. Throws Error (kBadInput) that names the option, the file
  /// and the input, or the other output.
  void Check() const;

 private:
  struct Output {
    std::string option;
    std::string file;
  };
  static void CheckTwo(const Output& one, const Output& other);

  std::vector<Output> outputs_;
  InputFiles inputs_;
};

}  // namespace qvhost
