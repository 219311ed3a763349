#pragma once

#include <functional>

#include "host/fit/ProgressBar.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// Shows how many of the table's records a stage has seen. Borrows the bar.
[[nodiscard]] inline std::function<void(long long records)> ShowShare(const char* stage,
                                                                      const CodedTable& table,
                                                                      ProgressBar& progress) {
  const auto total = static_cast<double>(table.RecordCount());
  return [stage, total, &progress](long long records) {
    progress.Show(stage, static_cast<double>(records) / total, records);
  };
}

}  // namespace qvhost
