#include "host/table/CodingPlan.h"

#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/table/ColumnCoders.h"
#include "host/table/Connection.h"
#include "host/table/KnownLevelCoders.h"
#include "host/table/NumberLevels.h"
#include "host/table/PreparedQuery.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

constexpr std::size_t kLongestExample = 40;

/// A value that shows why the column is not a number: one that cannot be read as such, if there is
/// one. Empty when every value is NULL.
std::string ExampleOf(const TableSource& source, const ColumnRequest& request) {
  const auto rows = source.Database().Rows(
      fmt::format("SELECT left(CAST(({0}) AS VARCHAR), {1}) FROM {2} WHERE ({0}) IS NOT NULL "
                  "ORDER BY TRY_CAST(CAST(({0}) AS VARCHAR) AS DOUBLE) IS NOT NULL LIMIT 1",
                  request.sql, kLongestExample, source.Relation()));
  return rows.empty() ? "" : rows.front().front().value_or("");
}

[[noreturn]] void RefuseAsNumber(const TableSource& source, const ColumnRequest& request,
                                 const TypeInfo& type) {
  const std::string example = ExampleOf(source, request);
  const std::string disguise =
      type.kind == ColumnKind::kText ? NumberHint(source, request) : std::string();
  throw Error(
      ExitCode::kBadInput,
      fmt::format("'{}' must be a number, but it is {} ({}){}{}", request.label,
                  KindText(type.kind), type.name,
                  example.empty() ? "" : fmt::format(", such as '{}'", example),
                  disguise.empty() ? "; use another column, or make a number of it with --sql."
                                   : ". " + disguise));
}

[[noreturn]] void RefuseByType(const ColumnRequest& request, const TypeInfo& type) {
  const bool isTime = type.kind == ColumnKind::kDateTime;
  throw Error(
      ExitCode::kBadInput,
      fmt::format("'{0}' is {1} ({2}), so it can be used only as a factor, C({0}), or through a "
                  "call that makes a number or text of it{3}.",
                  request.label, KindText(type.kind), type.name,
                  isTime ? fmt::format(", such as epoch({}) for seconds", request.label) : ""));
}

std::string AsText(const std::string& sql) { return fmt::format("CAST(({}) AS VARCHAR)", sql); }

PlannedColumn PlanNumber(const ColumnRequest& request, const TypeInfo& type) {
  // Reading a number's text rounds once, to the nearest double.
  const std::string value = type.isExactAsDouble ? request.sql : AsText(request.sql);
  return {fmt::format("CAST(({}) AS DOUBLE)", value), std::make_unique<NumberCoder>(request.label)};
}

std::vector<std::string> EnumerationValues(duckdb_logical_type type) {
  std::vector<std::string> values;
  const std::uint32_t size = duckdb_enum_dictionary_size(type);
  for (std::uint32_t i = 0; i < size; ++i) {
    const DuckDbText value(duckdb_enum_dictionary_value(type, i));
    values.emplace_back(value.Get());
  }
  return values;
}

LevelOrder OrderOf(const TypeInfo& type, duckdb_logical_type raw) {
  if (type.kind == ColumnKind::kNumber) return ByValue();
  if (type.kind == ColumnKind::kEnumeration) return ByList(EnumerationValues(raw));
  return ByBytes();
}

/// Of a factor that has its levels already.
PlannedColumn PlanKnown(const ColumnRequest& request, const TypeInfo& type) {
  if (type.isFloating) {
    return {fmt::format("CAST(({}) AS DOUBLE)", request.sql),
            std::make_unique<KnownFloatCoder>(request, type.id == DUCKDB_TYPE_FLOAT)};
  }
  return {AsText(request.sql), std::make_unique<KnownTextCoder>(request, type.kind)};
}

PlannedColumn PlanFactor(const ColumnRequest& request, const TypeInfo& type,
                         duckdb_logical_type raw, std::size_t maxLevels) {
  if (request.known) return PlanKnown(request, type);
  if (type.isFloating) {
    return {fmt::format("CAST(({}) AS DOUBLE)", request.sql),
            std::make_unique<FloatFactorCoder>(request, type.id == DUCKDB_TYPE_FLOAT, maxLevels)};
  }
  return {AsText(request.sql),
          std::make_unique<TextFactorCoder>(request, OrderOf(type, raw), type.kind, maxLevels)};
}

PlannedColumn Plan(const TableSource& source, const ColumnRequest& request, duckdb_logical_type raw,
                   std::size_t maxLevels) {
  const TypeInfo type = DescribeType(raw);
  const bool isNumber = type.kind == ColumnKind::kNumber;
  if (request.coding == Coding::kFactor) return PlanFactor(request, type, raw, maxLevels);
  if (isNumber) return PlanNumber(request, type);
  if (request.coding == Coding::kNumber) RefuseAsNumber(source, request, type);
  if (RoleOf(type.kind) == ColumnRole::kNone) RefuseByType(request, type);
  return PlanFactor(request, type, raw, maxLevels);
}

/// All requests at once: for a file, each query reads its beginning anew.
PreparedQuery Understand(const TableSource& source, const std::vector<ColumnRequest>& requests) {
  std::string list;
  for (const ColumnRequest& request : requests) {
    list += fmt::format("{}({})", list.empty() ? "" : ", ", request.sql);
  }
  return {source.Database(), fmt::format("SELECT {} FROM {}", list, source.Relation())};
}

/// Throws Error if one of the requests alone is not understood.
void FindCulprit(const TableSource& source, const std::vector<ColumnRequest>& requests) {
  for (const ColumnRequest& request : requests) {
    try {
      (void)Understand(source, {request});
    } catch (const QueryError& error) {
      throw Error(error.Code(), fmt::format("'{}': {}", request.label, error.what()));
    }
  }
}

PreparedQuery UnderstandOrExplain(const TableSource& source,
                                  const std::vector<ColumnRequest>& requests) {
  try {
    return Understand(source, requests);
  } catch (const QueryError&) {
    FindCulprit(source, requests);
    throw;
  }
}

}  // namespace

std::vector<PlannedColumn> PlanCoding(const TableSource& source,
                                      const std::vector<ColumnRequest>& requests,
                                      std::size_t maxLevels) {
  const PreparedQuery query = UnderstandOrExplain(source, requests);
  std::vector<PlannedColumn> plan;
  for (std::size_t i = 0; i < requests.size(); ++i) {
    const TypeHandle type = query.ColumnType(i);
    plan.push_back(
        Plan(source, requests[i], type.Get(), requests[i].maxLevels.value_or(maxLevels)));
  }
  return plan;
}

}  // namespace qvhost
