#pragma once

#include <CLI/App.hpp>
#include <span>
#include <string>

namespace qvhost {

/// Throws Error (kBadInput) for a command line that the commands of `app` cannot take: a command or
/// an option that there is not, an option without a value or given twice, a word that belongs to
/// nothing, an option that is needed. The message names the word, the nearest name, and where help
/// is. Before the line is read, since the reader's own messages say less; values are left to it.
///
/// `words` are those after the program's name, and at least one.
void CheckUsage(const CLI::App& app, std::span<const std::string> words);

/// Whether one of the words asks for help, which is given whatever the others are.
[[nodiscard]] bool AsksForHelp(std::span<const std::string> words);

/// What to say of a fault that only the reader finds: a value of the wrong kind, options that
/// exclude one another.
[[nodiscard]] std::string UsageText(const CLI::App& app, const CLI::ParseError& error);

}  // namespace qvhost
