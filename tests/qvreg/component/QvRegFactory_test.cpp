#include "qvreg/component/QvRegFactory.h"

#include <memory>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvRegComponent.h"
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

TEST(QvRegFactory, AModelTypeWithoutAComponentGivesNullWithSuccess) {
  QvLogRegSettings settings;
  settings.SetDependent(0);
  QvRegFactory factory;
  EXPECT_EQ(factory.CreateRegAlgorithm(settings), nullptr);
  EXPECT_TRUE(factory.GetStatus().IsOK());
}

TEST(QvRegFactory, LogisticSettingsAreCheckedAsSuch) {
  QvLogRegSettings settings;
  QvRegFactory factory;
  EXPECT_EQ(factory.CreateRegAlgorithm(settings), nullptr);
  EXPECT_TRUE(factory.GetStatus() == QvStatus(301, false));
}

TEST(QvRegFactory, WhateverAllocationFailsTheResultIsNullAndTheStatusThatOfTheSettings) {
  QvRegSettings settings = ValidSettings();
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
    EXPECT_TRUE(factory.GetStatus().IsOK());
  }
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
