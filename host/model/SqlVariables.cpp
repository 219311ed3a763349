#include "host/model/SqlVariables.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <set>
#include <string_view>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/formula/Formula.h"
#include "host/formula/PortableDialect.h"
#include "host/table/Booleans.h"

namespace qvhost {
namespace {

std::set<int> PositionsIn(const ModelEquations& equations) {
  std::set<int> positions;
  for (const EquationTerm& term : equations.terms) {
    positions.insert(term.factors.begin(), term.factors.end());
    for (const EquationCovariate& covariate : term.covariates) positions.insert(covariate.position);
  }
  return positions;
}

std::string ListSql(const std::vector<std::string>& texts) {
  std::vector<std::string> quoted;
  quoted.reserve(texts.size());
  for (const std::string& text : texts) quoted.push_back(QuoteText(text));
  return fmt::format("({})", fmt::join(quoted, ", "));
}

/// Databases without booleans have 0 and 1 in their place, and some tables the words.
std::string BooleanText(const std::string& value) {
  return "lower(CAST(" + value + " AS VARCHAR(20)))";
}

std::string IsTrueSql(const std::string& value) {
  return "(" + BooleanText(value) + " IN " + ListSql(TextsOf(true)) + ")";
}

std::string IsBooleanSql(const std::string& value) {
  std::vector<std::string> texts = TextsOf(true);
  for (std::string& text : TextsOf(false)) texts.push_back(std::move(text));
  return BooleanText(value) + " IN " + ListSql(texts);
}

double NumberIn(std::string_view text) {
  double value = 0.0;
  std::from_chars(text.data(), text.data() + text.size(), value);
  return value;
}

/// A level of a column of numbers, exactly as the column has it.
std::vector<std::string> NumberLevelSql(const std::string& level, const std::string& type) {
  const double number = NumberIn(level);
  if (type == "DOUBLE") return {DoubleLiteral(number)};
  if (type != "FLOAT") return {level};
  // One of single precision is another double than its few digits are: a database has this or that.
  const double single = static_cast<double>(static_cast<float>(number));
  if (single == number) return {DoubleLiteral(number)};
  return {DoubleLiteral(single), DoubleLiteral(number)};
}

/// The values less their mean, over their deviation.
std::string StandardizedSql(const std::string& value, const SavedScale& scale) {
  const double mean = std::ldexp(scale.mean, scale.exponent);
  std::string difference = fmt::format("({} - {})", value, DoubleLiteral(mean));
  if (!scale.deviation) return difference;
  const double deviation = std::ldexp(*scale.deviation, scale.exponent);
  return fmt::format("({} / {})", difference, DoubleLiteral(deviation));
}

}  // namespace

SqlVariables::SqlVariables(const SavedModel& model, const ModelEquations& equations)
    : model_(model) {
  const std::set<int> positions = PositionsIn(equations);
  for (const int position : positions) {
    for (const std::string& name : VariableAt(position).columns) AddColumn(name);
  }
  for (std::size_t i = 0; i < names_.size(); ++i) {
    columns_.push_back({NameAt(i), QuoteName(names_[i])});
  }
  for (const int position : positions) AddValue(VariableAt(position));
}

std::string SqlVariables::NumberName(int position) { return "v" + std::to_string(position); }

std::string SqlVariables::LevelName(int position) { return "r" + std::to_string(position); }

std::vector<std::string> SqlVariables::LevelSql(int position, int code) const {
  const SavedVariable& variable = VariableAt(position);
  const std::string& level = variable.levels.at(static_cast<std::size_t>(code));
  if (variable.kind == ColumnKind::kBoolean) return {TruthOf(level) == true ? "1" : "0"};
  if (variable.kind != ColumnKind::kNumber) return {QuoteText(level)};
  if (!variable.isColumn) return {DoubleLiteral(NumberIn(level))};
  return NumberLevelSql(level, ColumnAt(IndexOf(variable.columns.front())).type);
}

const SavedVariable& SqlVariables::VariableAt(int position) const {
  for (const SavedVariable& variable : model_.variables) {
    if (variable.position == position) return variable;
  }
  throw Error(ExitCode::kBadInput,
              "The model has a parameter of a variable that it does not name.");
}

void SqlVariables::AddColumn(const std::string& name) {
  if (std::ranges::find(names_, name) == names_.end()) names_.push_back(name);
}

std::size_t SqlVariables::IndexOf(const std::string& name) const {
  return static_cast<std::size_t>(std::ranges::find(names_, name) - names_.begin());
}

const SavedColumn& SqlVariables::ColumnAt(std::size_t index) const {
  const auto found = std::ranges::find(model_.columns, names_.at(index), &SavedColumn::name);
  if (found != model_.columns.end()) return *found;
  throw Error(
      ExitCode::kBadInput,
      fmt::format("The model does not say of which type its column '{}' is.", names_[index]));
}

std::string SqlVariables::NameAt(std::size_t index) const {
  return "c" + std::to_string(index + 1);
}

void SqlVariables::AddValue(const SavedVariable& variable) {
  values_.push_back(variable.isFactor ? LevelOf(variable) : NumberOf(variable));
}

SqlColumn SqlVariables::NumberOf(const SavedVariable& variable) const {
  std::string value = ExpressionSql(variable);
  if (variable.scale) value = StandardizedSql(value, *variable.scale);
  return {NumberName(variable.position), value};
}

SqlColumn SqlVariables::LevelOf(const SavedVariable& variable) const {
  const std::string name = LevelName(variable.position);
  if (!variable.isColumn) return {name, ExpressionSql(variable)};
  const std::size_t column = IndexOf(variable.columns.front());
  if (variable.kind == ColumnKind::kOther) {
    throw Error(ExitCode::kBadInput,
                fmt::format("The column '{}' is a list or structure, which databases write in ways "
                            "of their own; compute a text of it as a column of the data.",
                            names_[column]));
  }
  if (variable.kind != ColumnKind::kBoolean) return {name, NameAt(column)};
  return {name, OnlyWhere(PresenceSql(column),
                          "CASE WHEN " + IsTrueSql(NameAt(column)) + " THEN 1 ELSE 0 END")};
}

std::string SqlVariables::ExpressionSql(const SavedVariable& variable) const {
  if (variable.isColumn) {
    const std::size_t column = IndexOf(variable.columns.front());
    return OnlyWhere(PresenceSql(column), OperandSql(column));
  }
  const auto find = [&](const std::string& name, Place place) -> FoundColumn {
    const std::size_t index = IndexOf(name);
    if (index == names_.size()) {
      throw FormulaError::At(variable.expression, place, "The model names no such column.");
    }
    const ColumnKind kind = ColumnAt(index).kind;
    if (kind == ColumnKind::kDateTime || kind == ColumnKind::kOther) {
      throw FormulaError::At(
          variable.expression, place,
          fmt::format("There are no expressions of {} that all SQL databases share; compute the "
                      "value as a column of the data, and name that in the formula.",
                      kind == ColumnKind::kOther ? "a list or structure" : "a date or time"));
    }
    return {name, OperandSql(index), ValueKindOf(kind)};
  };
  const Variable read = ParseExpression(variable.expression, find, kPortableDialect);
  std::vector<std::string> conditions;
  for (const std::string& name : variable.columns) conditions.push_back(PresenceSql(IndexOf(name)));
  for (const std::string& gap : read.gaps) conditions.push_back(gap + " IS NOT NULL");
  const std::string value = variable.isFactor && variable.kind == ColumnKind::kBoolean
                                ? "CASE WHEN " + read.sql + " THEN 1 ELSE 0 END"
                                : read.sql;
  return OnlyWhere(fmt::format("{}", fmt::join(conditions, " AND ")), value);
}

std::string SqlVariables::OperandSql(std::size_t index) const {
  const std::string name = NameAt(index);
  const ColumnKind kind = ColumnAt(index).kind;
  if (kind == ColumnKind::kNumber) return AsDouble(name);
  return kind == ColumnKind::kBoolean ? IsTrueSql(name) : name;
}

std::string SqlVariables::PresenceSql(std::size_t index) const {
  const std::string name = NameAt(index);
  const ColumnKind kind = ColumnAt(index).kind;
  if (kind == ColumnKind::kNumber) return IsNumberSql(name);
  return kind == ColumnKind::kBoolean ? IsBooleanSql(name) : name + " IS NOT NULL";
}

}  // namespace qvhost
