#include "tests/qvreg/support/ReferenceCase.h"

#include <algorithm>
#include <charconv>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <stdexcept>
#include <string_view>

#include "qvreg/common/Constants.h"

namespace qvtest {
namespace {

using Cells = std::vector<std::string>;

constexpr double kMissingCategory = -1.0;

std::filesystem::path FileOf(const std::string& name, const char* ending) {
  return std::filesystem::path(QVREG_TEST_DATA) / (name + ending);
}

std::ifstream Open(const std::filesystem::path& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return file;
}

Cells SplitLine(const std::string& line) {
  Cells cells(1);
  for (const char c : line) {
    if (c == ',') {
      cells.emplace_back();
    } else {
      cells.back() += c;
    }
  }
  return cells;
}

std::optional<double> ToNumber(std::string_view text) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

/// Numbers by value, text by bytes.
bool LevelBefore(const std::string& a, const std::string& b) {
  const auto x = ToNumber(a);
  const auto y = ToNumber(b);
  return x && y ? *x < *y : a < b;
}

std::vector<std::string> SortedLevels(const std::vector<Cells>& rows, std::size_t column) {
  std::set<std::string> found;
  for (const Cells& row : rows) {
    if (!row[column].empty()) found.insert(row[column]);
  }
  std::vector<std::string> levels(found.begin(), found.end());
  std::sort(levels.begin(), levels.end(), LevelBefore);
  return levels;
}

double CodeOf(const std::vector<std::string>& levels, const std::string& cell) {
  if (cell.empty()) return kMissingCategory;
  const auto place = std::find(levels.begin(), levels.end(), cell);
  return static_cast<double>(place - levels.begin());
}

double NumberOf(const std::string& cell) {
  if (cell.empty()) return QvMV::gMissingValue;
  const auto number = ToNumber(cell);
  if (!number) throw std::runtime_error("not a number: " + cell);
  return *number;
}

bool Contains(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

/// Columns that the model does not use are 0 in every record: the library must not look at them.
ReferenceTable CodeTable(Cells header, const std::vector<Cells>& rows,
                         const std::vector<std::string>& factors,
                         const std::vector<std::string>& numbers) {
  ReferenceTable table;
  table.columns = std::move(header);
  const std::size_t width = table.columns.size();
  table.records.assign(rows.size(), QvCommon::Record(static_cast<int>(width)));
  for (std::size_t column = 0; column < width; ++column) {
    const std::string& name = table.columns[column];
    const bool isFactor = Contains(factors, name);
    if (!isFactor && !Contains(numbers, name)) continue;
    if (isFactor) table.levels[name] = SortedLevels(rows, column);
    for (std::size_t i = 0; i < rows.size(); ++i) {
      const std::string& cell = rows[i][column];
      table.records[i][static_cast<int>(column)] =
          isFactor ? CodeOf(table.levels[name], cell) : NumberOf(cell);
    }
  }
  return table;
}

ReferenceTable ReadTable(const ReferenceModel& model, const ReferenceValues& expected) {
  const auto path = FileOf(model.name, ".csv");
  std::ifstream file = Open(path);
  std::string line;
  std::getline(file, line);
  Cells header = SplitLine(line);
  std::vector<Cells> rows;
  while (std::getline(file, line)) {
    rows.push_back(SplitLine(line));
    if (rows.back().size() != header.size()) {
      throw std::runtime_error("ragged line in " + path.string() + ": " + line);
    }
  }

  std::vector<std::string> numbers = model.Covariates();
  numbers.push_back(model.dependent);
  for (const std::string& weight : {expected.freqWeight, expected.regrWeight}) {
    if (!weight.empty()) numbers.push_back(weight);
  }
  return CodeTable(std::move(header), rows, model.Factors(), numbers);
}

ReferenceLabel ReadLabel(const nlohmann::json& label) {
  if (label.is_string()) return {label.get<std::string>(), {}};
  return {label.at("term").get<std::string>(),
          label.at("levels").get<std::map<std::string, std::string>>()};
}

/// The value after an option such as `--freq-weight`; empty without it.
std::string OptionValue(const std::vector<std::string>& options, std::string_view name) {
  for (std::size_t i = 0; i + 1 < options.size(); i += 2) {
    if (options[i] == name) return options[i + 1];
  }
  return {};
}

ReferenceValues ReadValues(const std::string& name) {
  std::ifstream file = Open(FileOf(name, ".json"));
  const nlohmann::json json = nlohmann::json::parse(file);
  const auto options = json.at("options").get<std::vector<std::string>>();

  ReferenceValues values;
  values.recordsUsed = json.at("n").get<int>();
  values.freqWeight = OptionValue(options, "--freq-weight");
  values.regrWeight = OptionValue(options, "--regression-weight");
  for (const nlohmann::json& label : json.at("labels")) values.labels.push_back(ReadLabel(label));
  values.estimates = json.at("estimates").get<std::vector<double>>();
  values.redundant = json.at("redundant").get<std::vector<bool>>();
  values.unscaledVariance = json.at("unscaled_variance").get<std::vector<double>>();
  values.rmse = json.at("rmse").get<double>();
  values.rSquare = json.at("r_square").get<double>();
  return values;
}

}  // namespace

int ReferenceTable::IndexOf(const std::string& column) const {
  const auto place = std::find(columns.begin(), columns.end(), column);
  if (place == columns.end()) throw std::runtime_error("no column " + column);
  return static_cast<int>(place - columns.begin());
}

ReferenceCase LoadReferenceCase(const ReferenceModel& model) {
  ReferenceCase loaded;
  loaded.model = model;
  loaded.expected = ReadValues(model.name);
  loaded.table = ReadTable(model, loaded.expected);
  return loaded;
}

std::vector<std::string> ReferenceNamesOnDisk() {
  std::vector<std::string> names;
  for (const auto& folder : std::filesystem::directory_iterator(QVREG_TEST_DATA)) {
    if (!folder.is_directory()) continue;
    for (const auto& file : std::filesystem::directory_iterator(folder)) {
      if (file.path().extension() != ".json") continue;
      names.push_back(folder.path().filename().string() + "/" + file.path().stem().string());
    }
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace qvtest
