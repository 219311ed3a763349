#pragma once

#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include <fmt/format.h>
#include <sqlite3.h>

namespace qvhost {

/// The rows of a query of a SQLite database, each value as text, NULL as none; numbers read back as
/// the same doubles.
inline std::vector<std::vector<std::optional<std::string>>> SqliteRows(const std::string& path,
                                                                       const std::string& query) {
  sqlite3* raw = nullptr;
  const int opened = sqlite3_open_v2(path.c_str(), &raw, SQLITE_OPEN_READONLY, nullptr);
  const std::unique_ptr<sqlite3, decltype(&sqlite3_close)> database(raw, &sqlite3_close);
  if (opened != SQLITE_OK) throw std::runtime_error("no database: " + path);
  sqlite3_stmt* prepared = nullptr;
  const int understood = sqlite3_prepare_v2(raw, query.c_str(), -1, &prepared, nullptr);
  const std::unique_ptr<sqlite3_stmt, decltype(&sqlite3_finalize)> statement(prepared,
                                                                             &sqlite3_finalize);
  if (understood != SQLITE_OK) throw std::runtime_error(sqlite3_errmsg(raw));
  std::vector<std::vector<std::optional<std::string>>> rows;
  int step = sqlite3_step(prepared);
  for (; step == SQLITE_ROW; step = sqlite3_step(prepared)) {
    auto& row = rows.emplace_back();
    for (int i = 0; i < sqlite3_column_count(prepared); ++i) {
      const int type = sqlite3_column_type(prepared, i);
      if (type == SQLITE_NULL) {
        row.emplace_back();
      } else if (type == SQLITE_FLOAT) {
        row.emplace_back(fmt::format("{}", sqlite3_column_double(prepared, i)));
      } else {
        row.emplace_back(reinterpret_cast<const char*>(sqlite3_column_text(prepared, i)));
      }
    }
  }
  if (step != SQLITE_DONE) throw std::runtime_error(sqlite3_errmsg(raw));
  return rows;
}

}  // namespace qvhost
