// A record with a record count is counted as so many, and is no more than one in every sum.

#include <cstddef>
#include <map>
#include <memory>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/parallel/QvThreadRunner.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorParts.h"

namespace {

using qvtest::LogisticFit;
using qvtest::MakeRecords;
using Rows = std::vector<std::vector<double>>;

constexpr double kMissing = QvMV::gMissingValue;
constexpr double kClose = 1e-10;

// Dependent, factor, covariate, frequency weight; of distinct records the record count, too.
constexpr int kCategories = 3;
constexpr int kWeight = 3;
constexpr int kCount = 4;

/// Some of missing values and of no weight, so that all that is counted occurs.
Rows ManyRows() {
  Rows rows;
  for (int i = 0; i < 600; ++i) {
    const double dependent =
        i % 17 == 3 ? -1.0 : static_cast<double>((i * i + i / 7) % kCategories);
    const double factor = i % 29 == 5 ? 2.0 : static_cast<double>(i % 2);
    const double covariate = i % 13 == 1 ? kMissing : static_cast<double>(i * 7 % 5) - 2.0;
    const double weight = i % 31 == 2 ? 0.0 : 1.0 + i % 3;
    rows.push_back({dependent, factor, covariate, weight});
  }
  return rows;
}

/// Each row once, its weight times how often it occurs, and how often that is.
Rows DistinctOf(const Rows& rows) {
  std::map<std::vector<double>, int> found;
  for (const std::vector<double>& row : rows) ++found[row];
  Rows distinct;
  for (const auto& [row, count] : found) {
    distinct.push_back(row);
    distinct.back()[kWeight] *= count;
    distinct.back().push_back(count);
  }
  return distinct;
}

/// A factor of two categories: the code 2 is out of range.
std::unique_ptr<qvtest::LogisticSettings> SettingsOf(bool inMemory, bool hasCount) {
  auto settings = std::make_unique<qvtest::LogisticSettings>(
      0, kCategories, std::vector<qvtest::FactorRole>{{1, 2}}, std::vector<int>{2});
  settings->Effect({1}).Effect({}, {2}).FrequencyWeight(kWeight).InMemory(inMemory);
  EXPECT_TRUE(!hasCount || settings->Get().SetRecordCountVar(kCount));
  return settings;
}

void ExpectSameCounts(const QvRecordCounts& got, const QvRecordCounts& expected) {
  EXPECT_EQ(got.fRead, expected.fRead);
  EXPECT_EQ(got.fUsed, expected.fUsed);
  EXPECT_EQ(got.fMissing, expected.fMissing);
  EXPECT_EQ(got.fBadWeight, expected.fBadWeight);
  EXPECT_EQ(got.fOutOfRange, expected.fOutOfRange);
  EXPECT_EQ(got.fUsedLater, -1);
}

void ExpectSameStats(const QvLogOutputStats& got, const QvLogOutputStats& expected) {
  ExpectSameCounts(got.GetRecordCounts(), expected.GetRecordCounts());
  EXPECT_EQ(*got.GetFactorCounts().GetDependCountsPtr(),
            *expected.GetFactorCounts().GetDependCountsPtr());
  EXPECT_EQ(*got.GetFactorCounts().GetCountsPtr(0), *expected.GetFactorCounts().GetCountsPtr(0));
  EXPECT_EQ(got.GetTotalFreqWeight(), expected.GetTotalFreqWeight());
  EXPECT_NEAR(got.GetFinalLL(), expected.GetFinalLL(), -kClose * expected.GetFinalLL());
  for (std::size_t i = 0; i < expected.GetParamEstimates().size(); ++i) {
    EXPECT_NEAR(got.GetParamEstimates()[i], expected.GetParamEstimates()[i], kClose) << i;
  }
  const QvCommon::QvRectMatrix& table = *expected.GetClassificationTable();
  for (int i = 0; i < kCategories; ++i) {
    for (int j = 0; j < kCategories; ++j) {
      EXPECT_EQ(got.GetClassificationTable()->GetElem(i, j), table.GetElem(i, j)) << i << j;
    }
  }
}

class RecordCount : public ::testing::TestWithParam<bool> {};

TEST_P(RecordCount, MakesOneRecordCountAsMany) {
  const Rows rows = ManyRows();
  const Rows distinct = DistinctOf(rows);
  ASSERT_LT(distinct.size(), rows.size() / 2);
  const auto plain = SettingsOf(GetParam(), false);
  const auto counted = SettingsOf(GetParam(), true);
  const LogisticFit one(plain->Get(), MakeRecords(rows));
  const LogisticFit many(counted->Get(), MakeRecords(distinct));
  EXPECT_GT(one.Stats().GetRecordCounts().fOutOfRange, 0);
  ExpectSameStats(many.Stats(), one.Stats());
}

TEST_P(RecordCount, TravelsToThePartsOfARun) {
  const Rows rows = ManyRows();
  const auto plain = SettingsOf(GetParam(), false);
  const LogisticFit one(plain->Get(), MakeRecords(rows));
  const auto counted = SettingsOf(GetParam(), true);
  qvtest::VectorParts parts(MakeRecords(DistinctOf(rows)), 5);
  QvThreadRunner runner(parts, 2);
  counted->Get().SetPassRunner(&runner);
  const LogisticFit many(counted->Get(), {});
  ExpectSameStats(many.Stats(), one.Stats());
}

TEST_P(RecordCount, BreaksTiesOfAClassification) {
  // Both categories weigh 4; the second has more records.
  const auto fit = [](const Rows& rows, bool hasCount) {
    qvtest::LogisticSettings settings(0, 2, {}, {});
    settings.FrequencyWeight(1).InMemory(GetParam());
    EXPECT_TRUE(!hasCount || settings.Get().SetRecordCountVar(2));
    return LogisticFit(settings.Get(), MakeRecords(rows)).TableByCode(2);
  };
  const std::vector<double> expected = {0.0, 4.0, 0.0, 4.0};
  EXPECT_EQ(fit({{0, 2}, {0, 2}, {1, 1}, {1, 1}, {1, 1}, {1, 1}}, false), expected);
  EXPECT_EQ(fit({{0, 4, 2}, {1, 4, 4}}, true), expected);
  EXPECT_EQ(fit({{0, 4, 2}, {1, 4, 4}}, false), (std::vector<double>{4.0, 0.0, 4.0, 0.0}));
}

TEST_P(RecordCount, IsNoWeight) {
  const auto fit = [](double count) {
    qvtest::LogisticSettings settings(0, 2, {}, {1});
    settings.Effect({}, {1}).InMemory(GetParam());
    EXPECT_TRUE(settings.Get().SetRecordCountVar(2));
    const LogisticFit model(
        settings.Get(), MakeRecords({{0, 1, count}, {1, 1, 1}, {0, 2, 1}, {1, 2, 1}, {1, 2, 1}}));
    EXPECT_EQ(model.Stats().GetRecordCounts().fRead, 4 + static_cast<long long>(count));
    return model.AllNumbers();
  };
  EXPECT_EQ(fit(9), fit(1));
}

INSTANTIATE_TEST_SUITE_P(Handlers, RecordCount, ::testing::Bool(),
                         [](const auto& inMemory) { return inMemory.param ? "Memory" : "Walk"; });

TEST(RecordCountOfALinearModel, CountsRecordsToo) {
  qvtest::LinearSettings settings(0, {{1, 2}}, {});
  settings.Effect({1});
  ASSERT_TRUE(settings.Get().SetRecordCountVar(2));
  const qvtest::FittedModel model(
      settings.Get(), MakeRecords({{1.5, 0, 3}, {2.5, 0, 1}, {4.0, 1, 5}, {kMissing, 1, 7}}));
  const auto& stats = dynamic_cast<const QvGLMOutputStats&>(model.Stats());
  EXPECT_EQ(stats.GetRecordCounts().fRead, 16);
  EXPECT_EQ(stats.GetRecordCounts().fUsed, 9);
  EXPECT_EQ(stats.GetRecordCounts().fMissing, 7);
  EXPECT_EQ(stats.GetRecordCounts().fUsedLater, -1);
  EXPECT_EQ(stats.GetTotalFreqWeight(), 3.0);
}

}  // namespace
