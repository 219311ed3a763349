#pragma once

#include <memory>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"

class QvRegAlgorithm;

struct QvModelContents;

/// What the components of both models have in common: keeps the status and orders the calls; see
/// IQvRegComponent.
class QVREG_EXPORT QvRegComponent : public IQvRegComponent {
  friend bool TakeContents(QvRegComponent& component, QvModelContents& contents);

 public:
  ~QvRegComponent() override;
  QvCommon::QvStatus CreateParameters(QvCommon::MultiPassRecordIter& iter,
                                      std::vector<QvRegrParameter>& params) override;
  QvCommon::QvStatus BuildModel(QvCommon::MultiPassRecordIter& iter) override;
  [[nodiscard]] bool IsModelBuilt() const override;
  QvCommon::QvStatus Score(const QvCommon::Record& record, double& predicted,
                           std::vector<double>& values) override;
  QvCommon::QvStatus WriteScoring(std::vector<unsigned char>& bytes) override;
  QvCommon::QvStatus WriteModel(std::vector<unsigned char>& bytes) override;
  void Cancel() override;
  QvCommon::QvStatus GetStatus() override { return fStatus; }
  std::vector<QvCommon::QvStatus> GetWarnings() override;

  /// How many records the first pass read, used and left out; also after a run that failed.
  [[nodiscard]] QvRecordCounts GetRecordCounts() const;

 protected:
  /// Without an algorithm; the derived class starts one.
  QvRegComponent();

  /// GetOutputStats of a built model: `stats` receives the results, made on the first call.
  QvCommon::QvStatus GetBuiltStats(IQvRegOutputStats*& stats);
  /// Prints settings, algorithm and results.
  void DisplayParts() const;

  /// None unless the settings are valid. Borrows the settings of the derived class, which resets it
  /// before they are destroyed.
  std::unique_ptr<QvRegAlgorithm> fpAlgorithm;
  /// That of the settings' check until the first operation.
  QvCommon::QvStatus fStatus;

 private:
  std::unique_ptr<IQvRegOutputStats> fpOutputStats;
};
