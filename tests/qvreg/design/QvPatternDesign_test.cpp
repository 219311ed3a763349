#include "qvreg/design/QvPatternDesign.h"

#include <vector>

#include <gtest/gtest.h>

#include "qvreg/design/QvFactorTables.h"
#include "qvreg/settings/QvRegrParameter.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using qvtest::MakeRecord;
using qvtest::ParameterOf;
using Doubles = std::vector<double>;
using Ints = std::vector<int>;

constexpr int kA = 0;
constexpr int kX = 1;
constexpr int kZ = 2;
constexpr int kNone = -1;

/// The effects intercept, A, x, z, A x and x^2 over a factor A of two levels: columns 0, 1 to 2, 3,
/// 4, 5 to 6, 7.
class PatternDesignTest : public ::testing::Test {
 protected:
  void SetUpRow(double x = 3.0, double z = 5.0) {
    tables_.SetModelEffectFactors({{}, {kA}, {}, {}, {kA}, {}}, {kA});
    tables_.SetCovariates({kX, kZ});
    const std::vector<QvRegrParameter> effects{ParameterOf({}),        ParameterOf({}),
                                               ParameterOf({{kX, 1}}), ParameterOf({{kZ, 1}}),
                                               ParameterOf({{kX, 1}}), ParameterOf({{kX, 2}})};
    tables_.SetEffectCovariates(effects);
    tables_.UpdateAll(MakeRecord({0, x, z}));
    tables_.UpdateAll(MakeRecord({1, x, z}));
    tables_.CreateParameterIndices();
    row_.Setup(tables_, effects, {kX, kZ}, {kX, kZ});
  }
  [[nodiscard]] static Doubles ValuesOf(const QvPatternDesign& design, const Doubles& row) {
    Doubles values(design.GetValueCount(), -1.0);
    design.FillValues(row.data(), values.data());
    return values;
  }

  QvFactorTables tables_{{kA}, {2}, kNone, kNone, 0, 0, kNone, 0.0, QvConst::QvOffsetNone};
  QvDesignRow row_;
};

TEST_F(PatternDesignTest, ColumnsOfTheSameProductShareAValue) {
  SetUpRow();
  const Ints numbers{0, 1, 2, 3, 4, 5, 6, 7};
  QvPatternDesign design(row_, tables_, numbers);
  EXPECT_EQ(ValuesOf(design, {1, 3, 5}), (Doubles{1, 3, 5, 9}));
  EXPECT_FALSE(design.IsConstant());
  design.FindColumns({0, 2, 3, 4, 6, 7});
  EXPECT_EQ(design.GetColumns(), (Ints{0, 2, 3, 4, 6, 7}));
  EXPECT_EQ(design.GetPlaces(), (Ints{0, 0, 1, 2, 1, 3}));
}

TEST_F(PatternDesignTest, FindsTheValuesOfAPanelColumnByColumn) {
  constexpr std::size_t kRows = QvDesignRow::kPanelRows;
  const Ints numbers{0, 1, 2, 3, 4, 5, 6, 7};
  // Numbers as they are, and such as columns and products are divided for.
  for (const double size : {3.0, 3e12, 3e200}) {
    SetUpRow(size, size);
    QvPatternDesign design(row_, tables_, numbers);
    Doubles panel(3 * kRows);
    for (std::size_t r = 0; r < kRows; ++r) {
      panel[kX * kRows + r] = size - size / 300.0 * static_cast<double>(r);
      panel[kZ * kRows + r] = size / static_cast<double>(r + 1);
    }
    const std::vector<const double*>& columns = design.FindPanelColumns(panel.data());
    ASSERT_EQ(columns.size(), design.GetValueCount());
    for (std::size_t r = 0; r < kRows; ++r) {
      const Doubles values =
          ValuesOf(design, {panel[r], panel[kX * kRows + r], panel[kZ * kRows + r]});
      for (std::size_t v = 0; v < values.size(); ++v) EXPECT_EQ(columns[v][r], values[v]);
    }
  }
}

TEST_F(PatternDesignTest, WhatIsNotKeptIsLeftOut) {
  SetUpRow();
  // Without z, the second level of A and its slope.
  const Ints numbers{0, 1, -1, 2, -1, 3, -1, 4};
  QvPatternDesign design(row_, tables_, numbers);
  EXPECT_EQ(ValuesOf(design, {1, 3, 1e300 * 1e10}), (Doubles{1, 3, 9}));
  design.FindColumns({0, 2, 3, 4, 6, 7});
  EXPECT_EQ(design.GetColumns(), (Ints{0, 2, 4}));
  EXPECT_EQ(design.GetPlaces(), (Ints{0, 1, 2}));
  design.FindColumns({0, 1, 3, 4, 5, -1});
  EXPECT_EQ(design.GetColumns(), (Ints{0, 1, 2, 3}));
  EXPECT_EQ(design.GetPlaces(), (Ints{0, 0, 1, 1}));
}

TEST_F(PatternDesignTest, WithoutCovariatesItIsConstant) {
  SetUpRow();
  const Ints numbers{0, 1, -1, -1, -1, -1, -1, -1};
  const QvPatternDesign design(row_, tables_, numbers);
  EXPECT_TRUE(design.IsConstant());
  EXPECT_EQ(ValuesOf(design, {1, 3, 5}), (Doubles{1}));
  EXPECT_FALSE(QvPatternDesign().IsConstant());
  const Ints slope{-1, -1, -1, 0, -1, -1, -1, -1};
  EXPECT_FALSE(QvPatternDesign(row_, tables_, slope).IsConstant());
}

TEST_F(PatternDesignTest, LargeCovariatesAreDivided) {
  SetUpRow(0x1p+30, 5.0);
  const Ints numbers{0, 1, 2, 3, 4, 5, 6, 7};
  const QvPatternDesign design(row_, tables_, numbers);
  EXPECT_EQ(ValuesOf(design, {1, 0x1p+29, 5}), (Doubles{1, 0.5, 5, 0.25}));
}

}  // namespace
