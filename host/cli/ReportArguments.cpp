#include "host/cli/ReportArguments.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>
#include <cstdio>
#include <filesystem>

#include <fmt/format.h>

#include "host/Terminal.h"
#include "host/Text.h"
#include "host/cli/OptionValues.h"
#include "host/cli/StandardStreams.h"

namespace qvhost {

namespace {

constexpr const char* kSummaryGroup = "Summary";

}  // namespace

void ReportArguments::AddJson(const std::string& what) {
  CLI::Option* const option =
      command_
          .add_option("--json", jsonFile_,
                      fmt::format("Write the {} to this file as JSON, too; - prints JSON\n"
                                  "in place of the summary",
                                  what))
          ->type_name("FILE")
          ->group("Output");
  OfferFiles(option, {"json"});
}

void ReportArguments::AddPage() {
  CLI::Option* const option =
      command_
          .add_option("--report", pageFile_,
                      "Write the fit to this .html file as a page for a browser, with\n"
                      "tables and plots; it loads nothing")
          ->type_name("FILE")
          ->group("Output");
  OfferFiles(option, {"html"});
}

void ReportArguments::AddDigits() {
  digitsOption_ = command_
                      .add_option("--digits", digits_,
                                  "Significant digits of estimates, their errors, limits\n"
                                  "and odds ratios, 1 to 17 [5 of the smallest in a column]")
                      ->type_name("N")
                      ->group(kSummaryGroup);
}

void ReportArguments::AddSummary(const std::string& allHelp) {
  command_.add_flag("--all", style_.all, allHelp)->group(kSummaryGroup);
  CLI::Option* const color = command_
                                 .add_option("--color", color_,
                                             "auto, always or never; auto colours on a terminal,\n"
                                             "unless NO_COLOR is set")
                                 ->type_name("WHEN")
                                 ->capture_default_str()
                                 ->group(kSummaryGroup);
  TakeOneOf(color, {"auto", "always", "never"});
}

void ReportArguments::AddQuiet() {
  command_
      .add_flag("-q,--quiet", isQuiet_,
                "Print no summary and no progress bar; files and --json -\nare written")
      ->group(kSummaryGroup);
}

void ReportArguments::Take() {
  constexpr int kMostDigits = 17;
  if (digitsOption_ != nullptr && digitsOption_->count() > 0) {
    if (digits_ < 1 || digits_ > kMostDigits) {
      RefuseUsage(fmt::format("--digits must be a whole number from 1 to {}.", kMostDigits));
    }
    style_.digits = digits_;
  }
  if (HasPage()) {
    const std::string ending = Lower(std::filesystem::path(pageFile_).extension().string());
    if (ending != ".html" && ending != ".htm") {
      RefuseUsage(
          fmt::format("--report writes a page for a browser; '{}' must end in .html.", pageFile_));
    }
  }
  style_.width = OutputWidth(stdout);
  style_.color = UsesColor(ColorOf(color_).value_or(ColorChoice::kAuto), stdout);
}

void ReportArguments::AddTo(OutputFiles& outputs) const {
  if (HasJson() && !PrintsJson()) outputs.Add("--json", jsonFile_);
  if (HasPage()) outputs.Add("--report", pageFile_);
}

bool ReportArguments::Write(OutputFiles& outputs, InterruptWatch& watch, const Maker& text,
                            const Maker& json, const Maker& page) const {
  if (HasJson() && !PrintsJson()) outputs.Get(jsonFile_).Write(json());
  if (HasPage()) outputs.Get(pageFile_).Write(page());
  outputs.Finish();
  // Before the files are replaced, so that a run that fails has replaced none.
  bool isRead = true;
  if (PrintsJson()) {
    isRead = WriteStandardOutput(json());
  } else if (!isQuiet_) {
    isRead = WriteStandardOutput(text());
  }
  watch.RunLastStep([&outputs] { outputs.Commit(); });
  return isRead;
}

ExitCode RunInterruptibly(
    const std::function<ExitCode(Interrupt& interrupt, InterruptWatch& watch)>& work) {
  Interrupt interrupt;
  InterruptWatch watch(interrupt);
  try {
    return work(interrupt, watch);
  } catch (...) {
    // The failure may be a consequence of the signal.
    if (interrupt.Requested()) throw Cancelled(interrupt.Signal());
    throw;
  }
}

}  // namespace qvhost
