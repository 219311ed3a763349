#pragma once

#include <array>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvScaledProduct.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/design/QvCrossProducts.h"
#include "qvreg/design/QvDesignRow.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/design/QvPatternProducts.h"
#include "qvreg/design/QvRedundantColumns.h"
#include "qvreg/glm/QvGLMRefinement.h"
#include "qvreg/glm/QvGLMResidualPanel.h"
#include "qvreg/glm/QvGLMResiduals.h"
#include "qvreg/glm/QvPatternResiduals.h"
#include "qvreg/settings/QvRegSettings.h"
#include "qvreg/settings/QvRegrParameter.h"

/// The numerical state of a linear model: parameters, the weighted mean cross-products of the
/// design row and the dependent, their sweep, the estimates and two fit statistics.
///
/// Within, columns and dependent of unusual size are divided by powers of two (see QvColumnSizes);
/// estimates, sums, mean and root mean square error are answered in the host's units.
///
/// Calling order: Initialize, CreateParameters, SetScale and SetDependentMean, AddRecord per
/// record, Sweep, ResidualStep per record, again while Refine answers true, Fit. Borrows the
/// settings and the factor tables, which must outlive it; owns the matrix. Used from one thread at
/// a time.
class QvGLMModel {
 public:
  /// The whole part of the square root of 2147483647, less 1: with more parameters the number of
  /// matrix elements would not fit in an int.
  static constexpr int kMaxParameters = 46339;

  explicit QvGLMModel(const QvRegSettings& settings) : fSettings(settings) {}

  /// Names the factor tables; no data yet.
  void Initialize(const QvFactorTables& tables);
  /// Builds the parameters and the matrix, one parameter per model effect with its factors and
  /// covariates. kTooManyParameters for too many of them or without memory. REQUIRES: parameter
  /// indices created in the factor tables.
  QvCommon::QvStatus CreateParameters(const std::vector<QvRegrParameter>& effectParameters);
  /// The same without the matrix: enough for the passes of a worker, which brings its own sums.
  QvCommon::QvStatus SetUpDesign(const std::vector<QvRegrParameter>& effectParameters);
  /// The total frequency weight, by which cross-products are divided.
  void SetScale(double scale);
  void SetDependentMean(double mean) { fDependentMean = mean; }
  /// Accumulates a record; false without a matrix, after the sweep, or for null.
  bool AddRecord(const double* values);
  /// The same for up to 64 records, whose products may be kept apart until SettleProducts, which is
  /// REQUIRED before anything reads the matrix or exchanges the products.
  bool AddRecords(std::span<const double* const> records);
  void SettleProducts();
  /// Sweeps the matrix and reads estimates, redundancy and covariance. kNoParameters without a
  /// record, kAlreadyBuilt when done before, kCancelled, kTooManyParameters without memory.
  QvCommon::QvStatus Sweep(QvCancelInfo& cancel);
  /// Accumulates a record into the residual and total sums. REQUIRES: swept.
  void ResidualStep(const double* values);
  /// The same for up to 64 records.
  void ResidualSteps(std::span<const double* const> records);
  /// After a residual step for each record: refines the estimates, when the settings ask for it.
  /// True when every record is to go through another residual step.
  bool Refine();
  /// Computes the fit statistics, the missing value for one whose sums are not finite.
  /// kNothingToFit without a weighted record or a positive scale.
  QvCommon::QvStatus Fit();

  /// The dense design row: p values, then `dependent`. False when a level combination has no
  /// parameter; its effect's columns are then 0. REQUIRES: values that hold every factor and
  /// covariate.
  bool ExpandRow(const double* values, double dependent, std::vector<double>& row);
  /// The non-zeros of the design row as the estimation works with them: `indices` receives their
  /// parameters in ascending order, `numbers` the values divided by 2^exponent. The rest as
  /// ExpandRow, without a dependent.
  bool ExpandScaledRow(const double* values, std::vector<int>& indices,
                       std::vector<double>& numbers);
  /// The missing value when a level combination has no parameter.
  double GetPredictedValue(const double* values);

  /// The sums of the cross-products pass and of a residual pass, empty, for this model's design.
  /// May throw std::bad_alloc.
  [[nodiscard]] std::unique_ptr<QvCrossProducts> MakeProducts() const;
  [[nodiscard]] std::unique_ptr<QvGLMResiduals> MakeResiduals() const;
  /// Exchanges this model's sums for others. REQUIRES: sums for this model's design.
  void SwapProducts(QvCrossProducts& products);
  void SwapResiduals(QvGLMResiduals& residuals);
  /// Writes what ResidualStep reads of the swept model, and prepares another model for the step by
  /// it: the `reader` fails where that is not for as many parameters.
  void WriteEstimates(QvCommon::QvByteWriter& writer) const;
  void ReadEstimates(QvCommon::QvByteReader& reader);
  /// The fitted model, and makes another one, whose design is set up, the same model, moving the
  /// matrices out of the contents: false for contents of other parameters.
  [[nodiscard]] QvLinearContents GetContents() const;
  [[nodiscard]] bool TakeContents(QvLinearContents& contents);

  [[nodiscard]] bool HasMatrix() const { return fpProducts != nullptr; }
  /// REQUIRES: HasMatrix(). Before the sweep, of the columns and the dependent as divided: the
  /// cross-products, times the scale over the largest power of two that is not above it. After the
  /// fit: the covariance of the estimates but for the residual variance, with a zero row and column
  /// for the dependent; without refinement so after the sweep already.
  [[nodiscard]] const QvCommon::QvSymMatrix& GetMatrix() const { return fpProducts->GetMatrix(); }
  /// The covariance, after the fit, of the estimates of columns as divided; none where every
  /// exponent is 0.
  [[nodiscard]] const std::optional<QvCommon::QvSymMatrix>& GetScaledCovariance() const {
    return fScaledCovariance;
  }
  [[nodiscard]] bool IsSwept() const { return fbSwept; }
  [[nodiscard]] long long GetRecordsAdded() const {
    return HasMatrix() ? fpProducts->GetRecordsAdded() : 0;
  }
  [[nodiscard]] int GetNParameters() const { return static_cast<int>(fParameters.size()); }
  [[nodiscard]] const std::vector<QvRegrParameter>& GetParameters() const { return fParameters; }
  [[nodiscard]] const std::vector<int>& GetFirstParameterIndices() const {
    return fFirstParameters;
  }
  [[nodiscard]] const std::vector<int>& GetNumbersOfParameters() const { return fNParameters; }
  /// p + 1 bits; set for a kept parameter, the dependent's always clear.
  [[nodiscard]] const QvCommon::QvBitSet& GetRedundancy() const { return fRedundancy; }
  /// 0 for a redundant parameter, and for all where the dependent is not finite; infinite or 0 for
  /// one that no double holds.
  [[nodiscard]] const std::vector<double>& GetEstimates() const { return fHostEstimates; }
  /// Always finite: those of the columns and the dependent as divided.
  [[nodiscard]] const std::vector<double>& GetScaledEstimates() const { return fEstimates; }
  /// Per parameter the exponent of the power of two that its column is divided by.
  [[nodiscard]] const std::vector<int>& GetExponents() const { return fExponents; }
  /// The same of the dependent.
  [[nodiscard]] int GetDependentExponent() const { return fDependentExponent; }
  /// p bits, set for a parameter that was left out of the model because a weighted product of its
  /// column with itself or with the dependent was not finite, or a weight; it is redundant.
  [[nodiscard]] const QvCommon::QvBitSet& GetNonFinite() const { return fNonFinite; }
  /// False when a value of the dependent was not finite, or so large that an estimate or a fit
  /// statistic was not.
  [[nodiscard]] bool IsDependentFinite() const { return fbDependentFinite; }
  /// This and the total sum: after the fit.
  [[nodiscard]] double GetResidualSum() const { return SquareInHostUnits(fResidualSum); }
  [[nodiscard]] double GetTotalSum() const { return SquareInHostUnits(fTotalSum); }
  [[nodiscard]] long long GetWeightedRecordCount() const { return fSums.fWeightedRecords; }
  [[nodiscard]] double GetMultipleRSquare() const { return fMultipleRSquare; }
  [[nodiscard]] double GetRootMeanSquareError() const { return fRootMeanSquareError; }
  /// The same of the dependent as divided.
  [[nodiscard]] double GetScaledRootMeanSquareError() const { return fScaledError; }

  /// The root of the mean of the total sum, of the dependent as divided; the missing value where
  /// that of the residual sum is.
  [[nodiscard]] double GetScaledRootMeanSquareTotal() const { return fScaledTotal; }
  /// After the sweep.
  [[nodiscard]] const QvRedundantColumns& GetRedundantColumns() const { return fRedundantColumns; }

  void Display() const;

 private:
  [[nodiscard]] QvLinearEstimates GetEstimateContents() const;
  [[nodiscard]] bool TakeEstimateContents(const QvLinearEstimates& contents);
  /// The dependent as divided.
  [[nodiscard]] double Dependent(const double* values) const;
  [[nodiscard]] double SquareInHostUnits(double sum) const;
  void SetHostEstimates();
  /// The record's frequency weight times its regression weight, in units of fWeightUnit.
  [[nodiscard]] double RecordWeight(const double* values) const;
  /// Finds the columns to leave out and excludes them from the sweep.
  void FindNonFiniteColumns();
  /// Reads the estimates from the swept matrix; false without memory.
  bool TakeEstimates();
  /// Divides the matrix, swept, by the scale.
  void DivideByScale();
  [[nodiscard]] bool IsScaled() const;
  /// The end of DivideByScale where some column was divided: makes two matrices of the one.
  void MakeScaledCovariance();
  /// Begins the sums of a residual pass.
  void StartSums();
  /// Whether the record's row is in the panel; if not, it is to be added by itself.
  bool AddToPanel(const double* values, double w, double y);
  /// The residual of the record whose row was expanded; adds it to a refinement.
  double AddResidual(double w, double y);
  /// Fills fRecordWeights and fRecordDependents.
  void TakeNumbers(std::span<const double* const> records);
  /// Empties the panel into the sums of the residual pass.
  void SettleResiduals();
  [[nodiscard]] std::vector<QvCommon::QvDoubleDouble>& GetGradient() {
    return fRefinement ? fRefinement->GetGradient() : fNoGradient;
  }
  [[nodiscard]] QvGLMFitSums EmptyFitSums() const;
  void ComputeFitStatistics();

  const QvRegSettings& fSettings;
  const QvFactorTables* fpFactorTables = nullptr;
  std::vector<int> fCovariateOffsets;
  std::vector<int> fFirstParameters;
  std::vector<int> fNParameters;
  std::vector<QvRegrParameter> fParameters;
  std::unique_ptr<QvCrossProducts> fpProducts;
  std::optional<QvCommon::QvSymMatrix> fScaledCovariance;
  bool fbSwept = false;
  QvCommon::QvBitSet fRedundancy;
  QvRedundantColumns fRedundantColumns;
  std::vector<int> fExponents;
  int fDependentExponent = 0;
  std::vector<double> fEstimates;
  std::vector<double> fHostEstimates;
  QvCommon::QvBitSet fNonFinite;
  bool fbHasNonFinite = false;
  bool fbWeightsFinite = true;
  bool fbDependentFinite = true;
  QvDesignRow fDesignRow;
  QvPatternProducts fPatternProducts;  ///< Where some record has no value in some column.
  QvGLMResidualPanel fResidualPanel;
  QvPatternResiduals fPatternResiduals;  ///< Where some record has no value in some column.
  bool fbRowsUsual = false;              ///< Whether these two may take the records' rows.
  bool fbEstimatesUsual = false;
  /// Scratch: of records that are taken together.
  std::array<double, QvCommon::QvKernels::kRows> fRecordWeights{};
  std::array<double, QvCommon::QvKernels::kRows> fRecordDependents{};
  QvGLMResiduals fSums;
  double fResidualSum = 0.0;
  double fTotalSum = 0.0;
  double fDependentMean = 0.0;
  double fScale = 0.0;
  /// The power of two next to the scale: what is summed over records is in this unit of weights.
  QvCommon::QvWeightUnit fWeightUnit;
  /// What such a sum is multiplied by at its end: the unit over the scale, 0 for no usable scale.
  double fUnitOverScale = 0.0;
  double fUnweighted = 1.0;  ///< The weight of a record without weights, in units.
  double fMultipleRSquare = 0.0;
  double fRootMeanSquareError = 0.0;
  double fScaledError = 0.0;
  double fScaledTotal = 0.0;
  std::optional<QvGLMRefinement> fRefinement;
  std::vector<QvCommon::QvDoubleDouble> fNoGradient;
};
