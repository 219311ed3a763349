#include "host/fit/ModelBinding.h"

#include <cstddef>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/fit/FormulaColumns.h"
#include "host/fit/ValueSql.h"
#include "host/formula/FormulaError.h"
#include "host/table/ColumnInfo.h"
#include "host/table/Connection.h"

namespace qvhost {

namespace {

bool IsCategory(ColumnKind kind) {
  return kind == ColumnKind::kText || kind == ColumnKind::kBoolean ||
         kind == ColumnKind::kEnumeration;
}

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
    PlaceColumns(!options.model);
    binding_.freqWeight = PlaceWeight(options.freqWeight, "--freq-weight");
    binding_.regressionWeight = PlaceWeight(options.regressionWeight, "--regression-weight");
    return std::move(binding_);
  }

 private:
  [[noreturn]] void FailAt(Place place, const std::string& message) const {
    throw FormulaError::At(formula_.text, place, message);
  }

  ColumnInfo Describe(const Variable& variable) const {
    try {
      return source_.Describe({variable.sql}).front();
    } catch (const Error& error) {
      FailAt(variable.place,
             fmt::format("'{}' cannot be computed: {}", variable.label, error.what()));
    }
  }

  void DescribeVariables() {
    responseInfo_ = Describe(formula_.response);
    for (const Variable& variable : formula_.variables) infos_.push_back(Describe(variable));
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

  /// The kind of model that suits the dependent, or that was asked for.
  ModelKind Kind(std::optional<ModelKind> asked) const {
    const Variable& response = formula_.response;
    const bool number = responseInfo_.kind == ColumnKind::kNumber && !response.asFactor;
    const bool category = response.asFactor || IsCategory(responseInfo_.kind);
    if (!number) CheckRecords();
    if (!number && !category) {
      FailAt(response.place,
             fmt::format("The dependent '{0}' is {1} ({2}); a linear model needs a number, and for "
                         "a logistic model write C({0}).",
                         response.label, KindText(responseInfo_.kind), responseInfo_.type));
    }
    if (category && asked == ModelKind::kLinear) {
      FailAt(response.place,
             fmt::format("The dependent '{}' is {}, but a linear model needs a number; name a "
                         "numeric column.",
                         response.label, CategoryText()));
    }
    return asked.value_or(number ? ModelKind::kLinear : ModelKind::kLogistic);
  }

  bool IsFactor(const Variable& variable, const ColumnInfo& info) const {
    if (variable.asFactor || IsCategory(info.kind)) return true;
    if (info.kind == ColumnKind::kNumber) return false;
    FailAt(variable.place,
           fmt::format("'{}' is {} ({}); write C({}) to take its values as the levels of a factor.",
                       variable.label, KindText(info.kind), info.type, variable.label));
  }

  void CheckPowers() const {
    for (const Term& term : formula_.terms) {
      for (const TermPart& part : term.parts) {
        const auto variable = static_cast<std::size_t>(part.variable);
        if (part.power == 1 || !binding_.isFactor[variable]) continue;
        FailAt(term.place,
               fmt::format("'{}' is a factor and has no powers; write '{}' alone.",
                           formula_.variables[variable].label, formula_.variables[variable].label));
      }
    }
  }

  int Place(ColumnRequest request) {
    binding_.columns.push_back(std::move(request));
    return static_cast<int>(binding_.columns.size()) - 1;
  }

  std::string ResponseSql() const { return ValueSql(formula_.response, responseInfo_, source_); }

  ColumnRequest Dependent(bool isKindByType) const {
    const Variable& response = formula_.response;
    if (binding_.kind == ModelKind::kLinear) {
      return {response.label, ResponseSql(), Coding::kNumber};
    }
    ColumnRequest request{PlainName(response), ResponseSql(), Coding::kFactor};
    const bool isNumber = responseInfo_.kind == ColumnKind::kNumber && !response.asFactor;
    if (isNumber) request.maxLevels = kMostNumericLevels;
    const bool isText = responseInfo_.kind == ColumnKind::kText && !response.asFactor;
    if (isText && isKindByType) {
      request.maxLevels = kMostTextLevels;
      request.isByTypeOnly = true;
    }
    return request;
  }

  void PlaceColumns(bool isKindByType) {
    Place(Dependent(isKindByType));
    binding_.positions.assign(formula_.variables.size(), -1);
    binding_.factorCount = PlaceVariables(true, Coding::kFactor);
    binding_.covariateCount = PlaceVariables(false, Coding::kNumber);
  }

  int PlaceVariables(bool factors, Coding coding) {
    int count = 0;
    for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
      if (binding_.isFactor[i] != factors) continue;
      const Variable& variable = formula_.variables[i];
      binding_.positions[i] = Place({factors ? PlainName(variable) : variable.label,
                                     ValueSql(variable, infos_[i], source_), coding});
      ++count;
    }
    return count;
  }

  int PlaceWeight(const std::string& name, const char* option) {
    if (name.empty()) return -1;
    const ColumnInfo& column = ColumnOfOption(source_, name, option);
    return Place({column.name, QuoteName(column.name), Coding::kNumber});
  }

  const Formula& formula_;
  const TableSource& source_;
  ColumnInfo responseInfo_;
  std::vector<ColumnInfo> infos_;  ///< One for each of the formula's variables.
  ModelBinding binding_;
};

}  // namespace

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
