#pragma once

#include <memory>
#include <vector>

#include "qvreg/component/QvRegAlgorithm.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/design/QvModelDesign.h"
#include "qvreg/glm/QvGLMModel.h"
#include "qvreg/settings/QvRegSettings.h"

/// The passes of a linear model over a host's records: level combinations and means;
/// cross-products, then their sweep; residuals, again for each further step of refinement, then
/// the fit.
///
/// Borrows the settings, which must outlive it; owns validator, factor tables and model. The
/// effects' variable lists are read during construction only.
class QvGLMAlgorithm : public QvRegAlgorithm {
 public:
  explicit QvGLMAlgorithm(const QvRegSettings& settings);

  QvCommon::QvStatus CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                      std::vector<QvRegrParameter>& params) override;
  /// The second pass and those of the residuals. kNoParameters without parameters, kAlreadyBuilt
  /// when built.
  QvCommon::QvStatus BuildModel(QvCommon::MultiPassRecordIter& iter) override;
  [[nodiscard]] bool AreParametersCreated() const override { return fModel.HasMatrix(); }
  [[nodiscard]] bool IsModelBuilt() const override { return fbModelBuilt; }
  /// The predicted value; `values` is left as it is.
  QvCommon::QvStatus Score(const QvCommon::Record& record, double& predicted,
                           std::vector<double>& values) override;
  std::unique_ptr<IQvRegOutputStats> MakeOutputStats() override;
  void Display() const override;
  std::unique_ptr<IQvPassSums> MakeSums(QvPassKind kind) override;
  void WriteTables(QvCommon::QvByteWriter& writer) const override;
  void ReadTables(QvCommon::QvByteReader& reader) override;
  void WriteState(QvPassKind kind, QvCommon::QvByteWriter& writer) const override;
  void ReadState(QvPassKind kind, QvCommon::QvByteReader& reader) override;
  QvCommon::QvStatus RunPart(QvPassKind kind, QvCommon::MultiPassRecordIter& iter,
                             IQvPassSums& sums) override;
  bool ExpandSparseRow(const QvCommon::Record& record, std::vector<int>& indices,
                       std::vector<double>& values) override;

  /// The design row of a record; false as QvGLMModel::ExpandRow, or for a record too short.
  bool ExpandRow(const QvCommon::Record& record, std::vector<double>& row);
  [[nodiscard]] const QvRegRecordValidator& GetRecordValidator() const { return fValidator; }
  [[nodiscard]] const QvFactorTables& GetFactorTables() const { return fFactorTables; }
  /// The covariates' means, then the dependent's.
  [[nodiscard]] const std::vector<double>& GetMeanValues() const { return fMeanValues; }
  [[nodiscard]] const QvGLMModel& GetModel() const { return fModel; }

 protected:
  QvCommon::QvStatus TakeSums(QvPassKind kind, IQvPassSums& sums) override;
  void FillContents(QvModelContents& contents) const override;
  [[nodiscard]] bool TakeModel(QvModelContents& contents) override;

 private:
  /// Tells tables the effects and the variables to average.
  void SetUpTables(QvFactorTables& tables) const;
  /// Prepares the model for the later passes by tables that were filled elsewhere.
  [[nodiscard]] bool SetUpFromTables();
  /// Gives the model what it takes from the first pass for the later ones.
  void SetWeightAndMean();
  QvCommon::QvStatus AddProducts(QvCommon::MultiPassRecordIter& iter);
  QvCommon::QvStatus AddResiduals(QvCommon::MultiPassRecordIter& iter);
  /// The first pass.
  QvCommon::QvStatus ProcessData(QvCommon::MultiPassRecordIter& iter);
  /// The later passes: calls `step(std::span<const double* const>)` for up to 64 records at a time
  /// of those that the first pass counted; kDataNotProcessed where it answers false.
  template <typename Step>
  QvCommon::QvStatus ForEachPanel(QvCommon::MultiPassRecordIter& iter, Step&& step);
  QvCommon::QvStatus Estimate(QvCommon::MultiPassRecordIter& iter);
  /// True when the record holds every factor and covariate.
  [[nodiscard]] bool HoldsDesign(const QvCommon::Record& record) const;

  const QvRegSettings& fSettings;
  QvRegRecordValidator fValidator;
  QvFactorTables fFactorTables;
  std::vector<double> fMeanValues;
  QvGLMModel fModel;
  QvModelDesign fDesign;
  bool fbDataProcessed = false;
  bool fbModelBuilt = false;
};
