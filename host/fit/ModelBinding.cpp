#include "host/fit/ModelBinding.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/fit/DotColumns.h"
#include "host/fit/ExpressionFault.h"
#include "host/fit/LevelOptions.h"
#include "host/formula/ForeignFunction.h"
#include "host/formula/FormulaError.h"
#include "host/formula/Tokenizer.h"
#include "host/table/ColumnCoders.h"
#include "host/table/ColumnInfo.h"
#include "host/table/Connection.h"
#include "host/table/NumberLevels.h"
#include "host/table/QueryError.h"
#include "qvreg/common/Constants.h"

namespace qvhost {
namespace {

std::string DidYouMean(const TableSource& source, const std::string& name) {
  const std::optional<std::string> nearest = source.Nearest(name);
  return nearest ? fmt::format("; did you mean '{}'?", *nearest) : ".";
}

/// Whether a text that is no column's name is an expression.
bool LooksComputed(std::string_view name) {
  return name.find_first_of("*/+^()") != std::string_view::npos;
}

std::string ComputedText(const std::string& expression, std::string_view option) {
  return fmt::format("; compute it as a column: --sql \"SELECT *, {} AS w FROM data\" {} w.",
                     expression, option);
}

/// In quotes, unless it stands in back-quotes.
std::string Quoted(const std::string& written) {
  return written.starts_with('`') ? written : "'" + written + "'";
}

/// The same as a formula takes the name, and what columns there are.
std::string ColumnHint(const TableSource& source, const std::string& name) {
  constexpr std::size_t kMostShown = 20;
  const std::optional<std::string> nearest = source.Nearest(name);
  std::string hint = ".";
  if (const std::string_view call = ConstantCall(name); !call.empty()) {
    return fmt::format("; write {} for the constant.", call);
  }
  if (nearest) hint = fmt::format("; did you mean {}?", Quoted(WrittenName(*nearest)));
  const std::vector<ColumnInfo>& columns = source.Columns();
  hint += columns.size() == 1 ? " Its column is " : " Its columns are ";
  for (std::size_t i = 0; i < std::min(columns.size(), kMostShown); ++i) {
    hint += (i == 0 ? "" : ", ") + Printable(WrittenName(columns[i].name));
  }
  if (columns.size() <= kMostShown) return hint + ".";
  return hint + fmt::format(" and {} more.", columns.size() - kMostShown);
}

std::string AmbiguousText(const std::string& name, const std::vector<const ColumnInfo*>& columns) {
  std::vector<std::string> names;
  names.reserve(columns.size());
  for (const ColumnInfo* column : columns) names.push_back(column->Written());
  return fmt::format("'{}' may mean {}; spell the name as the data do.", name, ChoiceText(names));
}

/// The value of a column inside an expression. A time with a zone is converted to UTC: DuckDB would
/// convert it to the machine's own zone.
std::string ValueOf(const ColumnInfo& column) {
  const std::string name = QuoteName(column.name);
  return column.type == "TIMESTAMP WITH TIME ZONE" ? "timezone('UTC', " + name + ")" : name;
}

bool IsFloating(const std::string& type) { return type == "DOUBLE" || type == "FLOAT"; }

/// The SQL condition that no column is missing, by the coder's rules for the column itself.
std::string Presence(const Variable& variable, const TableSource& source) {
  std::vector<std::string> conditions;
  for (const FoundColumn& column : DistinctColumns(variable)) {
    const std::string name = QuoteName(column.name);
    conditions.push_back(name + " IS NOT NULL");
    for (const ColumnInfo* info : source.Matches(column.name)) {
      if (!IsFloating(info->type)) continue;
      conditions.push_back(fmt::format("NOT isnan({0}) AND {0} <> {1}", name, QvMV::gMissingValue));
    }
  }
  for (const std::string& gap : variable.gaps) {
    // A gap that cannot be computed is none: the error belongs to the whole expression.
    conditions.push_back(fmt::format("TRY(({}) IS NOT NULL) IS DISTINCT FROM FALSE", gap));
  }
  return fmt::format("{}", fmt::join(conditions, " AND "));
}

/// The SQL expression of a condition: true, false, or NULL where missing values leave it open. An
/// error where it cannot be computed, as that of ValueSql.
std::string ConditionSql(const Variable& condition) {
  return fmt::format(
      "CASE WHEN TRY(({0}) IS NULL) IS NULL THEN CAST(error({1}) AS BOOLEAN) ELSE {0} END",
      condition.sql,
      FaultText(condition,
                QuoteText("; leave such rows out with --sql, or change the expression.")));
}

/// Finds the columns of a condition as those of a formula; NaN is missing in them.
ColumnLookup ColumnsOfCondition(const TableSource& source, const std::string& text) {
  return [&source, columns = ColumnsOf(source, text)](const std::string& name, Place place) {
    FoundColumn found = columns(name, place);
    for (const ColumnInfo* info : source.Matches(found.name)) {
      if (!IsFloating(info->type)) continue;
      found.sql = fmt::format("nullif({}, CAST('nan' AS {}))", found.sql, info->type);
    }
    return found;
  };
}

Variable BindCondition(const std::string& text, const TableSource& source) {
  Variable condition = ParseCondition(text, ColumnsOfCondition(source, text));
  ColumnInfo info;
  try {
    info = source.Describe({condition.sql}).front();
  } catch (const QueryError& error) {
    throw FormulaError::At(text, condition.place,
                           fmt::format("This cannot be computed: {}", error.what()));
  }
  if (info.kind == ColumnKind::kBoolean) return condition;
  throw FormulaError::At(
      text, condition.place,
      fmt::format("This is {}; a condition is true or false, as in x > 5.", KindText(info.kind)));
}

/// A variable as a formula takes it.
std::string Written(const Variable& variable) {
  const bool isName = variable.form == Variable::Form::kColumn && !variable.asFactor;
  return isName ? WrittenName(variable.label) : variable.label;
}

bool IsCategory(ColumnKind kind) { return RoleOf(kind) == ColumnRole::kFactor; }

bool IsNumber(ColumnKind kind) { return RoleOf(kind) == ColumnRole::kCovariate; }

/// Finds the columns of a formula and the types of its variables.
class Binder {
 public:
  Binder(const Formula& formula, const TableSource& source) : formula_(formula), source_(source) {}

  ModelBinding Bind(const BindingOptions& options) {
    DescribeVariables();
    binding_.kind = Kind(options.model);
    for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
      binding_.isFactor.push_back(IsFactor(formula_.variables[i], infos_[i]));
    }
    CheckPowers();
    binding_.isKindByType = !options.model;
    const LevelOptions levels(options.bases, options.levels, formula_, binding_.isFactor,
                              binding_.kind == ModelKind::kLogistic);
    PlaceColumns(levels);
    binding_.freqWeight = PlaceWeight(options.freqWeight, "--freq-weight");
    binding_.regressionWeight = PlaceWeight(options.regressionWeight, "--regression-weight");
    binding_.cluster = PlaceCluster(options.cluster);
    if (options.hasGrid) PlaceGrid();
    PlacePart(options.validation);
    return std::move(binding_);
  }

 private:
  [[noreturn]] void FailAt(Place place, const std::string& message) const {
    throw FormulaError::At(formula_.text, place, message);
  }

  ColumnInfo Describe(const Variable& variable) const {
    try {
      return source_.Describe({variable.sql}).front();
    } catch (const QueryError& error) {
      FailAt(variable.place,
             fmt::format("'{}' cannot be computed: {}", variable.label, error.what()));
    }
  }

  void DescribeVariables() {
    responseInfo_ = Describe(formula_.response);
    if (formula_.variables.empty()) return;
    infos_ = DescribeTogether();
    if (!infos_.empty()) return;
    for (const Variable& variable : formula_.variables) infos_.push_back(Describe(variable));
  }

  /// All variables in one query, since each reads the beginning of a file; none when one of them
  /// cannot be computed.
  std::vector<ColumnInfo> DescribeTogether() const {
    std::vector<std::string> expressions;
    for (const Variable& variable : formula_.variables) expressions.push_back(variable.sql);
    try {
      return source_.Describe(expressions);
    } catch (const QueryError&) {
      return {};
    }
  }

  /// A table without records, such as a CSV of a heading only, has no types to complain about.
  void CheckRecords() const {
    if (!source_.Database().Rows("SELECT 1 FROM " + source_.Relation() + " LIMIT 1").empty())
      return;
    throw Error(ExitCode::kRunFailed, kNoRecordText);
  }

  std::string CategoryText() const {
    return formula_.response.asFactor ? "made a factor by C(...)"
                                      : std::string(KindText(responseInfo_.kind));
  }

  /// What to do about a dependent that is to be a number.
  std::string NumberOfText(const Variable& response, const ColumnInfo& info) const {
    const bool isColumn = response.form == Variable::Form::kColumn && !response.asFactor;
    const std::string hint =
        isColumn && info.kind == ColumnKind::kText
            ? NumberHint(source_, {.label = response.columns.front().found.name,
                                   .sql = response.sql,
                                   .written = Written(response)})
            : "";
    return hint.empty() ? "; name a numeric column." : ". " + hint;
  }

  /// The kind of model that suits the dependent, or that was asked for.
  ModelKind Kind(std::optional<ModelKind> asked) const {
    const Variable& response = formula_.response;
    const bool number = IsNumber(responseInfo_.kind) && !response.asFactor;
    const bool category = response.asFactor || IsCategory(responseInfo_.kind);
    if (!number) CheckRecords();
    if (!number && !category) {
      FailAt(response.place,
             fmt::format("The dependent '{}' is {} ({}); a linear model needs a number, and for a "
                         "logistic model write C({}).",
                         response.label, KindText(responseInfo_.kind), responseInfo_.type,
                         Written(response)));
    }
    if (category && asked == ModelKind::kLinear) {
      FailAt(response.place,
             fmt::format("The dependent '{}' is {}, but a linear model needs a number{}",
                         response.label, CategoryText(), NumberOfText(response, responseInfo_)));
    }
    if (!asked && !response.asFactor && responseInfo_.kind == ColumnKind::kText) {
      const std::string disguise = DisguiseText(source_, {response.label, response.sql});
      if (!disguise.empty()) {
        FailAt(response.place,
               fmt::format("The dependent '{}' is text, but {} For a logistic model of its values "
                           "write C({}).",
                           response.label, disguise, Written(response)));
      }
    }
    return asked.value_or(number ? ModelKind::kLinear : ModelKind::kLogistic);
  }

  bool IsFactor(const Variable& variable, const ColumnInfo& info) const {
    if (info.kind != ColumnKind::kNumber && variable.standardizing != Standardizing::kNone) {
      FailAt(variable.place, fmt::format("'{}' takes a number, but this is {} ({}).",
                                         variable.label, KindText(info.kind), info.type));
    }
    if (variable.asFactor || IsCategory(info.kind)) return true;
    if (IsNumber(info.kind)) return false;
    FailAt(
        variable.place,
        fmt::format("'{}' is {} ({}); write C({}) to take its values as the levels of a factor{}.",
                    variable.label, KindText(info.kind), info.type, Written(variable),
                    info.kind == ColumnKind::kDateTime ? NumberOfTime(variable, info) : ""));
  }

  /// How to take a date or time as a number.
  std::string NumberOfTime(const Variable& variable, const ColumnInfo& info) const {
    const std::string name = Written(variable);
    const std::string seconds = fmt::format("epoch({}) for seconds", name);
    if (info.type != "DATE") return fmt::format(", or {}", seconds);
    return fmt::format(", I({} - date '2020-01-01') for days, or {}", name, seconds);
  }

  void CheckPowers() const {
    for (const Term& term : formula_.terms) {
      for (const TermPart& part : term.parts) {
        const auto variable = static_cast<std::size_t>(part.variable);
        if (part.power == 1 || !binding_.isFactor[variable]) continue;
        FailAt(term.place, fmt::format("'{}' is a factor and has no powers; write {} alone.",
                                       formula_.variables[variable].label,
                                       Quoted(Written(formula_.variables[variable]))));
      }
    }
  }

  int Place(ColumnRequest request) {
    binding_.columns.push_back(std::move(request));
    return static_cast<int>(binding_.columns.size()) - 1;
  }

  std::string ResponseSql() const { return ValueSql(formula_.response, responseInfo_, source_); }

  /// As the data write the values of a column of booleans.
  BooleanTexts BooleansOf(const Variable& variable, const ColumnInfo& info) const {
    if (info.kind != ColumnKind::kBoolean || variable.form != Variable::Form::kColumn) return {};
    return source_.BooleansOf(variable.columns.front().found.name);
  }

  ColumnRequest Dependent(const LevelOptions& levels) const {
    const Variable& response = formula_.response;
    if (binding_.kind == ModelKind::kLinear) {
      return {response.label, ResponseSql(), Coding::kNumber};
    }
    ColumnRequest request{PlainName(response), ResponseSql(), Coding::kFactor};
    const bool isNumber = responseInfo_.kind == ColumnKind::kNumber && !response.asFactor;
    if (isNumber) request.maxLevels = kMostNumericLevels;
    const bool isText = responseInfo_.kind == ColumnKind::kText && !response.asFactor;
    if (isText && binding_.isKindByType) {
      request.maxLevels = kMostTextLevels;
      request.isByTypeOnly = true;
    }
    request.written = Written(response);
    request.levels = levels.OfDependent();
    request.booleans = BooleansOf(response, responseInfo_);
    return request;
  }

  void PlaceColumns(const LevelOptions& levels) {
    Place(Dependent(levels));
    binding_.positions.assign(formula_.variables.size(), -1);
    for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
      if (binding_.isFactor[i]) PlaceFactor(i, levels);
    }
    for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
      if (!binding_.isFactor[i]) PlaceCovariate(i);
    }
  }

  void PlaceFactor(std::size_t i, const LevelOptions& levels) {
    const Variable& variable = formula_.variables[i];
    ColumnRequest request{PlainName(variable), ValueSql(variable, infos_[i], source_),
                          Coding::kFactor};
    request.levels = levels.Of(variable);
    request.written = Written(variable);
    request.booleans = BooleansOf(variable, infos_[i]);
    if (variable.isOfDot && infos_[i].kind == ColumnKind::kText) request.maxLevels = kMostDotLevels;
    binding_.positions[i] = Place(std::move(request));
    ++binding_.factorCount;
  }

  void PlaceCovariate(std::size_t i) {
    const Variable& variable = formula_.variables[i];
    binding_.positions[i] =
        Place({variable.label, ValueSql(variable, infos_[i], source_), Coding::kNumber});
    ++binding_.covariateCount;
  }

  int PlaceWeight(const std::string& name, const char* option) {
    if (name.empty()) return -1;
    const ColumnInfo& column = ColumnOfOption(source_, name, option);
    return Place({column.name, QuoteName(column.name), Coding::kNumber});
  }

  int PlaceCluster(const std::string& name) {
    if (name.empty()) return -1;
    const ColumnInfo& column = ColumnOfOption(source_, name, "--vcov");
    return Place({column.name, QuoteName(column.name), Coding::kFactor});
  }

  void PlaceGrid() {
    binding_.grid = PlanGrid(formula_, binding_.isFactor);
    for (GridPlan::Axis& axis : binding_.grid->axes) {
      axis.position = axis.variable >= 0
                          ? binding_.positions[static_cast<std::size_t>(axis.variable)]
                          : Place({axis.column, axis.sql, Coding::kNumber});
    }
  }

  void PlacePart(const ValidationOptions& validation) {
    if (validation.kind == ValidationKind::kNone) return;
    if (validation.kind == ValidationKind::kSplit) {
      const ColumnInfo& column = ColumnOfOption(source_, validation.column, "--split");
      ColumnRequest request{column.name, QuoteName(column.name), Coding::kFactor};
      if (column.kind == ColumnKind::kBoolean) request.booleans = source_.BooleansOf(column.name);
      binding_.part = Place(std::move(request));
    } else {
      binding_.part = Place({"part", "0", Coding::kNumber});
    }
    binding_.partCount = validation.IsTrainingOnly() ? 1 : 0;
  }

  const Formula& formula_;
  const TableSource& source_;
  ColumnInfo responseInfo_;
  std::vector<ColumnInfo> infos_;  ///< One for each of the formula's variables.
  ModelBinding binding_;
};

}  // namespace

ColumnLookup ColumnsOf(const TableSource& source, std::string_view formula) {
  return [&source, formula](const std::string& name, Place place) -> FoundColumn {
    const std::vector<const ColumnInfo*> columns = source.Matches(name);
    if (columns.empty()) {
      throw FormulaError::At(formula, place,
                             fmt::format("There is no column '{}' in {}{}{}", name, source.Name(),
                                         ColumnHint(source, name), source.HeaderHint()));
    }
    if (columns.size() > 1) throw FormulaError::At(formula, place, AmbiguousText(name, columns));
    const ColumnInfo& column = *columns.front();
    FoundColumn found{column.name, ValueOf(column), ValueKindOf(column.kind)};
    found.written = column.written;
    if (column.kind == ColumnKind::kText) {
      found.numberHint = [&source, name = column.name] {
        return NumberHint(source,
                          {.label = name, .sql = QuoteName(name), .written = WrittenName(name)});
      };
    }
    return found;
  };
}

const ColumnInfo& ColumnOfOption(const TableSource& source, const std::string& name,
                                 std::string_view option) {
  const std::vector<const ColumnInfo*> columns = source.Matches(name);
  if (columns.empty()) {
    throw Error(
        ExitCode::kBadInput,
        fmt::format("There is no column '{}' for {} in {}{}{}", name, option, source.Name(),
                    LooksComputed(name) ? ComputedText(name, option) : DidYouMean(source, name),
                    source.HeaderHint()));
  }
  if (columns.size() > 1) {
    throw Error(ExitCode::kBadInput, fmt::format("{}: {}", option, AmbiguousText(name, columns)));
  }
  return *columns.front();
}

std::string ValueSql(const Variable& variable, const ColumnInfo& info, const TableSource& source) {
  if (variable.form == Variable::Form::kColumn) return variable.sql;
  // 0/0 is no number, and DuckDB has NaN equal to itself.
  const std::string value =
      IsFloating(info.type) ? fmt::format("nullif({}, CAST('nan' AS {}))", variable.sql, info.type)
                            : variable.sql;
  return fmt::format("CASE WHEN {} THEN coalesce(TRY({}), error({})) END",
                     Presence(variable, source), value,
                     FaultText(variable, WhereText(variable, source)));
}

RowCondition ReadCondition(const std::string& text, const TableSource& source) {
  try {
    const Variable condition = BindCondition(text, source);
    RowCondition rows;
    rows.sql = ConditionSql(condition);
    for (const ColumnUse& use : condition.columns) rows.columns.push_back(use.found.name);
    rows.notes = condition.notes;
    return rows;
  } catch (const FormulaError& error) {
    throw Error(error.Code(), std::string("--where: ") + error.what());
  }
}

ModelBinding BindModel(const Formula& formula, const TableSource& source,
                       const BindingOptions& options) {
  return Binder(formula, source).Bind(options);
}

std::string PlainName(const Variable& factor) {
  if (!factor.asFactor) return factor.label;
  if (factor.form == Variable::Form::kColumn) return factor.columns.front().name;
  constexpr std::string_view open = "C(";
  if (!factor.label.starts_with(open) || !factor.label.ends_with(')')) return factor.label;
  return factor.label.substr(open.size(), factor.label.size() - open.size() - 1);
}

}  // namespace qvhost
