#include "qvreg/design/QvDesignRow.h"

#include <cmath>
#include <cstddef>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBitSet.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/settings/QvRegrParameter.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::MakeRecord;
using qvtest::ParameterOf;

constexpr int kA = 0;
constexpr int kX = 1;
constexpr int kZ = 2;
constexpr int kNone = -1;

/// The effects intercept, A, x^2 z and A x over a factor A with the levels 0 and 2 seen: columns 0,
/// 1 to 2, 3 and 4 to 5. Column 6 is free for the dependent.
class QvDesignRowTest : public ::testing::Test {
 protected:
  QvDesignRowTest() {
    tables_.SetModelEffectFactors({{}, {kA}, {}, {kA}}, {kA});
    tables_.UpdateAll(MakeRecord({0}));
    tables_.UpdateAll(MakeRecord({2}));
    tables_.CreateParameterIndices();
    row_.Setup(tables_, Effects(), {kX, kZ}, {kX, kZ});
  }

  static std::vector<QvRegrParameter> Effects() {
    return {ParameterOf({}), ParameterOf({}), ParameterOf({{kX, 2}, {kZ, 1}}),
            ParameterOf({{kX, 1}})};
  }

  bool Expand(const std::vector<double>& values) { return row_.Expand(values.data()); }
  [[nodiscard]] std::vector<double> Dense() const {
    std::vector<double> dense(7, 0.0);
    row_.Scatter(dense);
    return dense;
  }

  QvFactorTables tables_{{kA}, {3}, kNone, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone};
  QvDesignRow row_;
};

TEST_F(QvDesignRowTest, HoldsOneValuePerEffectInItsColumn) {
  EXPECT_TRUE(Expand({2, 3, 5}));
  EXPECT_EQ(row_.GetCount(), 4);
  EXPECT_EQ(Dense(), (std::vector<double>{1, 0, 1, 45, 0, 3, 0}));  // 45 = 3^2 x 5
}

TEST_F(QvDesignRowTest, LeavesZerosOut) {
  EXPECT_TRUE(Expand({0, 0, 5}));
  EXPECT_EQ(row_.GetCount(), 2);
  EXPECT_EQ(row_.GetIndices()[1], 1);
  EXPECT_EQ(Dense(), (std::vector<double>{1, 1, 0, 0, 0, 0, 0}));
}

TEST_F(QvDesignRowTest, AnUnseenLevelLeavesItsEffectsZero) {
  EXPECT_FALSE(Expand({1, 3, 5}));
  EXPECT_EQ(Dense(), (std::vector<double>{1, 0, 0, 45, 0, 0, 0}));
}

TEST_F(QvDesignRowTest, AppendsTheDependentBehindTheDesign) {
  Expand({2, 3, 5});
  row_.Append(6, -8.0);
  EXPECT_EQ(row_.GetCount(), 5);
  EXPECT_EQ(Dense(), (std::vector<double>{1, 0, 1, 45, 0, 3, -8}));
}

TEST_F(QvDesignRowTest, ColumnsAscend) {
  Expand({2, 3, 5});
  const std::vector<int> indices(row_.GetIndices().begin(),
                                 row_.GetIndices().begin() + row_.GetCount());
  EXPECT_EQ(indices, (std::vector<int>{0, 2, 3, 5}));
}

TEST_F(QvDesignRowTest, MultipliesWithCoefficients) {
  Expand({2, 3, 5});
  // 1 x 10 + 1 x 30 + 45 x 2 + 3 x (-1); coefficients of other columns do not matter.
  EXPECT_EQ(row_.InnerProduct({10, 1000, 30, 2, 1000, -1}), 127.0);
}

TEST_F(QvDesignRowTest, RemovesColumns) {
  Expand({2, 3, 5});
  QvCommon::QvBitSet columns(6);
  columns.Set(1, true);  // Not in the row.
  columns.Set(2, true);
  columns.Set(5, true);
  row_.Remove(columns);
  EXPECT_EQ(row_.GetCount(), 2);
  EXPECT_EQ(Dense(), (std::vector<double>{1, 0, 0, 45, 0, 0, 0}));
}

TEST_F(QvDesignRowTest, UnscatterClearsWhatScatterWrote) {
  Expand({2, 3, 5});
  std::vector<double> dense = Dense();
  row_.Unscatter(dense);
  EXPECT_EQ(dense, std::vector<double>(7, 0.0));
}

TEST_F(QvDesignRowTest, TellsWhereARecordHoldsAValueAsItIs) {
  for (const std::size_t effect : {std::size_t{0}, std::size_t{1}, std::size_t{2}}) {
    EXPECT_EQ(row_.GetCopiedPosition(effect), -1) << "the effect " << effect << " is computed";
  }
  EXPECT_EQ(row_.GetCopiedPosition(3), kX);
}

TEST_F(QvDesignRowTest, SetUpAnewHoldsNothing) {
  Expand({2, 3, 5});
  row_.Setup(tables_, Effects(), {kX, kZ}, {kX, kZ});
  EXPECT_EQ(Dense(), std::vector<double>(7, 0.0));
}

TEST(QvDesignRow, SetUpAnewWritesTheColumnsOfTheNewEffectsOnly) {
  QvFactorTables tables({}, {}, kNone, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone);
  QvDesignRow row;
  row.Setup(tables, {ParameterOf({}), ParameterOf({{kX, 1}}), ParameterOf({{kZ, 1}})}, {kX, kZ},
            {0, 1});
  const std::vector<double> values{3, 5};
  std::vector<double> columns(3, -7.0);
  row.ExpandAll(values.data(), columns.data());
  EXPECT_EQ(columns, (std::vector<double>{1, 3, 5}));
  row.Setup(tables, {ParameterOf({{kZ, 1}})}, {kX, kZ}, {0, 1});
  columns.assign(3, -7.0);
  row.ExpandAll(values.data(), columns.data());
  EXPECT_EQ(columns, (std::vector<double>{5, -7, -7}));
}

TEST_F(QvDesignRowTest, ReadsEachCovariateAtItsPosition) {
  // A stored row: x behind z, neither at its place in a record.
  row_.Setup(tables_, Effects(), {kZ, kX}, {3, 4});
  const std::vector<double> stored{2, -1, -1, 5, 3};
  EXPECT_TRUE(row_.Expand(stored.data()));
  EXPECT_EQ(Dense(), (std::vector<double>{1, 0, 1, 45, 0, 3, 0}));
}

TEST_F(QvDesignRowTest, ExpandsARowOfKnownParametersWithoutItsFactors) {
  row_.Setup(tables_, Effects(), {kX, kZ}, {0, 1});
  const std::vector<double> stored{3, 5};
  row_.ExpandIndices(stored.data(), {0, 2, 3, 5});
  EXPECT_EQ(row_.GetCount(), 4);
  EXPECT_EQ(Dense(), (std::vector<double>{1, 0, 1, 45, 0, 3, 0}));
}

TEST_F(QvDesignRowTest, AKnownParameterOfMinusOneIsLeftOut) {
  const std::vector<double> values{1, 3, 5};
  row_.ExpandIndices(values.data(), {0, kNone, 3, kNone});
  EXPECT_EQ(row_.GetCount(), 2);
  EXPECT_EQ(Dense(), (std::vector<double>{1, 0, 0, 45, 0, 0, 0}));
}

TEST_F(QvDesignRowTest, AZeroIsLeftOutOfAKnownRowAndANaNIsNot) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const std::vector<double> values{0, 0, nan};
  row_.ExpandIndices(values.data(), {0, 1, 3, 4});
  ASSERT_EQ(row_.GetCount(), 3) << "0^2 x NaN is not a number";
  EXPECT_EQ(row_.GetIndices()[2], 3);
  EXPECT_TRUE(std::isnan(row_.GetValues()[2]));
}

TEST_F(QvDesignRowTest, TellsTheValueOfOneEffect) {
  const std::vector<double> values{0, 3, 5};
  EXPECT_EQ(row_.HostValue(0, values.data()), 1.0);
  EXPECT_EQ(row_.HostValue(1, values.data()), 1.0);
  EXPECT_EQ(row_.HostValue(2, values.data()), 45.0);
  EXPECT_EQ(row_.HostValue(3, values.data()), 3.0);
}

TEST_F(QvDesignRowTest, MultipliesWithOneOfSeveralBlocksOfCoefficients) {
  Expand({2, 3, 5});
  // The second block of six: 10 + 30 + 45 x 2 - 3.
  EXPECT_EQ(row_.InnerProduct({9, 9, 9, 9, 9, 9, 10, 1000, 30, 2, 1000, -1}, 6), 127.0);
}

TEST_F(QvDesignRowTest, ANewRecordReplacesTheRow) {
  Expand({2, 3, 5});
  row_.Append(6, 1.0);
  Expand({0, 1, 1});
  EXPECT_EQ(Dense(), (std::vector<double>{1, 1, 0, 1, 1, 0, 0}));
}

/// The same effects, in a first pass over which x and z are of the given sizes.
class QvDesignRowScaleTest : public QvDesignRowTest {
 protected:
  void Measure(double x, double z) {
    tables_.SetCovariates({kX, kZ});
    tables_.SetEffectCovariates(Effects());
    tables_.UpdateAll(MakeRecord({0, x, z}));
    row_.Setup(tables_, Effects(), {kX, kZ}, {kX, kZ});
  }
};

TEST_F(QvDesignRowScaleTest, DividesColumnsOfUnusualSize) {
  Measure(0x1p+600, 0x1p-400);
  EXPECT_TRUE(Expand({2, 0x1.8p+600, 0x1p-401}));
  EXPECT_EQ(Dense(), (std::vector<double>{1, 0, 1, 0x1.2p+0, 0, 1.5, 0}));
  // A number that is not the largest keeps its digits as far as it can.
  EXPECT_TRUE(Expand({0, 0x1.123p+0, 0x1p-400}));
  EXPECT_EQ(Dense(), (std::vector<double>{1, 1, 0, 0, 0x1.123p-600, 0, 0}));
}

TEST_F(QvDesignRowScaleTest, DividesByPowersThatAreNoDoubles) {
  Measure(0x1p-1074, 0x1p+1000);
  EXPECT_TRUE(Expand({2, 0x1.8p-1073, 1.0}));
  EXPECT_EQ(Dense()[5], 3.0);
  Measure(0x1p+1023, 1.0);
  EXPECT_TRUE(Expand({2, 0x1.8p+1023, 1.0}));
  EXPECT_EQ(Dense()[5], 1.5);
}

TEST_F(QvDesignRowScaleTest, TellsTheHostsValues) {
  Measure(0x1p+600, 0x1p-400);
  const std::vector<double> values{2, 0x1.8p+600, 0x1p-900};
  EXPECT_EQ(row_.HostValue(0, values.data()), 1.0);
  EXPECT_EQ(row_.HostValue(2, values.data()), 0x1.2p+301);
  EXPECT_EQ(row_.HostValue(3, values.data()), 0x1.8p+600);
  EXPECT_TRUE(row_.ExpandInHostUnits(values.data()));
  EXPECT_EQ(Dense(), (std::vector<double>{1, 0, 1, 0x1.2p+301, 0, 0x1.8p+600, 0}));
}

TEST_F(QvDesignRowScaleTest, NumbersColumnsOfUnusualSize) {
  Measure(0x1p+600, 0x1p-400);
  std::vector<int> indices;
  std::vector<double> values;
  row_.ExpandNumbered(std::vector<double>{2, 0x1.8p+600, 0x1p-401}.data(), {0, 2, 3, 5},
                      {0, -1, 1, 2, -1, 3}, indices, values);
  EXPECT_EQ(indices, (std::vector<int>{0, 1, 2, 3}));
  EXPECT_EQ(values, (std::vector<double>{1, 1, 0x1.2p+0, 1.5}));
}

}  // namespace
