#include "tests/qvreg/support/LogisticReferenceTable.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <fstream>
#include <set>
#include <sstream>
#include <stdexcept>

#include "qvreg/common/Constants.h"

namespace qvtest {
namespace {

using Cells = std::vector<std::string>;

constexpr double kMissingCategory = -1.0;

Cells SplitLine(const std::string& line) {
  Cells cells;
  std::istringstream stream(line + ",");
  for (std::string cell; std::getline(stream, cell, ',');) cells.push_back(cell);
  return cells;
}

std::vector<Cells> ReadLines(const std::string& path) {
  std::ifstream file(path);
  std::vector<Cells> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(SplitLine(line));
    if (lines.back().size() != lines.front().size()) {
      throw std::runtime_error("ragged line " + std::to_string(lines.size()) + " in " + path);
    }
  }
  if (lines.empty()) throw std::runtime_error("cannot read " + path);
  return lines;
}

bool ReadNumber(const std::string& cell, double& number) {
  const char* end = cell.data() + cell.size();
  const auto [stop, error] = std::from_chars(cell.data(), end, number);
  return error == std::errc() && stop == end;
}

double NumberOf(const std::string& cell) {
  double number = QvMV::gMissingValue;
  if (!cell.empty() && !ReadNumber(cell, number)) {
    throw std::runtime_error("not a number: " + cell);
  }
  return number;
}

/// Numbers by value, text by bytes.
bool IsBefore(const std::string& a, const std::string& b) {
  double x = 0.0;
  double y = 0.0;
  return ReadNumber(a, x) && ReadNumber(b, y) ? x < y : a < b;
}

/// Codes a column in place of its 0s and returns its levels.
Cells CodeColumn(const std::vector<Cells>& lines, std::size_t column, ReferenceTable& table) {
  std::set<std::string> found;
  for (std::size_t i = 1; i < lines.size(); ++i) found.insert(lines[i][column]);
  found.erase("");
  Cells levels(found.begin(), found.end());
  std::sort(levels.begin(), levels.end(), IsBefore);
  for (std::size_t i = 1; i < lines.size(); ++i) {
    const auto place = std::find(levels.begin(), levels.end(), lines[i][column]);
    table.records[i - 1][static_cast<int>(column)] =
        place == levels.end() ? kMissingCategory : static_cast<double>(place - levels.begin());
  }
  return levels;
}

}  // namespace

ReferenceTable ReadLogisticReferenceTable(const std::string& path,
                                          const std::vector<std::string>& categories,
                                          const std::vector<std::string>& numbers) {
  const std::vector<Cells> lines = ReadLines(path);
  ReferenceTable table;
  table.columns = lines.front();
  const int width = static_cast<int>(table.columns.size());
  table.records.assign(lines.size() - 1, QvCommon::Record(width));
  for (const std::string& name : categories) {
    table.levels[name] = CodeColumn(lines, static_cast<std::size_t>(table.IndexOf(name)), table);
  }
  for (const std::string& name : numbers) {
    const int column = table.IndexOf(name);
    for (std::size_t i = 1; i < lines.size(); ++i) {
      table.records[i - 1][column] = NumberOf(lines[i][static_cast<std::size_t>(column)]);
    }
  }
  return table;
}

}  // namespace qvtest
