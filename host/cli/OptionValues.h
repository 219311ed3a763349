#pragma once

#include <CLI/App.hpp>
#include <string>
#include <vector>

namespace qvhost {

/// What completion offers for the value of an option.
struct OptionValues {
  enum class Kind { kNone, kWords, kFiles, kFolders };
  Kind kind = Kind::kNone;
  /// Of kWords the words; of kFiles endings without their point, none for every file.
  std::vector<std::string> words;
};

/// Makes the words the only values that the reader takes, and offers them.
CLI::Option* TakeOneOf(CLI::Option* option, const std::vector<std::string>& words);

/// Offers the words; other values are taken, too.
CLI::Option* OfferWords(CLI::Option* option, const std::vector<std::string>& words);

/// Offers files with these endings, that is, where there are such; OfferWrittenTables those that
/// tables are written to, OfferModels those that models are read from.
CLI::Option* OfferFiles(CLI::Option* option, const std::vector<std::string>& endings);
CLI::Option* OfferWrittenTables(CLI::Option* option);
CLI::Option* OfferModels(CLI::Option* option);

/// What was offered; without that every file for an option that takes a FILE, every folder for one
/// that takes a DIR, nothing for any other.
[[nodiscard]] OptionValues ValuesOf(CLI::Option& option);

/// Whether a value may or must follow the option.
[[nodiscard]] bool TakesValue(const CLI::Option& option);
[[nodiscard]] bool NeedsValue(const CLI::Option& option);
/// Whether several values may follow one another.
[[nodiscard]] bool TakesList(const CLI::Option& option);

/// The options that it excludes, by their names: the reader keeps them in the order of their
/// addresses, which is another one in each run.
[[nodiscard]] std::vector<const CLI::Option*> ExcludedOptions(const CLI::Option& option);

/// The names of an option as they are written, such as -d and --data; none of a positional one.
[[nodiscard]] std::vector<std::string> WrittenNames(const CLI::Option& option);

/// The commands that the help of `app` names, in their order.
[[nodiscard]] std::vector<CLI::App*> ShownCommands(CLI::App& app);
[[nodiscard]] std::vector<const CLI::App*> ShownCommands(const CLI::App& app);

}  // namespace qvhost
