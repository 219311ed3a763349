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
  [[nodiscard]] std::string NumberOf(const std::string& column) const {
    return fmt::format("floor(({} / 2 - {}) / {})", column, DoubleLiteral(low_ / 2.0),
                       DoubleLiteral(width_ / 2.0));
  }

 private:
  double low_;
  double width_;
};

struct Range {
  double low = 0.0;
  double high = 0.0;

  /// Halves do not overflow.
  [[nodiscard]] double HalfWidth() const { return high / 2.0 - low / 2.0; }
};

class Drawing {
 public:
  explicit Drawing(RecordNumbers& numbers) : numbers_(numbers) {}

  [[nodiscard]] ScatterPlot Scatter(const char* x, const char* y);
  [[nodiscard]] ScatterPlot Leverages();
  [[nodiscard]] std::vector<QuantilePoint> Quantiles();

 private:
  static constexpr int kAcross = 60;
  static constexpr int kUp = 40;

  /// The records that have two numbers: how many, and their ranges.
  struct Plane {
    std::string x;
    std::string y;
    std::string records;  ///< The table and the condition.
    double count = 0.0;
    Range across = {};
    Range up = {};
  };

  [[nodiscard]] Plane PlaneOf(const char* x, const char* y);
  void AddPoints(const Plane& plane, ScatterPlot& plot);
  void AddRectangles(const Plane& plane, ScatterPlot& plot);
  [[nodiscard]] Range Central(const std::string& number, const Plane& plane, Range whole);
  [[nodiscard]] Range Narrowed(const std::string& number, const Plane& plane, Range range);

  RecordNumbers& numbers_;
};

Drawing::Plane Drawing::PlaneOf(const char* x, const char* y) {
  Plane plane{
      x, y, fmt::format("{} WHERE {} IS NOT NULL AND {} IS NOT NULL", RecordNumbers::kName, x, y)};
  numbers_.Query(fmt::format("SELECT count(*)::DOUBLE, min({0}), max({0}), min({1}), max({1}) FROM "
                             "{2} HAVING count(*) > 0",
                             x, y, plane.records),
                 [&](std::span<const double> row) {
                   plane.count = row[0];
                   plane.across = {row[1], row[2]};
                   plane.up = {row[3], row[4]};
                 });
  return plane;
}

ScatterPlot Drawing::Scatter(const char* x, const char* y) {
  ScatterPlot plot;
  Plane plane = PlaneOf(x, y);
  if (plane.count <= static_cast<double>(ScatterPlot::kMostPoints)) {
    AddPoints(plane, plot);
    return plot;
  }
  plane.across = Central(plane.x, plane, plane.across);
  plane.up = Central(plane.y, plane, plane.up);
  AddRectangles(plane, plot);
  return plot;
}

ScatterPlot Drawing::Leverages() {
  // Leverages far apart are seen on a logarithmic scale alone; the largest matter most.
  constexpr double kFar = 100.0;
  ScatterPlot plot;
  Plane plane = PlaneOf("leverage", "standardized");
  if (plane.count <= static_cast<double>(ScatterPlot::kMostPoints)) {
    AddPoints(plane, plot);
    return plot;
  }
  plot.isLogarithmic = plane.across.low > 0.0 && plane.across.high / plane.across.low > kFar;
  if (plot.isLogarithmic) {
    plane.x = "log10(leverage)";
    numbers_.Query(fmt::format("SELECT min({0}), max({0}) FROM {1}", plane.x, plane.records),
                   [&](std::span<const double> row) {
                     plane.across = {row[0], row[1]};
                   });
  }
  plane.up = Central(plane.y, plane, plane.up);
  AddRectangles(plane, plot);
  return plot;
}

void Drawing::AddPoints(const Plane& plane, ScatterPlot& plot) {
  numbers_.Query(
      fmt::format("SELECT {}, {}, weight FROM {} ORDER BY ALL", plane.x, plane.y, plane.records),
      [&](std::span<const double> row) {
        plot.cells.push_back({row[0], row[1], row[2]});
      });
}

void Drawing::AddRectangles(const Plane& plane, ScatterPlot& plot) {
  const Intervals across(plane.across.low, plane.across.high, kAcross);
  const Intervals up(plane.up.low, plane.up.high, kUp);
  plot.size = {across.Width(), up.Width()};
  const std::string inside =
      fmt::format("{} BETWEEN {} AND {} AND {} BETWEEN {} AND {}", plane.x,
                  DoubleLiteral(plane.across.low), DoubleLiteral(plane.across.high), plane.y,
                  DoubleLiteral(plane.up.low), DoubleLiteral(plane.up.high));
  numbers_.Query(
      fmt::format("SELECT {}, {}, fsum(weight) FROM {} AND {} GROUP BY 1, 2 ORDER BY 1, 2",
                  across.NumberOf(plane.x), up.NumberOf(plane.y), plane.records, inside),
      [&](std::span<const double> row) {
        plot.cells.push_back({across.LowEnd(row[0]), up.LowEnd(row[1]), row[2]});
      });
  numbers_.Query(
      fmt::format("SELECT coalesce(fsum(weight), 0) FROM {} AND NOT ({})", plane.records, inside),
      [&](std::span<const double> row) { plot.outside = row[0]; });
}

/// The range over which a number is drawn: see ScatterPlot.
Range Drawing::Central(const std::string& number, const Plane& plane, Range whole) {
  // Each narrows to a half, down to a thousandth: by far more than any numbers of one kind differ.
  constexpr int kMostTimes = 20;
  constexpr double kRounding = 1e-12;
  Range range = whole;
  for (int i = 0; i < kMostTimes; ++i) {
    const Range narrowed = Narrowed(number, plane, range);
    const bool isHalf = narrowed.HalfWidth() < range.HalfWidth() / 2.0;
    if (!isHalf) return i == 0 ? whole : narrowed;
    range = narrowed;
    // Nearly all records have one number: what is left to be seen are the others.
    if (range.HalfWidth() <= kRounding * std::max(std::abs(range.low), std::abs(range.high))) break;
  }
  return whole;
}

/// A thousand intervals of the range, without those at either end that only records beside the
/// central ones are in.
Range Drawing::Narrowed(const std::string& number, const Plane& plane, Range range) {
  constexpr int kIntervals = 1000;
  const Intervals intervals(range.low, range.high, kIntervals);
  std::vector<std::array<double, 2>> counted;
  CompensatedSum total;
  // Those beyond the range are in one interval at each end.
  numbers_.Query(fmt::format("SELECT greatest(-1, least({}, {}))::DOUBLE, fsum(weight) FROM {} "
                             "GROUP BY 1 ORDER BY 1",
                             kIntervals, intervals.NumberOf(number), plane.records),
                 [&](std::span<const double> row) {
                   counted.push_back({row[0], row[1]});
                   total.Add(row[1]);
                 });
  const double spare = ScatterPlot::kShareOutside * total.Value();
  const auto first = [spare](auto begin, auto end) {
    CompensatedSum passed;
    const auto found = std::find_if(begin, end, [&](const std::array<double, 2>& one) {
      passed.Add(one[1]);
      return passed.Value() > spare;
    });
    return found == end ? (*begin)[0] : (*found)[0];
  };
  const double low = intervals.LowEnd(first(counted.begin(), counted.end()));
  const double high = intervals.LowEnd(first(counted.rbegin(), counted.rend()) + 1.0);
  return {std::clamp(low, range.low, range.high), std::clamp(high, range.low, range.high)};
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
          .leverage = drawing.Leverages(),
          .quantiles = drawing.Quantiles()};
}

}  // namespace qvhost
