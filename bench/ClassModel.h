#pragma once

#include <vector>

#include "bench/ClassRecords.h"
#include "qvreg/qvreg.h"

namespace qvbench {

/// The settings of a logistic model of such records: every covariate and every factor is an effect
/// of its own, the last class the reference. Owns the list that the effects point to.
class ClassModel {
 public:
  explicit ClassModel(const ClassRecords& shape);
  ClassModel(const ClassModel&) = delete;
  ClassModel& operator=(const ClassModel&) = delete;

  [[nodiscard]] QvLogRegSettings& Settings() { return settings_; }

 private:
  std::vector<int> variables_;
  QvLogRegSettings settings_;
};

}  // namespace qvbench
