#include "host/model/ModelOutline.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/model/XmlElement.h"
#include "qvreg/common/QvNumberText.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/settings/QvRegrParameter.h"

namespace qvhost {
namespace {

[[noreturn]] void RefuseVariables(const std::string& why) {
  throw Error(ExitCode::kBadInput,
              fmt::format("The model's variables are not those that it was fitted with: {}. Fit "
                          "the model again, and save it.",
                          why));
}

/// Puts the parts together.
class Outliner {
 public:
  Outliner(const std::vector<SavedVariable>& variables, const QvRegSettings& settings)
      : variables_(variables), settings_(settings) {}

  ModelOutline Outline(const IQvRegOutputStats& output) {
    const SavedVariable& target = At(settings_.GetDependent());
    outline_.target = target.field;
    if (dynamic_cast<const QvLogOutputStats*>(&output) != nullptr) {
      outline_.targetLevels = target.levels;
    }
    AddParameters(output);
    for (const int factor : settings_.GetFactors()) {
      if (IsVariable(factor)) AddPredictor(factor, outline_.factors);
    }
    for (const int covariate : settings_.GetCovariates()) {
      AddPredictor(covariate, outline_.covariates);
    }
    return std::move(outline_);
  }

 private:
  [[nodiscard]] bool IsVariable(int position) const {
    return std::ranges::find(variables_, position, &SavedVariable::position) != variables_.end();
  }

  [[nodiscard]] const SavedVariable& At(int position) const {
    const auto found = std::ranges::find(variables_, position, &SavedVariable::position);
    if (found == variables_.end()) {
      RefuseVariables(fmt::format("none stands at position {} of a record", position));
    }
    return *found;
  }

  void AddPredictor(int position, std::vector<std::string>& list) {
    list.push_back(At(position).field);
  }

  void AddParameters(const IQvRegOutputStats& output) {
    const std::vector<QvRegrParameter>& all = output.GetParameters();
    for (std::size_t k = 0; k < all.size(); ++k) {
      // Those of further categories are the same again.
      if (all[k].GetTargetCategory() != all.front().GetTargetCategory()) break;
      outline_.parameters.push_back(ParameterName(k));
      AddCells(all[k]);
    }
  }

  void AddCells(const QvRegrParameter& parameter) {
    const std::string& name = outline_.parameters.back();
    for (std::size_t i = 0; i < parameter.GetFactors().size(); ++i) {
      const SavedVariable& factor = At(parameter.GetFactors()[i]);
      const auto code = static_cast<std::size_t>(parameter.GetCategories()[i]);
      if (code >= factor.levels.size()) {
        RefuseVariables(fmt::format("'{}' has no level {}", factor.label, code));
      }
      outline_.cells.push_back({factor.levels[code], factor.field, name});
    }
    for (std::size_t i = 0; i < parameter.GetCovariates().size(); ++i) {
      outline_.cells.push_back({std::to_string(parameter.GetCovariateMultiplicities()[i]),
                                At(parameter.GetCovariates()[i]).field, name});
    }
  }

  const std::vector<SavedVariable>& variables_;
  const QvRegSettings& settings_;
  ModelOutline outline_;
};

void AddPredictors(pugi::xml_node model, const char* list, const std::vector<std::string>& fields) {
  const pugi::xml_node added = AppendElement(model, list);
  for (const std::string& field : fields)
    SetAttribute(AppendElement(added, "Predictor"), "name", field);
}

/// What parameters are called where the report of the fit says so.
void AddParameters(pugi::xml_node model, const ModelOutline& outline, const FitResult& fit) {
  const pugi::xml_node list = AppendElement(model, "ParameterList");
  for (std::size_t k = 0; k < outline.parameters.size(); ++k) {
    const pugi::xml_node parameter = AppendElement(list, "Parameter");
    SetAttribute(parameter, "name", outline.parameters[k]);
    if (k < fit.parameters.size()) SetAttribute(parameter, "label", fit.parameters[k].label);
  }
}

/// The elements that say what the parameters are, up to PPMatrix.
void AddParts(pugi::xml_node model, const ModelOutline& outline, const FitResult& fit) {
  AppendElement(model, "MiningSchema");
  AddParameters(model, outline, fit);
  AddPredictors(model, "FactorList", outline.factors);
  AddPredictors(model, "CovariateList", outline.covariates);
  const pugi::xml_node matrix = AppendElement(model, "PPMatrix");
  for (const PredictorCell& cell : outline.cells) {
    const pugi::xml_node added = AppendElement(matrix, "PPCell");
    SetAttribute(added, "value", cell.value);
    SetAttribute(added, "predictorName", cell.predictor);
    SetAttribute(added, "parameterName", cell.parameter);
  }
}

void AddAttributes(pugi::xml_node model, const ModelOutline& outline) {
  const bool isLinear = outline.reference.empty() && outline.targetLevels.empty();
  SetAttribute(model, "functionName", isLinear ? "regression" : "classification");
  SetAttribute(model, "modelType", isLinear ? "generalLinear" : "multinomialLogistic");
  SetAttribute(model, "targetVariableName", outline.target);
  if (!isLinear) SetAttribute(model, "targetReferenceCategory", outline.reference);
  if (outline.degreesOfFreedom) {
    SetAttribute(model, "modelDF", QvCommon::NumberText(*outline.degreesOfFreedom));
  }
}

}  // namespace

std::string ParameterName(std::size_t parameter) { return "p" + std::to_string(parameter); }

ModelOutline OutlineOf(const std::vector<SavedVariable>& variables, const RestoredModel& model) {
  ModelOutline outline = Outliner(variables, model.Settings()).Outline(model.Output());
  const CoefficientCovariance coefficients = model.Coefficients();
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&model.Output())) {
    outline.reference = TargetLevel(outline, logistic->GetDependCategories().back());
  } else if (coefficients.HasMatrix()) {
    outline.degreesOfFreedom = coefficients.DegreesOfFreedom();
  }
  for (const QvRegrParameter& parameter : model.Output().GetParameters()) {
    const std::size_t k = outline.rows.size() % outline.parameters.size();
    EstimateRow& row = outline.rows.emplace_back();
    row.parameter = outline.parameters[k];
    const int category = parameter.GetTargetCategory();
    if (category >= 0) row.category = TargetLevel(outline, category);
  }
  return outline;
}

void WriteOutline(pugi::xml_node model, const ModelOutline& outline, const FitResult& fit) {
  AddAttributes(model, outline);
  AddParts(model, outline, fit);
}

const std::string& TargetLevel(const ModelOutline& outline, int code) {
  const auto place = static_cast<std::size_t>(code);
  if (place >= outline.targetLevels.size()) {
    RefuseVariables(fmt::format("'{}' has no level {}", outline.target, code));
  }
  return outline.targetLevels[place];
}

}  // namespace qvhost
