#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "host/Text.h"
#include "host/fit/FitOptions.h"
#include "host/table/Connection.h"

namespace qvhost {

/// A file of tests/reference/robust, in quotes for SQL.
inline std::string RobustReference(const std::string& name) {
  return QuoteText((std::filesystem::path(QVREG_TEST_DATA) / "robust" / name).string());
}

/// A model of that table that has both weights, a crossing with an empty cell, an effect within
/// another, a power and a redundant column.
inline FitOptions Everything(const std::string& dependent) {
  FitOptions options;
  options.source.data = (std::filesystem::path(QVREG_TEST_DATA) / "robust/everything.csv").string();
  options.formula = dependent + " ~ a*b + a/c + x + I(x^2) + x2";
  options.binding.freqWeight = "f";
  options.binding.regressionWeight = "r";
  return options;
}

/// A table of numbers with its names, NULL as none.
struct NumberTable {
  std::vector<std::string> names;
  std::vector<std::vector<std::optional<double>>> rows;
};

/// Reads a CSV or Parquet file; `file` in quotes for SQL.
inline NumberTable ReadNumbers(const std::string& file) {
  Connection connection;
  NumberTable table;
  for (const auto& row : connection.Rows("DESCRIBE SELECT * FROM " + file)) {
    table.names.push_back(row.front().value());
  }
  for (const auto& row : connection.Rows("SELECT * FROM " + file)) {
    std::vector<std::optional<double>>& numbers = table.rows.emplace_back();
    for (const auto& cell : row) {
      numbers.push_back(cell ? std::optional(std::stod(*cell)) : std::nullopt);
    }
  }
  return table;
}

}  // namespace qvhost
