// What travels in a pass: the bytes of its request and of its answer as functions of the model, by
// which hosts plan (docs/scale.md).

#include <cstddef>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/IQvPassRunner.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/parallel/QvPassWorker.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using Bytes = std::vector<unsigned char>;
using Records = std::vector<QvCommon::Record>;

struct PassBytes {
  QvPassKind kind;
  std::size_t request;
  std::size_t answer;
};

/// The passes of a fit.
class PassesOfAFit {
 public:
  explicit PassesOfAFit(std::vector<PassBytes> passes) : passes_(std::move(passes)) {}

  /// The first pass of the kind.
  [[nodiscard]] PassBytes Of(QvPassKind kind) const {
    for (const PassBytes& pass : passes_) {
      if (pass.kind == kind) return pass;
    }
    ADD_FAILURE() << "no pass of kind " << static_cast<int>(kind);
    return {};
  }

 private:
  std::vector<PassBytes> passes_;
};

/// Has one worker answer, and notes how much.
class NotingRunner : public IQvPassRunner {
 public:
  explicit NotingRunner(const Records& records) : records_(records) {}

  QvCommon::QvStatus Run(const Bytes& request, QvCancelInfo& /*cancel*/, Bytes& answer) override {
    constexpr std::size_t kHeadSize = 24;
    const QvCommon::QvStatus status = worker_.Run(request, 0, records_, answer);
    passes_.push_back(
        {static_cast<QvPassKind>(request.at(kHeadSize)), request.size(), answer.size()});
    return status;
  }

  [[nodiscard]] const std::vector<PassBytes>& Passes() const { return passes_; }

 private:
  qvtest::VectorRecordIter records_;
  QvPassWorker worker_;
  std::vector<PassBytes> passes_;
};

std::vector<int> UpTo(int count) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i) numbers.push_back(i);
  return numbers;
}

/// Covariates that depend on each other neither among themselves nor on the last value, which is
/// a number, or one of so many classes.
Records MadeUp(int covariates, int classes) {
  Records records;
  unsigned state = 1;
  const auto next = [&] {
    return static_cast<double>((state = state * 1664525U + 1013904223U) >> 8);
  };
  for (int i = 0; i < 60; ++i) {
    QvCommon::Record record(covariates + 1);
    for (int k = 0; k <= covariates; ++k) record[k] = next() / 0x1p24;
    if (classes > 0) record[covariates] = i % classes;
    records.push_back(record);
  }
  return records;
}

PassesOfAFit RunLinear(int covariates, bool refine) {
  const Records records = MadeUp(covariates, 0);
  qvtest::LinearSettings settings(covariates, {}, UpTo(covariates));
  for (const int variable : UpTo(covariates)) settings.Effect({}, {variable});
  if (refine) settings.Refined();
  NotingRunner runner(records);
  settings.Get().SetPassRunner(&runner);
  const qvtest::FittedModel model(settings.Get(), records);
  return PassesOfAFit(runner.Passes());
}

PassesOfAFit RunLogistic(int covariates, int classes) {
  const Records records = MadeUp(covariates, classes);
  qvtest::LogisticSettings settings(covariates, classes, {}, UpTo(covariates));
  for (const int variable : UpTo(covariates)) settings.Effect({}, {variable});
  NotingRunner runner(records);
  settings.Get().SetPassRunner(&runner);
  const qvtest::FittedModel model(settings.Get(), records);
  return PassesOfAFit(runner.Passes());
}

std::size_t Triangle(std::size_t order) { return order * (order + 1) / 2; }

TEST(PassBytes, LinearAnswersHoldPackedTrianglesTwice) {
  for (const int covariates : {1, 5, 12}) {
    const auto q = static_cast<std::size_t>(covariates);
    const std::size_t p = q + 1;  // With the intercept.
    for (const bool refine : {false, true}) {
      const PassesOfAFit fit = RunLinear(covariates, refine);
      EXPECT_EQ(fit.Of(QvPassKind::kTables).answer, 257 + 16 * q);
      EXPECT_EQ(fit.Of(QvPassKind::kProducts).answer, 157 + 16 * Triangle(p + 1));
      EXPECT_EQ(fit.Of(QvPassKind::kResiduals).answer, 228 + (refine ? 16 * p : 0));
    }
  }
}

TEST(PassBytes, LogisticAnswersHoldABlockForEveryPairOfEquations) {
  for (const int covariates : {1, 6}) {
    for (const int classes : {2, 3, 5}) {
      const PassesOfAFit fit = RunLogistic(covariates, classes);
      const auto q = static_cast<std::size_t>(covariates);
      const auto k = static_cast<std::size_t>(classes);
      const std::size_t p = q + 1;
      const std::size_t blocks = Triangle(k - 1);
      EXPECT_EQ(fit.Of(QvPassKind::kTables).answer, 257 + 16 * q + 40 * k);
      EXPECT_EQ(fit.Of(QvPassKind::kProducts).answer, 157 + 16 * Triangle(p));
      EXPECT_EQ(fit.Of(QvPassKind::kDerivatives).answer,
                211 + 8 * k + 8 * p * (k - 1) + blocks * (16 + 8 * Triangle(p)));
      EXPECT_EQ(fit.Of(QvPassKind::kClassification).answer, 146 + 8 * k * k);
    }
  }
}

/// What the request of a pass of a linear model grows by with each covariate.
std::size_t LinearGrowth(QvPassKind kind) {
  const std::size_t few = RunLinear(2, true).Of(kind).request;
  const std::size_t many = RunLinear(12, true).Of(kind).request;
  EXPECT_EQ((many - few) % 10, 0U);
  return (many - few) / 10;
}

/// The same of a logistic model.
std::size_t LogisticGrowth(QvPassKind kind, int classes) {
  const std::size_t few = RunLogistic(2, classes).Of(kind).request;
  const std::size_t many = RunLogistic(5, classes).Of(kind).request;
  EXPECT_EQ((many - few) % 3, 0U);
  return (many - few) / 3;
}

TEST(PassBytes, RequestsGrowWithTheColumnsAndNotWithTheirSquare) {
  EXPECT_EQ(LinearGrowth(QvPassKind::kTables), 37U);
  EXPECT_EQ(LinearGrowth(QvPassKind::kProducts), 53U);
  EXPECT_EQ(LinearGrowth(QvPassKind::kResiduals), 61U);
  for (const int classes : {2, 4}) {
    const auto equations = static_cast<std::size_t>(classes) - 1;
    EXPECT_EQ(LogisticGrowth(QvPassKind::kTables, classes), 37U);
    EXPECT_EQ(LogisticGrowth(QvPassKind::kProducts, classes), 53U);
    EXPECT_EQ(LogisticGrowth(QvPassKind::kDerivatives, classes), 54 + 16 * equations);
    EXPECT_EQ(LogisticGrowth(QvPassKind::kClassification, classes), 54 + 8 * equations);
  }
}

}  // namespace
