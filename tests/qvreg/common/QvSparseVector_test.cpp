#include "qvreg/common/QvSparseVector.h"

#include <cmath>
#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/DenseMatrix.h"

namespace QvCommon {
namespace {

using Ints = std::vector<int>;
using Vector = std::vector<double>;
using Rows = std::vector<std::vector<double>>;

constexpr double kInfinity = std::numeric_limits<double>::infinity();

/// What ComputeProbabilities makes of given predictors, the reference's 0 left out.
struct Logit {
  bool ok = false;
  Vector probabilities;
  double logReference = 0.0;
};

Logit LogitOf(const Vector& predictors) {
  const Ints indices = {0};
  const Vector values = {1.0};
  Logit logit;
  logit.ok = QvSparseVector(indices, values)
                 .ComputeProbabilities(predictors, static_cast<int>(predictors.size()) + 1, 1,
                                       logit.probabilities, logit.logReference);
  return logit;
}

TEST(QvSparseVector, IsValidWithEqualLengthsAndIndicesFromZeroOn) {
  const Ints none;
  const Ints indices = {0, 5};
  const Ints negative = {0, -1};
  const Vector noValues;
  const Vector one = {1};
  const Vector two = {1, 2};
  EXPECT_TRUE(QvSparseVector(none, noValues).IsValid());
  EXPECT_TRUE(QvSparseVector(indices, two).IsValid());
  EXPECT_FALSE(QvSparseVector(indices, one).IsValid());
  EXPECT_FALSE(QvSparseVector(negative, two).IsValid());
}

TEST(QvSparseVector, IsValidBelowABoundThatNoIndexReaches) {
  const Ints none;
  const Ints indices = {3, 0};
  const Ints negative = {0, -1};
  const Vector noValues;
  const Vector one = {1};
  const Vector two = {1, 2};
  EXPECT_TRUE(QvSparseVector(none, noValues).IsValidBelow(0));
  EXPECT_TRUE(QvSparseVector(indices, two).IsValidBelow(4));
  EXPECT_FALSE(QvSparseVector(indices, two).IsValidBelow(3));
  EXPECT_FALSE(QvSparseVector(negative, two).IsValidBelow(4));
  EXPECT_FALSE(QvSparseVector(indices, one).IsValidBelow(4));
  EXPECT_FALSE(QvSparseVector(none, one).IsValidBelow(4));
}

TEST(QvSparseVector, IsDenseWithEveryIndexInItsPlace) {
  const Ints none;
  const Ints indices = {0, 1, 2};
  const Ints swapped = {0, 2, 1};
  const Ints late = {1, 2, 3};
  const Vector noValues;
  const Vector two = {1, 2};
  const Vector three = {1, 2, 3};
  EXPECT_TRUE(QvSparseVector(none, noValues).IsDense(0));
  EXPECT_TRUE(QvSparseVector(indices, three).IsDense(3));
  EXPECT_FALSE(QvSparseVector(indices, three).IsDense(2));
  EXPECT_FALSE(QvSparseVector(indices, three).IsDense(4));
  EXPECT_FALSE(QvSparseVector(indices, three).IsDense(-1));
  EXPECT_FALSE(QvSparseVector(indices, two).IsDense(3));
  EXPECT_FALSE(QvSparseVector(swapped, three).IsDense(3));
  EXPECT_FALSE(QvSparseVector(late, three).IsDense(3));
}

TEST(QvSparseVector, PredictorsOfADenseRowAreThoseOfItsPlaces) {
  // Rows of every length around four, which are summed side by side: 1^2 + ... + n^2, twice.
  for (int n = 1; n <= 13; ++n) {
    Ints indices;
    Vector values;
    for (int k = 0; k < n; ++k) {
      indices.push_back(k);
      values.push_back(k + 1);
    }
    Vector beta = values;
    for (const double value : values) beta.push_back(-2.0 * value);
    const double square = n * (n + 1) * (2 * n + 1) / 6;
    const QvSparseVector row(indices, values);
    for (const bool isDense : {true, false}) {
      Vector predictors(3, 7.0);
      ASSERT_TRUE(row.ComputePredictors(beta, n, isDense, predictors));
      EXPECT_EQ(predictors, (Vector{square, -2.0 * square, 0.0})) << n;
    }
    EXPECT_EQ(row.InnerProductWithPart(beta, n), -2.0 * square) << n;
  }
}

TEST(QvSparseVector, OneOfTwoCategoriesHasWhatTheOtherLeaves) {
  for (const double predictor : {-3.0, -0.5, 0.0, 0.5, 3.0}) {
    const Logit logit = LogitOf({predictor});
    ASSERT_TRUE(logit.ok);
    EXPECT_DOUBLE_EQ(logit.probabilities[0], 1.0 / (1.0 + std::exp(-predictor)));
    EXPECT_DOUBLE_EQ(logit.probabilities[1], 1.0 / (1.0 + std::exp(predictor)));
    EXPECT_NEAR(logit.logReference, -std::log1p(std::exp(predictor)), 1e-15);
  }
}

TEST(QvSparseVector, InnerProductUsesThePartBehindTheOffset) {
  const Ints indices = {2, 0};
  const Vector values = {3, 10};
  const QvSparseVector sparse(indices, values);
  EXPECT_EQ(sparse.InnerProductWithPart({1, 2, 4, 8, 16}, 0), 22.0);
  EXPECT_EQ(sparse.InnerProductWithPart({1, 2, 4, 8, 16}, 2), 88.0);
}

TEST(QvSparseVector, InnerProductOfNothingIsZero) {
  const Ints none;
  const Vector noValues;
  EXPECT_EQ(QvSparseVector(none, noValues).InnerProductWithPart({}, 0), 0.0);
}

TEST(QvSparseVector, IncrementPartAddsBehindTheOffset) {
  const Ints indices = {1, 0};
  const Vector values = {3, 10};
  Vector v = {0, 0, 1, 1};
  EXPECT_TRUE(QvSparseVector(indices, values).IncrementPart(v, 2, 0.5));
  EXPECT_EQ(v, (Vector{0, 0, 6, 2.5}));
}

TEST(QvSparseVector, IncrementPartRefusesAPlaceThatIsMissingAndChangesNothing) {
  const Ints indices = {0, 2};
  const Vector values = {1, 1};
  Vector v = {5, 5, 5};
  EXPECT_FALSE(QvSparseVector(indices, values).IncrementPart(v, 1, 1.0));
  EXPECT_FALSE(QvSparseVector(indices, values).IncrementPart(v, -1, 1.0));
  EXPECT_EQ(v, (Vector{5, 5, 5}));
}

TEST(QvSparseVector, QuadraticOuterProductAddsEachUnorderedPairOnce) {
  const Ints indices = {2, 0};
  const Vector values = {3, -1};
  QvSymMatrix matrix = qvtest::SymMatrixOf({{1}, {1, 1}, {1, 1, 1}});
  QvSparseVector(indices, values).QuadraticOuterProductIncr(matrix, 2.0);
  EXPECT_EQ(qvtest::LowerRows(matrix), (Rows{{3}, {1, 1}, {-5, 1, 19}}));
}

TEST(QvSparseVector, ProbabilitiesFollowTheDefinition) {
  // Odds of 2 and 5 against the reference.
  const Logit logit = LogitOf({std::log(2.0), std::log(5.0)});
  ASSERT_TRUE(logit.ok);
  ASSERT_EQ(logit.probabilities.size(), 3U);
  EXPECT_DOUBLE_EQ(logit.probabilities[0], 0.25);
  EXPECT_DOUBLE_EQ(logit.probabilities[1], 0.625);
  EXPECT_DOUBLE_EQ(logit.probabilities[2], 0.125);
  EXPECT_DOUBLE_EQ(logit.logReference, -std::log(8.0));
}

TEST(QvSparseVector, EqualPredictorsGiveEqualProbabilities) {
  const Logit logit = LogitOf({0, 0, 0});
  ASSERT_TRUE(logit.ok);
  EXPECT_EQ(logit.probabilities, Vector(4, 0.25));
  EXPECT_DOUBLE_EQ(logit.logReference, -std::log(4.0));
}

TEST(QvSparseVector, ProbabilitiesTakeOneBlockOfCoefficientsACategory) {
  const Ints indices = {0, 2};
  const Vector values = {1, 2};
  const double log3 = std::log(3.0);
  // Two blocks of three: predictors log 3 and 2 log 3; the middle coefficients play no part.
  const Vector beta = {log3, 99, 0, 0, 99, log3};
  Vector probabilities;
  double logReference = 0.0;
  ASSERT_TRUE(QvSparseVector(indices, values)
                  .ComputeProbabilities(beta, 3, 3, probabilities, logReference));
  EXPECT_NEAR(probabilities[0], 3.0 / 13.0, 1e-15);
  EXPECT_NEAR(probabilities[1], 9.0 / 13.0, 1e-15);
  EXPECT_NEAR(probabilities[2], 1.0 / 13.0, 1e-15);
  EXPECT_NEAR(logReference, -std::log(13.0), 1e-15);
}

TEST(QvSparseVector, ProbabilitiesAgreeWithTheUnshiftedFormulaOnRandomPredictors) {
  std::mt19937 random(13);
  std::uniform_real_distribution<double> predictor(-30.0, 30.0);
  for (int trial = 0; trial < 200; ++trial) {
    const Vector predictors = {predictor(random), predictor(random), predictor(random)};
    long double sum = 1.0L;
    for (const double eta : predictors) sum += std::exp(static_cast<long double>(eta));
    const Logit logit = LogitOf(predictors);
    ASSERT_TRUE(logit.ok);
    for (std::size_t c = 0; c < 3; ++c) {
      const auto expected =
          static_cast<double>(std::exp(static_cast<long double>(predictors[c])) / sum);
      EXPECT_NEAR(logit.probabilities[c], expected, 1e-14 * expected);
    }
    EXPECT_NEAR(logit.logReference, static_cast<double>(-std::log(sum)), 1e-14 * 30.0);
  }
}

TEST(QvSparseVector, HugePredictorsSucceed) {
  const Logit large = LogitOf({800.0, 799.0});
  ASSERT_TRUE(large.ok);
  EXPECT_NEAR(large.probabilities[0], 1.0 / (1.0 + std::exp(-1.0)), 1e-15);
  EXPECT_EQ(large.probabilities[2], 0.0);
  EXPECT_NEAR(large.logReference, -800.0 - std::log1p(std::exp(-1.0)), 1e-12);

  const Logit small = LogitOf({-800.0});
  ASSERT_TRUE(small.ok);
  EXPECT_EQ(small.probabilities, (Vector{0.0, 1.0}));
  EXPECT_EQ(small.logReference, 0.0);
}

TEST(QvSparseVector, TheLargestFinitePredictorsSucceed) {
  constexpr double kMost = std::numeric_limits<double>::max();
  const Logit logit = LogitOf({kMost, 0.0, kMost});
  ASSERT_TRUE(logit.ok);
  EXPECT_EQ(logit.probabilities, (Vector{0.5, 0.0, 0.5, 0.0}));
  EXPECT_EQ(logit.logReference, -kMost);
  EXPECT_TRUE(LogitOf({-kMost, -kMost}).ok);
}

TEST(QvSparseVector, PredictorsFartherApartThanADoubleReachesFail) {
  constexpr double kMost = std::numeric_limits<double>::max();
  EXPECT_FALSE(LogitOf({kMost, -kMost}).ok);
  EXPECT_FALSE(LogitOf({-0.6 * kMost, 0.6 * kMost, 0.0}).ok);
  EXPECT_TRUE(LogitOf({-0.4 * kMost, 0.6 * kMost, 0.0}).ok);
}

TEST(QvSparseVector, APredictorThatIsNotFiniteFails) {
  EXPECT_FALSE(LogitOf({kInfinity}).ok);
  EXPECT_FALSE(LogitOf({-kInfinity}).ok);
  EXPECT_FALSE(LogitOf({0.0, std::nan("")}).ok);
}

TEST(QvSparseVector, APredictorThatOverflowsFails) {
  const Ints indices = {0};
  const Vector values = {1e200};
  Vector probabilities;
  double logReference = 0.0;
  EXPECT_FALSE(QvSparseVector(indices, values)
                   .ComputeProbabilities({1e200}, 2, 1, probabilities, logReference));
}

TEST(QvSparseVector, ProbabilitiesWithoutMemoryFail) {
  const Ints indices = {0};
  const Vector values = {1.0};
  const Vector beta = {0.5};
  Vector probabilities;
  double logReference = 0.0;
  const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kOnce);
  EXPECT_FALSE(QvSparseVector(indices, values)
                   .ComputeProbabilities(beta, 2, 1, probabilities, logReference));
  EXPECT_TRUE(fault.HasStruck());
}

TEST(QvSparseVector, OneCategoryIsCertain) {
  const Logit logit = LogitOf({});
  ASSERT_TRUE(logit.ok);
  EXPECT_EQ(logit.probabilities, (Vector{1.0}));
  EXPECT_EQ(logit.logReference, 0.0);
}

}  // namespace
}  // namespace QvCommon
