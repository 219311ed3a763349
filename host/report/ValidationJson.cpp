#include "host/report/ValidationJson.h"

#include <cstddef>
#include <optional>

namespace qvhost {

namespace {

using Json = nlohmann::ordered_json;

Json Number(const std::optional<double>& value) { return value ? Json(*value) : Json(nullptr); }

/// The numbers that the kind of model has.
void AddNumbers(const ValidationScore& score, ModelKind kind, Json& json) {
  if (kind == ModelKind::kLinear) {
    json["r_square"] = Number(score.rSquare);
    json["rmse"] = Number(score.rmse);
    json["mean_absolute_error"] = Number(score.meanAbsoluteError);
    return;
  }
  json["log_loss"] = Number(score.logLoss);
  json["brier"] = Number(score.brier);
  json["accuracy"] = Number(score.accuracy);
  json["auc"] = Number(score.auc);
  json["auc_weighted"] = Number(score.aucWeighted);
}

Json RecordsJson(const ValidationResult& validation) {
  const HeldOutUse& use = validation.use;
  Json columns = Json::array();
  for (const HeldOutUse::UnseenColumn& column : use.unseenColumns) {
    columns.push_back(
        {{"column", column.column}, {"records", column.records}, {"levels", column.levels}});
  }
  Json categories = Json::array();
  for (const HeldOutUse::UnknownCategory& unknown : use.unknownCategories) {
    categories.push_back({{"category", unknown.category}, {"records", unknown.records}});
  }
  return {{"training", validation.training},
          {"held_out", use.heldOut},
          {"scored", validation.score.records},
          {"missing", use.missing},
          {"bad_weight", use.badWeight},
          {"unscorable", use.unscorable},
          {"unseen_levels", std::move(columns)},
          {"unseen_combinations", use.unseenCombinations},
          {"unknown_categories", std::move(categories)}};
}

void AddLogistic(const ValidationResult& validation, Json& json) {
  Json levels = Json::array();
  Json names = Json::array();
  for (const ValidationLevel& level : validation.levels) {
    levels.push_back(
        {{"level", level.level}, {"weight", level.weight}, {"auc", Number(level.auc)}});
    names.push_back(level.level);
  }
  json["levels"] = std::move(levels);
  json["classification"] = {{"categories", std::move(names)}, {"table", validation.classification}};
  json["calibration"] = CalibrationJson(validation.calibration);
}

Json FoldsJson(const ValidationResult& validation, ModelKind kind) {
  Json folds = Json::array();
  for (std::size_t i = 0; i < validation.folds.size(); ++i) {
    const FoldScore& fold = validation.folds[i];
    Json json = {{"fold", i + 1},
                 {"training", fold.training},
                 {"held_out", fold.heldOut},
                 {"scored", fold.score.records},
                 {"weight", fold.score.weight}};
    AddNumbers(fold.score, kind, json);
    folds.push_back(std::move(json));
  }
  return folds;
}

Json Numbers(const std::optional<ValidationScore>& score, ModelKind kind) {
  if (!score) return {};
  Json json = Json::object();
  AddNumbers(*score, kind, json);
  return json;
}

}  // namespace

Json CalibrationJson(const std::vector<CalibrationGroup>& groups) {
  Json list = Json::array();
  for (const CalibrationGroup& group : groups) {
    list.push_back({{"level", group.level},
                    {"group", group.group},
                    {"weight", group.weight},
                    {"mean_predicted", group.meanPredicted},
                    {"observed", group.observed}});
  }
  return list;
}

Json ValidationJson(const FitResult& fit) {
  const ValidationResult& validation = *fit.validation;
  const ValidationOptions& options = validation.options;
  const bool isDrawn = options.kind != ValidationKind::kSplit;
  const bool isFolds = options.kind == ValidationKind::kFolds;
  Json json = {
      {"kind", ValidationName(options.kind)},
      {"column", isDrawn ? Json(nullptr) : Json(options.column)},
      {"share", options.kind == ValidationKind::kHoldout ? Json(options.share) : Json(nullptr)},
      {"seed", isDrawn ? Json(options.seed) : Json(nullptr)},
      {"reported_fit", isFolds ? "all" : "training"},
      {"records", RecordsJson(validation)},
      {"weight", validation.score.weight}};
  AddNumbers(validation.score, fit.kind, json);
  if (fit.kind == ModelKind::kLogistic) AddLogistic(validation, json);
  json["folds"] = FoldsJson(validation, fit.kind);
  json["mean"] = Numbers(validation.mean, fit.kind);
  json["standard_deviation"] = Numbers(validation.standardDeviation, fit.kind);
  return json;
}

}  // namespace qvhost
