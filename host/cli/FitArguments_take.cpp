// The values of the options of FitArguments, once the command line is read.

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/NameList.h"
#include "host/Text.h"
#include "host/cli/FitArguments.h"
#include "host/cli/SharedArguments.h"
#include "host/table/TableWriter.h"

namespace qvhost {

namespace {

void CheckCriterion(const char* name, double criterion) {
  if (criterion >= 0.0 && std::isfinite(criterion)) return;
  RefuseUsage(fmt::format("{} must be a number from 0 on, such as 1e-8; 0 switches it off.", name));
}

void CheckAtLeast(const char* name, int value, int least) {
  if (value >= least) return;
  RefuseUsage(fmt::format("{} must be a whole number from {} on.", name, least));
}

}  // namespace

void FitArguments::CheckRanges() const {
  CheckConfidence(options_.confidence);
  CheckAtLeast("--max-parameters", options_.maxParameters, 1);
  if (options_.tolerance && !(*options_.tolerance >= 0.0 && *options_.tolerance < 1.0)) {
    RefuseUsage("--tolerance must be at least 0 and below 1, such as 1e-12.");
  }
  if (degreesOfFreedomOption_->count() > 0 &&
      !(degreesOfFreedom_ > 0.0 && std::isfinite(degreesOfFreedom_))) {
    RefuseUsage("--df must be a number above 0.");
  }
}

void FitArguments::TakeOptionsOfOneKind() {
  const auto add = [this](const CLI::Option* option, ModelKind kind) {
    if (option->count() > 0) options_.ofOneKind.push_back({option->get_name(), kind});
  };
  for (const CLI::Option* option : logistic_) add(option, ModelKind::kLogistic);
  for (const CLI::Option* option : {degreesOfFreedomOption_, noRefineOption_}) {
    add(option, ModelKind::kLinear);
  }
}

void FitArguments::TakeLogistic() {
  if (inMemory_ || notInMemory_) options_.logistic.inMemory = inMemory_;
  options_.logistic.collapse = !noCollapse_;
  CheckAtLeast("--max-iterations", options_.logistic.maxIterations, 0);
  CheckAtLeast("--max-step-halving", options_.logistic.maxStepHalving, 1);
  CheckAtLeast("--separation-from", options_.logistic.separationFrom, 0);
  CheckCriterion("--parameter-criterion", options_.logistic.parameterCriterion);
  CheckCriterion("--ll-criterion", options_.logistic.logLikelihoodCriterion);
}

void FitArguments::TakeTests() {
  if (anovaOption_->count() == 0) return;
  constexpr int kUsualType = 2;
  if (anova_.empty()) {
    options_.anova = kUsualType;
    return;
  }
  if (anova_ != "1" && anova_ != "2" && anova_ != "3") {
    RefuseUsage(
        fmt::format("--anova must be 1, 2 or 3, the type of the tests of effects, not "
                    "'{}'; without a number it is 2.",
                    anova_));
  }
  options_.anova = anova_.front() - '0';
}

void FitArguments::TakeMargins() {
  if (marginsOption_->count() == 0) return;
  options_.margins.emplace();
  if (!margins_.empty()) options_.margins = ReadNameList("--margins", margins_);
}

void FitArguments::TakeKept() {
  if (keepOption_->count() == 0) return;
  if (options_.predictions.empty() && options_.diagnostics.empty()) {
    RefuseUsage("--keep needs --predictions or --diagnostics, which name the file to write.");
  }
  ReadKeep(keep_, options_.keep, options_.keepAll);
}

void FitArguments::Take() {
  data_.Take();
  CheckRanges();
  model_.Take();
  TakeLogistic();
  TakeOptionsOfOneKind();
  report_.Take();
  TakeTests();
  TakeMargins();
  // Fits that are compared are of the same records.
  options_.digest = report_.HasJson() || !options_.save.empty();
  options_.plots = report_.HasPage();
  options_.refine = !noRefine_;
  if (degreesOfFreedomOption_->count() > 0) options_.degreesOfFreedom = degreesOfFreedom_;
  CheckTables();
  TakeCovariance();
  TakeKept();
  TakeValidation();
}

void FitArguments::TakeSplit() {
  ValidationOptions& validation = options_.binding.validation;
  // A name in back-quotes may hold the sign.
  const std::size_t quoted = split_.starts_with('`') ? split_.rfind('`') : 0;
  const std::size_t sign = split_.find('=', quoted);
  validation.kind = ValidationKind::kSplit;
  validation.column = ReadColumn("--split", split_.substr(0, sign));
  if (sign == std::string::npos) return;
  if (validation.column.empty() || sign + 1 == split_.size()) {
    RefuseUsage(
        fmt::format("--split takes a column, or a column and the level to fit, such as "
                    "part=train, not '{}'.",
                    split_));
  }
  validation.level = split_.substr(sign + 1);
}

void FitArguments::TakeValidation() {
  ValidationOptions& validation = options_.binding.validation;
  if (splitOption_->count() > 0) TakeSplit();
  if (holdoutOption_->count() > 0) {
    constexpr double kWhole = 100.0;
    if (validation.share > 1.0 && validation.share < kWhole) {
      RefuseUsage(
          fmt::format("--holdout must be above 0 and below 1; for {0:g} percent write {1:g}.",
                      validation.share, validation.share / kWhole));
    }
    if (!(validation.share > 0.0 && validation.share < 1.0)) {
      RefuseUsage("--holdout must be above 0 and below 1, such as 0.2.");
    }
    validation.kind = ValidationKind::kHoldout;
  }
  if (foldsOption_->count() > 0) {
    CheckAtLeast("--folds", validation.folds, 2);
    validation.kind = ValidationKind::kFolds;
  }
  if (seedOption_->count() == 0) return;
  if (seed_ < 0) RefuseUsage("--seed must be a whole number from 0 on.");
  if (holdoutOption_->count() == 0 && foldsOption_->count() == 0) {
    RefuseUsage(
        "--seed draws the lots of --holdout and --folds; give one of them, or leave it out.");
  }
  validation.seed = static_cast<std::uint64_t>(seed_);
}

void FitArguments::CheckTables() const {
  // The ending is wrong usage, whatever becomes of the run.
  for (const std::string& file :
       {options_.predictions, options_.covarianceFile, options_.diagnostics}) {
    if (!file.empty()) static_cast<void>(TableFormatOf(file));
  }
  const std::string ending = Lower(std::filesystem::path(options_.save).extension().string());
  if (options_.save.empty() || ending == ".pmml" || ending == ".xml") return;
  RefuseUsage(fmt::format("--save writes the model as PMML; '{}' must end in .pmml or .xml.",
                          options_.save));
}

void FitArguments::TakeCovariance() {
  constexpr std::string_view kCluster = "cluster:";
  if (covariance_.empty()) return;
  if (covariance_.starts_with(kCluster) && covariance_.size() > kCluster.size()) {
    options_.covariance = CovarianceKind::kCluster;
    options_.binding.cluster = ReadColumn("--vcov", covariance_.substr(kCluster.size()));
    return;
  }
  for (const CovarianceKind kind :
       {CovarianceKind::kHc0, CovarianceKind::kHc1, CovarianceKind::kHc2, CovarianceKind::kHc3}) {
    if (covariance_ != CovarianceName(kind)) continue;
    options_.covariance = kind;
    return;
  }
  RefuseUsage(
      fmt::format("--vcov takes hc0, hc1, hc2, hc3 or cluster:COLUMN, not '{}'.", covariance_));
}

}  // namespace qvhost
