#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/GridData.h"
#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "host/table/TableSource.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegOutputStats.h"

namespace qvhost {

/// The grid over which means are taken: all combinations of the levels of the factors that occur
/// in the records used, with every column of numbers at its mean, or at both of its values where it
/// has two. A level of a factor that is in others, by the formula or since it occurs with one of
/// theirs alone, is combined with the levels that it occurs with. Rows are made one at a time.
///
/// Borrows formula, binding and table. After Learn any number of threads may use one.
class ReferenceGrid {
 public:
  /// A place in the grid: for each axis one of its values.
  using Values = std::vector<std::size_t>;
  /// Values of some axes; all others have none.
  using Fixed = std::vector<std::optional<std::size_t>>;

  /// REQUIRES: a grid in the binding, and its data. Throws Error (kBadInput) when it has more than
  /// `kMostRows` rows.
  ReferenceGrid(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
                const std::vector<AxisData>& data);

  static constexpr double kMostRows = 1e6;

  /// The names of axes and of the variables that they are, for options.
  [[nodiscard]] std::vector<std::string> Names() const;
  /// The axis of one of Names(), in either case of letters. Throws Error (kBadInput), which begins
  /// with `option`.
  [[nodiscard]] std::size_t Find(const std::string& name, std::string_view option) const;
  /// The value of an axis that a text means; a number that is none of the grid's is added for rows
  /// in which it is fixed. Before Evaluate. Throws Error (kBadInput), which begins with `option`.
  [[nodiscard]] std::size_t FindValue(std::size_t axis, const std::string& text,
                                      std::string_view option);

  /// Has the engine compute the expressions of covariates of the values of the grid's columns.
  /// Throws Error (kBadInput) for one that has no value.
  void Evaluate(const TableSource& source, const std::vector<StandardizedVariable>& standardized);

  /// Learns from a model that was built which levels of factors occur in others.
  void Learn(const IQvRegOutputStats& output);

  /// No axis has a value.
  [[nodiscard]] Fixed Nothing() const { return Fixed(axes_.size()); }
  [[nodiscard]] const std::string& Name(std::size_t axis) const { return axes_[axis].name; }
  /// Whether means may be asked for its values.
  [[nodiscard]] bool HasLevels(std::size_t axis) const {
    return axes_[axis].isFactor || axes_[axis].usual > 1;
  }
  [[nodiscard]] std::string ValueText(std::size_t axis, std::size_t value) const {
    return axes_[axis].texts[value];
  }
  /// In which others an axis is, those included that they are in.
  [[nodiscard]] const std::vector<std::size_t>& Within(std::size_t axis) const {
    return axes_[axis].within;
  }
  /// Rows in all, or an upper bound where factors are in others.
  [[nodiscard]] double RowCount() const;
  /// What a report says of it.
  [[nodiscard]] GridResult Result() const;

  /// Calls `visit` for the combinations of values of some `axes`, those that have others within
  /// them first, that occur together, in the order of their values.
  void ForEachCombination(const std::vector<std::size_t>& axes,
                          const std::function<void(const Fixed&)>& visit) const;

  /// Calls `visit` with each row that has the fixed values, and a weight. Rows that differ in a
  /// factor that is in others weigh the same among those with the same values of those; these then
  /// weigh the same again. Answers what the weights add up to; none when there is no such row.
  [[nodiscard]] std::optional<double> Walk(
      const Fixed& fixed, const std::function<void(const Values&, double weight)>& visit) const;

  /// Of the coded table.
  [[nodiscard]] int RecordSize() const { return table_.RecordSize(); }

  /// Writes a row to a record of the coded table: what is not of the model is 0, weights are 1.
  /// REQUIRES: Evaluate, and a record of that size.
  void Fill(const Values& values, QvCommon::Record& record) const;

 private:
  struct Axis {
    std::string name;
    bool isFactor = false;
    std::vector<std::string> texts;   ///< Of its values, for people.
    std::vector<double> numbers;      ///< The same as the table has them.
    std::size_t usual = 0;            ///< So many of them are averaged over.
    std::vector<std::size_t> within;  ///< Other axes that it is in.
    bool isTold = false;              ///< Whether a value of it tells one of another axis.
  };
  /// The values of an axis occur with some values of other axes only.
  struct Nesting {
    std::vector<std::size_t> axes;  ///< The one that is in the others last.
    std::set<Values> combinations;
  };

  void AddAxis(const GridPlan::Axis& planned, const AxisData& data);
  void AddNesting(std::size_t axis, const std::vector<AxisData>& data);
  [[nodiscard]] bool IsWithin(std::size_t axis, std::size_t other) const;
  /// Axes in their order, but those in others behind them.
  [[nodiscard]] std::vector<std::size_t> Ordered(std::vector<std::size_t> axes) const;
  [[nodiscard]] bool MayOccur(std::size_t axis, const Fixed& values) const;
  [[nodiscard]] std::vector<std::size_t> Candidates(std::size_t axis, Fixed& values) const;
  [[nodiscard]] std::optional<std::size_t> AxisCalled(std::string_view name) const;
  /// The values of a variable in records.
  [[nodiscard]] std::vector<double> ValuesOf(
      std::size_t variable, const TableSource& source,
      const std::vector<StandardizedVariable>& standardized) const;

  const Formula& formula_;
  const ModelBinding& binding_;
  const CodedTable& table_;
  std::vector<Axis> axes_;
  std::vector<std::size_t> order_;   ///< Of the axes: one that is in others stands behind them.
  std::vector<Nesting> nestings_;    ///< Those of the formula first,
  std::size_t formulaNestings_ = 0;  ///< so many.
  /// For each of the formula's variables its values in records, for each combination of the values
  /// of its axes, the last one's fastest.
  std::vector<std::vector<double>> values_;
};

}  // namespace qvhost
