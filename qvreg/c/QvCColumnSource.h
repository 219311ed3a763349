#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/c/QvCSource.h"
#include "qvreg/c/qvreg_c_source.h"

/// Records from columns in the host's memory, which it borrows.
class QvCColumnSource : public QvCSource {
 public:
  /// REQUIRES: at least one column, none with null values unless there are no records.
  QvCColumnSource(std::vector<qvreg_column> columns, std::size_t nRecords);

 protected:
  bool Rewind() override;
  Answer Read(QvCommon::Record& record) override;

 private:
  std::vector<qvreg_column> fColumns;
  std::size_t fNRecords;
  std::size_t fPosition = 0;
};
