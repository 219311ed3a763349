#include "host/cli/ManualPage.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/TextLayout.h"
#include "host/cli/HelpFormatter.h"
#include "host/cli/OptionValues.h"

namespace qvhost {
namespace {

constexpr std::size_t kTextWidth = 72;  ///< What a page of 80 columns leaves to a text.
constexpr std::size_t kUnbroken = 1'000'000;
constexpr std::string_view kExitCodes = "Exit codes: ";
constexpr std::string_view kVariable = "The variable ";

/// A variable of the environment, which commands read that have the option.
struct Variable {
  std::string_view name;
  std::string_view option;
  std::string_view meaning;
};

constexpr std::array<Variable, 3> kVariables = {
    {{"COLUMNS", "--color", "The width of what is printed, in place of the terminal's."},
     {"NO_COLOR", "--color", "Where it is set, --color auto prints without colours."},
     {"TMPDIR", "--spool-dir", "The folder of temporary files, where --spool-dir names none."}}};

/// Text for the formatter, which takes some characters for others and a point at the beginning of a
/// line for a request.
std::string Plain(std::string_view text) {
  std::string plain;
  bool begins = true;
  for (const char c : text) {
    if (begins && c == '.') plain += "\\&";
    begins = c == '\n';
    switch (c) {
      case '\\':
        plain += "\\e";
        break;
      case '-':
        plain += "\\-";
        break;
      case '\'':
        plain += "\\(aq";
        break;
      case '`':
        plain += "\\(ga";
        break;
      case '^':
        plain += "\\(ha";
        break;
      case '~':
        plain += "\\(ti";
        break;
      case '"':
        plain += "\\(dq";
        break;
      default:
        plain += c;
    }
  }
  return plain;
}

std::string Bold(std::string_view text) { return "\\fB" + Plain(text) + "\\fR"; }
std::string Italic(std::string_view text) { return "\\fI" + Plain(text) + "\\fR"; }

/// A paragraph in lines of the source.
std::string Filled(std::string_view text) { return Plain(Wrap(text, kTextWidth, 0, 0)) + "\n"; }

std::string Upper(std::string_view text) {
  std::string upper(text);
  std::ranges::transform(upper, upper.begin(), [](char c) {
    return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c;
  });
  return upper;
}

std::string WithoutDot(std::string_view text) {
  return std::string(text.substr(0, text.size() - (text.ends_with('.') ? 1 : 0)));
}

/// A part of the footer: its title, or none, and its lines.
struct Part {
  std::string title;
  std::vector<std::string> lines;
};

std::vector<Part> PartsOf(const std::string& footer) {
  std::vector<Part> parts;
  bool isNew = true;
  for (const std::string& line : CLI::detail::split(Reflow(footer, kUnbroken), '\n')) {
    if (line.empty()) {
      isNew = true;
      continue;
    }
    const bool isTitle = line.front() != ' ' && line.back() == ':';
    if (isNew || isTitle) parts.emplace_back();
    isNew = false;
    if (isTitle) {
      parts.back().title = line.substr(0, line.size() - 1);
    } else {
      parts.back().lines.push_back(line);
    }
  }
  return parts;
}

/// Where the second column of an indented line begins; none: npos.
std::size_t SecondColumn(std::string_view line) {
  const std::size_t gap = line.find("  ", line.find_first_not_of(' '));
  return gap == std::string_view::npos ? gap : line.find_first_not_of(' ', gap);
}

std::string Tagged(const std::string& tag, std::string_view meaning) {
  return ".TP\n" + tag + "\n" + Filled(meaning);
}

/// Lines as they stand, less their indent.
std::string Verbatim(const Part& part) {
  std::string text;
  for (const std::string& line : part.lines) {
    text += Reflow("  " + std::string(WithoutBlanks(line)), kTextWidth + 2);
  }
  std::string lines;
  for (const std::string& line : CLI::detail::split(text, '\n')) {
    if (!line.empty()) lines += Plain(line.substr(2)) + "\n";
  }
  return ".nf\n" + lines + ".fi\n";
}

std::string Body(const Part& part) {
  std::string text;
  const bool isTable = std::ranges::any_of(
      part.lines, [](const std::string& line) { return SecondColumn(line) != std::string::npos; });
  const bool isProse = part.lines.empty() || part.lines.front().front() != ' ';
  if (!isTable && !isProse) return Verbatim(part);
  for (const std::string& line : part.lines) {
    const std::size_t second = line.front() == ' ' ? SecondColumn(line) : std::string::npos;
    if (second == std::string::npos) {
      text += (text.empty() ? "" : ".PP\n") + Filled(WithoutBlanks(line));
    } else {
      text += Tagged(Bold(WithoutBlanks(std::string_view(line).substr(0, second))),
                     std::string_view(line).substr(second));
    }
  }
  return text;
}

/// What follows the name of an option.
std::string ValueTag(const CLI::Option& option) {
  if (!TakesValue(option)) return {};
  const std::string value = Italic(option.get_type_name());
  return (NeedsValue(option) ? " " + value : " [" + value + "]") +
         (TakesList(option) ? " ..." : "");
}

std::string OptionTag(const CLI::Option& option) {
  if (option.get_positional()) {
    return Italic(option.get_name()) + (TakesList(option) ? " ..." : "");
  }
  std::string tag;
  for (const std::string& name : WrittenNames(option)) {
    tag += (tag.empty() ? "" : ", ") + Bold(name);
  }
  return tag + ValueTag(option);
}

std::string OptionText(const CLI::Option& option) {
  std::string text = option.get_description();
  std::ranges::replace(text, '\n', ' ');
  if (!option.get_default_str().empty()) text += fmt::format(" [{}]", option.get_default_str());
  if (option.get_required()) text += ". Required";
  return text + (text.ends_with('.') ? "" : ".");
}

class Page {
 public:
  Page(CLI::App& app, std::string_view date)
      : app_(app), date_(date), parts_(PartsOf(app.get_footer())) {}

  std::string Text() {
    AddTitle();
    AddSynopsis();
    AddDescription();
    AddCommands();
    AddOptions();
    for (const Part& part : parts_) {
      if (!part.title.empty() && !part.title.starts_with("Examples")) AddPart(part);
    }
    for (const Part& part : parts_) {
      if (part.title.starts_with("Examples")) AddPart(part);
    }
    AddExitStatus();
    AddEnvironment();
    AddOtherPages();
    return text_;
  }

 private:
  [[nodiscard]] CLI::App& Root() const {
    return app_.get_parent() == nullptr ? app_ : *app_.get_parent();
  }
  /// As the pages are called.
  [[nodiscard]] std::string NameOf(const CLI::App& app) const {
    return app.get_parent() == nullptr ? app.get_name()
                                       : app.get_parent()->get_name() + "-" + app.get_name();
  }

  void AddHeading(std::string_view title) { text_ += fmt::format(".SH {}\n", Plain(Upper(title))); }

  void AddPart(const Part& part) {
    const std::size_t open = part.title.find(" (");
    AddHeading(part.title.substr(0, open));
    if (open != std::string::npos && part.title.ends_with(')')) {
      text_ += Filled(part.title.substr(open + 2, part.title.size() - open - 3) + ".") + ".PP\n";
    }
    text_ += Body(part);
  }

  void AddTitle() {
    std::string description = WithoutDot(app_.get_description());
    const std::string name = NameOf(app_);
    text_ += fmt::format(".TH {} 1 {} \"{}\" \"User commands\"\n", Upper(Plain(name)), date_,
                         Root().version());
    // Neither stretched lines nor parted names.
    text_ += ".ad l\n.nh\n";
    AddHeading("Name");
    const std::string prefix = Root().get_name() + " ";
    if (description.starts_with(prefix)) {
      description.erase(0, prefix.size());
    } else {
      description.front() = Lower(description.substr(0, 1)).front();
    }
    const std::size_t colon = description.find(':');
    text_ += Plain(name) + " \\- " + Filled(description.substr(0, colon));
  }

  void AddSynopsis() {
    AddHeading("Synopsis");
    const bool isRoot = app_.get_parent() == nullptr;
    text_ += Bold(isRoot ? app_.get_name() : Root().get_name() + " " + app_.get_name());
    for (CLI::Option* const option : app_.get_options()) {
      if (option->get_required()) text_ += " " + Bold(option->get_name()) + ValueTag(*option);
    }
    if (isRoot) text_ += " " + Italic("COMMAND");
    text_ += " [" + Italic("OPTION") + " ...]";
    for (CLI::Option* const option : app_.get_options()) {
      if (option->get_positional()) text_ += " " + OptionTag(*option);
    }
    text_ += "\n";
  }

  void AddDescription() {
    AddHeading("Description");
    text_ += Filled(app_.get_description());
    for (const Part& part : parts_) {
      const bool isElsewhere = !part.title.empty() || part.lines.front().starts_with(kExitCodes) ||
                               part.lines.front().starts_with(kVariable);
      if (!isElsewhere) text_ += ".PP\n" + Body(part);
    }
  }

  void AddCommands() {
    const std::vector<CLI::App*> commands = ShownCommands(app_);
    if (commands.empty()) return;
    AddHeading("Commands");
    for (const CLI::App* const command : commands) {
      text_ += Tagged(Bold(command->get_name()), command->get_description());
    }
  }

  void AddOptions() {
    AddHeading("Options");
    std::string group;
    for (const std::string& name : app_.get_groups()) {
      std::string entries;
      for (CLI::Option* const option : app_.get_options()) {
        if (option->get_group() != name) continue;
        entries += Tagged(OptionTag(*option), OptionText(*option));
      }
      if (!entries.empty()) text_ += fmt::format(".SS {}\n", Plain(name)) + entries;
    }
  }

  void AddExitStatus() {
    for (const Part& part : parts_) {
      if (!part.title.empty() || !part.lines.front().starts_with(kExitCodes)) continue;
      AddHeading("Exit status");
      text_ += Filled(part.lines.front().substr(kExitCodes.size()));
    }
  }

  void AddEnvironment() {
    std::string text;
    for (const Variable& variable : kVariables) {
      const bool isRead = app_.get_option_no_throw(std::string(variable.option)) != nullptr;
      if (isRead) text += Tagged(Bold(variable.name), variable.meaning);
    }
    if (text.empty()) return;
    AddHeading("Environment");
    text_ += text;
  }

  void AddOtherPages() {
    AddHeading("See also");
    std::string names;
    const auto add = [&](const CLI::App& other) {
      if (&other == &app_) return;
      names += (names.empty() ? "" : ",\n") + Bold(NameOf(other)) + "(1)";
    };
    add(Root());
    for (const CLI::App* const command : ShownCommands(Root())) add(*command);
    text_ += names + "\n";
  }

  CLI::App& app_;
  std::string_view date_;
  std::vector<Part> parts_;
  std::string text_;
};

}  // namespace

std::string ManualPage(CLI::App& app, std::string_view date) { return Page(app, date).Text(); }

}  // namespace qvhost
