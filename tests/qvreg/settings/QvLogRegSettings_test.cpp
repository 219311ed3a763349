#include "qvreg/settings/QvLogRegSettings.h"

#include <cmath>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/VirtualSlot.h"

namespace {

/// Settings with nothing of the logistic part left at its default.
QvLogRegSettings FullSettings() {
  QvLogRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(3));
  settings.SetTolerance(1e-8);
  EXPECT_TRUE(settings.SetDependentRefCat(2, 4));
  EXPECT_TRUE(settings.SetLLConCriterion(0.25));
  EXPECT_TRUE(settings.SetParamEstConCriterion(0.125));
  EXPECT_TRUE(settings.SetMaxIterations(50));
  EXPECT_TRUE(settings.SetMaxStepHalvingValue(9));
  EXPECT_TRUE(settings.SetStartingIteration(7));
  settings.SetLLFuncChange(true);
  settings.SetParamEstChange(true);
  settings.SetUsePatternTabulator(true);
  EXPECT_TRUE(settings.SetIterationFrequency(3));
  EXPECT_TRUE(settings.SetStartingValues({0.5, -2.0}));
  return settings;
}

void ExpectFullSettings(const QvLogRegSettings& settings) {
  EXPECT_EQ(settings.GetDependent(), 3);
  EXPECT_EQ(settings.GetTolerance(), 1e-8);
  EXPECT_EQ(settings.GetDependentNCategs(), 4);
  EXPECT_EQ(settings.GetDependentRefCateg(), 2);
  EXPECT_EQ(settings.GetLLConCriterion(), 0.25);
  EXPECT_EQ(settings.GetParamEstConCriterion(), 0.125);
  EXPECT_EQ(settings.GetMaxIterations(), 50);
  EXPECT_EQ(settings.GetMaxStepHalvingValue(), 9);
  EXPECT_EQ(settings.GetStartingIteration(), 7);
  EXPECT_TRUE(settings.GetLLFuncChange());
  EXPECT_TRUE(settings.GetParamEstChange());
  EXPECT_TRUE(settings.GetUsePatternTabulator());
  EXPECT_EQ(settings.GetIterationFrequency(), 3);
  EXPECT_EQ(settings.GetStartingValues(), (std::vector<double>{0.5, -2.0}));
}

TEST(QvLogRegSettings, HasItsDefaults) {
  QvLogRegSettings settings;
  EXPECT_EQ(settings.GetModelType(), QvConst::QvRegModelLogistic);
  EXPECT_EQ(settings.GetDependentNCategs(), 2);
  EXPECT_EQ(settings.GetDependentRefCateg(), -1);
  EXPECT_EQ(settings.GetLLConCriterion(), 0.0);
  EXPECT_EQ(settings.GetParamEstConCriterion(), 1e-6);
  EXPECT_EQ(settings.GetMaxIterations(), 100);
  EXPECT_EQ(settings.GetMaxStepHalvingValue(), 5);
  EXPECT_EQ(settings.GetStartingIteration(), 20);
  EXPECT_FALSE(settings.GetLLFuncChange());
  EXPECT_FALSE(settings.GetParamEstChange());
  EXPECT_FALSE(settings.GetUsePatternTabulator());
  EXPECT_EQ(settings.GetIterationFrequency(), 1);
  EXPECT_TRUE(settings.GetStartingValues().empty());
  EXPECT_EQ(settings.GetDependent(), -1);
  EXPECT_TRUE(settings.GetInterceptUse());
}

TEST(QvLogRegSettings, TakesAReferenceThatIsACategoryOrFirstOrLast) {
  QvLogRegSettings settings;
  EXPECT_TRUE(settings.SetDependentRefCat(1, 2));
  EXPECT_TRUE(settings.SetDependentRefCat(-2, 2));
  EXPECT_EQ(settings.GetDependentRefCateg(), -2);
  EXPECT_TRUE(settings.SetDependentRefCat(-1, 7));
  EXPECT_TRUE(settings.SetDependentRefCat(6, 7));
  EXPECT_EQ(settings.GetDependentRefCateg(), 6);
  EXPECT_EQ(settings.GetDependentNCategs(), 7);
}

TEST(QvLogRegSettings, RefusesAReferenceOutsideTheCategories) {
  QvLogRegSettings settings;
  EXPECT_FALSE(settings.SetDependentRefCat(2, 2));
  EXPECT_FALSE(settings.SetDependentRefCat(-3, 5));
  EXPECT_FALSE(settings.SetDependentRefCat(0, 1));
  EXPECT_FALSE(settings.SetDependentRefCat(-1, 1));
  EXPECT_EQ(settings.GetDependentRefCateg(), -1);
  EXPECT_EQ(settings.GetDependentNCategs(), 2);
}

TEST(QvLogRegSettings, ZeroIterationsAreAccepted) {
  QvLogRegSettings settings;
  EXPECT_TRUE(settings.SetMaxIterations(0));
  EXPECT_FALSE(settings.SetMaxIterations(-1));
  EXPECT_EQ(settings.GetMaxIterations(), 0);
}

TEST(QvLogRegSettings, AtLeastOneStepHalvingIsNeeded) {
  QvLogRegSettings settings;
  EXPECT_FALSE(settings.SetMaxStepHalvingValue(0));
  EXPECT_EQ(settings.GetMaxStepHalvingValue(), 5);
  EXPECT_TRUE(settings.SetMaxStepHalvingValue(1));
  EXPECT_EQ(settings.GetMaxStepHalvingValue(), 1);
}

TEST(QvLogRegSettings, TheIterationFrequencyIsAtLeastOne) {
  QvLogRegSettings settings;
  EXPECT_TRUE(settings.SetIterationFrequency(10));
  EXPECT_FALSE(settings.SetIterationFrequency(0));
  EXPECT_FALSE(settings.SetIterationFrequency(-1));
  EXPECT_EQ(settings.GetIterationFrequency(), 10);
}

TEST(QvLogRegSettings, TheStartingIterationMayBeZero) {
  QvLogRegSettings settings;
  EXPECT_FALSE(settings.SetStartingIteration(-1));
  EXPECT_EQ(settings.GetStartingIteration(), 20);
  EXPECT_TRUE(settings.SetStartingIteration(0));
  EXPECT_EQ(settings.GetStartingIteration(), 0);
}

TEST(QvLogRegSettings, CriteriaAreNumbersFromZeroOn) {
  QvLogRegSettings settings;
  for (const double refused : {-1e-300, -1.0, std::nan("")}) {
    EXPECT_FALSE(settings.SetLLConCriterion(refused));
    EXPECT_FALSE(settings.SetParamEstConCriterion(refused));
  }
  EXPECT_EQ(settings.GetLLConCriterion(), 0.0);
  EXPECT_EQ(settings.GetParamEstConCriterion(), 1e-6);
  EXPECT_TRUE(settings.SetLLConCriterion(0.5));
  EXPECT_TRUE(settings.SetParamEstConCriterion(0.0));
  EXPECT_EQ(settings.GetLLConCriterion(), 0.5);
  EXPECT_EQ(settings.GetParamEstConCriterion(), 0.0);
}

TEST(QvLogRegSettings, StartingValuesAreFinite) {
  QvLogRegSettings settings = FullSettings();
  const double infinity = std::numeric_limits<double>::infinity();
  for (const double refused : {std::nan(""), infinity, -infinity}) {
    EXPECT_FALSE(settings.SetStartingValues({1.0, refused}));
  }
  EXPECT_EQ(settings.GetStartingValues(), (std::vector<double>{0.5, -2.0}));
  EXPECT_TRUE(settings.SetStartingValues({}));
  EXPECT_TRUE(settings.GetStartingValues().empty());
}

TEST(QvLogRegSettings, SwitchesGoBothWays) {
  QvLogRegSettings settings = FullSettings();
  settings.SetLLFuncChange(false);
  settings.SetParamEstChange(false);
  settings.SetUsePatternTabulator(false);
  EXPECT_FALSE(settings.GetLLFuncChange());
  EXPECT_FALSE(settings.GetParamEstChange());
  EXPECT_FALSE(settings.GetUsePatternTabulator());
}

TEST(QvLogRegSettings, CopiesCarryBothParts) {
  const QvLogRegSettings original = FullSettings();
  const QvLogRegSettings copy(original);
  QvLogRegSettings assigned;
  assigned = original;
  ExpectFullSettings(copy);
  ExpectFullSettings(assigned);
}

TEST(QvLogRegSettings, AreValidAsTheBaseIs) {
  QvLogRegSettings settings;
  EXPECT_TRUE(settings.IsValidSettings() == QvCommon::QvStatus(301, false));
  EXPECT_TRUE(settings.SetDependent(0));
  EXPECT_TRUE(settings.IsValidSettings().IsOK());
  settings.SetInterceptUse(false);
  EXPECT_TRUE(settings.IsValidSettings() == QvCommon::QvStatus(302, false));
}

TEST(QvLogRegSettings, DecideTheModelThroughTheBase) {
  QvLogRegSettings logistic;
  QvRegSettings& settings = logistic;
  EXPECT_EQ(settings.GetModelType(), QvConst::QvRegModelLogistic);
  EXPECT_TRUE(settings.SetDependent(0));
  EXPECT_EQ(settings.AddCovariate(1), 1);
}

TEST(QvLogRegSettings, VirtualOperationsAddNoSlots) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  EXPECT_EQ(qvtest::VirtualSlot(&QvLogRegSettings::GetModelType),
            qvtest::VirtualSlot(&QvRegSettings::GetModelType));
  EXPECT_EQ(qvtest::VirtualSlot(&QvLogRegSettings::IsValidSettings),
            qvtest::VirtualSlot(&QvRegSettings::IsValidSettings));
  EXPECT_EQ(qvtest::VirtualSlot(&QvLogRegSettings::Display),
            qvtest::VirtualSlot(&QvRegSettings::Display));
}

TEST(QvLogRegSettings, DisplayWrapsTheBaseAndAddsItsOwnFields) {
  QvLogRegSettings settings = FullSettings();
  EXPECT_TRUE(settings.SetStartingValues({}));
  const std::string base = qvtest::OutputOf([&] { settings.QvRegSettings::Display(); });
  EXPECT_EQ(qvtest::OutputOf([&] { settings.Display(); }),
            "QvLogRegSettings display start\n" + base +
                "N of Dependent Categories: 4\n"
                "Dependent Var reference Category: 2\n"
                "Log-Likelihood Function Convergence Criterion: 0.25\n"
                "Parameter Estimates Convergence Criterion: 0.125\n"
                "Maximum number of Iteration: 50\n"
                "Maximum Step-Halving Allowed: 9\n"
                "Staring Iteration: 7\n"
                "Log-Likelihood Function absolute change: true\n"
                "Parameter Estimates absolute change: true\n"
                "Show Iteration history frequency: 3\n"
                "QvLogRegSettings display end\n");
}

TEST(QvLogRegSettings, DisplayShowsStartingValuesWhenThereAreSome) {
  QvLogRegSettings settings = FullSettings();
  ASSERT_TRUE(settings.SetStartingValues({1.0 / 3, -2.0}));
  const std::string text = qvtest::OutputOf([&] { settings.Display(); });
  EXPECT_NE(text.find("Show Iteration history frequency: 3\nStarting values"), std::string::npos)
      << text;
  EXPECT_NE(text.find("-2"), std::string::npos) << text;
  EXPECT_NE(text.find("0.333333333333333"), std::string::npos) << "every digit: " << text;
}

}  // namespace
