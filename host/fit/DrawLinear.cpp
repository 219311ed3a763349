#include "host/fit/DrawLinear.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/fit/CompensatedSum.h"
#include "host/fit/ScoredRows.h"
#include "host/formula/PortableDialect.h"
#include "host/inference/Inference.h"
#include "host/table/RecordNumbers.h"

namespace qvhost {

namespace {

using Cell = ScatterPlot::Cell;
using Type = WrittenColumn::Type;

/// The numbers of a record that are drawn.
class DrawnNumbers final : public RowScorer {
 public:
  explicit DrawnNumbers(const FittedModel& model) : fit_(model) {}

  [[nodiscard]] std::vector<WrittenColumn> Columns() const override {
    return {{"fitted", Type::kNumber},   {"observed", Type::kNumber},
            {"residual", Type::kNumber}, {"standardized", Type::kNumber},
            {"leverage", Type::kNumber}, {"weight", Type::kNumber}};
  }

  void Score(const QvCommon::Record& record, std::span<double> row) override {
    if (!fit_.Read(record)) return;
    std::size_t column = 0;
    for (const std::optional<double>& value :
         {Finite(fit_.Fitted()), Finite(fit_.Observed()), Finite(fit_.Observed() - fit_.Fitted()),
          fit_.Standardized(), fit_.Leverage(), Finite(fit_.FreqWeight())}) {
      row[column++] = value.value_or(kNoScore);
    }
  }

 private:
  LinearRecordFit fit_;
};

/// The intervals of one width into which a range is divided.
class Intervals {
 public:
  /// A range that is not wider than rounding is one interval about it.
  Intervals(double low, double high, int count) : low_(low) {
    // A little wider, so that the highest value is in the last one.
    constexpr double kRounding = 4.0 * std::numeric_limits<double>::epsilon();
    width_ = 2.0 * ((high / 2.0 - low / 2.0) / count * (1.0 + kRounding));
    const double size = std::max(std::abs(low), std::abs(high));
    if (width_ > size * kRounding) return;
    width_ = size > 0.0 ? size : 1.0;
    low_ = low / 2.0 + high / 2.0 - width_ / 2.0;
  }

  [[nodiscard]] double Width() const { return width_; }
  [[nodiscard]] double LowEnd(double number) const { return std::fma(number, width_, low_); }
  /// The number of the interval that a column's value lies in. Halves do not overflow.
  [[nodiscard]] std::string NumberOf(const char* column) const {
    return fmt::format("floor(({} / 2 - {}) / {})", column, DoubleLiteral(low_ / 2.0),
                       DoubleLiteral(width_ / 2.0));
  }

 private:
  double low_;
  double width_;
};

class Drawing {
 public:
  explicit Drawing(RecordNumbers& numbers) : numbers_(numbers) {}

  [[nodiscard]] ScatterPlot Scatter(const char* x, const char* y);
  [[nodiscard]] std::vector<QuantilePoint> Quantiles();

 private:
  static constexpr int kAcross = 60;
  static constexpr int kUp = 40;

  void Count(const char* x, const char* y, std::span<const double> range, ScatterPlot& plot);

  RecordNumbers& numbers_;
};

ScatterPlot Drawing::Scatter(const char* x, const char* y) {
  ScatterPlot plot;
  std::vector<double> range;
  numbers_.Query(
      fmt::format("SELECT count(*)::DOUBLE, min({0}), max({0}), min({1}), max({1}) FROM {2} "
                  "WHERE {0} IS NOT NULL AND {1} IS NOT NULL HAVING count(*) > 0",
                  x, y, RecordNumbers::kName),
      [&](std::span<const double> row) { range.assign(row.begin(), row.end()); });
  if (range.empty()) return plot;
  if (range[0] > static_cast<double>(ScatterPlot::kMostPoints)) {
    Count(x, y, std::span(range).subspan(1), plot);
    return plot;
  }
  numbers_.Query(fmt::format("SELECT {0}, {1}, weight FROM {2} WHERE {0} IS NOT NULL AND {1} IS "
                             "NOT NULL ORDER BY ALL",
                             x, y, RecordNumbers::kName),
                 [&](std::span<const double> row) {
                   plot.cells.push_back({row[0], row[1], row[2]});
                 });
  return plot;
}

void Drawing::Count(const char* x, const char* y, std::span<const double> range,
                    ScatterPlot& plot) {
  const Intervals across(range[0], range[1], kAcross);
  const Intervals up(range[2], range[3], kUp);
  plot.size = {across.Width(), up.Width()};
  numbers_.Query(fmt::format("SELECT {}, {}, fsum(weight) FROM {} WHERE {} IS NOT "
                             "NULL AND {} IS NOT NULL GROUP BY 1, 2 ORDER BY 1, 2",
                             across.NumberOf(x), up.NumberOf(y), RecordNumbers::kName, x, y),
                 [&](std::span<const double> row) {
                   plot.cells.push_back({across.LowEnd(row[0]), up.LowEnd(row[1]), row[2]});
                 });
}

/// Chooses among points in their order: all that are at least a step of normal quantiles further
/// than the one chosen before, so that those in the tails, where records are far between, are
/// chosen all.
class QuantileChoice {
 public:
  /// Of `total` frequency weight; a step of 0 chooses all points.
  QuantileChoice(double total, double step) : total_(total), step_(step) {}

  void Add(double residual, double weight) {
    const double middle = before_.Value() + weight / 2.0;
    before_.Add(weight);
    const double below = middle / total_;
    const double above = (total_ - middle) / total_;
    // Nothing is left of a weight that is tiny beside the others.
    if (!(below > 0.0) || !(above > 0.0) || below < next_) return;
    const double normal = NormalQuantile(below, above);
    points_.push_back({normal, residual});
    if (step_ > 0.0) next_ = NormalShareBelow(normal + step_);
  }

  [[nodiscard]] std::vector<QuantilePoint> Take() { return std::move(points_); }

 private:
  const double total_;
  const double step_;
  CompensatedSum before_;
  double next_ = 0.0;  ///< The share below the next point that is chosen.
  std::vector<QuantilePoint> points_;
};

std::vector<QuantilePoint> Drawing::Quantiles() {
  double count = 0.0;
  CompensatedSum total;
  numbers_.Query(
      fmt::format("SELECT weight FROM {} WHERE standardized IS NOT NULL", RecordNumbers::kName),
      [&](std::span<const double> row) {
        count += 1.0;
        total.Add(row[0]);
      });
  if (count == 0.0) return {};
  const bool isAll = count <= static_cast<double>(ScatterPlot::kMostPoints);
  // From the first place to the last, of records of one weight, in so many steps.
  constexpr double kSteps = 500.0;
  const double first = 0.5 / count;
  const double step = isAll ? 0.0 : -2.0 * NormalQuantile(first, 1.0 - first) / kSteps;
  QuantileChoice choice(total.Value(), step);
  numbers_.Query(fmt::format("SELECT standardized, weight FROM {} WHERE standardized IS NOT NULL "
                             "ORDER BY ALL",
                             RecordNumbers::kName),
                 [&](std::span<const double> row) { choice.Add(row[0], row[1]); });
  return choice.Take();
}

}  // namespace

LinearPlots DrawLinear(const CodedTable& table, const FittedModel& model,
                       const std::string& spoolDir, const WalkOptions& options) {
  std::optional<RecordNumbers> numbers;
  ScoreRows(
      table, {}, [&] { return std::make_unique<DrawnNumbers>(model); }, options,
      [&](const std::vector<WrittenColumn>& columns, const NextRow& nextRow) {
        numbers.emplace(columns, nextRow, spoolDir,
                        [&options] { return options.interrupt.Requested(); });
      });
  Drawing drawing(*numbers);
  return {.residuals = drawing.Scatter("fitted", "residual"),
          .observed = drawing.Scatter("fitted", "observed"),
          .leverage = drawing.Scatter("leverage", "standardized"),
          .quantiles = drawing.Quantiles()};
}

}  // namespace qvhost
