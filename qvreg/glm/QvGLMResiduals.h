#pragma once

#include <vector>

#include "qvreg/common/QvDoubleDouble.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/glm/QvGLMFitSums.h"

/// What a residual pass of a linear model learns: the sums of squares, and the gradient of a
/// refinement, empty where there is none. Used from one thread at a time.
class QvGLMResiduals : public IQvPassSums {
 public:
  bool Merge(const IQvPassSums& other) override;
  void Write(QvCommon::QvByteWriter& writer) const override;
  void Read(QvCommon::QvByteReader& reader) override;
  [[nodiscard]] std::size_t GetSize() const override {
    return fGradient.size() * sizeof(fGradient.front());
  }

  QvGLMFitSums fFit;
  /// Those whose weight is a share of the scale that a double holds.
  long long fWeightedRecords = 0;
  std::vector<QvCommon::QvDoubleDouble> fGradient;
};
