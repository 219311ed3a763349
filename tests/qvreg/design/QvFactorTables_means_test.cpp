// The means of covariates that the factor tables form in the first pass.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/design/QvFactorTables.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::CapturedDisplay;
using qvtest::HoldsInOrder;
using qvtest::MakeRecord;

constexpr int kNone = -1;
constexpr int kX = 2;
constexpr int kWeight = 3;
constexpr int kRegrWeight = 4;

/// Tables without factors that average variable X, weighted.
QvFactorTables Means(int weightVar) {
  return QvFactorTables({}, {}, weightVar, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone);
}

TEST(QvFactorTables, AveragesCovariatesWithBothWeights) {
  QvFactorTables tables = Means(kWeight);
  tables.SetModelEffectFactors({{}}, {});
  tables.SetCovariates({kX});
  tables.SetRegrWeightVar(kRegrWeight);
  tables.UpdateAll(MakeRecord({0, 0, 8.0, 1.0, 2.0}));
  tables.UpdateAll(MakeRecord({0, 0, 2.0, 2.0, 3.0}));
  ASSERT_EQ(tables.GetNCovariates(), 1);
  EXPECT_DOUBLE_EQ(tables.GetCovariateMeans()[0], 3.5);  // (2 x 8 + 6 x 2) / 8
}

TEST(QvFactorTables, MeansAreMissingWhenAllFrequencyWeightsAreZero) {
  QvFactorTables tables = Means(kWeight);
  tables.SetModelEffectFactors({{}}, {});
  tables.SetCovariates({kX, kX});
  ASSERT_TRUE(tables.UpdateAll(MakeRecord({0, 0, 8.0, 0.0})));
  EXPECT_EQ(tables.GetCovariateMeans(),
            (std::vector<double>{QvMV::gMissingValue, QvMV::gMissingValue}));
  EXPECT_EQ(tables.GetCovariateMeans()[0], QvMV::gMissingValue) << "asking again changes nothing";
}

TEST(QvFactorTables, MeansAreComputedOnce) {
  const std::string flag = "True if covariate means computed: ";
  QvFactorTables tables = Means(kWeight);
  tables.SetModelEffectFactors({{}}, {});
  tables.SetCovariates({kX});
  ASSERT_TRUE(tables.UpdateAll(MakeRecord({0, 0, 8.0, 1.0})));
  EXPECT_TRUE(HoldsInOrder(CapturedDisplay(tables), {flag + "false\n"}));
  EXPECT_EQ(tables.GetCovariateMeans()[0], 8.0);
  EXPECT_TRUE(HoldsInOrder(CapturedDisplay(tables), {flag + "true\n"}));
  // The total weight falls to 0: means once computed stay, those of new covariates are missing.
  ASSERT_TRUE(tables.UpdateAll(MakeRecord({0, 0, 5.0, -1.0})));
  EXPECT_EQ(tables.GetTotalWeight(), 0.0);
  EXPECT_EQ(tables.GetCovariateMeans()[0], 8.0);
  tables.SetCovariates({kX});
  EXPECT_TRUE(HoldsInOrder(CapturedDisplay(tables), {flag + "false\n"}));
  EXPECT_EQ(tables.GetCovariateMeans()[0], QvMV::gMissingValue);
}

TEST(QvFactorTables, TheResidueOfACancelledMeanIsExactlyZero) {
  // Mean 3, then 3 + (-6 + 2^-50) / 2 = 2^-51, less than 2 x 3 x 2^-52.
  QvFactorTables tables = Means(kNone);
  tables.SetModelEffectFactors({{}}, {});
  tables.SetCovariates({kX});
  tables.UpdateAll(MakeRecord({0, 0, 3.0}));
  tables.UpdateAll(MakeRecord({0, 0, -3.0 + std::ldexp(1.0, -50)}));
  EXPECT_EQ(tables.GetCovariateMeans()[0], 0.0);
}

TEST(QvFactorTables, TheResidueEndsAtTwoRoundingErrorsOfTheMean) {
  // Mean 1, then 1 + (-2 + d) / 2 = d / 2, on either side of 2^-51.
  const auto meanAfter = [](double d) {
    QvFactorTables tables = Means(kNone);
    tables.SetModelEffectFactors({{}}, {});
    tables.SetCovariates({kX});
    tables.UpdateAll(MakeRecord({0, 0, 1.0}));
    tables.UpdateAll(MakeRecord({0, 0, -1.0 + d}));
    return tables.GetCovariateMeans()[0];
  };
  EXPECT_EQ(meanAfter(std::ldexp(3.0, -52)), 0.0) << "one and a half of them";
  EXPECT_EQ(meanAfter(std::ldexp(4.0, -52)), std::ldexp(1.0, -51)) << "two of them";
}

TEST(QvFactorTables, ASmallMeanAboveTheResidueIsKept) {
  // Mean 3, then 3 + (-6 + 2^-46) / 2 = 2^-47, more than 2 x 3 x 2^-52.
  QvFactorTables tables = Means(kNone);
  tables.SetModelEffectFactors({{}}, {});
  tables.SetCovariates({kX});
  tables.UpdateAll(MakeRecord({0, 0, 3.0}));
  tables.UpdateAll(MakeRecord({0, 0, -3.0 + std::ldexp(1.0, -46)}));
  EXPECT_EQ(tables.GetCovariateMeans()[0], std::ldexp(1.0, -47));
}

TEST(QvFactorTables, AWeightOfZeroDoesNotDecideInWhatUnitsOthersAreSummed) {
  QvFactorTables tables = Means(kWeight);
  tables.SetModelEffectFactors({{}}, {});
  tables.SetCovariates({kX});
  tables.SetRegrWeightVar(kRegrWeight);
  tables.UpdateAll(MakeRecord({0, 0, 1.0, 1.0, 1e-15}));
  tables.UpdateAll(MakeRecord({0, 0, 7.0, 0.0, 1e308}));
  tables.UpdateAll(MakeRecord({0, 0, 5.0, 1.0, 3e-15}));
  EXPECT_DOUBLE_EQ(tables.GetCovariateMeans()[0], 4.0);  // (1 x 1 + 3 x 5) / 4
}

TEST(QvFactorTables, MeansMergedIntoTablesWithoutRecordsKeepTheirBits) {
  // 5.3 / 5 x 5 is not 5.3.
  const auto fill = [](QvFactorTables& tables, const std::vector<double>& values) {
    tables.SetModelEffectFactors({{}}, {});
    tables.SetCovariates({kX});
    for (const double x : values) tables.UpdateAll(MakeRecord({0, 0, x}));
  };
  QvFactorTables full = Means(kNone);
  fill(full, {5.3, 5.3, 5.3, 5.3, 5.3});
  QvFactorTables empty = Means(kNone);
  fill(empty, {});
  ASSERT_TRUE(empty.Merge(full));
  EXPECT_EQ(empty.GetCovariateMeans(), full.GetCovariateMeans());
  QvFactorTables none = Means(kNone);
  fill(none, {});
  ASSERT_TRUE(full.Merge(none));
  EXPECT_EQ(full.GetCovariateMeans(), empty.GetCovariateMeans());
}

TEST(QvFactorTables, MeansOfPartsWhoseWeightsDifferInSizeAreThoseOfAll) {
  const auto fill = [](QvFactorTables& tables, double x, double w) {
    tables.SetModelEffectFactors({{}}, {});
    tables.SetCovariates({kX});
    tables.UpdateAll(MakeRecord({0, 0, x, w}));
  };
  // (1 x 4 + 5 x 12) / 16, whichever comes first.
  for (const bool isLightFirst : {true, false}) {
    QvFactorTables light = Means(kWeight);
    QvFactorTables heavy = Means(kWeight);
    fill(light, 1.0, 4.0);
    fill(heavy, 5.0, 12.0);
    QvFactorTables& first = isLightFirst ? light : heavy;
    ASSERT_TRUE(first.Merge(isLightFirst ? heavy : light));
    EXPECT_EQ(first.GetCovariateMeans()[0], 4.0);
    // And once more: the sum of the weights is right, too.
    QvFactorTables further = Means(kWeight);
    fill(further, 8.0, 16.0);
    ASSERT_TRUE(first.Merge(further));
    EXPECT_EQ(first.GetCovariateMeans()[0], 6.0);
  }
}

TEST(QvFactorTables, NewCovariatesReplaceTheOld) {
  QvFactorTables tables = Means(kNone);
  tables.SetModelEffectFactors({{}}, {});
  tables.SetCovariates({kX});
  tables.SetCovariates({kWeight});
  tables.UpdateAll(MakeRecord({0, 0, 8.0, 1.0}));
  tables.UpdateAll(MakeRecord({0, 0, 8.0, 2.0}));
  EXPECT_EQ(tables.GetCovariateMeans(), std::vector<double>{1.5});
}

TEST(QvFactorTables, RecordsTogetherCountWithTheirWeights) {
  // Twelve neighbours; the record numbered r of weight r has r + j in the place j, so that the mean
  // is (1 + ... + 20)^-1 (1^2 + ... + 20^2) + j = 2870 / 210 + j.
  constexpr int kPlaces = 12;
  QvFactorTables tables = Means(kPlaces);
  tables.SetModelEffectFactors({{}}, {});
  std::vector<int> variables;
  for (int j = 0; j < kPlaces; ++j) variables.push_back(j);
  tables.SetCovariates(variables);
  QvFactorTables::MeanRows rows;
  std::vector<QvCommon::Record> records;
  for (int r = 1; r <= 20; ++r) {
    QvCommon::Record& record = records.emplace_back(kPlaces + 1);
    for (int j = 0; j < kPlaces; ++j) record[j] = r + j;
    record[kPlaces] = r;
  }
  for (const QvCommon::Record& record : records) tables.Update(record.GetAll(), rows);
  tables.MoveMeans(rows);
  for (int j = 0; j < kPlaces; ++j) {
    EXPECT_DOUBLE_EQ(tables.GetCovariateMeans()[static_cast<std::size_t>(j)], 2870.0 / 210.0 + j);
  }
}

/// Means and largest exponents of many covariates, with the records added by sixties and fours, or
/// one by one.
std::vector<double> MeansOfMany(const std::vector<QvCommon::Record>& records,
                                const std::vector<int>& variables, bool isTogether) {
  QvFactorTables tables = Means(0);
  tables.SetModelEffectFactors({{}}, {});
  tables.SetCovariates(variables);
  QvFactorTables::MeanRows rows;
  for (const QvCommon::Record& record : records) {
    if (isTogether) {
      tables.Update(record.GetAll(), rows);
    } else {
      tables.UpdateAll(record);
    }
  }
  tables.MoveMeans(rows);
  std::vector<double> found = tables.GetCovariateMeans();
  for (const int variable : variables) {
    found.push_back(tables.GetColumnSizes().GetVariableExponent(variable));
  }
  return found;
}

TEST(QvFactorTables, MeansOfRecordsTogetherAreThoseOfOneByOne) {
  constexpr int kSize = 31;
  std::mt19937 random(1);
  std::uniform_real_distribution<double> uniform(-3.0, 5.0);
  std::vector<QvCommon::Record> records;
  for (int r = 0; r < 300; ++r) {
    QvCommon::Record& record = records.emplace_back(kSize);
    for (int j = 0; j < kSize; ++j) record[j] = std::ldexp(uniform(random), 3 * j - 45);
    record[0] = r % 7 == 0 ? 0.0 : std::fabs(record[0]);
  }
  // The ends of a double's range, residues, and what is no number.
  records[3][4] = 1.6e308;
  records[150][4] = -1.6e308;
  for (int r = 0; r < 300; ++r) records[static_cast<std::size_t>(r)][9] = r % 2 == 0 ? 0.1 : -0.1;
  records[77][12] = std::numeric_limits<double>::infinity();
  records[78][13] = std::nan("");
  std::vector<int> runs;
  for (int j = 1; j < kSize; ++j) runs.push_back(j);
  const std::vector<int> scattered{20, 3, 4, 5, 6, 7, 8, 9, 10, 30, 1};
  const std::vector<int> usual{14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25};
  for (std::vector<int> variables : {runs, scattered, usual}) {
    const std::vector<double> expected = MeansOfMany(records, variables, false);
    EXPECT_EQ(MeansOfMany(records, variables, true), expected);
    // Backwards no two are neighbours.
    std::reverse(variables.begin(), variables.end());
    std::vector<double> backwards = MeansOfMany(records, variables, false);
    const auto middle = backwards.begin() + static_cast<std::ptrdiff_t>(variables.size());
    std::reverse(backwards.begin(), middle);
    std::reverse(middle, backwards.end());
    EXPECT_EQ(backwards, expected);
  }
}

}  // namespace
