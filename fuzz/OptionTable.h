#pragma once

#include <string>
#include <vector>

#include "host/cli/OptionValues.h"

namespace qvfuzz {

/// An option of a command, or a word of its own (without names).
struct OptionRow {
  std::vector<std::string> names;  ///< As they are written: `-d`, `--data`.
  std::string type;                ///< Of its value, as help calls it: `FILE`, `COLUMN,...`.
  qvhost::OptionValues values;
  bool takesValue = false;
  bool needsValue = false;
  bool takesList = false;
};

/// A command and all its options.
struct VerbRow {
  std::string name;
  std::vector<OptionRow> options;
};

/// All commands, as the command itself declares them.
[[nodiscard]] std::vector<VerbRow> OptionTable();

}  // namespace qvfuzz
