#include "tests/qvreg/support/ReferenceCase.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <set>
#include <stdexcept>
#include <string_view>

#include "qvreg/common/Constants.h"

namespace qvtest {
namespace {

/// Keeps the covariates of a term in their order.
using Json = nlohmann::ordered_json;
using Cells = std::vector<std::string>;

constexpr double kMissingCategory = -1.0;

std::filesystem::path PathOf(const std::string& name) {
  return std::filesystem::path(QVREG_TEST_DATA) / name;
}

std::ifstream Open(const std::filesystem::path& path) {
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return file;
}

void AppendOnce(std::vector<std::string>& names, const std::string& name) {
  if (std::find(names.begin(), names.end(), name) == names.end()) names.push_back(name);
}

// ---- The model and the expected values --------------------------------------

/// The value after an option such as `--freq-weight`; empty without it.
std::string OptionValue(const std::vector<std::string>& options, std::string_view name) {
  for (std::size_t i = 0; i + 1 < options.size(); i += 2) {
    if (options[i] == name) return options[i + 1];
  }
  return {};
}

ReferenceTerm ReadTerm(const Json& json) {
  ReferenceTerm term;
  json.at("factors").get_to(term.factors);
  for (const auto& [column, power] : json.at("covariates").items()) {
    term.covariates.push_back({column, power.get<int>()});
  }
  term.nested = json.value("nested", false);
  return term;
}

ReferenceModel ReadModel(const Json& json) {
  ReferenceModel model;
  json.at("dependent").get_to(model.dependent);
  json.at("intercept").get_to(model.intercept);
  for (const Json& term : json.at("terms")) model.terms.push_back(ReadTerm(term));
  const auto options = json.at("options").get<std::vector<std::string>>();
  model.freqWeight = OptionValue(options, "--freq-weight");
  model.regrWeight = OptionValue(options, "--regression-weight");
  model.reference = OptionValue(options, "--reference");
  if (model.IsLogistic() != (json.at("kind") == "logistic")) {
    throw std::runtime_error("a logistic case names its reference category, a linear one has none");
  }
  return model;
}

ReferenceLabel ReadLabel(const Json& json) {
  ReferenceLabel label;
  json.at("term").get_to(label.term);
  json.at("levels").get_to(label.levels);
  label.category = json.value("category", "");
  return label;
}

void ReadLinearValues(const Json& json, ReferenceValues& values) {
  json.at("unscaled_variance").get_to(values.unscaledVariance);
  json.at("rmse").get_to(values.rmse);
  json.at("r_square").get_to(values.rSquare);
}

void ReadLogisticValues(const Json& json, ReferenceValues& values) {
  json.at("categories").get_to(values.categories);
  json.at("standard_errors").get_to(values.standardErrors);
  json.at("loglik_initial").get_to(values.loglikInitial);
  json.at("loglik").get_to(values.loglik);
  json.at("cox_snell").get_to(values.coxSnell);
  json.at("nagelkerke").get_to(values.nagelkerke);
  json.at("mcfadden").get_to(values.mcFadden);
  json.at("classification").get_to(values.classification);
}

ReferenceValues ReadValues(const Json& json, bool isLogistic) {
  ReferenceValues values;
  json.at("n").get_to(values.recordsUsed);
  for (const Json& label : json.at("labels")) values.labels.push_back(ReadLabel(label));
  json.at("estimates").get_to(values.estimates);
  values.redundant = json.at("redundant").get<std::vector<bool>>();
  if (isLogistic) {
    ReadLogisticValues(json, values);
  } else {
    ReadLinearValues(json, values);
  }
  return values;
}

// ---- The table --------------------------------------------------------------

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

/// The header and the rows.
std::vector<Cells> ReadLines(const std::filesystem::path& path) {
  std::ifstream file = Open(path);
  std::vector<Cells> lines;
  for (std::string line; std::getline(file, line);) {
    lines.push_back(SplitLine(line));
    if (lines.back().size() != lines.front().size()) {
      throw std::runtime_error("ragged line in " + path.string() + ": " + line);
    }
  }
  if (lines.empty()) throw std::runtime_error("nothing in " + path.string());
  return lines;
}

std::optional<double> ToNumber(std::string_view text) {
  double value = 0.0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return value;
}

double NumberOf(const std::string& cell) {
  if (cell.empty()) return QvMV::gMissingValue;
  const auto number = ToNumber(cell);
  if (!number) throw std::runtime_error("not a number: " + cell);
  return *number;
}

/// Numbers by value, text by bytes.
bool LevelBefore(const std::string& a, const std::string& b) {
  const auto x = ToNumber(a);
  const auto y = ToNumber(b);
  return x && y ? *x < *y : a < b;
}

std::vector<std::string> SortedLevels(const std::vector<Cells>& lines, std::size_t column) {
  std::set<std::string> found;
  for (std::size_t i = 1; i < lines.size(); ++i) found.insert(lines[i][column]);
  found.erase("");
  std::vector<std::string> levels(found.begin(), found.end());
  std::sort(levels.begin(), levels.end(), LevelBefore);
  return levels;
}

double CodeOf(const std::vector<std::string>& levels, const std::string& cell) {
  if (cell.empty()) return kMissingCategory;
  const auto place = std::find(levels.begin(), levels.end(), cell);
  return static_cast<double>(place - levels.begin());
}

ReferenceTable ReadTable(const std::filesystem::path& path, const ReferenceModel& model) {
  std::vector<std::string> coded = model.Factors();
  std::vector<std::string> numbers = model.Covariates();
  (model.IsLogistic() ? coded : numbers).push_back(model.dependent);
  for (const std::string& weight : {model.freqWeight, model.regrWeight}) {
    if (!weight.empty()) numbers.push_back(weight);
  }

  const std::vector<Cells> lines = ReadLines(path);
  ReferenceTable table;
  table.columns = lines.front();
  table.records.assign(lines.size() - 1, QvCommon::Record(static_cast<int>(table.columns.size())));
  const auto fill = [&](const std::string& name, const auto& valueOf) {
    const int column = table.IndexOf(name);
    for (std::size_t i = 1; i < lines.size(); ++i) {
      table.records[i - 1][column] = valueOf(lines[i][static_cast<std::size_t>(column)]);
    }
  };
  for (const std::string& name : coded) {
    const auto levels = SortedLevels(lines, static_cast<std::size_t>(table.IndexOf(name)));
    fill(name, [&](const std::string& cell) { return CodeOf(levels, cell); });
    table.levels[name] = levels;
  }
  for (const std::string& name : numbers) fill(name, NumberOf);
  return table;
}

}  // namespace

std::vector<std::string> ReferenceModel::Factors() const {
  std::vector<std::string> names;
  for (const ReferenceTerm& term : terms) {
    for (const std::string& factor : term.factors) AppendOnce(names, factor);
  }
  return names;
}

std::vector<std::string> ReferenceModel::Covariates() const {
  std::vector<std::string> names;
  for (const ReferenceTerm& term : terms) {
    for (const CovariatePower& covariate : term.covariates) AppendOnce(names, covariate.column);
  }
  return names;
}

int ReferenceTable::IndexOf(const std::string& column) const {
  const auto place = std::find(columns.begin(), columns.end(), column);
  if (place == columns.end()) throw std::runtime_error("no column " + column);
  return static_cast<int>(place - columns.begin());
}

const std::vector<std::string>& ReferenceCase::DependentLevels() const {
  return table.levels.at(model.dependent);
}

ReferenceCase LoadReferenceCase(const std::string& name) {
  std::ifstream file = Open(PathOf(name + ".json"));
  const Json json = Json::parse(file);
  ReferenceCase loaded;
  loaded.name = name;
  loaded.model = ReadModel(json);
  loaded.table = ReadTable(PathOf(json.at("data").get<std::string>()), loaded.model);
  if (json.contains("outcome")) {
    json.at("outcome").get_to(loaded.outcome);
  } else {
    loaded.expected = ReadValues(json, loaded.model.IsLogistic());
  }
  return loaded;
}

std::vector<std::string> ReferenceNames(const std::string& folder) {
  std::vector<std::string> names;
  for (const auto& file : std::filesystem::directory_iterator(PathOf(folder))) {
    if (file.path().extension() != ".json") continue;
    names.push_back(folder + "/" + file.path().stem().string());
  }
  if (names.empty()) throw std::runtime_error("no reference case in " + folder);
  std::sort(names.begin(), names.end());
  return names;
}

std::string NameInFolder(const std::string& name) { return name.substr(name.rfind('/') + 1); }

double DigitsOf(double got, double expected, double scale) {
  if (!std::isfinite(got)) return 0.0;
  const double error = std::fabs(got - expected) / (expected == 0.0 ? scale : std::fabs(expected));
  return error == 0.0 ? kAllDigits : std::min(kAllDigits, -std::log10(error));
}

}  // namespace qvtest
