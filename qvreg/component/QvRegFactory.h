#pragma once

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"

class IQvRegComponent;
class QvRegSettings;

/// Makes the component that settings describe. Used from one thread at a time; components of one
/// factory are independent of it and of each other.
class QVREG_EXPORT QvRegFactory {
 public:
  /// A new component of the settings' model type, or null: the settings are not valid (GetStatus
  /// says why), the model type is not known, or memory ran out. The caller owns it and deletes it
  /// through its virtual destructor.
  IQvRegComponent* CreateRegAlgorithm(QvRegSettings& settings);
  /// The status of the last call: that of the settings.
  [[nodiscard]] const QvCommon::QvStatus& GetStatus() const { return fStatus; }

 private:
  QvCommon::QvStatus fStatus;
};
