#pragma once

#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "host/table/LevelChoice.h"
#include "host/table/MissingFunction.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// A table that is open, a formula read against its columns, and the columns that the model of it
/// needs: what a run is before a record is coded. One thread at a time.
class ModelTable {
 public:
  /// Opens the source of `options`, reads the formula and the condition and binds them to the
  /// table. `kind` of the binding is settled, and options of the other kind are refused. `outputs`
  /// receives the files that are read, and refuses to replace them.
  ///
  /// Throws Error (kBadInput) for a formula, a column or data that cannot be used; Cancelled when
  /// interrupted.
  ModelTable(const FitOptions& options, ProgressBar& progress, const Interrupt& interrupt,
             OutputFiles& outputs);
  ModelTable(const ModelTable&) = delete;
  ModelTable& operator=(const ModelTable&) = delete;

  [[nodiscard]] const TableSource& Source() const { return source_; }
  [[nodiscard]] const qvhost::Formula& Formula() const { return formula_; }
  [[nodiscard]] const std::optional<RowCondition>& Condition() const { return condition_; }
  /// Requests may be changed, and positions added, until the table is coded.
  [[nodiscard]] ModelBinding& Binding() { return binding_; }
  /// Sentences on columns that `.` leaves out.
  [[nodiscard]] const std::vector<std::string>& WithoutRole() const { return withoutRole_; }

  /// Codes the rows for which the condition is true, `requests` and the columns that the options
  /// keep. Once. Throws as CodeSource does, for levels with a hint.
  [[nodiscard]] CodedTable Code(const std::vector<ColumnRequest>& requests, ProgressBar& progress,
                                const Interrupt& interrupt);

 private:
  /// The columns whose types matter.
  [[nodiscard]] std::vector<std::string> ColumnsRead() const;

  const FitOptions& options_;
  TableSource source_;  // The formula's columns look into it: it stays where it is.
  qvhost::Formula formula_;
  std::optional<RowCondition> condition_;
  std::vector<std::string> kept_;
  std::vector<std::string> withoutRole_;
  ModelBinding binding_;
};

/// Throws the error of a level that does not exist, and says that its values were read as missing,
/// if they were.
[[noreturn]] void RefuseLevel(const NoSuchLevel& error, const std::vector<MissingString>& strings);

/// How the formula and the condition were understood, each sentence once more than `notes` has.
void AddNotes(const Formula& formula, const std::optional<RowCondition>& condition,
              std::vector<std::string>& notes);

}  // namespace qvhost
