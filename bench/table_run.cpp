// Fits a formula to a table as the command does, and prints what coding the table and each pass
// over the coded records took.

#include <cstdio>
#include <exception>

#include "bench/RunReport.h"
#include "bench/Stopwatch.h"
#include "bench/TimedFit.h"
#include "host/fit/FitOptions.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/RunSettings.h"
#include "host/fit/SpoolRunner.h"
#include "host/formula/Formula.h"
#include "host/table/CodeTable.h"
#include "host/table/TableSource.h"

namespace {

bool Run(const qvhost::FitOptions& options) {
  const qvbench::Stopwatch watch;
  const qvhost::Formula formula = qvhost::ParseFormula(options.formula);
  const qvhost::TableSource source(options.source);
  const qvhost::ModelBinding binding = qvhost::BindModel(formula, source, options.binding);
  const qvhost::CodedTable table = qvhost::CodeTable(source, binding.columns);
  qvbench::PrintStep("reading and coding", watch.Now(), static_cast<double>(table.RecordCount()));

  qvhost::RunSettings settings(formula, binding, table, options);
  qvbench::PassClock clock;
  qvbench::TimedIterator<qvhost::SpoolRecords> records(clock, table);
  return qvbench::FitAndPrint(settings.Get(), records, clock);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "usage: bench_table_run FILE FORMULA\n");
    return 2;
  }
  qvhost::FitOptions options;
  options.source.data = argv[1];
  options.formula = argv[2];
  try {
    return Run(options) ? 0 : 1;
  } catch (const std::exception& error) {
    std::fprintf(stderr, "bench_table_run: %s\n", error.what());
    return 1;
  }
}
