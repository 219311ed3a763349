#pragma once

#include <cstddef>
#include <span>
#include <vector>

#include "qvreg/common/QvKernels.h"
#include "qvreg/design/QvCrossProducts.h"
#include "qvreg/design/QvPatternSums.h"

/// The weighted cross-products of design rows that share most of their columns, with or without the
/// dependent's as the last: of the records of one pattern the products of their few distinct values
/// are summed, in double-double, and these sums are added to those of the pattern's columns once.
///
/// A row of n values, the dependent among them, has n (n + 1) / 2 products; those of each value
/// with the one d places behind it, as if the first followed the last, are summed side by side for
/// d from 0 to n / 2. Used from one thread at a time.
class QvPatternProducts : public QvPatternSums {
 public:
  explicit QvPatternProducts(const QvCommon::QvKernels& kernels = QvCommon::QvKernels::Get())
      : fpKernels(&kernels) {}

  /// Holds no record, of designs of so many parameters; not open for rows of many values that fill
  /// half of the columns. As QvRecordPatterns::SetUp otherwise. REQUIRES: once.
  void SetUp(const QvDesignRow& row, const QvFactorTables& tables, std::size_t nParameters,
             bool hasDependent);
  /// Adds records with their weights and dependents, as many of the first as it answers; all while
  /// it is open. `sum` is of as many columns as there are parameters, and one for the dependent,
  /// and the same until MoveTo. May throw std::bad_alloc.
  std::size_t Add(std::span<const double* const> records, const double* weights,
                  const double* dependents, QvCrossProducts& sum);
  /// Adds all that was not yet added to `sum`, and holds no record.
  void MoveTo(QvCrossProducts& sum);

 protected:
  void AddPanel() override;
  void Move(int pattern, const double* entry) override;

 private:
  /// False where a number or weight is so large or small that products may not be exact.
  [[nodiscard]] bool IsPanelUsual();
  /// Whether so many values are zero that rows are added sooner one by one.
  [[nodiscard]] bool IsPanelSparse();
  void AddRowByItself(std::size_t r);
  /// The columns of a pattern, then the dependent's if it has one, and parallel to them the rows'
  /// values.
  void FindColumns(int pattern);
  /// Where an entry has the sum of the products of two values; what it lost is fNProducts behind.
  [[nodiscard]] std::size_t PlaceOf(std::size_t a, std::size_t b) const;

  const QvCommon::QvKernels* fpKernels;
  QvCrossProducts* fpSum = nullptr;
  std::vector<int> fNumbers;   ///< Of the parameters.
  bool fbDependent = false;    ///< Whether the dependent is the last value of a row.
  std::size_t fWidth = 0;      ///< Values of a row.
  std::size_t fNProducts = 0;  ///< Sums of an entry.
  std::vector<double> fSizes;  ///< Scratch: of values.
  std::vector<int> fColumns;   ///< Scratch: of a pattern.
  std::vector<std::size_t> fPlaces;
  std::vector<double> fHighs;  ///< Scratch: of a row of sums.
  std::vector<double> fLows;
};
