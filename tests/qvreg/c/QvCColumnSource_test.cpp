// Fits over typed columns and over blocks of them: those of the same records one by one.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CTyped.h"
#include "tests/qvreg/c/ExpectSameResults.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/RandomModels.h"

namespace qvtest {
namespace {

using Records = std::vector<QvCommon::Record>;

constexpr std::size_t kWidth = 8;

class CColumnSource : public testing::TestWithParam<ModelKind> {
 protected:
  [[nodiscard]] static CSettings Settings() { return CSettingsOf(RandomModel(GetParam()).Get()); }
  [[nodiscard]] static qvreg_error BuildError(const CSettings& settings, const CSource& source) {
    const CComponent component = CComponentOf(settings);
    return ErrorOf(
        [&](qvreg_error* e) { return qvreg_component_build(component.get(), source.get(), e); });
  }

  const Records records_ = RandomRecords(5000);
  const CTypedRecords typed_{records_};
};

INSTANTIATE_TEST_SUITE_P(CInterface, CColumnSource,
                         testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                         ModelKind::kInMemory),
                         [](const auto& tested) { return ModelKindName(tested.param); });

TEST_P(CColumnSource, GivesTheBitsOfSingleRecords) {
  RandomModel model(GetParam());
  FittedModel expected(model.Get(), records_);
  ExpectSameResults(CFitOf(Settings(), typed_.Source()).results, expected.Stats());
}

TEST_P(CColumnSource, ServesThreads) {
  const CSettings settings = Settings();
  const CColumns columns(records_);
  const auto estimates = [&](const CSource& source, int threads) {
    Require([&](qvreg_error* e) {
      return qvreg_settings_set_threads(settings.get(), source.get(), threads, 0, e);
    });
    const CFit fit = CFitOf(settings, CSource());
    return ListOf<double>(
        [&](auto... rest) { return qvreg_results_get_estimates(fit.results.get(), rest...); });
  };
  const std::vector<double> expected = estimates(columns.Source(), 1);
  for (const int threads : {1, 3}) EXPECT_EQ(estimates(typed_.Source(), threads), expected);
}

TEST_P(CColumnSource, NamesARefusedValueOnThreadsToo) {
  const CSettings settings = Settings();
  for (const std::size_t bad : {0U, 1U, 4567U, 4999U}) {
    SCOPED_TRACE(bad);
    std::vector<double> x;
    for (const QvCommon::Record& record : records_) x.push_back(record[kX]);
    x[bad] = std::numeric_limits<double>::infinity();
    std::vector<qvreg_typed_column> columns = typed_.Columns();
    columns[kX].values = x.data();
    columns[kX].infinite = QVREG_REFUSE;
    columns[kX].name = "x";
    const CSource source = SourceOf(columns, x.size());
    qvreg_settings_set_runner(settings.get(), nullptr, nullptr, nullptr);
    const qvreg_error expected = BuildError(settings, source);
    EXPECT_EQ(expected.code, QVREG_REFUSED_VALUE);
    EXPECT_EQ(expected.discrete[0], static_cast<std::int64_t>(bad) + 1);
    EXPECT_EQ(expected.discrete[1], 1);
    EXPECT_EQ(expected.discrete[2], static_cast<std::int64_t>(kX));
    Require([&](qvreg_error* e) {
      return qvreg_settings_set_threads(settings.get(), source.get(), 3, 0, e);
    });
    const qvreg_error error = BuildError(settings, CSource());
    EXPECT_EQ(error.code, expected.code);
    EXPECT_STREQ(error.message, expected.message);
    for (int i = 0; i < QVREG_MAX_DATA; ++i) EXPECT_EQ(error.discrete[i], expected.discrete[i]);
  }
}

TEST_P(CColumnSource, OfBlocksGivesTheBitsOfSingleRecords) {
  RandomModel model(GetParam());
  FittedModel expected(model.Get(), records_);
  for (const std::vector<std::size_t>& sizes :
       {std::vector<std::size_t>{1}, {5000}, {9000}, {100, 0, 0, 7}, {256}, {257, 1}, {0, 4096}}) {
    SCOPED_TRACE(sizes.front());
    CBlockFeed feed(typed_, sizes);
    ExpectSameResults(CFitOf(Settings(), feed.Source()).results, expected.Stats());
    EXPECT_GT(feed.Passes(), 1);
  }
}

TEST_P(CColumnSource, OfBlocksCannotBeSharedByThreads) {
  CBlockFeed feed(typed_, {100});
  const qvreg_error error = ErrorOf([&](qvreg_error* e) {
    return qvreg_settings_set_threads(Settings().get(), feed.Source().get(), 2, 0, e);
  });
  EXPECT_EQ(error.code, QVREG_BAD_ARGUMENT);
}

TEST_P(CColumnSource, OfBlocksThatFailsEndsTheRunThere) {
  CBlockFeed feed(typed_, {1000});
  feed.onNext = [](int pass, std::size_t block, qvreg_block&) {
    return pass == 2 && block == 3 ? -5 : QVREG_NEXT_RECORD;
  };
  const qvreg_error error = BuildError(Settings(), feed.Source());
  EXPECT_EQ(error.code, QVREG_UNREADABLE_RECORD);
  EXPECT_EQ(error.discrete[0], 3001);
  EXPECT_EQ(error.discrete[1], 2);
  EXPECT_EQ(error.discrete[2], -5);
}

TEST_P(CColumnSource, OfBlocksThatThrowsEndsTheRun) {
  CBlockFeed feed(typed_, {1000});
  feed.onNext = [](int, std::size_t block, qvreg_block&) -> std::int32_t {
    if (block == 2) throw std::runtime_error("no more");
    return QVREG_NEXT_RECORD;
  };
  const qvreg_error error = BuildError(Settings(), feed.Source());
  EXPECT_EQ(error.code, QVREG_CALLBACK_THREW);
  EXPECT_EQ(error.discrete[0], 2001);
}

TEST_P(CColumnSource, OfBlocksChecksTheirColumns) {
  CBlockFeed feed(typed_, {1000});
  std::vector<qvreg_typed_column> broken = typed_.Columns();
  broken[2].type = 99;
  feed.onNext = [&](int, std::size_t block, qvreg_block& to) {
    if (block == 1) to.columns = broken.data();
    if (block == 2) to.columns = nullptr;
    return QVREG_NEXT_RECORD;
  };
  const CSource source = feed.Source();
  const qvreg_error error = BuildError(Settings(), source);
  EXPECT_EQ(error.code, QVREG_BAD_ARGUMENT);
  EXPECT_EQ(error.discrete[0], 1001);
  EXPECT_STREQ(error.message,
               "In the block from record 1001 of pass 1 on: Column 2 has the type 99; pass one of "
               "qvreg_value_type.");
  broken[2].type = typed_.Columns()[2].type;
  EXPECT_EQ(BuildError(Settings(), source).code, QVREG_NULL_POINTER);
}

TEST_P(CColumnSource, OfBlocksNamesARefusedValue) {
  CBlockFeed feed(typed_, {1000});
  std::vector<double> x(1000, std::numeric_limits<double>::infinity());
  std::fill_n(x.begin(), 500, 1.0);
  std::vector<qvreg_typed_column> columns;
  feed.onNext = [&](int, std::size_t block, qvreg_block& to) {
    columns.assign(to.columns, to.columns + kWidth);
    columns[kX].infinite = QVREG_REFUSE;
    if (block == 4) columns[kX].values = x.data();
    to.columns = columns.data();
    return QVREG_NEXT_RECORD;
  };
  const qvreg_error error = BuildError(Settings(), feed.Source());
  EXPECT_EQ(error.code, QVREG_REFUSED_VALUE);
  EXPECT_EQ(error.discrete[0], 4501);
  EXPECT_EQ(error.discrete[2], static_cast<std::int64_t>(kX));
}

TEST(CBlockSource, WithoutARewindIsReadOnce) {
  const Records records = RandomRecords(50);
  const CTypedRecords typed(records);
  CBlockFeed feed(typed, {20});
  qvreg_block_callbacks callbacks = feed.Callbacks();
  callbacks.rewind = nullptr;
  const CSource source = Made<CSource>([&](qvreg_source** made, qvreg_error* e) {
    return qvreg_source_create_blocks(&callbacks, made, e);
  });
  const Reading reading(source, kWidth);
  ASSERT_EQ(reading.rows.size(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i) EXPECT_EQ(reading.rows[i][kF], records[i][kF]);
  EXPECT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_NO_FURTHER_PASS);
}

TEST(CBlockSource, StartsAnewWithinABlock) {
  const Records records = RandomRecords(3000);
  const CTypedRecords typed(records);
  CBlockFeed feed(typed, {2000});
  const CSource source = feed.Source();
  std::vector<double> record(kWidth);
  std::int32_t hasRecord = 0;
  for (int i = 0; i < 3; ++i) {
    Require([&](qvreg_error* e) {
      return qvreg_source_next(source.get(), record.data(), kWidth, &hasRecord, e);
    });
  }
  Require([&](qvreg_error* e) { return qvreg_source_rewind(source.get(), e); });
  const Reading reading(source, kWidth);
  ASSERT_EQ(reading.rows.size(), records.size());
  for (std::size_t i = 0; i < records.size(); ++i) EXPECT_EQ(reading.rows[i][kF], records[i][kF]);
}

TEST(CBlockSource, OfNoRecordsEndsAtOnce) {
  const Records records = RandomRecords(1);
  const CTypedRecords typed(records);
  CBlockFeed feed(typed, {0});
  feed.onNext = [](int, std::size_t block, qvreg_block& to) {
    to.columns = nullptr;
    return block < 3 ? QVREG_NEXT_RECORD : QVREG_NEXT_END;
  };
  const Reading reading(feed.Source(), kWidth);
  EXPECT_EQ(reading.rows.size(), 0U);
  EXPECT_EQ(reading.error.code, QVREG_OK);
}

}  // namespace
}  // namespace qvtest
