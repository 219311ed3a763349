#include "host/cli/HelpFormatter.h"

#include <algorithm>
#include <vector>

#include "host/TextLayout.h"
#include "host/cli/HelpText.h"

namespace qvhost {
namespace {

constexpr std::size_t kNameColumn = 30;  ///< Where what an option means begins.
constexpr std::size_t kIndent = 2;
}  // namespace

HelpFormatter::HelpFormatter(const TextStyle& style) : style_(style) {
  label("REQUIRED", "(required)");
  label("Subcommands", "Commands");
  label("SUBCOMMAND", "COMMAND");
}

std::string HelpFormatter::make_description(const CLI::App* app) const {
  return Reflow(app->get_description(), style_.width) + "\n";
}

std::string HelpFormatter::make_footer(const CLI::App* app) const {
  return Reflow(app->get_footer(), style_.width);
}

std::string HelpFormatter::make_group(std::string group, bool isPositional,
                                      std::vector<const CLI::Option*> options) const {
  std::string text = "\n" + style_.Heading(group + ":") + "\n";
  for (const CLI::Option* option : options) text += make_option(option, isPositional);
  return text;
}

std::string HelpFormatter::make_option_opts(const CLI::Option* option) const {
  std::string text;
  if (option->get_type_size() == 0) return text;
  if (!option->get_type_name().empty()) text += " " + option->get_type_name();
  if (!option->get_default_str().empty()) text += "=" + option->get_default_str();
  if (option->get_items_expected_max() > 1) text += " ...";
  return option->get_required() ? text + " " + get_label("REQUIRED") : text;
}

std::string HelpFormatter::Entry(const std::string& name, const std::string& meaning) const {
  std::string text = std::string(kIndent, ' ') + name;
  std::string words = meaning;
  std::ranges::replace(words, '\n', ' ');
  const bool isNarrow = style_.width < kLeastForTwoColumns;
  const std::size_t column = isNarrow ? 2 * kIndent + kIndent : kNameColumn;
  if (words.empty()) return text + "\n";
  const std::size_t width = TextWidth(text);
  text +=
      width + kIndent > column ? "\n" + std::string(column, ' ') : std::string(column - width, ' ');
  return text + Wrap(words, style_.width, column, column) + "\n";
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool isPositional) const {
  std::string name = make_option_name(option, isPositional);
  // Names are comma separated without blanks.
  for (std::size_t at = name.find(','); at != std::string::npos; at = name.find(',', at + 1)) {
    name.insert(at + 1, " ");
  }
  return Entry(name + make_option_opts(option), make_option_desc(option));
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
  return Entry(command->get_name(), command->get_description());
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name,
                                     CLI::AppFormatMode mode) const {
  std::string text = Formatter::make_help(app, std::move(name), mode);
  constexpr std::string_view kTwoEmptyLines = "\n\n\n";
  for (std::size_t at = text.find(kTwoEmptyLines); at != std::string::npos;
       at = text.find(kTwoEmptyLines, at)) {
    text.erase(at, 1);
  }
  return text;
}

}  // namespace qvhost
