// Sources that the library reads in blocks: columns and record files. What a host sees of them is
// what it sees of callbacks, which give one record at a time.
#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/c/CPasses.h"
#include "tests/qvreg/c/CTyped.h"
#include "tests/qvreg/c/ExpectSameResults.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/RandomModels.h"

namespace qvtest {
namespace {

using Records = std::vector<QvCommon::Record>;
using Rows = std::vector<std::vector<double>>;

constexpr std::size_t kWidth = 8;
/// Records of that width in a block of a file.
constexpr std::size_t kAtOnce = (std::size_t{1} << 17) / (kWidth * sizeof(double));

/// Records of a test in an array of rows with room between them, as one source of rows and, with
/// the order of the rows reversed in memory, as another one.
class CRows {
 public:
  explicit CRows(const Records& records) : nRecords_(records.size()) {
    for (const QvCommon::Record& record : records) {
      values_.insert(values_.end(), record.GetAll(), record.GetAll() + kWidth);
      values_.resize(values_.size() + kRoom, -77.0);
    }
    for (std::size_t i = nRecords_; i-- > 0;) {
      const auto row = values_.begin() + static_cast<std::ptrdiff_t>(i * (kWidth + kRoom));
      reversed_.insert(reversed_.end(), row, row + kWidth);
    }
  }
  [[nodiscard]] CSource Source() const { return Of(values_.data(), kWidth + kRoom); }
  [[nodiscard]] CSource ReversedSource() const {
    return Of(&reversed_[(nRecords_ - 1) * kWidth], -static_cast<std::ptrdiff_t>(kWidth));
  }

 private:
  static constexpr std::size_t kRoom = 3;

  [[nodiscard]] CSource Of(const double* first, std::ptrdiff_t stride) const {
    std::vector<qvreg_column> columns;
    for (std::size_t j = 0; j < kWidth; ++j) columns.push_back({first + j, stride});
    return Made<CSource>([&](qvreg_source** made, qvreg_error* e) {
      return qvreg_source_create_columns(columns.data(), columns.size(), nRecords_, made, e);
    });
  }

  std::size_t nRecords_;
  std::vector<double> values_;
  std::vector<double> reversed_;
};

/// The same records from every source that is read in blocks.
class CBlockSources {
 public:
  explicit CBlockSources(const Records& records)
      : columns_(records), rows_(records), file_(records) {}

  /// Calls `check` with a source of each kind.
  template <typename Check>
  void ForEach(Check&& check) const {
    const std::vector<std::pair<std::string, CSource (CBlockSources::*)() const>> kinds{
        {"columns", &CBlockSources::Columns},
        {"rows", &CBlockSources::InRows},
        {"rows backwards", &CBlockSources::Backwards},
        {"file", &CBlockSources::File}};
    for (const auto& [name, make] : kinds) {
      SCOPED_TRACE(name);
      check((this->*make)());
    }
  }

 private:
  [[nodiscard]] CSource Columns() const { return columns_.Source(); }
  [[nodiscard]] CSource InRows() const { return rows_.Source(); }
  [[nodiscard]] CSource Backwards() const { return rows_.ReversedSource(); }
  [[nodiscard]] CSource File() const { return file_.Source(kWidth); }

  CColumns columns_;
  CRows rows_;
  CRecordFile file_;
};

Rows RowsOf(const Records& records) {
  Rows rows;
  for (const QvCommon::Record& record : records) {
    rows.emplace_back(record.GetAll(), record.GetAll() + record.Size());
  }
  return rows;
}

TEST(CSourceBlocks, GiveEveryRecordOnceHoweverManyThereAre) {
  for (const std::size_t count : {std::size_t{1}, std::size_t{2}, kAtOnce - 1, kAtOnce, kAtOnce + 1,
                                  2 * kAtOnce - 1, 2 * kAtOnce, 3 * kAtOnce}) {
    SCOPED_TRACE(count);
    const Records records = RandomRecords(static_cast<int>(count));
    const CBlockSources sources(records);
    sources.ForEach([&](const CSource& source) {
      for (int pass = 0; pass < 2; ++pass) {
        EXPECT_EQ(Reading(source, kWidth).rows, RowsOf(records));
        EXPECT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_OK);
      }
    });
  }
}

TEST(CSourceBlocks, MayBeNarrowerThanARecord) {
  constexpr std::size_t kWide = 40000;
  Records records;
  for (int i = 0; i < 3; ++i) {
    records.emplace_back(static_cast<int>(kWide));
    records.back()[0] = i;
    records.back()[static_cast<int>(kWide) - 1] = -i;
  }
  EXPECT_EQ(Reading(CColumns(records).Source(), kWide).rows, RowsOf(records));
  EXPECT_EQ(Reading(CRecordFile(records).Source(kWide), kWide).rows, RowsOf(records));
}

TEST(CSourceBlocks, OfAnEmptyFileAreNone) {
  const CRecordFile file({});
  const CSource source = file.Source(kWidth);
  const Reading reading(source, kWidth);
  EXPECT_EQ(reading.rows, Rows{});
  EXPECT_EQ(reading.error.code, QVREG_OK);
}

TEST(CSourceBlocks, OfAFileThatIsCutFailAtItsRecord) {
  for (const std::size_t count :
       {std::size_t{0}, std::size_t{1}, kAtOnce - 1, kAtOnce, kAtOnce + 1, 2 * kAtOnce - 1}) {
    SCOPED_TRACE(count);
    const Records records = RandomRecords(static_cast<int>(count));
    const CRecordFile file(records);
    file.Write(records, 9);
    const CSource source = file.Source(kWidth);
    const Reading reading(source, kWidth);
    EXPECT_EQ(reading.rows, RowsOf(records));
    EXPECT_EQ(reading.error.code, QVREG_UNREADABLE_RECORD);
    EXPECT_EQ(reading.error.discrete[0], static_cast<std::int64_t>(count) + 1);
    EXPECT_EQ(Reading(source, kWidth).error.code, QVREG_UNREADABLE_RECORD) << "and stays there";
    file.Write(records);
    Require([&](qvreg_error* e) { return qvreg_source_rewind(source.get(), e); });
    EXPECT_EQ(Reading(source, kWidth).error.code, QVREG_OK) << "until it is whole";
  }
}

class CSourceBlocksFit : public testing::TestWithParam<ModelKind> {
 protected:
  [[nodiscard]] static CSettings Settings() { return CSettingsOf(RandomModel(GetParam()).Get()); }
  [[nodiscard]] static qvreg_error BuildError(const CSource& source) {
    const CComponent component = CComponentOf(Settings());
    return ErrorOf(
        [&](qvreg_error* e) { return qvreg_component_build(component.get(), source.get(), e); });
  }
};

INSTANTIATE_TEST_SUITE_P(CInterface, CSourceBlocksFit,
                         testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                         ModelKind::kInMemory),
                         [](const auto& tested) { return ModelKindName(tested.param); });

TEST_P(CSourceBlocksFit, GiveTheBitsOfSingleRecords) {
  const Records records = RandomRecords(5000);
  RandomModel model(GetParam());
  FittedModel expected(model.Get(), records);
  const CBlockSources sources(records);
  sources.ForEach([&](const CSource& source) {
    ExpectSameResults(CFitOf(Settings(), source).results, expected.Stats());
  });
}

TEST_P(CSourceBlocksFit, NameTheRecordThatEndsARun) {
  for (const std::size_t bad :
       {std::size_t{0}, std::size_t{5}, kAtOnce - 1, kAtOnce, kAtOnce + 900, std::size_t{4999}}) {
    SCOPED_TRACE(bad);
    Records records = RandomRecords(5000);
    records[bad][kF] = 9.0;
    CRecordFeed feed(records);
    const CSource singly = feed.Source();
    const qvreg_error expected = BuildError(singly);
    EXPECT_EQ(expected.code, QVREG_BAD_CATEGORY);
    EXPECT_EQ(expected.discrete[0], static_cast<std::int64_t>(bad) + 1);
    const Rows rest = Reading(singly, kWidth).rows;
    const CBlockSources sources(records);
    sources.ForEach([&](const CSource& source) {
      const qvreg_error error = BuildError(source);
      EXPECT_EQ(error.code, expected.code);
      EXPECT_STREQ(error.message, expected.message);
      EXPECT_EQ(error.discrete[0], expected.discrete[0]);
      EXPECT_EQ(Reading(source, kWidth).rows, rest) << "it stands behind that record";
    });
  }
}

TEST_P(CSourceBlocksFit, OfAFileThatIsCutEndARunAtItsRecord) {
  const Records records = RandomRecords(static_cast<int>(kAtOnce) + 3);
  const CRecordFile file(records);
  file.Write(records, 1);
  const qvreg_error error = BuildError(file.Source(kWidth));
  EXPECT_EQ(error.code, QVREG_UNREADABLE_RECORD);
  EXPECT_EQ(error.discrete[0], static_cast<std::int64_t>(kAtOnce) + 4);
  EXPECT_EQ(error.discrete[1], 1);
}

TEST_P(CSourceBlocksFit, AreReadByAWorker) {
  const Records records = RandomRecords(3000);
  const std::vector<unsigned char> request = [&] {
    std::vector<unsigned char> first;
    const CSettings settings = Settings();
    const qvreg_runner_callback keep = [](void* user, const qvreg_bytes* asked, qvreg_bytes**) {
      *static_cast<std::vector<unsigned char>*>(user) = DataOf(asked);
      return 1;
    };
    Require(
        [&](qvreg_error* e) { return qvreg_settings_set_runner(settings.get(), keep, &first, e); });
    const CComponent component = CComponentOf(settings);
    EXPECT_NE(qvreg_component_build(component.get(), nullptr, nullptr), QVREG_OK);
    return first;
  }();
  const auto answer = [&](const CSource& source) {
    const CWorker worker = Made<CWorker>([](auto... rest) { return qvreg_worker_create(rest...); });
    const CBytes asked = CBytesOf(request);
    const CBytes made = Made<CBytes>([&](qvreg_bytes** bytes, qvreg_error* e) {
      return qvreg_worker_run(worker.get(), asked.get(), 0, source.get(), bytes, e);
    });
    return DataOf(made.get());
  };
  CRecordFeed feed(records);
  const std::vector<unsigned char> expected = answer(feed.Source());
  const CBlockSources sources(records);
  sources.ForEach([&](const CSource& source) { EXPECT_EQ(answer(source), expected); });
}

}  // namespace
}  // namespace qvtest
