#include "fuzz/OptionTable.h"

#include <CLI/App.hpp>
#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "host/cli/Commands.h"

namespace qvfuzz {

std::vector<VerbRow> OptionTable() {
  CLI::App app;
  const qvhost::Commands commands(app);
  std::vector<VerbRow> table;
  for (CLI::App* const command : app.get_subcommands([](CLI::App*) { return true; })) {
    VerbRow verb{command->get_name(), {}};
    for (CLI::Option* const option : command->get_options()) {
      verb.options.push_back({qvhost::WrittenNames(*option), option->get_type_name(),
                              qvhost::ValuesOf(*option), qvhost::TakesValue(*option),
                              qvhost::NeedsValue(*option), qvhost::TakesList(*option)});
    }
    table.push_back(std::move(verb));
  }
  return table;
}

}  // namespace qvfuzz
