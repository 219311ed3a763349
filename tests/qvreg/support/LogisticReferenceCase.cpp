#include "tests/qvreg/support/LogisticReferenceCase.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <stdexcept>

#include "tests/qvreg/support/LogisticReferenceTable.h"

namespace qvtest {
namespace {

using nlohmann::json;

constexpr const char* kFits = "fits";
constexpr const char* kNoFits = "separation";
constexpr const char* kExtremes = "extremes";

std::filesystem::path Folder() { return std::filesystem::path(QVREG_TEST_DATA) / "logistic"; }

json ReadJson(const char* folder, const std::string& name) {
  const std::filesystem::path path = Folder() / folder / (name + ".json");
  std::ifstream file(path);
  if (!file) throw std::runtime_error("cannot read " + path.string());
  return json::parse(file);
}

/// The value after an option such as `--freq-weight`; empty without it.
std::string OptionValue(const json& options, const std::string& name) {
  for (std::size_t i = 0; i + 1 < options.size(); i += 2) {
    if (options[i] == name) return options[i + 1].get<std::string>();
  }
  return {};
}

ReferenceTerm ReadTerm(const json& value) {
  ReferenceTerm term;
  value.at("factors").get_to(term.factors);
  for (const auto& [column, power] : value.at("covariates").get<std::map<std::string, int>>()) {
    term.covariates.push_back({column, power});
  }
  return term;
}

LogisticReferenceTask ReadTask(const std::string& name, const json& value) {
  LogisticReferenceTask task;
  task.model.name = name;
  value.at("dependent").get_to(task.model.dependent);
  value.at("intercept").get_to(task.model.intercept);
  for (const json& term : value.at("terms")) task.model.terms.push_back(ReadTerm(term));
  const json& options = value.at("options");
  task.freqWeight = OptionValue(options, "--freq-weight");
  task.regrWeight = OptionValue(options, "--regression-weight");
  task.reference = OptionValue(options, "--reference");

  std::vector<std::string> categories = task.model.Factors();
  categories.push_back(task.model.dependent);
  std::vector<std::string> numbers = task.model.Covariates();
  for (const std::string& weight : {task.freqWeight, task.regrWeight}) {
    if (!weight.empty()) numbers.push_back(weight);
  }
  const auto path = Folder() / value.at("data").get<std::string>();
  task.table = ReadLogisticReferenceTable(path.string(), categories, numbers);
  return task;
}

LogisticReferenceLabel ReadLabel(const json& value) {
  LogisticReferenceLabel label;
  value.at("term").get_to(label.column.term);
  value.at("levels").get_to(label.column.levels);
  value.at("category").get_to(label.category);
  return label;
}

LogisticReferenceValues ReadValues(const json& value) {
  LogisticReferenceValues values;
  value.at("categories").get_to(values.categories);
  for (const json& label : value.at("labels")) values.labels.push_back(ReadLabel(label));
  value.at("estimates").get_to(values.estimates);
  values.redundant = value.at("redundant").get<std::vector<bool>>();
  value.at("standard_errors").get_to(values.standardErrors);
  value.at("loglik_initial").get_to(values.loglikInitial);
  value.at("loglik").get_to(values.loglik);
  value.at("cox_snell").get_to(values.coxSnell);
  value.at("nagelkerke").get_to(values.nagelkerke);
  value.at("mcfadden").get_to(values.mcFadden);
  value.at("classification").get_to(values.classification);
  value.at("n").get_to(values.recordsUsed);
  return values;
}

std::vector<std::string> NamesIn(const char* folder) {
  std::vector<std::string> names;
  for (const auto& file : std::filesystem::directory_iterator(Folder() / folder)) {
    if (file.path().extension() == ".json") names.push_back(file.path().stem().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

}  // namespace

const std::vector<std::string>& LogisticReferenceTask::DependentLevels() const {
  return table.levels.at(model.dependent);
}

LogisticReferenceCase LoadLogisticReferenceCase(const std::string& name) {
  const json value = ReadJson(kFits, name);
  return {ReadTask(name, value), ReadValues(value)};
}

LogisticReferenceNoFit LoadLogisticReferenceNoFit(const std::string& name) {
  const json value = ReadJson(kNoFits, name);
  return {ReadTask(name, value), value.at("outcome").get<int>()};
}

LogisticReferenceExtreme LoadLogisticReferenceExtreme(const std::string& name) {
  const json value = ReadJson(kExtremes, name);
  LogisticReferenceExtreme extreme{ReadTask(name, value), std::nullopt, 0};
  if (value.contains("outcome")) {
    value.at("outcome").get_to(extreme.outcome);
  } else {
    extreme.expected = ReadValues(value);
  }
  return extreme;
}

std::vector<std::string> LogisticReferenceNames() { return NamesIn(kFits); }

std::vector<std::string> LogisticReferenceNoFitNames() { return NamesIn(kNoFits); }

std::vector<std::string> LogisticReferenceExtremeNames() { return NamesIn(kExtremes); }

}  // namespace qvtest
