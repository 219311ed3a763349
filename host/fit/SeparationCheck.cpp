#include "host/fit/SeparationCheck.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include "host/Error.h"
#include "host/fit/CountedRecordIterator.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/StatusText.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/QvRegRecordValidator.h"

namespace qvhost {

namespace {

// Log odds that fall by less in an iteration have settled, but for rounding.
constexpr double kSettled = 1e-6;
// Log odds that gain more keep growing.
constexpr double kGrowing = 0.1;
constexpr double kCertainty = 0.99;

/// Watches one record after the other.
class RecordWatch {
 public:
  RecordWatch(const QvLogOutputStats& output, const std::vector<double>& direction)
      : output_(output),
        direction_(direction),
        categories_(output.GetDependCategories()),
        blockSize_(direction.size() / (categories_.size() - 1)),
        gains_(categories_.size()),
        predictors_(categories_.size()) {}

  /// False when the record contradicts separation.
  bool Accepts(const QvCommon::Record& record) {
    QvCommon::QvStatus status;
    if (!output_.GetRecordValidator().IsValidRecord(record, status)) return true;
    if (!output_.ExpandRow(record, indices_, values_)) return true;
    for (std::size_t j = 0; j + 1 < categories_.size(); ++j) {
      gains_[j] = Predictor(direction_, j);
      predictors_[j] = Predictor(output_.GetParamEstimates(), j);
    }
    const auto code = static_cast<int>(record[ModelBinding::kDependent]);
    const auto own =
        static_cast<std::size_t>(std::ranges::find(categories_, code) - categories_.begin());
    isCertain_ = isCertain_ && Probability(own) >= kCertainty;
    return Moves(own);
  }

  [[nodiscard]] Separation Result() const {
    if (!isGrowing_) return Separation::kNone;
    return isCertain_ ? Separation::kComplete : Separation::kQuasiComplete;
  }

 private:
  /// Of the category of this place; that of the reference is 0.
  [[nodiscard]] double Predictor(const std::vector<double>& parameters, std::size_t place) const {
    double sum = 0.0;
    for (std::size_t i = 0; i < indices_.size(); ++i) {
      if (indices_[i] < 0) continue;
      sum += values_[i] * parameters[place * blockSize_ + static_cast<std::size_t>(indices_[i])];
    }
    return sum;
  }

  [[nodiscard]] double Probability(std::size_t own) const {
    double odds = 0.0;
    for (const double predictor : predictors_) odds += std::exp(predictor - predictors_[own]);
    return 1.0 / odds;
  }

  bool Moves(std::size_t own) {
    for (const double other : gains_) {
      const double gain = gains_[own] - other;
      // A gain that is not a number shows nothing.
      if (!(gain >= -kSettled)) return false;
      isGrowing_ = isGrowing_ || gain > kGrowing;
    }
    return true;
  }

  const QvLogOutputStats& output_;
  const std::vector<double>& direction_;
  const std::vector<int>& categories_;
  std::size_t blockSize_;
  std::vector<int> indices_;
  std::vector<double> values_;
  std::vector<double> gains_;       ///< Of the predictors, along the direction.
  std::vector<double> predictors_;  ///< By the estimates.
  bool isGrowing_ = false;
  bool isCertain_ = true;
};

}  // namespace

Separation CheckSeparation(const CodedTable& table, const QvLogOutputStats& output,
                           const std::vector<double>& direction,
                           const std::function<void(long long)>& progress,
                           const Interrupt& interrupt) {
  CountedRecordIterator records(table, [&](int /*pass*/, long long delivered) {
    if (progress) progress(delivered);
  });
  RecordWatch watch(output, direction);
  records.NewPass();
  while (const QvCommon::Record* record = records.Next()) {
    if (interrupt.Requested()) throw Cancelled();
    if (!watch.Accepts(*record)) return Separation::kNone;
  }
  if (!records.AllRecordsRead()) {
    throw Error(ExitCode::kRunFailed,
                StatusText(QvCommon::QvStatus(QvStatusCode::kUnreadableRecord, false)));
  }
  return watch.Result();
}

}  // namespace qvhost
