// The factorisation and inverse by blocks, against the plain loops.
#include "qvreg/common/QvBlockCholesky.h"

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/DenseMatrix.h"

namespace QvCommon {
namespace {

using qvtest::AllocationFault;
using qvtest::LowerRows;
using Rows = std::vector<std::vector<double>>;

constexpr double kTolerance = 1e-12;

/// Positive definite but for rows that repeat one before, one in `every`.
QvSymMatrix RandomMatrix(int order, int every, std::mt19937& random) {
  std::normal_distribution<double> normal;
  QvSymMatrix matrix(order);
  std::vector<double> row(static_cast<std::size_t>(order));
  for (int record = 0; record < order + 10; ++record) {
    for (std::size_t j = 0; j < row.size(); ++j) {
      const bool isRepeated = every > 0 && static_cast<int>(j) % every == every - 1;
      row[j] = isRepeated ? row[j / 2] : normal(random);
    }
    matrix.UpdateXX(row, 1.0);
  }
  return matrix;
}

/// The root rounded once, as the library has it. That of MinGW's C library, which is called in code
/// that is not optimized, is rounded twice.
double RootOf(double number) {
#if defined(__SSE2__)
  return _mm_cvtsd_f64(_mm_sqrt_sd(_mm_setzero_pd(), _mm_set_sd(number)));
#else
  return std::sqrt(number);
#endif
}

/// The definition of LTChol.
int FactorPlainly(Rows& rows, double& measure) {
  int result = 0;
  measure = 1.0;
  for (std::size_t i = 0; i < rows.size(); ++i) {
    std::vector<double>& row = rows[i];
    const double original = row[i];
    for (std::size_t j = 0; j <= i; ++j) {
      double sum = 0.0;
      for (std::size_t k = 0; k < j; ++k) sum += row[k] * rows[j][k];
      if (j == i) {
        row[i] -= sum;
      } else {
        row[j] = rows[j][j] > 0.0 ? (row[j] - sum) / rows[j][j] : 0.0;
      }
    }
    if (row[i] > 0.0 && row[i] > kTolerance * original) {
      row[i] = RootOf(row[i]);
      measure = std::min(measure, row[i] / RootOf(original));
    } else {
      std::fill(row.begin(), row.end(), 0.0);
      if (result == 0) result = static_cast<int>(i) + 1;
    }
  }
  if (result != 0) measure = 0.0;
  return result;
}

/// That of LTInverse.
void InvertPlainly(Rows& rows) {
  const std::size_t n = rows.size();
  for (std::size_t i = 0; i < n; ++i) {
    const std::vector<double> factor = rows[i];
    std::fill(rows[i].begin(), rows[i].end(), 0.0);
    if (!(factor[i] > 0.0)) continue;
    for (std::size_t k = 0; k < i; ++k) {
      for (std::size_t j = 0; j <= k; ++j) rows[i][j] += factor[k] * rows[k][j];
    }
    for (std::size_t j = 0; j < i; ++j) rows[i][j] *= -(1.0 / factor[i]);
    rows[i][i] = 1.0 / factor[i];
  }
  for (std::size_t i = 0; i < n; ++i) {
    const double own = rows[i][i];
    for (std::size_t j = 0; j <= i; ++j) rows[i][j] *= own;
    for (std::size_t k = i + 1; k < n; ++k) {
      for (std::size_t j = 0; j <= i; ++j) rows[i][j] += rows[k][i] * rows[k][j];
    }
  }
}

void ExpectPlainResults(const QvSymMatrix& original) {
  QvSymMatrix matrix = original;
  Rows rows = LowerRows(original);
  double measure = -1.0;
  double expected = -1.0;
  EXPECT_EQ(matrix.LTChol(kTolerance, measure, false), FactorPlainly(rows, expected));
  EXPECT_EQ(measure, expected);
  EXPECT_TRUE(LowerRows(matrix) == rows) << "factor";
  matrix.LTInverse();
  InvertPlainly(rows);
  EXPECT_TRUE(LowerRows(matrix) == rows) << "inverse";
}

TEST(QvBlockCholesky, GivesEveryBitOfThePlainLoops) {
  std::mt19937 random(1);
  for (const int order : {47, 48, 49, 60, 63, 64, 65, 72, 100, 127, 128, 129, 136, 200, 300}) {
    SCOPED_TRACE(order);
    ExpectPlainResults(RandomMatrix(order, 0, random));
  }
}

TEST(QvBlockCholesky, TreatsSingularRowsAsThePlainLoops) {
  std::mt19937 random(2);
  for (const int every : {2, 5, 130}) {
    SCOPED_TRACE(every);
    for (const int order : {50, 131, 280}) ExpectPlainResults(RandomMatrix(order, every, random));
  }
}

TEST(QvBlockCholesky, AnElementThatIsNotANumberMakesItsRowSingular) {
  std::mt19937 random(3);
  QvSymMatrix original = RandomMatrix(200, 0, random);
  original.SetElem(150, 20, std::nan(""));
  original.SetElem(199, 199, std::nan(""));
  ExpectPlainResults(original);
}

TEST(QvBlockCholesky, StopsAtTheFirstSingularPivotOnRequest) {
  std::mt19937 random(4);
  QvSymMatrix matrix = RandomMatrix(300, 140, random);
  double measure = -1.0;
  EXPECT_EQ(matrix.LTChol(kTolerance, measure, true), 140);
  EXPECT_EQ(measure, 0.0);
}

TEST(QvBlockCholesky, ASingularPivotEndsItBeforeFurtherBlocksOnRequest) {
  std::mt19937 random(7);
  QvSymMatrix matrix = RandomMatrix(300, 20, random);
  double measure = -1.0;
  int polls = 0;
  const auto poll = [&] { return ++polls < 0; };
  EXPECT_EQ(matrix.LTChol(kTolerance, measure, true, poll), 20);
  EXPECT_EQ(polls, 0) << "asked before every block but the first";
}

TEST(QvBlockCholesky, WithoutMemoryForBlocksTakesThePlainLoops) {
  std::mt19937 random(5);
  const QvSymMatrix original = RandomMatrix(100, 9, random);
  Rows factor = LowerRows(original);
  double measure = 0.0;
  FactorPlainly(factor, measure);
  Rows inverse = factor;
  InvertPlainly(inverse);
  for (long long n = 1; n <= 4; ++n) {
    QvSymMatrix matrix = original;
    {
      const AllocationFault fault(n, AllocationFault::Extent::kOnce);
      matrix.LTChol(kTolerance, measure, false);
      EXPECT_TRUE(fault.HasStruck()) << n;
    }
    EXPECT_TRUE(LowerRows(matrix) == factor) << n;
    const AllocationFault fault(n, AllocationFault::Extent::kEverAfter);
    matrix.LTInverse();
    EXPECT_TRUE(fault.HasStruck()) << n;
    for (int i = 0; i < 100; ++i) {
      for (int j = 0; j <= i; ++j) {
        const double expected = inverse[static_cast<std::size_t>(i)][static_cast<std::size_t>(j)];
        ASSERT_EQ(matrix.GetElem(i, j), expected) << n;
      }
    }
  }
}

TEST(QvBlockCholesky, MayBeStoppedBetweenBlocks) {
  std::mt19937 random(6);
  const QvSymMatrix original = RandomMatrix(700, 0, random);
  QvSymMatrix factor = original;
  double measure = 0.0;
  int polls = 0;
  int stopAt = 0;
  const QvStopQuery atPoll = [&] { return ++polls == stopAt; };
  ASSERT_EQ(factor.LTChol(kTolerance, measure, false, atPoll), 0);
  const int ofFactor = polls;
  // A block of rows is at most 64 high, and 128 terms of its sums are added at a time.
  EXPECT_EQ(ofFactor, 0 + 2 * (1 + 2 + 3 + 4 + 5));
  for (stopAt = 1; stopAt <= ofFactor; ++stopAt) {
    polls = 0;
    QvSymMatrix matrix = original;
    EXPECT_EQ(matrix.LTChol(kTolerance, measure, false, atPoll), QvSymMatrix::kStopped);
    EXPECT_EQ(polls, stopAt);
  }
  stopAt = polls = 0;
  QvSymMatrix inverse = factor;
  ASSERT_TRUE(inverse.LTInverse(atPoll));
  const int ofInverse = polls;
  EXPECT_GE(ofInverse, 2 * ofFactor);
  for (stopAt = 1; stopAt <= ofInverse; ++stopAt) {
    polls = 0;
    inverse = factor;
    EXPECT_FALSE(inverse.LTInverse(atPoll));
    EXPECT_EQ(polls, stopAt);
  }
}

}  // namespace
}  // namespace QvCommon
