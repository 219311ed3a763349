#include "qvreg/settings/QvModelEffect.h"

#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/settings/ModelEffects.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace {

using qvtest::EffectOf;
using qvtest::EmptyEffect;
using qvtest::effects::kA;
using qvtest::effects::kB;
using qvtest::effects::kC;
using qvtest::effects::kVariables;
using qvtest::effects::kX;
using qvtest::effects::kY;
using Bits = std::vector<bool>;
using Ints = std::vector<int>;

constexpr int kNoSuchVariable = 33;

/// What ApplyMask of a copy answers.
bool IsUnusedOutside(const QvModelEffect& effect, const Bits& keep) {
  QvModelEffect copy = effect;
  return copy.ApplyMask(keep);
}

TEST(QvModelEffect, ByDefaultKnowsNoModel) {
  const QvModelEffect effect;
  EXPECT_EQ(effect.GetNModelFactors(), 0);
  EXPECT_EQ(effect.GetNModelCovariates(), 0);
  EXPECT_EQ(effect.GetNFactors(), 0);
  EXPECT_EQ(effect.GetNCovariates(), 0);
  EXPECT_EQ(effect.GetNLevels(), 0);
  EXPECT_EQ(effect.GetVarIndices(), nullptr);
  EXPECT_TRUE(effect.GetModelEffect().empty());
  EXPECT_FALSE(effect.GetFactorsInParens());
  EXPECT_TRUE(effect.IsIntercept());
}

TEST(QvModelEffect, WithoutAModelRefusesEveryVariable) {
  QvModelEffect effect;
  EXPECT_FALSE(effect.AddNewFactor(0, false));
  EXPECT_EQ(effect.AddCovariate(0), -1);
  EXPECT_EQ(effect.ContainsFactor(0), -1);
  EXPECT_EQ(effect.GetCovariateMult(0), -1);
  EXPECT_EQ(effect.GetNCovariateMult(), 0);
  EXPECT_TRUE(effect.GetFactors().empty());
  EXPECT_TRUE(effect.GetCovariates().empty());
}

TEST(QvModelEffect, StartsWithFreeSlots) {
  const QvModelEffect effect = EmptyEffect();
  EXPECT_EQ(effect.GetNModelFactors(), 3);
  EXPECT_EQ(effect.GetNModelCovariates(), 2);
  EXPECT_EQ(effect.GetModelEffect(), (Ints{-1, -1, -1, 0, 0}));
  EXPECT_EQ(effect.GetVarIndices(), &kVariables);
  EXPECT_EQ(effect.GetNLevels(), 0);
}

TEST(QvModelEffect, SetupStartsAnew) {
  const Ints others = {5, 6};
  QvModelEffect effect = EffectOf({kA}, {kX});
  effect.SetFactorsInParens();
  effect.Setup(1, 1, &others);
  EXPECT_TRUE(effect == QvModelEffect(1, 1, &others));
  EXPECT_TRUE(effect.AddNewFactor(5, false));
}

TEST(QvModelEffect, ResetTakesEverythingOut) {
  QvModelEffect effect = EffectOf({kA, kB}, {kX});
  effect.SetFactorsInParens();
  effect.Reset();
  EXPECT_TRUE(effect == EmptyEffect());
  EXPECT_FALSE(effect.GetFactorsInParens());
  EXPECT_EQ(effect.GetModelEffect(), (Ints{-1, -1, -1, 0, 0}));
}

TEST(QvModelEffect, WithoutFactorsAndCovariatesIsTheIntercept) {
  EXPECT_TRUE(EmptyEffect().IsIntercept());
  EXPECT_FALSE(EffectOf({kA}, {}).IsIntercept());
  EXPECT_FALSE(EffectOf({}, {kX}).IsIntercept());
}

TEST(QvModelEffect, OneFactorStandsAtLevelZero) {
  const QvModelEffect effect = EffectOf({kA}, {});
  EXPECT_EQ(effect.ContainsFactor(kA), 0);
  EXPECT_EQ(effect.GetNLevels(), 1);
  EXPECT_EQ(effect.GetNFactors(), 1);
}

TEST(QvModelEffect, ANestedFactorMovesEarlierOnesOutward) {
  QvModelEffect effect = EffectOf({kA}, {});
  EXPECT_TRUE(effect.AddNewFactor(kB, true));
  EXPECT_EQ(effect.ContainsFactor(kA), 1);
  EXPECT_EQ(effect.ContainsFactor(kB), 0);
  EXPECT_EQ(effect.GetNLevels(), 2);
  EXPECT_TRUE(effect.AddNewFactor(kC, true));
  EXPECT_EQ(effect.GetModelEffect(), (Ints{2, 1, 0, 0, 0}));
  EXPECT_EQ(effect.GetNLevels(), 3);
}

TEST(QvModelEffect, CrossedFactorsShareALevel) {
  const QvModelEffect effect = EffectOf({kA, kB}, {});
  EXPECT_EQ(effect.ContainsFactor(kA), 0);
  EXPECT_EQ(effect.ContainsFactor(kB), 0);
  EXPECT_EQ(effect.GetNLevels(), 1);
  EXPECT_EQ(effect.GetNFactors(), 2);
}

TEST(QvModelEffect, AFactorCrossedAfterANestedOneStandsInside) {
  QvModelEffect effect = EffectOf({kA}, {});
  EXPECT_TRUE(effect.AddNewFactor(kB, true));
  EXPECT_TRUE(effect.AddNewFactor(kC, false));
  EXPECT_EQ(effect.GetModelEffect(), (Ints{1, 0, 0, 0, 0}));
  EXPECT_EQ(effect.GetNLevels(), 2);
}

TEST(QvModelEffect, TheFirstFactorMakesOneLevelEvenWhenAddedAsNested) {
  QvModelEffect effect = EmptyEffect();
  EXPECT_TRUE(effect.AddNewFactor(kA, true));
  EXPECT_EQ(effect.GetNLevels(), 1);
  EXPECT_EQ(effect.ContainsFactor(kA), 0);
}

TEST(QvModelEffect, ACovariateSlotIsRefusedAsAFactor) {
  QvModelEffect effect = EmptyEffect();
  EXPECT_FALSE(effect.AddNewFactor(kX, false));
  EXPECT_TRUE(effect == EmptyEffect());
}

TEST(QvModelEffect, AFactorIsRefusedTwiceOrWhenUnknown) {
  QvModelEffect effect = EffectOf({kA, kB}, {});
  const QvModelEffect before = effect;
  EXPECT_FALSE(effect.AddNewFactor(kA, true));
  EXPECT_FALSE(effect.AddNewFactor(kNoSuchVariable, true));
  EXPECT_TRUE(effect == before);
}

TEST(QvModelEffect, AModelWithoutFactorsRefusesEveryFactor) {
  QvModelEffect effect(0, 2, &kVariables);
  EXPECT_FALSE(effect.AddNewFactor(kA, false));
  EXPECT_EQ(effect.AddCovariate(kA), 1);
  EXPECT_EQ(effect.GetCovariateMult(kA), 1);
}

TEST(QvModelEffect, AModelWithoutCovariatesRefusesEveryCovariate) {
  for (const int none : {0, -1}) {
    QvModelEffect effect(2, none, &kVariables);
    EXPECT_EQ(effect.GetNModelCovariates(), 0);
    EXPECT_EQ(effect.AddCovariate(kC), -1);
    EXPECT_TRUE(effect.AddNewFactor(kB, false));
  }
  EXPECT_EQ(QvModelEffect(-1, 2, &kVariables).GetNModelFactors(), 0);
}

TEST(QvModelEffect, ACovariateAddedTwiceHasMultiplicityTwo) {
  QvModelEffect effect = EmptyEffect();
  EXPECT_EQ(effect.AddCovariate(kX), 1);
  EXPECT_EQ(effect.AddCovariate(kX), 2);
  EXPECT_EQ(effect.GetNCovariates(), 1);
  EXPECT_EQ(effect.GetNCovariateMult(), 2);
  EXPECT_EQ(effect.GetCovariateMult(kX), 2);
  EXPECT_EQ(effect.AddCovariate(kY), 1);
  EXPECT_EQ(effect.GetNCovariates(), 2);
  EXPECT_EQ(effect.GetNCovariateMult(), 3);
}

TEST(QvModelEffect, AFactorSlotIsRefusedAsACovariate) {
  QvModelEffect effect = EmptyEffect();
  EXPECT_EQ(effect.AddCovariate(kA), -1);
  EXPECT_EQ(effect.AddCovariate(kNoSuchVariable), -1);
  EXPECT_TRUE(effect == EmptyEffect());
}

TEST(QvModelEffect, TellsAFreeSlotFromAnUnknownVariable) {
  const QvModelEffect effect = EffectOf({kA}, {kX});
  EXPECT_EQ(effect.ContainsFactor(kB), -1);
  EXPECT_EQ(effect.ContainsFactor(kX), -1);
  EXPECT_EQ(effect.ContainsFactor(kNoSuchVariable), -1);
  EXPECT_EQ(effect.GetCovariateMult(kY), 0);
  EXPECT_EQ(effect.GetCovariateMult(kA), -1);
  EXPECT_EQ(effect.GetCovariateMult(kNoSuchVariable), -1);
}

TEST(QvModelEffect, ListsVariablesInTheOrderOfTheModel) {
  QvModelEffect effect = EffectOf({kC}, {kY, kX, kY});
  EXPECT_TRUE(effect.AddNewFactor(kA, true));
  EXPECT_EQ(effect.GetFactors(), (Ints{kA, kC}));
  EXPECT_EQ(effect.GetFactorLevels(), (Ints{0, 1}));
  EXPECT_EQ(effect.GetCovariates(), (Ints{kX, kY}));
  EXPECT_EQ(effect.GetCovMultiplicities(), (Ints{1, 2}));
}

TEST(QvModelEffect, IsContainedInAnEffectWithMoreFactors) {
  const QvModelEffect a = EffectOf({kA}, {});
  const QvModelEffect ab = EffectOf({kA, kB}, {});
  EXPECT_TRUE(a.IsContainedIn(ab));
  EXPECT_FALSE(ab.IsContainedIn(a));
  EXPECT_TRUE(EmptyEffect().IsContainedIn(a));
  EXPECT_FALSE(EffectOf({kC}, {}).IsContainedIn(ab));
  EXPECT_FALSE(a.IsContainedIn(EffectOf({kB, kC}, {})));
}

TEST(QvModelEffect, IsNeverContainedInItself) {
  const QvModelEffect ab = EffectOf({kA, kB}, {});
  EXPECT_FALSE(ab.IsContainedIn(ab));
}

TEST(QvModelEffect, ContainmentNeedsTheSameCovariatePart) {
  const QvModelEffect ab = EffectOf({kA, kB}, {});
  EXPECT_FALSE(EffectOf({kA}, {kX}).IsContainedIn(ab));
  EXPECT_TRUE(EffectOf({kA}, {kX}).IsContainedIn(EffectOf({kA, kB}, {kX})));
  EXPECT_FALSE(EffectOf({kA}, {kX}).IsContainedIn(EffectOf({kA, kB}, {kY})));
  EXPECT_FALSE(EffectOf({kA}, {kX}).IsContainedIn(EffectOf({kA, kB}, {kX, kX})));
}

TEST(QvModelEffect, ContainmentIgnoresNestingLevels) {
  QvModelEffect nested = EffectOf({kA}, {});
  EXPECT_TRUE(nested.AddNewFactor(kB, true));
  EXPECT_TRUE(EffectOf({kA}, {}).IsContainedIn(nested));
}

TEST(QvModelEffect, ContainmentNeedsTheSameModel) {
  const Ints sameValues = kVariables;
  QvModelEffect elsewhere(3, 2, &sameValues);
  EXPECT_TRUE(elsewhere.AddNewFactor(kA, false));
  EXPECT_TRUE(elsewhere.AddNewFactor(kB, false));
  EXPECT_FALSE(EffectOf({kA}, {}).IsContainedIn(elsewhere));
  EXPECT_FALSE(QvModelEffect(3, 1, &kVariables).IsContainedIn(EffectOf({kA}, {})));
  EXPECT_FALSE(QvModelEffect(2, 2, &kVariables).IsContainedIn(EffectOf({kA}, {})));
}

TEST(QvModelEffect, EqualityComparesEveryField) {
  const QvModelEffect effect = EffectOf({kA}, {kX});
  EXPECT_TRUE(effect == EffectOf({kA}, {kX}));
  EXPECT_FALSE(effect == EffectOf({kB}, {kX}));
  EXPECT_FALSE(effect == EffectOf({kA}, {kX, kX}));
  EXPECT_FALSE(effect == EffectOf({kA}, {kY}));
  EXPECT_FALSE(effect == EmptyEffect());

  QvModelEffect inParens = effect;
  inParens.SetFactorsInParens();
  EXPECT_FALSE(effect == inParens);

  const Ints sameValues = kVariables;
  QvModelEffect elsewhere = effect;
  elsewhere.SetVarIndices(&sameValues);
  EXPECT_FALSE(effect == elsewhere);
}

TEST(QvModelEffect, EqualityComparesNesting) {
  QvModelEffect nested = EffectOf({kA}, {});
  EXPECT_TRUE(nested.AddNewFactor(kB, true));
  EXPECT_FALSE(nested == EffectOf({kA, kB}, {}));
  QvModelEffect otherWay = EffectOf({kB}, {});
  EXPECT_TRUE(otherWay.AddNewFactor(kA, true));
  EXPECT_FALSE(nested == otherWay);
}

TEST(QvModelEffect, MaskingAnUnusedCovariateShortensTheMainVector) {
  QvModelEffect effect = EffectOf({kA}, {kX});
  EXPECT_TRUE(effect.ApplyMask({true, true, true, true, false}));
  EXPECT_EQ(effect.GetModelEffect(), (Ints{0, -1, -1, 1}));
  EXPECT_EQ(effect.GetNModelFactors(), 3);
  EXPECT_EQ(effect.GetNModelCovariates(), 1);
}

TEST(QvModelEffect, MaskingAUsedVariableIsReported) {
  const QvModelEffect effect = EffectOf({kA}, {kX});
  EXPECT_FALSE(IsUnusedOutside(effect, {false, true, true, true, true}));
  EXPECT_FALSE(IsUnusedOutside(effect, {true, true, true, false, true}));
  EXPECT_FALSE(IsUnusedOutside(effect, {false, false, false, true, true}));
  EXPECT_TRUE(IsUnusedOutside(effect, {true, false, false, true, false}));
}

TEST(QvModelEffect, MaskingKeepsTheEffectsOwnCountsAndList) {
  QvModelEffect effect = EffectOf({kA}, {kX});
  effect.ApplyMask({false, true, false, false, true});
  EXPECT_EQ(effect.GetModelEffect(), (Ints{-1, 0}));
  EXPECT_EQ(effect.GetNModelFactors(), 1);
  EXPECT_EQ(effect.GetNModelCovariates(), 1);
  EXPECT_EQ(effect.GetNFactors(), 1);
  EXPECT_EQ(effect.GetNCovariates(), 1);
  EXPECT_EQ(effect.GetNLevels(), 1);
  EXPECT_EQ(effect.GetVarIndices(), &kVariables);
}

TEST(QvModelEffect, AMaskThatKeepsAllChangesNothing) {
  QvModelEffect effect = EffectOf({kA}, {kX});
  EXPECT_TRUE(effect.ApplyMask(Bits(5, true)));
  EXPECT_TRUE(effect == EffectOf({kA}, {kX}));
}

TEST(QvModelEffect, MaskedEffectsWorkOverTheReducedList) {
  const std::vector<QvModelEffect> effects = {EffectOf({kC}, {}), EffectOf({kC}, {kY, kY})};
  QvModelEffect effect = effects[1];
  EXPECT_TRUE(effect.ApplyMask(QvModelEffect::CheckVariableUse(effects)));
  const Ints reduced = {kC, kY};
  effect.SetVarIndices(&reduced);
  EXPECT_EQ(effect.GetFactors(), (Ints{kC}));
  EXPECT_EQ(effect.GetCovariates(), (Ints{kY}));
  EXPECT_EQ(effect.GetCovMultiplicities(), (Ints{2}));
  EXPECT_EQ(effect.AddCovariate(kX), -1);
  EXPECT_EQ(effect.AddCovariate(kY), 3);
}

TEST(QvModelEffect, CheckVariableUseMarksWhatSomeEffectUses) {
  QvModelEffect nested = EffectOf({kA}, {});
  EXPECT_TRUE(nested.AddNewFactor(kC, true));
  EXPECT_EQ(QvModelEffect::CheckVariableUse({nested, EffectOf({}, {kY})}),
            (Bits{true, false, true, false, true}));
  EXPECT_EQ(QvModelEffect::CheckVariableUse({EmptyEffect()}), Bits(5, false));
}

TEST(QvModelEffect, GetUsedVariablesListsACovariateOncePerEffect) {
  Ints factors;
  Ints covariates;
  QvModelEffect::GetUsedVariables({EffectOf({}, {kX}), EffectOf({kA}, {kX})}, factors, covariates);
  EXPECT_EQ(factors, (Ints{kA}));
  EXPECT_EQ(covariates, (Ints{kX, kX}));
}

TEST(QvModelEffect, GetUsedVariablesListsAFactorOnceInTheOrderMet) {
  Ints factors = {99};
  Ints covariates = {99};
  QvModelEffect::GetUsedVariables(
      {EffectOf({kC}, {}), EffectOf({kA, kC}, {kY}), EffectOf({kB}, {})}, factors, covariates);
  EXPECT_EQ(factors, (Ints{kC, kA, kB}));
  EXPECT_EQ(covariates, (Ints{kY}));
}

TEST(QvModelEffect, GetUsedVariablesSkipsACovariateThatIsAlsoAFactor) {
  const Ints shared = {kA, kA};
  QvModelEffect both(1, 1, &shared);
  EXPECT_TRUE(both.AddNewFactor(kA, false));
  EXPECT_GT(both.AddCovariate(kA), 0);
  Ints factors;
  Ints covariates;
  QvModelEffect::GetUsedVariables({both}, factors, covariates);
  EXPECT_EQ(factors, (Ints{kA}));
  EXPECT_TRUE(covariates.empty());
}

TEST(QvModelEffect, GetUsedVariablesOfNoEffectsChangesNothing) {
  Ints factors = {1};
  Ints covariates = {2};
  QvModelEffect::GetUsedVariables({}, factors, covariates);
  EXPECT_EQ(factors, (Ints{1}));
  EXPECT_EQ(covariates, (Ints{2}));
}

/// Makes the search of derived classes public.
class SearchingEffect : public QvModelEffect {
 public:
  using QvModelEffect::FindInVector;
};

TEST(QvModelEffect, FindInVectorAnswersTheFirstPlaceOfTheRange) {
  const SearchingEffect effect;
  const Ints v = {5, 6, 5, 5};
  EXPECT_EQ(effect.FindInVector(v, 0, 4, 5), 0);
  EXPECT_EQ(effect.FindInVector(v, 1, 3, 5), 2);
  EXPECT_EQ(effect.FindInVector(v, 1, 1, 5), -1);
  EXPECT_EQ(effect.FindInVector(v, 3, 100, 5), 3);
  EXPECT_EQ(effect.FindInVector(v, 4, 1, 5), -1);
  EXPECT_EQ(effect.FindInVector(v, 0, 0, 5), -1);
  EXPECT_EQ(effect.FindInVector(v, 0, 4, 7), -1);
}

TEST(QvModelEffect, DisplayPrintsEveryField) {
  QvModelEffect effect = EffectOf({kA}, {kX, kX});
  EXPECT_TRUE(effect.AddNewFactor(kB, true));
  effect.SetFactorsInParens();
  EXPECT_EQ(qvtest::OutputOf([&] { effect.Display(); }),
            "Begin QvModelEffect object display.\n"
            "Factors in model: 3\n"
            "Factors in effect: 2\n"
            "Nesting levels: 2\n"
            "Covariates in model: 2\n"
            "Factor after Covariates in ()?: true\n"
            "Covariates in effect: 1\n"
            "The main vector: 1 0 -1 2 0\n"
            "End QvModelEffect object display.\n");
}

TEST(QvModelEffect, GetUsedVariablesGoesByTheListOfTheFirstEffect) {
  const Ints others = {50, 51, 52, 53, 54};
  QvModelEffect elsewhere(3, 2, &others);
  ASSERT_TRUE(elsewhere.AddNewFactor(51, false));
  ASSERT_EQ(elsewhere.AddCovariate(54), 1);
  Ints factors;
  Ints covariates;
  QvModelEffect::GetUsedVariables({EffectOf({kA}, {}), elsewhere}, factors, covariates);
  EXPECT_EQ(factors, (Ints{kA, kB}));
  EXPECT_EQ(covariates, (Ints{kY}));
}

/// The effect without the slots of A and X; what it counts of itself stays.
QvModelEffect WithoutAAndX(QvModelEffect effect) {
  effect.ApplyMask({false, true, true, false, true});
  return effect;
}

TEST(QvModelEffect, EqualityComparesTheNumberOfFactors) {
  const QvModelEffect two = WithoutAAndX(EffectOf({kA, kB}, {}));
  const QvModelEffect one = WithoutAAndX(EffectOf({kB}, {}));
  ASSERT_EQ(two.GetModelEffect(), one.GetModelEffect());
  ASSERT_EQ(two.GetNLevels(), one.GetNLevels());
  EXPECT_FALSE(two == one);
}

TEST(QvModelEffect, EqualityComparesTheNumberOfCovariates) {
  const QvModelEffect two = WithoutAAndX(EffectOf({}, {kX, kY}));
  const QvModelEffect one = WithoutAAndX(EffectOf({}, {kY}));
  ASSERT_EQ(two.GetModelEffect(), one.GetModelEffect());
  EXPECT_FALSE(two == one);
}

TEST(QvModelEffect, EqualityComparesTheNumberOfLevels) {
  QvModelEffect nested = EffectOf({kA}, {});
  ASSERT_TRUE(nested.AddNewFactor(kB, true));
  const QvModelEffect two = WithoutAAndX(nested);
  const QvModelEffect one = WithoutAAndX(EffectOf({kA, kB}, {}));
  ASSERT_EQ(two.GetModelEffect(), one.GetModelEffect());
  ASSERT_EQ(two.GetNFactors(), one.GetNFactors());
  EXPECT_FALSE(two == one);
}

TEST(QvModelEffect, ContainmentNeedsMoreFactors) {
  const QvModelEffect two = WithoutAAndX(EffectOf({kA, kB}, {}));
  EXPECT_FALSE(two.IsContainedIn(WithoutAAndX(EffectOf({kB, kC}, {}))));
  EXPECT_TRUE(two.IsContainedIn(WithoutAAndX(EffectOf({kA, kB, kC}, {}))));
}

TEST(QvModelEffect, ContainmentNeedsAsManyCovariates) {
  const QvModelEffect two = WithoutAAndX(EffectOf({}, {kX, kY}));
  EXPECT_FALSE(two.IsContainedIn(WithoutAAndX(EffectOf({kB}, {kY}))));
  EXPECT_TRUE(two.IsContainedIn(WithoutAAndX(EffectOf({kB}, {kX, kY}))));
}

TEST(QvModelEffect, ContainmentNeedsAsManyFactorsOfTheModel) {
  // Read by the places of two factors, the third one's level looks like a free covariate.
  const QvModelEffect ofTwoFactors(2, 2, &kVariables);
  EXPECT_FALSE(ofTwoFactors.IsContainedIn(EffectOf({kC}, {})));
}

TEST(QvModelEffect, ContainmentNeedsAsManyCovariatesOfTheModel) {
  const QvModelEffect ofOneCovariate(3, 1, &kVariables);
  EXPECT_FALSE(ofOneCovariate.IsContainedIn(EffectOf({kA}, {})));
}

TEST(QvModelEffect, ContainmentNeedsTheSameDivisionIntoFactorsAndCovariates) {
  // Two factors and three covariates take as many slots as three and two; factor C stands where the
  // other model has its first covariate, unused.
  const QvModelEffect ofThreeCovariates(2, 3, &kVariables);
  EXPECT_FALSE(ofThreeCovariates.IsContainedIn(EffectOf({kC}, {})));
}

TEST(QvModelEffect, FindInVectorTakesAnyCount) {
  EXPECT_EQ(SearchingEffect::FindInVector({5, 6, 5}, 2, std::numeric_limits<int>::max(), 5), 2);
}

}  // namespace
