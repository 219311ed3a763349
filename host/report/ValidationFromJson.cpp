#include "host/report/ValidationFromJson.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <utility>

namespace qvhost {

namespace {

/// The numbers that the kind of model has.
ValidationScore Numbers(const JsonReader& json, ModelKind kind) {
  ValidationScore score;
  if (kind == ModelKind::kLinear) {
    score.rSquare = json.Find<double>("r_square");
    score.rmse = json.Find<double>("rmse");
    score.meanAbsoluteError = json.Find<double>("mean_absolute_error");
    return score;
  }
  score.logLoss = json.Find<double>("log_loss");
  score.brier = json.Find<double>("brier");
  score.accuracy = json.Find<double>("accuracy");
  score.auc = json.Find<double>("auc");
  score.aucWeighted = json.Find<double>("auc_weighted");
  return score;
}

ValidationScore Score(const JsonReader& json, const JsonReader& records, ModelKind kind) {
  ValidationScore score = Numbers(json, kind);
  score.records = records.Get<long long>("scored");
  score.weight = json.Get<double>("weight");
  return score;
}

ValidationOptions Options(const JsonReader& json) {
  ValidationOptions options;
  options.kind = json.OneOf("kind", ValidationName, ValidationKind::kFolds);
  json.At("kind").Require(options.kind != ValidationKind::kNone);
  options.column = json.FindText("column");
  options.share = json.Find<double>("share").value_or(options.share);
  options.seed = json.Find<std::uint64_t>("seed").value_or(options.seed);
  return options;
}

HeldOutUse Use(const JsonReader& json) {
  HeldOutUse use;
  use.heldOut = json.Get<long long>("held_out");
  use.missing = json.Get<long long>("missing");
  use.badWeight = json.Get<long long>("bad_weight");
  use.unscorable = json.Get<long long>("unscorable");
  use.unseenColumns = json.List("unseen_levels", [](const JsonReader& column) {
    return HeldOutUse::UnseenColumn{column.Get<std::string>("column"),
                                    column.Get<long long>("records"),
                                    column.Get<std::vector<std::string>>("levels")};
  });
  use.unseenCombinations = json.Get<long long>("unseen_combinations");
  use.unknownCategories = json.List("unknown_categories", [](const JsonReader& unknown) {
    return HeldOutUse::UnknownCategory{unknown.Get<std::string>("category"),
                                       unknown.Get<long long>("records")};
  });
  return use;
}

void ReadLogistic(const JsonReader& json, ValidationResult& validation) {
  validation.levels = json.List("levels", [](const JsonReader& level) {
    return ValidationLevel{level.Get<std::string>("level"), level.Get<double>("weight"),
                           level.Find<double>("auc")};
  });
  validation.classification =
      ReadClassification(json.At("classification"), validation.levels.size());
  validation.calibration = ReadCalibration(json);
}

/// With their mean and standard deviation, which they have alone.
void ReadFolds(const JsonReader& json, ModelKind kind, ValidationResult& validation) {
  validation.folds = json.List("folds", [kind](const JsonReader& fold) {
    return FoldScore{fold.Get<long long>("training"), fold.Get<long long>("held_out"),
                     Score(fold, fold, kind)};
  });
  validation.options.folds = static_cast<int>(validation.folds.size());
  const auto read = [&](const char* key) -> std::optional<ValidationScore> {
    const JsonReader member = json.At(key);
    member.Require(member.IsNull() == validation.folds.empty());
    return member.IsNull() ? std::nullopt : std::optional(Numbers(member, kind));
  };
  validation.mean = read("mean");
  validation.standardDeviation = read("standard_deviation");
}

}  // namespace

std::vector<CalibrationGroup> ReadCalibration(const JsonReader& json) {
  return json.List("calibration", [](const JsonReader& group) {
    return CalibrationGroup{group.Get<std::string>("level"), group.Get<int>("group"),
                            group.Get<double>("weight"), group.Get<double>("mean_predicted"),
                            group.Get<double>("observed")};
  });
}

std::vector<std::vector<double>> ReadClassification(const JsonReader& json, std::size_t levels) {
  const JsonReader member = json.At("table");
  auto table = member.As<std::vector<std::vector<double>>>();
  const auto isWhole = [levels](const auto& row) { return row.size() == levels; };
  member.Require(table.size() == levels && std::ranges::all_of(table, isWhole));
  return table;
}

ValidationResult ReadValidation(const JsonReader& json, ModelKind kind) {
  const JsonReader records = json.At("records");
  ValidationResult validation;
  validation.options = Options(json);
  validation.training = records.Get<long long>("training");
  validation.use = Use(records);
  validation.score = Score(json, records, kind);
  if (kind == ModelKind::kLogistic) ReadLogistic(json, validation);
  ReadFolds(json, kind, validation);
  return validation;
}

}  // namespace qvhost
