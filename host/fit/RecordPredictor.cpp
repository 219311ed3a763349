#include "host/fit/RecordPredictor.h"

#include <algorithm>
#include <new>
#include <numeric>

#include "host/fit/RecordFit.h"
#include "host/fit/ScaledEstimates.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {

RecordPredictor::RecordPredictor(const IQvRegOutputStats& output,
                                 const std::vector<unsigned char>& scoring)
    : validator_(output.GetRecordValidator()),
      isLogistic_(dynamic_cast<const QvLogOutputStats*>(&output) != nullptr) {
  OpenScorer(scoring, scorer_);
}

RecordPredictor::Outcome RecordPredictor::Predict(const QvCommon::Record& record) {
  QvCommon::QvStatus status;
  if (!validator_.IsValid4Scoring(record, status)) return Outcome::kMissing;
  value_ = QvMV::gMissingValue;
  status = scorer_.Score(record, value_, probabilities_);
  // Without memory nothing is known of the record.
  if (status.GetCode() == QvStatusCode::kTooManyParameters) throw std::bad_alloc();
  if (status.IsError() || value_ == QvMV::gMissingValue) return Outcome::kUnseen;
  if (!LibraryNumber(value_)) return Outcome::kNotFinite;
  if (!isLogistic_) return Outcome::kPredicted;
  const auto isNumber = [](double p) { return LibraryNumber(p).has_value(); };
  if (value_ < 0.0 || !std::ranges::all_of(probabilities_, isNumber)) return Outcome::kNotFinite;
  return Outcome::kPredicted;
}

CategoryColumns::CategoryColumns(const PredictedCategories& categories)
    : categories_(categories), order_(categories.codes.size()) {
  std::iota(order_.begin(), order_.end(), std::size_t{0});
  std::ranges::sort(order_, {}, [&](std::size_t place) { return categories.codes[place]; });
}

const std::string& CategoryColumns::Level(std::size_t place) const {
  return categories_.levels.at(static_cast<std::size_t>(categories_.codes[place]));
}

void CategoryColumns::AppendTo(std::vector<WrittenColumn>& columns) const {
  columns.push_back({"predicted", WrittenColumn::Type::kText});
  for (const std::size_t place : order_) {
    columns.push_back({"p_" + Level(place), WrittenColumn::Type::kNumber});
  }
}

void CategoryColumns::Fill(const RecordPredictor& predictor, std::span<double> row) const {
  row[0] = predictor.Value();
  for (std::size_t i = 0; i < order_.size(); ++i) {
    row[1 + i] = predictor.Probabilities().at(order_[i]);
  }
}

}  // namespace qvhost
