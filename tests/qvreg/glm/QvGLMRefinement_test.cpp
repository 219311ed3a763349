#include "qvreg/glm/QvGLMRefinement.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <ostream>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/design/QvDesignRow.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/settings/QvRegrParameter.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::FittedModel;
using qvtest::LinearSettings;
using qvtest::MakeRecord;
using Doubles = std::vector<double>;

/// Rows of two covariates and no intercept.
class QvGLMRefinementTest : public ::testing::Test {
 protected:
  QvGLMRefinementTest() {
    tables_.SetModelEffectFactors({{}, {}}, {});
    tables_.CreateParameterIndices();
    std::vector<QvRegrParameter> covariates(2);
    EXPECT_GT(covariates[0].AddCovariate(0, 1), 0);
    EXPECT_GT(covariates[1].AddCovariate(1, 1), 0);
    row_.Setup(tables_, covariates, {0, 1}, {0, 1});
  }

  double AddRecord(double x, double z, double y, double w, const Doubles& estimates) {
    const Doubles values{x, z};
    row_.Expand(values.data());
    const QvCommon::QvDoubleDouble residual = QvGLMRefinement::ResidualOf(row_, y, estimates);
    refinement_.AddRecord(row_, residual, w);
    return residual.Value();
  }

  QvFactorTables tables_{{}, {}, -1, -1, 0, 0, -1, 0.0, QvConst::QvOffsetNone};
  QvDesignRow row_;
  QvGLMRefinement refinement_{2, 3};
};

TEST_F(QvGLMRefinementTest, ReturnsTheResiduals) {
  const Doubles estimates{3, -1};
  EXPECT_EQ(AddRecord(2, 1, 7, 3, estimates), 2.0);
  EXPECT_EQ(AddRecord(0, 4, -1, 0.5, estimates), 3.0);
}

TEST_F(QvGLMRefinementTest, OneStepSolvesAnOrthogonalProblem) {
  // X'WX = diag(3 x 4, 2 x 25); the exact estimates are 7 / 2 and 4.
  const Doubles start{3, 3};
  EXPECT_EQ(AddRecord(2, 0, 7, 3, start), 1.0);
  EXPECT_EQ(AddRecord(0, 5, 20, 2, start), 5.0);
  QvCommon::QvSymMatrix inverse(2);
  inverse.SetElem(0, 0, 1.0 / 12);
  inverse.SetElem(1, 1, 1.0 / 50);
  Doubles estimates = start;
  EXPECT_TRUE(refinement_.Step(inverse, 1.0, 3 * 1 + 2 * 25, estimates)) << "it changed much";
  EXPECT_NEAR(estimates[0], 3.5, 1e-15);
  EXPECT_NEAR(estimates[1], 4.0, 1e-15);
  EXPECT_NEAR(refinement_.GetResidualSum(), 0.0, 1e-13) << "no residual is left";
}

TEST_F(QvGLMRefinementTest, EachStepBeginsItsGradientAnew) {
  QvCommon::QvSymMatrix inverse(2);
  inverse.SetElem(0, 0, 1.0 / 4);
  inverse.SetElem(1, 1, 1.0 / 25);
  Doubles estimates{3, 3};
  AddRecord(2, 0, 7, 1, estimates);
  EXPECT_TRUE(refinement_.Step(inverse, 1.0, 1, estimates));
  EXPECT_EQ(estimates, (Doubles{3.5, 3}));
  AddRecord(2, 0, 7, 1, estimates);
  EXPECT_FALSE(refinement_.Step(inverse, 1.0, 0, estimates)) << "nothing is left to change";
  EXPECT_EQ(estimates, (Doubles{3.5, 3}));
}

TEST_F(QvGLMRefinementTest, AStepThatRaisesTheSumIsNotMade) {
  QvCommon::QvSymMatrix inverse(2);
  inverse.SetElem(0, 0, -1.0 / 4);
  Doubles estimates{3, 3};
  AddRecord(2, 0, 7, 1, estimates);
  EXPECT_FALSE(refinement_.Step(inverse, 1.0, 1, estimates));
  EXPECT_EQ(estimates, (Doubles{3, 3}));
  EXPECT_EQ(refinement_.GetResidualSum(), 1.0);
}

TEST_F(QvGLMRefinementTest, AStepThatDoesNotShrinkEndsAtTheCloserEstimates) {
  // The second step of the same size would take less off the sum, which is kept as it was found.
  QvCommon::QvSymMatrix inverse(2);
  inverse.SetElem(0, 0, 1.0 / 4);
  Doubles estimates{3, 0};
  AddRecord(2, 0, 7, 1, estimates);
  EXPECT_TRUE(refinement_.Step(inverse, 1.0, 5, estimates));
  EXPECT_EQ(estimates[0], 3.5);
  inverse.SetElem(0, 0, 1.0);
  AddRecord(2, 0, 7.5, 1, estimates);  // a gradient of 1, a change of 1, and 1 off the sum
  EXPECT_FALSE(refinement_.Step(inverse, 1.0, 4, estimates));
  EXPECT_EQ(estimates[0], 3.5);
  EXPECT_EQ(refinement_.GetResidualSum(), 4.0);
}

TEST_F(QvGLMRefinementTest, AChangeOfEstimatesFarBelowTheirDeviationsIsNoRounding) {
  // Of 1e-10 by 1e-17, where the deviations are 1: a part in 1e7, which another step may still
  // mend.
  QvCommon::QvSymMatrix inverse(2);
  inverse.SetElem(0, 0, 1.0);
  inverse.SetElem(1, 1, 1.0);
  Doubles estimates{1e-10, 0};
  AddRecord(1, 0, 1e-10 + 1e-17, 1, estimates);
  EXPECT_TRUE(refinement_.Step(inverse, 1.0, 1, estimates));
  EXPECT_EQ(estimates[0], 1e-10 + 1e-17);
}

TEST_F(QvGLMRefinementTest, ACorrectionThatIsNotFiniteIsNotMade) {
  // The gradient of the first column is 3 x 2^600 x 2^500.
  const Doubles start{0, 0};
  AddRecord(0x1p+500, 0, 0x1p+600, 3, start);
  AddRecord(0, 5, 20, 2, start);
  QvCommon::QvSymMatrix inverse(2);
  inverse.SetElem(0, 0, 1);
  inverse.SetElem(1, 1, 1.0 / 50);
  Doubles estimates = start;
  const double sum = 2 * 20 * 20;
  refinement_.Step(inverse, 1.0, sum, estimates);
  EXPECT_NEAR(refinement_.GetResidualSum(), 0.0, 1e-12);
  EXPECT_EQ(estimates[0], 0.0);
  EXPECT_NEAR(estimates[1], 4.0, 1e-15);
}

TEST_F(QvGLMRefinementTest, ACorrectionThatMakesAnEstimateInfiniteIsNotMade) {
  const Doubles start{1.5e308, 0};
  AddRecord(0x1p-1000, 0, 1.5e308 * 0x1p-1000 + 1, 0x1p+1000, start);
  QvCommon::QvSymMatrix inverse(2);
  inverse.SetElem(0, 0, 1e308);
  Doubles estimates = start;
  refinement_.Step(inverse, 1.0, 1.7e308, estimates);
  EXPECT_EQ(estimates, start);
}

TEST_F(QvGLMRefinementTest, ResidualsKeepWhatPlainArithmeticLoses) {
  // 1e8 x 1e8 + 1 - 1e16 is 1, which the sum in double would lose.
  EXPECT_EQ(AddRecord(1e8, 1, 1e16, 1, {1e8, 1}), -1.0);
}

TEST(QvGLMRefinement, LeavesARedundantEstimateAtZero) {
  LinearSettings settings(0, {{1, 3}}, {});
  settings.Effect({1}).Refined();
  FittedModel model(settings.Get(), qvtest::MakeRecords({{0.1, 0}, {0.3, 1}, {0.7, 2}, {1.1, 2}}));
  EXPECT_EQ(model.Stats().GetParamEstimates()[3], 0.0);
  EXPECT_FALSE(model.Stats().GetRedundancyIndicators().IsIn(3));
  EXPECT_NEAR(model.Stats().GetParamEstimates()[0], 0.9, 1e-15);
}

/// Polynomials over whole numbers whose powers are nearly collinear.
struct HardCase {
  int degree;
  int first;
  int count;
};

void PrintTo(const HardCase& c, std::ostream* out) {
  *out << "degree " << c.degree << ", " << c.count << " points from " << c.first;
}

/// y = 1 + x + ... + x^degree at whole x: every estimate is exactly 1.
double LargestError(const HardCase& c, bool refine) {
  LinearSettings settings(0, {}, {1});
  for (std::size_t power = 1; power <= static_cast<std::size_t>(c.degree); ++power) {
    settings.Effect({}, std::vector<int>(power, 1));
  }
  if (refine) settings.Refined();
  std::vector<QvCommon::Record> records;
  for (int x = c.first; x < c.first + c.count; ++x) {
    double y = 0.0;
    for (int power = 0; power <= c.degree; ++power) y = y * x + 1.0;
    records.push_back(MakeRecord({y, static_cast<double>(x)}));
  }
  FittedModel model(settings.Get(), records);
  double largest = 0.0;
  for (const double estimate : model.Stats().GetParamEstimates()) {
    largest = std::max(largest, std::fabs(estimate - 1.0));
  }
  return largest;
}

class QvGLMHardFit : public ::testing::TestWithParam<HardCase> {};

TEST_P(QvGLMHardFit, IsRightToTheLastDigitsWithAndWithoutRefinement) {
  EXPECT_LE(LargestError(GetParam(), false), 1e-14);
  EXPECT_LE(LargestError(GetParam(), true), 1e-14);
}

INSTANTIATE_TEST_SUITE_P(Polynomials, QvGLMHardFit,
                         ::testing::Values(HardCase{2, 1000, 30}, HardCase{3, 50, 21},
                                           HardCase{4, 10, 21}, HardCase{5, 0, 21}));

}  // namespace
