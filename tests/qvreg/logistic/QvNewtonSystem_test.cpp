// Newton's equations where the plain factorisation is at its end, and the measure of separation.
#include "qvreg/logistic/QvNewtonSystem.h"

#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/DenseMatrix.h"

namespace {

using QvCommon::QvSymMatrix;
using qvtest::SymMatrixOf;
using Doubles = std::vector<double>;
using Rows = std::vector<Doubles>;

constexpr double kTolerance = 1e-12;

/// What a pass accumulated.
struct Sums {
  Rows undecided;
  Rows decided;
  Doubles scores;
  Doubles decidedScores;
  double weight = 100.0;
};

/// Statistics of a pass with given sums.
class GivenStats final : public IQvAccumStats, public IQvDecidedStats {
 public:
  explicit GivenStats(Sums sums) : sums_(std::move(sums)) {}

  void Reset(QvConst::QvEstimationMethod, bool) override {}
  bool CheckConstraints() override { return true; }
  int UpdateForRow(const std::vector<int>&, const Doubles&, int, double, bool) override {
    return 0;
  }
  [[nodiscard]] double GetLL() const override { return 0.0; }
  [[nodiscard]] const Doubles& GetScores() const override { return sums_.scores; }
  void GetHessian(QvSymMatrix& out) const override {
    out = SymMatrixOf(sums_.undecided);
    out.AddMatrix(SymMatrixOf(sums_.decided), 1.0);
  }
  void GetCounts(int& validRows, int& invalidCalls, double& total) const override {
    validRows = 4;
    invalidCalls = 0;
    total = sums_.weight;
  }
  void GetMinMaxProbabilities(double&, double&, double&) const override {}
  [[nodiscard]] double GetStepAdjustmentFactor() const override { return 1.0; }
  void Display(bool) const override {}
  void GetUndecidedInformation(QvSymMatrix& out) const override {
    out = SymMatrixOf(sums_.undecided);
  }
  void GetDecidedInformation(QvSymMatrix& out) const override { out = SymMatrixOf(sums_.decided); }
  [[nodiscard]] const Doubles& GetDecidedScores() const override { return sums_.decidedScores; }

 private:
  Sums sums_;
};

struct StatsHolder {
  explicit StatsHolder(Sums sums) : stats(std::move(sums)) {}

  GivenStats stats;
};

/// The system of given sums.
class System : private StatsHolder, public QvNewtonSystem {
 public:
  System(Sums sums, int order, int nIntercepts)
      : StatsHolder(std::move(sums)), QvNewtonSystem(stats, order, nIntercepts) {}
};

/// The step of a system that can be factored; `matrix` receives the factor.
Doubles StepOf(QvNewtonSystem& system, QvSymMatrix& matrix) {
  EXPECT_EQ(system.Factor(kTolerance, matrix), 0);
  Doubles step;
  EXPECT_EQ(system.Solve(matrix, step), 0);
  return step;
}

/// An intercept and the indicator of a group of information 24; the base group has `base`, all of
/// it decided, and its score is `score`.
Sums RareBase(double base, double score) {
  Sums sums;
  sums.undecided = {{24}, {24, 24}};
  sums.decided = {{base}, {0, 0}};
  sums.scores = {score, 0};
  sums.decidedScores = {score, 0};
  return sums;
}

TEST(QvNewtonSystem, ASoundMatrixIsFactoredAsItIs) {
  Sums sums;
  sums.undecided = {{4}, {2, 10}};
  sums.decided = {{0}, {0, 0}};
  sums.scores = {6, 12};
  sums.decidedScores = {0, 0};
  System system(sums, 2, 1);
  QvSymMatrix matrix;
  EXPECT_EQ(system.Factor(kTolerance, matrix), 0);
  EXPECT_EQ(qvtest::LowerRows(matrix), (Rows{{2}, {1, 3}}));
  Doubles step;
  EXPECT_EQ(system.Solve(matrix, step), 0);
  EXPECT_EQ(step, (Doubles{1, 1}));
  system.Invert(matrix);
  EXPECT_DOUBLE_EQ(matrix.GetElem(0, 0), 10.0 / 36.0);
  EXPECT_DOUBLE_EQ(matrix.GetElem(1, 0), -2.0 / 36.0);
}

TEST(QvNewtonSystem, ARareBaseIsSeenBesideAnyOtherGroup) {
  // The base's logit moves by score / base, and the group's not at all, so that the indicator moves
  // back; below 1e-16 of the group's the base is not in the sum of both any more.
  for (const double base : {1e-9, 1e-12, 1e-15, 1e-20, 1e-100}) {
    SCOPED_TRACE(base);
    const Sums sums = RareBase(base, 1.5 * base);
    System system(sums, 2, 1);
    QvSymMatrix matrix;
    const Doubles step = StepOf(system, matrix);
    EXPECT_NEAR(step[0], 1.5, 1e-3);
    EXPECT_NEAR(step[1], -1.5, 1e-3);
    system.Invert(matrix);
    EXPECT_NEAR(matrix.GetElem(0, 0) * base, 1.0, 1e-3);
    EXPECT_NEAR(matrix.GetElem(1, 0) * base, -1.0, 1e-3);
    EXPECT_NEAR(matrix.GetElem(1, 1) * base, 1.0, 1e-3);
  }
}

TEST(QvNewtonSystem, TheScoresOfOthersDoNotMoveARareBase) {
  // They are 0 along its direction but for their rounding.
  Sums sums = RareBase(1e-15, 1.5e-15);
  sums.scores = {sums.scores[0] + 4e-9, 3e-9};
  System system(sums, 2, 1);
  QvSymMatrix matrix;
  const Doubles step = StepOf(system, matrix);
  EXPECT_NEAR(step[0], 1.5, 1e-3);
}

TEST(QvNewtonSystem, WhatDecidedPairsDoNotInformEitherIsSingular) {
  Sums sums = RareBase(1e-9, 1e-9);
  sums.decided = {{0}, {0, 0}};
  System system(sums, 2, 1);
  QvSymMatrix matrix;
  EXPECT_EQ(system.Factor(kTolerance, matrix), 2);
  Doubles step;
  EXPECT_EQ(system.Solve(matrix, step), 0);
  EXPECT_EQ(step[1], 0.0) << "left where it was";
}

TEST(QvNewtonSystem, WhatIsLeftOfLargerTermsOnlyIsSingular) {
  // Decided pairs tell the two columns apart by less than the rounding of what they have in common.
  Sums sums;
  sums.undecided = {{5}, {1, 9}, {1, 9, 9}};
  sums.decided = {{1e-8}, {0, 1e-7}, {0, 1e-7, 1e-7 * (1 + 0x1p-50)}};
  sums.scores = {0, 1e-9, 1e-9};
  sums.decidedScores = {0, 1e-9, 1e-9 * (1 + 0x1p-50)};
  System system(sums, 3, 1);
  QvSymMatrix matrix;
  EXPECT_GT(system.Factor(kTolerance, matrix), 0);
  EXPECT_EQ(system.SeparationMeasure(kTolerance), 1.0) << "nor is it separated";
}

TEST(QvNewtonSystem, AMeanIsTakenOff) {
  // A column of mean 1.2e6 and deviation 1: 0.7e-12 of its square is left.
  const double mean = 1.2e6;
  Sums sums;
  sums.undecided = {{1}, {mean, mean * mean + 1}};
  sums.decided = {{0}, {0, 0}};
  sums.scores = {2, 2 * mean + 1};
  sums.decidedScores = {0, 0};
  System system(sums, 2, 1);
  QvSymMatrix matrix;
  const Doubles step = StepOf(system, matrix);
  EXPECT_NEAR(step[1], 1.0, 1e-3);
  EXPECT_NEAR(step[0], 2.0 - step[1] * mean, 1e-6 * mean);
  EXPECT_EQ(system.SeparationMeasure(kTolerance), 1.0);
  // Without an intercept there is nothing to take it off.
  System bare(sums, 2, 0);
  EXPECT_EQ(bare.Factor(kTolerance, matrix), 2);
}

TEST(QvNewtonSystem, EveryBlockIsCentredByAllIntercepts) {
  // Two blocks of an intercept and a column of mean 1e6 and deviation 1.
  const double mean = 1e6;
  const double square = mean * mean + 1;
  Sums sums;
  sums.undecided = {
      {2}, {2 * mean, 2 * square}, {-1, -mean, 2}, {-mean, -square, 2 * mean, 2 * square}};
  sums.decided = {{0}, {0, 0}, {0, 0, 0}, {0, 0, 0, 0}};
  sums.scores = {0, 3, 0, -3};
  sums.decidedScores = {0, 0, 0, 0};
  System system(sums, 4, 2);
  QvSymMatrix matrix;
  const Doubles step = StepOf(system, matrix);
  EXPECT_NEAR(step[1], 1.0, 1e-2);
  EXPECT_NEAR(step[3], -1.0, 1e-2);
}

TEST(QvNewtonSystem, TheMeasureOfASeparatedGroupIsZeroWhicheverIsTheBase) {
  EXPECT_EQ(System(RareBase(1e-9, 1e-9), 2, 1).SeparationMeasure(kTolerance), 0.0);
  Sums sums = RareBase(1e-9, 1e-9);
  sums.undecided = {{24}, {0, 0}};
  sums.decided = {{1e-9}, {1e-9, 1e-9}};
  sums.scores = sums.decidedScores = {1e-9, 1e-9};
  EXPECT_EQ(System(sums, 2, 1).SeparationMeasure(kTolerance), 0.0);
}

TEST(QvNewtonSystem, UndecidedRecordsThatBalanceTheScoreAreNoSeparation) {
  // The few records of the base that say otherwise have next to no information.
  Sums sums = RareBase(1e-9, 3.0);
  sums.scores = {3.0 - 2.0, 0};
  EXPECT_EQ(System(sums, 2, 1).SeparationMeasure(kTolerance), 1.0);
  sums.scores = {3.0 - 0.02, 0};
  EXPECT_EQ(System(sums, 2, 1).SeparationMeasure(kTolerance), 0.0);
  sums.scores = {0, 0};
  sums.decidedScores = {0, 0};
  EXPECT_EQ(System(sums, 2, 1).SeparationMeasure(kTolerance), 1.0) << "no score at all";
}

TEST(QvNewtonSystem, RoundingOfTheScoresDoesNotBalanceThem) {
  Sums sums = RareBase(3e-9, 3e-9);
  sums.undecided = {{2.4e7}, {2.4e7, 2.4e7}};
  sums.weight = 1e8;
  sums.scores = {3e-9 + 4e-9, 0};
  EXPECT_EQ(System(sums, 2, 1).SeparationMeasure(kTolerance), 0.0);
}

TEST(QvNewtonSystem, ScoresOfAnotherLengthAreRefused) {
  Sums sums = RareBase(1.0, 1.0);
  sums.scores = {1};
  System system(sums, 2, 1);
  QvSymMatrix matrix;
  EXPECT_EQ(system.Factor(kTolerance, matrix), 0);
  Doubles step;
  EXPECT_EQ(system.Solve(matrix, step), 1);
}

}  // namespace
