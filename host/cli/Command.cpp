#include "host/cli/Command.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Terminal.h"
#include "host/Text.h"
#include "host/cli/Commands.h"
#include "host/cli/HelpFormatter.h"
#include "host/cli/StandardStreams.h"
#include "host/cli/Usage.h"
#include "host/report/TextStyle.h"

namespace qvhost {

namespace {

constexpr const char* kDescription =
    "qvreg fits regression models to tables of any length: CSV, TSV, Parquet and JSON files, "
    "DuckDB "
    "and SQLite databases and SQL queries.";

constexpr const char* kFooter = R"help(Examples:
  qvreg describe --data penguins.csv
  qvreg fit --data penguins.csv --formula 'body_mass ~ species*sex'

'qvreg help fit' prints all options of 'qvreg fit' and how to write a formula.)help";

using Words = std::vector<std::string>;

/// In bytes. What makes one longer is a name, path or text of the user's, of any length.
constexpr std::size_t kLongestSentence = 2000;

int Code(ExitCode code) { return static_cast<int>(code); }

/// The style of text for a stream before its options are read: `--color` counts wherever it stands.
TextStyle StyleOf(const Words& words, std::FILE* stream) {
  TextStyle style;
  style.width = OutputWidth(stream);
  ColorChoice choice = ColorChoice::kAuto;
  for (std::size_t i = 0; i < words.size(); ++i) {
    constexpr std::string_view kName = "--color";
    const std::string_view word = words[i];
    if (word == kName && i + 1 < words.size()) choice = ColorOf(words[i + 1]).value_or(choice);
    if (word.starts_with(kName) && word.substr(kName.size()).starts_with('=')) {
      choice = ColorOf(word.substr(kName.size() + 1)).value_or(choice);
    }
  }
  style.color = UsesColor(choice, stream);
  return style;
}

int Fail(ExitCode code, const std::string& message, const TextStyle& style) {
  WriteStandardError(style.Failure("qvreg:") + " " + message);
  return Code(code);
}

/// `qvreg help fit` is `qvreg fit --help`.
Words WithoutHelpCommand(Words words) {
  if (words.empty() || words.front() != "help") return words;
  std::rotate(words.begin(), words.begin() + 1, words.end());
  words.back() = "--help";
  return words;
}

int Print(const std::string& text) {
  return Code(WriteStandardOutput(text) ? ExitCode::kFitted : ExitCode::kPipeClosed);
}

int Run(const Words& words) {
  CLI::App app(kDescription, "qvreg");
  app.allow_windows_style_options(false);
  app.formatter(std::make_shared<HelpFormatter>(StyleOf(words, words.empty() ? stderr : stdout)));
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.footer(kFooter);
  app.set_version_flag("--version", "qvreg " QVREG_VERSION, "Print the version and exit");
  app.require_subcommand(1);
  Commands commands(app);
  if (words.empty()) {
    std::string help = app.help();
    help.pop_back();
    WriteStandardError(help);
    return Code(ExitCode::kBadInput);
  }
  try {
    CheckUsage(app, words);
    app.parse(Words(words.rbegin(), words.rend()));
  } catch (const CLI::CallForVersion& version) {
    return Print(std::string(version.what()) + "\n");
  } catch (const CLI::CallForHelp&) {
    return Print(app.help());
  } catch (const CLI::ParseError& error) {
    // The reader looks at values first.
    if (AsksForHelp(words)) return Print(app.help());
    throw Error(ExitCode::kBadInput, UsageText(app, error));
  }
  try {
    if (commands.describe.IsChosen()) return Code(commands.describe.Run());
    if (commands.compare.IsChosen()) return Code(commands.compare.Run());
    if (commands.score.IsChosen()) return Code(commands.score.Run());
    if (commands.show.IsChosen()) return Code(commands.show.Run());
    if (commands.sql.IsChosen()) return Code(commands.sql.Run());
    if (commands.spool.IsChosen()) return Code(commands.spool.Run());
    if (commands.completion.IsChosen()) return Code(commands.completion.Run());
    if (commands.manual.IsChosen()) return Code(commands.manual.Run());
    return Code(commands.fit.Run());
  } catch (const UsageError& error) {
    throw Error(error.Code(), fmt::format("{}\nTry 'qvreg {} --help'.", error.what(),
                                          app.get_subcommands().front()->get_name()));
  }
}

}  // namespace

int RunCommand(int argc, const char* const* argv) noexcept {
  TextStyle style;
  try {
    PrepareStandardStreams();
    const Words words = WithoutHelpCommand(Words(argv + std::min(argc, 1), argv + argc));
    style = StyleOf(words, stderr);
    return Run(words);
  } catch (const Error& error) {
    std::string sentence = error.what();
    CutMiddle(sentence, kLongestSentence);
    return Fail(error.Code(), sentence, style);
  } catch (const std::bad_alloc&) {
    return Fail(ExitCode::kRunFailed,
                "Out of memory. Leave out factors or crossings with many levels, or use a larger "
                "machine.",
                style);
  } catch (const std::exception& error) {
    return Fail(ExitCode::kRunFailed,
                std::string("Unexpected error: ") + error.what() + ". Please report it.", style);
  } catch (...) {
    return Fail(ExitCode::kRunFailed, "Unexpected error. Please report it.", style);
  }
}

}  // namespace qvhost
