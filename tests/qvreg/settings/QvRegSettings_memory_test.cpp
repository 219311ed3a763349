// Settings whose setters run out of memory.
#include <functional>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvRegSettings.h"
#include "tests/qvreg/support/AllocationHooks.h"

namespace {

using qvtest::AllocationFault;
using Ints = std::vector<int>;

/// The ways to give a variable its role; each answers whether it was accepted.
const std::vector<std::function<bool(QvRegSettings&, int)>> kRoleSetters = {
    [](QvRegSettings& settings, int var) { return settings.SetDependent(var); },
    [](QvRegSettings& settings, int var) { return settings.AddFactor(var, 3) > 0; },
    [](QvRegSettings& settings, int var) { return settings.AddCovariate(var) > 0; },
    [](QvRegSettings& settings, int var) { return settings.SetFrequencyWeightVar(var); },
    [](QvRegSettings& settings, int var) { return settings.SetRegrWeightVar(var); },
    [](QvRegSettings& settings, int var) { return settings.SetRecordCountVar(var); }};

/// Settings whose table of roles has room for variables up to 9, of which 9 is a covariate.
QvRegSettings SettingsWithRoom() {
  QvRegSettings settings;
  EXPECT_GT(settings.AddCovariate(9), 0);
  return settings;
}

TEST(QvRegSettings, ARoleTableThatCannotGrowIsEmptiedAndTheVariableRefused) {
  for (const auto& setRole : kRoleSetters) {
    QvRegSettings settings = SettingsWithRoom();
    const AllocationFault fault(1, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(setRole(settings, 500));
    EXPECT_TRUE(fault.HasStruck());
    EXPECT_TRUE(settings.GetVariableTypes().empty());
  }
}

TEST(QvRegSettings, ADependentIsStoredEvenWhenTheRoleTableCannotGrow) {
  QvRegSettings settings;
  const AllocationFault fault(1, AllocationFault::Extent::kOnce);
  EXPECT_FALSE(settings.SetDependent(3));
  EXPECT_EQ(settings.GetDependent(), 3);
}

TEST(QvRegSettings, AWeightIsNotStoredWhenTheRoleTableCannotGrow) {
  QvRegSettings settings;
  {
    const AllocationFault fault(1, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(settings.SetFrequencyWeightVar(3));
  }
  {
    const AllocationFault fault(1, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(settings.SetRegrWeightVar(3));
  }
  {
    const AllocationFault fault(1, AllocationFault::Extent::kOnce);
    EXPECT_FALSE(settings.SetRecordCountVar(3));
  }
  EXPECT_EQ(settings.GetFrequencyWeightVar(), -1);
  EXPECT_EQ(settings.GetRegrWeightVar(), -1);
  EXPECT_EQ(settings.GetRecordCountVar(), -1);
}

TEST(QvRegSettings, ACovariateListThatCannotGrowIsEmptied) {
  QvRegSettings settings = SettingsWithRoom();
  const AllocationFault fault(1, AllocationFault::Extent::kOnce);
  EXPECT_EQ(settings.AddCovariate(0), -1);
  EXPECT_TRUE(settings.GetCovariates().empty());
}

TEST(QvRegSettings, FactorListsStayParallelWhenOneCannotGrow) {
  for (const long long n : {1, 2}) {
    QvRegSettings settings = SettingsWithRoom();
    ASSERT_EQ(settings.AddFactor(0, 2), 1);
    {
      const AllocationFault fault(n, AllocationFault::Extent::kOnce);
      EXPECT_EQ(settings.AddFactor(1, 3), -1);
      EXPECT_TRUE(fault.HasStruck());
    }
    EXPECT_EQ(settings.AddFactor(2, 5), 1);
    EXPECT_EQ(settings.GetFactors(), (Ints{2}));
    EXPECT_EQ(settings.GetFactorSizes(), (Ints{5})) << "allocation " << n;
  }
}

TEST(QvRegSettings, AnEffectListThatCannotGrowIsEmptied) {
  QvRegSettings settings;
  ASSERT_TRUE(settings.AddModelEffect(QvModelEffect()));
  const QvModelEffect effect;
  const AllocationFault fault(1, AllocationFault::Extent::kOnce);
  EXPECT_FALSE(settings.AddModelEffect(effect));
  EXPECT_EQ(settings.GetNModelEffects(), 0);
}

TEST(QvLogRegSettings, StartingValuesWithoutMemoryLeaveThoseBefore) {
  QvLogRegSettings settings;
  ASSERT_TRUE(settings.SetStartingValues({0.5}));
  const std::vector<double> values{1.0, 2.0};
  const AllocationFault fault(1, AllocationFault::Extent::kOnce);
  EXPECT_FALSE(settings.SetStartingValues(values));
  EXPECT_TRUE(fault.HasStruck());
  EXPECT_EQ(settings.GetStartingValues(), (std::vector<double>{0.5}));
}

}  // namespace
