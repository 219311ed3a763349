#include "host/score/ScoreBinding.h"

#include <algorithm>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/fit/ModelBinding.h"
#include "host/formula/Formula.h"
#include "host/formula/ValueKind.h"
#include "host/score/ScoringModel.h"
#include "host/table/Connection.h"
#include "host/table/KnownLevels.h"
#include "host/table/NumberLevels.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

const SavedColumn* ColumnOf(const SavedModel& saved, const std::string& name) {
  const auto found = std::ranges::find(saved.columns, name, &SavedColumn::name);
  return found == saved.columns.end() ? nullptr : &*found;
}

/// What people call a variable: a factor by its column.
const std::string& NameOf(const SavedVariable& variable) {
  return variable.isColumn ? variable.columns.front() : variable.label;
}

[[noreturn]] void RefuseMissing(const std::string& column, const SavedVariable& variable,
                                const std::string& file, const TableSource& source) {
  const std::optional<std::string> nearest = source.Nearest(column);
  throw Error(
      ExitCode::kBadInput,
      fmt::format(
          "There is no column '{}' in {}, which the model in '{}' needs{}{}{}", column,
          source.Name(), file,
          variable.isColumn && !variable.scale ? "" : fmt::format(" for '{}'", variable.label),
          nearest ? fmt::format("; did you mean '{}'?", *nearest) : ".", source.HeaderHint()));
}

/// The SQL of a column of this kind without any value.
std::string MissingOf(ColumnKind kind) {
  switch (kind) {
    case ColumnKind::kNumber:
      return "CAST(NULL AS DOUBLE)";
    case ColumnKind::kBoolean:
      return "CAST(NULL AS BOOLEAN)";
    case ColumnKind::kDateTime:
      return "CAST(NULL AS TIMESTAMP)";
    case ColumnKind::kText:
    case ColumnKind::kEnumeration:
    case ColumnKind::kOther:
      break;
  }
  return "CAST(NULL AS VARCHAR)";
}

/// Binds one variable after the other. Borrows what it is made of.
class Binder {
 public:
  Binder(const SavedModel& saved, const std::string& file, const TableSource& source)
      : saved_(saved), file_(file), source_(source) {}

  ScoreBinding Bind() {
    for (const SavedVariable* variable : ScoredVariables(saved_)) Add(*variable);
    // There is a row to be scored for each of the table even where nothing of it is read.
    if (binding_.requests.empty()) binding_.requests.push_back({"row", "0", Coding::kNumber});
    return std::move(binding_);
  }

 private:
  void Add(const SavedVariable& saved) {
    const Variable variable = Read(saved);
    const ColumnInfo info = Describe(saved, variable);
    ColumnRequest request{NameOf(saved), ValueSql(variable, info, source_), Coding::kNumber};
    if (saved.isFactor) {
      request.coding = Coding::kFactor;
      request.known = KnownLevels{saved.levels, saved.kind};
      const bool isColumn = variable.form == Variable::Form::kColumn;
      if (info.kind == ColumnKind::kBoolean && isColumn) {
        request.booleans = source_.BooleansOf(variable.columns.front().found.name);
      }
    }
    CheckKind(saved, variable, info, request);
    binding_.requests.push_back(std::move(request));
    binding_.values.push_back({saved.position, saved.scale});
  }

  Variable Read(const SavedVariable& saved) const {
    try {
      Variable variable = ParseExpression(saved.expression, Lookup(saved));
      const FoundColumn& first = variable.columns.front().found;
      const bool isEmpty = first.sql == MissingOf(KindBefore(saved));
      // That of a column is its name.
      if (isEmpty && variable.form == Variable::Form::kColumn) variable.sql = first.sql;
      variable.label = saved.label;
      return variable;
    } catch (const Error& error) {
      Fail(saved, error.what());
    }
  }

  [[nodiscard]] ColumnKind KindBefore(const SavedVariable& saved) const {
    const SavedColumn* const column = ColumnOf(saved_, saved.columns.front());
    return column == nullptr ? saved.kind : column->kind;
  }

  [[noreturn]] void Fail(const SavedVariable& saved, const std::string& reason) const {
    throw Error(ExitCode::kBadInput, fmt::format("'{}' of the model in '{}' cannot be read: {}",
                                                 saved.label, file_, reason));
  }

  /// The columns of the table, those without any value of the kind that they were in the fit.
  ColumnLookup Lookup(const SavedVariable& saved) const {
    return [this, columns = ColumnsOf(source_, saved.expression)](const std::string& name,
                                                                  Place place) {
      FoundColumn found = columns(name, place);
      const SavedColumn* const before = ColumnOf(saved_, name);
      if (before == nullptr) return found;
      const ValueKind kind = ValueKindOf(before->kind);
      if (found.kind == kind || HasValue(found.name)) return found;
      found.sql = MissingOf(before->kind);
      found.kind = kind;
      return found;
    };
  }

  [[nodiscard]] bool HasValue(const std::string& column) const {
    return !source_.Database()
                .Rows(fmt::format("SELECT 1 FROM {} WHERE {} IS NOT NULL LIMIT 1",
                                  source_.Relation(), QuoteName(column)))
                .empty();
  }

  ColumnInfo Describe(const SavedVariable& saved, const Variable& variable) const {
    try {
      return source_.Describe({variable.sql}).front();
    } catch (const QueryError& error) {
      Fail(saved, error.what());
    }
  }

  void CheckKind(const SavedVariable& saved, const Variable& variable, const ColumnInfo& info,
                 const ColumnRequest& request) const {
    if (saved.isFactor ? CanBeOf(info.kind, *request.known) : info.kind == ColumnKind::kNumber) {
      return;
    }
    const std::string was =
        saved.isFactor ? fmt::format("a factor of levels such as {}",
                                     saved.levels.empty() ? "none" : "'" + Odd(saved, info) + "'")
                       : std::string("a number");
    const bool isColumn = variable.form == Variable::Form::kColumn;
    const std::string hint = !saved.isFactor && isColumn && info.kind == ColumnKind::kText
                                 ? NumberHint(source_, request)
                                 : std::string();
    throw Error(ExitCode::kBadInput,
                fmt::format("'{}' is {} ({}) in {}, but {} in the model in '{}'{}", request.label,
                            KindText(info.kind), info.type, source_.Name(), was, file_,
                            hint.empty() ? "; make one of the other with --sql, or name other data."
                                         : ". " + hint));
  }

  /// A level that can be no value of this kind.
  static std::string Odd(const SavedVariable& saved, const ColumnInfo& info) {
    for (const std::string& level : saved.levels) {
      if (!CanBeOf(info.kind, {{level}, saved.kind})) return level;
    }
    return saved.levels.front();
  }

  const SavedModel& saved_;
  const std::string& file_;
  const TableSource& source_;
  ScoreBinding binding_;
};

}  // namespace

std::vector<std::string> ColumnsToScore(const SavedModel& saved, const std::string& file,
                                        const TableSource& source) {
  std::vector<std::string> names;
  for (const SavedVariable* variable : ScoredVariables(saved)) {
    for (const std::string& column : variable->columns) {
      const std::vector<const ColumnInfo*> matches = source.Matches(column);
      if (matches.empty()) RefuseMissing(column, *variable, file, source);
      for (const ColumnInfo* match : matches) names.push_back(match->name);
    }
  }
  return names;
}

void TakeTypesOf(const SavedModel& saved, TableSource& source) {
  if (!source.TakesFormats()) return;
  std::vector<std::string> texts;
  for (const SavedVariable* variable : ScoredVariables(saved)) {
    for (const std::string& name : variable->columns) {
      const SavedColumn* const before = ColumnOf(saved, name);
      const std::vector<const ColumnInfo*> matches = source.Matches(name);
      if (before == nullptr || before->kind != ColumnKind::kText || matches.size() != 1) continue;
      const ColumnInfo& column = *matches.front();
      const bool isOpen =
          column.kind != ColumnKind::kText && !column.isField && !source.IsTypeGiven(column.name);
      if (isOpen) texts.push_back(column.name);
    }
  }
  source.TakeAsText(texts);
}

ScoreBinding BindScoring(const SavedModel& saved, const std::string& file,
                         const TableSource& source) {
  return Binder(saved, file, source).Bind();
}

}  // namespace qvhost
