#pragma once

#include <vector>

#include "qvreg/common/Record.h"
#include "qvreg/settings/QvRegSettings.h"
#include "tests/qvreg/c/CHandles.h"

namespace qvtest {

/// The settings, effects and choices included, told to the C interface. Callbacks are not.
[[nodiscard]] CSettings CSettingsOf(const QvRegSettings& settings);

/// A component of settings of the C interface.
[[nodiscard]] CComponent CComponentOf(const CSettings& settings);

/// A model fitted through the C interface. What fails throws.
struct CFit {
  CComponent component;
  CResults results;
};
[[nodiscard]] CFit CFitOf(const CSettings& settings, const CSource& source);
/// The same over records in memory, through callbacks.
[[nodiscard]] CFit CFitOf(const QvRegSettings& settings,
                          const std::vector<QvCommon::Record>& records);

/// Columns of records in memory, one after the other; a source may be made of them as long as they
/// live.
class CColumns {
 public:
  explicit CColumns(const std::vector<QvCommon::Record>& records);
  [[nodiscard]] CSource Source() const;
  /// The same with the code that it came to.
  [[nodiscard]] std::int32_t TrySource(qvreg_source** source) const;

 private:
  std::size_t nRecords_;
  std::vector<double> values_;
  std::vector<qvreg_column> columns_;
};

}  // namespace qvtest
