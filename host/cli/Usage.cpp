#include "host/cli/Usage.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <initializer_list>
#include <map>
#include <optional>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/cli/OptionValues.h"
#include "host/cli/OtherNames.h"

namespace qvhost {
namespace {

using Words = std::span<const std::string>;
using Names = std::vector<std::string>;

constexpr const char* kHelp = "\nTry 'qvreg --help'.";

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Whether a word is meant as an option: `-` alone is standard input, `-5` a number.
bool IsOptionWord(std::string_view word) {
  return word.size() > 1 && word.front() == '-' && !IsDigit(word[1]);
}

/// The name of an option word without its dashes and value.
std::string_view NameIn(std::string_view word) {
  const std::string_view name = word.substr(word.starts_with("--") ? 2 : 1);
  return name.substr(0, name.find('='));
}

std::string NameOf(const CLI::Option& option) { return option.get_name(); }

/// The option with a value of its kind.
std::string ExampleOf(const CLI::Option& option) {
  return NameOf(option) + " " +
         (option.check_name("--formula") ? "'dependent ~ terms'" : option.get_type_name());
}

/// All long names of a command's options.
Names LongNames(const CLI::App& command) {
  Names names;
  for (const CLI::Option* option : command.get_options()) {
    const Names& own = option->get_lnames();
    names.insert(names.end(), own.begin(), own.end());
  }
  return names;
}

std::string ShortNames(const CLI::App& command) {
  Names names;
  for (const CLI::Option* option : command.get_options()) {
    for (const std::string& name : option->get_snames()) names.push_back("-" + name);
  }
  return fmt::format("{}", fmt::join(names, ", "));
}

const CLI::Option* LongOption(const CLI::App& command, std::string_view name) {
  return name.empty() ? nullptr : command.get_option_no_throw("--" + std::string(name));
}

const CLI::Option* ShortOption(const CLI::App& command, char name) {
  return command.get_option_no_throw(std::string{'-', name});
}

/// Whether a word is the name of an option, and so no value.
bool IsKnownOption(const CLI::App& command, std::string_view word) {
  if (!IsOptionWord(word)) return false;
  if (word.starts_with("--")) return LongOption(command, NameIn(word)) != nullptr;
  return word.size() == 2 && ShortOption(command, word[1]) != nullptr;
}

bool LooksLikeFormula(std::string_view word) { return word.find('~') != std::string_view::npos; }

/// Reads the words of one command.
class CommandWords {
 public:
  CommandWords(const CLI::App& command, Words words) : command_(command), words_(words) {}

  void Check() {
    while (at_ < words_.size()) {
      const std::string& word = words_[at_++];
      if (!IsOptionWord(word)) {
        if (!TakesPlainWords()) RefuseStray(word);
        if (word.empty()) Refuse("One of the files has an empty name.");
        continue;
      }
      if (word.starts_with("--")) {
        CheckLong(word);
      } else {
        CheckShort(word);
      }
    }
    for (const CLI::Option* option : command_.get_options()) {
      if (option->get_required() && counts_[option] == 0) RefuseMissing(*option);
    }
  }

 private:
  /// Whether words without an option are values of the command itself.
  [[nodiscard]] bool TakesPlainWords() const {
    return std::ranges::any_of(command_.get_options(),
                               [](const CLI::Option* option) { return option->get_positional(); });
  }

  [[noreturn]] void Refuse(const std::string& message) const {
    throw Error(ExitCode::kBadInput,
                fmt::format("{}\nTry 'qvreg {} --help'.", message, command_.get_name()));
  }

  void CheckLong(const std::string& word) {
    const CLI::Option* const option = LongOption(command_, NameIn(word));
    if (option == nullptr) RefuseUnknown(word);
    const std::size_t sign = word.find('=');
    if (sign == std::string::npos) return TakeValues(*option);
    if (!TakesValue(*option)) {
      Refuse(fmt::format("{} takes no value; leave '{}' out.", NameOf(*option), word.substr(sign)));
    }
    // The reader would take the next word.
    if (sign + 1 == word.size()) RefuseNoValue(*option);
    Count(*option);
    TakeFurtherValues(*option);
  }

  /// Several flags may be joined, and a value may follow at once.
  void CheckShort(const std::string& word) {
    if (const CLI::Option* const meant = LongOption(command_, NameIn(word));
        meant != nullptr && NameIn(word).size() > 1) {
      Refuse(fmt::format("'{}' needs two dashes: {}.", word, ShellWord("-" + word)));
    }
    for (std::size_t i = 1; i < word.size(); ++i) {
      const CLI::Option* const option = ShortOption(command_, word[i]);
      if (option == nullptr) RefuseUnknown(i == 1 ? word : std::string{'-', word[i]});
      if (!TakesValue(*option)) {
        Count(*option);
        continue;
      }
      if (i + 1 == word.size()) return TakeValues(*option);
      if (word[i + 1] == '=') {
        Refuse(fmt::format("Write -{0} without '=': -{0} {1}.", word[i],
                           ShellWord(word.substr(i + 2))));
      }
      Count(*option);
      return TakeFurtherValues(*option);
    }
  }

  /// The option's values among the words that follow.
  void TakeValues(const CLI::Option& option) {
    Count(option);
    if (!TakesValue(option)) return;
    const bool hasValue = at_ < words_.size() && !IsKnownOption(command_, words_[at_]);
    if (!NeedsValue(option) && (!hasValue || IsOptionWord(words_[at_]))) return;
    if (!hasValue) RefuseNoValue(option);
    CheckNotEmpty(option, words_[at_++]);
    TakeFurtherValues(option);
  }

  /// Those behind the first value, which was taken.
  void TakeFurtherValues(const CLI::Option& option) {
    last_ = &option;
    while (TakesList(option) && at_ < words_.size() && !IsOptionWord(words_[at_])) {
      if (LooksLikeFormula(words_[at_])) formula_ = words_[at_];
      CheckNotEmpty(option, words_[at_++]);
    }
  }

  /// What a shell makes of a variable that is not set is no value.
  void CheckNotEmpty(const CLI::Option& option, const std::string& value) const {
    if (value.empty() && !option.check_name("--na")) RefuseNoValue(option);
  }

  void Count(const CLI::Option& option) {
    last_ = nullptr;
    const bool mayRepeat =
        !TakesValue(option) || TakesList(option) || option.get_trigger_on_parse();
    if (++counts_[&option] > 1 && !mayRepeat) {
      Refuse(fmt::format("{} is given twice; give it once.", NameOf(option)));
    }
  }

  [[noreturn]] void RefuseNoValue(const CLI::Option& option) const {
    // Only a missing value may be an empty text.
    std::string_view other;
    if (option.check_name("--na")) other = ", or --na '' for an empty one";
    if (option.check_name("--json")) other = ", or --json - to print it";
    Refuse(fmt::format("{} has no value; write {}{}.", NameOf(option), ExampleOf(option), other));
  }

  [[noreturn]] void RefuseMissing(const CLI::Option& option) const {
    if (!formula_.empty()) {
      Refuse(fmt::format("{0} is missing, and {1} is no file; write {0} {1}.", NameOf(option),
                         ShellWord(formula_)));
    }
    Refuse(fmt::format("{} is missing; write {}.", NameOf(option), ExampleOf(option)));
  }

  [[noreturn]] void RefuseStray(const std::string& word) const {
    const bool isSplit =
        last_ != nullptr && (!LooksLikeFormula(word) || last_->check_name("--formula"));
    if (isSplit) {
      Refuse(
          fmt::format("'{}' follows the value of {} and belongs to no option; write a value that "
                      "has blanks in single quotes.",
                      word, NameOf(*last_)));
    }
    const std::string_view option = LooksLikeFormula(word) ? "--formula" : "--data";
    Refuse(fmt::format("'{}' belongs to no option; write {} {}.", word, option, ShellWord(word)));
  }

  /// Whether the command has all options that a hint names.
  [[nodiscard]] bool HasOptionsOf(std::string_view hint) const {
    constexpr std::string_view kLetters = "abcdefghijklmnopqrstuvwxyz-";
    for (std::size_t at = hint.find("--"); at != std::string_view::npos; at = hint.find("--", at)) {
      const std::size_t end = std::min(hint.find_first_not_of(kLetters, at), hint.size());
      if (LongOption(command_, hint.substr(at + 2, end - at - 2)) == nullptr) return false;
      at = end;
    }
    return true;
  }

  [[noreturn]] void RefuseUnknown(const std::string& word) const {
    const std::string_view name = NameIn(word);
    const bool isShort = !word.starts_with("--");
    const std::string written = (isShort ? "-" : "--") + std::string(name);
    const CLI::App* const parent = command_.get_parent();
    if (parent != nullptr && IsKnownOption(*parent, written)) {
      Refuse(fmt::format("{0} goes without a command: qvreg {0}.", written));
    }
    if (!isShort && name.size() == 1 && ShortOption(command_, name.front()) != nullptr) {
      const std::size_t sign = word.find('=');
      const std::string value =
          sign == std::string::npos ? "" : " " + ShellWord(word.substr(sign + 1));
      Refuse(fmt::format("'{}' needs one dash: -{}{}.", word, name, value));
    }
    // Before a near name: --predictions would overwrite the file that --predict names.
    for (const OtherName& other : OtherNames()) {
      if (SameWord(other.name, name) && HasOptionsOf(other.hint)) {
        Refuse(fmt::format("There is no option {}; {}.", written, other.hint));
      }
    }
    // One letter is near to nothing.
    const std::optional<std::string> nearest =
        name.size() > 1 ? NearestName(name, LongNames(command_)) : std::nullopt;
    if (nearest)
      Refuse(fmt::format("There is no option {}. Did you mean --{}?", written, *nearest));
    if (isShort) {
      Refuse(fmt::format("There is no option {}; the short ones are {}.", written,
                         ShortNames(command_)));
    }
    Refuse(fmt::format("There is no option {}.", written));
  }

  const CLI::App& command_;
  Words words_;
  std::size_t at_ = 0;
  const CLI::Option* last_ = nullptr;  ///< Whose value the word before is.
  std::string formula_;                ///< A value of a list that looks like a formula.
  std::map<const CLI::Option*, int> counts_;
};

[[noreturn]] void RefuseWithoutCommand(const CLI::App& app, const std::string& word) {
  const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
  Names options = LongNames(app);
  for (const CLI::App* command : commands) {
    if (IsKnownOption(*command, word.substr(0, word.find('=')))) {
      throw Error(ExitCode::kBadInput,
                  fmt::format("The command is missing: write 'qvreg {}' before {}.{}",
                              command->get_name(), word.substr(0, word.find('=')), kHelp));
    }
    for (const std::string& name : LongNames(*command)) options.push_back(name);
  }
  const std::string written = word.substr(0, word.find('='));
  const std::optional<std::string> nearest = NearestName(NameIn(word), options);
  throw Error(ExitCode::kBadInput,
              fmt::format("There is no option {}{}{}", written,
                          nearest ? ". Did you mean --" + *nearest + "?" : ".", kHelp));
}

bool IsOneOf(std::string_view word, std::initializer_list<std::string_view> words) {
  return std::ranges::any_of(words, [&](std::string_view each) { return SameWord(each, word); });
}

[[noreturn]] void RefuseCommand(const CLI::App& app, const std::string& word) {
  Names names = {"help"};
  for (const CLI::App* command : ShownCommands(app)) names.push_back(command->get_name());
  std::string hint = DidYouMean(word, names);
  if (SameWord(word, "version")) hint = " Write 'qvreg --version'.";
  if (SameWord(word, "predict")) {
    hint =
        " 'qvreg score' writes what a saved model predicts, 'qvreg fit' with --predictions FILE "
        "what "
        "the new one does.";
  } else if (IsOneOf(word, {"summary", "info", "columns", "head", "str", "glimpse", "profile"})) {
    hint = " 'qvreg describe' tells what is in a table.";
  } else if (IsOneOf(word, {"print", "view", "cat", "display", "report"})) {
    hint = " 'qvreg show' prints a saved model.";
  } else if (IsOneOf(word, {"export", "deploy", "query"})) {
    hint = " 'qvreg sql' writes a saved model as SQL.";
  } else if (IsOneOf(word, {"anova", "test", "diff"})) {
    hint = " 'qvreg compare' tests nested fits, 'qvreg fit --anova' the terms of one.";
  } else if (word.find_first_of(".~/") != std::string::npos) {
    hint = fmt::format(" Write 'qvreg fit' and {} before it.",
                       LooksLikeFormula(word) ? "--formula" : "--data");
  } else if (hint.empty()) {
    hint = " Write 'qvreg fit' to fit a model.";
  }
  throw Error(ExitCode::kBadInput, fmt::format("There is no command '{}'.{}{}", word, hint, kHelp));
}

/// The option that a message names: the longest name that is in it.
const CLI::Option* OptionNamedIn(const CLI::App& command, std::string_view message) {
  const CLI::Option* named = nullptr;
  for (const CLI::Option* option : command.get_options()) {
    const bool isIn = message.find(NameOf(*option)) != std::string_view::npos;
    if (isIn && (named == nullptr || NameOf(*option).size() > NameOf(*named).size())) {
      named = option;
    }
  }
  return named;
}

/// The first option that was given with one that it excludes. The message of the reader names any
/// two of several.
std::string ExclusionText(const CLI::App& command) {
  for (const CLI::Option* const option : command.get_options()) {
    if (option->count() == 0) continue;
    for (const CLI::Option* const other : ExcludedOptions(*option)) {
      if (other->count() == 0) continue;
      return fmt::format("{} and {} exclude one another; give one of them.", NameOf(*option),
                         NameOf(*other));
    }
  }
  return "Two options exclude one another; give one of them.";
}

/// What a value that could not be converted should have been.
std::string KindText(const CLI::Option& option, const std::string& value) {
  const bool isWhole = option.get_type_name() == "N";
  const bool isDigits = WholeNumber(value).has_value();
  if (isWhole && isDigits) {
    return fmt::format("{} takes a smaller number than {}.", NameOf(option), value);
  }
  std::string text = fmt::format("{} takes a {}, not '{}'", NameOf(option),
                                 isWhole ? "whole number" : "number", value);
  const std::size_t comma = value.find(',');
  if (isWhole || comma == std::string::npos) return text + ".";
  std::string withPoint = value;
  withPoint[comma] = '.';
  const bool isNumber = withPoint.find_first_not_of(".0123456789") == std::string::npos;
  return text + (isNumber ? "; write " + withPoint + "." : ".");
}

/// What other programs call a kind of model.
std::string KindHint(const std::string& value) {
  constexpr auto kLogistic = std::to_array<std::string_view>(
      {"logit", "binomial", "multinomial", "multinom", "glm", "quasibinomial"});
  constexpr auto kLinear = std::to_array<std::string_view>({"lm", "ols", "gaussian", "regression"});
  const auto isThis = [&](std::string_view name) { return SameWord(name, value); };
  if (std::ranges::any_of(kLogistic, isThis)) return " Write --model logistic.";
  if (std::ranges::any_of(kLinear, isThis)) return " Write --model linear.";
  return {};
}

/// The names in braces that a message lists: `x not in {a,b}`.
Names ChoicesIn(const std::string& message) {
  const std::size_t open = message.rfind('{');
  if (open == std::string::npos || message.back() != '}') return {};
  return CLI::detail::split(message.substr(open + 1, message.size() - open - 2), ',');
}

}  // namespace

bool AsksForHelp(std::span<const std::string> words) {
  return std::ranges::any_of(words,
                             [](const std::string& w) { return w == "--help" || w == "-h"; });
}

void CheckUsage(const CLI::App& app, std::span<const std::string> words) {
  const std::string& first = words.front();
  if (IsOptionWord(first)) {
    if (!IsKnownOption(app, first)) RefuseWithoutCommand(app, first);
    return;
  }
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; })) {
    if (command->get_name() != first) continue;
    if (!AsksForHelp(words)) CommandWords(*command, words.subspan(1)).Check();
    return;
  }
  RefuseCommand(app, first);
}

std::string UsageText(const CLI::App& app, const CLI::ParseError& error) {
  const auto parsed = app.get_subcommands();
  const CLI::App& command = parsed.empty() ? app : *parsed.front();
  const std::string help =
      parsed.empty() ? kHelp : "\nTry 'qvreg " + command.get_name() + " --help'.";
  const std::string message = error.what();
  const CLI::Option* const option = OptionNamedIn(command, message);
  if (option == nullptr) return "The command line cannot be read (" + message + ")." + help;
  const std::string name = NameOf(*option);
  if (dynamic_cast<const CLI::ExcludesError*>(&error) != nullptr) {
    return ExclusionText(command) + help;
  }
  const std::string value = option->results().empty() ? "" : option->results().front();
  if (dynamic_cast<const CLI::ConversionError*>(&error) != nullptr) {
    return KindText(*option, value) + help;
  }
  if (const Names choices = ChoicesIn(message); !choices.empty()) {
    const std::string kind = option->check_name("--model") ? KindHint(value) : std::string();
    return fmt::format("{} takes {}, not '{}'.{}{}", name, ChoiceText(choices), value,
                       kind.empty() ? DidYouMean(value, choices) : kind, help);
  }
  return fmt::format("{} cannot be '{}'.{}", name, value, help);
}

}  // namespace qvhost
