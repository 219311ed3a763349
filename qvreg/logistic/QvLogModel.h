#pragma once

#include <array>
#include <cstddef>
#include <memory>
#include <span>
#include <utility>
#include <vector>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvRectMatrix.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/design/QvCrossProducts.h"
#include "qvreg/design/QvDesignRow.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/design/QvPatternProducts.h"
#include "qvreg/design/QvRedundantColumns.h"
#include "qvreg/logistic/IQvRegModel.h"
#include "qvreg/logistic/QvClassification.h"
#include "qvreg/logistic/QvDependentCategories.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvRegrParameter.h"

/// A multinomial baseline-category logit: parameter layout, redundancy, estimates, covariance and
/// classification.
///
/// K observed categories of the dependent, the reference last; P basic parameters, of which Pn are
/// kept; all-parameter index of basic parameter k of category j: j P + k. Columns of unusual size
/// are divided by powers of two (see QvColumnSizes) in X'X, sparse rows, starting values, the
/// residuals of the classification and what SetEstimates is given; whatever else it answers is in
/// the host's units. Borrows settings, factor tables and cancel information; owns its matrices. Row
/// operations never change the status and answer false for what they refuse. Used from one thread
/// at a time.
class QvLogModel : public IQvRegModel {
 public:
  /// The whole part of the square root of 2147483647.
  static constexpr int kMaxParameters = 46340;

  QvLogModel(const QvLogRegSettings& settings, QvCancelInfo& cancel);

  /// Names the factor tables and, per model effect with the intercept first when it is used, a
  /// parameter that holds its factors and covariates.
  void SetDesign(const QvFactorTables& tables, const std::vector<QvRegrParameter>& effects);
  /// Where records and the rows of the estimation passes hold the variables.
  void SetLayouts(const QvRowLayout& record, const QvRowLayout& row);

  ~QvLogModel() override = default;
  [[nodiscard]] const QvFactorTables* GetFactorTables() const override { return fpFactorTables; }
  /// Builds parameters and matrices. The status becomes kTooManyParameters for too many of them
  /// (data: how many, the bound) or without memory. REQUIRES: categories chosen, parameter indices
  /// created.
  void Initialize(QvCommon::QvStatus& status) override;
  [[nodiscard]] bool IsInitialized() const override { return fbInitialized; }
  bool AddRecordToXPrimeX(const double* row) override;
  bool AddRowToXPrimeX(const double* row, const std::vector<int>& parameterIndices) override;
  /// Sweeps X'X and finds the redundant parameters: kNoParameters without a row, kAlreadyBuilt when
  /// finished, kCancelled.
  QvCommon::QvStatus FindRedundancy() override;
  [[nodiscard]] bool IsFinished() const override { return fbFinished; }
  /// Adds a record to the classification table. `residuals`, when it holds (K-1) P values, receives
  /// the record's weighted residual times design row; a shorter one is left as it is.
  void UpdateClassification(std::vector<double>& residuals, const double* record) override;
  /// Closes the classification: kNothingToFit when nothing of positive weight was classified.
  QvCommon::QvStatus FinishClassification() override;
  [[nodiscard]] const QvCommon::QvSymMatrix* GetXPrimeXMatrix() const override {
    return fpProducts == nullptr ? nullptr : &fpProducts->GetMatrix();
  }
  [[nodiscard]] const QvCommon::QvSymMatrix* GetHessianGI() const override {
    return fpHessianGI.get();
  }
  [[nodiscard]] const std::vector<QvRegrParameter>& GetAllParameters() const override {
    return fAllParameters;
  }
  [[nodiscard]] const std::vector<QvRegrParameter>& GetBasicParameters() const override {
    return fBasicParameters;
  }
  [[nodiscard]] int GetNumAllParameters() const override {
    return static_cast<int>(fAllParameters.size());
  }
  [[nodiscard]] int GetNumAllNonRedundant() const override { return fNAllNonRedundant; }
  [[nodiscard]] int GetNumBasicParameters() const override { return fNBasic; }
  [[nodiscard]] int GetNumBasicNonRedundant() const override { return fNBasicNonRedundant; }
  [[nodiscard]] const std::vector<double>& GetParameterEstimates() const override {
    return fHostEstimates;
  }
  [[nodiscard]] const QvCommon::QvBitSet& GetBasicRedundancy() const override {
    return fBasicRedundancy;
  }
  [[nodiscard]] const QvCommon::QvBitSet& GetAllRedundancy() const override {
    return fAllRedundancy;
  }
  [[nodiscard]] int GetNumDependCategories() const override { return fCategories.GetCount(); }
  [[nodiscard]] const std::vector<int>& GetDependCategories() const override {
    return fCategories.GetCodes();
  }
  [[nodiscard]] const std::vector<int>& GetDependCategoryLocalIndices() const override {
    return fCategories.GetLocalIndices();
  }
  void DeleteXPrimeXMatrix() override {
    fRecordsAdded = GetRecordsAdded();
    fpProducts.reset();
  }
  void DeleteHessianGI() override {
    fpHessianGI.reset();
    fpScaledHessianGI.reset();
  }
  bool GetEffectParameterRange(int effect, int& first, int& count) const override;
  /// The K probabilities in local order and the predicted code; missing values and -1 for a record
  /// whose level combination has no parameter, or with a value that is not finite in a column that
  /// has an estimate. A predictor out of the range of a double makes probabilities of 0 and 1. The
  /// status stays as it is.
  void ComputeCategoryProbabilities(QvCommon::QvStatus& status, const double* record,
                                    std::vector<double>& probabilities,
                                    int& predicted) const override;
  /// Stores compressed estimates and inverse, of the columns as divided, in the all-parameter
  /// layout; kCancelled, kTooManyParameters without memory.
  QvCommon::QvStatus SetEstimates(const std::vector<double>& estimates,
                                  const QvCommon::QvSymMatrix& inverseHessian) override;
  /// The record's basic parameter per effect, -1 for none, and its design value, then 0. False, and
  /// all values 0, when a level combination has no parameter.
  bool ExpandRow(const double* record, std::vector<int>& indices,
                 std::vector<double>& values) const override;
  /// The same, but with the values of the other effects then.
  bool ExpandKnown(const double* record, std::vector<int>& indices,
                   std::vector<double>& values) const;
  /// Writes the record's design values at their basic parameters and zeros elsewhere.
  bool ExpandRow(std::vector<double>& values, const double* record) const override;
  bool GetSparseRow(const double* row, int& count, std::vector<int>& indices,
                    std::vector<double>& values) const override;
  bool GetSparseRowFromIndices(const double* row, const std::vector<int>& parameterIndices,
                               int& count, std::vector<int>& indices,
                               std::vector<double>& values) const override;
  [[nodiscard]] const QvCommon::QvStatus& GetStatus() const override { return fStatus; }
  void Display() const override;

  /// Chooses the categories and the reference; see QvDependentCategories::Choose.
  virtual void SetDependentCategories(QvCommon::QvStatus& status,
                                      const QvFactorCounts::Counts* counts);
  /// The compressed starting vector: intercepts at the log ratios of the categories' sums of
  /// frequency times regression weights, slopes 0. kStageMissing before Initialize or for a sum
  /// that is not positive, kAlreadyBuilt when finished.
  virtual void GetStartingValues(QvCommon::QvStatus& status, std::vector<double>& values);

  /// As AddRecordToXPrimeX for up to 64 records, whose products may be kept apart until
  /// SettleProducts, which is REQUIRED before anything reads the matrix or exchanges the products.
  bool AddRecordsToXPrimeX(std::span<const double* const> records);
  void SettleProducts();
  /// As Initialize, without the cross-products: enough for the passes of a worker, which brings its
  /// own sums.
  void SetUpDesign(QvCommon::QvStatus& status);
  /// The sums of the cross-products pass and of the classification, empty, for this model's design.
  /// May throw std::bad_alloc.
  [[nodiscard]] std::unique_ptr<QvCrossProducts> MakeProducts() const {
    return std::make_unique<QvCrossProducts>(fNBasic);
  }
  [[nodiscard]] std::unique_ptr<QvClassification> MakeClassification() const {
    return std::make_unique<QvClassification>(fCategories.GetCount());
  }
  /// Exchanges this model's sums for others. REQUIRES: sums for this model's design.
  void SwapProducts(QvCrossProducts& products);
  void SwapClassification(QvClassification& classification) {
    std::swap(*fpClassification, classification);
  }
  /// Writes which parameters are kept, and the estimates of all; prepares another model for the
  /// later passes by them: the `reader` fails where they are not for as many parameters.
  void WriteEstimates(QvCommon::QvByteWriter& writer) const;
  void ReadEstimates(QvCommon::QvByteReader& reader);
  /// The finished model, and makes another one, whose design is set up, the same model, moving the
  /// matrices out of the contents: false for contents of other parameters and categories. What came
  /// of the iterations is not among it.
  [[nodiscard]] QvLogisticContents GetContents() const;
  [[nodiscard]] bool TakeContents(QvLogisticContents& contents);
  /// The kept ones of values in the all-parameter layout, such as a host's starting values.
  [[nodiscard]] std::vector<double> CompressEstimates(const std::vector<double>& all) const;
  /// As UpdateClassification, for a row of known parameters whose dependent is a local index.
  void UpdateClassificationFromIndices(std::vector<double>& residuals, const double* row,
                                       const std::vector<int>& parameterIndices);
  /// The same for a row whose prediction is known, without residuals.
  void AddClassified(int observed, int predicted, double frequencyWeight) {
    fpClassification->Add(observed, predicted, frequencyWeight);
  }
  /// As AddRowToXPrimeX for `count` rows of a panel, which has 256 numbers of each of its columns;
  /// `weights` are frequency times regression weights. REQUIRES: GetRowDesign().HasAllColumns().
  bool AddPanelToXPrimeX(const double* panel, std::size_t count, const double* weights);
  /// How the rows of the estimation passes become design rows, and per basic parameter its number
  /// among those kept, -1 for one that is not.
  [[nodiscard]] const QvDesignRow& GetRowDesign() const { return fDesignRow; }
  [[nodiscard]] const std::vector<int>& GetKeptNumbers() const { return fLocalIndices; }
  [[nodiscard]] const QvDependentCategories& GetCategories() const { return fCategories; }
  /// Per parameter the exponent of the power of two that its column is divided by.
  [[nodiscard]] const std::vector<int>& GetExponents() const { return fExponents; }
  /// The same of the kept parameters, in the compressed layout; none where all are 0.
  [[nodiscard]] std::vector<int> GetKeptExponents() const;
  /// The estimates of the columns as divided.
  [[nodiscard]] const std::vector<double>& GetScaledEstimates() const { return fEstimates; }
  /// As GetHessianGI, of the columns as divided.
  [[nodiscard]] const QvCommon::QvSymMatrix* GetScaledHessianGI() const {
    return fpScaledHessianGI != nullptr ? fpScaledHessianGI.get() : fpHessianGI.get();
  }
  /// One bit per basic parameter, set for a redundant one whose column was not finite: some value
  /// of it, the weighted sum of its squares, or a weight.
  [[nodiscard]] const QvCommon::QvBitSet& GetNonFinite() const { return fNonFinite; }
  /// Of the basic parameters; once redundancy is found.
  [[nodiscard]] const QvRedundantColumns& GetRedundantColumns() const { return fRedundantColumns; }
  /// Rows observed, columns predicted, local order, sums of frequency weights; may be null.
  [[nodiscard]] const QvCommon::QvRectMatrix* GetClassificationTable() const {
    return fpClassification == nullptr ? nullptr : &fpClassification->GetTable();
  }

 private:
  [[nodiscard]] long long GetRecordsAdded() const {
    return fpProducts == nullptr ? fRecordsAdded : fpProducts->GetRecordsAdded();
  }
  [[nodiscard]] QvLogisticEstimates GetEstimateContents() const;
  [[nodiscard]] bool TakeEstimateContents(const QvLogisticEstimates& contents);
  void CreateParameters();
  /// Frequency times regression weight of a row of the estimation passes.
  [[nodiscard]] double RowWeight(const double* row) const;
  void SetRedundancy();
  [[nodiscard]] bool IsScaled() const;
  void SetHostEstimates();
  QvCommon::QvStatus SweepXPrimeX();
  /// Finds the columns to leave out and excludes them from the sweep.
  void FindNonFiniteColumns();
  /// The predictors of a filled design row, the reference's last; where one is out of the range of
  /// a double 0 for the largest and minus infinity for the others. False when that cannot be
  /// decided, since a value with an estimate is not finite.
  bool FindPredictors(const QvDesignRow& row, std::vector<double>& predictors) const;
  /// Leaves the predictors of a record with a value in each column in fProbabilities; false where
  /// one is not finite. REQUIRES: columns without factors.
  bool FindDensePredictors(const double* record);
  /// The predicted local category, and the largest predictor.
  [[nodiscard]] int Choose(const std::vector<double>& predictors, double& largest) const;
  /// A category's predictor times the square of `unit`.
  [[nodiscard]] double PredictorOf(const QvDesignRow& row, int category, double unit) const;
  /// Predicts from a filled design row: the predicted local category, -1 when there is none, and,
  /// where they are needed, the probabilities.
  int Predict(const QvDesignRow& row, std::vector<double>& probabilities,
              bool needsProbabilities) const;
  void Classify(const QvDesignRow& row, int observed, double weight,
                std::vector<double>& residuals);
  [[nodiscard]] int NBlocks() const { return fCategories.GetCount() - 1; }
  void DisplayCategories() const;
  void DisplayParameters() const;
  void DisplayResults() const;

  const QvLogRegSettings& fSettings;
  QvRowLayout fRowLayout;
  QvRowLayout fRecordLayout;
  QvDependentCategories fCategories;
  const QvFactorTables* fpFactorTables = nullptr;
  std::vector<QvRegrParameter> fEffects;
  /// Per effect that is not the intercept.
  std::vector<int> fFirstParameters;
  std::vector<int> fNParameters;
  std::vector<QvRegrParameter> fBasicParameters;
  std::vector<QvRegrParameter> fAllParameters;
  int fNBasic = 0;
  int fNBasicNonRedundant = 0;
  int fNAllNonRedundant = 0;
  std::vector<int> fLocalIndices;
  std::unique_ptr<QvCrossProducts> fpProducts;
  QvPatternProducts fPatternProducts;  ///< Of records, where some have no value in some column.
  long long fRecordsAdded = 0;         ///< To products that are gone.
  QvCommon::QvBitSet fBasicRedundancy;
  QvCommon::QvBitSet fAllRedundancy;
  QvCommon::QvBitSet fNonFinite;
  QvRedundantColumns fRedundantColumns;
  std::vector<int> fExponents;
  /// Of the columns as divided, and in the host's units.
  std::vector<double> fEstimates;
  std::vector<double> fHostEstimates;
  std::unique_ptr<QvCommon::QvSymMatrix> fpHessianGI;
  /// None where every exponent is 0.
  std::unique_ptr<QvCommon::QvSymMatrix> fpScaledHessianGI;
  /// Scratch of a row: by the layout of records, by that of the estimation passes.
  mutable QvDesignRow fRecordRow;
  mutable QvDesignRow fDesignRow;
  std::vector<double> fProbabilities;
  std::vector<double> fDenseRow;
  std::vector<double> fDenseRows;  ///< Of a panel.
  std::unique_ptr<QvClassification> fpClassification;
  QvCancelInfo& fCancel;
  QvCommon::QvStatus fStatus;
  bool fbInitialized = false;
  bool fbFinished = false;
};
