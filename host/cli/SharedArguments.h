#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

/// \file
/// Values of options that several commands have.

namespace qvhost {

/// An option that may be given again and again; `texts` must outlive the command.
CLI::Option* AddRepeated(CLI::App& command, const char* name, std::vector<std::string>& texts,
                         const char* help);

/// The name of a column that an option gives, which may stand in back-quotes as in a formula.
/// Throws UsageError for several.
[[nodiscard]] std::string ReadColumn(const char* option, const std::string& written);

/// Throws UsageError unless it is the confidence of limits.
void CheckConfidence(double confidence);

/// Reads the lists of --keep: names of columns, or `all` for every one.
void ReadKeep(const std::vector<std::string>& lists, std::vector<std::string>& keep, bool& all);

}  // namespace qvhost
