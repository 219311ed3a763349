#include "host/fit/Predictions.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <numeric>
#include <optional>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/fit/MeanError.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/SpoolRunner.h"
#include "host/table/TableWriter.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/glm/QvGLMOutputStats.h"

namespace qvhost {

namespace {

using Type = WrittenColumn::Type;

constexpr std::size_t kObserved = 0;
constexpr std::size_t kPredicted = 1;
constexpr std::size_t kResidual = 2;  // Of a linear model,
constexpr std::size_t kStdError = 3;
constexpr std::size_t kFirstProbability = 2;  // and of a logistic one.

/// Scores records into the cells of rows.
class RowScorer {
 public:
  RowScorer() = default;
  RowScorer(const RowScorer&) = delete;
  RowScorer& operator=(const RowScorer&) = delete;
  virtual ~RowScorer() = default;

  [[nodiscard]] virtual std::vector<WrittenColumn> Columns() const = 0;
  /// Sets no cell but the observed one for a record that cannot be scored.
  virtual void Score(const QvCommon::Record& record, RowCells& cells) = 0;
};

/// What the component predicts for a record, none where it cannot; `values` as it leaves them.
std::optional<double> PredictedBy(const BuiltPredictor& model, const QvCommon::Record& record,
                                  std::vector<double>& values) {
  QvCommon::QvStatus status;
  if (!model.output.GetRecordValidator().IsValid4Scoring(record, status)) return std::nullopt;
  double predicted = QvMV::gMissingValue;
  status = model.component.Score(record, predicted, values);
  if (status.GetCode() == QvStatusCode::kCancelled) throw Cancelled();
  return status.IsError() ? std::nullopt : LibraryNumber(predicted);
}

/// Borrows what it is made of.
class LinearScorer final : public RowScorer {
 public:
  LinearScorer(const BuiltPredictor& model, const QvGLMOutputStats& output)
      : model_(model), error_(output, model.residualStdError) {}

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    return {{"observed", Type::kNumber},
            {"predicted", Type::kNumber},
            {"residual", Type::kNumber},
            {"std_error", Type::kNumber}};
  }

  void Score(const QvCommon::Record& record, RowCells& cells) override {
    const std::optional<double> observed = LibraryNumber(record[ModelBinding::kDependent]);
    Set(kObserved, observed, cells);
    const std::optional<double> predicted = PredictedBy(model_, record, unused_);
    if (!predicted) return;
    Set(kPredicted, predicted, cells);
    if (observed) Set(kResidual, Finite(*observed - *predicted), cells);
    Set(kStdError, error_.Of(record), cells);
  }

 private:
  static void Set(std::size_t column, std::optional<double> number, RowCells& cells) {
    if (number) cells.SetNumber(column, *number);
  }

  const BuiltPredictor& model_;
  MeanError error_;
  std::vector<double> unused_;
};

/// Borrows what it is made of.
class LogisticScorer final : public RowScorer {
 public:
  explicit LogisticScorer(const BuiltPredictor& model)
      : model_(model), order_(model.categories.codes.size()) {
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    std::ranges::sort(order_, {}, [&](std::size_t place) { return model.categories.codes[place]; });
  }

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    std::vector<WrittenColumn> columns = {{"observed", Type::kText}, {"predicted", Type::kText}};
    for (const std::size_t place : order_) {
      columns.push_back({"p_" + LevelOf(model_.categories.codes[place]), Type::kNumber});
    }
    return columns;
  }

  void Score(const QvCommon::Record& record, RowCells& cells) override {
    const double observed = record[ModelBinding::kDependent];
    if (observed >= 0.0) cells.SetText(kObserved, LevelOf(static_cast<int>(observed)));
    const std::optional<double> code = PredictedBy(model_, record, probabilities_);
    const auto isNumber = [](double p) { return LibraryNumber(p).has_value(); };
    if (!code || *code < 0.0 || !std::ranges::all_of(probabilities_, isNumber)) return;
    cells.SetText(kPredicted, LevelOf(static_cast<int>(*code)));
    for (std::size_t i = 0; i < order_.size(); ++i) {
      cells.SetNumber(kFirstProbability + i, probabilities_.at(order_[i]));
    }
  }

 private:
  [[nodiscard]] const std::string& LevelOf(int code) const {
    return model_.categories.levels.at(static_cast<std::size_t>(code));
  }

  const BuiltPredictor& model_;
  std::vector<std::size_t> order_;  ///< Places in the library's order, by the codes.
  std::vector<double> probabilities_;
};

std::unique_ptr<RowScorer> ScorerOf(const BuiltPredictor& model) {
  const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&model.output);
  if (linear != nullptr) return std::make_unique<LinearScorer>(model, *linear);
  return std::make_unique<LogisticScorer>(model);
}

std::string RenamingNote(const CodedTable& table, const std::vector<WrittenColumn>& columns) {
  if (table.Kept() == nullptr) return {};
  const std::vector<std::string>& names = KeptNames(*table.Kept());
  const std::vector<std::string> beside = NamesBeside(names, columns);
  std::vector<std::string> renamed;
  for (std::size_t i = 0; i < names.size(); ++i) {
    if (names[i] != beside[i]) renamed.push_back(beside[i]);
  }
  if (renamed.empty()) return {};
  return fmt::format(
      "Columns of the data whose names the predictions use are written with '_data' added: {}.",
      NameList(renamed));
}

}  // namespace

std::string WritePredictions(const WholeFile& file, const CodedTable& table,
                             const BuiltPredictor& model,
                             const std::function<void(long long records)>& progress,
                             const Interrupt& interrupt) {
  const std::unique_ptr<RowScorer> scorer = ScorerOf(model);
  const std::vector<WrittenColumn> columns = scorer->Columns();
  SpoolRecords records(table, progress);
  const auto nextRow = [&](RowCells& cells) {
    const QvCommon::Record* record = records.Fetch(interrupt);
    if (record != nullptr) scorer->Score(*record, cells);
    return record != nullptr;
  };
  WriteTable(file, columns, nextRow, table.Kept());
  return RenamingNote(table, columns);
}

}  // namespace qvhost
