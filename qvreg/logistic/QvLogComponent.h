#pragma once

#include <memory>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRecordCounts.h"
#include "qvreg/settings/QvLogRegSettings.h"

class QvLogAlgorithm;

/// The component of the multinomial logistic model: keeps the status and orders the calls; see
/// IQvRegComponent. Its GetOutputStats answers 310 before the build and sets the pointer to null;
/// its Score gives the predicted category's code (-1 where a level combination was never seen) and
/// the probabilities, the reference category last. It validates the record: a missing value leaves
/// both as they were, a bad category code, too, with status 316.
class QVREG_EXPORT QvLogComponent : public IQvRegComponent {
 public:
  /// Copies the settings; the status tells whether they are valid.
  explicit QvLogComponent(const QvLogRegSettings& settings);

  ~QvLogComponent() override;
  QvConst::QvRegModelType GetModelType() override { return QvConst::QvRegModelLogistic; }
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
  QvLogRegSettings fCompSettings;
  std::unique_ptr<QvLogAlgorithm> fpAlgorithm;
  std::unique_ptr<IQvRegOutputStats> fpOutputStats;
  QvCommon::QvStatus fStatus;
};
