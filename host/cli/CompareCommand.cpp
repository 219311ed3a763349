#include "host/cli/CompareCommand.h"

#include <utility>

#include "host/cli/FitFile.h"
#include "host/compare/FitComparison.h"
#include "host/fit/OutputFiles.h"
#include "host/report/CompareReport.h"
#include "host/report/FitForComparison.h"
#include "host/table/InputFiles.h"

namespace qvhost {

namespace {

constexpr const char* kDescription = "Compare fits that 'qvreg fit --json' wrote.";

constexpr const char* kFooter =
    R"help(Prints estimates and standard errors side by side, how well each model fits, and for each fit the test
against the largest smaller one that is nested in it: F of linear models, the likelihood ratio of
logistic ones. Fits are tested against each other when they used the same records, of which the JSON has
a digest, and the terms of one hold all of the other; where there is no test a note says why.

Examples:
  qvreg fit -d cars.csv -f 'miles_per_gallon ~ weight' -q --json small.json
  qvreg fit -d cars.csv -f 'miles_per_gallon ~ weight*origin' -q --json large.json
  qvreg compare small.json large.json

Exit codes: 0 compared, 1 the run failed, 2 wrong usage, an unreadable file, or fits of different
dependents or kinds of model; 141 when standard output is closed, as by head.)help";

}  // namespace

CompareCommand::CompareCommand(CLI::App& app)
    : command_(app.add_subcommand("compare", kDescription)->group("Commands")), report_(*command_) {
  command_->footer(kFooter);
  command_->add_option("FIT.json", files_, "Fits as JSON, two or more")->type_name("");
  report_.AddJson("comparison");
  report_.AddDigits();
  report_.AddSummary("Print all rows of tables of more than 60");
}

ExitCode CompareCommand::Run() {
  return RunInterruptibly([this](Interrupt& /*interrupt*/, InterruptWatch& watch) {
    report_.Take();
    if (files_.size() < 2) {
      RefuseUsage(
          "Name two fits or more: qvreg compare FIRST.json SECOND.json; 'qvreg fit --json FILE' "
          "writes one.");
    }
    OutputFiles outputs;
    report_.AddTo(outputs);
    InputFiles inputs;
    std::vector<SavedFit> fits;
    for (const std::string& file : files_) {
      fits.push_back(FitForComparison(ReadFitFile(file), file));
      inputs.Add(file);
    }
    outputs.SetInputs(std::move(inputs));
    outputs.Begin();
    const FitComparison comparison = CompareFits(std::move(fits));
    const bool isRead = report_.Write(
        outputs, watch, [&] { return TextReport(comparison, report_.Style()); },
        [&] { return JsonReport(comparison); });
    return isRead ? ExitCode::kFitted : ExitCode::kPipeClosed;
  });
}

}  // namespace qvhost
