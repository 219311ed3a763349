#include "host/fit/ReferenceGrid.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <system_error>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/fit/GridExpression.h"
#include "host/table/LevelChoice.h"

namespace qvhost {
namespace {

/// Throws where a grid of so many rows is too large.
void CheckSize(double rows) {
  if (rows <= ReferenceGrid::kMostRows) return;
  throw Error(ExitCode::kBadInput,
              fmt::format("The grid for --means and --contrast, all combinations of the levels of "
                          "the factors, would have {:.0f} rows; {:.0f} are the most. Take a factor "
                          "of many levels out of the model, or group its levels.",
                          rows, ReferenceGrid::kMostRows));
}

}  // namespace

ReferenceGrid::ReferenceGrid(const Formula& formula, const ModelBinding& binding,
                             const CodedTable& table, const std::vector<AxisData>& data)
    : formula_(formula), binding_(binding), table_(table) {
  const GridPlan& plan = *binding.grid;
  for (std::size_t i = 0; i < plan.axes.size(); ++i) AddAxis(plan.axes[i], data[i]);
  for (std::size_t i = 0; i < axes_.size(); ++i) {
    axes_[i].within = plan.within[i];
    // Learn tells their combinations.
    if (axes_[i].within.empty()) continue;
    Nesting& nesting = nestings_.emplace_back();
    nesting.axes = axes_[i].within;
    nesting.axes.push_back(i);
  }
  formulaNestings_ = nestings_.size();
  for (std::size_t i = 0; i < axes_.size(); ++i) AddNesting(i, data);
  std::vector<std::size_t> all(axes_.size());
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = i;
  order_ = Ordered(std::move(all));
  CheckSize(RowCount());
}

void ReferenceGrid::AddAxis(const GridPlan::Axis& planned, const AxisData& data) {
  Axis& axis = axes_.emplace_back();
  axis.name = planned.name;
  axis.isFactor = planned.isFactor;
  if (planned.isFactor) {
    const CodedColumn& column = table_.Columns()[static_cast<std::size_t>(planned.position)];
    for (const std::size_t code : data.codes) {
      axis.texts.push_back(column.levels[code]);
      axis.numbers.push_back(static_cast<double>(code));
    }
  } else {
    axis.numbers = data.values.empty() ? std::vector{data.mean} : data.values;
    for (const double number : axis.numbers) axis.texts.push_back(fmt::format("{}", number));
  }
  axis.usual = axis.numbers.size();
}

void ReferenceGrid::AddNesting(std::size_t axis, const std::vector<AxisData>& data) {
  const auto placeOf = [this](std::size_t of, double code) {
    const std::vector<double>& codes = axes_[of].numbers;
    return static_cast<std::size_t>(std::ranges::find(codes, code) - codes.begin());
  };
  for (std::size_t i = 0; i < data[axis].within.size(); ++i) {
    const std::size_t other = data[axis].within[i];
    if (IsWithin(other, axis)) continue;
    axes_[other].isTold = true;
    if (!IsWithin(axis, other)) axes_[axis].within.push_back(other);
    Nesting& nesting = nestings_.emplace_back();
    nesting.axes = {other, axis};
    for (std::size_t value = 0; value < axes_[axis].numbers.size(); ++value) {
      const std::size_t code = data[axis].codes[value];
      nesting.combinations.insert({placeOf(other, data[axis].codesWithin[i][code]), value});
    }
  }
}

bool ReferenceGrid::IsWithin(std::size_t axis, std::size_t other) const {
  return std::ranges::any_of(
      axes_[axis].within, [&](std::size_t next) { return next == other || IsWithin(next, other); });
}

std::vector<std::size_t> ReferenceGrid::Ordered(std::vector<std::size_t> axes) const {
  std::vector<std::size_t> ordered;
  while (!axes.empty()) {
    const auto isFree = [&](std::size_t axis) {
      return std::ranges::none_of(axes, [&](std::size_t other) { return IsWithin(axis, other); });
    };
    const auto next = std::ranges::find_if(axes, isFree);
    ordered.push_back(*next);
    axes.erase(next);
  }
  return ordered;
}

double ReferenceGrid::RowCount() const {
  double rows = 1.0;
  for (const Axis& axis : axes_) rows *= axis.isTold ? 1.0 : static_cast<double>(axis.usual);
  return rows;
}

std::vector<std::string> ReferenceGrid::Names() const {
  std::vector<std::string> names;
  for (std::size_t i = 0; i < axes_.size(); ++i) {
    names.push_back(axes_[i].name);
    if (const std::string& column = binding_.grid->axes[i].column; !column.empty()) {
      names.push_back(column);
    }
  }
  for (const Variable& variable : formula_.variables) names.push_back(variable.label);
  names.push_back(formula_.response.label);
  return names;
}

std::optional<std::size_t> ReferenceGrid::AxisCalled(std::string_view name) const {
  const std::vector<GridPlan::Axis>& planned = binding_.grid->axes;
  for (const bool isExact : {true, false}) {
    const auto isSame = [&](std::string_view other) {
      return isExact ? other == name : SameWord(other, name);
    };
    for (std::size_t i = 0; i < axes_.size(); ++i) {
      if (isSame(axes_[i].name) || isSame(planned[i].column)) return i;
    }
    for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
      const bool isAxis = !binding_.grid->isComputed[i];
      if (isAxis && isSame(formula_.variables[i].label)) return binding_.grid->axesOf[i].front();
    }
  }
  return std::nullopt;
}

std::size_t ReferenceGrid::Find(const std::string& name, std::string_view option) const {
  if (const auto axis = AxisCalled(name)) return *axis;
  for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
    if (!SameWord(formula_.variables[i].label, name)) continue;
    const std::vector<std::size_t>& axes = binding_.grid->axesOf[i];
    throw Error(ExitCode::kBadInput,
                fmt::format("{}: '{}' is computed; name what it is computed of, '{}'.", option,
                            name, axes_[axes.front()].name));
  }
  if (SameWord(formula_.response.label, name)) {
    throw Error(ExitCode::kBadInput,
                fmt::format("{}: '{}' is the dependent; name what it depends on.", option, name));
  }
  std::vector<std::string> names;
  names.reserve(axes_.size());
  for (const Axis& axis : axes_) names.push_back(axis.name);
  const std::string known = names.empty() ? " It has none." : " It has " + NameList(names) + ".";
  throw Error(ExitCode::kBadInput, fmt::format("{}: the model has no variable '{}'.{}{}", option,
                                               name, DidYouMean(name, names), known));
}

std::size_t ReferenceGrid::FindValue(std::size_t axis, const std::string& text,
                                     std::string_view option) {
  Axis& found = axes_[axis];
  if (found.isFactor) {
    if (const auto level = FindLevel(found.texts, text)) return *level;
    const bool isJoined = text.find('=') != std::string::npos;
    throw Error(
        ExitCode::kBadInput,
        fmt::format("{}: '{}' has no level '{}' in the records used{}.{}", option, found.name, text,
                    isJoined ? "; a sign between terms needs a blank on both of its sides" : "",
                    LevelHint(found.texts, text)));
  }
  double number = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(number)) {
    throw Error(ExitCode::kBadInput,
                fmt::format("{}: '{}' is a number in this model, which '{}' is not.", option,
                            found.name, text));
  }
  const auto known = std::ranges::find(found.numbers, number);
  if (known != found.numbers.end()) {
    return static_cast<std::size_t>(known - found.numbers.begin());
  }
  found.numbers.push_back(number);
  found.texts.push_back(text);
  return found.numbers.size() - 1;
}

std::vector<double> ReferenceGrid::ValuesOf(
    std::size_t variable, const TableSource& source,
    const std::vector<StandardizedVariable>& standardized) const {
  const Variable& written = formula_.variables[variable];
  const std::vector<std::size_t>& axes = binding_.grid->axesOf[variable];
  const Axis& first = axes_[axes.front()];
  if (binding_.isFactor[variable]) {
    const auto position = static_cast<std::size_t>(binding_.positions[variable]);
    std::vector<double> codes;
    for (const std::string& text : first.texts) {
      codes.push_back(static_cast<double>(*FindLevel(table_.Columns()[position].levels, text)));
    }
    return codes;
  }
  if (!binding_.grid->isComputed[variable]) return first.numbers;
  std::vector<GridColumn> columns;
  for (const std::size_t axis : axes) {
    GridColumn& column = columns.emplace_back();
    column.name = binding_.grid->axes[axis].column;
    column.texts = axes_[axis].texts;
    for (std::size_t v = 0; v < column.texts.size(); ++v) {
      column.sql.push_back(axes_[axis].isFactor ? LevelSql(column.name, column.texts[v], source)
                                                : NumberSql(axes_[axis].numbers[v]));
    }
  }
  std::vector<double> values = ComputeOnGrid(written, columns, source);
  const auto found = std::ranges::find(standardized, written.label, &StandardizedVariable::label);
  if (written.standardizing == Standardizing::kNone || found == standardized.end()) return values;
  for (double& value : values) value = (value - found->centre) / found->deviation.value_or(1.0);
  return values;
}

void ReferenceGrid::Evaluate(const TableSource& source,
                             const std::vector<StandardizedVariable>& standardized) {
  values_.clear();
  for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
    values_.push_back(ValuesOf(i, source, standardized));
  }
}

void ReferenceGrid::Learn(const IQvRegOutputStats& output) {
  for (std::size_t n = 0; n < formulaNestings_; ++n) {
    Nesting& nesting = nestings_[n];
    const auto valueOf = [&](const QvRegrParameter& parameter, std::size_t axis) {
      const int code = parameter.ContainsFactor(binding_.grid->axes[axis].position, -1);
      const std::vector<double>& codes = axes_[axis].numbers;
      return static_cast<std::size_t>(std::ranges::find(codes, static_cast<double>(code)) -
                                      codes.begin());
    };
    for (const QvRegrParameter& parameter : output.GetParameters()) {
      Values values;
      for (const std::size_t axis : nesting.axes) values.push_back(valueOf(parameter, axis));
      const auto isKnown = [&](std::size_t i) {
        return values[i] < axes_[nesting.axes[i]].numbers.size();
      };
      bool hasAll = true;
      for (std::size_t i = 0; i < values.size(); ++i) hasAll = hasAll && isKnown(i);
      if (hasAll) nesting.combinations.insert(std::move(values));
    }
  }
}

GridResult ReferenceGrid::Result() const {
  GridResult result;
  result.rows = static_cast<long long>(RowCount());
  for (const Axis& axis : axes_) {
    if (!axis.isFactor) {
      result.covariates.push_back(
          {axis.name,
           {axis.numbers.begin(), axis.numbers.begin() + static_cast<std::ptrdiff_t>(axis.usual)}});
    }
    if (axis.within.empty()) continue;
    GridResult::Nested& nested = result.nested.emplace_back();
    nested.factor = axis.name;
    for (const std::size_t other : axis.within) nested.within.push_back(axes_[other].name);
  }
  return result;
}

bool ReferenceGrid::MayOccur(std::size_t axis, const Fixed& values) const {
  for (const Nesting& nesting : nestings_) {
    if (std::ranges::find(nesting.axes, axis) == nesting.axes.end()) continue;
    const auto isSet = [&](std::size_t other) { return values[other].has_value(); };
    if (std::ranges::all_of(nesting.axes, isSet)) {
      Values wanted;
      for (const std::size_t other : nesting.axes) wanted.push_back(*values[other]);
      if (!nesting.combinations.contains(wanted)) return false;
      continue;
    }
    const auto agrees = [&](const Values& combination) {
      for (std::size_t i = 0; i < combination.size(); ++i) {
        const std::optional<std::size_t>& value = values[nesting.axes[i]];
        if (value && *value != combination[i]) return false;
      }
      return true;
    };
    if (std::ranges::none_of(nesting.combinations, agrees)) return false;
  }
  return true;
}

std::vector<std::size_t> ReferenceGrid::Candidates(std::size_t axis, Fixed& values) const {
  std::vector<std::size_t> candidates;
  for (std::size_t value = 0; value < axes_[axis].usual; ++value) {
    values[axis] = value;
    if (MayOccur(axis, values)) candidates.push_back(value);
  }
  values[axis].reset();
  return candidates;
}

void ReferenceGrid::ForEachCombination(const std::vector<std::size_t>& axes,
                                       const std::function<void(const Fixed&)>& visit) const {
  const std::vector<std::size_t> order = Ordered(axes);
  Fixed values(axes_.size());
  const std::function<void(std::size_t)> descend = [&](std::size_t depth) {
    if (depth == order.size()) return visit(values);
    for (const std::size_t value : Candidates(order[depth], values)) {
      values[order[depth]] = value;
      descend(depth + 1);
    }
    values[order[depth]].reset();
  };
  descend(0);
}

std::optional<double> ReferenceGrid::Walk(
    const Fixed& fixed, const std::function<void(const Values&, double weight)>& visit) const {
  std::vector<std::size_t> free;
  for (const std::size_t axis : order_) {
    if (!fixed[axis]) free.push_back(axis);
    if (fixed[axis] && !MayOccur(axis, fixed)) return std::nullopt;
  }
  Fixed values = fixed;
  Values row(axes_.size());
  for (std::size_t axis = 0; axis < row.size(); ++axis) row[axis] = fixed[axis].value_or(0);
  // Weights are whole numbers where all factors are crossed: they count in those of the first row.
  std::vector<double> counts(free.size(), 0.0);
  bool isWhole = true;
  const std::function<void(std::size_t, double)> descend = [&](std::size_t depth, double weight) {
    if (depth == free.size()) return visit(row, weight);
    const std::size_t axis = free[depth];
    const std::vector<std::size_t> candidates = Candidates(axis, values);
    isWhole = isWhole && !candidates.empty();
    const auto count = static_cast<double>(candidates.size());
    if (counts[depth] == 0.0) counts[depth] = count;
    for (const std::size_t value : candidates) {
      values[axis] = value;
      row[axis] = value;
      descend(depth + 1, weight * (counts[depth] / count));
    }
    values[axis].reset();
  };
  descend(0, 1.0);
  if (!isWhole) return std::nullopt;
  double total = 1.0;
  for (const double count : counts) total *= count;
  return total;
}

void ReferenceGrid::Fill(const Values& values, QvCommon::Record& record) const {
  std::fill_n(record.GetAll(), record.Size(), 0.0);
  for (const int weight : {binding_.freqWeight, binding_.regressionWeight}) {
    if (weight >= 0) record[weight] = 1.0;
  }
  for (std::size_t i = 0; i < values_.size(); ++i) {
    std::size_t place = 0;
    for (const std::size_t axis : binding_.grid->axesOf[i]) {
      place = place * axes_[axis].numbers.size() + values[axis];
    }
    record[binding_.positions[i]] = values_[i][place];
  }
}

}  // namespace qvhost
