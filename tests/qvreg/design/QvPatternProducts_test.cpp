// Cross-products that are summed pattern by pattern against those of rows added one by one.

#include "qvreg/design/QvPatternProducts.h"

#include <algorithm>
#include <cstddef>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"
#include "tests/qvreg/support/PatternCase.h"

namespace {

using QvCommon::QvKernels;
using QvCommon::QvSymMatrix;
using qvtest::PatternCase;

constexpr int kManyLevels = 300;
/// More patterns than a table holds.
constexpr std::size_t kMany = 25000;

QvCrossProducts Empty(const PatternCase& data) {
  return QvCrossProducts(static_cast<int>(data.nParameters) + 1);
}

void AddSingly(PatternCase& data, std::size_t begin, QvCrossProducts& sum) {
  for (std::size_t i = begin; i < data.records.size(); ++i) {
    ASSERT_TRUE(data.row.Expand(data.records[i].data()));
    data.row.Append(static_cast<int>(data.nParameters), data.dependents[i]);
    sum.Add(data.row, data.weights[i], data.dependents[i]);
  }
}

/// How many records were taken when the records are given `size` at a time.
std::size_t AddTogether(const PatternCase& data, std::size_t size, QvPatternProducts& products,
                        QvCrossProducts& sum) {
  const std::vector<const double*> records = data.Pointers();
  std::size_t taken = 0;
  while (taken < records.size()) {
    const std::size_t n = std::min(size, records.size() - taken);
    const std::size_t added = products.Add(std::span(records).subspan(taken, n),
                                           &data.weights[taken], &data.dependents[taken], sum);
    taken += added;
    if (added < n) break;
  }
  products.MoveTo(sum);
  return taken;
}

void ExpectSame(const QvCrossProducts& actual, const QvCrossProducts& expected) {
  EXPECT_EQ(actual.GetRecordsAdded(), expected.GetRecordsAdded());
  EXPECT_EQ(actual.AreRowsUsual(), expected.AreRowsUsual());
  QvSymMatrix sums = actual.GetMatrix();
  QvSymMatrix others = expected.GetMatrix();
  sums.EndCompensation();
  others.EndCompensation();
  ASSERT_EQ(sums.GetOrder(), others.GetOrder());
  for (int i = 0; i < sums.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) ASSERT_EQ(sums.GetElem(i, j), others.GetElem(i, j)) << i << j;
  }
}

QvCommon::QvBytes BytesOf(const QvCrossProducts& sum) {
  QvCommon::QvByteWriter writer;
  sum.Write(writer);
  return writer.TakeBytes();
}

class PatternProductsTest : public ::testing::TestWithParam<const QvKernels*> {
 protected:
  /// All records by patterns against all one by one.
  void ExpectSingleSums(PatternCase& data) {
    QvCrossProducts expected = Empty(data);
    AddSingly(data, 0, expected);
    QvCrossProducts sum = Empty(data);
    products_.SetUp(data.row, data.tables, data.nParameters, true);
    EXPECT_EQ(AddTogether(data, 64, products_, sum), data.records.size());
    EXPECT_TRUE(products_.IsOpen());
    ExpectSame(sum, expected);
  }

  QvPatternProducts products_{*GetParam()};
};

TEST_P(PatternProductsTest, AreThoseOfSingleRows) {
  for (const int nCovariates : {1, 2, 3, 5, 6, 7, 9}) {
    SCOPED_TRACE(nCovariates);
    PatternCase data(700, 12, nCovariates);
    ExpectSingleSums(data);
  }
}

TEST_P(PatternProductsTest, OfManyCovariatesThatAreMostlyZeroAreThoseOfSingleRows) {
  PatternCase data(300, 40, 30);
  ExpectSingleSums(data);
}

TEST_P(PatternProductsTest, OfAFullTableAreMovedBeforeItIsBegunAnew) {
  PatternCase data(2 * kMany, kManyLevels, 2, 2);
  ExpectSingleSums(data);
}

TEST_P(PatternProductsTest, OfNumbersThatAreNotUsualAreThoseOfSingleRows) {
  PatternCase data(200, 12, 2);
  data.records[70][2] = 1e100;
  data.records[71][3] = -1e100;
  ExpectSingleSums(data);
  PatternCase light(200, 12, 2);
  light.weights[150] = 1e-200;
  ExpectSingleSums(light);
}

INSTANTIATE_TEST_SUITE_P(Sets, PatternProductsTest, ::testing::ValuesIn(QvKernels::GetAll()),
                         [](const auto& tested) { return std::string(tested.param->fName); });

TEST(PatternProducts, DoNotDependOnHowManyRecordsAreGivenTogether) {
  const PatternCase data(2 * kMany, kManyLevels, 2, 2);
  QvCommon::QvBytes bytes;
  for (const std::size_t size : {64U, 1U, 37U}) {
    SCOPED_TRACE(size);
    QvPatternProducts products;
    products.SetUp(data.row, data.tables, data.nParameters, true);
    QvCrossProducts sum = Empty(data);
    AddTogether(data, size, products, sum);
    if (bytes.empty()) bytes = BytesOf(sum);
    EXPECT_EQ(BytesOf(sum), bytes);
  }
}

TEST(PatternProducts, TakeNoMoreRecordsWhereHardlyOneSharesItsPattern) {
  PatternCase data(2 * kMany, kManyLevels, 2);
  QvPatternProducts products;
  products.SetUp(data.row, data.tables, data.nParameters, true);
  EXPECT_TRUE(products.IsOpen());
  const std::vector<const double*> records = data.Pointers();
  QvCrossProducts sum = Empty(data);
  const std::size_t n = products.Add(records, data.weights.data(), data.dependents.data(), sum);
  EXPECT_LT(n, kMany);
  EXPECT_FALSE(products.IsOpen());
  EXPECT_EQ(products.Add(records, data.weights.data(), data.dependents.data(), sum), 0U);
  AddSingly(data, n, sum);
  QvCrossProducts expected = Empty(data);
  AddSingly(data, 0, expected);
  ExpectSame(sum, expected);
  products.MoveTo(sum);
  EXPECT_TRUE(products.IsOpen());
}

TEST(PatternProducts, TellOfADependentAndAWeightThatAreNotFinite) {
  PatternCase data(10, 2, 1);
  data.weights[3] = std::numeric_limits<double>::infinity();
  data.dependents[4] = std::numeric_limits<double>::quiet_NaN();
  QvPatternProducts products;
  products.SetUp(data.row, data.tables, data.nParameters, true);
  QvCrossProducts sum = Empty(data);
  EXPECT_EQ(AddTogether(data, 64, products, sum), 10U);
  EXPECT_FALSE(sum.AreWeightsFinite());
  EXPECT_FALSE(sum.IsDependentFinite());
  EXPECT_FALSE(sum.AreRowsUsual());
}

}  // namespace
