#pragma once

#include <optional>
#include <vector>

namespace qvbench {

/// What a record of a file of classes holds: the covariates, a code from 0 for each factor, and
/// last its class, from 0.
struct ClassRecords {
  int covariates = 0;
  int classes = 0;
  std::vector<int> levels;  ///< Per factor how many it has.

  /// From arguments `COVARIATES CLASSES [LEVELS...]`; none when one is no number above 0 or there
  /// are fewer than two classes.
  static std::optional<ClassRecords> FromArguments(int count, char** arguments);

  /// Values per record.
  [[nodiscard]] int Size() const { return covariates + static_cast<int>(levels.size()) + 1; }
  [[nodiscard]] int Dependent() const { return Size() - 1; }
};

}  // namespace qvbench
