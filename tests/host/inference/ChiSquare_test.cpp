#include "host/inference/ChiSquare.h"

#include <limits>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

// R: pchisq(q, df, lower.tail = FALSE)
TEST(UpperChiSquare, AgreesWithR) {
  struct Case {
    double statistic;
    int degrees;
    double p;
  };
  for (const Case& c :
       {Case{3.841458820694124, 1, 0.049999999999999975}, Case{0.5, 1, 0.47950012218695348},
        Case{10, 3, 0.018566135463043233}, Case{40, 40, 0.47025726683923996},
        Case{250, 200, 0.0093791316688260976}, Case{1e-10, 2, 0.99999999995}}) {
    const auto p = UpperChiSquare(c.statistic, c.degrees);
    ASSERT_TRUE(p.has_value());
    EXPECT_NEAR(*p, c.p, 1e-13 * c.p) << c.statistic << " on " << c.degrees;
  }
}

// R: as above
TEST(UpperChiSquare, KeepsTheDigitsOfSmallProbabilities) {
  EXPECT_NEAR(*UpperChiSquare(123.4, 7), 1.4991023516438906e-23, 1e-34);
  EXPECT_NEAR(*UpperChiSquare(2500, 1000), 2.1059268048481405e-129, 1e-139);
  EXPECT_NEAR(*UpperChiSquare(1400, 5), 1.3765875143944421e-300, 1e-310);
  EXPECT_EQ(UpperChiSquare(1e6, 3), 0.0) << "below the smallest double";
}

TEST(UpperChiSquare, AStatisticBelowZeroThroughRoundingIsZero) {
  EXPECT_EQ(UpperChiSquare(0.0, 4), 1.0);
  EXPECT_EQ(UpperChiSquare(-1e-12, 4), 1.0);
}

TEST(UpperChiSquare, IsNoneWhereThereIsNothingToTest) {
  EXPECT_FALSE(UpperChiSquare(std::nullopt, 3).has_value());
  EXPECT_FALSE(UpperChiSquare(5.0, 0).has_value());
  EXPECT_FALSE(UpperChiSquare(5.0, -1).has_value());
}

TEST(UpperChiSquare, AnswersNoInfinityAndNoNaN) {
  const double huge = std::numeric_limits<double>::max();
  EXPECT_EQ(UpperChiSquare(huge, 1), 0.0);
  EXPECT_EQ(UpperChiSquare(huge, 1000000), 0.0);
}

}  // namespace
}  // namespace qvhost
