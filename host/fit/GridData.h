#pragma once

#include <cstddef>
#include <optional>
#include <vector>

#include "host/fit/GridPlan.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/RecordWalk.h"
#include "host/table/CodedTable.h"
#include "qvreg/data/QvRegRecordValidator.h"

namespace qvhost {

/// What the records used tell of an axis of a grid. A plain value.
struct AxisData {
  /// Of a factor: the codes that occur, in their order.
  std::vector<std::size_t> codes;
  /// Of numbers: those that occur where they are two, in their order; else empty.
  std::vector<double> values;
  double mean = 0.0;  ///< Of numbers, each as often as its frequency weight says.
  /// Of a factor: other factors of which each of its levels occurs with one level alone.
  std::vector<std::size_t> within;
  /// And that level's code, by its own; for each of `within`.
  std::vector<std::vector<int>> codesWithin;
};

/// What they tell of every axis of the grid; none without a record that is used. Of two factors of
/// which each is within the other, the first counts as within the second.
///
/// Makes one pass: memory grows with levels only, and the result depends on the number of parts
/// alone. REQUIRES: a grid in the binding. Throws as WalkRecords does.
[[nodiscard]] std::optional<std::vector<AxisData>> ReadGridData(
    const CodedTable& table, const ModelBinding& binding, const QvRegRecordValidator& validator,
    int parts, const WalkOptions& walk);

}  // namespace qvhost
