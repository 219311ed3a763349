#pragma once

#include <vector>

#include "qvreg/logistic/IQvRegModel.h"

namespace qvtest {

/// A model that answers nothing of its own: tests override what they ask for. The public fields are
/// what the counting operations answer.
class StubRegModel : public IQvRegModel {
 public:
  int nAllNonRedundant = 0;
  int nBasicNonRedundant = 0;
  std::vector<int> categories;
  std::vector<int> localIndices;

  [[nodiscard]] const QvFactorTables* GetFactorTables() const override { return nullptr; }
  void Initialize(QvCommon::QvStatus& /*status*/) override {}
  [[nodiscard]] bool IsInitialized() const override { return true; }
  bool AddRecordToXPrimeX(const double* /*row*/) override { return false; }
  bool AddRowToXPrimeX(const double* /*row*/, const std::vector<int>& /*indices*/) override {
    return false;
  }
  QvCommon::QvStatus FindRedundancy() override { return {}; }
  [[nodiscard]] bool IsFinished() const override { return false; }
  void UpdateClassification(std::vector<double>& /*residuals*/, const double* /*r*/) override {}
  QvCommon::QvStatus FinishClassification() override { return {}; }
  [[nodiscard]] const QvCommon::QvSymMatrix* GetXPrimeXMatrix() const override { return nullptr; }
  [[nodiscard]] const QvCommon::QvSymMatrix* GetHessianGI() const override { return nullptr; }
  [[nodiscard]] const std::vector<QvRegrParameter>& GetAllParameters() const override {
    return noParameters_;
  }
  [[nodiscard]] const std::vector<QvRegrParameter>& GetBasicParameters() const override {
    return noParameters_;
  }
  [[nodiscard]] int GetNumAllParameters() const override { return nAllNonRedundant; }
  [[nodiscard]] int GetNumAllNonRedundant() const override { return nAllNonRedundant; }
  [[nodiscard]] int GetNumBasicParameters() const override { return 0; }
  [[nodiscard]] int GetNumBasicNonRedundant() const override { return nBasicNonRedundant; }
  [[nodiscard]] const std::vector<double>& GetParameterEstimates() const override {
    return noValues_;
  }
  [[nodiscard]] const QvCommon::QvBitSet& GetBasicRedundancy() const override { return noBits_; }
  [[nodiscard]] const QvCommon::QvBitSet& GetAllRedundancy() const override { return noBits_; }
  [[nodiscard]] int GetNumDependCategories() const override {
    return static_cast<int>(categories.size());
  }
  [[nodiscard]] const std::vector<int>& GetDependCategories() const override { return categories; }
  [[nodiscard]] const std::vector<int>& GetDependCategoryLocalIndices() const override {
    return localIndices;
  }
  void DeleteXPrimeXMatrix() override {}
  void DeleteHessianGI() override {}
  bool GetEffectParameterRange(int /*effect*/, int& /*first*/, int& /*count*/) const override {
    return false;
  }
  void ComputeCategoryProbabilities(QvCommon::QvStatus& /*status*/, const double* /*record*/,
                                    std::vector<double>& /*probabilities*/,
                                    int& /*predicted*/) const override {}
  QvCommon::QvStatus SetEstimates(const std::vector<double>& /*estimates*/,
                                  const QvCommon::QvSymMatrix& /*inverse*/) override {
    return {};
  }
  bool ExpandRow(const double* /*record*/, std::vector<int>& /*indices*/,
                 std::vector<double>& /*values*/) const override {
    return false;
  }
  bool ExpandRow(std::vector<double>& /*values*/, const double* /*record*/) const override {
    return false;
  }
  bool GetSparseRow(const double* /*row*/, int& /*count*/, std::vector<int>& /*indices*/,
                    std::vector<double>& /*values*/) const override {
    return false;
  }
  bool GetSparseRowFromIndices(const double* /*row*/, const std::vector<int>& /*parameters*/,
                               int& /*count*/, std::vector<int>& /*indices*/,
                               std::vector<double>& /*values*/) const override {
    return false;
  }
  [[nodiscard]] const QvCommon::QvStatus& GetStatus() const override { return status_; }
  void Display() const override {}

 private:
  std::vector<QvRegrParameter> noParameters_;
  std::vector<double> noValues_;
  QvCommon::QvBitSet noBits_;
  QvCommon::QvStatus status_;
};

}  // namespace qvtest
