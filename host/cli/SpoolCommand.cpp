#include "host/cli/SpoolCommand.h"

#include <cstddef>

#include "host/ReadFile.h"
#include "host/cli/OptionValues.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/report/SpoolReport.h"

namespace qvhost {

namespace {

constexpr const char* kSpoolDescription =
    "Write a table as records for programs that use the library.";

constexpr const char* kSpoolFooter =
    R"help(Reads a table as 'qvreg fit' does, whose formulas these are, and writes its records: for each row the
dependent, the factors, the covariates and the weights, as numbers of 8 bytes, one behind the other,
without a heading. A factor is the number of its level, counted from 0, and -1 without a value; a number
without a value is the lowest one that there is, -1.7976931348623157e308. A program has the library fit
that file ('qvreg_source_open_file'); the JSON tells the columns, their levels, and the effects.

Parts of a table, on one machine or several, need the same levels in all parts: --only-levels finds those
of a part, reading no other column; the program puts them together, and --levels-from has each part
written with these, in the order in which they are listed.

Examples:
  qvreg spool -d cars.csv -f 'miles_per_gallon ~ weight + origin' -o cars.records --json cars.json
  qvreg spool -d part-7.parquet -f 'delay ~ carrier + distance' --only-levels --json 7.json
  qvreg spool -d part-7.parquet -f 'delay ~ carrier + distance' --levels-from all.json -o 7.records

Exit codes: 0 written, 1 the run failed, 2 wrong usage or unreadable data; cancelled: 130 by Ctrl-C,
143 by SIGTERM, 129 by SIGHUP; 141 when standard output is closed, as by head. Files are written and
replaced only when the run succeeds.)help";

}  // namespace

SpoolCommand::SpoolCommand(CLI::App& app)
    : command_(app.add_subcommand("spool", kSpoolDescription)->group("Commands")),
      data_(*command_, options_.fit.source, options_.fit.where),
      model_(*command_, options_.fit),
      report_(*command_) {
  command_->footer(kSpoolFooter);
  data_.Add();
  data_.AddThreads(options_.fit.threads);
  model_.Add();
  AddOptions();
}

void SpoolCommand::AddOptions() {
  constexpr const char* output = "Output";
  CLI::Option* const levels =
      command_
          ->add_option("--levels-from", options_.levelsFile,
                       "Levels of the factors and of a dependent that is one:\n"
                       "the 'columns' of a JSON of this command, of which 'name'\n"
                       "and 'levels' are needed. A value that is none of them\n"
                       "ends the run")
          ->type_name("FILE")
          ->excludes(command_->get_option("--base"))
          ->excludes(command_->get_option("--levels"))
          ->group("Model");
  OfferFiles(levels, {"json"});
  CLI::Option* const out =
      command_->add_option("-o,--out", options_.out, "Write the records to this file")
          ->type_name("FILE")
          ->group(output);
  command_
      ->add_flag("--only-levels", options_.onlyLevels,
                 "Read the columns with levels alone, and write no records")
      ->excludes(out)
      ->group(output);
  report_.AddJson("description of the records");
  data_.AddSpoolDir(options_.fit.spoolDir,
                    "Folder for the temporary file, which takes 8 bytes for\n"
                    "each value of a column of the model");
  report_.AddSummary("Print all rows of tables of more than 60");
  report_.AddQuiet();
}

void SpoolCommand::Take() {
  data_.Take();
  model_.Take();
  report_.Take();
  if (options_.out.empty() && !options_.onlyLevels) {
    RefuseUsage("Give the file for the records with --out, or --only-levels for the levels alone.");
  }
  if (options_.levelsFile.empty()) return;
  // Far more than levels take; a file of data that was named by mistake is not read to its end.
  constexpr std::size_t kMostBytes = std::size_t{1} << 30U;
  options_.levels = ReadLevels(ReadFile(options_.levelsFile, "the JSON of levels", kMostBytes),
                               options_.levelsFile);
}

ExitCode SpoolCommand::Run() {
  return RunInterruptibly([this](Interrupt& interrupt, InterruptWatch& watch) {
    Take();
    return SpoolAndReport(interrupt, watch);
  });
}

ExitCode SpoolCommand::SpoolAndReport(Interrupt& interrupt, InterruptWatch& watch) {
  OutputFiles outputs;
  report_.AddTo(outputs);
  if (!options_.out.empty()) outputs.Add("--out", options_.out);
  SpoolResult result;
  {
    ProgressBar progress = report_.IsQuiet() ? ProgressBar(nullptr) : ProgressBar();
    result = SpoolTable(options_, progress, interrupt, outputs);
  }
  const bool isRead = report_.Write(
      outputs, watch, [&] { return TextReport(result, report_.Style()); },
      [&] { return JsonReport(result); });
  return isRead ? ExitCode::kFitted : ExitCode::kPipeClosed;
}

}  // namespace qvhost
