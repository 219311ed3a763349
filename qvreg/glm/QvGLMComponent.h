#pragma once

#include <memory>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRecordCounts.h"
#include "qvreg/settings/QvRegSettings.h"

class QvGLMAlgorithm;

/// The component of the linear model: keeps the status and orders the calls; see IQvRegComponent.
class QVREG_EXPORT QvGLMComponent : public IQvRegComponent {
 public:
  /// Copies the settings; the status tells whether they are valid.
  explicit QvGLMComponent(const QvRegSettings& settings);

  ~QvGLMComponent() override;
  QvConst::QvRegModelType GetModelType() override { return QvConst::QvRegModelGLM; }
  QvCommon::QvStatus CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                      std::vector<QvRegrParameter>& params) override;
  QvCommon::QvStatus BuildModel(QvCommon::MultiPassRecordIter& iter) override;
  [[nodiscard]] bool IsModelBuilt() const override;
  QvCommon::QvStatus GetOutputStats(IQvRegOutputStats*& stats) override;
  [[nodiscard]] const QvRegSettings& GetCompSettings() const override { return fCompSettings; }
  QvCommon::QvStatus Score(const QvCommon::Record& record, double& predicted,
                           std::vector<double>& values) override;
  void Cancel() override;
  QvCommon::QvStatus GetStatus() override { return fStatus; }
  std::vector<QvCommon::QvStatus> GetWarnings() override;
  void Display() const override;

  /// How many records the first pass read, used and left out; also after a run that failed.
  [[nodiscard]] QvRecordCounts GetRecordCounts() const;

 private:
  QvRegSettings fCompSettings;
  std::unique_ptr<QvGLMAlgorithm> fpAlgorithm;
  std::unique_ptr<IQvRegOutputStats> fpOutputStats;
  QvCommon::QvStatus fStatus;
};
