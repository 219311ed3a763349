// Rows with few non-zeros and rows with many are added to the matrix in different ways. Both must
// give the sums that a full update of a dense row gives, to the last bit.
#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/glm/QvGLMModel.h"
#include "tests/qvreg/support/ModelOnTables.h"
#include "tests/qvreg/support/ModelSettings.h"

namespace {

using QvCommon::QvSymMatrix;
using qvtest::LinearSettings;
using qvtest::ModelOnTables;
using Rows = std::vector<std::vector<double>>;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kB = 2;
constexpr int kX = 3;
constexpr int kZ = 4;
constexpr int kWeight = 5;
constexpr int kRecords = 256;
/// The frequency weight of every record. They add up to 1 without rounding.
constexpr double kRecordWeight = 1.0 / kRecords;

/// Random rows of y, a below `levels`, b below 3, x and z of which half are 0, and the weight.
Rows RandomRows(int levels) {
  std::mt19937 generator(20260711);
  std::uniform_real_distribution<double> real(-2.0, 2.0);
  std::uniform_int_distribution<int> whole(0, 1 << 20);
  Rows rows;
  for (int i = 0; i < kRecords; ++i) {
    const double x = whole(generator) % 2 == 0 ? 0.0 : real(generator);
    const double z = whole(generator) % 2 == 0 ? 0.0 : real(generator);
    rows.push_back({real(generator), static_cast<double>(whole(generator) % levels),
                    static_cast<double>(whole(generator) % 3), x, z, kRecordWeight});
  }
  return rows;
}

/// What a full update of every expanded row gives.
QvSymMatrix DenseSums(ModelOnTables& run, const Rows& rows) {
  QvSymMatrix matrix(run.model.GetNParameters() + 1);
  std::vector<double> row;
  for (const std::vector<double>& values : rows) {
    run.model.ExpandRow(values.data(), values[kY], row);
    matrix.UpdateXX(row, kRecordWeight);
  }
  return matrix;
}

/// The largest number of non-zeros in a design row, the dependent included.
int MostNonZeros(ModelOnTables& run, const Rows& rows) {
  int most = 0;
  std::vector<double> row;
  for (const std::vector<double>& values : rows) {
    run.model.ExpandRow(values.data(), values[kY], row);
    int count = 0;
    for (const double value : row) count += value != 0.0 ? 1 : 0;
    most = std::max(most, count);
  }
  return most;
}

void ExpectSameMatrix(const QvSymMatrix& actual, const QvSymMatrix& expected) {
  ASSERT_EQ(actual.GetOrder(), expected.GetOrder());
  for (int i = 0; i < actual.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) {
      ASSERT_EQ(actual.GetElem(i, j), expected.GetElem(i, j)) << i << ", " << j;
    }
  }
}

class QvGLMModelPaths : public ::testing::Test {
 protected:
  QvGLMModelPaths() { settings_.FrequencyWeight(kWeight); }

  void ExpectDenseSums(const Rows& rows) {
    ModelOnTables run(settings_.Get(), rows);
    const QvSymMatrix expected = DenseSums(run, rows);
    run.AddRecords();
    ExpectSameMatrix(run.model.GetMatrix(), expected);
  }

  static constexpr int kManyLevels = 60;
  LinearSettings settings_{kY, {{kA, kManyLevels}, {kB, 3}}, {kX, kZ}};
};

TEST_F(QvGLMModelPaths, RowsOfAManyLevelFactorAreSparseAndGiveTheDenseSums) {
  settings_.Effect({kA}).Effect({kB}).Effect({kA, kB}).Effect({}, {kX}).Effect({kB}, {kZ});
  const Rows rows = RandomRows(kManyLevels);
  ModelOnTables run(settings_.Get(), rows);
  EXPECT_LT(2 * MostNonZeros(run, rows), run.model.GetNParameters());
  ExpectDenseSums(rows);
}

TEST_F(QvGLMModelPaths, RowsOfCovariatesAreDenseAndGiveTheDenseSums) {
  settings_.Effect({}, {kX}).Effect({}, {kZ}).Effect({}, {kX, kX}).Effect({}, {kX, kZ});
  ExpectDenseSums(RandomRows(2));
}

TEST_F(QvGLMModelPaths, RowsThatFillHalfOfTheColumnsGiveTheDenseSums) {
  // Two levels and three: between 3 and 6 of 8 columns.
  settings_.Effect({kA}).Effect({kB}).Effect({}, {kX}).NoIntercept();
  ExpectDenseSums(RandomRows(2));
}

TEST_F(QvGLMModelPaths, ALevelWithZeroCovariateAndZeroDependentGivesTheDenseSums) {
  settings_.Effect({kA}).Effect({}, {kX});
  Rows rows = RandomRows(10);
  for (std::size_t i = 0; i < rows.size(); i += 3) rows[i][kY] = rows[i][kX] = 0.0;
  ExpectDenseSums(rows);
}

TEST_F(QvGLMModelPaths, FactorsCodedByHandFitAsTheFactorItselfDoes) {
  // Eight levels once as a factor (sparse) and once as eight indicator covariates.
  constexpr int kLevels = 8;
  const Rows rows = RandomRows(kLevels);
  LinearSettings factor(0, {{1, kLevels}}, {});
  factor.Effect({1}).NoIntercept();
  LinearSettings indicators(0, {}, {1, 2, 3, 4, 5, 6, 7, 8});
  for (int level = 1; level <= kLevels; ++level) indicators.Effect({}, {level});
  indicators.NoIntercept();
  Rows factorRows;
  Rows indicatorRows;
  for (const std::vector<double>& row : rows) {
    factorRows.push_back({row[kY], row[kA]});
    std::vector<double>& coded = indicatorRows.emplace_back(1 + kLevels, 0.0);
    coded[0] = row[kY];
    coded[1 + static_cast<std::size_t>(row[kA])] = 1.0;
  }
  ModelOnTables byFactor(factor.Get(), factorRows);
  ModelOnTables byIndicators(indicators.Get(), indicatorRows);
  ASSERT_TRUE(byFactor.Fit().IsOK());
  ASSERT_TRUE(byIndicators.Fit().IsOK());
  for (std::size_t level = 0; level < kLevels; ++level) {
    EXPECT_NEAR(byFactor.model.GetEstimates()[level], byIndicators.model.GetEstimates()[level],
                1e-13);
  }
  EXPECT_NEAR(byFactor.model.GetRootMeanSquareError(), byIndicators.model.GetRootMeanSquareError(),
              1e-13);
}

}  // namespace
