#include "host/table/QueryView.h"

#include <cstddef>
#include <string_view>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/PreparedQuery.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

void CheckQuery(Connection& connection, const std::string& sql) {
  const std::size_t count = connection.CountStatements(sql);
  if (count != 1) {
    Refuse(fmt::format("--sql takes one SELECT; this text holds {} statements.", count));
  }
  if (!PreparedQuery(connection, sql).IsSelect()) {
    Refuse("--sql takes a SELECT; this statement is of another kind.");
  }
}

/// What a query calls its columns.
std::vector<std::string> NamesOfQuery(const Connection& connection, const std::string& sql) {
  const PreparedQuery query(connection, sql);
  std::vector<std::string> names;
  for (idx_t i = 0; i < query.ColumnCount(); ++i) names.push_back(query.Column(i).name);
  return names;
}

}  // namespace

std::string ColumnList(const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) list += (list.empty() ? "" : ", ") + QuoteName(name);
  return fmt::format(" ({})", list);
}

std::vector<RenamedColumn> ShowQuery(Connection& connection, const std::string& sql,
                                     const std::string& view, const std::string& tableHint) {
  try {
    CheckQuery(connection, sql);
    const std::vector<std::string> names = NamesOfQuery(connection, sql);
    std::vector<RenamedColumn> renamed = RenamedColumns(names);
    const std::string list = renamed.empty() ? "" : ColumnList(UniqueNames(names));
    connection.Execute(fmt::format("CREATE OR REPLACE TEMP VIEW {}{} AS {}", view, list, sql));
    return renamed;
  } catch (const QueryError& error) {
    const std::string_view message = error.what();
    constexpr std::string_view kStart = "Table with name ";
    const std::size_t end = message.find(" does not exist!");
    const bool isNoTable = message.starts_with(kStart) && end != std::string::npos;
    if (!isNoTable || tableHint.empty()) {
      throw Error(error.Code(), fmt::format("--sql: {}", message));
    }
    const std::string_view table = message.substr(kStart.size(), end - kStart.size());
    throw Error(error.Code(), fmt::format("--sql: There is no table '{}'; {}", table, tableHint));
  }
}

}  // namespace qvhost
