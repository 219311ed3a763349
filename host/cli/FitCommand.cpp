#include "host/cli/FitCommand.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <CLI/Validators.hpp>
#include <cmath>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/OutputFiles.h"
#include "host/cli/BadUsage.h"
#include "host/cli/StandardStreams.h"
#include "host/fit/Interrupt.h"
#include "host/fit/InterruptWatch.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/RunFit.h"
#include "host/report/JsonReport.h"
#include "host/report/TextReport.h"
#include "host/table/TableFormat.h"

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
  ln(y) ~ C(year)        any scalar function of DuckDB (whose log is to base 10); a number taken
                         as a factor
  y ~ 0 + a, y ~ a - 1   no intercept
  y ~ `odd name`         a name that is not letters, digits, _ and .

Examples:
  qvreg fit --data cars.csv --formula "miles_per_gallon ~ weight + origin"
  qvreg fit --data "sales-*.parquet" --formula "log(price) ~ region*size" --json fit.json
  qvreg fit --data shop.duckdb --table orders --formula "total ~ items" --freq-weight times
  qvreg fit --data titanic.csv --formula "survived ~ class*sex + age" --model logistic
  qvreg fit --data penguins.csv --formula "species ~ flipper_length" --predictions p.parquet
  qvreg fit --sql "SELECT * FROM 'a.csv' JOIN 'b.csv' USING (id)" --formula "y ~ x" --json -

Exit codes: 0 fitted, 1 the run failed, 2 wrong usage or unreadable data; cancelled: 130 by Ctrl-C,
143 by SIGTERM, 129 by SIGHUP. Files are written and replaced only when the run succeeds.)help";

/// An output must not replace its input.
void CheckNotTheData(const char* option, const std::string& file, const std::string& data) {
  std::error_code unknown;
  if (!std::filesystem::equivalent(file, data, unknown)) return;
  BadUsage(fmt::format("{} would replace the data, '{}'; name another file.", option, file));
}

}  // namespace

FitCommand::FitCommand(CLI::App& app)
    : command_(app.add_subcommand("fit", kDescription)), logistic_(*command_, options_.logistic) {
  command_->footer(kFooter);
  AddData();
  AddModel();
  AddInference();
  logistic_.Add();
  AddOutput();
}

void FitCommand::AddData() {
  constexpr const char* group = "Data";
  command_
      ->add_option("--data", options_.source.data,
                   "CSV, TSV, Parquet or JSON file, a pattern of files,\nor a DuckDB database")
      ->type_name("FILE")
      ->group(group);
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
                   "than this share is redundant")
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
  if (!(options_.tolerance >= 0.0) || !std::isfinite(options_.tolerance)) {
    BadUsage("--tolerance must be a number from 0 on, such as 1e-12.");
  }
  if (degreesOfFreedomOption_->count() > 0 &&
      !(degreesOfFreedom_ > 0.0 && std::isfinite(degreesOfFreedom_))) {
    BadUsage("--df must be a number above 0.");
  }
}

void FitCommand::CheckJsonFile() const {
  if (jsonFile_.empty() || JsonOnly()) return;
  CheckNotTheData("--json", jsonFile_, options_.source.data);
}

void FitCommand::CheckPredictionsFile() const {
  if (options_.predictions.empty()) return;
  CheckNotTheData("--predictions", options_.predictions, options_.source.data);
  const std::filesystem::path predictions(options_.predictions);
  if (predictions.lexically_normal() == std::filesystem::path(jsonFile_).lexically_normal()) {
    BadUsage("--json and --predictions name the same file; name two.");
  }
  static_cast<void>(TableFormatOf(options_.predictions));
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
  CheckRanges();
  logistic_.Take();
  TakeModelKind();
  TakeOptionsOfOneKind();
  options_.intercept = !noIntercept_;
  options_.refine = !noRefine_;
  if (degreesOfFreedomOption_->count() > 0) options_.degreesOfFreedom = degreesOfFreedom_;
  CheckJsonFile();
  CheckPredictionsFile();
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
  if (writesJson) outputs.Open(jsonFile_);
  if (!options_.predictions.empty()) outputs.Open(options_.predictions);
  FitResult fit;
  {
    ProgressBar progress;
    fit = RunFit(options_, progress, interrupt, outputs);
  }
  if (writesJson) outputs.Open(jsonFile_).Write(JsonReport(fit));
  outputs.Finish();
  // Before the files are replaced, so that a run that fails has replaced none.
  WriteStandardOutput(JsonOnly() ? JsonReport(fit) : TextReport(fit));
  watch.RunLastStep([&outputs] { outputs.Commit(); });
}

}  // namespace qvhost
