#include "host/cli/SqlCommand.h"

#include <utility>

#include "host/NameList.h"
#include "host/cli/OptionValues.h"
#include "host/cli/ReportArguments.h"
#include "host/cli/StandardStreams.h"
#include "host/fit/OutputFiles.h"
#include "host/model/Pmml.h"
#include "host/table/InputFiles.h"

namespace qvhost {

namespace {

constexpr const char* kSqlDescription = "Write a saved model as SQL that scores in a database.";
constexpr const char* kOutputGroup = "Output";

constexpr const char* kSqlFooter =
    R"help(Prints one SELECT: a linear model gives the column predicted, a logistic one predicted, the most probable
level, and p_LEVEL for each level. A row is NULL where a value that the model reads is missing, or is a
level that it does not know. The query needs CASE, arithmetic, exp, count(*) OVER () and what functions
the formula calls; it is tested in DuckDB and SQLite. Dates inside expressions and functions that
databases write in ways of their own are refused by name.

Examples:
  qvreg fit -d cars.csv -f 'miles_per_gallon ~ log(weight)*origin' -q --save cars.pmml
  qvreg sql cars.pmml --table cars
  qvreg sql cars.pmml --table cars --keep name,origin --out cars.sql

Exit codes: 0 written, 1 the run failed, 2 wrong usage, an unreadable file, or a model that cannot be
written as such SQL; 141 when standard output is closed, as by head.)help";

}  // namespace

SqlCommand::SqlCommand(CLI::App& app)
    : command_(app.add_subcommand("sql", kSqlDescription)->group("Commands")) {
  command_->footer(kSqlFooter);
  OfferModels(
      command_->add_option("MODEL.pmml", files_, "What 'qvreg fit --save' wrote")->type_name(""));
  command_
      ->add_option("--table", options_.table,
                   "The table to score; a dot parts the name of a\n"
                   "schema from its own, double quotes keep it whole")
      ->type_name("NAME")
      ->capture_default_str()
      ->group(kOutputGroup);
  CLI::Option* const keep = command_
                                ->add_option("--keep", keep_,
                                             "Columns of the table beside the scores: names with\n"
                                             "commas between them, or all")
                                ->type_name("COLUMN,...")
                                ->capture_default_str()
                                ->group(kOutputGroup);
  CLI::Option* const out =
      command_->add_option("--out", out_, "Write to this file, not to standard output")
          ->type_name("FILE")
          ->group(kOutputGroup);
  OfferWords(keep, {"all"});
  OfferFiles(out, {"sql"});
}

void SqlCommand::Take() {
  if (files_.size() != 1) {
    RefuseUsage("Name one model: qvreg sql MODEL.pmml; 'qvreg fit --save FILE' writes one.");
  }
  options_.keepAll = keep_ == "all";
  if (!options_.keepAll) options_.keep = ReadNameList("--keep", keep_);
}

ExitCode SqlCommand::Run() {
  return RunInterruptibly([this](Interrupt& /*interrupt*/, InterruptWatch& watch) {
    Take();
    OutputFiles outputs;
    if (!out_.empty()) outputs.Add("--out", out_);
    InputFiles inputs;
    const SavedModel model = ReadSavedModel(files_.front());
    inputs.Add(files_.front());
    outputs.SetInputs(std::move(inputs));
    outputs.Begin();
    const std::string query = ScoringSql(model, options_);
    if (out_.empty()) {
      return WriteStandardOutput(query) ? ExitCode::kFitted : ExitCode::kPipeClosed;
    }
    outputs.Get(out_).Write(query);
    outputs.Finish();
    watch.RunLastStep([&outputs] { outputs.Commit(); });
    return ExitCode::kFitted;
  });
}

}  // namespace qvhost
