#pragma once

#include <string>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"

struct QvModelContents;

/// The contents of a model as lines of ASCII text, for hosts that keep models in a format of their
/// own and do not want to know their numbers:
///
///     qvreg-model 1
///     settings {
///     roles 1 2 3
///     ...
///     }
///     ...
///
/// The first line has the number of the format. Each other is `name numbers`, with a blank before
/// each number; `name {`, whose lines follow up to `}`; or that. QvContentsFields.h has the names
/// and their order, and QvNumberText.h the numbers, which are read back to the same bits. The last
/// part is `numbers`: which parameters are kept, estimates and covariances.
class QVREG_EXPORT QvModelText {
 public:
  /// `text` receives that of `contents`. kTooManyParameters without memory, with `text` as it was.
  static QvCommon::QvStatus Write(const QvModelContents& contents, std::string& text);
  /// `contents` receive what Write made `text` of. kUnreadableMessage for any other text,
  /// kTooManyParameters without memory; on an error the contents stay as they were.
  static QvCommon::QvStatus Read(const std::string& text, QvModelContents& contents);
};
