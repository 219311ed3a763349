#pragma once

#include "qvreg/QvExport.h"
#include "qvreg/component/QvRegComponent.h"
#include "qvreg/settings/QvRegSettings.h"

/// The component of the linear model; see IQvRegComponent. Its Score sets the predicted value only.
class QVREG_EXPORT QvGLMComponent : public QvRegComponent {
 public:
  /// Copies the settings; the status tells whether they are valid.
  explicit QvGLMComponent(const QvRegSettings& settings);

  ~QvGLMComponent() override;
  QvConst::QvRegModelType GetModelType() override { return QvConst::QvRegModelGLM; }
  QvCommon::QvStatus GetOutputStats(IQvRegOutputStats*& stats) override;
  [[nodiscard]] const QvRegSettings& GetCompSettings() const override { return fCompSettings; }
  void Display() const override;

 private:
  QvRegSettings fCompSettings;
};
