#pragma once

#include <CLI/App.hpp>
#include <functional>
#include <string>

#include "host/cli/DataArguments.h"
#include "host/fit/Interrupt.h"
#include "host/fit/OutputFiles.h"
#include "host/report/TextStyle.h"

namespace qvhost {

/// The options that every command has for what it prints: --json, --all, --color, and where they
/// make sense --report, --digits and --quiet; and the printing. Lives as long as the command line's
/// reader, which writes into it.
class ReportArguments {
 public:
  /// Of `command`, which must outlive this object.
  explicit ReportArguments(CLI::App& command) : command_(command) {}
  ReportArguments(const ReportArguments&) = delete;
  ReportArguments& operator=(const ReportArguments&) = delete;

  /// Adds --json for what the command finds: "fit".
  void AddJson(const std::string& what);
  /// Adds --report, for a page that shows a fit.
  void AddPage();
  void AddDigits();
  /// Adds the others; --all with this help.
  void AddSummary(const std::string& allHelp);
  /// Adds --quiet, without which nothing is.
  void AddQuiet();

  /// After reading: checks the values. Throws UsageError.
  void Take();

  /// Adds the files of --json and --report.
  void AddTo(OutputFiles& outputs) const;

  /// Makes the report in one form.
  using Maker = std::function<std::string()>;

  /// After Take and OutputFiles::Begin, as the last step: writes the JSON where --json says and the
  /// page where --report says, prints
  /// the text unless JSON is printed or nothing is to be, and commits all outputs. Whether what was
  /// printed was read to its end. Throws as OutputFiles and InterruptWatch do.
  [[nodiscard]] bool Write(OutputFiles& outputs, InterruptWatch& watch, const Maker& text,
                           const Maker& json, const Maker& page = {}) const;

  /// Whether --json names a file or `-`.
  [[nodiscard]] bool HasJson() const { return !jsonFile_.empty(); }
  /// Whether --report names a file.
  [[nodiscard]] bool HasPage() const { return !pageFile_.empty(); }
  [[nodiscard]] bool IsQuiet() const { return isQuiet_; }
  /// After Take.
  [[nodiscard]] const TextStyle& Style() const { return style_; }

 private:
  [[nodiscard]] bool PrintsJson() const { return jsonFile_ == "-"; }

  CLI::App& command_;
  std::string jsonFile_;  ///< `-` for standard output; empty for none.
  std::string pageFile_;  ///< Empty for none.
  std::string color_ = "auto";
  int digits_ = 0;
  CLI::Option* digitsOption_ = nullptr;  ///< Owned by the command.
  bool isQuiet_ = false;
  TextStyle style_;
};

/// Runs a command whose work a signal may end: then Cancelled is what is thrown, whatever failed.
[[nodiscard]] ExitCode RunInterruptibly(
    const std::function<ExitCode(Interrupt& interrupt, InterruptWatch& watch)>& work);

}  // namespace qvhost
