#include "host/fit/Predictions.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <future>
#include <memory>
#include <new>
#include <numeric>
#include <optional>
#include <span>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/Threads.h"
#include "host/fit/MeanError.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ScaledEstimates.h"
#include "host/fit/SpoolRunner.h"
#include "host/fit/StatusText.h"
#include "host/table/TableWriter.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/parallel/QvScorer.h"

namespace qvhost {

namespace {

using Type = WrittenColumn::Type;

constexpr std::size_t kObserved = 0;
constexpr std::size_t kPredicted = 1;
constexpr std::size_t kResidual = 2;  // Of a linear model,
constexpr std::size_t kStdError = 3;
constexpr std::size_t kFirstProbability = 2;  // and of a logistic one.

/// A place in a row of scores that stays NULL.
constexpr double kNone = QvMV::gMissingValue;

/// Scores records into rows of numbers, kNone where there is none; a text is the code of a level.
/// One thread at a time.
class RowScorer {
 public:
  /// Borrows the model; `bytes` are what it scores with.
  RowScorer(const BuiltPredictor& model, const std::vector<unsigned char>& bytes) : model_(model) {
    const QvCommon::QvStatus status = scorer_.Open(bytes);
    if (status.IsError()) throw Error(ExitCode::kRunFailed, StatusText(status));
  }
  RowScorer(const RowScorer&) = delete;
  RowScorer& operator=(const RowScorer&) = delete;
  virtual ~RowScorer() = default;

  [[nodiscard]] virtual std::vector<WrittenColumn> Columns() const = 0;
  /// REQUIRES: a row of kNone. Sets no number but the observed one for a record that cannot be
  /// scored.
  virtual void Score(const QvCommon::Record& record, std::span<double> row) = 0;

 protected:
  /// What is predicted for a record, none where it cannot be; `values` as the library leaves them.
  std::optional<double> Predicted(const QvCommon::Record& record, std::vector<double>& values) {
    QvCommon::QvStatus status;
    if (!model_.output.GetRecordValidator().IsValid4Scoring(record, status)) return std::nullopt;
    double predicted = QvMV::gMissingValue;
    status = scorer_.Score(record, predicted, values);
    // Without memory nothing is known of the record.
    if (status.GetCode() == QvStatusCode::kTooManyParameters) throw std::bad_alloc();
    return status.IsError() ? std::nullopt : LibraryNumber(predicted);
  }

  const BuiltPredictor& model_;
  QvScorer scorer_;
};

class LinearScorer final : public RowScorer {
 public:
  LinearScorer(const BuiltPredictor& model, const std::vector<unsigned char>& bytes,
               const QvGLMOutputStats& output)
      : RowScorer(model, bytes), error_(output, model.residualStdError, scorer_) {}

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    return {{"observed", Type::kNumber},
            {"predicted", Type::kNumber},
            {"residual", Type::kNumber},
            {"std_error", Type::kNumber}};
  }

  void Score(const QvCommon::Record& record, std::span<double> row) override {
    const std::optional<double> observed = LibraryNumber(record[ModelBinding::kDependent]);
    row[kObserved] = observed.value_or(kNone);
    const std::optional<double> predicted = Predicted(record, unused_);
    if (!predicted) return;
    row[kPredicted] = *predicted;
    if (observed) row[kResidual] = Finite(*observed - *predicted).value_or(kNone);
    row[kStdError] = error_.Of(record).value_or(kNone);
  }

 private:
  MeanError error_;
  std::vector<double> unused_;
};

class LogisticScorer final : public RowScorer {
 public:
  LogisticScorer(const BuiltPredictor& model, const std::vector<unsigned char>& bytes)
      : RowScorer(model, bytes), order_(model.categories.codes.size()) {
    std::iota(order_.begin(), order_.end(), std::size_t{0});
    std::ranges::sort(order_, {}, [&](std::size_t place) { return model.categories.codes[place]; });
  }

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    const PredictedCategories& categories = model_.categories;
    std::vector<WrittenColumn> columns = {{"observed", Type::kText}, {"predicted", Type::kText}};
    for (const std::size_t place : order_) {
      const auto code = static_cast<std::size_t>(categories.codes[place]);
      columns.push_back({"p_" + categories.levels.at(code), Type::kNumber});
    }
    return columns;
  }

  void Score(const QvCommon::Record& record, std::span<double> row) override {
    const double observed = record[ModelBinding::kDependent];
    if (observed >= 0.0) row[kObserved] = observed;
    const std::optional<double> code = Predicted(record, probabilities_);
    const auto isNumber = [](double p) { return LibraryNumber(p).has_value(); };
    if (!code || *code < 0.0 || !std::ranges::all_of(probabilities_, isNumber)) return;
    row[kPredicted] = *code;
    for (std::size_t i = 0; i < order_.size(); ++i) {
      row[kFirstProbability + i] = probabilities_.at(order_[i]);
    }
  }

 private:
  std::vector<std::size_t> order_;  ///< Places in the library's order, by the codes.
  std::vector<double> probabilities_;
};

std::unique_ptr<RowScorer> ScorerOf(const BuiltPredictor& model,
                                    const std::vector<unsigned char>& bytes) {
  const auto* linear = dynamic_cast<const QvGLMOutputStats*>(&model.output);
  if (linear != nullptr) return std::make_unique<LinearScorer>(model, bytes, *linear);
  return std::make_unique<LogisticScorer>(model, bytes);
}

std::vector<unsigned char> BytesOf(const BuiltPredictor& model) {
  std::vector<unsigned char> bytes;
  const QvCommon::QvStatus status = model.component.WriteScoring(bytes);
  if (status.IsError()) throw Error(ExitCode::kRunFailed, StatusText(status));
  return bytes;
}

/// The scores of a table's records, in their order: a block is scored on other threads, if there
/// are to be more than one, while the one before is taken row by row. Borrows what it is made of.
class ScoredRows {
 public:
  ScoredRows(const CodedTable& table, const BuiltPredictor& model, int threads)
      : table_(table), levels_(model.categories.levels), isAhead_(threads > 1) {
    const std::vector<unsigned char> bytes = BytesOf(model);
    while (scorers_.size() < static_cast<std::size_t>(std::max(threads - 1, 1))) {
      scorers_.push_back(ScorerOf(model, bytes));
    }
    columns_ = scorers_.front()->Columns();
    sliceRecords_ = std::clamp<std::int64_t>(
        kSliceValues / static_cast<std::int64_t>(columns_.size()), 1, kMostSliceRecords);
    next_ = Begin();
  }

  [[nodiscard]] const std::vector<WrittenColumn>& Columns() const { return columns_; }

  /// Sets the cells of the next row; false when there is none. `afterBlock` is called now and then
  /// with the number of records that are scored; what it throws passes through.
  bool Fill(RowCells& cells, const std::function<void(std::int64_t)>& afterBlock) {
    if (position_ == rows_.size()) {
      rows_ = next_.get();
      position_ = 0;
      afterBlock(begun_);
      next_ = Begin();
    }
    if (rows_.empty()) return false;
    const std::span<const double> row = std::span(rows_).subspan(position_, columns_.size());
    for (std::size_t column = 0; column < row.size(); ++column) SetCell(column, row[column], cells);
    position_ += row.size();
    return true;
  }

 private:
  using Rows = std::vector<double>;

  static constexpr std::int64_t kSliceValues = std::int64_t{1} << 17;  // 1 MB
  static constexpr std::int64_t kMostSliceRecords = 4096;

  /// Begins the next block, which is empty at the end.
  std::future<Rows> Begin() {
    const std::int64_t first = begun_;
    begun_ = std::min(first + sliceRecords_ * static_cast<std::int64_t>(scorers_.size()),
                      table_.RecordCount());
    // Without another thread to be had it is done when it is asked for.
    const std::launch way =
        isAhead_ ? std::launch::async | std::launch::deferred : std::launch::deferred;
    return std::async(way, [this, first, end = begun_] { return Score(first, end); });
  }

  Rows Score(std::int64_t first, std::int64_t end) {
    Rows rows(static_cast<std::size_t>(end - first) * columns_.size(), kNone);
    const auto slices = static_cast<std::size_t>((end - first + sliceRecords_ - 1) / sliceRecords_);
    ForEachOnThreads(static_cast<int>(slices), slices, [&](std::size_t slice) {
      const std::int64_t begin = first + static_cast<std::int64_t>(slice) * sliceRecords_;
      SpoolRecords records(table_, begin, std::min(begin + sliceRecords_, end), {});
      std::span<double> left =
          std::span(rows).subspan(static_cast<std::size_t>(begin - first) * columns_.size());
      while (const QvCommon::Record* record = records.Next()) {
        scorers_[slice]->Score(*record, left.first(columns_.size()));
        left = left.subspan(columns_.size());
      }
    });
    return rows;
  }

  void SetCell(std::size_t column, double value, RowCells& cells) const {
    if (value == kNone) return;
    if (columns_[column].type == Type::kNumber) return cells.SetNumber(column, value);
    cells.SetText(column, levels_.at(static_cast<std::size_t>(value)));
  }

  const CodedTable& table_;
  const std::vector<std::string>& levels_;
  const bool isAhead_;
  std::vector<std::unique_ptr<RowScorer>> scorers_;  ///< A slice of a block each.
  std::vector<WrittenColumn> columns_;
  std::int64_t sliceRecords_ = 0;
  std::int64_t begun_ = 0;  ///< Records of which the scoring has begun.
  Rows rows_;
  std::size_t position_ = 0;  ///< In the rows, of the next one.
  std::future<Rows> next_;    ///< Last, as what runs uses the others.
};

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
                             const BuiltPredictor& model, int threads,
                             const std::function<void(long long records)>& progress,
                             const Interrupt& interrupt) {
  ScoredRows rows(table, model, threads);
  const auto afterBlock = [&](std::int64_t records) {
    if (interrupt.Requested()) throw Cancelled();
    if (progress) progress(records);
  };
  const auto nextRow = [&](RowCells& cells) { return rows.Fill(cells, afterBlock); };
  WriteTable(file, rows.Columns(), nextRow, table.Kept());
  return RenamingNote(table, rows.Columns());
}

}  // namespace qvhost
