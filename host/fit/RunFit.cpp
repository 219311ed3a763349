#include "host/fit/RunFit.h"

#include "host/Error.h"
#include "host/fit/LinearRun.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ResultBuilder.h"
#include "host/fit/RunSettings.h"
#include "host/fit/StatusText.h"
#include "host/formula/Formula.h"
#include "host/table/CodeTable.h"
#include "host/table/TableSource.h"
#include "qvreg/component/QvStatusCodes.h"

namespace qvhost {

namespace {

Formula ReadFormula(const FitOptions& options) {
  Formula formula = ParseFormula(options.formula);
  formula.intercept = formula.intercept && options.intercept;
  if (!formula.intercept && formula.terms.empty()) {
    throw Error(ExitCode::kBadInput,
                StatusText(QvCommon::QvStatus(QvStatusCode::kEmptyModel, false)));
  }
  return formula;
}

CodedTable Code(const TableSource& source, const ModelBinding& binding, const FitOptions& options,
                ProgressBar& progress, const Interrupt& interrupt) {
  CodingOptions coding;
  coding.spoolDir = options.spoolDir;
  coding.progress = [&](const CodingProgress& at) {
    progress.Show(StageName(at.stage), at.share, at.rows);
  };
  coding.cancelled = [&] { return interrupt.Requested(); };
  return CodeTable(source, binding.columns, coding);
}

/// The source for a report, with the query that it went through.
std::string DataText(const TableSource& source, const DataSource& asked) {
  if (asked.sql.empty()) return source.Name();
  return (asked.data.empty() ? "query " : asked.data + ", query ") + asked.sql;
}

}  // namespace

FitResult RunFit(const FitOptions& options, ProgressBar& progress, Interrupt& interrupt) {
  const Formula formula = ReadFormula(options);
  const TableSource source(options.source);
  const ModelBinding binding = BindModel(formula, source, options.binding);
  const CodedTable table = Code(source, binding, options, progress, interrupt);
  RunSettings settings(formula, binding, table, options);
  LinearRun run(settings.Get(), table, progress, interrupt);
  run.Build();
  FitResult result = ResultBuilder(formula, binding, table, run).Build(options);
  result.data = DataText(source, options.source);
  progress.Erase();
  return result;
}

}  // namespace qvhost
