// Statistics of two parts, merged: those of all of their rows.
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/logistic/QvAccumStatsLogistic.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/DenseMatrix.h"

namespace {

using QvCommon::QvSymMatrix;
using qvtest::DenseMatrix;
using Doubles = std::vector<double>;

constexpr int kColumns = 8;
constexpr int kCategories = 3;
constexpr int kOrder = kColumns * (kCategories - 1);

/// Statistics of rows that fill few of their columns, and so are added one by one.
class SparseRowsTest : public ::testing::Test {
 protected:
  using Stats = QvAccumStatsLogistic;

  static void Add(Stats& stats, int column, int category) {
    EXPECT_EQ(stats.UpdateForRow({0, column}, {1.0, 0.5 * column}, category, 1.25, false), 0);
  }
  static DenseMatrix InformationOf(const Stats& stats) {
    QvSymMatrix information(kOrder);
    stats.GetHessian(information);
    return DenseMatrix(information);
  }
  static void ExpectSame(const Stats& actual, const Stats& expected) {
    EXPECT_DOUBLE_EQ(actual.GetLL(), expected.GetLL());
    for (std::size_t i = 0; i < expected.GetScores().size(); ++i) {
      EXPECT_DOUBLE_EQ(actual.GetScores()[i], expected.GetScores()[i]) << i;
    }
    EXPECT_GT(InformationOf(expected).Largest(), 0.0);
    EXPECT_LE(InformationOf(actual).LargestDifference(InformationOf(expected)), 1e-15);
  }

  QvLogRegSettings settings_;
  const Doubles beta_ = Doubles(kOrder, 0.25);
  Stats whole_{settings_, kColumns, kCategories, beta_};
  Stats part_{settings_, kColumns, kCategories, beta_};
};

TEST_F(SparseRowsTest, OfTwoPartsAddUp) {
  Stats other(settings_, kColumns, kCategories, beta_);
  for (Stats* stats : {&whole_, &part_}) Add(*stats, 3, 0);
  for (Stats* stats : {&whole_, &other}) Add(*stats, 5, 1);
  ASSERT_TRUE(part_.Merge(other));
  ExpectSame(part_, whole_);
}

TEST_F(SparseRowsTest, AreWhollyAmongTheBytesOfAPart) {
  for (Stats* stats : {&whole_, &part_}) Add(*stats, 3, 0);
  QvCommon::QvByteWriter writer;
  part_.Write(writer);
  const QvCommon::QvBytes bytes = writer.TakeBytes();
  Stats read(settings_, kColumns, kCategories, beta_);
  QvCommon::QvByteReader reader(bytes);
  read.Read(reader);
  EXPECT_TRUE(reader.IsAtEnd());
  ExpectSame(read, whole_);
}

}  // namespace
