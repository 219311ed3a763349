#include <algorithm>
#include <cstddef>
#include <string_view>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/cli/CompletionScripts.h"
#include "host/cli/OptionValues.h"

namespace qvhost {
namespace {

using Names = std::vector<std::string>;
using Kind = OptionValues::Kind;

constexpr std::string_view kBegin = R"zsh(#compdef qvreg
# Completion of qvreg for zsh, written by 'qvreg completion zsh'.

_qvreg() {
  local curcontext=$curcontext context state state_descr line
  local -A opt_args
  local -a commands
)zsh";

constexpr std::string_view kEnd = R"zsh(}

if [[ $zsh_eval_context[-1] == loadautofunc ]]; then
  _qvreg "$@"
else
  compdef _qvreg qvreg
fi
)zsh";

/// Text within single quotes of the shell, where _arguments takes some characters for its own.
std::string Escaped(std::string_view text) {
  std::string escaped;
  for (const char c : text) {
    if (c == '\'') {
      escaped += "'\\''";
      continue;
    }
    if (c == '[' || c == ']' || c == ':' || c == '\\') escaped += '\\';
    escaped += c;
  }
  return escaped;
}

/// The beginning of a description that tells enough: its first clause.
std::string FirstClause(std::string text) {
  std::ranges::replace(text, '\n', ' ');
  for (const std::string_view end : {". ", "; ", ": "})
    text.resize(std::min(text.find(end), text.size()));
  if (text.ends_with('.')) text.pop_back();
  return text;
}

/// What _arguments does for a value.
std::string Action(const OptionValues& values) {
  Names words;
  for (const std::string& word : values.words) words.push_back(Escaped(word));
  switch (values.kind) {
    case Kind::kWords:
      return fmt::format("({})", fmt::join(words, " "));
    case Kind::kFiles:
      return words.empty() ? "_files" : fmt::format("_files -g \"*.({})\"", fmt::join(words, "|"));
    case Kind::kFolders:
      return "_files -/";
    case Kind::kNone:
      break;
  }
  return " ";
}

/// Its own names and those that exclude it, which are not offered behind it.
Names ExcludedBy(const CLI::Option& option) {
  const bool mayRepeat = TakesList(option) || option.get_trigger_on_parse();
  Names names = mayRepeat ? Names() : WrittenNames(option);
  for (const CLI::Option* const other : ExcludedOptions(option)) {
    for (const std::string& name : WrittenNames(*other)) names.push_back(name);
  }
  return names;
}

/// What _arguments knows of an option.
std::string Specification(CLI::Option& option) {
  const std::string type =
      Escaped(option.get_positional() ? option.get_name() : option.get_type_name());
  const std::string value = type + ":" + Action(ValuesOf(option));
  if (option.get_positional()) return "'*:" + value + "'";
  Names names;
  for (const std::string& name : WrittenNames(option)) {
    const std::string_view sign = name.starts_with("--") ? "=" : "+";
    names.push_back(name + std::string(TakesValue(option) ? sign : ""));
  }
  const Names excluded = ExcludedBy(option);
  std::string text = excluded.empty() ? "" : fmt::format("'({})'", fmt::join(excluded, " "));
  if (TakesList(option) || option.get_trigger_on_parse()) text += "'*'";
  text += names.size() > 1 ? fmt::format("{{{}}}", fmt::join(names, ",")) : names.front();
  text += "'[" + Escaped(FirstClause(option.get_description())) + "]";
  if (TakesValue(option)) text += (NeedsValue(option) ? ":" : "::") + value;
  return text + "'";
}

std::string Arguments(CLI::App& app, std::string_view indent) {
  std::string text;
  const std::string separator = fmt::format(" \\\n{}", indent);
  for (CLI::Option* const option : app.get_options()) {
    text += separator + Specification(*option);
    const OptionValues values = ValuesOf(*option);
    // A word that follows the first file.
    const bool isList = TakesList(*option) && values.kind == Kind::kFiles;
    if (isList && !option->get_positional()) text += separator + "'*:FILE:" + Action(values) + "'";
  }
  return text;
}

}  // namespace

std::string ZshCompletion(CLI::App& app) {
  std::string text(kBegin);
  text += "  commands=(\n";
  for (const CLI::App* const command : ShownCommands(app)) {
    text += fmt::format("    '{}:{}'\n", command->get_name(),
                        Escaped(FirstClause(command->get_description())));
  }
  text += "    'help:Print the help of a command'\n  )\n";
  text += "  _arguments -C" + Arguments(app, "    ") +
          " \\\n    '1:command:->command' \\\n    '*::argument:->argument'\n"
          "  case $state in\n"
          "    command) _describe -t commands command commands ;;\n"
          "    argument)\n"
          "      case $line[1] in\n"
          "        help) _describe -t commands command commands ;;\n";
  for (CLI::App* const command : ShownCommands(app)) {
    text += fmt::format("        {})\n          _arguments -s{}\n          ;;\n",
                        command->get_name(), Arguments(*command, "            "));
  }
  text += "      esac\n      ;;\n  esac\n";
  return text.append(kEnd);
}

}  // namespace qvhost
