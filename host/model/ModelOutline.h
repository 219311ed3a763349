#pragma once

#include <cstddef>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/SavedModel.h"
#include "host/model/RestoredModel.h"

namespace qvhost {

/// A predictor of a parameter: of a factor the level that selects it, of a covariate its power.
struct PredictorCell {
  std::string value;
  std::string predictor;
  std::string parameter;
};

/// A row of PCovMatrix and ParamMatrix: a parameter, of a logistic model once for each category
/// that is not the reference.
struct EstimateRow {
  std::string parameter;
  std::optional<std::string> category;
};

/// The parts of a model that other engines know it by: parameters and what these are made of. A
/// plain value.
struct ModelOutline {
  std::string target;
  std::vector<std::string> targetLevels;   ///< By code; empty in a linear model.
  std::string reference;                   ///< Of them, the reference.
  std::optional<double> degreesOfFreedom;  ///< Of the residuals of a linear model, if any.
  std::vector<std::string> parameters;     ///< Names; of a logistic model the basic ones.
  std::vector<std::string> factors;        ///< Fields.
  std::vector<std::string> covariates;
  std::vector<PredictorCell> cells;
  std::vector<EstimateRow> rows;
};

/// The name of a parameter in PMML.
[[nodiscard]] std::string ParameterName(std::size_t parameter);

/// That of a component and its variables. Throws Error (kBadInput) for variables that are not the
/// component's.
[[nodiscard]] ModelOutline OutlineOf(const std::vector<SavedVariable>& variables,
                                     const RestoredModel& model);

/// Writes it: the attributes of a model's element, and its parts up to PPMatrix. Parameters are
/// labelled as those of `fit`, if it has any.
void WriteOutline(pugi::xml_node model, const ModelOutline& outline, const FitResult& fit);

/// The text of a target's code; throws as above.
[[nodiscard]] const std::string& TargetLevel(const ModelOutline& outline, int code);

}  // namespace qvhost
