#include "host/cli/CompareCommand.h"

#include <utility>

#include "host/cli/FitFile.h"
#include "host/cli/OptionValues.h"
#include "host/compare/FitComparison.h"
#include "host/fit/OutputFiles.h"
#include "host/report/CompareReport.h"
#include "host/report/FitForComparison.h"
#include "host/table/InputFiles.h"

namespace qvhost {

namespace {

constexpr const char* kCompareDescription = "Compare saved models.";

constexpr const char* kCompareFooter =
    R"help(Takes what 'qvreg fit --save' or 'qvreg fit --json' wrote.

Prints estimates and standard errors side by side, how well each model fits, and for each fit the test
against the largest smaller one that is nested in it: F of linear models, the likelihood ratio of
logistic ones. Fits are tested against each other when they used the same records, of which the files
have a digest, and the terms of one hold all of the other; where there is no test a note says why.

Examples:
  qvreg fit -d cars.csv -f 'miles_per_gallon ~ weight' -q --save small.pmml
  qvreg fit -d cars.csv -f 'miles_per_gallon ~ weight*origin' -q --save large.pmml
  qvreg compare small.pmml large.pmml

Exit codes: 0 compared, 1 the run failed, 2 wrong usage, an unreadable file, or fits of different
dependents or kinds of model; 141 when standard output is closed, as by head.)help";

}  // namespace

CompareCommand::CompareCommand(CLI::App& app)
    : command_(app.add_subcommand("compare", kCompareDescription)->group("Commands")),
      report_(*command_) {
  command_->footer(kCompareFooter);
  OfferFiles(command_->add_option("MODEL", files_, "Saved models, or fits as JSON, two or more")
                 ->type_name(""),
             {"pmml", "xml", "json"});
  report_.AddJson("comparison");
  report_.AddDigits();
  report_.AddSummary("Print all rows of tables of more than 60");
}

ExitCode CompareCommand::Run() {
  return RunInterruptibly([this](Interrupt& /*interrupt*/, InterruptWatch& watch) {
    report_.Take();
    if (files_.size() < 2) {
      RefuseUsage(
          "Name two models or more: qvreg compare FIRST.pmml SECOND.pmml; 'qvreg fit --save FILE' "
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
