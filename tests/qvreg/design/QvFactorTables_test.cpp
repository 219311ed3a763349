#include "qvreg/design/QvFactorTables.h"

#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/VectorRecordIter.h"
#include "tests/qvreg/support/VirtualSlot.h"

namespace {

using qvtest::CapturedDisplay;
using qvtest::HoldsInOrder;
using qvtest::MakeRecord;
using Ints = std::vector<int>;

constexpr int kNone = -1;
constexpr int kA = 0;
constexpr int kB = 1;
constexpr int kX = 2;
constexpr int kWeight = 3;
constexpr int kRegrWeight = 4;

/// Factor tables that show what is protected.
class OpenTables : public QvFactorTables {
 public:
  using QvFactorTables::GetParameterIndex;
  using QvFactorTables::QvFactorTables;
  using QvFactorTables::UpdateHashtable;
};

/// Tables of the factors A (3 categories) and B (2 categories); records hold A, B, X, weights.
class QvFactorTablesTest : public ::testing::Test {
 protected:
  void SetEffects(const std::vector<Ints>& effects) {
    tables_.SetModelEffectFactors(effects, {kA, kB});
  }
  void AddCells(const std::vector<Ints>& cells) {
    for (const Ints& cell : cells) {
      ASSERT_TRUE(tables_.UpdateAll(
          MakeRecord({static_cast<double>(cell[0]), static_cast<double>(cell[1])})));
    }
  }
  /// The parameters of a cell, one per model effect.
  Ints ParametersOf(double a, double b, bool& ok) const {
    const std::vector<double> row{a, b};
    return tables_.GetRowParameterIndices(row.data(), ok);
  }

  OpenTables tables_{{kA, kB}, {3, 2}, kNone, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone};
};

/// Tables without factors that average variable X, weighted.
QvFactorTables Means(int weightVar) {
  return QvFactorTables({}, {}, weightVar, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone);
}

TEST_F(QvFactorTablesTest, NumbersFactorFreeEffectsOnceAndFactorsPerLevel) {
  SetEffects({{}, {kA}, {}});
  AddCells({{2, 0}, {0, 0}, {1, 0}});
  EXPECT_EQ(tables_.CreateParameterIndices(), 5);
  EXPECT_EQ(tables_.GetParameterOffsets(), (Ints{0, 1, 4}));
  EXPECT_EQ(tables_.GetLocalEffectIndices(), (Ints{-1, 0, -1}));
  EXPECT_EQ(tables_.GetModelEffectIndices(), (Ints{1}));
  bool ok = false;
  for (int a = 0; a < 3; ++a) {
    EXPECT_EQ(ParametersOf(a, 0, ok), (Ints{0, 1 + a, 4}));
    EXPECT_TRUE(ok);
  }
}

TEST_F(QvFactorTablesTest, AFactorOfSeveralEffectsIsUsedOnce) {
  SetEffects({{kB}, {kA, kB}, {kB}});
  EXPECT_EQ(tables_.GetUsedFactors(), (Ints{kA, kB}));
}

TEST_F(QvFactorTablesTest, ACombinationThatNeverOccurredHasNoParameter) {
  SetEffects({{kA}, {kA, kB}});
  AddCells({{0, 0}, {0, 1}, {1, 0}, {1, 1}, {2, 0}});
  EXPECT_EQ(tables_.CreateParameterIndices(), 3 + 5);
  EXPECT_EQ(tables_.GetNEffectParameters(1), 5);
  EXPECT_EQ(tables_.GetIncompleteEffectIndex(), 1);
  bool ok = true;
  EXPECT_EQ(ParametersOf(2, 1, ok), (Ints{2, -1}));
  EXPECT_FALSE(ok);
}

TEST_F(QvFactorTablesTest, EveryEffectIsLookedUpAfterAMiss) {
  SetEffects({{kA, kB}, {}, {kB}});
  AddCells({{0, 0}, {1, 1}});
  tables_.CreateParameterIndices();
  bool ok = true;
  EXPECT_EQ(ParametersOf(1, 0, ok), (Ints{-1, 2, 3}));
  EXPECT_FALSE(ok);
}

TEST_F(QvFactorTablesTest, CombinationsAreNumberedInKeyOrder) {
  SetEffects({{kA, kB}});
  AddCells({{2, 0}, {0, 1}, {0, 0}});
  EXPECT_EQ(tables_.CreateParameterIndices(), 3);
  EXPECT_EQ(tables_.GetEffectParameterIndex(0, {0, 0}), 0);
  EXPECT_EQ(tables_.GetEffectParameterIndex(0, {0, 1}), 1);
  EXPECT_EQ(tables_.GetEffectParameterIndex(0, {2, 0}), 2);
}

TEST_F(QvFactorTablesTest, TheEffectsOwnOrderOfFactorsMakesItsKeys) {
  SetEffects({{kB, kA}});
  AddCells({{0, 1}, {2, 0}});
  tables_.CreateParameterIndices();
  Ints codes;
  ASSERT_TRUE(tables_.GetParameterFactorValues(codes, 0, 0));
  EXPECT_EQ(codes, (Ints{0, 2})) << "B first";
  // Category indices are given by factor of the model, not of the effect.
  EXPECT_EQ(tables_.GetEffectParameterIndex(0, {2, 0}), 0);
}

TEST_F(QvFactorTablesTest, GivesTheCodesOfAParameter) {
  SetEffects({{}, {kA}});
  AddCells({{0, 0}, {1, 0}, {2, 0}});
  tables_.CreateParameterIndices();
  Ints codes{9};
  EXPECT_TRUE(tables_.GetParameterFactorValues(codes, 1, 1));
  EXPECT_EQ(codes, (Ints{1}));
  EXPECT_TRUE(tables_.GetParameterFactorValues(codes, 0, 0));
  EXPECT_TRUE(codes.empty());
}

TEST(QvFactorTables, GivesCodesCountedFromTheFirstCode) {
  QvFactorTables tables({kA}, {3}, kNone, kNone, 0, 1, kNone, 0.0, QvConst::QvOffsetNone);
  tables.SetModelEffectFactors({{kA}}, {kA});
  for (const double code : {1.0, 2.0, 3.0}) ASSERT_TRUE(tables.UpdateAll(MakeRecord({code})));
  EXPECT_FALSE(tables.UpdateAll(MakeRecord({0.0})));
  tables.CreateParameterIndices();
  Ints codes;
  EXPECT_TRUE(tables.GetParameterFactorValues(codes, 0, 1));
  EXPECT_EQ(codes, (Ints{2}));
  bool ok = false;
  const double row[] = {3.0};
  EXPECT_EQ(tables.GetRowParameterIndices(row, ok), (Ints{2}));
  EXPECT_TRUE(ok);
}

TEST_F(QvFactorTablesTest, RefusesTheCodesOfAParameterThatIsNotThere) {
  SetEffects({{}, {kA}});
  AddCells({{0, 0}, {1, 0}});
  tables_.CreateParameterIndices();
  Ints codes{9};
  EXPECT_FALSE(tables_.GetParameterFactorValues(codes, -1, 0));
  EXPECT_FALSE(tables_.GetParameterFactorValues(codes, 2, 0));
  EXPECT_FALSE(tables_.GetParameterFactorValues(codes, 1, -1));
  EXPECT_FALSE(tables_.GetParameterFactorValues(codes, 1, 2));
  EXPECT_EQ(codes, (Ints{9}));
}

TEST_F(QvFactorTablesTest, CountsTheParametersOfAnEffect) {
  SetEffects({{}, {kA}});
  AddCells({{0, 0}, {2, 1}});
  tables_.CreateParameterIndices();
  EXPECT_EQ(tables_.GetNEffectParameters(-1), 0);
  EXPECT_EQ(tables_.GetNEffectParameters(0), 1);
  EXPECT_EQ(tables_.GetNEffectParameters(1), 2);
  EXPECT_EQ(tables_.GetNEffectParameters(2), 0);
  EXPECT_EQ(tables_.CountParameters(), 3);
}

TEST_F(QvFactorTablesTest, AModelWithoutEffectsHasNoParameters) {
  SetEffects({});
  EXPECT_EQ(tables_.CreateParameterIndices(), 0);
  EXPECT_EQ(tables_.GetNModelEffects(), 0);
  EXPECT_EQ(tables_.GetIncompleteEffectIndex(), -1);
}

TEST_F(QvFactorTablesTest, KnownCombinationsHaveIndexZeroUntilTheyAreNumbered) {
  SetEffects({{}, {kA}});
  AddCells({{1, 0}, {2, 0}});
  bool ok = false;
  EXPECT_EQ(ParametersOf(2, 0, ok), (Ints{0, 0}));
  EXPECT_TRUE(ok);
}

TEST_F(QvFactorTablesTest, LocalIndicesAreThePlacesWithinTheEffects) {
  SetEffects({{}, {kA}, {kB}});
  AddCells({{0, 0}, {1, 0}, {2, 1}});
  tables_.CreateParameterIndices();
  bool ok = false;
  const std::vector<double> row{2, 1};
  EXPECT_EQ(tables_.GetRowLocalParamIndices(row.data(), ok), (Ints{2, 1}));
  EXPECT_TRUE(ok);
}

TEST_F(QvFactorTablesTest, LocalIndicesStayAsTheyWereForAnUnknownRow) {
  SetEffects({{kA}});
  AddCells({{0, 0}, {1, 0}});
  tables_.CreateParameterIndices();
  bool ok = false;
  const std::vector<double> known{1, 0};
  const std::vector<double> unknown{2, 0};
  tables_.GetRowLocalParamIndices(known.data(), ok);
  EXPECT_EQ(tables_.GetRowLocalParamIndices(unknown.data(), ok), (Ints{1}));
  EXPECT_FALSE(ok);
}

TEST_F(QvFactorTablesTest, LooksUpCategoryIndicesAsItDoesRows) {
  SetEffects({{}, {kA}, {kA, kB}});
  AddCells({{0, 0}, {1, 1}});
  tables_.CreateParameterIndices();
  bool ok = false;
  EXPECT_EQ(tables_.GetParameterIndices({1, 1}, ok), (Ints{0, 2, 4}));
  EXPECT_TRUE(ok);
  EXPECT_EQ(tables_.GetParameterIndices({1, 0}, ok), (Ints{0, 2, -1}));
  EXPECT_FALSE(ok);
  EXPECT_EQ(tables_.GetEffectParameterIndex(0, {1, 0}), 0);
  EXPECT_EQ(tables_.GetEffectParameterIndex(2, {1, 0}), -1);
}

TEST_F(QvFactorTablesTest, RowsAreReadAtTheFactorOffsets) {
  tables_.SetModelEffectFactors({{kA}, {kB}}, {3, 1});
  AddCells({{0, 0}, {2, 1}});
  tables_.CreateParameterIndices();
  bool ok = false;
  const std::vector<double> row{9, 1, 9, 2};
  EXPECT_EQ(tables_.GetRowParameterIndices(row.data(), ok), (Ints{1, 3}));
  EXPECT_TRUE(ok);
}

TEST_F(QvFactorTablesTest, CodesOutsideEveryTableAreUnseenCombinations) {
  SetEffects({{kA}});
  AddCells({{0, 0}});
  tables_.CreateParameterIndices();
  bool ok = true;
  EXPECT_EQ(ParametersOf(QvMV::gMissingValue, 0, ok), (Ints{-1}));
  EXPECT_FALSE(ok);
  EXPECT_EQ(ParametersOf(1e300, 0, ok), (Ints{-1}));
  EXPECT_EQ(ParametersOf(std::nan(""), 0, ok), (Ints{-1}));
}

TEST_F(QvFactorTablesTest, NamesTheMostIncompleteEffectAndTheFirstAmongEquals) {
  // A has 3 active categories, B 2: A x B holds 3 of 6 combinations, twice.
  SetEffects({{kA}, {kA, kB}, {kB, kA}});
  AddCells({{0, 0}, {1, 0}, {2, 1}});
  tables_.CreateParameterIndices();
  EXPECT_EQ(tables_.GetIncompleteEffectIndex(), 1);
}

TEST_F(QvFactorTablesTest, NoEffectIsIncompleteWhenEveryCellIsFilled) {
  SetEffects({{}, {kA, kB}});
  AddCells({{0, 0}, {0, 1}, {1, 0}, {1, 1}});
  tables_.CreateParameterIndices();
  EXPECT_EQ(tables_.GetIncompleteEffectIndex(), -1) << "category 2 of A is not active";
}

TEST(QvFactorTables, AnEffectWithoutActiveCategoriesIsNotIncomplete) {
  QvFactorTables tables({kA}, {3}, 1, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone);
  tables.SetModelEffectFactors({{kA}}, {kA});
  ASSERT_TRUE(tables.UpdateAll(MakeRecord({1, 0.0})));
  tables.CreateParameterIndices();
  EXPECT_EQ(tables.GetIncompleteEffectIndex(), -1);
}

TEST_F(QvFactorTablesTest, ARecordOutOfRangeIsNotCounted) {
  SetEffects({{kA}, {kB}});
  EXPECT_FALSE(tables_.UpdateAll(MakeRecord({1, 2})));
  EXPECT_EQ(tables_.GetSampleSize(), 0.0);
  EXPECT_EQ(tables_.GetTotalWeight(), 0.0);
  EXPECT_EQ(tables_.CreateParameterIndices(), 0);
  EXPECT_EQ((*tables_.GetCountsPtr(kA))[1].second, 1.0) << "the counts of its factor A stay";
}

TEST(QvFactorTables, CountsACategoricalDependentWithoutItsOffset) {
  QvFactorTables tables({kA}, {3}, kNone, 1, 2, 0, kNone, 5.0, QvConst::QvOffsetFixed);
  tables.SetModelEffectFactors({{kA}}, {kA});
  EXPECT_TRUE(tables.UpdateAll(MakeRecord({0, 1})));
  EXPECT_FALSE(tables.UpdateAll(MakeRecord({0, 2})));
  EXPECT_EQ((*tables.GetDependCountsPtr())[1].second, 1.0);
  EXPECT_EQ(*tables.GetDepCountsWithOffsetPtr(), QvFactorCounts::Counts(2));
  EXPECT_EQ(tables.GetSampleSize(), 1.0);
}

TEST(QvFactorTables, TotalsTheWeights) {
  QvFactorTables tables = Means(kWeight);
  tables.SetModelEffectFactors({{}}, {});
  tables.SetRegrWeightVar(kRegrWeight);
  ASSERT_TRUE(tables.UpdateAll(MakeRecord({0, 0, 0, 2.0, 0.5})));
  ASSERT_TRUE(tables.UpdateAll(MakeRecord({0, 0, 0, 3.0, 4.0})));
  EXPECT_EQ(tables.GetTotalWeight(), 5.0);
  EXPECT_EQ(tables.GetTotalRegrWeight(), 13.0);  // 2 x 0.5 + 3 x 4
  EXPECT_EQ(tables.GetSampleSize(), 2.0);
}

TEST(QvFactorTables, TotalsBothWeightsByCategoryOfTheDependent) {
  QvFactorTables tables({}, {}, kWeight, 1, 2, 0, kNone, 0.0, QvConst::QvOffsetNone);
  tables.SetModelEffectFactors({{}}, {});
  tables.SetRegrWeightVar(kRegrWeight);
  EXPECT_EQ(tables.GetDependRegrWeights(), (std::vector<double>{0, 0}));
  ASSERT_TRUE(tables.UpdateAll(MakeRecord({0, 0, 0, 2.0, 0.5})));
  ASSERT_TRUE(tables.UpdateAll(MakeRecord({0, 1, 0, 3.0, 4.0})));
  ASSERT_TRUE(tables.UpdateAll(MakeRecord({0, 1, 0, 1.0, 2.0})));
  EXPECT_FALSE(tables.UpdateAll(MakeRecord({0, 2, 0, 1.0, 2.0})));
  EXPECT_EQ(tables.GetDependRegrWeights(), (std::vector<double>{1, 14}));
  EXPECT_EQ((*tables.GetDependCountsPtr())[1], QvFactorCounts::CountPair(4, 2));
}

TEST(QvFactorTables, WithoutACountedDependentItsWeightsAreNone) {
  QvFactorTables tables = Means(kWeight);
  tables.SetModelEffectFactors({{}}, {});
  ASSERT_TRUE(tables.UpdateAll(MakeRecord({0, 0, 0, 2.0, 0.5})));
  EXPECT_TRUE(tables.GetDependRegrWeights().empty());
}

TEST_F(QvFactorTablesTest, NewEffectsStartTheTablesAfreshAndKeepTheCounts) {
  SetEffects({{kA}, {kB}});
  AddCells({{0, 0}, {1, 1}});
  tables_.CreateParameterIndices();
  SetEffects({{}, {kB}});
  EXPECT_EQ(tables_.GetModelEffectFactors(), (std::vector<Ints>{{}, {kB}}));
  EXPECT_EQ(tables_.CreateParameterIndices(), 1);
  EXPECT_EQ(tables_.GetSampleSize(), 2.0);
  EXPECT_EQ((*tables_.GetCountsPtr(kA))[0].second, 1.0);
  AddCells({{0, 1}});
  EXPECT_EQ(tables_.CreateParameterIndices(), 2);
}

TEST_F(QvFactorTablesTest, NothingIsRecordedOrFoundWithoutATable) {
  QvCommon::QvHashKey key(1);
  QvCommon::QvHashtable<int> table;
  QvFactorTables::PairList pairs;
  EXPECT_FALSE(tables_.UpdateHashtable(nullptr, &pairs, key));
  EXPECT_FALSE(tables_.UpdateHashtable(&table, nullptr, key));
  EXPECT_EQ(tables_.GetParameterIndex(nullptr, key), -1);
  EXPECT_EQ(tables_.GetParameterIndex(&table, key), -1);

  EXPECT_TRUE(tables_.UpdateHashtable(&table, &pairs, key));
  EXPECT_TRUE(tables_.UpdateHashtable(&table, &pairs, key));
  EXPECT_EQ(pairs.size(), 1U);
  EXPECT_EQ(tables_.GetParameterIndex(&table, key), 0);
}

TEST(QvFactorTables, NumbersManyLevelsWithoutGapOrRepetition) {
  constexpr int kLevels = 500;
  QvFactorTables tables({kA, kB}, {kLevels, 2}, kNone, kNone, 0, 0, kNone, 0.0,
                        QvConst::QvOffsetNone);
  tables.SetModelEffectFactors({{}, {kA, kB}}, {kA, kB});
  for (int i = 0; i < 2 * kLevels; ++i) {
    const int cell = (i * 387) % (2 * kLevels);  // 387 has no divisor in common with 1000
    ASSERT_TRUE(tables.UpdateAll(
        MakeRecord({static_cast<double>(cell / 2), static_cast<double>(cell % 2)})));
  }
  EXPECT_EQ(tables.CreateParameterIndices(), 1 + 2 * kLevels);
  for (int cell = 0; cell < 2 * kLevels; ++cell) {
    ASSERT_EQ(tables.GetEffectParameterIndex(1, {cell / 2, cell % 2}), 1 + cell);
  }
}

TEST_F(QvFactorTablesTest, DisplayPrintsEveryFieldUnderItsLabel) {
  SetEffects({{}, {kA}, {kA, kB}});
  tables_.SetCovariates({kX});
  ASSERT_TRUE(tables_.UpdateAll(MakeRecord({2, 1, 1.5})));
  tables_.CreateParameterIndices();
  const std::string text = CapturedDisplay(tables_);
  EXPECT_TRUE(
      HoldsInOrder(text, {"QvFactorTables display start\n",
                          "The number of factors: 2\n",
                          "Total number of model effects: 3\n",
                          "Number of model effects containing factors: 2\n",
                          "Concatenated list of factors for fNEffects effects: 0 0 1\n",
                          "Number of factors in effects ( fNEffects ): 1 2\n",
                          "Cumulative number of factors up to effect ( fNEffects+1 ): 0 1 3\n",
                          "Start of Hashtable.\n",
                          "End of Hashtable.\n",
                          "Start of Hashtable.\n",
                          "End of Hashtable.\n",
                          "Vector of local factor indices ( max factor index + 1 ): 0 1\n",
                          "Factor values ( fNFactors ): 2 1\n",
                          "Vector of parameter indices ( fNModelEffects ): 0 0 0\n",
                          "Vector of local parameter indices ( fNEffects ): 0 0\n",
                          "Vector of local effect indices ( fNModelEffects ): -1 0 1\n",
                          "Vector of original model effect indices ( fNEffects ): 1 2\n",
                          "Vector of number of parameters for each effect ( fNEffects ): 1 1\n",
                          "Vector of parameter offsets for each effect ( fNModelEffects ): 0 1 2\n",
                          "Vector of factor indices in the extracted record: 0 1\n",
                          "Vector of covariate indices in the input record: 2\n",
                          "Index of the regression weight variable: -1\n",
                          "Index of the frequency weight variable: -1\n",
                          "Number of covariate indices in the input record: 1\n",
                          "Vector of covariate weighted mean: 1.5\n",
                          "True if covariate means computed: ",
                          "Total frequency weighted count: 1\n",
                          "Total regression weighted count: 1\n",
                          "Sample size for all valid records: 1\n",
                          "QvFactorTables display end\n"}));
}

TEST(QvFactorTables, TheIncompleteEffectIsFoundByRecordIndices) {
  // Factors at record positions 5 and 2, of which 2 stands second in the list of factors.
  QvFactorTables tables({5, 2}, {2, 3}, kNone, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone);
  tables.SetModelEffectFactors({{}, {5}, {2}, {5, 2}}, {5, 2});
  for (const Ints& cell : {Ints{0, 0}, Ints{0, 1}, Ints{0, 2}, Ints{1, 0}}) {
    ASSERT_TRUE(tables.UpdateAll(
        MakeRecord({0, 0, static_cast<double>(cell[1]), 0, 0, static_cast<double>(cell[0])})));
  }
  tables.CreateParameterIndices();
  ASSERT_EQ(tables.GetNEffectParameters(3), 4);
  EXPECT_EQ(tables.GetIncompleteEffectIndex(), 3);  // 4 of 2 x 3
}

TEST(QvFactorTables, BothWeightsMayBeTheFirstVariableOfARecord) {
  QvFactorTables byFrequency = Means(0);
  byFrequency.SetModelEffectFactors({{}}, {});
  ASSERT_TRUE(byFrequency.UpdateAll(MakeRecord({2.5})));
  EXPECT_EQ(byFrequency.GetTotalWeight(), 2.5);

  QvFactorTables byRegression = Means(kNone);
  byRegression.SetModelEffectFactors({{}}, {});
  byRegression.SetRegrWeightVar(0);
  ASSERT_TRUE(byRegression.UpdateAll(MakeRecord({2.5})));
  EXPECT_EQ(byRegression.GetTotalWeight(), 1.0);
  EXPECT_EQ(byRegression.GetTotalRegrWeight(), 2.5);
}

TEST_F(QvFactorTablesTest, NewEffectsLeaveNothingOfTheOld) {
  const std::vector<Ints> cells{{2, 1}, {0, 0}, {1, 1}};
  SetEffects({{kA}, {}, {kB, kA}, {kB}, {kA}});
  AddCells(cells);
  tables_.CreateParameterIndices();
  bool ok = false;
  const std::vector<double> row{1, 1};
  tables_.GetRowLocalParamIndices(row.data(), ok);
  ASSERT_TRUE(ok);

  // The same records without effects, so that the counts agree.
  OpenTables fresh({kA, kB}, {3, 2}, kNone, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone);
  for (const Ints& cell : cells) {
    ASSERT_TRUE(
        fresh.UpdateAll(MakeRecord({static_cast<double>(cell[0]), static_cast<double>(cell[1])})));
  }
  const std::vector<Ints> effects{{}, {kB}, {kA, kB}};
  SetEffects(effects);
  fresh.SetModelEffectFactors(effects, {kA, kB});
  EXPECT_EQ(CapturedDisplay(tables_), CapturedDisplay(fresh));

  for (OpenTables* tables : {&tables_, &fresh}) {
    ASSERT_TRUE(tables->UpdateAll(MakeRecord({1, 0})));
    EXPECT_EQ(tables->CreateParameterIndices(), 3);
  }
  EXPECT_EQ(CapturedDisplay(tables_), CapturedDisplay(fresh));
}

TEST(QvFactorTables, DeclaresItsOperationsInSlotOrder) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  std::size_t slot = qvtest::kSlotAfterDestructor;
  EXPECT_EQ(qvtest::VirtualSlot(&QvFactorTables::UpdateAll), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvFactorTables::CreateParameterIndices), slot++);
}

}  // namespace
