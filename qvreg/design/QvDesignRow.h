#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/common/QvColumnKernels.h"

namespace QvCommon {
class QvBitSet;
}
class QvFactorTables;
class QvRegrParameter;

/// The design row of one record in sparse form: the parameters whose column is not zero, in
/// ascending order, with their values. Refilled for every record without allocation.
///
/// The values are those that the estimation works with: each effect's divided by 2 to the power of
/// the exponent that the factor tables' column sizes give it, which is 0 for numbers of usual size.
///
/// Borrows the factor tables, which must outlive it. Used from one thread at a time.
class QvDesignRow {
 public:
  /// One parameter per model effect holds the covariates that multiply the effect's columns.
  /// `covariateVars` and `positions` are parallel: where a row holds each covariate. Storage is
  /// kept for one value more than there are effects. REQUIRES: every covariate has a position.
  void Setup(const QvFactorTables& tables, const std::vector<QvRegrParameter>& effectParameters,
             const std::vector<int>& covariateVars, const std::vector<int>& positions);

  /// Fills the row from a record's values. False when a level combination has no parameter; that
  /// effect's columns are then zero. REQUIRES: parameter indices created, and values that hold
  /// every factor and covariate.
  bool Expand(const double* values);
  /// Whether no effect has factors, so that every record has a value in each column.
  [[nodiscard]] bool HasAllColumns() const { return fbAllColumns; }
  /// Writes a record's values in all columns, zeros among them, to `row`. REQUIRES:
  /// HasAllColumns().
  void ExpandAll(const double* values, double* row) const;
  /// The same for a row whose parameters are known, one per effect, -1 for none.
  void ExpandIndices(const double* values, const std::vector<int>& parameterIndices);
  /// As ExpandIndices, into other vectors and with `numbers[parameter]` in place of each parameter,
  /// negative for one to leave out; the vectors become as long as the row has such non-zeros. May
  /// throw std::bad_alloc.
  void ExpandNumbered(const double* values, const std::vector<int>& parameterIndices,
                      const std::vector<int>& numbers, std::vector<int>& outIndices,
                      std::vector<double>& outValues) const;
  /// As Expand, with the values in the host's units.
  bool ExpandInHostUnits(const double* values);
  /// The value of an effect's columns in the host's units. REQUIRES: an effect of Setup.
  [[nodiscard]] double HostValue(std::size_t effect, const double* values) const;
  /// The value of an effect's columns in the estimation. REQUIRES: an effect of Setup.
  [[nodiscard]] double ValueOf(std::size_t effect, const double* values) const {
    const int position = fSingles[effect];
    return position >= 0 ? values[position] * fFactors[effect] : ProductValue(effect, values);
  }
  /// Rows of a panel, which is kept column by column.
  static constexpr std::size_t kPanelRows = QvCommon::QvColumnKernels::kRows;
  /// ValueOf for each row of a panel.
  void FillColumn(std::size_t effect, const double* panel, double* column) const;
  /// Where a row holds that value, if it does; -1 otherwise.
  [[nodiscard]] int GetCopiedPosition(std::size_t effect) const {
    return fFactors[effect] == 1.0 ? fSingles[effect] : -1;
  }
  /// The first effect whose columns have the same value in every row, since the same covariates
  /// multiply it in the same order: `effect` itself, or one before it.
  [[nodiscard]] std::size_t GetFirstAlike(std::size_t effect) const { return fFirstAlike[effect]; }
  /// Whether no covariate multiplies an effect's columns: their value is 1.
  [[nodiscard]] bool IsConstant(std::size_t effect) const {
    return fMultiplierOffsets[effect] == fMultiplierOffsets[effect + 1];
  }
  /// Takes the values of the columns whose bit is set out of the row.
  void Remove(const QvCommon::QvBitSet& columns);
  /// Adds a value behind the others, such as the dependent's. REQUIRES: a larger index; once per
  /// Expand.
  void Append(int index, double value);

  /// The number of non-zeros.
  [[nodiscard]] int GetCount() const { return fCount; }
  /// Their columns; only the first GetCount() entries count.
  [[nodiscard]] const std::vector<int>& GetIndices() const { return fIndices; }
  /// Their values; only the first GetCount() entries count.
  [[nodiscard]] const std::vector<double>& GetValues() const { return fValues; }
  /// The sum of value times coefficient over the non-zeros, coefficients starting at `offset`.
  [[nodiscard]] double InnerProduct(const std::vector<double>& coefficients, int offset = 0) const;
  /// Writes the non-zeros into a dense row that is zero elsewhere.
  void Scatter(std::vector<double>& row) const;
  /// Writes zeros where Scatter wrote values.
  void Unscatter(std::vector<double>& row) const;

 private:
  template <typename Value, typename Number>
  static std::size_t Fill(Value&& value, const std::vector<int>& parameterIndices, Number&& number,
                          int* outIndices, double* outValues);
  /// Fill with the values of the estimation.
  template <typename Number>
  std::size_t FillForEstimation(const double* values, const std::vector<int>& parameterIndices,
                                Number&& number, int* outIndices, double* outValues) const;
  /// Calls `use` with the function that gives the value of an effect.
  template <typename Use>
  auto WithEstimationValues(const double* values, Use&& use) const;
  void FindAlike();
  void FindPieces();
  /// Such a value that is not a single covariate times a factor.
  [[nodiscard]] double ProductValue(std::size_t effect, const double* values) const;
  [[nodiscard]] double PlainProduct(std::size_t effect, const double* values) const;
  /// The product of an effect whose numbers are of unusual size, in units of 2^`exponent`.
  [[nodiscard]] double ScaledProduct(std::size_t effect, const double* values, int exponent,
                                     std::size_t step = 1) const;

  const QvFactorTables* fpFactorTables = nullptr;
  /// Effect after effect the positions to multiply, each as often as its power says.
  std::vector<int> fMultipliers;
  /// Where each effect's multipliers start; one entry more than there are effects.
  std::vector<std::size_t> fMultiplierOffsets;
  /// Per effect the covariate that alone, once, multiplies it, and what that is multiplied by; -1
  /// for any other effect.
  std::vector<int> fSingles;
  std::vector<double> fFactors;
  bool fbAllColumns = false;
  bool fbDivided = false;  ///< Whether some factor is not 1.
  std::vector<int> fExponents;
  /// Per effect whether its product is formed as a QvScaledProduct, within any range.
  std::vector<char> fNeedsScaling;
  std::vector<std::size_t> fFirstAlike;  ///< Per effect.
  /// Neighbouring effects whose values are neighbours in the record, from fPosition on; or, where
  /// that is -1, one effect whose value is computed.
  struct Piece {
    std::size_t fEffect;
    int fPosition;
    std::size_t fCount;
  };
  std::vector<Piece> fPieces;
  std::vector<int> fIndices;
  std::vector<double> fValues;
  int fCount = 0;
};
