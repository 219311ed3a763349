// Residuals of rows taken together against those of rows taken one by one.

#include "qvreg/glm/QvGLMResidualPanel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using QvCommon::QvDoubleDouble;
using QvCommon::QvKernels;
using Doubles = std::vector<double>;

struct Row {
  Doubles values;
  double y = 0.0;
  double weight = 1.0;
};

std::vector<Row> MakeRows(std::size_t n, std::size_t p) {
  std::mt19937 random(static_cast<unsigned>(n + p));
  std::uniform_real_distribution<double> uniform(-2.0, 2.0);
  std::vector<Row> rows(n);
  for (Row& row : rows) {
    for (std::size_t j = 0; j < p; ++j) row.values.push_back(uniform(random));
    row.y = uniform(random);
    row.weight = std::fabs(uniform(random));
  }
  return rows;
}

double Difference(const QvDoubleDouble& a, const QvDoubleDouble& b) {
  QvDoubleDouble difference = a;
  difference.Add({-b.fHigh, -b.fLow});
  return std::fabs(difference.Value());
}

class QvGLMResidualPanelTest : public ::testing::TestWithParam<const QvKernels*> {
 protected:
  static constexpr std::size_t kColumns = 7;

  void Add(const std::vector<Row>& rows) {
    panel_.SetUp(kColumns);
    for (const Row& row : rows) {
      double* values = panel_.Append(row.y, row.weight, estimates_);
      ASSERT_NE(values, nullptr);
      std::copy(row.values.begin(), row.values.end(), values);
      if (panel_.IsFull()) panel_.AddTo(estimates_, sums_, gradient_);
    }
    panel_.AddTo(estimates_, sums_, gradient_);
  }
  QvDoubleDouble Residual(const Row& row, double y) const {
    QvDoubleDouble residual{y, 0.0};
    for (std::size_t j = 0; j < kColumns; ++j) {
      residual.Add(QvDoubleDouble::Product(-estimates_[j], row.values[j]));
    }
    return residual;
  }

  Doubles estimates_{0.5, -1.25, 3.1, 0.0, 0.7, -0.1, 2.0};
  QvGLMFitSums sums_{0.25};
  std::vector<QvDoubleDouble> gradient_;
  QvGLMResidualPanel panel_{*GetParam()};
};

TEST_P(QvGLMResidualPanelTest, SumsAndGradientAreThoseOfSingleRows) {
  const std::vector<Row> rows = MakeRows(150, kColumns);
  gradient_.resize(kColumns);
  Add(rows);
  QvGLMFitSums expected(0.25);
  std::vector<QvDoubleDouble> gradient(kColumns);
  for (const Row& row : rows) {
    const QvDoubleDouble residual = Residual(row, row.y);
    expected.Add(row.weight, row.y, residual.Value());
    const QvDoubleDouble weighted =
        QvDoubleDouble::Sum(residual.fHigh, residual.fLow).Times(row.weight);
    for (std::size_t j = 0; j < kColumns; ++j) gradient[j].Add(weighted.Times(row.values[j]));
  }
  EXPECT_DOUBLE_EQ(sums_.GetResidualSum(), expected.GetResidualSum());
  EXPECT_DOUBLE_EQ(sums_.GetTotalSum(), expected.GetTotalSum());
  for (std::size_t j = 0; j < kColumns; ++j) {
    EXPECT_LT(Difference(gradient_[j], gradient[j]), 1e-27) << j;
  }
}

TEST_P(QvGLMResidualPanelTest, WithoutGradientPredictionsAreRounded) {
  const std::vector<Row> rows = MakeRows(65, kColumns);
  Add(rows);
  QvGLMFitSums expected(0.25);
  for (const Row& row : rows) {
    expected.Add(row.weight, row.y, row.y + Residual(row, 0.0).Value());
  }
  EXPECT_DOUBLE_EQ(sums_.GetResidualSum(), expected.GetResidualSum());
  EXPECT_DOUBLE_EQ(sums_.GetTotalSum(), expected.GetTotalSum());
}

TEST_P(QvGLMResidualPanelTest, TakesNoUnusualWeightsNorEstimates) {
  panel_.SetUp(kColumns);
  EXPECT_EQ(panel_.Append(1.0, 0x1p-310, estimates_), nullptr);
  EXPECT_NE(panel_.Append(1.0, 0.0, estimates_), nullptr);
  QvGLMResidualPanel other(*GetParam());
  other.SetUp(kColumns);
  estimates_[2] = 0x1p+300;
  EXPECT_EQ(other.Append(1.0, 1.0, estimates_), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Sets, QvGLMResidualPanelTest, ::testing::ValuesIn(QvKernels::GetAll()),
                         [](const auto& tested) { return std::string(tested.param->fName); });

}  // namespace
