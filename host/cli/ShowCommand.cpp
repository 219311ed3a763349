#include "host/cli/ShowCommand.h"

#include <utility>

#include "host/cli/FitFile.h"
#include "host/cli/OptionValues.h"
#include "host/fit/OutputFiles.h"
#include "host/report/HtmlReport.h"
#include "host/report/Report.h"
#include "host/table/InputFiles.h"

namespace qvhost {

namespace {

constexpr const char* kShowDescription = "Print a saved model as 'qvreg fit' did.";

constexpr const char* kShowFooter =
    R"help(Takes what 'qvreg fit --save' or 'qvreg fit --json' wrote, and prints the summary, or with --json the
JSON, that 'qvreg fit' printed, to the byte; no data is read. Files that the summary names, as those of
predictions, are not looked at. --report has the plots of records only if the fit was made with --report.

Examples:
  qvreg fit -d cars.csv -f 'miles_per_gallon ~ weight' -q --save cars.pmml
  qvreg show cars.pmml
  qvreg show cars.pmml --digits 12 --all
  qvreg show cars.pmml --report cars.html

Exit codes: 0 shown, 1 the run failed, 2 wrong usage or an unreadable file; 141 when standard output is
closed, as by head.)help";

}  // namespace

ShowCommand::ShowCommand(CLI::App& app)
    : command_(app.add_subcommand("show", kShowDescription)->group("Commands")),
      report_(*command_) {
  command_->footer(kShowFooter);
  OfferFiles(
      command_->add_option("MODEL", files_, "A saved model, or a fit as JSON")->type_name(""),
      {"pmml", "xml", "json"});
  report_.AddJson("fit");
  report_.AddPage();
  report_.AddDigits();
  report_.AddSummary("Print all rows of tables of more than 60, and all of more\nthan 12 tables");
}

ExitCode ShowCommand::Run() {
  return RunInterruptibly([this](Interrupt& /*interrupt*/, InterruptWatch& watch) {
    report_.Take();
    if (files_.size() != 1) {
      RefuseUsage("Name one model: qvreg show MODEL.pmml; 'qvreg fit --save FILE' writes one.");
    }
    OutputFiles outputs;
    report_.AddTo(outputs);
    InputFiles inputs;
    const FitResult fit = ReadFitFile(files_.front());
    inputs.Add(files_.front());
    outputs.SetInputs(std::move(inputs));
    outputs.Begin();
    const bool isRead = report_.Write(
        outputs, watch, [&] { return TextReport(fit, report_.Style()); },
        [&] { return JsonReport(fit); }, [&] { return HtmlReport(fit, report_.Style().digits); });
    return isRead ? ExitCode::kFitted : ExitCode::kPipeClosed;
  });
}

}  // namespace qvhost
