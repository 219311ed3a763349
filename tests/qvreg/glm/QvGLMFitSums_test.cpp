#include "qvreg/glm/QvGLMFitSums.h"

#include <array>
#include <cmath>
#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvKernels.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::FittedModel;
using qvtest::LinearSettings;
using qvtest::MakeRecords;
using Rows = std::vector<std::vector<double>>;

TEST(QvGLMFitSums, SumsWeightedSquaredResiduals) {
  QvGLMFitSums sums;
  sums.Add(3, 0, 2);
  sums.Add(0.5, 0, -3);
  EXPECT_EQ(sums.GetResidualSum(), 3 * 4 + 0.5 * 9);
}

TEST(QvGLMFitSums, KeepsSmallTerms) {
  QvGLMFitSums sums;
  sums.Add(1, 1e8, 1e8);
  for (int i = 0; i < 1000; ++i) sums.Add(1, 0.5, 0.5);
  EXPECT_EQ(sums.GetResidualSum(), 1e16 + 250.0);
  EXPECT_EQ(sums.GetTotalSum(), 1e16 + 250.0);
}

TEST(QvGLMFitSums, KeepsWhatSquaresLose) {
  // (1 + 2^-27)^2 lacks 2^-54 when rounded; with as much and a little more, that rounds up.
  QvGLMFitSums sums;
  sums.Add(1, 1 + 0x1p-27, 1 + 0x1p-27);
  sums.Add(0x1p-54 + 0x1p-80, 1, 1);
  EXPECT_EQ(sums.GetResidualSum(), 1 + 0x1p-26 + 0x1p-52);
  EXPECT_EQ(sums.GetTotalSum(), 1 + 0x1p-26 + 0x1p-52);
}

TEST(QvGLMFitSums, SquaresNothingBeforeItIsWeighted) {
  QvGLMFitSums sums;
  sums.Add(0x1p-800, 0x1p+600, 0x1p+601);
  EXPECT_EQ(sums.GetResidualSum(), 0x1p+402);
  EXPECT_EQ(sums.GetTotalSum(), 0x1p+400);
}

TEST(QvGLMFitSums, TheTotalWithoutAMeanIsThatOfSquares) {
  QvGLMFitSums sums;
  sums.Add(2, 3, 0);
  sums.Add(0.5, 3, 0);
  EXPECT_EQ(sums.GetTotalSum(), 2.5 * 9);
}

TEST(QvGLMFitSums, TheTotalIsAboutTheMeanEvenIfThatIsGivenInexactly) {
  // Weights 1, 2, 1 of 1, 2, 7: mean 3, sum 4 + 2 + 16.
  for (const double mean : {3.0, 3.0 + 0x1p-50, 2.999, 5.0}) {
    QvGLMFitSums sums(mean);
    sums.Add(1, 1, 0);
    sums.Add(2, 2, 0);
    sums.Add(1, 7, 0);
    EXPECT_DOUBLE_EQ(sums.GetTotalSum(), 22.0) << mean;
  }
}

TEST(QvGLMFitSums, TellsValuesOneRoundingApart) {
  // The mean of both is no double.
  const double y = 1e12;
  const double next = std::nextafter(y, 2 * y);
  for (const double mean : {y, next, std::nextafter(next, 2 * y)}) {
    QvGLMFitSums sums(mean);
    sums.Add(1, y, 0);
    sums.Add(1, next, 0);
    EXPECT_EQ(sums.GetTotalSum(), 0.5 * (next - y) * (next - y));
  }
}

TEST(QvGLMFitSums, TellsADeviationOfNextToNoWeight) {
  // Weights 1 and v: v / (1 + v) times the squared difference.
  const double small = 0x1p-40;
  QvGLMFitSums sums(std::nextafter(1.0, 2.0));
  sums.Add(1, 1, 0);
  sums.Add(small, std::nextafter(1.0, 0.0), 0);
  EXPECT_DOUBLE_EQ(sums.GetTotalSum(), small / (1.0 + small) * 0x1p-106);
}

/// The sums of 17 records of y with random weights, about a mean that is some roundings off, once
/// with a first and a last record of another value and weight 0.
QvGLMFitSums SumsOfConstant(double y, std::mt19937& generator, bool hasUnweighted) {
  std::uniform_real_distribution<double> weight(0.1, 1.6);
  QvGLMFitSums sums(y * (1.0 + 3e-15));
  if (hasUnweighted) sums.Add(0, y + 1, 1);
  for (int i = 0; i < 17; ++i) sums.Add(weight(generator), y, 0);
  if (hasUnweighted) sums.Add(0, y + 2, 1);
  return sums;
}

TEST(QvGLMFitSums, AConstantHasNoTotal) {
  std::mt19937 generator(3);
  for (const double y : {98.6, 1e-140, -3e150, 0.0}) {
    for (int run = 0; run < 400; ++run) {
      ASSERT_EQ(SumsOfConstant(y, generator, false).GetTotalSum(), 0.0) << y;
    }
  }
}

TEST(QvGLMFitSums, ARecordWithoutWeightDoesNotCount) {
  std::mt19937 generator(3);
  for (int run = 0; run < 400; ++run) {
    const QvGLMFitSums sums = SumsOfConstant(98.6, generator, true);
    ASSERT_EQ(sums.GetTotalSum(), 0.0);
    ASSERT_EQ(sums.GetResidualSum(), 0.0);
  }
}

/// Arrays of records that are added together, all without weight and 0 to begin with.
struct Panel {
  std::array<double, QvCommon::QvKernels::kRows> weights{};
  std::array<double, QvCommon::QvKernels::kRows> ys{};
  std::array<double, QvCommon::QvKernels::kRows> residuals{};

  void AddTo(QvGLMFitSums& sums, std::size_t n) const {
    sums.AddMany(n, weights.data(), ys.data(), residuals.data(), QvCommon::QvKernels::Get());
  }
};

/// About a mean that is some roundings off, so that sums of a constant would not be 0.
QvGLMFitSums AlmostAbout(double y) { return QvGLMFitSums(y * (1.0 + 3e-15)); }

TEST(QvGLMFitSums, AConstantInAPanelHasNoTotalWhateverHasNoWeight) {
  Panel panel;
  Panel none;
  none.ys.fill(7.0);
  std::mt19937 generator(3);
  std::uniform_real_distribution<double> weight(0.1, 1.6);
  for (int run = 0; run < 100; ++run) {
    for (std::size_t r = 0; r < panel.ys.size(); ++r) {
      const bool hasWeight = r % 5 != 0;
      panel.ys[r] = hasWeight ? 98.6 : 98.7;
      panel.weights[r] = hasWeight ? weight(generator) : 0.0;
    }
    QvGLMFitSums sums = AlmostAbout(98.6);
    none.AddTo(sums, 3);
    panel.AddTo(sums, panel.ys.size());
    panel.AddTo(sums, 17);
    ASSERT_EQ(sums.GetTotalSum(), 0.0);
  }
}

TEST(QvGLMFitSums, APanelIsNoConstantForItsFirstRecordAlone) {
  // 1 and 3, 3, 3 about their mean: 2.25 + 3 x 0.25.
  Panel panel;
  panel.ys = {1, 3, 3, 3};
  panel.weights = {1, 1, 1, 1};
  QvGLMFitSums sums(2.5);
  panel.AddTo(sums, 4);
  EXPECT_EQ(sums.GetTotalSum(), 3.0);
}

TEST(QvGLMFitSums, MergedPartsOfAConstantHaveNoTotal) {
  std::mt19937 generator(3);
  for (int run = 0; run < 400; ++run) {
    QvGLMFitSums whole(98.6 * (1.0 + 3e-15));
    for (int part = 0; part < 3; ++part) whole.Merge(SumsOfConstant(98.6, generator, false));
    ASSERT_EQ(whole.GetTotalSum(), 0.0);
  }
}

TEST(QvGLMFitSums, PartsThatAreConstantEachMayDiffer) {
  // 1, 1 and 3, 3 about their mean.
  QvGLMFitSums ones(2.0);
  QvGLMFitSums threes(2.0);
  for (int i = 0; i < 2; ++i) {
    ones.Add(1, 1, 0);
    threes.Add(1, 3, 0);
  }
  QvGLMFitSums whole(2.0);
  whole.Merge(ones);
  whole.Merge(QvGLMFitSums(2.0));
  whole.Merge(threes);
  EXPECT_EQ(whole.GetTotalSum(), 4.0);
  ones.Merge(threes);
  EXPECT_EQ(ones.GetTotalSum(), 4.0);
}

TEST(QvGLMFitSums, OfAnotherMeanAreNotRead) {
  QvGLMFitSums sums(2.0);
  sums.Add(1, 3, 1);
  QvCommon::QvByteWriter writer;
  sums.Write(writer);
  const QvCommon::QvBytes bytes = writer.TakeBytes();
  const auto isRead = [&bytes](QvGLMFitSums into) {
    QvCommon::QvByteReader reader(bytes);
    into.Read(reader);
    return reader.IsAtEnd();
  };
  EXPECT_TRUE(isRead(QvGLMFitSums(2.0)));
  EXPECT_FALSE(isRead(QvGLMFitSums(3.0)));
  EXPECT_FALSE(isRead(QvGLMFitSums(0.0)));
  EXPECT_FALSE(isRead(QvGLMFitSums())) << "about no mean";
}

TEST(QvGLMFitSums, ATotalIsNotNegative) {
  // The deviation of the last value is less than rounding leaves of the others.
  std::mt19937 generator(3);
  for (int run = 0; run < 400; ++run) {
    QvGLMFitSums sums = SumsOfConstant(98.6, generator, false);
    sums.Add(0x1p-200, 99, 0);
    ASSERT_GE(sums.GetTotalSum(), 0.0);
  }
}

double StatOf(LinearSettings& settings, const Rows& rows, QvConst::QvModelFitStat stat) {
  return FittedModel(settings.Get(), MakeRecords(rows)).Stats().GetModelFitStat(stat);
}

TEST(FitStatistics, AConstantDependentWithWeightsHasRSquareZero) {
  // The weighted mean is not always the constant, but a rounding off.
  LinearSettings settings(0, {}, {1});
  settings.Effect({}, {1}).FrequencyWeight(2).Refined();
  for (int first = 1; first <= 16; ++first) {
    for (int step = 1; step <= 15; step += 2) {
      Rows rows;
      for (int i = 0; i < 7; ++i) {
        rows.push_back({98.6, 0.3 * i * i, 0.1 * (1 + (first + i * step) % 16)});
      }
      ASSERT_EQ(StatOf(settings, rows, QvConst::QvFitMultipleRSquare), 0.0) << first << step;
      ASSERT_LT(StatOf(settings, rows, QvConst::QvFitRootMeanSquareError), 1e-13);
    }
  }
}

TEST(FitStatistics, RSquareKeepsItsDigitsFarFromZero) {
  // Levels 0, 3, 6; 4, 8; 5, 7, 9 above an offset, in steps of the last digit that it leaves: 34
  // within levels, 59.5 in all.
  constexpr double kStep = 0x1p-12;
  LinearSettings settings(0, {{1, 3}}, {});
  settings.Effect({1}).Refined();
  Rows rows;
  for (const std::vector<double>& row :
       Rows{{0, 0}, {3, 0}, {6, 0}, {4, 1}, {8, 1}, {5, 2}, {7, 2}, {9, 2}}) {
    rows.push_back({0x1p+40 + kStep * row[0], row[1]});
  }
  EXPECT_NEAR(StatOf(settings, rows, QvConst::QvFitMultipleRSquare), 3.0 / 7, 1e-15);
  EXPECT_NEAR(StatOf(settings, rows, QvConst::QvFitRootMeanSquareError) / kStep,
              std::sqrt(34.0 / 8), 1e-14);
}

TEST(FitStatistics, AnInterceptAloneExplainsNothing) {
  std::mt19937 generator(7);
  std::uniform_real_distribution<double> uniform(0.1, 2.0);
  for (const bool refine : {false, true}) {
    LinearSettings settings(0, {}, {});
    settings.FrequencyWeight(1);
    if (refine) settings.Refined();
    for (int run = 0; run < 100; ++run) {
      Rows rows;
      for (int i = 0; i < 9; ++i) rows.push_back({50 + uniform(generator), uniform(generator)});
      ASSERT_EQ(StatOf(settings, rows, QvConst::QvFitMultipleRSquare), 0.0) << run;
    }
  }
}

/// x = 0, 1, 0, 1 and y = 0, 0, 1, 1 + 2 c: R square is c^2 / (1 + c)^2 but for c^4.
double RSquareOf(double c) {
  LinearSettings settings(0, {}, {1});
  settings.Effect({}, {1}).Refined();
  return StatOf(settings, {{0, 0}, {0, 1}, {1, 0}, {1 + 2 * c, 1}}, QvConst::QvFitMultipleRSquare);
}

TEST(FitStatistics, ASmallRSquareIsZeroOnlyWhereRoundingMayBeAllOfIt) {
  EXPECT_NEAR(RSquareOf(0x1p-21), 0x1p-42, 1e-15);
  EXPECT_GT(RSquareOf(0x1p-24), 0.0);
  EXPECT_EQ(RSquareOf(0x1p-26), 0.0);
}

}  // namespace
