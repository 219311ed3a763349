#include "host/fit/Predictions.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <optional>
#include <string_view>

#include "host/Error.h"
#include "host/fit/CountedRecordIterator.h"
#include "host/fit/ScaledEstimates.h"
#include "host/table/TableWriter.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/QvRegRecordValidator.h"

namespace qvhost {

namespace {

constexpr std::size_t kPredicted = 0;
constexpr std::size_t kFirstProbability = 1;

/// Scores records into the cells of rows. Borrows everything it is made of.
class RowScorer {
 public:
  RowScorer(IQvRegComponent& component, const IQvRegOutputStats& output,
            const PredictedCategories& categories)
      : component_(component),
        validator_(output.GetRecordValidator()),
        categories_(categories),
        order_(categories.codes.size()) {
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    std::ranges::sort(order_, {}, [&](std::size_t place) { return categories.codes[place]; });
  }

  [[nodiscard]] std::vector<WrittenColumn> Columns() const {
    using Type = WrittenColumn::Type;
    std::vector<WrittenColumn> columns = {{"predicted", IsLinear() ? Type::kNumber : Type::kText}};
    for (const std::size_t place : order_) {
      columns.push_back({"p_" + LevelOf(categories_.codes[place]), Type::kNumber});
    }
    return columns;
  }

  /// Sets no cell for a record that cannot be scored.
  void Score(const QvCommon::Record& record, RowCells& cells) {
    QvCommon::QvStatus status;
    if (!validator_.IsValid4Scoring(record, status)) return;
    double predicted = QvMV::gMissingValue;
    status = component_.Score(record, predicted, probabilities_);
    if (status.GetCode() == QvStatusCode::kCancelled) throw Cancelled();
    const std::optional<double> number = LibraryNumber(predicted);
    if (status.IsError() || !number) return;
    if (IsLinear()) {
      cells.SetNumber(kPredicted, *number);
    } else {
      SetCategories(*number, cells);
    }
  }

 private:
  [[nodiscard]] bool IsLinear() const { return categories_.codes.empty(); }
  [[nodiscard]] const std::string& LevelOf(int code) const {
    return categories_.levels.at(static_cast<std::size_t>(code));
  }

  void SetCategories(double code, RowCells& cells) const {
    const auto isNumber = [](double p) { return LibraryNumber(p).has_value(); };
    if (code < 0.0 || !std::ranges::all_of(probabilities_, isNumber)) return;
    cells.SetText(kPredicted, LevelOf(static_cast<int>(code)));
    for (std::size_t i = 0; i < order_.size(); ++i) {
      cells.SetNumber(kFirstProbability + i, probabilities_.at(order_[i]));
    }
  }

  IQvRegComponent& component_;
  const QvRegRecordValidator& validator_;
  const PredictedCategories& categories_;
  std::vector<std::size_t> order_;  ///< Places in the library's order, by the codes.
  std::vector<double> probabilities_;
};

}  // namespace

void WritePredictions(const WholeFile& file, const CodedTable& table, IQvRegComponent& component,
                      const IQvRegOutputStats& output, const PredictedCategories& categories,
                      const std::function<void(long long records)>& progress,
                      const Interrupt& interrupt) {
  RowScorer scorer(component, output, categories);
  CountedRecordIterator records(table, [&](int /*pass*/, long long done) {
    if (progress) progress(done);
  });
  records.NewPass();
  WriteTable(file, scorer.Columns(), [&](RowCells& cells) {
    const QvCommon::Record* record = records.Fetch(interrupt);
    if (record != nullptr) scorer.Score(*record, cells);
    return record != nullptr;
  });
}

}  // namespace qvhost
