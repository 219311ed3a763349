// What a component makes of records that it cannot use, and of iterators that misbehave.
#include <stdexcept>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorCounts.h"
#include "qvreg/glm/QvGLMComponent.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/FaultyIter.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

using QvCommon::QvStatus;
using QvCommon::Record;
using qvtest::Fault;
using qvtest::FaultyIter;
using qvtest::FittedModel;
using qvtest::LinearSettings;
using qvtest::MakeRecord;
using qvtest::MakeRecords;
using qvtest::VectorRecordIter;

constexpr int kY = 0;
constexpr int kA = 1;
constexpr int kX = 2;
constexpr int kWeight = 3;
constexpr double kMissing = QvMV::gMissingValue;

/// How an iterator misbehaves.
std::vector<Record> GoodRecords() {
  return MakeRecords({{1, 0, 0, 1}, {3, 0, 1, 1}, {6, 1, 1, 2}, {8, 1, 2, 1}});
}

/// A factor A of two categories, a covariate X and a frequency weight.
class QvGLMRecordsTest : public ::testing::Test {
 protected:
  QvGLMRecordsTest() { settings_.Effect({kA}).Effect({}, {kX}).FrequencyWeight(kWeight); }

  QvStatus Build(QvGLMComponent& component, std::vector<Record> records) {
    VectorRecordIter data(std::move(records));
    return component.BuildModel(data);
  }

  LinearSettings settings_{kY, {{kA, 2}}, {kX}};
};

class QvGLMPassTest : public QvGLMRecordsTest, public ::testing::WithParamInterface<int> {
 protected:
  QvStatus BuildWith(Fault fault) {
    FaultyIter data(GoodRecords(), fault, GetParam());
    return component_.BuildModel(data);
  }
  void ExpectNoModel(long code) {
    EXPECT_EQ(component_.GetStatus().GetCode(), code);
    EXPECT_FALSE(component_.IsModelBuilt());
    EXPECT_EQ(Build(component_, GoodRecords()).GetCode(), code) << "the error is kept";
  }

  QvGLMComponent component_{settings_.Get()};
};

TEST_P(QvGLMPassTest, AnEmptyPassGives307) {
  EXPECT_TRUE(BuildWith(Fault::kNoRecord) == QvStatus(307, false));
  ExpectNoModel(307);
}

TEST_P(QvGLMPassTest, ARefusedPassGives307ThoughItDeliversRecords) {
  FaultyIter data(GoodRecords(), Fault::kRefused, GetParam());
  EXPECT_TRUE(component_.BuildModel(data) == QvStatus(307, false));
  EXPECT_EQ(data.Passes(), GetParam());
  EXPECT_EQ(data.Position(), 0U) << "no record is read";
  ExpectNoModel(307);
}

TEST_P(QvGLMPassTest, ARecordAnnouncedButNotDeliveredGives312) {
  EXPECT_TRUE(BuildWith(Fault::kNull) == QvStatus(312, false));
  ExpectNoModel(312);
}

TEST_P(QvGLMPassTest, ARecordShorterThanTheRolesGives315) {
  EXPECT_TRUE(BuildWith(Fault::kShort) == QvStatus(315, false));
  ExpectNoModel(315);
}

TEST_P(QvGLMPassTest, AnExceptionOfTheHostPassesThroughAndLeavesAnError) {
  EXPECT_THROW(BuildWith(Fault::kThrow), std::runtime_error);
  EXPECT_TRUE(component_.GetStatus().IsError());
  ExpectNoModel(component_.GetStatus().GetCode());
}

TEST_P(QvGLMPassTest, AnExceptionOfTheHostLeaksNothing) {
  FaultyIter data(GoodRecords(), Fault::kThrow, GetParam());
  const long long live = qvtest::LiveAllocations();
  try {
    QvGLMComponent component(settings_.Get());
    component.BuildModel(data);
    FAIL() << "the iterator throws";
  } catch (const std::runtime_error&) {
  }
  EXPECT_EQ(qvtest::LiveAllocations(), live);
}

INSTANTIATE_TEST_SUITE_P(Passes, QvGLMPassTest, ::testing::Values(1, 2, 3));

TEST_F(QvGLMRecordsTest, AnEmptyIteratorGives307AtParameterCreation) {
  QvGLMComponent component(settings_.Get());
  VectorRecordIter data({});
  std::vector<QvRegrParameter> parameters;
  EXPECT_TRUE(component.CreateParameters(data, parameters) == QvStatus(307, false));
  EXPECT_EQ(component.GetStatus().GetCode(), 307);
}

TEST_F(QvGLMRecordsTest, AnExceptionDuringParameterCreationPassesThrough) {
  QvGLMComponent component(settings_.Get());
  FaultyIter data(GoodRecords(), Fault::kThrow, 1);
  std::vector<QvRegrParameter> parameters;
  EXPECT_THROW(component.CreateParameters(data, parameters), std::runtime_error);
  EXPECT_TRUE(component.GetStatus().IsError());
  EXPECT_TRUE(parameters.empty());
}

TEST_F(QvGLMRecordsTest, RecordsWithoutOneThatIsValidGive307) {
  QvGLMComponent missing(settings_.Get());
  EXPECT_EQ(Build(missing, MakeRecords({{1, 0, kMissing, 1}, {kMissing, 0, 1, 1}})).GetCode(), 307);
  QvGLMComponent weightless(settings_.Get());
  EXPECT_EQ(Build(weightless, MakeRecords({{1, 0, 1, 0}, {2, 1, 2, -1}})).GetCode(), 307);
  QvGLMComponent outOfRange(settings_.Get());
  EXPECT_EQ(Build(outOfRange, MakeRecords({{1, 2, 1, 1}})).GetCode(), 307);
}

TEST_F(QvGLMRecordsTest, ACodeThatIsNoWholeNumberGives316WithItsPlace) {
  QvGLMComponent component(settings_.Get());
  const QvStatus status = Build(component, MakeRecords({{1, 0, 0, 1}, {1, 0.25, 0, 1}}));
  EXPECT_EQ(status.GetCode(), 316);
  long variable = -1;
  double value = 0.0;
  EXPECT_TRUE(status.GetDiscreteDatum(1, variable));
  EXPECT_TRUE(status.GetScaleDatum(1, value));
  EXPECT_EQ(variable, kA);
  EXPECT_EQ(value, 0.25);
  EXPECT_EQ(component.GetStatus().GetCode(), 316);
}

TEST_F(QvGLMRecordsTest, ACodeAboveTheNumberOfCategoriesGives316) {
  QvGLMComponent component(settings_.Get());
  EXPECT_EQ(Build(component, MakeRecords({{1, 0, 0, 1}, {1, 3, 0, 1}})).GetCode(), 316);
}

TEST_F(QvGLMRecordsTest, CountsWhatBecameOfTheRecords) {
  std::vector<Record> records = GoodRecords();
  records.push_back(MakeRecord({kMissing, 0, 1, 1}));  // no dependent
  records.push_back(MakeRecord({1, -1, 1, 1}));        // no category
  records.push_back(MakeRecord({1, 0, kMissing, 1}));  // no covariate
  records.push_back(MakeRecord({1, 0, 1, 0}));         // weight 0
  records.push_back(MakeRecord({1, 0, 1, kMissing}));  // no weight
  records.push_back(MakeRecord({1, 2, 1, 1}));         // one code too many
  QvGLMComponent component(settings_.Get());
  ASSERT_TRUE(Build(component, records).IsOK());
  const QvRecordCounts counts = component.GetRecordCounts();
  EXPECT_EQ(counts.fRead, 10);
  EXPECT_EQ(counts.fUsed, 4);
  EXPECT_EQ(counts.fMissing, 3);
  EXPECT_EQ(counts.fBadWeight, 2);
  EXPECT_EQ(counts.fOutOfRange, 1);
}

TEST_F(QvGLMRecordsTest, RecordCountsAreThereAfterAFailure) {
  QvGLMComponent component(settings_.Get());
  Build(component, MakeRecords({{1, 0, 0, 1}, {1, 0, 0, 0}, {1, 3, 0, 1}}));
  EXPECT_EQ(component.GetRecordCounts().fUsed, 1);
  EXPECT_EQ(component.GetRecordCounts().fBadWeight, 1);
}

TEST_F(QvGLMRecordsTest, LeftOutRecordsHaveNoEffectOnAnyPass) {
  std::vector<Record> records = GoodRecords();
  FittedModel expected(settings_.Get(), records);
  records.insert(records.begin(), MakeRecord({1e6, 2, 50, 3}));  // a code equal to the number
  records.insert(records.begin() + 3, MakeRecord({1e6, 1, kMissing, 3}));
  records.push_back(MakeRecord({1e6, 0, 50, -2}));
  FittedModel model(settings_.Get(), records);

  EXPECT_EQ(model.Stats().GetParameters(), expected.Stats().GetParameters());
  EXPECT_EQ(model.Stats().GetParamEstimates(), expected.Stats().GetParamEstimates());
  EXPECT_EQ(model.Stats().GetTotalFreqWeight(), 5.0);
  EXPECT_EQ(model.Stats().GetMeanValues(), expected.Stats().GetMeanValues());
  for (const auto stat : {QvConst::QvFitRootMeanSquareError, QvConst::QvFitMultipleRSquare}) {
    EXPECT_EQ(model.Stats().GetModelFitStat(stat), expected.Stats().GetModelFitStat(stat));
  }
  EXPECT_EQ(*model.Stats().GetFactorCounts().GetCountsPtr(0),
            *expected.Stats().GetFactorCounts().GetCountsPtr(0));
}

TEST_F(QvGLMRecordsTest, RecordsMayBeLongerThanTheRoles) {
  std::vector<Record> records;
  for (const Record& record : GoodRecords()) {
    records.push_back(MakeRecord({record[0], record[1], record[2], record[3], 99, 98}));
  }
  QvGLMComponent component(settings_.Get());
  EXPECT_TRUE(Build(component, records).IsOK());
}

TEST_F(QvGLMRecordsTest, ALevelThatAppearsOnlyInALaterPassDoesNotCrash) {
  /// Changes its first record's level after the first pass, against the rules.
  class ChangingIter : public VectorRecordIter {
   public:
    using VectorRecordIter::VectorRecordIter;
    const Record* Next() override {
      const Record* record = VectorRecordIter::Next();
      return Passes() > 1 && Position() == 1 ? &changed_ : record;
    }

   private:
    Record changed_ = MakeRecord({1, 1, 0, 1});
  };
  ChangingIter data(MakeRecords({{1, 0, 0, 1}, {3, 0, 1, 1}, {6, 0, 1, 2}}));
  QvGLMComponent component(settings_.Get());
  EXPECT_TRUE(component.BuildModel(data).IsOK());
  IQvRegOutputStats* stats = nullptr;
  ASSERT_TRUE(component.GetOutputStats(stats).IsOK());
  EXPECT_EQ(stats->GetParameters().size(), 3U);
}

}  // namespace
