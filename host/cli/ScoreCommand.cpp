#include "host/cli/ScoreCommand.h"

#include "host/cli/OptionValues.h"
#include "host/cli/SharedArguments.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/model/Pmml.h"
#include "host/score/ScoreReport.h"
#include "host/table/TableWriter.h"

namespace qvhost {

namespace {

constexpr const char* kScoreDescription = "Score the rows of a table with a saved model.";

constexpr const char* kScoreFooter =
    R"help(Reads a table, whose columns have the names that they had in the fit, and writes a row of scores for
each of its rows, in their order: predicted; of a logistic model predicted, the most probable level, and
p_LEVEL for each level, in the order of 'qvreg fit --predictions', whose numbers they are to the last
bit. The dependent and weights need not be there.

A row that lacks a value, or has a level that the model does not know, gets empty scores, and is counted
by column in the summary. Text files are read with the --na, --decimal and --thousands of the fit unless
they are given here.

--interval adds std_error, conf_low, conf_high, the limits of the mean of such rows, and pred_low,
pred_high, those of a single one; of a logistic model se_LEVEL, the standard error of each probability.

Examples:
  qvreg fit -d cars.csv -f 'miles_per_gallon ~ weight + origin' --save cars.pmml
  qvreg score --model cars.pmml -d new.csv -o scores.csv --keep name
  qvreg score --model cars.pmml -d 'part-*.parquet' -o scores.parquet --interval

Exit codes: 0 scored, 1 the run failed, 2 wrong usage, an unreadable model or data that it does not
suit; cancelled: 130 by Ctrl-C, 143 by SIGTERM, 129 by SIGHUP; 141 when standard output is closed, as by
head. Files are written and replaced only when the run succeeds.)help";

}  // namespace

ScoreCommand::ScoreCommand(CLI::App& app)
    : command_(app.add_subcommand("score", kScoreDescription)->group("Commands")),
      data_(*command_, options_.source, options_.where),
      report_(*command_) {
  command_->footer(kScoreFooter);
  data_.Add();
  AddOptions();
}

void ScoreCommand::AddOptions() {
  constexpr const char* model = "Model";
  constexpr const char* output = "Output";
  command_
      ->add_option("-m,--model", options_.model, "The model, a file that 'qvreg fit --save' wrote")
      ->type_name("FILE")
      ->required()
      ->group(model);
  command_
      ->add_flag("--interval", options_.interval,
                 "Write standard errors and limits, of a logistic model\n"
                 "standard errors of the probabilities")
      ->group(model);
  confidenceOption_ = command_
                          ->add_option("--confidence", confidence_,
                                       "Confidence of the limits, at least 0 and below 1 [that\n"
                                       "of the fit]")
                          ->type_name("LEVEL")
                          ->group(model);
  data_.AddThreads(options_.threads)->group(model);
  command_
      ->add_option("-o,--out", options_.out, "Write the scores to this .csv, .tsv or .parquet file")
      ->type_name("FILE")
      ->required()
      ->group(output);
  command_
      ->add_option("--keep", keep_,
                   "Columns of the data to write beside the scores: names\n"
                   "with commas between them, or all")
      ->type_name("COLUMN,...")
      ->group(output);
  OfferModels(command_->get_option("--model"));
  OfferWrittenTables(command_->get_option("--out"));
  OfferWords(command_->get_option("--keep"), {"all"});
  report_.AddJson("summary");
  data_.AddSpoolDir(options_.spoolDir,
                    "Folder for the temporary file, which takes 8 bytes for\n"
                    "each value of a column of the model");
  report_.AddSummary("Print all rows of tables of more than 60");
  report_.AddQuiet();
}

void ScoreCommand::Take() {
  data_.Take();
  report_.Take();
  ReadKeep(keep_, options_.keep, options_.keepAll);
  if (confidenceOption_->count() > 0) {
    CheckConfidence(confidence_);
    if (!options_.interval) {
      RefuseUsage("--confidence is that of the limits of --interval; give both.");
    }
    options_.confidence = confidence_;
  }
  // The ending is wrong usage, whatever becomes of the run.
  static_cast<void>(TableFormatOf(options_.out));
}

ExitCode ScoreCommand::Run() {
  return RunInterruptibly([this](Interrupt& interrupt, InterruptWatch& watch) {
    Take();
    return ScoreAndReport(interrupt, watch);
  });
}

ExitCode ScoreCommand::ScoreAndReport(Interrupt& interrupt, InterruptWatch& watch) {
  OutputFiles outputs;
  report_.AddTo(outputs);
  outputs.Add("--out", options_.out);
  ScoreResult result;
  {
    ProgressBar progress = report_.IsQuiet() ? ProgressBar(nullptr) : ProgressBar();
    result = ScoreTable(ReadSavedModel(options_.model), options_, progress, interrupt, outputs);
  }
  const bool isRead = report_.Write(
      outputs, watch, [&] { return TextReport(result, report_.Style()); },
      [&] { return JsonReport(result); });
  return isRead ? ExitCode::kFitted : ExitCode::kPipeClosed;
}

}  // namespace qvhost
