// What copies of an effect share with it, and what they keep when the list is gone.
#include <memory>
#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/settings/QvModelEffect.h"
#include "tests/qvreg/settings/ModelEffects.h"
#include "tests/qvreg/support/AllocationHooks.h"

namespace {

using qvtest::EffectOf;
using qvtest::effects::kA;
using qvtest::effects::kB;
using qvtest::effects::kC;
using qvtest::effects::kVariables;
using qvtest::effects::kX;
using qvtest::effects::kY;
using Ints = std::vector<int>;

TEST(QvModelEffect, CopiesAreIndependentAndShareTheList) {
  QvModelEffect original = EffectOf({kA}, {kX});
  original.SetFactorsInParens();
  const QvModelEffect copy(original);
  QvModelEffect assigned;
  assigned = original;
  EXPECT_TRUE(copy == original);
  EXPECT_TRUE(assigned == original);
  EXPECT_TRUE(original.AddNewFactor(kB, false));
  EXPECT_EQ(copy.GetNFactors(), 1);
  EXPECT_EQ(assigned.GetModelEffect(), (Ints{0, -1, -1, 1, 0}));
  EXPECT_EQ(copy.GetVarIndices(), &kVariables);
}

TEST(QvModelEffect, ACopyOutlivesTheList) {
  auto variables = std::make_unique<Ints>(kVariables);
  QvModelEffect original(3, 2, variables.get());
  ASSERT_TRUE(original.AddNewFactor(kA, false));
  QvModelEffect copy(original);
  QvModelEffect assigned;
  assigned = original;
  EXPECT_EQ(copy.GetVarIndices(), variables.get());
  variables.reset();
  for (QvModelEffect* effect : {&copy, &assigned}) {
    const QvModelEffect copyOfACopy = *effect;
    EXPECT_EQ(copyOfACopy.GetFactors(), (Ints{kA}));
    EXPECT_TRUE(effect->AddNewFactor(kB, true));
    EXPECT_EQ(effect->AddCovariate(kY), 1);
    EXPECT_EQ(effect->GetFactors(), (Ints{kA, kB}));
    EXPECT_EQ(effect->GetFactorLevels(), (Ints{1, 0}));
    EXPECT_EQ(effect->GetCovariates(), (Ints{kY}));
    EXPECT_EQ(effect->ContainsFactor(kB), 0);
    EXPECT_EQ(effect->GetCovariateMult(kY), 1);
    Ints factors;
    Ints covariates;
    QvModelEffect::GetUsedVariables({*effect}, factors, covariates);
    EXPECT_EQ(factors, (Ints{kA, kB}));
    EXPECT_EQ(covariates, (Ints{kY}));
  }
}

TEST(QvModelEffect, ACopyWithoutVariablesGoesOnReadingTheList) {
  Ints variables = {kA};
  const QvModelEffect original(1, 0, &variables);
  QvModelEffect copy(original);
  variables = {kC};
  EXPECT_TRUE(copy.AddNewFactor(kC, false));
}

TEST(QvModelEffect, ACopyThatIsGivenAnotherListReadsThat) {
  const QvModelEffect original = EffectOf({kA}, {kX});
  QvModelEffect copy(original);
  const Ints others = {50, 51, 52, 53, 54};
  copy.SetVarIndices(&others);
  EXPECT_EQ(copy.GetFactors(), (Ints{50}));
  EXPECT_EQ(copy.GetCovariates(), (Ints{53}));
  copy.Setup(3, 2, &kVariables);
  EXPECT_TRUE(copy.AddNewFactor(kA, false));
}

TEST(QvModelEffect, AnAssignmentWithoutMemoryChangesNothing) {
  const QvModelEffect original = EffectOf({kA}, {kX});
  for (const long long n : {1, 2}) {
    QvModelEffect target = EffectOf({kB}, {});
    {
      const qvtest::AllocationFault fault(n, qvtest::AllocationFault::Extent::kOnce);
      EXPECT_THROW(target = original, std::bad_alloc);
    }
    EXPECT_TRUE(target == EffectOf({kB}, {})) << n;
    EXPECT_EQ(target.GetFactors(), (Ints{kB})) << n;
  }
}

}  // namespace
