// The text of settings whose every value tells which it is.
#include <string>

#include <gtest/gtest.h>

#include "qvreg/settings/QvRegSettings.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace {

TEST(QvRegSettings, DisplayPrintsEveryValueUnderItsLabel) {
  QvRegSettings settings;
  ASSERT_TRUE(settings.SetDependent(10));
  ASSERT_EQ(settings.AddFactor(11, 20), 1);
  ASSERT_EQ(settings.AddFactor(12, 21), 2);
  ASSERT_EQ(settings.AddCovariate(13), 1);
  ASSERT_EQ(settings.AddCovariate(14), 2);
  ASSERT_TRUE(settings.SetFrequencyWeightVar(15));
  ASSERT_TRUE(settings.SetRegrWeightVar(16));
  settings.SetTolerance(0.125);
  settings.SetConfidenceLevel(0.75);
  settings.SetDF(17.0);
  EXPECT_EQ(qvtest::OutputOf([&] { settings.Display(); }),
            "QvRegSettings display start\n"
            "fFreqWeightVar: 15\n"
            "fRegrWeightVar: 16\n"
            "Dependent Var: 10\n"
            "Factors: 11 12\n"
            "Factor Sizes: 20 21\n"
            "Covariates: 13 14\n"
            "Tolerance: 0.125\n"
            "Intercept use: true\n"
            "Confidence: 0.75\n"
            "Degrees of freedom: 17\n"
            "\nModel Effects:\n"
            "QvRegSettings display end\n");
}

TEST(QvRegSettings, DisplayShowsTheRecordCountOfTheFirstVariable) {
  QvRegSettings settings;
  ASSERT_TRUE(settings.SetRecordCountVar(0));
  const std::string text = qvtest::OutputOf([&] { settings.Display(); });
  EXPECT_NE(text.find("\nfRecordCountVar: 0\n"), std::string::npos) << text;
}

}  // namespace
