#pragma once

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"

class IQvRegComponent;
class QvRegSettings;
struct QvModelContents;

/// Makes the component that settings describe. Used from one thread at a time; components of one
/// factory are independent of it and of each other.
class QVREG_EXPORT QvRegFactory {
 public:
  /// A new component of the settings' model type, or null: the settings are not valid (GetStatus
  /// says why), the model type is not known or not that of such settings, or memory ran out. The
  /// component checks its own copy of the settings too, and keeps that status: a host's own class,
  /// of which it copies the library's part only, may override the check. The caller owns it and
  /// deletes it through its virtual destructor.
  IQvRegComponent* CreateRegAlgorithm(QvRegSettings& settings);
  /// A new component that holds the built model whose IQvRegComponent::WriteModel made `model`: it
  /// scores, reports and displays itself as that one, and answers kAlreadyBuilt to another build;
  /// or null: GetStatus says kUnreadableMessage for bytes that WriteModel did not write, or which a
  /// version with another first number wrote; kTooManyParameters without memory. Its settings have
  /// no listener, query or runner. The caller owns it as above.
  IQvRegComponent* RestoreComponent(const std::vector<unsigned char>& model);
  /// The same of the contents of a model, which a host may have kept in a format of its own:
  /// kUnreadableMessage for contents that no model has. A model of contents that WriteModel did not
  /// write is what they say it is: neither estimates nor counts are checked against each other.
  IQvRegComponent* RestoreComponent(const QvModelContents& model);
  /// The status of the last call: that of the settings. Each component has its own.
  [[nodiscard]] const QvCommon::QvStatus& GetStatus() const { return fStatus; }

 private:
  QvCommon::QvStatus fStatus;
};
