#include "host/cli/HelpFormatter.h"

#include <algorithm>
#include <vector>

#include "host/TextLayout.h"
#include "host/cli/OptionValues.h"

namespace qvhost {
namespace {

constexpr std::size_t kNameColumn = 30;  ///< Where what an option means begins.

constexpr std::size_t kIndent = 2;
/// A line indented so far continues the second column of the line before.
constexpr std::size_t kSecondColumn = 16;

std::size_t IndentOf(std::string_view line) {
  return std::min(line.find_first_not_of(' '), line.size());
}

/// Where the second column of a line begins; none: 0.
std::size_t SecondColumnOf(std::string_view line) {
  const std::size_t gap = line.find("  ", IndentOf(line));
  return gap == std::string_view::npos ? 0 : gap + IndentOf(line.substr(gap));
}

/// A command broken at blanks outside quotes, so that it can be pasted.
std::string WrapCommand(std::string_view line, std::size_t width) {
  constexpr std::string_view kContinued = " \\";
  const std::size_t indent = IndentOf(line);
  std::string text(indent, ' ');
  std::size_t column = indent;
  std::size_t start = indent;
  char quote = '\0';
  for (std::size_t i = indent; i <= line.size(); ++i) {
    const char c = i < line.size() ? line[i] : ' ';
    if (quote == '\0' && (c == '\'' || c == '"')) {
      quote = c;
    } else if (c == quote) {
      quote = '\0';
    }
    if (i < line.size() && (quote != '\0' || c != ' ')) continue;
    const std::string_view word = line.substr(start, i - start);
    // An option stays with its value.
    const bool hasValue = i + 1 < line.size() && line[i + 1] != '-' && word.starts_with('-') &&
                          word.find(' ') == std::string_view::npos;
    if (hasValue) continue;
    const std::size_t size = TextWidth(word);
    const bool isFirst = start == indent;
    if (!isFirst && column + 1 + size + kContinued.size() > width) {
      text.append(kContinued).append("\n").append(indent + kIndent, ' ').append(word);
      column = indent + kIndent + size;
    } else {
      text.append(isFirst ? "" : " ").append(word);
      column += size + (isFirst ? 0 : 1);
    }
    start = i + 1;
  }
  return text;
}

std::string WrapLine(std::string_view line, std::size_t width) {
  const std::size_t indent = IndentOf(line);
  const bool isCommand = indent > 0 && (line.find("qvreg fit -") != std::string_view::npos ||
                                        line.find("qvreg describe -") != std::string_view::npos);
  if (isCommand) return WrapCommand(line, width);
  if (TextWidth(line) <= width) return std::string(line);
  const std::size_t second = SecondColumnOf(line);
  const std::size_t start = second > 0 ? second : indent;
  const bool isNarrow = second > 0 && width < kLeastForTwoColumns;
  const std::size_t continued = indent > 0 ? indent + kIndent : 0;
  const std::size_t hanging = second > 0 && !isNarrow ? second : continued;
  return std::string(line.substr(0, start)) +
         Wrap(line.substr(start), width, TextWidth(line.substr(0, start)), hanging);
}

/// The lines of a text, those joined that belong together.
std::vector<std::string> LinesOf(std::string_view text) {
  std::vector<std::string> lines;
  bool canJoin = false;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find('\n'), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const std::size_t indent = IndentOf(line);
    const bool continues =
        indent >= kSecondColumn || (indent == 0 && !lines.empty() && IndentOf(lines.back()) == 0);
    if (canJoin && !line.empty() && continues) {
      lines.back().append(" ").append(line.substr(indent));
    } else {
      lines.emplace_back(line);
    }
    // What a heading introduces is on lines of its own.
    canJoin = !line.empty() && line.back() != ':';
  }
  return lines;
}

}  // namespace

std::string Reflow(std::string_view text, std::size_t width) {
  std::string reflowed;
  for (const std::string& line : LinesOf(text)) reflowed += WrapLine(line, width) + "\n";
  return reflowed;
}

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
  if (TakesList(*option)) text += " ...";
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
