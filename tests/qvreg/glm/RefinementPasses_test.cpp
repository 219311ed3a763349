// How often a linear model reads its records for refinement, and what the passes beyond the third
// make of the estimates.
#include <cmath>
#include <cstddef>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/component/QvModelMessage.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::LinearSettings;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;
using Doubles = std::vector<double>;
using Rows = std::vector<Doubles>;

constexpr int kY = 0;
constexpr int kX = 1;
constexpr int kZ = 2;
constexpr int kLevel = 3;
constexpr int kWeight = 4;
constexpr int kCrossProducts = 2;  ///< The pass that reads them.

/// What a fit found, and in how many passes.
struct Fit {
  Doubles estimates;
  double rmse = 0.0;
  double rSquare = 0.0;
  int passes = 0;
};

Fit FitOf(QvRegSettings& settings, VectorRecordIter& records) {
  QvGLMComponent component(settings);
  EXPECT_TRUE(component.BuildModel(records).IsOK());
  IQvRegOutputStats* stats = nullptr;
  EXPECT_TRUE(component.GetOutputStats(stats).IsOK());
  return {stats->GetParamEstimates(), stats->GetModelFitStat(QvConst::QvFitRootMeanSquareError),
          stats->GetModelFitStat(QvConst::QvFitMultipleRSquare), records.Passes()};
}

/// y, x, z, a level, a weight.
const Rows kRows{{1.1, 0.2, 0.0, 0, 1.0}, {3.2, 1.3, 1.0, 1, 0.1}, {2.3, 2.4, 0.5, 1, 0.3},
                 {6.4, 3.1, 2.0, 2, 1.7}, {5.9, 4.4, 0.0, 2, 2.5}, {7.7, 5.3, 1.5, 0, 1.0}};

int PassesOf(LinearSettings& settings, const Rows& rows) {
  EXPECT_TRUE(settings.Get().SetMaxRefinements(5));
  VectorRecordIter records(MakeRecords(rows));
  return FitOf(settings.Get(), records).passes;
}

TEST(WellConditionedFits, ReadTheirRecordsThreeTimes) {
  LinearSettings covariates(kY, {}, {kX, kZ});
  EXPECT_EQ(PassesOf(covariates.Effect({}, {kX}).Effect({}, {kZ}), kRows), 3);
  LinearSettings factor(kY, {{kLevel, 3}}, {kX});
  EXPECT_EQ(PassesOf(factor.Effect({kLevel}).Effect({kLevel}, {kX}), kRows), 3);
  LinearSettings weighted(kY, {}, {kX});
  weighted.Effect({}, {kX}).Effect({}, {kX, kX}).RegressionWeight(kWeight);
  EXPECT_EQ(PassesOf(weighted, kRows), 3);
  LinearSettings through(kY, {}, {kX});
  EXPECT_EQ(PassesOf(through.Effect({}, {kX}).NoIntercept(), kRows), 3);
}

TEST(WellConditionedFits, ReadThemThreeTimesWhereAnEstimateIsZero) {
  // Of such an estimate rounding leaves nothing right, and each step changes it by all of it.
  Rows rows = kRows;
  for (Doubles& row : rows) row[kY] = 7 + 0.1 * row[kX];
  LinearSettings perfect(kY, {}, {kX, kZ});
  EXPECT_EQ(PassesOf(perfect.Effect({}, {kX}).Effect({}, {kZ}), rows), 3);
  for (Doubles& row : rows) row[kY] = 1e6 + 0.1 * row[kX];
  LinearSettings offset(kY, {{kLevel, 3}}, {kX, kZ});
  EXPECT_EQ(PassesOf(offset.Effect({kLevel}).Effect({}, {kX}).Effect({}, {kZ}), rows), 3);
}

/// Hands out records whose x is multiplied by a factor while the cross-products are summed: their
/// inverse, and the first estimates, are then wrong by what is known.
class OtherCrossProducts : public VectorRecordIter {
 public:
  OtherCrossProducts(const Rows& rows, double factor)
      : VectorRecordIter(MakeRecords(rows)), factor_(factor) {}

  const QvCommon::Record* Next() override {
    const QvCommon::Record* record = VectorRecordIter::Next();
    if (record == nullptr || Passes() != kCrossProducts) return record;
    other_ = *record;
    other_[kX] *= factor_;
    return &other_;
  }

 private:
  double factor_;
  QvCommon::Record other_{0};
};

/// y = 2 x and residuals, times a size, that leave the slope alone.
Rows SlopeOfTwo(double size) { return {{2 + 2 * size, 1}, {4 - size, 2}, {6, 3}, {8, 4}}; }

class Refinements : public ::testing::Test {
 protected:
  Fit FitWith(int most, double factor, double size) {
    LinearSettings settings(kY, {}, {kX});
    settings.Effect({}, {kX}).NoIntercept();
    EXPECT_TRUE(settings.Get().SetMaxRefinements(most));
    OtherCrossProducts records(SlopeOfTwo(size), factor);
    return FitOf(settings.Get(), records);
  }
};

TEST_F(Refinements, GoOnUntilAStepNoLongerMatters) {
  // Off by 1e-7, the first step leaves 2e-14, and the second one almost nothing.
  const Fit one = FitWith(1, 1 + 1e-7, 3);
  EXPECT_EQ(one.passes, 3);
  EXPECT_GT(std::fabs(one.estimates[0] - 2), 1e-14);
  const Fit more = FitWith(5, 1 + 1e-7, 3);
  EXPECT_EQ(more.passes, 4);
  EXPECT_EQ(more.estimates[0], 2);
  EXPECT_DOUBLE_EQ(more.rmse * more.rmse, 5 * 9 / 4.0);
}

TEST_F(Refinements, CountTheRecordsOnce) {
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).NoIntercept();
  EXPECT_TRUE(settings.Get().SetMaxRefinements(5));
  OtherCrossProducts records(SlopeOfTwo(3), 1.1);
  QvGLMComponent component(settings.Get());
  ASSERT_TRUE(component.BuildModel(records).IsOK());
  ASSERT_GT(records.Passes(), 3);
  std::vector<unsigned char> bytes;
  QvModelContents contents;
  ASSERT_TRUE(component.WriteModel(bytes).IsOK());
  ASSERT_TRUE(QvModelMessage::Read(bytes, contents).IsOK());
  EXPECT_EQ(contents.fLinear.fWeightedRecords, 4);
}

TEST_F(Refinements, AreAsManyAsAllowed) {
  const double factor = 1.1;
  const double left = 1 - 1 / (factor * factor);  // of the error, by each step
  double error = 2 / factor - 2;
  for (int most = 0; most <= 5; ++most) {
    const Fit fit = FitWith(most, factor, 3);
    EXPECT_EQ(fit.passes, most < 2 ? 3 : 2 + most) << most;
    EXPECT_NEAR(fit.estimates[0], 2 + error, 1e-14) << most;
    error *= left;
  }
}

TEST_F(Refinements, HaveTheResidualSumOfTheLastStep) {
  // The error left adds 30 times its square to the sum of 45.
  const Fit fit = FitWith(3, 1.1, 3);
  const double error = fit.estimates[0] - 2;
  EXPECT_NEAR(fit.rmse * fit.rmse, (45 + 30 * error * error) / 4, 5e-5);
  const double before = FitWith(2, 1.1, 3).estimates[0] - 2;
  EXPECT_GT(30 * before * before / 4, 2e-4) << "which the sum of the last pass would have";
  // 120 + 45 is the sum of the squares of y.
  EXPECT_NEAR(FitWith(5, 1.01, 3).rSquare, 120.0 / 165, 1e-13);
}

TEST_F(Refinements, ThatDivergeKeepTheBetterEstimates) {
  // Each step would make the error 1.78 times as large.
  const Fit fit = FitWith(5, 0.6, 100);
  EXPECT_EQ(fit.passes, 4) << "the second step does not shrink";
  const double first = 2 / 0.6;
  EXPECT_NEAR(fit.estimates[0], first, 1e-14);
  EXPECT_NEAR(fit.rmse * fit.rmse * 4, 5e4 + 30 * (first - 2) * (first - 2), 1e-9);
}

TEST_F(Refinements, ThatCannotBeRightAreNotMade) {
  // The step would lower the residual sum by 2.8 times of what there is.
  for (const int most : {1, 5}) {
    const Fit fit = FitWith(most, 0.6, 0);
    EXPECT_EQ(fit.passes, 3);
    EXPECT_NEAR(fit.estimates[0], 2 / 0.6, 1e-14);
  }
}

/// y = x, x squared for x near 10^6 of deviation 1: what the columns before leave of x squared is
/// 10^-24 of it, so that no inverse in double is good enough to correct with.
TEST(Refinement, OfAlmostDependentColumnsDoesNoHarm) {
  const std::vector<int> eighths{0, 3, 4, 7, 9, 12, 13, 17, 20, 22, 25, 26};
  const Doubles y{3, 1, 4, 1, 5, 9, 2, 6, 5, 3, 5, 8};
  Rows rows;
  for (std::size_t i = 0; i < y.size(); ++i) rows.push_back({y[i], 1e6 + eighths[i] / 8.0});
  // Rational arithmetic, rounded once.
  const Doubles exact{-184961814238.91354, 369921.8818034358, -0.1849600675623551};
  for (const int most : {0, 1, 5}) {
    LinearSettings settings(kY, {}, {kX});
    settings.Effect({}, {kX}).Effect({}, {kX, kX});
    settings.Get().SetTolerance(0.0);
    EXPECT_TRUE(settings.Get().SetMaxRefinements(most));
    VectorRecordIter records(MakeRecords(rows));
    const Fit fit = FitOf(settings.Get(), records);
    for (std::size_t k = 0; k < exact.size(); ++k) {
      EXPECT_NEAR(fit.estimates[k] / exact[k], 1.0, 1e-6) << most;
    }
  }
}

/// Leaves the last record out of one pass.
class ForgetfulIter : public OtherCrossProducts {
 public:
  explicit ForgetfulIter(int pass) : OtherCrossProducts(SlopeOfTwo(3), 1.1), pass_(pass) {}

  [[nodiscard]] bool HasMore() const override {
    return Position() < Records().size() - (Passes() == pass_ ? 1 : 0);
  }

 private:
  int pass_;
};

TEST_F(Refinements, NoteAPassThatUsesFewerRecords) {
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).NoIntercept();
  EXPECT_TRUE(settings.Get().SetMaxRefinements(5));
  for (int pass = 4; pass <= 7; ++pass) {
    QvGLMComponent component(settings.Get());
    ForgetfulIter records(pass);
    EXPECT_TRUE(component.BuildModel(records).IsOK());
    EXPECT_EQ(component.GetRecordCounts().fUsed, 4);
    EXPECT_EQ(component.GetRecordCounts().fUsedLater, 3) << pass;
  }
}

/// Cannot start one pass.
class RefusingIter : public OtherCrossProducts {
 public:
  RefusingIter() : OtherCrossProducts(SlopeOfTwo(3), 1.1) {}

  int NewPass() override {
    const int reason = OtherCrossProducts::NewPass();
    return Passes() == 4 ? QvCommon::kIterNoRewind : reason;
  }
};

TEST_F(Refinements, EndWithAPassThatIsRefused) {
  LinearSettings settings(kY, {}, {kX});
  settings.Effect({}, {kX}).NoIntercept();
  EXPECT_TRUE(settings.Get().SetMaxRefinements(5));
  QvGLMComponent component(settings.Get());
  RefusingIter records;
  EXPECT_EQ(component.BuildModel(records).GetCode(), QvStatusCode::kNoRecords);
  EXPECT_FALSE(component.IsModelBuilt());
}

}  // namespace
