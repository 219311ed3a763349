#pragma once

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/CodeTable.h"
#include "host/table/Connection.h"
#include "host/table/TableSource.h"
#include "tests/support/TempFolder.h"

namespace qvhost {

/// A test with a folder of its own, gone after it, and DuckDB to make data with.
class TableTest : public testing::Test {
 public:
  TableTest(const TableTest&) = delete;
  TableTest& operator=(const TableTest&) = delete;
  ~TableTest() override = default;

 protected:
  TableTest() = default;

  [[nodiscard]] std::string Path(const std::string& name) const { return temporary_.File(name); }

  /// Writes a file as it stands.
  std::string WriteText(const std::string& name, const std::string& text) const {
    return temporary_.Write(name, text);
  }

  /// Writes the result of a query, in the format that the name's ending tells DuckDB.
  std::string WriteTable(const std::string& name, const std::string& query) const {
    Connection connection;
    connection.Execute("COPY (" + query + ") TO " + QuoteText(Path(name)));
    return Path(name);
  }

  /// Makes a database file by statements; the database is the default one.
  std::string WriteDatabase(const std::string& name, const std::string& statements) const {
    Connection connection;
    connection.Execute("ATTACH " + QuoteText(Path(name)) + " AS made; USE made; " + statements);
    connection.Execute("USE memory; DETACH made");
    return Path(name);
  }

  [[nodiscard]] long FilesInFolder() const {
    return std::distance(std::filesystem::directory_iterator(folder_), {});
  }

  const qvtest::TempFolder temporary_;
  const std::filesystem::path folder_ = temporary_.Path();
};

inline TableSource OpenSql(const std::string& sql) { return TableSource({"", "", sql}); }

inline ColumnRequest Ask(const std::string& sql, Coding coding = Coding::kByType) {
  return {sql, sql, coding};
}

/// The coded records, a vector each.
inline std::vector<std::vector<double>> Records(const CodedTable& table) {
  std::vector<std::vector<double>> records;
  std::vector<double> record(static_cast<std::size_t>(table.RecordSize()));
  std::rewind(table.File());
  while (std::fread(record.data(), sizeof(double), record.size(), table.File()) == record.size()) {
    records.push_back(record);
  }
  return records;
}

/// One column of the coded records.
inline std::vector<double> Values(const CodedTable& table, std::size_t column = 0) {
  std::vector<double> values;
  for (const std::vector<double>& record : Records(table)) values.push_back(record[column]);
  return values;
}

/// Codes one expression of a query's result.
inline CodedTable CodeOne(const std::string& sql, const std::string& expression = "x",
                          Coding coding = Coding::kByType) {
  return CodeTable(OpenSql(sql), {Ask(expression, coding)});
}

/// What an action is refused with.
struct Refusal {
  ExitCode code = ExitCode::kFitted;
  std::string text = "nothing was thrown";
};

inline Refusal RefusalOf(const std::function<void()>& action) {
  try {
    action();
  } catch (const Error& error) {
    return {error.Code(), error.what()};
  }
  return {};
}

}  // namespace qvhost
