#include "qvreg/settings/QvConst.h"

#include <gtest/gtest.h>

namespace {

TEST(QvConst, ModelTypesHaveTheirNumbers) {
  EXPECT_EQ(QvConst::QvRegModelGLM, 0);
  EXPECT_EQ(QvConst::QvRegModelLogistic, 1);
}

TEST(QvConst, VariableTypesHaveTheirNumbers) {
  EXPECT_EQ(QvConst::QvVarNone, 0);
  EXPECT_EQ(QvConst::QvVarFreqWeight, 1);
  EXPECT_EQ(QvConst::QvVarRegrWeight, 2);
  EXPECT_EQ(QvConst::QvVarFactor, 3);
  EXPECT_EQ(QvConst::QvVarCovariate, 4);
  EXPECT_EQ(QvConst::QvVarDependent, 5);
}

TEST(QvConst, FitStatisticsHaveTheirNumbers) {
  EXPECT_EQ(QvConst::QvFitRootMeanSquareError, 0);
  EXPECT_EQ(QvConst::QvFitMultipleRSquare, 1);
  EXPECT_EQ(QvConst::QvFitCoxSnellRSquare, 2);
  EXPECT_EQ(QvConst::QvFitNagelkerkeRSquare, 3);
  EXPECT_EQ(QvConst::QvFitMcFaddenRSquare, 4);
}

TEST(QvConst, TheChoicesCarriedForTheHostStartAtZero) {
  EXPECT_EQ(QvConst::QvTestDefault, 0);
  EXPECT_EQ(QvConst::QvPAdjustDefault, 0);
  EXPECT_EQ(QvConst::QvCovbDefault, 0);
}

}  // namespace
