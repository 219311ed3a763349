#include "host/cli/FitCommand.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <cmath>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/cli/BadUsage.h"
#include "host/cli/StandardStreams.h"
#include "host/fit/Interrupt.h"
#include "host/fit/InterruptWatch.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/RunFit.h"
#include "host/report/JsonReport.h"
#include "host/report/TextReport.h"
#include "host/table/MissingStrings.h"
#include "host/table/TableWriter.h"

namespace qvhost {

namespace {

constexpr const char* kDescription = "Fit a regression model to a table and print a summary.";

constexpr const char* kFooter =
    R"help(A dependent that is a number gets a linear model, a category a logistic one. Among the terms, text,
boolean and enumerated columns are factors, numbers are covariates; C(x) makes a factor of a number.
Records with a missing value in a column of the model are left out.

Formulas:
  y ~ a + b              the terms a and b, and an intercept
  y ~ a*b                a + b + a:b, where a:b is a crossed with b
  y ~ a/b                a, then b nested in a
  y ~ (a + b + c)^2      crossed up to degree 2
  y ~ x + I(x^2)         a power of a covariate
  ln(y) ~ C(year)        a function (log is to base 10); a number taken as a factor
  y ~ I(x > 1 and b)     any other expression: arithmetic, comparisons, and, or, not, in,
                         between, like, case, cast(x as double)
  y ~ 0 + a, y ~ a - 1   no intercept
  y ~ `odd name`         a name that is not letters, digits, _ and .
A variable is missing wherever a column that it reads is missing.

Functions of one record (docs/formula.md tells of each):
  abs sign round floor ceil ceiling trunc mod least greatest
  ln log log10 log2 exp sqrt cbrt pow power
  sin cos tan cot asin acos atan atan2 sinh cosh tanh asinh acosh atanh degrees radians pi
  lower upper trim ltrim rtrim length left right substring substr replace split_part concat
  strip_accents contains starts_with ends_with regexp_matches regexp_extract regexp_replace
  year quarter month week day dayofyear dayofweek isodow hour minute second epoch dayname
  monthname last_day date_part date_trunc date_diff make_date strftime strptime try_strptime
  if nullif

Examples:
  qvreg fit --data cars.csv --formula "miles_per_gallon ~ weight + origin"
  qvreg fit --data "sales-*.parquet" --formula "log(price) ~ region*size" --json fit.json
  qvreg fit --data shop.duckdb --table orders --formula "total ~ items" --freq-weight times
  qvreg fit --data titanic.csv --formula "survived ~ class*sex + age" --model logistic
  qvreg fit --data penguins.csv --formula "species ~ flipper_length" --predictions p.parquet
  qvreg fit --sql "SELECT * FROM 'a.csv' JOIN 'b.csv' USING (id)" --formula "y ~ x" --json -

Exit codes: 0 fitted, 1 the run failed, 2 wrong usage or unreadable data; cancelled: 130 by Ctrl-C,
143 by SIGTERM, 129 by SIGHUP. Files are written and replaced only when the run succeeds.)help";

/// The default missing strings in lines of a help text.
std::string DefaultStrings() {
  constexpr std::size_t kInFirstLine = 5;
  const std::vector<std::string>& strings = MissingStrings::Default();
  const auto rest = strings.begin() + kInFirstLine;
  return fmt::format("{}\n{}; empty ones always are.", fmt::join(strings.begin(), rest, " "),
                     fmt::join(rest, strings.end(), " "));
}

}  // namespace

FitCommand::FitCommand(CLI::App& app)
    : command_(app.add_subcommand("fit", kDescription)),
      data_(*command_, options_),
      logistic_(*command_, options_.logistic) {
  command_->footer(kFooter);
  AddData();
  AddMissing();
  AddModel();
  AddInference();
  logistic_.Add();
  AddOutput();
}

void FitCommand::AddData() {
  constexpr const char* group = "Data";
  data_.Add();
  command_->add_option("--table", options_.source.table, "Table of the database named by --data")
      ->type_name("NAME")
      ->group(group);
  command_
      ->add_option("--sql", options_.source.sql,
                   "Query whose result is the table; it sees the tables of a\n"
                   "database named by --data, or another file as 'data'")
      ->type_name("QUERY")
      ->group(group);
}

void FitCommand::AddMissing() {
  command_
      ->add_option_function<std::string>(
          "--na", [this](const std::string& text) { options_.source.na.push_back(text); },
          fmt::format("A text that stands for a missing value, such as -999;\n"
                      "again for each. In place of the default for text files\n"
                      "(CSV, TSV, JSON), which is {}\n"
                      "Where NA is a category: --na '' takes but empty values.\n"
                      "Text columns of queries, databases and Parquet have\n"
                      "missing texts only if they are given here",
                      DefaultStrings()))
      ->type_name("STRING")
      ->trigger_on_parse()
      ->group("Data");
}

void FitCommand::AddModel() {
  constexpr const char* group = "Model";
  command_->add_option("--formula", options_.formula, "dependent ~ terms, see below")
      ->type_name("FORMULA")
      ->required()
      ->group(group);
  command_
      ->add_option("--model", model_,
                   "linear or logistic; by default linear for a dependent\n"
                   "that is a number, logistic for a category")
      ->type_name("KIND")
      ->check(CLI::IsMember({"linear", "logistic"}).description(""))
      ->group(group);
  command_
      ->add_option("--freq-weight", options_.binding.freqWeight,
                   "How many records each record stands for")
      ->type_name("COLUMN")
      ->group(group);
  command_
      ->add_option("--regression-weight", options_.binding.regressionWeight,
                   "How precise each record is (its inverse variance)")
      ->type_name("COLUMN")
      ->group(group);
  command_->add_flag("--no-intercept", noIntercept_, "Leave the intercept out")->group(group);
}

void FitCommand::AddInference() {
  constexpr const char* group = "Estimation";
  command_
      ->add_option("--tolerance", options_.tolerance,
                   "A column of which the columns before leave no more\n"
                   "than this share, at least 0 and below 1, is redundant")
      ->type_name("SHARE")
      ->capture_default_str()
      ->group(group);
  command_
      ->add_option("--confidence", options_.confidence,
                   "Confidence of the limits, at least 0 and below 1")
      ->type_name("LEVEL")
      ->capture_default_str()
      ->group(group);
  degreesOfFreedomOption_ =
      command_
          ->add_option(
              "--df", degreesOfFreedom_,
              "Of a linear model: degrees of freedom of the error, in\nplace of the computed ones")
          ->type_name("NUMBER")
          ->group(group);
  noRefineOption_ = command_
                        ->add_flag("--no-refine", noRefine_,
                                   "Of a linear model: skip the refinement of the estimates")
                        ->group(group);
}

void FitCommand::AddOutput() {
  constexpr const char* group = "Output";
  command_
      ->add_option("--json", jsonFile_,
                   "Write the fit to this file as JSON, too; - prints JSON\n"
                   "in place of the summary")
      ->type_name("FILE")
      ->group(group);
  command_
      ->add_option("--predictions", options_.predictions,
                   "Write what the model predicts for each row of the data\n"
                   "to this .csv, .tsv or .parquet file")
      ->type_name("FILE")
      ->group(group);
  command_
      ->add_option("--spool-dir", options_.spoolDir,
                   "Folder for the temporary file, which takes 8 bytes for\n"
                   "each value of a column of the model")
      ->type_name("DIR")
      ->group(group);
}

void FitCommand::CheckRanges() const {
  if (options_.formula.empty()) BadUsage("--formula is empty; write 'dependent ~ terms'.");
  if (options_.source.data.empty() && options_.source.sql.empty()) {
    BadUsage("No data are named; give a file with --data or a query with --sql.");
  }
  if (!(options_.confidence >= 0.0 && options_.confidence < 1.0)) {
    BadUsage("--confidence must be at least 0 and below 1, such as 0.95.");
  }
  if (!(options_.tolerance >= 0.0 && options_.tolerance < 1.0)) {
    BadUsage("--tolerance must be at least 0 and below 1, such as 1e-12.");
  }
  if (degreesOfFreedomOption_->count() > 0 &&
      !(degreesOfFreedom_ > 0.0 && std::isfinite(degreesOfFreedom_))) {
    BadUsage("--df must be a number above 0.");
  }
}

void FitCommand::TakeModelKind() {
  if (model_ == "linear") options_.binding.model = ModelKind::kLinear;
  if (model_ == "logistic") options_.binding.model = ModelKind::kLogistic;
}

void FitCommand::TakeOptionsOfOneKind() {
  for (const std::string& name : logistic_.Given()) {
    options_.ofOneKind.push_back({name, ModelKind::kLogistic});
  }
  for (const CLI::Option* option : {degreesOfFreedomOption_, noRefineOption_}) {
    if (option->count() > 0) options_.ofOneKind.push_back({option->get_name(), ModelKind::kLinear});
  }
}

void FitCommand::TakeOptions() {
  data_.Take();
  CheckRanges();
  logistic_.Take();
  TakeModelKind();
  TakeOptionsOfOneKind();
  options_.intercept = !noIntercept_;
  options_.refine = !noRefine_;
  if (degreesOfFreedomOption_->count() > 0) options_.degreesOfFreedom = degreesOfFreedom_;
  // The ending is wrong usage, whatever becomes of the run.
  if (!options_.predictions.empty()) static_cast<void>(TableFormatOf(options_.predictions));
}

void FitCommand::Run() {
  Interrupt interrupt;
  InterruptWatch watch(interrupt);
  try {
    TakeOptions();
    FitAndReport(interrupt, watch);
  } catch (...) {
    // Whatever failed may have failed because it was stopped.
    if (interrupt.Requested()) throw Cancelled(interrupt.Signal());
    throw;
  }
}

void FitCommand::FitAndReport(Interrupt& interrupt, InterruptWatch& watch) {
  const bool writesJson = !jsonFile_.empty() && !JsonOnly();
  OutputFiles outputs;
  if (writesJson) outputs.Add("--json", jsonFile_);
  if (!options_.predictions.empty()) outputs.Add("--predictions", options_.predictions);
  FitResult fit;
  {
    ProgressBar progress;
    fit = RunFit(options_, progress, interrupt, outputs);
  }
  if (writesJson) outputs.Get(jsonFile_).Write(JsonReport(fit));
  outputs.Finish();
  // Before the files are replaced, so that a run that fails has replaced none.
  WriteStandardOutput(JsonOnly() ? JsonReport(fit) : TextReport(fit));
  watch.RunLastStep([&outputs] { outputs.Commit(); });
}

}  // namespace qvhost
