#include "qvreg/settings/QvRegSettings.h"

#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/ProgressListener.h"
#include "qvreg/data/QvCancelInfo.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/VirtualSlot.h"

namespace {

using qvtest::AllocationFault;
using Ints = std::vector<int>;
using Labels = std::vector<std::string>;
using Types = std::vector<QvConst::QvVariableType>;

class SilentListener : public ProgressListener {
 public:
  void ReportProgress(ProgressReport* /*report*/) override {}
};

class NeverCancel : public QvQueryCancel {
 public:
  bool QueryCancel() override { return false; }
  bool QueryWillCancel() override { return false; }
};

/// The ways to give a variable its role; each answers whether it was accepted.
const std::vector<std::function<bool(QvRegSettings&, int)>> kRoleSetters = {
    [](QvRegSettings& settings, int var) { return settings.SetDependent(var); },
    [](QvRegSettings& settings, int var) { return settings.AddFactor(var, 3) > 0; },
    [](QvRegSettings& settings, int var) { return settings.AddCovariate(var) > 0; },
    [](QvRegSettings& settings, int var) { return settings.SetFrequencyWeightVar(var); },
    [](QvRegSettings& settings, int var) { return settings.SetRegrWeightVar(var); },
    [](QvRegSettings& settings, int var) { return settings.SetRecordCountVar(var); }};

TEST(QvRegSettings, HasItsDefaults) {
  QvRegSettings settings;
  EXPECT_EQ(settings.GetModelType(), QvConst::QvRegModelGLM);
  EXPECT_EQ(settings.GetDependent(), -1);
  EXPECT_TRUE(settings.GetFactors().empty());
  EXPECT_TRUE(settings.GetFactorSizes().empty());
  EXPECT_TRUE(settings.GetCovariates().empty());
  EXPECT_EQ(settings.GetFrequencyWeightVar(), -1);
  EXPECT_EQ(settings.GetRegrWeightVar(), -1);
  EXPECT_TRUE(settings.GetInterceptUse());
  EXPECT_EQ(settings.GetTolerance(), 1e-12);
  EXPECT_EQ(settings.GetNModelEffects(), 0);
  EXPECT_EQ(settings.GetConfidenceLevel(), 0.95);
  EXPECT_EQ(settings.GetDF(), -1.0);
  EXPECT_EQ(settings.GetTestType(), 0);
  EXPECT_EQ(settings.GetPAdjustment(), 0);
  EXPECT_EQ(settings.GetCovbType(), 0);
  EXPECT_EQ(settings.GetProgressListener(), nullptr);
  EXPECT_EQ(settings.GetCancelPointer(), nullptr);
  EXPECT_TRUE(settings.GetVariableTypes().empty());
  EXPECT_FALSE(settings.GetRefineEstimates());
  EXPECT_EQ(settings.GetMaxRefinements(), 1);
}

TEST(QvRegSettings, RefinesByAsManyStepsAsAllowed) {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetMaxRefinements(5));
  EXPECT_TRUE(settings.GetRefineEstimates());
  EXPECT_EQ(settings.GetMaxRefinements(), 5);
  EXPECT_FALSE(settings.SetMaxRefinements(-1));
  EXPECT_EQ(settings.GetMaxRefinements(), 5);
  settings.SetRefineEstimates(false);
  EXPECT_EQ(settings.GetMaxRefinements(), 5);
  EXPECT_FALSE(settings.SetMaxRefinements(-1));
  EXPECT_FALSE(settings.GetRefineEstimates());
  settings.SetRefineEstimates(true);
  EXPECT_EQ(settings.GetMaxRefinements(), 5);
}

TEST(QvRegSettings, NoStepsAreNoRefinement) {
  QvRegSettings settings;
  settings.SetRefineEstimates(true);
  EXPECT_TRUE(settings.SetMaxRefinements(0));
  EXPECT_FALSE(settings.GetRefineEstimates());
  EXPECT_EQ(settings.GetMaxRefinements(), 0);
  settings.SetRefineEstimates(true);
  EXPECT_TRUE(settings.GetRefineEstimates());
  EXPECT_EQ(settings.GetMaxRefinements(), 1);
}

TEST(QvRegSettings, TheDependentIsSetOnce) {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(2));
  EXPECT_FALSE(settings.SetDependent(5));
  EXPECT_FALSE(settings.SetDependent(2));
  EXPECT_EQ(settings.GetDependent(), 2);
  EXPECT_EQ(settings.AddCovariate(5), 1) << "variable 5 is still free";
}

TEST(QvRegSettings, TheFirstVariableIsSetOnceAsWell) {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(0));
  EXPECT_FALSE(settings.SetDependent(1));
  EXPECT_EQ(settings.GetDependent(), 0);
  QvRegSettings counted;
  EXPECT_TRUE(counted.SetRecordCountVar(0));
  EXPECT_FALSE(counted.SetRecordCountVar(1));
  EXPECT_EQ(counted.GetRecordCountVar(), 0);
}

TEST(QvRegSettings, ARefusedDependentLeavesRoomForAnother) {
  QvRegSettings settings;
  EXPECT_GT(settings.AddCovariate(0), 0);
  EXPECT_FALSE(settings.SetDependent(-1));
  EXPECT_FALSE(settings.SetDependent(0));
  EXPECT_EQ(settings.GetDependent(), -1);
  EXPECT_TRUE(settings.SetDependent(1));
}

TEST(QvRegSettings, AddersAnswerTheNewCount) {
  QvRegSettings settings;
  EXPECT_EQ(settings.AddFactor(4, 2), 1);
  EXPECT_EQ(settings.AddFactor(1, 5), 2);
  EXPECT_EQ(settings.AddCovariate(3), 1);
  EXPECT_EQ(settings.AddCovariate(0), 2);
  EXPECT_EQ(settings.GetFactors(), (Ints{4, 1}));
  EXPECT_EQ(settings.GetFactorSizes(), (Ints{2, 5}));
  EXPECT_EQ(settings.GetCovariates(), (Ints{3, 0}));
}

TEST(QvRegSettings, TheRoleTableGrowsToTheVariable) {
  QvRegSettings settings;
  EXPECT_GT(settings.AddFactor(3, 2), 0);
  EXPECT_EQ(settings.GetVariableTypes(), (Types{QvConst::QvVarNone, QvConst::QvVarNone,
                                                QvConst::QvVarNone, QvConst::QvVarFactor}));
  EXPECT_TRUE(settings.SetDependent(0));
  EXPECT_GT(settings.AddCovariate(1), 0);
  EXPECT_TRUE(settings.SetFrequencyWeightVar(4));
  EXPECT_TRUE(settings.SetRegrWeightVar(5));
  EXPECT_EQ(settings.GetVariableTypes(),
            (Types{QvConst::QvVarDependent, QvConst::QvVarCovariate, QvConst::QvVarNone,
                   QvConst::QvVarFactor, QvConst::QvVarFreqWeight, QvConst::QvVarRegrWeight}));
}

TEST(QvRegSettings, AVariableWithARoleIsRefusedForEveryOther) {
  for (std::size_t first = 0; first < kRoleSetters.size(); ++first) {
    for (std::size_t second = 0; second < kRoleSetters.size(); ++second) {
      QvRegSettings settings;
      EXPECT_TRUE(kRoleSetters[first](settings, 6)) << first;
      const Types before = settings.GetVariableTypes();
      EXPECT_FALSE(kRoleSetters[second](settings, 6)) << first << " then " << second;
      EXPECT_EQ(settings.GetVariableTypes(), before);
    }
  }
}

TEST(QvRegSettings, ANegativeVariableIsRefusedForEveryRole) {
  QvRegSettings settings;
  for (const auto& setRole : kRoleSetters) EXPECT_FALSE(setRole(settings, -1));
  EXPECT_TRUE(settings.GetVariableTypes().empty());
}

TEST(QvRegSettings, AFactorIsRefusedAsACovariate) {
  QvRegSettings settings;
  EXPECT_GT(settings.AddFactor(2, 3), 0);
  EXPECT_EQ(settings.AddCovariate(2), -1);
  EXPECT_TRUE(settings.GetCovariates().empty());
}

TEST(QvRegSettings, AFactorNeedsACategory) {
  QvRegSettings settings;
  EXPECT_EQ(settings.AddFactor(2, 0), -1);
  EXPECT_EQ(settings.AddFactor(2, -1), -1);
  EXPECT_TRUE(settings.GetVariableTypes().empty());
  EXPECT_TRUE(settings.GetFactors().empty());
  EXPECT_EQ(settings.AddFactor(2, 1), 1);
}

TEST(QvRegSettings, ASecondFrequencyWeightReplacesTheFirstWhichKeepsItsRole) {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetFrequencyWeightVar(3));
  EXPECT_TRUE(settings.SetFrequencyWeightVar(4));
  EXPECT_EQ(settings.GetFrequencyWeightVar(), 4);
  EXPECT_EQ(settings.AddFactor(3, 2), -1);
  EXPECT_EQ(settings.AddCovariate(3), -1);
  EXPECT_FALSE(settings.SetFrequencyWeightVar(3));
  EXPECT_EQ(settings.GetFrequencyWeightVar(), 4);
}

TEST(QvRegSettings, ASecondRegressionWeightReplacesTheFirstWhichKeepsItsRole) {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetRegrWeightVar(3));
  EXPECT_TRUE(settings.SetRegrWeightVar(4));
  EXPECT_EQ(settings.GetRegrWeightVar(), 4);
  EXPECT_EQ(settings.AddFactor(3, 2), -1);
  EXPECT_FALSE(settings.SetDependent(3));
}

TEST(QvRegSettings, TheRecordCountIsSetOnce) {
  QvRegSettings settings;
  EXPECT_EQ(settings.GetRecordCountVar(), -1);
  EXPECT_TRUE(settings.SetDependent(0));
  EXPECT_TRUE(settings.SetRecordCountVar(2));
  EXPECT_FALSE(settings.SetRecordCountVar(3));
  EXPECT_EQ(settings.GetRecordCountVar(), 2);
  EXPECT_EQ(settings.GetVariableTypes(),
            (Types{QvConst::QvVarDependent, QvConst::QvVarNone, QvConst::QvVarRecordCount}));
  EXPECT_TRUE(settings.AreRolesComplete());
}

TEST(QvRegSettings, ModelEffectsAreCopiedInTheOrderAdded) {
  const Ints variables = {2, 5};
  QvModelEffect effect(1, 1, &variables);
  EXPECT_TRUE(effect.AddNewFactor(2, false));
  QvRegSettings settings;
  EXPECT_TRUE(settings.AddModelEffect(effect));
  EXPECT_GT(effect.AddCovariate(5), 0);
  EXPECT_TRUE(settings.AddModelEffect(effect));
  ASSERT_EQ(settings.GetNModelEffects(), 2);
  EXPECT_EQ(settings.GetModelEffects()[0].GetNCovariates(), 0);
  EXPECT_TRUE(settings.GetModelEffects()[1] == effect);
}

TEST(QvRegSettings, ModelEffectsOfUnknownVariablesAreTaken) {
  const Ints variables = {77};
  QvModelEffect effect(0, 1, &variables);
  EXPECT_GT(effect.AddCovariate(77), 0);
  QvRegSettings settings;
  EXPECT_TRUE(settings.AddModelEffect(effect));
  EXPECT_TRUE(settings.GetVariableTypes().empty());
}

TEST(QvRegSettings, ToleranceIsNotChecked) {
  QvRegSettings settings;
  for (const double tolerance : {1e-6, 0.0, -3.0}) {
    settings.SetTolerance(tolerance);
    EXPECT_EQ(settings.GetTolerance(), tolerance);
  }
}

TEST(QvRegSettings, AConfidenceLevelOutsideItsRangeIsIgnored) {
  QvRegSettings settings;
  for (const double level : {1.0, -0.1, 95.0, std::nan("")}) {
    settings.SetConfidenceLevel(level);
    EXPECT_EQ(settings.GetConfidenceLevel(), 0.95);
  }
  settings.SetConfidenceLevel(0.0);
  EXPECT_EQ(settings.GetConfidenceLevel(), 0.0);
  settings.SetConfidenceLevel(0.999);
  EXPECT_EQ(settings.GetConfidenceLevel(), 0.999);
}

TEST(QvRegSettings, DegreesOfFreedomNotAboveZeroAreIgnored) {
  QvRegSettings settings;
  for (const double degrees : {0.0, -2.0, std::nan("")}) {
    settings.SetDF(degrees);
    EXPECT_EQ(settings.GetDF(), -1.0);
  }
  settings.SetDF(7.5);
  settings.SetDF(0.0);
  EXPECT_EQ(settings.GetDF(), 7.5);
  settings.SetDF(0.5);
  EXPECT_EQ(settings.GetDF(), 0.5);
}

TEST(QvRegSettings, StoresTheSwitchesAndThePointers) {
  SilentListener listener;
  NeverCancel cancel;
  QvRegSettings settings;
  settings.SetInterceptUse(false);
  settings.SetRefineEstimates(true);
  settings.SetProgressListener(&listener);
  settings.SetCancelPointer(&cancel);
  EXPECT_FALSE(settings.GetInterceptUse());
  EXPECT_TRUE(settings.GetRefineEstimates());
  EXPECT_EQ(settings.GetProgressListener(), &listener);
  EXPECT_EQ(settings.GetCancelPointer(), &cancel);
}

TEST(QvRegSettings, WithoutADependentAreInvalidWhateverElseIsSet) {
  QvRegSettings settings;
  EXPECT_GT(settings.AddCovariate(1), 0);
  EXPECT_TRUE(settings.AddModelEffect(QvModelEffect()));
  EXPECT_TRUE(settings.IsValidSettings() == QvCommon::QvStatus(301, false));
  settings.SetInterceptUse(false);
  EXPECT_EQ(settings.IsValidSettings().GetCode(), 301);
  EXPECT_EQ(QvRegSettings(settings).IsValidSettings().GetCode(), 301);
}

TEST(QvRegSettings, WithoutInterceptAndEffectsAreInvalid) {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(0));
  settings.SetInterceptUse(false);
  EXPECT_TRUE(settings.IsValidSettings() == QvCommon::QvStatus(302, false));
  EXPECT_TRUE(settings.AddModelEffect(QvModelEffect()));
  EXPECT_TRUE(settings.IsValidSettings().IsOK());
}

TEST(QvRegSettings, WithADependentAndAnInterceptAreValid) {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(0));
  EXPECT_TRUE(settings.IsValidSettings() == QvCommon::QvStatus());
}

/// Settings with nothing left at its default.
QvRegSettings FullSettings(ProgressListener* listener, QvQueryCancel* cancel) {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(0));
  EXPECT_GT(settings.AddFactor(1, 4), 0);
  EXPECT_GT(settings.AddCovariate(2), 0);
  EXPECT_TRUE(settings.SetFrequencyWeightVar(3));
  EXPECT_TRUE(settings.SetRegrWeightVar(4));
  settings.SetInterceptUse(false);
  settings.SetTolerance(1e-8);
  EXPECT_TRUE(settings.AddModelEffect(QvModelEffect()));
  settings.SetConfidenceLevel(0.5);
  settings.SetDF(12.0);
  settings.SetProgressListener(listener);
  settings.SetCancelPointer(cancel);
  EXPECT_TRUE(settings.SetMaxRefinements(4));
  return settings;
}

void ExpectFullSettings(const QvRegSettings& settings, const ProgressListener* listener,
                        const QvQueryCancel* cancel) {
  EXPECT_EQ(settings.GetDependent(), 0);
  EXPECT_EQ(settings.GetFactors(), (Ints{1}));
  EXPECT_EQ(settings.GetFactorSizes(), (Ints{4}));
  EXPECT_EQ(settings.GetCovariates(), (Ints{2}));
  EXPECT_EQ(settings.GetFrequencyWeightVar(), 3);
  EXPECT_EQ(settings.GetRegrWeightVar(), 4);
  EXPECT_FALSE(settings.GetInterceptUse());
  EXPECT_EQ(settings.GetTolerance(), 1e-8);
  EXPECT_EQ(settings.GetNModelEffects(), 1);
  EXPECT_EQ(settings.GetConfidenceLevel(), 0.5);
  EXPECT_EQ(settings.GetDF(), 12.0);
  EXPECT_EQ(settings.GetProgressListener(), listener);
  EXPECT_EQ(settings.GetCancelPointer(), cancel);
  EXPECT_EQ(settings.GetVariableTypes().size(), 5U);
  EXPECT_TRUE(settings.GetRefineEstimates());
  EXPECT_EQ(settings.GetMaxRefinements(), 4);
}

TEST(QvRegSettings, CopiesCarryEveryField) {
  SilentListener listener;
  NeverCancel cancel;
  const QvRegSettings original = FullSettings(&listener, &cancel);
  const QvRegSettings copy(original);
  QvRegSettings assigned;
  EXPECT_GT(assigned.AddCovariate(9), 0);
  assigned = original;
  ExpectFullSettings(copy, &listener, &cancel);
  ExpectFullSettings(assigned, &listener, &cancel);
}

TEST(QvRegSettings, CopiesAreIndependent) {
  SilentListener listener;
  NeverCancel cancel;
  QvRegSettings original = FullSettings(&listener, &cancel);
  const QvRegSettings copy(original);
  EXPECT_GT(original.AddFactor(8, 2), 0);
  EXPECT_GT(original.AddCovariate(9), 0);
  EXPECT_TRUE(original.AddModelEffect(QvModelEffect()));
  original.SetTolerance(0.5);
  ExpectFullSettings(copy, &listener, &cancel);
}

/// A host's own settings, which count what they are asked.
class CountingSettings : public QvRegSettings {
 public:
  bool SetDependent(int var) override {
    ++calls;
    return QvRegSettings::SetDependent(var);
  }
  int AddCovariate(int var) override {
    ++calls;
    return QvRegSettings::AddCovariate(var);
  }
  bool AddModelEffect(const QvModelEffect& effect) override {
    ++calls;
    return QvRegSettings::AddModelEffect(effect);
  }
  QvConst::QvRegModelType GetModelType() override { return QvConst::QvRegModelLogistic; }
  QvCommon::QvStatus IsValidSettings() override { return {42, false}; }

  int calls = 0;
};

TEST(QvRegSettings, ADerivedClassDecidesThroughTheBase) {
  CountingSettings counting;
  QvRegSettings& settings = counting;
  EXPECT_TRUE(settings.SetDependent(0));
  EXPECT_EQ(settings.AddCovariate(1), 1);
  EXPECT_TRUE(settings.AddModelEffect(QvModelEffect()));
  EXPECT_EQ(counting.calls, 3);
  EXPECT_EQ(settings.GetModelType(), QvConst::QvRegModelLogistic);
  EXPECT_EQ(settings.IsValidSettings().GetCode(), 42);
}

TEST(QvRegSettings, VirtualOperationsStandInTheirOrder) {
  if (!qvtest::kKnowsVirtualSlots) GTEST_SKIP() << "the compiler's tables are not known";
  std::size_t slot = qvtest::kSlotAfterDestructor;
  EXPECT_EQ(qvtest::VirtualSlot(&QvRegSettings::GetModelType), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvRegSettings::IsValidSettings), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvRegSettings::SetDependent), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvRegSettings::AddCovariate), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvRegSettings::AddModelEffect), slot++);
  EXPECT_EQ(qvtest::VirtualSlot(&QvRegSettings::Display), slot++);
}

TEST(QvRegSettings, DisplayPrintsTheFieldsAndTheEffects) {
  const std::string output = qvtest::OutputOf([] { FullSettings(nullptr, nullptr).Display(); });
  EXPECT_EQ(qvtest::LineLabels(output), (Labels{"QvRegSettings display start",
                                                "fFreqWeightVar",
                                                "fRegrWeightVar",
                                                "Dependent Var",
                                                "Factors",
                                                "Factor Sizes",
                                                "Covariates",
                                                "Tolerance",
                                                "Intercept use",
                                                "Confidence",
                                                "Degrees of freedom",
                                                "",
                                                "Model Effects",
                                                "Begin QvModelEffect object display.",
                                                "Factors in model",
                                                "Factors in effect",
                                                "Nesting levels",
                                                "Covariates in model",
                                                "Factor after Covariates in ()?",
                                                "Covariates in effect",
                                                "The main vector",
                                                "End QvModelEffect object display.",
                                                "QvRegSettings display end"}));
  EXPECT_NE(output.find("fFreqWeightVar: 3\nfRegrWeightVar: 4\nDependent Var: 0\nFactors: 1\n"
                        "Factor Sizes: 4\nCovariates: 2\n"),
            std::string::npos);
  EXPECT_NE(output.find("Intercept use: false\nConfidence: 0.5\nDegrees of freedom: 12\n"),
            std::string::npos);
}

TEST(QvRegSettings, StoresAndCopiesTheChoicesCarriedForTheHost) {
  constexpr auto kTest = static_cast<QvConst::QvTestType>(3);
  constexpr auto kAdjustment = static_cast<QvConst::QvPAdjustMethod>(5);
  constexpr auto kCovariance = static_cast<QvConst::QvCovbType>(7);
  QvRegSettings settings;
  settings.SetTestType(kTest);
  settings.SetPAdjustment(kAdjustment);
  settings.SetCovbType(kCovariance);
  QvRegSettings assigned;
  assigned = settings;
  for (const QvRegSettings& each : {settings, assigned}) {
    EXPECT_EQ(each.GetTestType(), kTest);
    EXPECT_EQ(each.GetPAdjustment(), kAdjustment);
    EXPECT_EQ(each.GetCovbType(), kCovariance);
  }
}

TEST(QvRegSettings, CopiesOutliveTheListThatTheirEffectsPointTo) {
  QvRegSettings settings;
  {
    const auto variables = std::make_unique<const Ints>(Ints{4, 2, 9});
    QvModelEffect effect(2, 1, variables.get());
    ASSERT_TRUE(effect.AddNewFactor(4, false));
    ASSERT_TRUE(effect.AddNewFactor(2, true));
    ASSERT_EQ(effect.AddCovariate(9), 1);
    ASSERT_TRUE(settings.AddModelEffect(effect));
  }
  const QvRegSettings copy(settings);
  QvRegSettings assigned;
  assigned = copy;
  for (const QvRegSettings& each : {settings, copy, assigned}) {
    const QvModelEffect& effect = each.GetModelEffects().front();
    EXPECT_EQ(effect.GetFactors(), (Ints{4, 2}));
    EXPECT_EQ(effect.GetCovariates(), (Ints{9}));
    EXPECT_EQ(effect.ContainsFactor(4), 1);
    EXPECT_EQ(effect.GetCovariateMult(9), 1);
  }
}

TEST(QvRegSettings, DisplayNeedsNoMemory) {
  const QvRegSettings settings = FullSettings(nullptr, nullptr);
  const std::string output = qvtest::OutputOf([&] { settings.Display(); });
  EXPECT_EQ(qvtest::OutputOf([&] {
              const AllocationFault fault(1, AllocationFault::Extent::kEverAfter);
              settings.Display();
            }),
            output);
}

}  // namespace
