#pragma once

#include <cmath>
#include <cstddef>
#include <vector>

#include "qvreg/component/QvModelContents.h"
#include "qvreg/settings/QvRegrParameter.h"

/// How large the numbers of a design are, found in the first pass, and the power of two that each
/// column is divided by for the estimation, so that squares and products of columns stay within the
/// range of a double.
///
/// A column whose largest absolute value is at least 2^-20 and below 2^20 stays as it is: its
/// exponent is 0. Any other is divided by the largest power of two that is not above that value,
/// which rounds nothing. What is infinite or not a number has no size. All columns of an effect
/// share the exponent of the covariates' product: where a factor's levels differ in size by more
/// than about 2^500 the columns of the small ones may still underflow, and count as redundant.
///
/// A value. Used from one thread at a time.
class QvColumnSizes {
 public:
  /// The record indices of single variables to measure. Forgets what was measured of others.
  void SetVariables(const std::vector<int>& variables);
  /// Per model effect a parameter that holds the covariates that multiply its columns, which must
  /// be among the variables. Forgets what was measured of other effects.
  void SetEffects(const std::vector<QvRegrParameter>& effects);
  /// Measures a value of the variable in this place of SetVariables' list.
  void MeasureVariable(std::size_t place, double value) {
    const double size = std::fabs(value);
    // False for most values, and for what is not a number.
    if (size > fLargest[place] && std::isfinite(size)) fLargest[place] = size;
  }
  /// What was measured of the variable in this place and those behind it, for a caller that
  /// measures many; finite numbers, not negative.
  [[nodiscard]] double* GetLargest(std::size_t place) { return &fLargest[place]; }
  /// Measures the products of a record.
  void MeasureProducts(const double* record) {
    for (const std::size_t effect : fMeasuredProducts) Measure(fProducts[effect], record);
  }

  /// Adds what was measured of further records, of the same variables and effects.
  void Merge(const QvColumnSizes& other);
  /// What was measured; takes it where the variables and effects are as many and it may have been
  /// measured, or answers false, and this is then undefined.
  [[nodiscard]] QvColumnSizeContents GetContents() const;
  [[nodiscard]] bool TakeContents(const QvColumnSizeContents& contents);

  /// The exponent of a variable; 0 for one that is not measured.
  [[nodiscard]] int GetVariableExponent(int variable) const;
  /// The exponent of an effect's columns; 0 for one that is not known, or without covariates.
  [[nodiscard]] int GetEffectExponent(std::size_t effect) const;
  /// False when the product of an effect's covariates may leave the range of a double in some
  /// record, if only on the way: when it, a factor or a part of it was beyond 2^500 or below
  /// 2^-500.
  [[nodiscard]] bool IsPlainProduct(std::size_t effect) const;
  /// Per parameter the exponent of its effect.
  [[nodiscard]] std::vector<int> GetParameterExponents(
      const std::vector<QvRegrParameter>& parameters) const;

 private:
  /// The covariates that multiply one effect's columns, each as often as its power says.
  struct Product {
    std::vector<int> fVariables;
    /// The largest product that is plain, and the magnitude of the largest that is not, if any.
    double fLargest = 0.0;
    long long fMagnitude = 0;
    bool fbLarge = false;
    bool fbPlain = true;
    /// A plain product that is not larger changes nothing; below 0 while there is none.
    double fEnough = -1.0;
  };

  static void Measure(Product& product, const double* record);
  static void MeasureScaled(Product& product, const double* record);

  std::vector<int> fVariables;
  std::vector<double> fLargest;  ///< Parallel to the variables.
  std::vector<Product> fProducts;
  /// Those of several covariates, or of a power.
  std::vector<std::size_t> fMeasuredProducts;
};
