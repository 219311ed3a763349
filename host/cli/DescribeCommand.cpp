#include "host/cli/DescribeCommand.h"

#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/report/DescribeReport.h"

namespace qvhost {

namespace {

constexpr const char* kDescribeDescription = "Describe the columns of a table.";

constexpr const char* kDescribeFooter =
    R"help(Of each column: its type, what a formula takes it for, missing and different values, the range of
numbers, dates and times, the most frequent levels of factors; and notes about columns with no value or
one, that are mostly missing, that number the rows, that would be factors of more than 1000 levels, about
text that reads as numbers and numbers that may be codes of categories.

The table is read as 'qvreg fit' reads it, once. Numbers with ~ are approximate: of a column with very
many different values not all are kept.

Examples:
  qvreg describe -d cars.csv
  qvreg describe -d 'sales-*.parquet' --where 'year = 2024' --json columns.json
  qvreg describe -d shop.duckdb --table orders

The variable COLUMNS of the environment sets the width of what is printed.

Exit codes: 0 described, 1 the run failed, 2 wrong usage or unreadable data; cancelled: 130 by Ctrl-C,
143 by SIGTERM, 129 by SIGHUP; 141 when standard output is closed, as by head.)help";

}  // namespace

DescribeCommand::DescribeCommand(CLI::App& app)
    : command_(app.add_subcommand("describe", kDescribeDescription)->group("Commands")),
      data_(*command_, options_.source, options_.where),
      report_(*command_) {
  command_->footer(kDescribeFooter);
  data_.Add();
  data_.AddThreads(options_.threads);
  report_.AddJson("description");
  data_.AddSpoolDir(options_.spoolDir, "Folder for what is copied of standard input");
  report_.AddSummary("Print all rows of tables of more than 60");
}

ExitCode DescribeCommand::Run() {
  return RunInterruptibly([this](Interrupt& interrupt, InterruptWatch& watch) {
    data_.Take();
    report_.Take();
    OutputFiles outputs;
    report_.AddTo(outputs);
    TableDescription table;
    {
      ProgressBar progress;
      table = DescribeTable(options_, progress, interrupt, outputs);
    }
    const bool isRead = report_.Write(
        outputs, watch, [&] { return TextReport(table, report_.Style()); },
        [&] { return JsonReport(table); });
    return isRead ? ExitCode::kFitted : ExitCode::kPipeClosed;
  });
}

}  // namespace qvhost
