#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "fuzz/FuzzedModel.h"
#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/IQvRecordBlocks.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvfuzz {

/// Lends the records in blocks of at most `rows`.
class BlockIter : public qvtest::VectorRecordIter, public QvCommon::IQvRecordBlocks {
 public:
  BlockIter(const qvfuzz::Records& records, std::size_t rows);
  QvCommon::QvRecordBlock NextBlock() override;

 private:
  std::size_t rows_;
  std::vector<double> block_;
};

/// What came of a run.
struct FuzzedFit {
  std::unique_ptr<IQvRegComponent> component;
  QvCommon::QvStatus status;
  const IQvRegOutputStats* stats = nullptr;  ///< Null without a model.
  QvCommon::QvBytes bytes;                   ///< The whole model; none without one.
};

/// Fits the model to records. Checks what holds of every run: a status or a model, never both or
/// neither, and that a model restored of its bytes has the same.
[[nodiscard]] FuzzedFit FitOf(QvRegSettings& settings, QvCommon::MultiPassRecordIter& records);
[[nodiscard]] FuzzedFit FitOf(const FuzzedModel& model, const Records& records);
/// The same over so many parts, on so many threads.
[[nodiscard]] FuzzedFit FitInParts(const FuzzedModel& model, const Records& records,
                                   std::size_t parts, int threads);

/// Checks that both ended with one status and have the same model, to the last bit.
void CheckSameBits(const FuzzedFit& actual, const FuzzedFit& expected, const char* what);

/// The largest factor by which a column's dependence on the others multiplies the variance of an
/// estimate, a measure of what rounding may do: for kept parameters c_jj times the weighted sum of
/// squares of column j. Of a logistic model it is an upper bound.
[[nodiscard]] double LargestInflation(const FuzzedModel& model, const FuzzedFit& fit,
                                      const Records& records);

}  // namespace qvfuzz
