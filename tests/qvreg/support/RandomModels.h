#pragma once

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "qvreg/common/Constants.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {

/// Positions of the records that RandomRecords makes.
enum RandomVariable { kY = 0, kCategory = 1, kF = 2, kG = 3, kX = 4, kZ = 5, kFreq = 6, kRegr = 7 };

/// Records of a number, a category of 3, factors of 4 and 3 levels, two covariates (the second
/// away from zero) and two weights; a few have a missing value or a weight that is not positive.
[[nodiscard]] inline std::vector<QvCommon::Record> RandomRecords(int count, unsigned seed = 1) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  const auto pick = [&](int n) { return static_cast<int>(random() % static_cast<unsigned>(n)); };
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < count; ++i) {
    const int f = pick(4);
    const int g = f == 3 ? pick(2) : pick(3);  // one combination is empty
    const double x = normal(random);
    const double z = 10.0 + normal(random);
    const double signal = 0.3 * f - 0.2 * g + 0.5 * x;
    const int category = signal + normal(random) > 1.0 ? 0 : 1 + pick(2);
    rows.push_back({signal + normal(random), 1.0 * category, 1.0 * f, 1.0 * g, x, z, 1.0 + pick(3),
                    0.5 + 0.25 * pick(4)});
    if (pick(40) == 0) rows.back()[kX] = QvMV::gMissingValue;
    if (pick(40) == 0) rows.back()[kG] = -1.0;
    if (pick(40) == 0) rows.back()[kFreq] = 0.0;
  }
  return MakeRecords(rows);
}

/// Others to score: among them combinations that RandomRecords lack, and a record that is too
/// short.
[[nodiscard]] inline std::vector<QvCommon::Record> FreshRecords() {
  std::vector<QvCommon::Record> fresh = RandomRecords(200, 5);
  fresh[3][kF] = 3.0;
  fresh[3][kG] = 2.0;
  fresh[7][kX] = 1e300;
  fresh.emplace_back(2);
  return fresh;
}

/// A linear model of all variables: crossed factors, of which one is redundant, a nested one, a
/// product of covariates, both weights, refined.
[[nodiscard]] inline std::unique_ptr<LinearSettings> RandomLinear() {
  auto model = std::make_unique<LinearSettings>(kY, std::vector<FactorRole>{{kF, 4}, {kG, 3}},
                                                std::vector<int>{kX, kZ});
  model->Effect({kF}).Effect({kF, kG}).Effect({}, {kX, kX}).Effect({}, {kX, kZ}).Effect({kG}, {kX});
  model->FrequencyWeight(kFreq).RegressionWeight(kRegr).Refined();
  return model;
}

/// A logistic model of them.
[[nodiscard]] inline std::unique_ptr<LogisticSettings> RandomLogistic() {
  auto model = std::make_unique<LogisticSettings>(
      kCategory, 3, std::vector<FactorRole>{{kF, 4}, {kG, 3}}, std::vector<int>{kX, kZ});
  model->Effect({kF}).Effect({kG}).Effect({}, {kX}).Effect({kF}, {kX}).Effect({}, {kZ});
  model->FrequencyWeight(kFreq).RegressionWeight(kRegr);
  return model;
}

/// The kinds of model that every promise of passes is tried on.
enum class ModelKind { kLinear, kLogistic, kInMemory };

[[nodiscard]] inline std::string ModelKindName(ModelKind kind) {
  if (kind == ModelKind::kLinear) return "Linear";
  return kind == ModelKind::kLogistic ? "Logistic" : "InMemory";
}

/// Settings of such a model of RandomRecords, and what they borrow.
class RandomModel {
 public:
  explicit RandomModel(ModelKind kind) {
    if (kind == ModelKind::kLinear) {
      linear_ = RandomLinear();
    } else {
      logistic_ = RandomLogistic();
      logistic_->InMemory(kind == ModelKind::kInMemory);
    }
  }
  [[nodiscard]] QvRegSettings& Get() {
    return linear_ != nullptr ? linear_->Get() : logistic_->Get();
  }

 private:
  std::unique_ptr<LinearSettings> linear_;
  std::unique_ptr<LogisticSettings> logistic_;
};

/// Every number of a fit, to compare: estimates, their covariance, fit statistics, counts, and of a
/// logistic model the classification.
[[nodiscard]] inline std::vector<double> NumbersOf(const IQvRegOutputStats& stats) {
  std::vector<double> numbers = stats.GetParamEstimates();
  const auto p = static_cast<int>(numbers.size());
  for (int i = 0; i < p; ++i) {
    for (int j = 0; j <= i; ++j) numbers.push_back(stats.GetCovarianceMatrix()->GetElem(i, j));
  }
  for (int stat = QvConst::QvFitRootMeanSquareError; stat <= QvConst::QvFitMcFaddenRSquare;
       ++stat) {
    numbers.push_back(stats.GetModelFitStat(static_cast<QvConst::QvModelFitStat>(stat)));
  }
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&stats); logistic != nullptr) {
    const QvCommon::QvRectMatrix& table = *logistic->GetClassificationTable();
    numbers.push_back(logistic->GetFinalLL());
    for (int i = 0; i < table.GetNRows(); ++i) {
      for (int j = 0; j < table.GetNColumns(); ++j) numbers.push_back(table.GetElem(i, j));
    }
  }
  return numbers;
}

}  // namespace qvtest
