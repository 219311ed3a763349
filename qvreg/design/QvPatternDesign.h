#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/common/QvAlignedDoubles.h"
#include "qvreg/design/QvDesignRow.h"

class QvFactorTables;

/// The design of rows whose parameters are known, as few numbers per row: the distinct values that
/// the columns of a row have. All columns of indicators share the value 1, and columns that the
/// same covariates multiply share those covariates' product. The rows of one pattern have the same
/// columns, each with the same one of the row's values.
///
/// Borrows the design row, which must outlive it; a value otherwise. Used from one thread at a
/// time.
class QvPatternDesign {
 public:
  /// Of no columns.
  QvPatternDesign() = default;
  /// `numbers` gives each parameter its number in the estimation, negative for one that takes no
  /// part; values that only such parameters have are left out. REQUIRES: parameter indices created.
  QvPatternDesign(const QvDesignRow& row, const QvFactorTables& tables,
                  const std::vector<int>& numbers);

  /// How many values a row has.
  [[nodiscard]] std::size_t GetValueCount() const { return fEffects.size(); }
  /// Whether there is one value, and that is 1 in every row.
  [[nodiscard]] bool IsConstant() const {
    return fEffects.size() == 1 && fpRow->IsConstant(fEffects.front());
  }
  /// Writes a row's values.
  void FillValues(const double* row, double* values) const {
    for (const Run& run : fRuns) {
      if (run.fPosition < 0) {
        *values++ = run.fbOne ? 1.0 : fpRow->ValueOf(run.fEffect, row);
        continue;
      }
      const double* from = row + run.fPosition;
      for (const double* const end = from + run.fCount; from != end;) *values++ = *from++;
    }
  }
  /// Finds a panel's values column by column: 256 numbers each, of rows that are kept so, `panel`
  /// being the first column. They stay until the next call, or as long as the rows. May throw
  /// std::bad_alloc.
  const std::vector<const double*>& FindPanelColumns(const double* panel);
  /// Finds the columns of the rows with these parameters, one per effect, -1 for none. REQUIRES:
  /// `numbers` as they were.
  void FindColumns(const std::vector<int>& parameterIndices);
  /// The numbers of the columns found, in increasing order.
  [[nodiscard]] const std::vector<int>& GetColumns() const { return fColumns; }
  /// Parallel to them, which of the row's values they have.
  [[nodiscard]] const std::vector<int>& GetPlaces() const { return fPlaces; }

 private:
  /// Values that are copied, one behind the other, from a position on; or the one of an effect.
  struct Run {
    std::size_t fEffect = 0;
    int fPosition = -1;
    int fCount = 0;
    bool fbOne = false;  ///< Whether the effect's value is always 1.
  };
  void AddToRuns(std::size_t effect);

  const QvDesignRow* fpRow = nullptr;
  const std::vector<int>* fpNumbers = nullptr;
  /// Per value an effect whose columns have it.
  std::vector<std::size_t> fEffects;
  std::vector<Run> fRuns;
  /// Per effect the place of its columns' value; -1 for one without a column.
  std::vector<int> fPlaceOf;
  std::vector<int> fColumns;
  std::vector<int> fPlaces;
  std::vector<const double*> fPanelColumns;
  QvCommon::QvAlignedDoubles fComputedColumns;  ///< Those that are not the rows' own.
};
