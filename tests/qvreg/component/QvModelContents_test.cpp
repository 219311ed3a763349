#include "qvreg/component/QvModelContents.h"

#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvModelMessage.h"
#include "qvreg/factory/QvRegFactory.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelReport.h"
#include "tests/qvreg/support/RandomModels.h"

namespace {

using qvtest::FittedModel;
using qvtest::ModelKind;
using Bytes = std::vector<unsigned char>;
using Component = std::unique_ptr<IQvRegComponent>;

constexpr int kHuge = std::numeric_limits<int>::max();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

class ModelContents : public testing::TestWithParam<ModelKind> {
 protected:
  ModelContents() : model_(GetParam()), fitted_(model_.Get(), qvtest::RandomRecords(400)) {
    EXPECT_EQ(QvModelMessage::Read(qvtest::BytesOf(fitted_.Component()), contents_).GetCode(),
              QvStatusCode::kOK);
  }

  [[nodiscard]] static bool IsLinear() { return GetParam() == ModelKind::kLinear; }

  qvtest::RandomModel model_;
  FittedModel fitted_;
  QvModelContents contents_;
};

INSTANTIATE_TEST_SUITE_P(Models, ModelContents,
                         testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                         ModelKind::kInMemory),
                         [](const auto& tested) { return qvtest::ModelKindName(tested.param); });

TEST_P(ModelContents, AreWrittenAsTheBytesThatTheyWereReadFrom) {
  Bytes bytes;
  EXPECT_EQ(QvModelMessage::Write(contents_, bytes).GetCode(), QvStatusCode::kOK);
  EXPECT_EQ(bytes, qvtest::BytesOf(fitted_.Component()));
}

TEST_P(ModelContents, RestoreTheComponentToTheLastBit) {
  QvRegFactory factory;
  const Component restored(factory.RestoreComponent(contents_));
  ASSERT_NE(restored, nullptr);
  EXPECT_EQ(factory.GetStatus().GetCode(), QvStatusCode::kOK);
  EXPECT_EQ(qvtest::ReportOf(*restored), qvtest::ReportOf(fitted_.Component()));
  const std::vector<QvCommon::Record> fresh = qvtest::FreshRecords();
  EXPECT_EQ(qvtest::ScoresOf(fresh, *restored), qvtest::ScoresOf(fresh, fitted_.Component()));
}

/// Writes the contents, reads them, and writes what was read.
void ExpectReadAsWritten(const QvModelContents& contents) {
  Bytes bytes;
  Bytes again;
  QvModelContents read;
  ASSERT_TRUE(QvModelMessage::Write(contents, bytes).IsOK());
  ASSERT_TRUE(QvModelMessage::Read(bytes, read).IsOK());
  ASSERT_TRUE(QvModelMessage::Write(read, again).IsOK());
  EXPECT_EQ(again, bytes);
}

// Messages are for any contents: it is a component that they have to be those of a model for.
TEST(ModelContentsOfNothing, AreReadAsTheyWereWritten) {
  QvModelContents linear;
  linear.fLinear.fKept = {false};
  linear.fLinear.fRedundant.push_back({.fParameter = 0, .fKept = {}, .fCoefficients = {}});
  ExpectReadAsWritten(linear);
  QvModelContents logistic;
  logistic.fSettings.fLogistic.emplace();
  logistic.fTables.fDependentCounts = {{0.0, 0.0}};
  logistic.fLogistic.fOptimization.fIterations = 0;
  logistic.fLogistic.fOptimization.fStepHalvings = 0;
  ExpectReadAsWritten(logistic);
}

TEST_P(ModelContents, SayWhatTheStatisticsSay) {
  const IQvRegOutputStats& stats = fitted_.Stats();
  const std::size_t p = stats.GetParameters().size();
  const auto& estimates = IsLinear() ? contents_.fLinear.fEstimates.fEstimates
                                     : contents_.fLogistic.fEstimates.fEstimates;
  // Columns of usual size are not divided.
  EXPECT_EQ(estimates, stats.GetParamEstimates());
  EXPECT_EQ(contents_.fTables.fMeans, stats.GetMeanValues());
  EXPECT_EQ(contents_.fTables.fTotalFrequencyWeight, stats.GetTotalFreqWeight());
  EXPECT_EQ(contents_.fTables.fTotalRegressionWeight, stats.GetTotalRegrWeight());
  const QvFactorCounts& counts = stats.GetFactorCounts();
  ASSERT_EQ(contents_.fTables.fFactorCounts.size(), 2U);
  for (int f = 0; f < counts.GetNFactors(); ++f) {
    EXPECT_EQ(contents_.fTables.fFactorCounts[static_cast<std::size_t>(f)],
              *counts.GetCountsPtr(f));
  }
  const std::vector<double>& triangle =
      IsLinear() ? contents_.fLinear.fCovariance : *contents_.fLogistic.fCovariance;
  std::size_t next = 0;
  for (int i = 0; i < static_cast<int>(p); ++i) {
    for (int j = 0; j <= i; ++j) {
      ASSERT_EQ(triangle[next++], stats.GetCovarianceMatrix()->GetElem(i, j)) << i << " " << j;
    }
  }
  EXPECT_EQ(triangle.size(), IsLinear() ? next + p + 1 : next);
  // The combinations of an effect are those of its parameters.
  ASSERT_GE(contents_.fTables.fCombinations.size(), 1U);
  EXPECT_EQ(contents_.fTables.fCombinations[0], (std::vector<int>{0, 1, 2, 3}));
  ASSERT_GE(contents_.fSettings.fEffects.size(), 1U);
  EXPECT_EQ(contents_.fSettings.fEffects[0].fFactors, std::vector<int>{qvtest::kF});
  EXPECT_EQ(contents_.fRecordCounts.fRead, 400);
}

TEST_P(ModelContents, AreThoseOfBytesThatWereCut) {
  const Bytes whole = qvtest::BytesOf(fitted_.Component());
  for (std::size_t size = 0; size < whole.size(); ++size) {
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
    QvModelContents contents;
    ASSERT_EQ(QvModelMessage::Read(cut, contents),
              QvCommon::QvStatus(QvStatusCode::kUnreadableMessage, false))
        << size;
  }
}

/// A change that makes contents those of no model.
struct Wrong {
  const char* what;
  std::function<void(QvModelContents&)> change;
};

std::vector<Wrong> WrongInBoth() {
  return {
      {"no role", [](QvModelContents& c) { c.fSettings.fRoles.pop_back(); }},
      {"another role", [](QvModelContents& c) { c.fSettings.fRoles[0] = 77; }},
      {"no roles", [](QvModelContents& c) { c.fSettings.fRoles.clear(); }},
      {"huge dependent", [](QvModelContents& c) { c.fSettings.fDependent = kHuge; }},
      {"negative dependent", [](QvModelContents& c) { c.fSettings.fDependent = -2; }},
      {"no dependent", [](QvModelContents& c) { c.fSettings.fDependent = -1; }},
      {"huge factor", [](QvModelContents& c) { c.fSettings.fFactors[0] = kHuge; }},
      {"negative factor", [](QvModelContents& c) { c.fSettings.fFactors[0] = -1; }},
      {"one size less", [](QvModelContents& c) { c.fSettings.fFactorSizes.pop_back(); }},
      {"huge size", [](QvModelContents& c) { c.fSettings.fFactorSizes[0] = kHuge; }},
      {"negative size", [](QvModelContents& c) { c.fSettings.fFactorSizes[0] = -4; }},
      {"huge covariate", [](QvModelContents& c) { c.fSettings.fCovariates[0] = kHuge; }},
      {"one covariate less", [](QvModelContents& c) { c.fSettings.fCovariates.pop_back(); }},
      {"huge weight", [](QvModelContents& c) { c.fSettings.fFrequencyWeight = kHuge; }},
      {"negative weight", [](QvModelContents& c) { c.fSettings.fRegressionWeight = -7; }},
      {"negative test", [](QvModelContents& c) { c.fSettings.fTestType = -1; }},
      {"negative adjustment", [](QvModelContents& c) { c.fSettings.fPAdjustment = -1; }},
      {"negative covariance", [](QvModelContents& c) { c.fSettings.fCovbType = -1; }},
      {"negative refinements", [](QvModelContents& c) { c.fSettings.fMaxRefinements = -1; }},
      {"one effect less", [](QvModelContents& c) { c.fSettings.fEffects.pop_back(); }},
      {"one effect more", [](QvModelContents& c) { c.fSettings.fEffects.emplace_back(); }},
      {"no intercept", [](QvModelContents& c) { c.fSettings.fbIntercept = false; }},
      {"unknown factor", [](QvModelContents& c) { c.fSettings.fEffects[0].fFactors[0] = 99; }},
      {"no level", [](QvModelContents& c) { c.fSettings.fEffects[0].fLevels.clear(); }},
      {"huge level", [](QvModelContents& c) { c.fSettings.fEffects[0].fLevels[0] = kHuge; }},
      {"negative level", [](QvModelContents& c) { c.fSettings.fEffects[0].fLevels[0] = -1; }},
      {"unknown covariate",
       [](QvModelContents& c) { c.fSettings.fEffects[0].fCovariates.push_back(99); }},
      {"one list of counts less", [](QvModelContents& c) { c.fTables.fFactorCounts.pop_back(); }},
      {"one list of counts more",
       [](QvModelContents& c) { c.fTables.fFactorCounts.push_back({}); }},
      {"one count less", [](QvModelContents& c) { c.fTables.fFactorCounts[0].pop_back(); }},
      {"negative code", [](QvModelContents& c) { c.fTables.fCombinations[0][1] = -1; }},
      {"huge code", [](QvModelContents& c) { c.fTables.fCombinations[0][1] = kHuge; }},
      {"code twice", [](QvModelContents& c) { c.fTables.fCombinations[0][1] = 0; }},
      {"one code less", [](QvModelContents& c) { c.fTables.fCombinations[0].pop_back(); }},
      {"one effect's codes less", [](QvModelContents& c) { c.fTables.fCombinations.pop_back(); }},
      {"one effect's codes more",
       [](QvModelContents& c) { c.fTables.fCombinations.push_back({}); }},
      {"huge unit", [](QvModelContents& c) { c.fTables.fMeanUnit = kHuge; }},
      {"tiny unit", [](QvModelContents& c) { c.fTables.fMeanUnit = -kHuge; }},
      {"one mean less", [](QvModelContents& c) { c.fTables.fMeans.pop_back(); }},
      {"one dependent's weight more",
       [](QvModelContents& c) { c.fTables.fDependentWeights.push_back(1.0); }},
      {"one size of a column less",
       [](QvModelContents& c) { c.fTables.fSizes.fLargest.pop_back(); }},
      {"negative size of a column",
       [](QvModelContents& c) { c.fTables.fSizes.fLargest[0] = -1.0; }},
      {"size that is no number", [](QvModelContents& c) { c.fTables.fSizes.fLargest[0] = kNaN; }},
      {"infinite size", [](QvModelContents& c) { c.fTables.fSizes.fLargest[0] = kInfinity; }},
      {"one product more", [](QvModelContents& c) { c.fTables.fSizes.fProducts.emplace_back(); }},
      {"fit in error",
       [](QvModelContents& c) {
         c.fFitStatus = {QvStatusCode::kNoRecords, false};
       }},
      // Scores would have it, but not those of a scorer.
      {"fit with a warning",
       [](QvModelContents& c) {
         c.fFitStatus = {QvStatusCode::kReferenceNotObserved, true};
       }},
      {"component in error",
       [](QvModelContents& c) {
         c.fStatus = {QvStatusCode::kNoRecords, false};
       }},
      {"endless warnings", [](QvModelContents& c) { c.fWarnings.resize(1001); }},
  };
}

std::vector<Wrong> WrongInLinear() {
  using Contents = QvModelContents;
  return {
      {"logistic", [](Contents& c) { c.fSettings.fLogistic.emplace(); }},
      {"large product", [](Contents& c) { c.fTables.fSizes.fProducts[0].fMagnitude = 1LL << 40; }},
      {"negative product", [](Contents& c) { c.fTables.fSizes.fProducts[0].fLargest = -1.0; }},
      {"dependent's counts", [](Contents& c) { c.fTables.fDependentCounts.resize(3); }},
      {"no estimates", [](Contents& c) { c.fLinear.fEstimates.fEstimates.clear(); }},
      {"one estimate more", [](Contents& c) { c.fLinear.fEstimates.fEstimates.push_back(1.0); }},
      {"one flag", [](Contents& c) { c.fLinear.fEstimates.fNonFinite = {true}; }},
      {"one element less", [](Contents& c) { c.fLinear.fCovariance.pop_back(); }},
      {"no covariance", [](Contents& c) { c.fLinear.fCovariance.clear(); }},
      {"negative records", [](Contents& c) { c.fLinear.fRecordsAdded = -1; }},
      {"one kept less", [](Contents& c) { c.fLinear.fKept.pop_back(); }},
      {"redundant of none", [](Contents& c) { c.fLinear.fRedundant[0].fParameter = kHuge; }},
      {"redundant before all", [](Contents& c) { c.fLinear.fRedundant[0].fParameter = -1; }},
      {"redundant twice",
       [](Contents& c) { c.fLinear.fRedundant.push_back(c.fLinear.fRedundant.back()); }},
      {"on a column of none", [](Contents& c) { c.fLinear.fRedundant[0].fKept[0] = kHuge; }},
      {"on a negative column", [](Contents& c) { c.fLinear.fRedundant[0].fKept[0] = -1; }},
      {"without a coefficient", [](Contents& c) { c.fLinear.fRedundant[0].fCoefficients.clear(); }},
      {"empty scaled", [](Contents& c) { c.fLinear.fScaledCovariance.emplace(); }},
  };
}

std::vector<Wrong> WrongInLogistic() {
  using Contents = QvModelContents;
  return {
      {"linear", [](Contents& c) { c.fSettings.fLogistic.reset(); }},
      {"huge reference", [](Contents& c) { c.fSettings.fLogistic->fReference = kHuge; }},
      {"reference below all", [](Contents& c) { c.fSettings.fLogistic->fReference = -3; }},
      {"huge categories", [](Contents& c) { c.fSettings.fLogistic->fNCategories = kHuge; }},
      {"one category", [](Contents& c) { c.fSettings.fLogistic->fNCategories = 1; }},
      {"a category less", [](Contents& c) { c.fSettings.fLogistic->fNCategories = 2; }},
      {"criterion below 0", [](Contents& c) { c.fSettings.fLogistic->fLLCriterion = -1.0; }},
      {"other criterion below 0",
       [](Contents& c) { c.fSettings.fLogistic->fParameterCriterion = -1.0; }},
      {"iterations below 0", [](Contents& c) { c.fSettings.fLogistic->fMaxIterations = -1; }},
      {"no halvings", [](Contents& c) { c.fSettings.fLogistic->fMaxStepHalvings = 0; }},
      {"check below 0", [](Contents& c) { c.fSettings.fLogistic->fStartingIteration = -1; }},
      {"no frequency", [](Contents& c) { c.fSettings.fLogistic->fIterationFrequency = 0; }},
      {"start of no number", [](Contents& c) { c.fSettings.fLogistic->fStartingValues = {kNaN}; }},
      {"no counts", [](Contents& c) { c.fTables.fDependentCounts.clear(); }},
      {"counts of one less", [](Contents& c) { c.fTables.fOffsetCounts.pop_back(); }},
      {"one observed",
       [](Contents& c) {
         for (auto& count : c.fTables.fDependentCounts) count.first = kNaN;
       }},
      {"one kept less", [](Contents& c) { c.fLogistic.fEstimates.fKept.pop_back(); }},
      {"one estimate less", [](Contents& c) { c.fLogistic.fEstimates.fEstimates.pop_back(); }},
      {"one finite less", [](Contents& c) { c.fLogistic.fNonFinite.pop_back(); }},
      {"redundant of none", [](Contents& c) { c.fLogistic.fRedundant[0].fParameter = kHuge; }},
      {"one element less", [](Contents& c) { c.fLogistic.fCovariance->pop_back(); }},
      {"empty scaled", [](Contents& c) { c.fLogistic.fScaledCovariance.emplace(); }},
      {"one cell less", [](Contents& c) { c.fLogistic.fClassification.pop_back(); }},
      {"no cells", [](Contents& c) { c.fLogistic.fClassification.clear(); }},
      {"no outcome",
       [](Contents& c) {
         c.fLogistic.fOptimization.fOutcome = static_cast<QvOptimizationOutcome>(10);
       }},
      {"iterations done below 0", [](Contents& c) { c.fLogistic.fOptimization.fIterations = -1; }},
      {"halvings done below 0", [](Contents& c) { c.fLogistic.fOptimization.fStepHalvings = -1; }},
  };
}

TEST_P(ModelContents, ThatAreWrongAreRefusedFieldByField) {
  std::vector<Wrong> all = WrongInBoth();
  for (Wrong& wrong : IsLinear() ? WrongInLinear() : WrongInLogistic()) {
    all.push_back(std::move(wrong));
  }
  for (const Wrong& wrong : all) {
    QvModelContents changed = contents_;
    wrong.change(changed);
    QvRegFactory factory;
    EXPECT_EQ(factory.RestoreComponent(changed), nullptr) << wrong.what;
    EXPECT_EQ(factory.GetStatus().GetCode(), QvStatusCode::kUnreadableMessage) << wrong.what;
    EXPECT_TRUE(factory.GetStatus().IsError()) << wrong.what;
    // Nor as bytes.
    Bytes bytes;
    EXPECT_EQ(QvModelMessage::Write(changed, bytes).GetCode(), QvStatusCode::kOK);
    EXPECT_EQ(factory.RestoreComponent(bytes), nullptr) << wrong.what;
    EXPECT_EQ(factory.GetStatus().GetCode(), QvStatusCode::kUnreadableMessage) << wrong.what;
  }
}

TEST_P(ModelContents, OfNumbersThatNobodyEstimatedMakeAComponent) {
  for (const double number : {kNaN, kInfinity, -kInfinity, -1.0, 0.0, 1e308}) {
    QvModelContents changed = contents_;
    for (std::vector<double>* list :
         {&changed.fLinear.fEstimates.fEstimates, &changed.fLinear.fCovariance,
          &changed.fLogistic.fEstimates.fEstimates, &changed.fLogistic.fClassification,
          &changed.fTables.fMeans, &changed.fTables.fDependentWeights}) {
      list->assign(list->size(), number);
    }
    changed.fTables.fTotalFrequencyWeight = number;
    changed.fTables.fTotalRegressionWeight = number;
    changed.fTables.fMeanWeight = number;
    changed.fLinear.fRootMeanSquareError = number;
    changed.fSettings.fTolerance = number;
    changed.fSettings.fDF = number;
    changed.fRecordCounts = {-1, -2, -3, -4, -5, -6};
    QvRegFactory factory;
    const Component restored(factory.RestoreComponent(changed));
    ASSERT_NE(restored, nullptr) << number;
    static_cast<void>(qvtest::ScoresOf(qvtest::FreshRecords(), *restored));
    EXPECT_FALSE(qvtest::ReportOf(*restored).empty());
  }
}

TEST_P(ModelContents, AnAllocationThatFailsIsAStatus) {
  using qvtest::AllocationFault;
  const Bytes bytes = qvtest::BytesOf(fitted_.Component());
  for (int n = 1;; ++n) {
    QvModelContents contents;
    Bytes written;
    const AllocationFault fault(n, AllocationFault::Extent::kOnce);
    QvCommon::QvStatus status = QvModelMessage::Read(bytes, contents);
    if (!status.IsError()) status = QvModelMessage::Write(contents, written);
    if (!fault.HasStruck()) break;
    EXPECT_EQ(status.GetCode(), QvStatusCode::kTooManyParameters) << n;
  }
}

}  // namespace
