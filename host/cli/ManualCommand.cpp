#include "host/cli/ManualCommand.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <chrono>
#include <cstdint>
#include <cstdlib>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/cli/DataArguments.h"
#include "host/cli/ManualPage.h"
#include "host/cli/OptionValues.h"
#include "host/cli/StandardStreams.h"

namespace qvhost {

namespace {

/// Today, or the day that whoever builds packages gives
/// (reproducible-builds.org/specs/source-date-epoch).
std::string Date() {
  using std::chrono::system_clock;
  system_clock::time_point now = system_clock::now();
  const char* const given = std::getenv("SOURCE_DATE_EPOCH");
  const auto seconds = WholeNumber(given == nullptr ? "" : given);
  if (seconds) now = system_clock::time_point(std::chrono::seconds(*seconds));
  const std::chrono::year_month_day day(std::chrono::floor<std::chrono::days>(now));
  return fmt::format("{:04}-{:02}-{:02}", static_cast<int>(day.year()),
                     static_cast<unsigned>(day.month()), static_cast<unsigned>(day.day()));
}

}  // namespace

ManualCommand::ManualCommand(CLI::App& app)
    : app_(app),
      command_(
          app.add_subcommand("man", "Print a manual page, in the macros of man(7).")->group("")) {
  command_->add_option("COMMAND", names_, "The command; none: qvreg itself")->type_name("");
}

ExitCode ManualCommand::Run() {
  if (names_.size() > 1) RefuseUsage("Name one command: qvreg man fit.");
  CLI::App* page = &app_;
  for (CLI::App* const command : ShownCommands(app_)) {
    if (!names_.empty() && command->get_name() == names_.front()) page = command;
  }
  if (!names_.empty() && page == &app_) {
    RefuseUsage(fmt::format("There is no command '{}'.", names_.front()));
  }
  return WriteStandardOutput(ManualPage(*page, Date())) ? ExitCode::kFitted : ExitCode::kPipeClosed;
}

}  // namespace qvhost
