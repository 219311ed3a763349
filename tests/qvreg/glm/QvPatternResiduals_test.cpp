// Residuals that are computed pattern by pattern against those of records taken one by one.

#include "qvreg/glm/QvPatternResiduals.h"

#include <cmath>
#include <cstddef>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/glm/QvGLMRefinement.h"
#include "tests/qvreg/support/PatternCase.h"

namespace {

using QvCommon::QvDoubleDouble;
using QvCommon::QvKernels;
using qvtest::PatternCase;
using Doubles = std::vector<double>;

constexpr double kMean = 0.25;
constexpr int kManyLevels = 300;
/// Three records of more patterns than a table holds.
constexpr std::size_t kMany = 75000;

Doubles MakeEstimates(const PatternCase& data) {
  Doubles estimates(data.nParameters);
  for (std::size_t k = 0; k < estimates.size(); ++k) {
    estimates[k] = k % 5 == 0 ? 0.0 : std::sin(static_cast<double>(k));
  }
  return estimates;
}

class PatternResidualsTest : public ::testing::TestWithParam<const QvKernels*> {
 protected:
  void Expect(PatternCase& data, bool isRefined) {
    const Doubles estimates = MakeEstimates(data);
    std::vector<QvDoubleDouble> gradient(isRefined ? data.nParameters : 0);
    QvGLMFitSums sums(kMean);
    residuals_.SetUp(data.row, data.tables, data.nParameters, isRefined);
    EXPECT_EQ(residuals_.Add(data.Pointers(), data.weights.data(), data.dependents.data(),
                             estimates, sums, gradient),
              data.records.size());
    residuals_.MoveTo(sums, gradient);

    QvGLMFitSums expected(kMean);
    QvGLMRefinement refinement(static_cast<int>(data.nParameters), 1);
    for (std::size_t i = 0; i < data.records.size(); ++i) {
      ASSERT_TRUE(data.row.Expand(data.records[i].data()));
      const QvDoubleDouble residual =
          QvGLMRefinement::ResidualOf(data.row, data.dependents[i], estimates);
      expected.Add(data.weights[i], data.dependents[i], residual.Value());
      refinement.AddRecord(data.row, residual, data.weights[i]);
    }
    // Without a refinement residuals are rounded once more.
    EXPECT_NEAR(sums.GetResidualSum() / expected.GetResidualSum(), 1.0, isRefined ? 3e-16 : 1e-15);
    EXPECT_NEAR(sums.GetTotalSum() / expected.GetTotalSum(), 1.0, 3e-16);
    for (std::size_t k = 0; k < gradient.size(); ++k) {
      QvDoubleDouble difference = refinement.GetGradient()[k];
      difference.Add({-gradient[k].fHigh, -gradient[k].fLow});
      ASSERT_LT(std::fabs(difference.Value()), 1e-23) << k;
    }
  }

  QvPatternResiduals residuals_{*GetParam()};
};

TEST_P(PatternResidualsTest, SumsAndGradientAreThoseOfSingleRecords) {
  for (const int nCovariates : {1, 2, 8}) {
    PatternCase data(700, 12, nCovariates);
    Expect(data, true);
    Expect(data, false);
  }
}

TEST_P(PatternResidualsTest, OfAFullTableAreThoseOfSingleRecords) {
  PatternCase data(kMany, kManyLevels, 2, 3);
  Expect(data, true);
}

INSTANTIATE_TEST_SUITE_P(Sets, PatternResidualsTest, ::testing::ValuesIn(QvKernels::GetAll()),
                         [](const auto& tested) { return std::string(tested.param->fName); });

TEST(PatternResiduals, AreZeroWhereEstimatesAreOffByLessThanAPredictionShows) {
  PatternCase data(100, 4, 1);
  Doubles estimates(data.nParameters, 0.0);
  estimates[0] = 1.0;
  estimates[1] = estimates[2] = estimates[3] = estimates[4] = 0x1p-70;
  data.dependents.assign(data.records.size(), 1.0);
  QvPatternResiduals residuals;
  residuals.SetUp(data.row, data.tables, data.nParameters, false);
  QvGLMFitSums sums;
  std::vector<QvDoubleDouble> gradient;
  residuals.Add(data.Pointers(), data.weights.data(), data.dependents.data(), estimates, sums,
                gradient);
  residuals.MoveTo(sums, gradient);
  EXPECT_EQ(sums.GetResidualSum(), 0.0);
  residuals.SetUp(data.row, data.tables, data.nParameters, true);
  gradient.resize(data.nParameters);
  residuals.Add(data.Pointers(), data.weights.data(), data.dependents.data(), estimates, sums,
                gradient);
  residuals.MoveTo(sums, gradient);
  EXPECT_GT(sums.GetResidualSum(), 0.0);
}

}  // namespace
