#include "qvreg/factory/QvRegFactory.h"

#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/logistic/QvLogComponent.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvRegSettings.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using qvtest::AllocationFault;
using qvtest::MakeRecord;
using qvtest::VectorRecordIter;

QvRegSettings ValidSettings() {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(0));
  return settings;
}

TEST(QvRegFactory, StartsWithSuccess) { EXPECT_TRUE(QvRegFactory().GetStatus().IsOK()); }

TEST(QvRegFactory, MakesALinearComponent) {
  QvRegSettings settings = ValidSettings();
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  ASSERT_NE(component, nullptr);
  EXPECT_EQ(component->GetModelType(), QvConst::QvRegModelGLM);
  EXPECT_TRUE(component->GetStatus().IsOK());
  EXPECT_TRUE(factory.GetStatus().IsOK());
}

TEST(QvRegFactory, WithoutADependentTheResultIsNullAndTheStatus301) {
  QvRegSettings settings;
  QvRegFactory factory;
  EXPECT_EQ(factory.CreateRegAlgorithm(settings), nullptr);
  EXPECT_TRUE(factory.GetStatus() == QvStatus(301, false));
}

TEST(QvRegFactory, WithoutATermTheResultIsNullAndTheStatus302) {
  QvRegSettings settings = ValidSettings();
  settings.SetInterceptUse(false);
  QvRegFactory factory;
  EXPECT_EQ(factory.CreateRegAlgorithm(settings), nullptr);
  EXPECT_TRUE(factory.GetStatus() == QvStatus(302, false));
}

TEST(QvRegFactory, TheStatusIsThatOfTheLastCall) {
  QvRegSettings settings;
  QvRegFactory factory;
  EXPECT_EQ(factory.CreateRegAlgorithm(settings), nullptr);
  EXPECT_TRUE(settings.SetDependent(0));
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  EXPECT_NE(component, nullptr);
  EXPECT_TRUE(factory.GetStatus().IsOK());
}

TEST(QvRegFactory, MakesALogisticComponent) {
  QvLogRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(0));
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  ASSERT_NE(component, nullptr);
  EXPECT_EQ(component->GetModelType(), QvConst::QvRegModelLogistic);
  EXPECT_NE(dynamic_cast<QvLogComponent*>(component.get()), nullptr);
  EXPECT_TRUE(component->GetStatus().IsOK());
  EXPECT_TRUE(factory.GetStatus().IsOK());
}

TEST(QvRegFactory, TheLogisticComponentKeepsItsOwnCopyOfAllSettings) {
  QvLogRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(3));
  EXPECT_TRUE(settings.SetDependentRefCat(4, 6));
  EXPECT_TRUE(settings.SetMaxIterations(17));
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  ASSERT_NE(component, nullptr);
  EXPECT_TRUE(settings.SetMaxIterations(1));
  const auto* copy = dynamic_cast<const QvLogRegSettings*>(&component->GetCompSettings());
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, &settings);
  EXPECT_EQ(copy->GetDependent(), 3);
  EXPECT_EQ(copy->GetDependentNCategs(), 6);
  EXPECT_EQ(copy->GetDependentRefCateg(), 4);
  EXPECT_EQ(copy->GetMaxIterations(), 17);
}

/// A host's own settings with a model type of its own choice.
class OddSettings : public QvRegSettings {
 public:
  explicit OddSettings(int type) : type_(static_cast<QvConst::QvRegModelType>(type)) {
    EXPECT_TRUE(SetDependent(0));
  }

  QvConst::QvRegModelType GetModelType() override { return type_; }

 private:
  QvConst::QvRegModelType type_;
};

TEST(QvRegFactory, AModelTypeWithoutAComponentGivesNullWithSuccess) {
  // 1 is the logistic model, whose settings these are not.
  OddSettings settings(1);
  QvRegFactory factory;
  EXPECT_EQ(factory.CreateRegAlgorithm(settings), nullptr);
  EXPECT_TRUE(factory.GetStatus().IsOK());
  // 7 is no model at all.
  OddSettings unknown(7);
  EXPECT_EQ(factory.CreateRegAlgorithm(unknown), nullptr);
  EXPECT_TRUE(factory.GetStatus().IsOK());
}

/// Makes a component once for each of its allocations, which then fails.
void ExpectAComponentOrNullWhateverAllocationFails(QvRegSettings& settings) {
  QvRegFactory factory;
  bool hasStruck = true;
  for (long long n = 1; hasStruck; ++n) {
    SCOPED_TRACE(n);
    std::unique_ptr<IQvRegComponent> component;
    {
      const AllocationFault fault(n, AllocationFault::Extent::kOnce);
      component.reset(factory.CreateRegAlgorithm(settings));
      hasStruck = fault.HasStruck();
    }
    EXPECT_EQ(component == nullptr, hasStruck);
    EXPECT_TRUE(factory.GetStatus().IsOK()) << "the status is that of the settings";
  }
}

TEST(QvRegFactory, WhateverAllocationFailsALogisticComponentIsWholeOrNull) {
  QvLogRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(0));
  ExpectAComponentOrNullWhateverAllocationFails(settings);
}

TEST(QvRegFactory, LogisticSettingsAreCheckedAsSuch) {
  QvLogRegSettings settings;
  QvRegFactory factory;
  EXPECT_EQ(factory.CreateRegAlgorithm(settings), nullptr);
  EXPECT_TRUE(factory.GetStatus() == QvStatus(301, false));
}

TEST(QvRegFactory, WhateverAllocationFailsALinearComponentIsWholeOrNull) {
  QvRegSettings settings = ValidSettings();
  ExpectAComponentOrNullWhateverAllocationFails(settings);
}

TEST(QvRegFactory, ACopyKeepsTheStatus) {
  QvRegSettings settings;
  QvRegFactory factory;
  factory.CreateRegAlgorithm(settings);
  const QvRegFactory copy(factory);
  EXPECT_EQ(copy.GetStatus().GetCode(), 301);
}

TEST(QvRegFactory, ItsComponentsOutliveIt) {
  std::unique_ptr<IQvRegComponent> component;
  {
    QvRegSettings settings = ValidSettings();
    QvRegFactory factory;
    component.reset(factory.CreateRegAlgorithm(settings));
  }
  ASSERT_NE(component, nullptr);
  EXPECT_EQ(component->GetCompSettings().GetDependent(), 0);
}

/// A host's own settings that find themselves valid, whatever they hold.
template <typename Base>
class TrustingSettings : public Base {
 public:
  QvStatus IsValidSettings() override { return {}; }
};

template <typename Settings>
void ExpectTheComponentsOwnCheckToHold() {
  Settings settings;  // no dependent
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  EXPECT_TRUE(factory.GetStatus().IsOK());
  ASSERT_NE(component, nullptr);
  EXPECT_TRUE(component->GetStatus() == QvStatus(301, false));
  VectorRecordIter data({MakeRecord({1.0}), MakeRecord({2.0})});
  std::vector<QvRegrParameter> parameters;
  EXPECT_EQ(component->CreateParameters(data, parameters).GetCode(), 301);
  EXPECT_EQ(component->BuildModel(data).GetCode(), 301);
  EXPECT_EQ(data.Passes(), 0);
  IQvRegOutputStats* stats = nullptr;
  EXPECT_EQ(component->GetOutputStats(stats).GetCode(), 301);
  EXPECT_EQ(stats, nullptr);
  double predicted = 7.0;
  std::vector<double> values;
  EXPECT_EQ(component->Score(MakeRecord({1.0}), predicted, values).GetCode(), 301);
  EXPECT_EQ(predicted, 7.0);
  EXPECT_FALSE(component->IsModelBuilt());
  EXPECT_TRUE(component->GetWarnings().empty());
  component->Cancel();
}

TEST(QvRegFactory, AComponentKeepsWhatItsOwnCheckFound) {
  ExpectTheComponentsOwnCheckToHold<TrustingSettings<QvRegSettings>>();
  ExpectTheComponentsOwnCheckToHold<TrustingSettings<QvLogRegSettings>>();
}

/// A host's own settings that are never content.
class DistrustfulSettings : public QvRegSettings {
 public:
  QvStatus IsValidSettings() override { return {42, false}; }
};

TEST(QvRegFactory, AsksTheHostsOwnCheck) {
  DistrustfulSettings settings;
  ASSERT_TRUE(settings.SetDependent(0));
  QvRegFactory factory;
  EXPECT_EQ(factory.CreateRegAlgorithm(settings), nullptr);
  EXPECT_EQ(factory.GetStatus().GetCode(), 42);
}

}  // namespace
