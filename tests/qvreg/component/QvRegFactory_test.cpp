#include "qvreg/component/QvRegFactory.h"

#include <memory>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/logistic/QvLogComponent.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvRegSettings.h"
#include "tests/qvreg/support/AllocationHooks.h"

namespace {

using QvCommon::QvStatus;
using qvtest::AllocationFault;

QvRegSettings ValidSettings() {
  QvRegSettings settings;
  settings.SetDependent(0);
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
  settings.SetDependent(0);
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  EXPECT_NE(component, nullptr);
  EXPECT_TRUE(factory.GetStatus().IsOK());
}

TEST(QvRegFactory, MakesALogisticComponent) {
  QvLogRegSettings settings;
  settings.SetDependent(0);
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
  settings.SetDependent(3);
  settings.SetDependentRefCat(4, 6);
  settings.SetMaxIterations(17);
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  ASSERT_NE(component, nullptr);
  settings.SetMaxIterations(1);
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
    SetDependent(0);
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
  settings.SetDependent(0);
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

}  // namespace
