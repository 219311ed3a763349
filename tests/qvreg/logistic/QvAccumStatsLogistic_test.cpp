#include "qvreg/logistic/QvAccumStatsLogistic.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvKernels.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/DenseMatrix.h"
#include "tests/qvreg/support/VirtualSlot.h"

namespace {

using QvCommon::QvSymMatrix;
using qvtest::DenseMatrix;
using qvtest::MultinomialSums;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;

constexpr double kLargest = std::numeric_limits<double>::max();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr auto kNewton = QvConst::QvMethodNewtonRaphson;

struct Extremes {
  double minObserved = 0.0;
  double maxObserved = 0.0;
  double minComputed = 0.0;
};

Extremes ExtremesOf(const QvAccumStatsLogistic& stats) {
  Extremes extremes;
  stats.GetMinMaxProbabilities(extremes.minObserved, extremes.maxObserved, extremes.minComputed);
  return extremes;
}

struct Counts {
  int valid = -1;
  int invalid = -1;
  double weight = -1.0;

  bool operator==(const Counts&) const = default;
};

Counts CountsOf(const QvAccumStatsLogistic& stats) {
  Counts counts;
  stats.GetCounts(counts.valid, counts.invalid, counts.weight);
  return counts;
}

QvSymMatrix InformationOf(const QvAccumStatsLogistic& stats, int order) {
  QvSymMatrix information(order);
  stats.GetHessian(information);
  return information;
}

bool IsZero(const QvSymMatrix& matrix) { return DenseMatrix(matrix).Largest() == 0.0; }

/// The last of K = 3 categories is the reference; x = (1, 2) has the predictors -1.5, 1.25 and 0.
class QvAccumStatsTest : public ::testing::Test {
 protected:
  int Update(int category, double weight, bool llOnly = false) {
    return stats_.UpdateForRow({0, 1}, {1, 2}, category, weight, llOnly);
  }
  void ExpectUntouched() {
    EXPECT_EQ(stats_.GetLL(), 0.0);
    EXPECT_EQ(stats_.GetScores(), Doubles(4, 0.0));
    EXPECT_TRUE(IsZero(InformationOf(stats_, 4)));
    EXPECT_EQ(CountsOf(stats_), (Counts{0, 0, 0.0}));
  }

  QvLogRegSettings settings_;
  Doubles beta_{0.5, -1, -0.25, 0.75};
  QvAccumStatsLogistic stats_{settings_, 2, 3, beta_};
};

// With mpmath at 30 digits: exp(-1.5), exp(1.25) and 1 over their sum.
constexpr double kPi0 = 0.047338799772673090341;
constexpr double kPi1 = 0.74050341868321585305;
constexpr double kPi2 = 0.21215778154411105661;
constexpr double kLogPi1 = -0.30042502856216430685;
constexpr double kLogPi2 = -1.5504250285621643069;

TEST_F(QvAccumStatsTest, StartsValidAndEmpty) {
  EXPECT_TRUE(stats_.IsValid());
  ExpectUntouched();
  const Extremes extremes = ExtremesOf(stats_);
  EXPECT_EQ(extremes.minObserved, kLargest);
  EXPECT_EQ(extremes.maxObserved, -kLargest);
  EXPECT_EQ(extremes.minComputed, kLargest);
}

TEST_F(QvAccumStatsTest, OneRowByHand) {
  EXPECT_EQ(Update(1, 1.5), 0);
  EXPECT_NEAR(stats_.GetLL(), -0.450637542843246460275, 1e-15);
  const Doubles scores{-0.0710081996590096355109, -0.142016399318019271022, 0.389244871975176220426,
                       0.778489743950352440852};
  for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(stats_.GetScores()[i], scores[i], 1e-15) << i;
  const QvSymMatrix expected = qvtest::SymMatrixOf(
      {{0.067646756713133785},
       {0.13529351342626757, 0.27058702685253514},
       {-0.052581814602036997, -0.10516362920407399, 0.28823715840252867},
       {-0.10516362920407399, -0.21032725840814799, 0.57647431680505734, 1.1529486336101147}});
  EXPECT_LE(DenseMatrix(InformationOf(stats_, 4)).LargestDifference(DenseMatrix(expected)), 1e-15);
  EXPECT_EQ(CountsOf(stats_), (Counts{1, 0, 1.5}));
}

TEST_F(QvAccumStatsTest, ARowOfTheReferenceAddsTheLogOfItsProbabilityOnly) {
  EXPECT_EQ(Update(2, 2.0), 0);
  EXPECT_NEAR(stats_.GetLL(), 2.0 * kLogPi2, 1e-15);
  // -pi_c w x in every block.
  const Doubles scores{-2 * kPi0, -4 * kPi0, -2 * kPi1, -4 * kPi1};
  for (std::size_t i = 0; i < 4; ++i) EXPECT_NEAR(stats_.GetScores()[i], scores[i], 1e-15) << i;
}

TEST_F(QvAccumStatsTest, RowsAddUp) {
  Update(1, 1.0);
  Update(2, 0.5);
  EXPECT_NEAR(stats_.GetLL(), kLogPi1 + 0.5 * kLogPi2, 1e-15);
  EXPECT_EQ(CountsOf(stats_), (Counts{2, 0, 1.5}));
}

TEST_F(QvAccumStatsTest, ReadsTheEstimatesAsTheyAreAtEveryRow) {
  Update(2, 1.0);
  beta_ = {0, 0, 0, 0};
  Update(2, 1.0);
  EXPECT_NEAR(stats_.GetLL(), kLogPi2 + std::log(1.0 / 3.0), 1e-15);
}

TEST_F(QvAccumStatsTest, AWeightThatIsNotAboveZeroIsRefusedAndCountedNowhere) {
  stats_.Reset(kNewton, true);
  for (const double weight : {0.0, -0.0, -1.0, -kLargest}) EXPECT_EQ(Update(0, weight), -1);
  ExpectUntouched();
  EXPECT_EQ(ExtremesOf(stats_).minComputed, kLargest);
}

TEST_F(QvAccumStatsTest, ANaNWeightIsNotRefused) {
  EXPECT_EQ(Update(0, kNaN), 0);
  EXPECT_EQ(CountsOf(stats_).valid, 1);
  EXPECT_TRUE(std::isnan(stats_.GetLL()));
}

TEST_F(QvAccumStatsTest, ACategoryOutOfRangeIsRefusedAndCountedNowhere) {
  for (const int category : {-1, 3, 1000}) EXPECT_EQ(Update(category, 1.0), -1) << category;
  ExpectUntouched();
}

TEST_F(QvAccumStatsTest, AnInvalidSparseRowIsRefusedAndCountedNowhere) {
  const std::vector<std::pair<Ints, Doubles>> rows{
      {{0, 1}, {1}}, {{0}, {1, 2}}, {{0, -1}, {1, 2}}, {{0, 2}, {1, 2}}};
  for (const auto& [indices, values] : rows) {
    EXPECT_EQ(stats_.UpdateForRow(indices, values, 0, 1.0, false), -1);
  }
  ExpectUntouched();
}

TEST_F(QvAccumStatsTest, AnEmptyRowHasEqualProbabilities) {
  EXPECT_EQ(stats_.UpdateForRow({}, {}, 0, 1.0, false), 0);
  EXPECT_NEAR(stats_.GetLL(), std::log(1.0 / 3.0), 1e-15);
  EXPECT_EQ(stats_.GetScores(), Doubles(4, 0.0));
  EXPECT_TRUE(IsZero(InformationOf(stats_, 4)));
}

TEST_F(QvAccumStatsTest, ProbabilitiesThatCannotBeComputedCountAsAnInvalidCall) {
  for (const double x : {kNaN, std::numeric_limits<double>::infinity(), kLargest}) {
    EXPECT_EQ(stats_.UpdateForRow({0, 1}, {x, -x}, 0, 1.0, false), -1) << x;
  }
  EXPECT_EQ(CountsOf(stats_), (Counts{0, 3, 0.0}));
  EXPECT_EQ(stats_.GetLL(), 0.0);
  EXPECT_EQ(stats_.GetScores(), Doubles(4, 0.0));
}

TEST_F(QvAccumStatsTest, LargePredictorsDoNotOverflow) {
  // Predictors -1500, 1250 and 0: all certain within a double.
  EXPECT_EQ(stats_.UpdateForRow({0, 1}, {1000, 2000}, 1, 1.0, false), 0);
  EXPECT_EQ(stats_.GetLL(), 0.0);
  EXPECT_EQ(stats_.UpdateForRow({0, 1}, {1000, 2000}, 0, 1.0, true), 0);
  EXPECT_EQ(stats_.GetLL(), -2750.0);
  EXPECT_EQ(stats_.UpdateForRow({0, 1}, {1000, 2000}, 2, 1.0, true), 0);
  EXPECT_EQ(stats_.GetLL(), -4000.0);
}

TEST_F(QvAccumStatsTest, PredictorsFartherApartThanADoubleReachesAreAnInvalidCall) {
  // Predictors -0.9, 0.9 and 0 times the largest double: the first minus the second overflows.
  beta_ = {-0.9 * kLargest, 0, 0.9 * kLargest, 0};
  for (const int category : {0, 1, 2}) EXPECT_EQ(Update(category, 1.0), -1) << category;
  EXPECT_EQ(CountsOf(stats_), (Counts{0, 3, 0.0}));
  EXPECT_EQ(stats_.GetLL(), 0.0);
  // One sign only: the farthest is within reach.
  beta_ = {-0.9 * kLargest, 0, -0.5 * kLargest, 0};
  EXPECT_EQ(Update(0, 1.0, true), 0);
  EXPECT_EQ(stats_.GetLL(), -0.9 * kLargest);
}

TEST_F(QvAccumStatsTest, TheLogLikelihoodKeepsTermsBelowItsLastDigit) {
  // Equal probabilities: the first row adds 2^60 log(1/3), whose last digit is worth 256; every
  // other far less than that. Weights in turn keep their logarithms apart.
  beta_ = {0, 0, 0, 0};
  EXPECT_EQ(Update(0, std::ldexp(1.0, 60), true), 0);
  const double first = stats_.GetLL();
  for (int i = 0; i < 1000; ++i) Update(i % 3, i % 2 == 0 ? 1.0 : 2.0, true);
  EXPECT_NEAR(stats_.GetLL() - first, 1500 * std::log(1.0 / 3.0), 256.0);
}

TEST_F(QvAccumStatsTest, TheLogLikelihoodKeepsPredictorsBelowItsLastDigit) {
  // The predictors 40, 0, 0: of category 1 the log-likelihood is -40 but for 2 exp(-40), of
  // category 0 next to nothing. The first row adds -40 times 2^60, whose last digit is worth 8192.
  beta_ = {40, 0, 0, 0};
  EXPECT_EQ(Update(1, std::ldexp(1.0, 60), true), 0);
  const double first = stats_.GetLL();
  for (int i = 0; i < 1000; ++i) Update(1, i % 2 == 0 ? 1.0 : 2.0, true);
  EXPECT_NEAR(stats_.GetLL() - first, -60000.0, 8192.0);
}

TEST_F(QvAccumStatsTest, LogLikelihoodOnlyLeavesScoresAndInformation) {
  stats_.Reset(kNewton, true);
  EXPECT_EQ(Update(1, 1.5, true), 0);
  EXPECT_NEAR(stats_.GetLL(), 1.5 * kLogPi1, 1e-15);
  EXPECT_EQ(CountsOf(stats_), (Counts{1, 0, 1.5}));
  EXPECT_NEAR(ExtremesOf(stats_).maxObserved, kPi1, 1e-15);
  EXPECT_EQ(stats_.GetScores(), Doubles(4, 0.0));
  EXPECT_TRUE(IsZero(InformationOf(stats_, 4)));
}

TEST_F(QvAccumStatsTest, WithoutTheSeparationCheckTheExtremesKeepTheirStart) {
  Update(1, 1.0);
  Update(0, 1.0);
  const Extremes extremes = ExtremesOf(stats_);
  EXPECT_EQ(extremes.minObserved, kLargest);
  EXPECT_EQ(extremes.maxObserved, -kLargest);
  EXPECT_EQ(extremes.minComputed, kLargest);
}

TEST_F(QvAccumStatsTest, TheSeparationCheckTracksTheExtremes) {
  stats_.Reset(kNewton, true);
  Update(1, 1.0);
  EXPECT_NEAR(ExtremesOf(stats_).minObserved, kPi1, 1e-15);
  EXPECT_NEAR(ExtremesOf(stats_).maxObserved, kPi1, 1e-15);
  EXPECT_NEAR(ExtremesOf(stats_).minComputed, kPi0, 1e-15);
  Update(2, 1.0);
  EXPECT_NEAR(ExtremesOf(stats_).minObserved, kPi2, 1e-15);
  EXPECT_NEAR(ExtremesOf(stats_).maxObserved, kPi1, 1e-15);
  stats_.UpdateForRow({0, 1}, {-2, -4}, 0, 1.0, false);  // predictors 3, -2.5, 0
  EXPECT_NEAR(ExtremesOf(stats_).minComputed, std::exp(-2.5) / (std::exp(3.0) + std::exp(-2.5) + 1),
              1e-15);
}

TEST_F(QvAccumStatsTest, ResetClearsEverythingAndTakesTheNewFlag) {
  stats_.Reset(kNewton, true);
  Update(1, 1.0);
  stats_.UpdateForRow({0}, {kNaN}, 0, 1.0, false);
  stats_.Reset(QvConst::QvMethodFisherScoring, false);
  ExpectUntouched();
  EXPECT_EQ(ExtremesOf(stats_).minObserved, kLargest);
  EXPECT_EQ(ExtremesOf(stats_).maxObserved, -kLargest);
  EXPECT_EQ(ExtremesOf(stats_).minComputed, kLargest);
  Update(1, 1.0);
  EXPECT_EQ(ExtremesOf(stats_).minObserved, kLargest) << "the new pass does not track";
  EXPECT_EQ(beta_, (Doubles{0.5, -1, -0.25, 0.75}));
}

TEST_F(QvAccumStatsTest, TheMethodDoesNotChangeTheSums) {
  Update(1, 1.5);
  const double ll = stats_.GetLL();
  const auto information = qvtest::LowerRows(InformationOf(stats_, 4));
  stats_.Reset(QvConst::QvMethodFisherScoring, false);
  Update(1, 1.5);
  EXPECT_EQ(stats_.GetLL(), ll);
  EXPECT_EQ(qvtest::LowerRows(InformationOf(stats_, 4)), information);
}

TEST_F(QvAccumStatsTest, ConstraintsAlwaysHoldAndAHalvingHalves) {
  EXPECT_TRUE(stats_.CheckConstraints());
  EXPECT_EQ(stats_.GetStepAdjustmentFactor(), 1.0);
}

TEST_F(QvAccumStatsTest, DisplayPrintsItsFieldsInOrder) {
  stats_.Reset(kNewton, true);
  Update(1, 1.5);
  const std::vector<std::string> all =
      qvtest::LineLabels(qvtest::OutputOf([this] { stats_.Display(false); }));
  const std::vector<std::string> wanted{"QvAccumStatsLogistic display start",
                                        "Number of estimated parameters in the model",
                                        "Number of response categories of the dependent variable",
                                        "Accumulated log-likelihood",
                                        "Accumulated vector of scores",
                                        "Accumulated Hessian",
                                        "Number of valid rows processed",
                                        "Number of invalid calls to UpdateForRow()",
                                        "Accumulated weight",
                                        "Separation check",
                                        "Minimum probability of the observed response",
                                        "Maximum probability of the observed response",
                                        "Minimum computed probability",
                                        "Validity indicator",
                                        "QvAccumStatsLogistic display end"};
  auto place = all.begin();
  for (const std::string& label : wanted) {
    place = std::find(place, all.end(), label);
    ASSERT_NE(place, all.end()) << label;
    ++place;
  }
  EXPECT_EQ(place, all.end());
}

TEST_F(QvAccumStatsTest, DisplayOfTheLogLikelihoodPrintsNothingElse) {
  Update(1, 1.5);
  EXPECT_EQ(
      qvtest::LineLabels(qvtest::OutputOf([this] { stats_.Display(true); })),
      (std::vector<std::string>{"QvAccumStatsLogistic display start", "Accumulated log-likelihood",
                                "QvAccumStatsLogistic display end"}));
}

TEST(QvAccumStatsLogistic, OfImpossibleSizesIsInvalidAndAllocatesNothing) {
  // The first question for kernels allocates, whoever asks it.
  static_cast<void>(QvCommon::QvKernels::Get());
  const QvLogRegSettings settings;
  const Doubles beta(100, 0.0);
  for (const auto& [p, K] : std::vector<std::pair<int, int>>{{2, 1}, {2, 0}, {2, -5}, {-1, 3}}) {
    const long long before = qvtest::AllocationCount();
    const QvAccumStatsLogistic stats(settings, p, K, beta);
    EXPECT_EQ(qvtest::AllocationCount(), before);
    EXPECT_FALSE(stats.IsValid()) << p << ", " << K;
    EXPECT_TRUE(stats.GetScores().empty());
  }
}

TEST(QvAccumStatsLogistic, WithTooFewEstimatesIsInvalid) {
  const QvLogRegSettings settings;
  const Doubles beta(5, 0.0);
  EXPECT_FALSE(QvAccumStatsLogistic(settings, 3, 3, beta).IsValid());
  EXPECT_TRUE(QvAccumStatsLogistic(settings, 5, 2, beta).IsValid());
  EXPECT_TRUE(QvAccumStatsLogistic(settings, 2, 3, beta).IsValid()) << "more are no harm";
}

TEST(QvAccumStatsLogistic, WithoutMemoryIsInvalid) {
  const QvLogRegSettings settings;
  const Doubles beta(4, 0.0);
  bool hasStruck = true;
  int failures = 0;
  for (long long n = 1; hasStruck; ++n) {
    bool isValid = false;
    {
      const qvtest::AllocationFault fault(n, qvtest::AllocationFault::Extent::kOnce);
      isValid = QvAccumStatsLogistic(settings, 2, 3, beta).IsValid();
      hasStruck = fault.HasStruck();
    }
    EXPECT_EQ(isValid, !hasStruck) << n;
    failures += isValid ? 0 : 1;
  }
  EXPECT_GT(failures, 2);
}

TEST(QvAccumStatsLogistic, WithoutParametersEveryRowAddsTheLogOfOneOverK) {
  const QvLogRegSettings settings;
  const Doubles beta;
  QvAccumStatsLogistic stats(settings, 0, 4, beta);
  ASSERT_TRUE(stats.IsValid());
  stats.Reset(kNewton, true);
  EXPECT_EQ(stats.UpdateForRow({}, {}, 0, 2.0, false), 0);
  EXPECT_EQ(stats.UpdateForRow({}, {}, 3, 1.0, false), 0);
  EXPECT_NEAR(stats.GetLL(), 3.0 * std::log(0.25), 1e-15);
  EXPECT_EQ(ExtremesOf(stats).minObserved, 0.25);
  EXPECT_EQ(ExtremesOf(stats).maxObserved, 0.25);
  EXPECT_EQ(ExtremesOf(stats).minComputed, 0.25);
  EXPECT_TRUE(stats.GetScores().empty());
  // What the vectors hold does not matter then.
  EXPECT_EQ(stats.UpdateForRow({-7}, {1, 2}, 1, 1.0, false), 0);
  EXPECT_EQ(CountsOf(stats), (Counts{3, 0, 4.0}));
}

struct Shape {
  int p;
  int K;
  /// The share of a row's columns that are not zero.
  double density;
};

/// Random rows against the sums from their definition.
class QvAccumStatsShapeTest : public ::testing::TestWithParam<Shape> {
 protected:
  QvAccumStatsShapeTest() {
    std::normal_distribution<double> normal(0.0, 0.7);
    for (int i = 0; i < order_; ++i) beta_.push_back(normal(random_));
  }

  Doubles RandomRow() {
    std::uniform_real_distribution<double> share(0.0, 1.0);
    std::normal_distribution<double> normal(0.0, 1.0);
    Doubles row;
    for (int k = 0; k < GetParam().p; ++k) {
      row.push_back(share(random_) < GetParam().density ? normal(random_) : 0.0);
    }
    return row;
  }

  std::mt19937 random_{20240511};
  const int order_ = (GetParam().K - 1) * GetParam().p;
  const QvLogRegSettings settings_;
  Doubles beta_;
};

TEST_P(QvAccumStatsShapeTest, AgreesWithTheDefinition) {
  const auto [p, K, density] = GetParam();
  QvAccumStatsLogistic stats(settings_, p, K, beta_);
  MultinomialSums sums(p, K, beta_);
  stats.Reset(kNewton, true);
  std::uniform_int_distribution<int> category(0, K - 1);
  std::uniform_real_distribution<double> weight(0.1, 3.0);
  for (int i = 0; i < 60; ++i) {
    const Doubles row = RandomRow();
    Ints indices;
    Doubles values;
    for (int k = p - 1; k >= 0; --k) {  // In no particular order.
      const double value = row[static_cast<std::size_t>(k)];
      if (value == 0.0) continue;
      indices.push_back(k);
      values.push_back(value);
    }
    const int y = category(random_);
    const double w = weight(random_);
    ASSERT_EQ(stats.UpdateForRow(indices, values, y, w, false), 0);
    sums.Add(row, y, w);
  }
  EXPECT_NEAR(stats.GetLL(), static_cast<double>(sums.LogLikelihood()),
              1e-13 * std::fabs(stats.GetLL()));
  ASSERT_EQ(stats.GetScores().size(), static_cast<std::size_t>(order_));
  for (int i = 0; i < order_; ++i) {
    EXPECT_NEAR(stats.GetScores()[static_cast<std::size_t>(i)],
                static_cast<double>(sums.Scores()(i, 0)), 1e-12);
  }
  const DenseMatrix information(InformationOf(stats, order_));
  EXPECT_LE(information.LargestDifference(sums.Information()),
            1e-13 * sums.Information().Largest());
  EXPECT_EQ(CountsOf(stats).valid, 60);
  EXPECT_EQ(CountsOf(stats).invalid, 0);
}

TEST_P(QvAccumStatsShapeTest, ARowAllocatesNothing) {
  const auto [p, K, density] = GetParam();
  QvAccumStatsLogistic stats(settings_, p, K, beta_);
  Ints indices;
  Doubles values;
  for (int k = 0; k < p; ++k) {
    if (k >= density * p) break;
    indices.push_back(k);
    values.push_back(0.5);
  }
  const long long before = qvtest::AllocationCount();
  for (int i = 0; i < 10; ++i) {
    stats.Reset(kNewton, i % 2 == 0);
    ASSERT_EQ(stats.UpdateForRow(indices, values, i % K, 1.0, i % 3 == 0), 0);
  }
  EXPECT_EQ(qvtest::AllocationCount(), before);
}

INSTANTIATE_TEST_SUITE_P(Shapes, QvAccumStatsShapeTest,
                         ::testing::Values(Shape{1, 2, 1.0}, Shape{4, 2, 1.0}, Shape{12, 2, 0.2},
                                           Shape{5, 3, 1.0}, Shape{5, 3, 0.4}, Shape{17, 3, 0.15},
                                           Shape{3, 5, 1.0}, Shape{9, 5, 0.9}, Shape{20, 5, 0.1},
                                           Shape{6, 7, 0.5}));

TEST(QvAccumStatsLogistic, ADenseRowLeavesNothingBehindForTheNext) {
  const QvLogRegSettings settings;
  const Doubles beta(8, 0.1);
  QvAccumStatsLogistic stats(settings, 4, 3, beta);
  stats.UpdateForRow({0, 1, 2}, {5, 6, 7}, 0, 1.0, false);
  stats.Reset(kNewton, false);
  stats.UpdateForRow({1, 2, 3}, {1, 1, 1}, 0, 1.0, false);
  EXPECT_EQ(InformationOf(stats, 8).GetElem(0, 0), 0.0);
  EXPECT_EQ(InformationOf(stats, 8).GetElem(4, 4), 0.0);
}

TEST(IQvAccumStats, DeclaresItsOperationsInSlotOrder) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  std::size_t slot = qvtest::kSlotAfterDestructor;
  EXPECT_EQ(qvtest::VirtualSlot(&IQvAccumStats::Reset), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvAccumStats::CheckConstraints), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvAccumStats::UpdateForRow), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvAccumStats::GetLL), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvAccumStats::GetScores), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvAccumStats::GetHessian), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvAccumStats::GetCounts), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvAccumStats::GetMinMaxProbabilities), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvAccumStats::GetStepAdjustmentFactor), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&IQvAccumStats::Display), slot++);
}

}  // namespace
