#include <algorithm>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/component/QvModelMessage.h"
#include "qvreg/factory/QvRegFactory.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelReport.h"
#include "tests/qvreg/support/RandomModels.h"
#include "tests/qvreg/support/ReferenceRun.h"
#include "tests/qvreg/support/VectorParts.h"

namespace {

using qvtest::BytesOf;
using qvtest::FittedModel;
using qvtest::ModelKind;
using qvtest::RandomModel;
using qvtest::RandomRecords;
using qvtest::ReportOf;
using qvtest::ScoresOf;
using qvtest::StatsOf;
using Bytes = std::vector<unsigned char>;
using Records = std::vector<QvCommon::Record>;
using Component = std::unique_ptr<IQvRegComponent>;

/// The component of a model's bytes or contents.
template <typename Model>
Component Restored(const Model& model) {
  QvRegFactory factory;
  Component component(factory.RestoreComponent(model));
  EXPECT_EQ(factory.GetStatus().GetCode(), QvStatusCode::kOK);
  return component;
}

class RestoreComponent : public testing::TestWithParam<ModelKind> {
 protected:
  RestoreComponent() : model_(GetParam()), fitted_(model_.Get(), records_) {
    bytes_ = BytesOf(fitted_.Component());
  }

  const Records records_ = RandomRecords(400);
  RandomModel model_;
  FittedModel fitted_;
  const Records fresh_ = qvtest::FreshRecords();
  Bytes bytes_;
};

INSTANTIATE_TEST_SUITE_P(Models, RestoreComponent,
                         testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                         ModelKind::kInMemory),
                         [](const auto& tested) { return qvtest::ModelKindName(tested.param); });

TEST_P(RestoreComponent, ScoresToTheLastBit) {
  const Component restored = Restored(bytes_);
  ASSERT_NE(restored, nullptr);
  EXPECT_TRUE(restored->IsModelBuilt());
  EXPECT_EQ(restored->GetModelType(), fitted_.Component().GetModelType());
  EXPECT_EQ(ScoresOf(fresh_, *restored), ScoresOf(fresh_, fitted_.Component()));
}

TEST_P(RestoreComponent, ReportsToTheLastBit) {
  const Component restored = Restored(bytes_);
  EXPECT_EQ(ReportOf(*restored), ReportOf(fitted_.Component()));
  std::vector<double> row;
  std::vector<double> expected;
  for (const QvCommon::Record& record : fresh_) {
    EXPECT_EQ(StatsOf(*restored).ExpandRow(record, row),
              fitted_.Stats().ExpandRow(record, expected));
    EXPECT_EQ(row, expected);
  }
}

TEST_P(RestoreComponent, DisplaysItself) {
  const Component restored = Restored(bytes_);
  StatsOf(*restored);
  EXPECT_EQ(qvtest::CapturedDisplay(StatsOf(*restored)), qvtest::CapturedDisplay(fitted_.Stats()));
  // The order in hash tables and what scratch space holds may be another one; records that the
  // estimation kept in memory are gone.
  const auto labels = [](const IQvRegComponent& component) {
    const std::string all = qvtest::CapturedDisplay(component);
    return qvtest::LineLabels(all.substr(all.find("fFactorTables")));
  };
  EXPECT_EQ(labels(*restored), labels(fitted_.Component()));
  EXPECT_EQ(qvtest::CapturedDisplay(*restored).find("Swept: false"), std::string::npos);
}

TEST(RestoreComponentWithWarnings, SaysWhatTheTrainedOneSays) {
  qvtest::LogisticSettings model(qvtest::kCategory, 5, {}, {qvtest::kX});
  model.Effect({}, {qvtest::kX}).Reference(4);
  FittedModel trained(model.Get(), RandomRecords(100));
  const std::vector<QvCommon::QvStatus> warnings = trained.Component().GetWarnings();
  ASSERT_FALSE(warnings.empty()) << "there is no category 4";
  EXPECT_EQ(Restored(BytesOf(trained.Component()))->GetWarnings(), warnings);
}

TEST_P(RestoreComponent, HasTheStatusesOfItsContents) {
  const QvCommon::QvStatus warning(QvStatusCode::kReferenceNotObserved, true);
  QvModelContents contents;
  ASSERT_TRUE(QvModelMessage::Read(bytes_, contents).IsOK());
  contents.fStatus = warning;
  contents.fWarnings = {warning, warning};
  const Component restored = Restored(contents);
  ASSERT_NE(restored, nullptr);
  EXPECT_EQ(restored->GetStatus(), warning);
  EXPECT_EQ(restored->GetWarnings(), contents.fWarnings);
  Bytes bytes;
  ASSERT_TRUE(QvModelMessage::Write(contents, bytes).IsOK());
  EXPECT_EQ(BytesOf(*restored), bytes);
}

TEST_P(RestoreComponent, AnswersThatItIsBuilt) {
  const Component restored = Restored(bytes_);
  qvtest::UntouchedIter none;
  EXPECT_EQ(restored->BuildModel(none).GetCode(), QvStatusCode::kAlreadyBuilt);
  const Component another = Restored(bytes_);
  std::vector<QvRegrParameter> parameters;
  EXPECT_EQ(another->CreateParameters(none, parameters).GetCode(), QvStatusCode::kAlreadyBuilt);
}

TEST_P(RestoreComponent, WritesTheSameBytesAndScoringBytes) {
  const Component restored = Restored(bytes_);
  EXPECT_EQ(BytesOf(*restored), bytes_);
  Bytes scoring;
  Bytes expected;
  EXPECT_FALSE(restored->WriteScoring(scoring).IsError());
  EXPECT_FALSE(fitted_.Component().WriteScoring(expected).IsError());
  EXPECT_EQ(scoring, expected);
}

TEST_P(RestoreComponent, BytesDoNotDependOnResultsThatWereMade) {
  StatsOf(fitted_.Component());
  EXPECT_EQ(BytesOf(fitted_.Component()), bytes_);
}

TEST_P(RestoreComponent, RefusesDamagedBytes) {
  QvRegFactory factory;
  for (std::size_t i = 0; i < bytes_.size(); ++i) {
    Bytes damaged = bytes_;
    damaged[i] ^= 0x08U;
    ASSERT_EQ(factory.RestoreComponent(damaged), nullptr) << i;
    ASSERT_EQ(factory.GetStatus().GetCode(), QvStatusCode::kUnreadableMessage) << i;
    const Bytes cut(bytes_.begin(), bytes_.begin() + static_cast<std::ptrdiff_t>(i));
    ASSERT_EQ(factory.RestoreComponent(cut), nullptr) << i;
  }
}

/// Makes the checksum that of the rest.
void Sign(Bytes& bytes) {
  constexpr std::size_t kChecksum = 8;
  const std::size_t size = bytes.size() - kChecksum;
  const std::uint64_t digest = QvCommon::DigestOf(std::span(bytes).first(size));
  for (std::size_t k = 0; k < kChecksum; ++k) {
    bytes[size + k] = static_cast<unsigned char>(digest >> (8 * k));
  }
}

TEST_P(RestoreComponent, SurvivesContentsThatNobodyWrote) {
  constexpr std::size_t kHead = 24;
  constexpr std::size_t kChecksum = 8;
  QvRegFactory factory;
  int made = 0;
  for (std::size_t i = kHead; i < bytes_.size() - kChecksum; i += 3) {
    Bytes changed = bytes_;
    changed[i] ^= i % 2 == 0 ? 0x80U : 0x03U;
    Sign(changed);
    const Component restored(factory.RestoreComponent(changed));
    if (restored == nullptr) continue;
    ++made;
    static_cast<void>(ScoresOf(fresh_, *restored));
    ReportOf(*restored);
  }
  EXPECT_GT(made, 0);
}

TEST_P(RestoreComponent, RefusesWhatOthersWrote) {
  QvRegFactory factory;
  Bytes scoring;
  ASSERT_FALSE(fitted_.Component().WriteScoring(scoring).IsError());
  EXPECT_EQ(factory.RestoreComponent(scoring), nullptr);
  EXPECT_EQ(factory.RestoreComponent(Bytes{}), nullptr);
  EXPECT_EQ(factory.GetStatus().GetCode(), QvStatusCode::kUnreadableMessage);
}

TEST_P(RestoreComponent, NeedsAModelThatIsBuilt) {
  QvRegFactory factory;
  const Component component(factory.CreateRegAlgorithm(model_.Get()));
  Bytes bytes{1, 2, 3};
  const QvCommon::QvStatus notBuilt(QvStatusCode::kNotBuilt, false);
  EXPECT_EQ(component->WriteModel(bytes), notBuilt);
  EXPECT_EQ(component->WriteScoring(bytes), notBuilt);
  EXPECT_EQ(bytes, (Bytes{1, 2, 3}));
  // A component in error says so.
  qvtest::VectorRecordIter empty({});
  component->BuildModel(empty);
  EXPECT_EQ(component->WriteModel(bytes).GetCode(), QvStatusCode::kNoRecords);
}

TEST_P(RestoreComponent, AnAllocationThatFailsIsAStatus) {
  using qvtest::AllocationFault;
  std::set<long> found;
  for (int n = 1;; ++n) {
    QvRegFactory factory;
    const long long live = qvtest::LiveAllocations();
    bool hasStruck = false;
    bool isMade = false;
    {
      const AllocationFault fault(n, AllocationFault::Extent::kOnce);
      const Component restored(factory.RestoreComponent(bytes_));
      hasStruck = fault.HasStruck();
      isMade = restored != nullptr;
    }
    EXPECT_EQ(qvtest::LiveAllocations(), live);
    EXPECT_EQ(isMade, !factory.GetStatus().IsError());
    if (hasStruck) found.insert(factory.GetStatus().GetCode());
    if (!hasStruck) break;
  }
  found.erase(QvStatusCode::kOK);
  EXPECT_EQ(found,
            (std::set<long>{QvStatusCode::kTooManyParameters, QvStatusCode::kUnreadableMessage}));
}

class RestoreReferenceFit : public testing::TestWithParam<std::string> {
 protected:
  static void Check(IQvRegComponent& component, const Records& records) {
    const Bytes bytes = BytesOf(component);
    const Component restored = Restored(bytes);
    ASSERT_NE(restored, nullptr);
    EXPECT_EQ(ReportOf(*restored), ReportOf(component));
    EXPECT_EQ(ScoresOf(records, *restored), ScoresOf(records, component));
    EXPECT_EQ(BytesOf(*restored), bytes);
    QvModelContents contents;
    ASSERT_EQ(QvModelMessage::Read(bytes, contents).GetCode(), QvStatusCode::kOK);
    const Component made = Restored(contents);
    ASSERT_NE(made, nullptr);
    EXPECT_EQ(ReportOf(*made), ReportOf(component));
    EXPECT_EQ(ScoresOf(records, *made), ScoresOf(records, component));
    Bytes written;
    EXPECT_EQ(QvModelMessage::Write(contents, written).GetCode(), QvStatusCode::kOK);
    EXPECT_EQ(written, bytes);
  }
};

TEST_P(RestoreReferenceFit, IsTheTrainedOneToTheLastBit) {
  const qvtest::ReferenceCase reference = qvtest::LoadReferenceCase(GetParam());
  const Records& records = reference.table.records;
  if (reference.model.IsLogistic()) {
    qvtest::LogisticReferenceRun run(reference, false);
    Check(run.Fit().Component(), records);
  } else {
    const auto settings = qvtest::LinearSettingsOf(reference);
    FittedModel fitted(settings->Get(), records);
    Check(fitted.Component(), records);
  }
}

/// A model that the version in the file's name wrote, and what it was fitted to.
struct KeptModel {
  const char* file;
  const char* reference;
};

class RestoreKeptModel : public testing::TestWithParam<KeptModel> {
 protected:
  static Bytes Kept() {
    const std::string path = std::string(QVREG_TEST_DATA) + "/models/" + GetParam().file;
    std::ifstream file(path, std::ios::binary);
    EXPECT_TRUE(file) << path;
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

INSTANTIATE_TEST_SUITE_P(Versions, RestoreKeptModel,
                         testing::Values(KeptModel{"linear-0.1.model", "r/both_weights"},
                                         KeptModel{"logistic-0.1.model",
                                                   "logistic/fits/three_both_weights"}),
                         [](const auto& tested) {
                           const std::string name = tested.param.file;
                           return name.substr(0, name.find('-'));
                         });

TEST_P(RestoreKeptModel, HasTheResultsThatItWasWrittenWith) {
  const Bytes bytes = Kept();
  const Component restored = Restored(bytes);
  ASSERT_NE(restored, nullptr);
  EXPECT_EQ(BytesOf(*restored), bytes);
  QvModelContents contents;
  EXPECT_EQ(QvModelMessage::Read(bytes, contents).GetCode(), QvStatusCode::kOK);
  Bytes written;
  EXPECT_EQ(QvModelMessage::Write(contents, written).GetCode(), QvStatusCode::kOK);
  EXPECT_EQ(written, bytes);
  const qvtest::ReferenceCase reference = qvtest::LoadReferenceCase(GetParam().reference);
  const std::vector<double> estimates = StatsOf(*restored).GetParamEstimates();
  ASSERT_EQ(estimates.size(), reference.expected->estimates.size());
  for (std::size_t i = 0; i < estimates.size(); ++i) {
    EXPECT_GT(qvtest::DigitsOf(estimates[i], reference.expected->estimates[i]), 9.0) << i;
  }
}

/// Whether scores of the records agree to nine digits.
void ExpectScoresOf(IQvRegComponent& restored, IQvRegComponent& expected, const Records& records) {
  int scored = 0;
  for (const QvCommon::Record& record : records) {
    double predicted = -99.0;
    double expectedValue = -99.0;
    std::vector<double> values;
    std::vector<double> expectedValues;
    EXPECT_EQ(restored.Score(record, predicted, values).GetCode(),
              expected.Score(record, expectedValue, expectedValues).GetCode());
    EXPECT_GT(qvtest::DigitsOf(predicted, expectedValue), 9.0);
    ASSERT_EQ(values.size(), expectedValues.size());
    for (std::size_t k = 0; k < values.size(); ++k) EXPECT_NEAR(values[k], expectedValues[k], 1e-9);
    ++scored;
  }
  EXPECT_GT(scored, 0);
}

TEST_P(RestoreKeptModel, ScoresAsTheModelOfTheSameData) {
  const Component restored = Restored(Kept());
  ASSERT_NE(restored, nullptr);
  const qvtest::ReferenceCase reference = qvtest::LoadReferenceCase(GetParam().reference);
  const Records& records = reference.table.records;
  if (reference.model.IsLogistic()) {
    qvtest::LogisticReferenceRun run(reference, false);
    ExpectScoresOf(*restored, run.Fit().Component(), records);
  } else {
    const auto settings = qvtest::LinearSettingsOf(reference);
    FittedModel fitted(settings->Get(), records);
    ExpectScoresOf(*restored, fitted.Component(), records);
  }
}

/// Whether all that two models report agrees to nine digits.
void ExpectReportOf(IQvRegComponent& restored, IQvRegComponent& expected) {
  const std::vector<std::uint64_t> numbers = ReportOf(restored);
  const std::vector<std::uint64_t> others = ReportOf(expected);
  ASSERT_EQ(numbers.size(), others.size());
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    const auto number = std::bit_cast<double>(numbers[i]);
    const auto other = std::bit_cast<double>(others[i]);
    EXPECT_NEAR(number, other, 1e-9 * std::max(1.0, std::abs(other))) << i;
  }
}

TEST_P(RestoreKeptModel, ReportsAsTheModelOfTheSameData) {
  const Component restored = Restored(Kept());
  ASSERT_NE(restored, nullptr);
  const qvtest::ReferenceCase reference = qvtest::LoadReferenceCase(GetParam().reference);
  if (reference.model.IsLogistic()) {
    qvtest::LogisticReferenceRun run(reference, false);
    ExpectReportOf(*restored, run.Fit().Component());
  } else {
    const auto settings = qvtest::LinearSettingsOf(reference);
    FittedModel fitted(settings->Get(), reference.table.records);
    ExpectReportOf(*restored, fitted.Component());
  }
}

std::vector<std::string> AllCases() {
  std::vector<std::string> names;
  for (const char* folder : {"r", "linear", "logistic/fits", "logistic/extremes/maxima",
                             "logistic/extremes/separated"}) {
    for (std::string& name : qvtest::ReferenceNames(folder)) names.push_back(std::move(name));
  }
  return names;
}

INSTANTIATE_TEST_SUITE_P(Cases, RestoreReferenceFit, testing::ValuesIn(AllCases()),
                         [](const auto& tested) {
                           std::string name = tested.param;
                           std::replace(name.begin(), name.end(), '/', '_');
                           return name;
                         });

}  // namespace
