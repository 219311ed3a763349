#include "qvreg/settings/QvSettingsBytes.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/RandomModels.h"

namespace {

using QvCommon::QvByteReader;
using QvCommon::QvBytes;
using QvCommon::QvByteWriter;

QvBytes BytesOf(const QvRegSettings& settings) {
  QvByteWriter writer;
  WriteSettings(settings, writer);
  return writer.TakeBytes();
}

std::unique_ptr<QvRegSettings> SettingsOf(const QvBytes& bytes) {
  QvByteReader reader(bytes);
  std::unique_ptr<QvRegSettings> settings = ReadSettings(reader);
  EXPECT_EQ(settings != nullptr, reader.IsAtEnd());
  return settings;
}

void ExpectSame(QvRegSettings& settings) {
  const std::unique_ptr<QvRegSettings> read = SettingsOf(BytesOf(settings));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->GetModelType(), settings.GetModelType());
  EXPECT_EQ(BytesOf(*read), BytesOf(settings));
}

TEST(SettingsBytes, AreThoseOfTheSettingsThatTheyAreReadTo) {
  ExpectSame(qvtest::RandomLinear()->Get());
  ExpectSame(qvtest::RandomLogistic()->Get());
}

TEST(SettingsBytes, HoldEveryChoice) {
  qvtest::LogisticSettings model(0, 4, {{1, 3}, {2, 2}, {5, 9}}, {3, 4});
  model.NestedEffect({5, 1, 2}).Effect({1}, {3, 3, 4}).NoIntercept().Reference(2).InMemory();
  model.FrequencyWeight(6).RegressionWeight(8);
  QvLogRegSettings& settings = model.Get();
  settings.SetTolerance(1e-9);
  settings.SetConfidenceLevel(0.5);
  settings.SetDF(12.5);
  ASSERT_TRUE(settings.SetMaxRefinements(4));
  // A host's own choices, which are no business of a model.
  settings.SetTestType(static_cast<QvConst::QvTestType>(3));
  settings.SetPAdjustment(static_cast<QvConst::QvPAdjustMethod>(4));
  settings.SetCovbType(static_cast<QvConst::QvCovbType>(5));
  settings.SetLLFuncChange(true);
  settings.SetParamEstChange(true);
  ASSERT_TRUE(settings.SetLLConCriterion(1e-3) && settings.SetParamEstConCriterion(0.25));
  ASSERT_TRUE(settings.SetMaxIterations(7) && settings.SetMaxStepHalvingValue(3));
  ASSERT_TRUE(settings.SetStartingIteration(2) && settings.SetIterationFrequency(5));
  ASSERT_TRUE(settings.SetStartingValues({0.5, -0.25}));
  ExpectSame(settings);
  const auto read = SettingsOf(BytesOf(settings));
  const auto& logistic = dynamic_cast<const QvLogRegSettings&>(*read);
  EXPECT_EQ(logistic.GetTolerance(), 1e-9);
  EXPECT_EQ(logistic.GetConfidenceLevel(), 0.5);
  EXPECT_EQ(logistic.GetDF(), 12.5);
  EXPECT_EQ(logistic.GetMaxRefinements(), 4);
  EXPECT_EQ(logistic.GetTestType(), 3);
  EXPECT_EQ(logistic.GetPAdjustment(), 4);
  EXPECT_EQ(logistic.GetCovbType(), 5);
  EXPECT_FALSE(logistic.GetInterceptUse());
  EXPECT_TRUE(logistic.GetLLFuncChange() && logistic.GetParamEstChange());
  EXPECT_TRUE(logistic.GetUsePatternTabulator());
  EXPECT_EQ(logistic.GetLLConCriterion(), 1e-3);
  EXPECT_EQ(logistic.GetParamEstConCriterion(), 0.25);
  EXPECT_EQ(logistic.GetMaxStepHalvingValue(), 3);
  EXPECT_EQ(logistic.GetStartingIteration(), 2);
  EXPECT_EQ(logistic.GetIterationFrequency(), 5);
  EXPECT_EQ(logistic.GetDependentNCategs(), 4);
  EXPECT_EQ(logistic.GetVariableTypes(), settings.GetVariableTypes());
  EXPECT_EQ(logistic.GetFactorSizes(), settings.GetFactorSizes());
  EXPECT_EQ(logistic.GetDependentRefCateg(), 2);
  EXPECT_EQ(logistic.GetMaxIterations(), 7);
  EXPECT_EQ(logistic.GetStartingValues(), (std::vector<double>{0.5, -0.25}));
  EXPECT_EQ(logistic.GetModelEffects()[0].GetFactorLevels(),
            settings.GetModelEffects()[0].GetFactorLevels());
  EXPECT_EQ(logistic.GetModelEffects()[1].GetCovMultiplicities(), (std::vector<int>{2, 1}));
  EXPECT_EQ(logistic.GetModelEffects()[1].GetModelEffect(), (std::vector<int>{0, 2, 1}));
}

TEST(SettingsBytes, HoldCrossedFactorsWithinOneAndWhereNamesPutThem) {
  const std::vector<int> variables{1, 2, 5, 3};
  QvModelEffect effect(3, 1, &variables);
  ASSERT_TRUE(effect.AddNewFactor(5, false));
  ASSERT_TRUE(effect.AddNewFactor(1, true));
  ASSERT_TRUE(effect.AddNewFactor(2, false));
  ASSERT_GT(effect.AddCovariate(3), 0);
  effect.SetFactorsInParens();
  qvtest::LinearSettings model(0, {{1, 3}, {2, 2}, {5, 9}}, {3});
  ASSERT_TRUE(model.Get().AddModelEffect(effect));
  const auto read = SettingsOf(BytesOf(model.Get()));
  ASSERT_NE(read, nullptr);
  const QvModelEffect& copy = read->GetModelEffects()[0];
  EXPECT_EQ(copy.GetFactors(), (std::vector<int>{1, 2, 5}));
  EXPECT_EQ(copy.GetFactorLevels(), (std::vector<int>{0, 0, 1}));
  EXPECT_TRUE(copy.GetFactorsInParens());
}

TEST(SettingsBytes, KeepTheRoleOfAWeightThatWasReplaced) {
  QvRegSettings settings;
  ASSERT_TRUE(settings.SetDependent(0));
  ASSERT_TRUE(settings.SetFrequencyWeightVar(3));
  ASSERT_TRUE(settings.SetFrequencyWeightVar(1));
  const auto read = SettingsOf(BytesOf(settings));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->GetFrequencyWeightVar(), 1);
  EXPECT_EQ(read->GetVariableTypes(), settings.GetVariableTypes());
}

TEST(SettingsBytes, KeepThatRoleOfTheFirstVariable) {
  QvRegSettings settings;
  ASSERT_TRUE(settings.SetDependent(3));
  ASSERT_TRUE(settings.SetRegrWeightVar(0));
  ASSERT_TRUE(settings.SetRegrWeightVar(1));
  const auto read = SettingsOf(BytesOf(settings));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->GetRegrWeightVar(), 1);
  EXPECT_EQ(read->GetVariableTypes(), settings.GetVariableTypes());
}

TEST(SettingsBytes, HoldTheRecordCount) {
  QvRegSettings settings;
  ASSERT_TRUE(settings.SetDependent(0));
  const std::size_t size = BytesOf(settings).size();
  ASSERT_TRUE(settings.SetRecordCountVar(2));
  EXPECT_EQ(BytesOf(settings).size(), size + 2 * sizeof(int)) << "two more roles";
  const auto read = SettingsOf(BytesOf(settings));
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->GetRecordCountVar(), 2);
  EXPECT_EQ(read->GetVariableTypes(), settings.GetVariableTypes());
}

TEST(SettingsBytes, WithTwoRecordCountsAreRefused) {
  QvRegSettings settings;
  ASSERT_TRUE(settings.SetDependent(0));
  ASSERT_TRUE(settings.SetFrequencyWeightVar(1));
  ASSERT_TRUE(settings.SetRecordCountVar(2));
  QvBytes bytes = BytesOf(settings);
  // Behind the kind of model and the number of roles, four bytes each.
  const std::size_t role = 1 + sizeof(std::uint64_t) + sizeof(int);
  ASSERT_EQ(bytes[role], QvConst::QvVarFreqWeight);
  bytes[role] = QvConst::QvVarRecordCount;
  QvByteReader reader(bytes);
  EXPECT_EQ(ReadSettings(reader), nullptr);
}

/// Contents of a linear model of the factors 1, 2 and 3 with a record count, and one effect.
QvSettingsContents WithEffect(const QvEffectContents& effect) {
  qvtest::LinearSettings model(0, {{1, 2}, {2, 2}, {3, 2}}, {4});
  EXPECT_TRUE(model.Get().SetRecordCountVar(5));
  QvSettingsContents contents = ContentsOf(model.Get());
  contents.fEffects = {effect};
  return contents;
}

TEST(SettingsContents, AreReadOverThoseOfOtherSettings) {
  QvSettingsContents contents = ContentsOf(qvtest::RandomLogistic()->Get());
  const QvBytes bytes = BytesOf(qvtest::RandomLinear()->Get());
  QvByteReader reader(bytes);
  ReadSettings(reader, contents);
  QvByteWriter writer;
  WriteSettings(contents, writer);
  EXPECT_EQ(writer.GetBytes(), bytes);
}

TEST(SettingsContents, OfFactorsThatNoEffectHasAreRefused) {
  EXPECT_NE(MakeSettings(WithEffect({.fFactors = {1, 2}, .fLevels = {1, 0}, .fCovariates = {}})),
            nullptr);
  EXPECT_EQ(MakeSettings(WithEffect({.fFactors = {1}, .fLevels = {1}, .fCovariates = {}})), nullptr)
      << "in no other";
  EXPECT_EQ(MakeSettings(WithEffect({.fFactors = {1, 2}, .fLevels = {5, 0}, .fCovariates = {}})),
            nullptr);
  EXPECT_EQ(MakeSettings(WithEffect({.fFactors = {1, 1}, .fLevels = {0, 0}, .fCovariates = {}})),
            nullptr)
      << "twice";
  EXPECT_EQ(
      MakeSettings(WithEffect({.fFactors = {1, 1, 2}, .fLevels = {0, 0, 0}, .fCovariates = {}})),
      nullptr);
  EXPECT_EQ(MakeSettings(WithEffect({.fFactors = {1, 2}, .fLevels = {0}, .fCovariates = {}})),
            nullptr)
      << "no level";
}

TEST(SettingsContents, OfAVariableInTwoRolesAreRefusedWhateverFollows) {
  const QvSettingsContents sound = WithEffect({.fFactors = {2}, .fLevels = {0}, .fCovariates = {}});
  QvSettingsContents contents = sound;
  contents.fFactors[0] = contents.fDependent;
  contents.fRoles[1] = QvConst::QvVarNone;
  EXPECT_EQ(MakeSettings(contents), nullptr) << "the dependent and a factor";
  contents = sound;
  contents.fCovariates = {contents.fDependent, 4};
  EXPECT_EQ(MakeSettings(contents), nullptr) << "the dependent and a covariate";
  contents = sound;
  contents.fCovariates = {4, contents.fDependent};
  EXPECT_EQ(MakeSettings(contents), nullptr) << "a covariate and the dependent";
  contents = sound;
  contents.fFactorSizes.pop_back();
  contents.fEffects.clear();
  EXPECT_EQ(MakeSettings(contents), nullptr) << "a factor without categories";
  EXPECT_NE(MakeSettings(sound), nullptr);
}

// A design of such an effect would read behind the tables of its factors.
TEST(SettingsBytes, WithAnEffectOfAVariableInAnotherRoleAreRefused) {
  const QvSettingsContents whole = ContentsOf(qvtest::RandomLogistic()->Get());
  const auto isRefused = [](const QvSettingsContents& contents) {
    QvByteWriter writer;
    WriteSettings(contents, writer);
    QvByteReader reader(writer.GetBytes());
    return ReadSettings(reader) == nullptr;
  };
  EXPECT_FALSE(isRefused(whole));
  ASSERT_EQ(whole.fEffects[0].fFactors, (std::vector<int>{qvtest::kF}));
  ASSERT_EQ(whole.fEffects[2].fCovariates, (std::vector<int>{qvtest::kX}));
  for (const int variable : {-1, int{qvtest::kX}, int{qvtest::kFreq}, 1'000'000}) {
    QvSettingsContents contents = whole;
    contents.fEffects[0].fFactors[0] = variable;
    EXPECT_TRUE(isRefused(contents)) << variable;
  }
  for (const int variable : {-1, int{qvtest::kF}, int{qvtest::kFreq}, 1'000'000}) {
    QvSettingsContents contents = whole;
    contents.fEffects[2].fCovariates[0] = variable;
    EXPECT_TRUE(isRefused(contents)) << variable;
  }
}

TEST(SettingsBytes, ThatAreCutAreRefused) {
  const QvBytes whole = BytesOf(qvtest::RandomLogistic()->Get());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    QvByteReader reader(std::span<const unsigned char>(whole).first(size));
    EXPECT_EQ(ReadSettings(reader), nullptr) << size;
  }
}

TEST(SettingsBytes, WithAnyByteChangedAreRefusedOrOtherSettings) {
  const QvBytes whole = BytesOf(qvtest::RandomLogistic()->Get());
  for (std::size_t i = 0; i < whole.size(); ++i) {
    for (const int change : {0x01, 0x80, 0xFF}) {
      QvBytes bytes = whole;
      bytes[i] = static_cast<unsigned char>(bytes[i] ^ change);
      QvByteReader reader(bytes);
      const std::unique_ptr<QvRegSettings> read = ReadSettings(reader);
      if (read == nullptr) continue;
      EXPECT_FALSE(read->IsValidSettings().IsError());
      EXPECT_TRUE(read->AreRolesComplete());
    }
  }
}

}  // namespace
