#include "host/fit/Diagnostics.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <numeric>
#include <optional>
#include <span>

#include "host/fit/ScoredRows.h"
#include "host/inference/Inference.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {

namespace {

using Type = WrittenColumn::Type;

class LinearDiagnosis final : public RowScorer {
 public:
  explicit LinearDiagnosis(const FittedModel& model) : fit_(model) {}

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    return {{"fitted", Type::kNumber},       {"residual", Type::kNumber},
            {"standardized", Type::kNumber}, {"studentized", Type::kNumber},
            {"leverage", Type::kNumber},     {"cooks_distance", Type::kNumber}};
  }

  void Score(const QvCommon::Record& record, std::span<double> row) override {
    if (!fit_.Read(record)) return;
    std::size_t column = 0;
    for (const std::optional<double>& value :
         {Finite(fit_.Fitted()), Finite(fit_.Observed() - fit_.Fitted()), fit_.Standardized(),
          fit_.Studentized(), fit_.Leverage(), fit_.CooksDistance()}) {
      row[column++] = value.value_or(kNoScore);
    }
  }

 private:
  LinearRecordFit fit_;
};

class LogisticDiagnosis final : public RowScorer {
 public:
  LogisticDiagnosis(const FittedModel& model, const PredictedCategories& categories)
      : fit_(model), categories_(categories), order_(categories.codes.size()) {
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    // Of two, that of the level whose probability the model gives.
    if (order_.size() == 2) order_.pop_back();
    std::ranges::sort(order_, {}, [&](std::size_t place) { return categories.codes[place]; });
  }

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    std::vector<WrittenColumn> columns = {{"deviance_residual", Type::kNumber}};
    for (const std::size_t place : order_) {
      const auto code = static_cast<std::size_t>(categories_.codes[place]);
      columns.push_back({order_.size() == 1 ? "pearson_residual"
                                            : "pearson_residual_" + categories_.levels.at(code),
                         Type::kNumber});
    }
    columns.push_back({"leverage", Type::kNumber});
    columns.push_back({"cooks_distance", Type::kNumber});
    return columns;
  }

  void Score(const QvCommon::Record& record, std::span<double> row) override {
    if (!fit_.Read(record)) return;
    std::size_t column = 0;
    const auto set = [&](const std::optional<double>& value) {
      row[column++] = value.value_or(kNoScore);
    };
    set(fit_.DevianceResidual());
    for (const std::size_t place : order_) set(fit_.PearsonResidual(place));
    set(fit_.Leverage());
    set(fit_.CooksDistance());
  }

 private:
  LogisticRecordFit fit_;
  const PredictedCategories& categories_;
  std::vector<std::size_t> order_;  ///< Places in the library's order, by the codes.
};

/// The most influential of some records.
class MostInfluential {
 public:
  explicit MostInfluential(RecordFit& fit) : fit_(fit) {}

  bool Add(const QvCommon::Record& record, std::int64_t number) {
    if (!fit_.Read(record)) return true;
    const std::optional<double> distance = fit_.CooksDistance();
    if (!distance || (records_.size() == kMost && *distance <= records_.back().cooksDistance)) {
      return true;
    }
    Insert({number + 1, *distance, fit_.Leverage(), fit_.OutlierResidual()});
    return true;
  }
  void EndPart() {}
  void Merge(const MostInfluential& next) {
    for (const InfluentialRecord& record : next.records_) Insert(record);
  }

  [[nodiscard]] const std::vector<InfluentialRecord>& Records() const { return records_; }

 private:
  static constexpr std::size_t kMost = 10;

  /// Behind those that are as far.
  void Insert(const InfluentialRecord& record) {
    const auto place = std::ranges::upper_bound(records_, record.cooksDistance, std::greater(),
                                                &InfluentialRecord::cooksDistance);
    records_.insert(place, record);
    if (records_.size() > kMost) records_.pop_back();
  }

  RecordFit& fit_;
  std::vector<InfluentialRecord> records_;
};

}  // namespace

std::string WriteDiagnostics(const WholeFile& file, const CodedTable& table,
                             const FittedModel& model, const PredictedCategories& categories,
                             const WalkOptions& options) {
  const bool isLogistic = dynamic_cast<const QvLogOutputStats*>(&model.output) != nullptr;
  return WriteScoredRows(
      file, table, categories.levels,
      [&]() -> std::unique_ptr<RowScorer> {
        if (isLogistic) return std::make_unique<LogisticDiagnosis>(model, categories);
        return std::make_unique<LinearDiagnosis>(model);
      },
      options);
}

std::vector<InfluentialRecord> FindInfluential(const CodedTable& table, const FittedModel& model,
                                               int parts, const WalkOptions& options) {
  std::vector<std::unique_ptr<RecordFit>> fits;
  while (static_cast<int>(fits.size()) < options.threads) fits.push_back(RecordFit::Of(model));
  return WalkRecords<MostInfluential>(
             table, parts, options,
             [&](int, int worker) {
               return std::make_unique<MostInfluential>(*fits[static_cast<std::size_t>(worker)]);
             })
      ->Records();
}

}  // namespace qvhost
