#include <cstddef>
#include <functional>
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

/// What holds for every command. The tables stand before it.
constexpr std::string_view kFunctions = R"bash(
# Offers those of the words that begin with what is typed.
_qvreg_words() {
  local word
  for word in "$@"; do
    if [[ $word == "$plain"* ]]; then COMPREPLY+=("$word"); fi
  done
  if [[ ${#COMPREPLY[@]} -eq 1 && ${COMPREPLY[0]} == *: ]]; then compopt -o nospace; fi
}

# Offers folders, and files with one of the endings, or all files where none has one.
_qvreg_files() {
  local name ending names folders=() files=()
  compopt -o filenames
  mapfile -t names < <(compgen -f -- "$plain")
  for name in "${names[@]}"; do
    if [[ -d ${name/#\~\//$HOME/} ]]; then
      folders+=("$name")
      continue
    fi
    for ending in "$@"; do
      if [[ ${name,,} == *."$ending" ]]; then files+=("$name"); fi
    done
  done
  if [[ ${#files[@]} -gt 0 ]]; then
    COMPREPLY=("${folders[@]}" "${files[@]}")
  else
    COMPREPLY=("${names[@]}")
  fi
}

_qvreg_folders() {
  compopt -o filenames
  mapfile -t COMPREPLY < <(compgen -d -- "$plain")
}

# Sets `option` to the one whose value is typed; to nothing when it is none's.
_qvreg_find_option() {
  local i=$((COMP_CWORD - 1)) words=0
  if [[ $typed == = ]]; then
    typed=
    option=${COMP_WORDS[i]}
    return
  fi
  if [[ ${COMP_WORDS[i]} == = ]]; then
    option=${COMP_WORDS[i - 1]}
    return
  fi
  while ((i > 1)) && [[ ${COMP_WORDS[i]} != -[!0-9]* ]]; do
    i=$((i - 1)) words=$((words + 1))
  done
  option=${COMP_WORDS[i]}
  if ((words == 0)) && [[ $needing == *" $option "* ]]; then return; fi
  if [[ $typed == -* ]]; then
    option=
  elif [[ $lists != *" $option "* ]] && { ((words > 0)) || [[ $optional != *" $option "* ]]; }; then
    option=
  fi
}

_qvreg() {
  local typed=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[1]} option= plain
  local options= needing= optional= lists=
  COMPREPLY=()
  if ((COMP_CWORD > 1)); then
    _qvreg_options "$command"
    _qvreg_find_option
  fi
  # Without its quotes, as names are.
  case $typed in
    [\'\"]*) plain=${typed:1} ;;
    *) plain=${typed//\\/} ;;
  esac
  if ((COMP_CWORD == 1)); then
    _qvreg_commands
  elif [[ $command == help ]]; then
    if ((COMP_CWORD == 2)); then _qvreg_commands; fi
  elif [[ -z $option && $plain == -* ]]; then
    _qvreg_words $options
  else
    _qvreg_values "$command$option" || _qvreg_words $options
  fi
}

complete -F _qvreg qvreg
)bash";

/// A word that the shell takes as it stands.
std::string Quoted(const std::string& word) {
  return word.find_first_of(",:") == std::string::npos ? word : "'" + word + "'";
}

/// The call that offers a value; empty where nothing can be offered.
std::string Offer(const OptionValues& values) {
  Names words;
  for (const std::string& word : values.words) words.push_back(Quoted(word));
  const std::string list = fmt::format("{}", fmt::join(words, " "));
  switch (values.kind) {
    case Kind::kWords:
      return "_qvreg_words " + list;
    case Kind::kFiles:
      return list.empty() ? "_qvreg_files" : "_qvreg_files " + list;
    case Kind::kFolders:
      return "_qvreg_folders";
    case Kind::kNone:
      break;
  }
  return {};
}

/// The names of the options of which something holds, between blanks.
std::string NamesWhere(CLI::App& command, const std::function<bool(const CLI::Option&)>& holds) {
  std::string names = " ";
  for (const CLI::Option* const option : command.get_options()) {
    if (!holds(*option)) continue;
    for (const std::string& name : WrittenNames(*option)) names += name + " ";
  }
  return names;
}

std::string OptionTable(CLI::App& app) {
  std::string text = "_qvreg_options() {\n  case $1 in\n";
  for (CLI::App* const command : ShownCommands(app)) {
    text += fmt::format("    {})\n", command->get_name());
    const auto add = [&](std::string_view name, const auto& holds) {
      const std::string names = NamesWhere(*command, holds);
      if (names.size() > 1) text += fmt::format("      {}='{}'\n", name, names);
    };
    add("options", [](const CLI::Option&) { return true; });
    add("needing", [](const CLI::Option& option) { return NeedsValue(option); });
    add("optional",
        [](const CLI::Option& option) { return TakesValue(option) && !NeedsValue(option); });
    add("lists", [](const CLI::Option& option) { return TakesList(option); });
    text += "      ;;\n";
  }
  return text + "  esac\n}\n";
}

/// What each option's value may be. A value that nothing is known of is left to the user; what is
/// neither a value nor a file is an option.
std::string ValueTable(CLI::App& app) {
  std::string text = "_qvreg_values() {\n  case $1 in\n";
  for (CLI::App* const command : ShownCommands(app)) {
    const std::string& name = command->get_name();
    for (CLI::Option* const option : command->get_options()) {
      const std::string offer = Offer(ValuesOf(*option));
      if (offer.empty()) continue;
      Names patterns;
      for (const std::string& written : WrittenNames(*option)) patterns.push_back(name + written);
      if (patterns.empty()) patterns.push_back(name);
      text += fmt::format("    {}) {} ;;\n", fmt::join(patterns, " | "), offer);
    }
  }
  return text + "    *-*) ;;\n    *) return 1 ;;\n  esac\n}\n";
}

}  // namespace

std::string BashCompletion(CLI::App& app) {
  Names commands;
  for (const CLI::App* const command : ShownCommands(app)) commands.push_back(command->get_name());
  std::string text = "# Completion of qvreg for bash, written by 'qvreg completion bash'.\n\n";
  text += fmt::format("_qvreg_commands() {{\n  _qvreg_words {} help{}\n}}\n\n",
                      fmt::join(commands, " "),
                      NamesWhere(app, [](const CLI::Option&) { return true; }));
  text += OptionTable(app) + "\n" + ValueTable(app);
  return text.append(kFunctions);
}

}  // namespace qvhost
