#include "host/cli/OptionValues.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <algorithm>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace qvhost {
namespace {

// An option keeps what it offers as the name of a check, which nothing else reads: what a check
// describes would be printed in the help.
constexpr std::string_view kWords = "words";
constexpr std::string_view kFiles = "files";

std::string NameOf(std::string_view kind, const std::vector<std::string>& words) {
  return fmt::format("{} {}", kind, fmt::join(words, " "));
}

CLI::Option* Offer(CLI::Option* option, std::string_view kind,
                   const std::vector<std::string>& words) {
  CLI::Validator everything;
  return option->check(everything.name(NameOf(kind, words)));
}

/// What the option's checks keep; none: empty.
std::string OfferOf(CLI::Option& option) {
  try {
    for (int i = 0;; ++i) {
      const std::string& name = option.get_validator(i)->get_name();
      if (name.starts_with(kWords) || name.starts_with(kFiles)) return name;
    }
  } catch (const CLI::OptionNotFound&) {
    return {};
  }
}

bool IsShown(const CLI::App* command) { return !command->get_group().empty(); }

}  // namespace

CLI::Option* TakeOneOf(CLI::Option* option, const std::vector<std::string>& words) {
  return option->check(CLI::IsMember(words).description("").name(NameOf(kWords, words)));
}

CLI::Option* OfferWords(CLI::Option* option, const std::vector<std::string>& words) {
  return Offer(option, kWords, words);
}

CLI::Option* OfferFiles(CLI::Option* option, const std::vector<std::string>& endings) {
  return Offer(option, kFiles, endings);
}

CLI::Option* OfferWrittenTables(CLI::Option* option) {
  return OfferFiles(option, {"csv", "tsv", "parquet"});
}

CLI::Option* OfferModels(CLI::Option* option) { return OfferFiles(option, {"pmml", "xml"}); }

OptionValues ValuesOf(CLI::Option& option) {
  const std::string type = option.get_type_name();
  OptionValues values;
  if (type == "FILE") values.kind = OptionValues::Kind::kFiles;
  if (type == "DIR") values.kind = OptionValues::Kind::kFolders;
  std::vector<std::string> words = CLI::detail::split(OfferOf(option), ' ');
  if (words.size() < 2) return values;
  values.kind = words.front() == kWords ? OptionValues::Kind::kWords : OptionValues::Kind::kFiles;
  values.words.assign(words.begin() + 1, words.end());
  return values;
}

bool TakesValue(const CLI::Option& option) { return option.get_items_expected_max() > 0; }

bool NeedsValue(const CLI::Option& option) { return option.get_items_expected_min() > 0; }

bool TakesList(const CLI::Option& option) { return option.get_items_expected_max() > 1; }

std::vector<const CLI::Option*> ExcludedOptions(const CLI::Option& option) {
  std::vector<const CLI::Option*> excluded;
  for (const CLI::Option* const other : option.get_excludes()) excluded.push_back(other);
  std::ranges::sort(excluded, {}, [](const CLI::Option* other) { return other->get_name(); });
  return excluded;
}

std::vector<std::string> WrittenNames(const CLI::Option& option) {
  std::vector<std::string> names;
  for (const std::string& name : option.get_snames()) names.push_back("-" + name);
  for (const std::string& name : option.get_lnames()) names.push_back("--" + name);
  return names;
}

std::vector<CLI::App*> ShownCommands(CLI::App& app) { return app.get_subcommands(IsShown); }

std::vector<const CLI::App*> ShownCommands(const CLI::App& app) {
  return app.get_subcommands(IsShown);
}

}  // namespace qvhost
