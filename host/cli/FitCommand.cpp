#include "host/cli/FitCommand.h"

#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/RunFit.h"
#include "host/model/Pmml.h"
#include "host/report/HtmlReport.h"
#include "host/report/Report.h"

namespace qvhost {

namespace {

constexpr const char* kFitDescription = "Fit a regression model to a table and print a summary.";

constexpr const char* kFitFooter =
    R"help(A dependent that is a number gets a linear model, a category a logistic one. Among the terms, text,
boolean and enumerated columns are factors, numbers are covariates; C(x) makes a factor of a number.
Records with a missing value in a column of the model are left out.

To predict new rows, put them into a file with the same columns and no value of the dependent, and name
it as a second --data; --predictions FILE has a row for each row. Its columns are observed, predicted,
residual and std_error; of a logistic model observed, predicted and p_LEVEL for each level.

--diagnostics FILE has a row for each row, too: fitted, residual, standardized, studentized, leverage
and cooks_distance; of a logistic model deviance_residual, pearson_residual (of more than two levels
pearson_residual_LEVEL for each), leverage and cooks_distance.

Formulas:
  y ~ a + b              the terms a and b, and an intercept
  y ~ a*b                a + b + a:b, where a:b is a crossed with b
  y ~ a/b                a, then b nested in a
  y ~ (a + b + c)^2      crossed up to degree 2
  y ~ ., y ~ . - a       all other columns; all but a
  y ~ x + I(x^2)         a power of a covariate; poly(x, 3) for x + I(x^2) + I(x^3)
  log(y) ~ C(year)       a function (log is natural); a number taken as a factor
  y ~ C(g, Treatment('a'))  a factor whose levels are compared with a
  y ~ scale(x)           x less its mean, divided by its standard deviation; center(x)
  y ~ I(x > 1 and b)     any other expression: arithmetic, comparisons, and, or, not, in,
                         between, like, case, cast(x as double)
  y ~ 0 + a, y ~ a - 1   no intercept
  y ~ `odd name`         a name that is not letters, digits, _ and .
A variable is missing wherever a column that it reads is missing.

Functions of one record (docs/formula.md tells of each):
  abs sign round round_even floor ceil ceiling trunc mod least greatest
  ln log log10 log2 log1p exp expm1 sqrt cbrt pow power
  sin cos tan cot asin acos atan atan2 sinh cosh tanh asinh acosh atanh degrees radians pi
  lower upper trim ltrim rtrim length left right substring substr replace split_part concat
  strip_accents contains starts_with ends_with regexp_matches regexp_extract regexp_replace
  year quarter month week day dayofyear dayofweek isodow hour minute second epoch dayname
  monthname last_day date_part date_trunc date_diff make_date strftime strptime try_strptime
  if nullif

Examples:
  qvreg fit -d cars.csv -f 'miles_per_gallon ~ weight + origin'
  qvreg fit -d 'sales-*.parquet' -f 'log(price) ~ region*size' --json fit.json
  qvreg fit -d shop.duckdb --table orders -f 'total ~ items' --freq-weight n
  qvreg fit -d cars.csv -f 'miles_per_gallon ~ weight' --save cars.pmml --report cars.html
  qvreg fit -d titanic.csv -f 'survived ~ class*sex + age' --model logistic
  qvreg fit -d penguins.csv -f 'species ~ flipper_length' -o predicted.csv
  qvreg fit -d sales.csv -d new.csv -f 'price ~ size' -o predicted.csv
  qvreg fit --sql "SELECT * FROM 'a.csv' JOIN 'b.csv' USING (id)" -f 'y ~ x'
  gunzip -c old.csv.gz | qvreg fit -d - --encoding latin-1 -f 'y ~ x' --json -

The variable COLUMNS of the environment sets the width of what is printed.

Exit codes: 0 fitted, 1 the run failed, 2 wrong usage or unreadable data, 3 fitted with --strict, but
the estimation did not converge; cancelled: 130 by Ctrl-C, 143 by SIGTERM, 129 by SIGHUP; 141 when
standard output is closed, as by head. Files are written and replaced only when the run succeeds.)help";

/// Fits, and writes the model to the file of `outputs` that the options name, if they do.
FitResult Fit(const FitOptions& options, ProgressBar& progress, Interrupt& interrupt,
              OutputFiles& outputs) {
  if (options.save.empty()) return RunFit(options, progress, interrupt, outputs);
  SavedModel model = RunFitToSave(options, progress, interrupt, outputs);
  outputs.Get(options.save).Write(WritePmml(model));
  return std::move(model.fit);
}

void RequireConvergence(const FitResult& fit) {
  if (!fit.logistic || fit.logistic->converged) return;
  throw Error(ExitCode::kNotConverged,
              fmt::format("The estimation did not converge: {} All output is written.",
                          fit.logistic->ending));
}

}  // namespace

FitCommand::FitCommand(CLI::App& app)
    : command_(app.add_subcommand("fit", kFitDescription)->group("Commands")),
      arguments_(*command_) {
  command_->footer(kFitFooter);
}

ExitCode FitCommand::Run() {
  return RunInterruptibly([this](Interrupt& interrupt, InterruptWatch& watch) {
    arguments_.Take();
    return FitAndReport(interrupt, watch);
  });
}

ExitCode FitCommand::FitAndReport(Interrupt& interrupt, InterruptWatch& watch) {
  const FitOptions& options = arguments_.Options();
  const ReportArguments& report = arguments_.Report();
  OutputFiles outputs;
  report.AddTo(outputs);
  if (!options.save.empty()) outputs.Add("--save", options.save);
  if (!options.predictions.empty()) outputs.Add("--predictions", options.predictions);
  if (!options.diagnostics.empty()) outputs.Add("--diagnostics", options.diagnostics);
  if (!options.covarianceFile.empty()) outputs.Add("--vcov-out", options.covarianceFile);
  FitResult fit;
  {
    ProgressBar progress = report.IsQuiet() ? ProgressBar(nullptr) : ProgressBar();
    fit = Fit(options, progress, interrupt, outputs);
  }
  const bool isRead = report.Write(
      outputs, watch, [&] { return TextReport(fit, report.Style()); },
      [&] { return JsonReport(fit); }, [&] { return HtmlReport(fit, report.Style().digits); });
  if (options.strict) RequireConvergence(fit);
  return isRead ? ExitCode::kFitted : ExitCode::kPipeClosed;
}

}  // namespace qvhost
