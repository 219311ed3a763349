#pragma once

#include "qvreg/QvExport.h"
#include "qvreg/component/QvRegComponent.h"
#include "qvreg/settings/QvLogRegSettings.h"

/// The component of the multinomial logistic model; see IQvRegComponent. Its GetOutputStats answers
/// kAlreadyBuilt before the build and sets the pointer to null; its Score gives the predicted
/// category's code (-1 where a level combination was never seen) and the probabilities, the
/// reference category last. It validates the record: a missing value leaves both as they were, a
/// bad category code, too, with status kBadCategory.
class QVREG_EXPORT QvLogComponent : public QvRegComponent {
 public:
  /// Copies the settings; the status tells whether they are valid.
  explicit QvLogComponent(const QvLogRegSettings& settings);

  ~QvLogComponent() override;
  QvConst::QvRegModelType GetModelType() override { return QvConst::QvRegModelLogistic; }
  QvCommon::QvStatus GetOutputStats(IQvRegOutputStats*& stats) override;
  [[nodiscard]] const QvRegSettings& GetCompSettings() const override { return fCompSettings; }
  void Display() const override;

 private:
  QvLogRegSettings fCompSettings;
};
