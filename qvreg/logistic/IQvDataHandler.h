#pragma once

#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/settings/QvConst.h"

class IQvAccumStats;
class IQvRegModel;

/// Makes one pass of accumulated statistics at the optimizer's request, wherever the rows come
/// from. Borrows statistics and model between SetStatsModel and CleanStatsModel.
class IQvDataHandler {
 public:
  IQvDataHandler() = default;
  IQvDataHandler(const IQvDataHandler&) = delete;
  IQvDataHandler& operator=(const IQvDataHandler&) = delete;

  virtual ~IQvDataHandler() = default;
  virtual void SetStatsModel(IQvAccumStats* stats, const IQvRegModel* model) = 0;
  /// As the statistics' Reset. REQUIRES: SetStatsModel.
  virtual void ResetAccumStats(QvConst::QvEstimationMethod method, bool separationCheck) = 0;
  virtual void CleanStatsModel() = 0;
  /// One pass over all rows. REQUIRES: SetStatsModel.
  virtual QvCommon::QvStatus ComputeStatsForOptimizer(bool llOnly) = 0;
  [[nodiscard]] virtual const std::vector<QvCommon::QvStatus>& GetWarnings() const = 0;
  /// Diagnostic output, where a handler has any.
  virtual void Display() const = 0;
};
