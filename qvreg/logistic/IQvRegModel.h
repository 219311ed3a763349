#pragma once

#include <vector>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/settings/QvRegrParameter.h"

/// Where a row holds a model's variables; -1 for one that it does not hold.
struct QvRowLayout {
  /// Parallel to the settings' covariates.
  std::vector<int> fCovariates;
  int fFrequencyWeight = -1;
  int fRegressionWeight = -1;
  int fDependent = -1;
};

class QvFactorTables;

/// A model as the optimizer and the data handlers use it: its parameter layout, and every operation
/// on a single row.
///
/// Layouts: a basic parameter is a column of one category's predictor; the all-parameter vectors
/// hold one block of basic parameters per non-reference category; compressed ones hold the kept
/// parameters only. Rows are what the estimation passes hand over; records are a host's.
/// Row operations answer false for a row whose level combination has no parameter. Used from one
/// thread at a time: even const row operations share scratch space.
class IQvRegModel {
 public:
  IQvRegModel() = default;
  IQvRegModel(const IQvRegModel&) = delete;
  IQvRegModel& operator=(const IQvRegModel&) = delete;

  virtual ~IQvRegModel() = default;
  [[nodiscard]] virtual const QvFactorTables* GetFactorTables() const = 0;
  virtual void Initialize(QvCommon::QvStatus& status) = 0;
  [[nodiscard]] virtual bool IsInitialized() const = 0;
  virtual bool AddRecordToXPrimeX(const double* row) = 0;
  virtual bool AddRowToXPrimeX(const double* row, const std::vector<int>& parameterIndices) = 0;
  virtual QvCommon::QvStatus FindRedundancy() = 0;
  [[nodiscard]] virtual bool IsFinished() const = 0;
  virtual void UpdateClassification(std::vector<double>& residuals, const double* record) = 0;
  virtual QvCommon::QvStatus FinishClassification() = 0;
  [[nodiscard]] virtual const QvCommon::QvSymMatrix* GetXPrimeXMatrix() const = 0;
  [[nodiscard]] virtual const QvCommon::QvSymMatrix* GetHessianGI() const = 0;
  [[nodiscard]] virtual const std::vector<QvRegrParameter>& GetAllParameters() const = 0;
  [[nodiscard]] virtual const std::vector<QvRegrParameter>& GetBasicParameters() const = 0;
  [[nodiscard]] virtual int GetNumAllParameters() const = 0;
  [[nodiscard]] virtual int GetNumAllNonRedundant() const = 0;
  [[nodiscard]] virtual int GetNumBasicParameters() const = 0;
  [[nodiscard]] virtual int GetNumBasicNonRedundant() const = 0;
  [[nodiscard]] virtual const std::vector<double>& GetParameterEstimates() const = 0;
  [[nodiscard]] virtual const QvCommon::QvBitSet& GetBasicRedundancy() const = 0;
  [[nodiscard]] virtual const QvCommon::QvBitSet& GetAllRedundancy() const = 0;
  [[nodiscard]] virtual int GetNumDependCategories() const = 0;
  [[nodiscard]] virtual const std::vector<int>& GetDependCategories() const = 0;
  [[nodiscard]] virtual const std::vector<int>& GetDependCategoryLocalIndices() const = 0;
  virtual void DeleteXPrimeXMatrix() = 0;
  virtual void DeleteHessianGI() = 0;
  virtual bool GetEffectParameterRange(int effect, int& first, int& count) const = 0;
  virtual void ComputeCategoryProbabilities(QvCommon::QvStatus& status, const double* record,
                                            std::vector<double>& probabilities,
                                            int& predicted) const = 0;
  virtual QvCommon::QvStatus SetEstimates(const std::vector<double>& estimates,
                                          const QvCommon::QvSymMatrix& inverseHessian) = 0;
  virtual bool ExpandRow(const double* record, std::vector<int>& indices,
                         std::vector<double>& values) const = 0;
  virtual bool ExpandRow(std::vector<double>& values, const double* record) const = 0;
  virtual bool GetSparseRow(const double* row, int& count, std::vector<int>& indices,
                            std::vector<double>& values) const = 0;
  virtual bool GetSparseRowFromIndices(const double* row, const std::vector<int>& parameterIndices,
                                       int& count, std::vector<int>& indices,
                                       std::vector<double>& values) const = 0;
  [[nodiscard]] virtual const QvCommon::QvStatus& GetStatus() const = 0;
  virtual void Display() const = 0;
};
