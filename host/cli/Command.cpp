#include "host/cli/Command.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <exception>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <utility>

#include "host/Error.h"
#include "host/cli/FitCommand.h"
#include "host/cli/StandardStreams.h"

namespace qvhost {

namespace {

constexpr const char* kDescription =
    "qvreg fits regression models to tables of any length: CSV, TSV, Parquet and JSON files, "
    "DuckDB\n"
    "and SQLite databases and SQL queries.";

constexpr const char* kFooter = R"help(Example:
  qvreg fit --data penguins.csv --formula "body_mass ~ species*sex + flipper_length"

'qvreg fit --help' tells all options and how to write a formula.)help";

/// The layout of --help: a narrow first column, one empty line between groups of options.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter() {
    constexpr std::size_t kColumnWidth = 32;
    column_width(kColumnWidth);
    label("REQUIRED", "(required)");
  }

  std::string make_description(const CLI::App* app) const override {
    return Formatter::make_description(app) + "\n";
  }

  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override {
    std::string text = Formatter::make_help(app, std::move(name), mode);
    constexpr std::string_view kTwoEmptyLines = "\n\n\n";
    for (std::size_t at = text.find(kTwoEmptyLines); at != std::string::npos;
         at = text.find(kTwoEmptyLines, at)) {
      text.erase(at, 1);
    }
    return text;
  }
};

int Code(ExitCode code) { return static_cast<int>(code); }

int Fail(ExitCode code, const std::string& message) {
  WriteStandardError("qvreg: " + message);
  return Code(code);
}

/// The command line's fault as a sentence with a hint.
std::string UsageText(const CLI::App& app, const CLI::ParseError& error) {
  std::string message = error.what();
  message.erase(message.find_last_not_of(" \n.") + 1);
  const bool inFit = !app.get_subcommands().empty();
  return message + (inFit ? ".\nTry 'qvreg fit --help'." : ".\nTry 'qvreg --help'.");
}

int Run(int argc, const char* const* argv) {
  PrepareStandardStreams();
  CLI::App app(kDescription, "qvreg");
  app.formatter(std::make_shared<HelpFormatter>());
  app.set_help_flag("-h,--help", "Print this help and exit");
  app.footer(kFooter);
  app.set_version_flag("--version", "qvreg " QVREG_VERSION, "Print the version and exit");
  app.require_subcommand(1);
  FitCommand fit(app);
  try {
    app.parse(argc, argv);
  } catch (const CLI::CallForVersion& version) {
    WriteStandardOutput(std::string(version.what()) + "\n");
    return Code(ExitCode::kFitted);
  } catch (const CLI::CallForHelp&) {
    WriteStandardOutput(app.help());
    return Code(ExitCode::kFitted);
  } catch (const CLI::ParseError& error) {
    return Fail(ExitCode::kBadInput, UsageText(app, error));
  }
  fit.Run();
  return Code(ExitCode::kFitted);
}

}  // namespace

int RunCommand(int argc, const char* const* argv) noexcept try {
  return Run(argc, argv);
} catch (const Error& error) {
  return Fail(error.Code(), error.what());
} catch (const std::bad_alloc&) {
  return Fail(ExitCode::kRunFailed,
              "Out of memory. Leave out factors or crossings with many levels, or use a larger "
              "machine.");
} catch (const std::exception& error) {
  return Fail(ExitCode::kRunFailed,
              std::string("Unexpected error: ") + error.what() + ". Please report it.");
} catch (...) {
  return Fail(ExitCode::kRunFailed, "Unexpected error. Please report it.");
}

}  // namespace qvhost
