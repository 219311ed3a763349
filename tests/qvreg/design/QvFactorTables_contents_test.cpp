// What factor tables hold: merged with that of other records, and kept.

#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"
#include "qvreg/design/QvFactorTables.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::MakeRecord;
using Ints = std::vector<int>;
using Rows = std::vector<std::vector<double>>;

constexpr int kA = 0;
constexpr int kB = 1;
constexpr int kX = 2;
constexpr int kWeight = 3;
constexpr int kY = 4;
constexpr int kRegrWeight = 5;

/// Of the effects A, x and A by B, the dependent of two categories, over records {A, B, x,
/// frequency, y, regression weight}.
class Tables : public QvFactorTables {
 public:
  explicit Tables(const Rows& rows = {}, const Ints& nCategories = {3, 2})
      : QvFactorTables({kA, kB}, nCategories, kWeight, kY, 2, 0, -1, 0.0, QvConst::QvOffsetNone) {
    SetModelEffectFactors({{kA}, {}, {kA, kB}}, {kA, kB});
    SetCovariates({kX});
    SetEffectCovariates({{}, qvtest::ParameterOf({{kX, 1}}), {}});
    SetRegrWeightVar(kRegrWeight);
    for (const std::vector<double>& row : rows) EXPECT_TRUE(UpdateAll(MakeRecord(row)));
  }
};

const Rows kFirst{{0, 0, 1.5, 2, 0, 1}, {2, 1, 0x1p+30, 1, 1, 4}};
const Rows kSecond{{0, 1, -3.0, 4, 1, 0.5}, {0, 0, 2.25, 1, 0, 2}, {1, 1, 8.0, 2, 1, 1}};

void ExpectSame(QvFactorTables& actual, QvFactorTables& expected) {
  EXPECT_EQ(actual.GetSampleSize(), expected.GetSampleSize());
  EXPECT_EQ(actual.GetTotalWeight(), expected.GetTotalWeight());
  EXPECT_EQ(actual.GetTotalRegrWeight(), expected.GetTotalRegrWeight());
  EXPECT_EQ(actual.GetDependRegrWeights(), expected.GetDependRegrWeights());
  for (const int factor : {0, 1}) {
    EXPECT_EQ(*actual.GetCountsPtr(factor), *expected.GetCountsPtr(factor));
  }
  EXPECT_EQ(*actual.GetDependCountsPtr(), *expected.GetDependCountsPtr());
  EXPECT_EQ(actual.GetColumnSizes().GetVariableExponent(kX),
            expected.GetColumnSizes().GetVariableExponent(kX));
  EXPECT_EQ(actual.CreateParameterIndices(), expected.CreateParameterIndices());
  for (const int effect : {0, 2}) {
    ASSERT_EQ(actual.GetNEffectParameters(effect), expected.GetNEffectParameters(effect));
    for (int k = 0; k < expected.GetNEffectParameters(effect); ++k) {
      Ints codes;
      Ints others;
      ASSERT_TRUE(actual.GetParameterFactorValues(codes, effect, k));
      ASSERT_TRUE(expected.GetParameterFactorValues(others, effect, k));
      EXPECT_EQ(codes, others);
    }
  }
  EXPECT_DOUBLE_EQ(actual.GetCovariateMeans()[0], expected.GetCovariateMeans()[0]);
}

TEST(QvFactorTablesContents, OfTwoPartsAreThoseOfAllRecords) {
  Rows rows = kFirst;
  rows.insert(rows.end(), kSecond.begin(), kSecond.end());
  Tables merged(kFirst);
  ASSERT_TRUE(merged.Merge(Tables(kSecond)));
  Tables expected(rows);
  ExpectSame(merged, expected);
}

TEST(QvFactorTablesContents, OfOtherEffectsCovariatesOrCategoriesAreNotMerged) {
  Tables tables(kFirst);
  Tables otherEffects(kSecond);
  otherEffects.SetModelEffectFactors({{kA}, {}, {kB, kA}}, {kA, kB});
  EXPECT_FALSE(tables.Merge(otherEffects));
  Tables otherCovariates(kSecond);
  otherCovariates.SetCovariates({kWeight});
  EXPECT_FALSE(tables.Merge(otherCovariates));
  EXPECT_FALSE(tables.Merge(Tables({}, {4, 2}))) << "of the first factor";
  EXPECT_FALSE(tables.Merge(Tables({}, {3, 3}))) << "of the second";
  Tables expected(kFirst);
  ExpectSame(tables, expected);
}

TEST(QvFactorTablesContents, ComeBack) {
  Tables tables(kFirst);
  Tables taken;
  ASSERT_TRUE(taken.TakeContents(tables.GetContents()));
  QvCommon::QvByteWriter writer;
  tables.Write(writer);
  const QvCommon::QvBytes bytes = writer.TakeMessage(QvCommon::QvMessageType::kAnswer);
  QvCommon::QvByteReader reader(bytes, QvCommon::QvMessageType::kAnswer);
  Tables read;
  read.Read(reader);
  EXPECT_TRUE(reader.IsAtEnd());
  // They go on as if they had seen the records themselves.
  for (QvFactorTables* each :
       {static_cast<QvFactorTables*>(&tables), static_cast<QvFactorTables*>(&taken),
        static_cast<QvFactorTables*>(&read)}) {
    ASSERT_TRUE(each->Merge(Tables(kSecond)));
  }
  ExpectSame(taken, tables);
  ExpectSame(read, tables);
}

/// Whether tables refuse what these hold once it was changed.
template <typename Change>
bool Refuses(Change&& change) {
  QvTableContents contents = Tables(kFirst).GetContents();
  change(contents);
  return !Tables().TakeContents(contents);
}

TEST(QvFactorTablesContents, OfOtherEffectsAndVariablesAreRefused) {
  EXPECT_FALSE(Refuses([](QvTableContents&) {}));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) { contents.fFactorCounts.pop_back(); }));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) { contents.fFactorCounts[0].pop_back(); }));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) { contents.fFactorCounts.emplace_back(); }));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) { contents.fDependentCounts.clear(); }));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) { contents.fOffsetCounts.clear(); }));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) {
    contents.fDependentCounts.clear();
    contents.fOffsetCounts.clear();
  }));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) { contents.fCombinations.pop_back(); }));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) { contents.fMeans.push_back(1.0); }));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) { contents.fDependentWeights.pop_back(); }));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) { contents.fSizes.fLargest.pop_back(); }));
}

TEST(QvFactorTablesContents, HaveTheCombinationsInTheirOrder) {
  const QvTableContents contents = Tables({kFirst[1], kSecond[2], kFirst[0]}).GetContents();
  EXPECT_EQ(contents.fCombinations, (std::vector<Ints>{{0, 1, 2}, {0, 0, 1, 1, 2, 1}}));
}

TEST(QvFactorTablesContents, OfLevelsThatThereAreNotAreRefused) {
  const auto refusesCode = [](std::size_t place, int code) {
    return Refuses([=](QvTableContents& contents) { contents.fCombinations[1][place] = code; });
  };
  // A of three levels, B of two.
  EXPECT_FALSE(refusesCode(0, 2));
  EXPECT_FALSE(refusesCode(1, 1));
  EXPECT_TRUE(refusesCode(0, 3));
  EXPECT_TRUE(refusesCode(1, 2));
  EXPECT_TRUE(refusesCode(0, -1));
  EXPECT_TRUE(Refuses([](QvTableContents& contents) { contents.fCombinations[1].pop_back(); }))
      << "half a combination";
}

TEST(QvFactorTablesContents, OfUnitsThatNoWeightsHaveAreRefused) {
  const auto refusesUnit = [](int unit) {
    return Refuses([=](QvTableContents& contents) { contents.fMeanUnit = unit; });
  };
  // Of two weights of the least and of the largest size.
  EXPECT_FALSE(refusesUnit(-2148));
  EXPECT_FALSE(refusesUnit(2046));
  EXPECT_TRUE(refusesUnit(-2149));
  EXPECT_TRUE(refusesUnit(2047));
}

TEST(QvFactorTablesContents, WithoutACategoricalDependentHaveNoCountsOfOne) {
  QvFactorTables tables({kA}, {3}, -1, -1, 0, 0, -1, 0.0, QvConst::QvOffsetNone);
  tables.SetModelEffectFactors({{kA}}, {kA});
  QvTableContents contents = tables.GetContents();
  EXPECT_TRUE(contents.fDependentCounts.empty());
  EXPECT_TRUE(tables.TakeContents(contents));
  contents.fDependentCounts.resize(2);
  contents.fOffsetCounts.resize(2);
  EXPECT_FALSE(tables.TakeContents(contents));
}

}  // namespace
