#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/support/VectorRecordIter.h"
#include "tests/support/TempFolder.h"

namespace qvtest {
namespace {

using Rows = std::vector<std::vector<double>>;

/// All records of a pass, of `width` values.
Rows ReadAll(const CSource& source, std::size_t width) {
  Rows rows;
  for (;;) {
    std::vector<double> record(width);
    std::int32_t hasRecord = -1;
    Require([&](qvreg_error* e) {
      return qvreg_source_next(source.get(), record.data(), width, &hasRecord, e);
    });
    if (hasRecord == 0) return rows;
    rows.push_back(record);
  }
}

CRecordFeed ThreeRecords() { return CRecordFeed(MakeRecords({{1, 2}, {3, 4}, {5, 6}})); }

TEST(CSource, ReadsCallbacksPassByPass) {
  CRecordFeed feed = ThreeRecords();
  const CSource source = feed.Source();
  EXPECT_EQ(feed.Passes(), 0);
  const Rows expected{{1, 2}, {3, 4}, {5, 6}};
  EXPECT_EQ(ReadAll(source, 2), expected);
  EXPECT_EQ(feed.Passes(), 1);
  // The pass is over, and stays so.
  EXPECT_EQ(ReadAll(source, 2), Rows{});
  EXPECT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_OK);
  EXPECT_EQ(ReadAll(source, 2), expected);
  EXPECT_EQ(feed.Passes(), 2);
}

TEST(CSource, SaysWhichRecordFailed) {
  for (const std::size_t bad : {std::size_t{0}, std::size_t{1}}) {
    CRecordFeed feed = ThreeRecords();
    feed.onNext = [bad](int /*pass*/, std::size_t position) {
      return position == bad ? -7 : QVREG_NEXT_RECORD;
    };
    const CSource source = feed.Source();
    double record[2] = {};
    std::int32_t hasRecord = -1;
    for (std::size_t i = 0; i < bad; ++i) {
      ASSERT_EQ(qvreg_source_next(source.get(), record, 2, &hasRecord, nullptr), QVREG_OK);
      ASSERT_EQ(hasRecord, 1);
    }
    hasRecord = -1;
    qvreg_error error = QVREG_ERROR_INIT;
    EXPECT_EQ(qvreg_source_next(source.get(), record, 2, &hasRecord, &error),
              QVREG_UNREADABLE_RECORD);
    EXPECT_EQ(hasRecord, -1);
    EXPECT_EQ(error.discrete[0], static_cast<std::int64_t>(bad) + 1);
    EXPECT_EQ(error.discrete[1], 1);
    EXPECT_EQ(error.discrete[2], -7);
    EXPECT_EQ(error.message, "The record source failed at record " + std::to_string(bad + 1) +
                                 " of pass 1: its next callback returned -7; check the host's "
                                 "data.");
  }
}

TEST(CSource, SaysThatItCannotBeReadAgain) {
  CRecordFeed feed = ThreeRecords();
  feed.onRewind = [](int pass) { return pass == 2 ? 9 : 0; };
  const CSource source = feed.Source();
  EXPECT_EQ(ReadAll(source, 2).size(), 3U);
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_source_rewind(source.get(), &error), QVREG_NO_FURTHER_PASS);
  EXPECT_EQ(error.discrete[2], 9);
  EXPECT_NE(std::string(error.message).find("its rewind callback returned 9"), std::string::npos);
  EXPECT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_OK);
  EXPECT_EQ(ReadAll(source, 2).size(), 3U);
}

TEST(CSource, WithoutARewindIsReadOnce) {
  CRecordFeed feed = ThreeRecords();
  qvreg_record_callbacks callbacks = feed.Callbacks();
  callbacks.rewind = nullptr;
  const CSource source = Made<CSource>([&](qvreg_source** made, qvreg_error* e) {
    return qvreg_source_create_callbacks(&callbacks, made, e);
  });
  EXPECT_EQ(ReadAll(source, 2).size(), 3U);
  EXPECT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_NO_FURTHER_PASS);
}

TEST(CSource, LetsNoExceptionOut) {
  CRecordFeed feed = ThreeRecords();
  feed.onNext = [](int /*pass*/, std::size_t /*position*/) -> std::int32_t {
    throw std::runtime_error("the cable was pulled");
  };
  const CSource source = feed.Source();
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_source_rewind(source.get(), &error), QVREG_CALLBACK_THREW);
  EXPECT_STREQ(error.message,
               "The next callback threw an exception, which it must not: the cable was pulled");
  feed.onRewind = [](int /*pass*/) -> std::int32_t { throw 5; };
  EXPECT_EQ(qvreg_source_rewind(source.get(), &error), QVREG_CALLBACK_THREW);
  EXPECT_STREQ(error.message, "The rewind callback threw an exception, which it must not.");
}

TEST(CSource, ReadsColumnsWithTheirStrides) {
  const double values[] = {1, 10, 2, 20, 3, 30};
  const double constant = 7.0;
  const qvreg_column columns[] = {{values, 2}, {values + 5, -2}, {&constant, 0}};
  const CSource source = Made<CSource>([&](qvreg_source** made, qvreg_error* e) {
    return qvreg_source_create_columns(columns, 3, 3, made, e);
  });
  const Rows expected{{1, 30, 7}, {2, 20, 7}, {3, 10, 7}};
  EXPECT_EQ(ReadAll(source, 3), expected);
  EXPECT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_OK);
  EXPECT_EQ(ReadAll(source, 3), expected);
}

TEST(CSource, MayHaveNoRecords) {
  const qvreg_column column = {nullptr, 1};
  const CSource source = Made<CSource>([&](qvreg_source** made, qvreg_error* e) {
    return qvreg_source_create_columns(&column, 1, 0, made, e);
  });
  EXPECT_EQ(ReadAll(source, 1), Rows{});
}

TEST(CSource, RefusesRecordsOfNoSizeOrTooMuch) {
  CRecordFeed feed = ThreeRecords();
  const qvreg_column column = {nullptr, 1};
  for (const std::size_t size : {std::size_t{0}, std::size_t{QVREG_MAX_RECORD_SIZE} + 1,
                                 std::numeric_limits<std::size_t>::max()}) {
    qvreg_record_callbacks callbacks = feed.Callbacks();
    callbacks.record_size = size;
    qvreg_source* source = nullptr;
    EXPECT_EQ(qvreg_source_create_callbacks(&callbacks, &source, nullptr), QVREG_BAD_ARGUMENT);
    EXPECT_EQ(qvreg_source_create_columns(&column, size, 0, &source, nullptr), QVREG_BAD_ARGUMENT);
    EXPECT_EQ(qvreg_source_open_file("any", size, &source, nullptr), QVREG_BAD_ARGUMENT);
    EXPECT_EQ(source, nullptr);
  }
}

TEST(CSource, RefusesAShortBuffer) {
  CRecordFeed feed = ThreeRecords();
  const CSource source = feed.Source();
  double record[2] = {};
  std::int32_t hasRecord = -1;
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_source_next(source.get(), record, 1, &hasRecord, &error), QVREG_BUFFER_TOO_SMALL);
  EXPECT_EQ(error.discrete[0], 2);
  EXPECT_EQ(feed.Passes(), 0);
}

/// A file with bytes that text files treat in a special way.
class SourceFile : public testing::Test {
 protected:
  void Write(std::size_t bytes) {
    // The bytes 0x1A, 0x0D 0x0A and zeros.
    const std::string all("\x1a\r\n\x1a\r\n\x1a\r\0\0\n\x1a\r\n\0\0\r\n\x1a\x1a\0\0\r\n", 24);
    std::ofstream file(path_, std::ios::binary);
    file.write(all.data(), static_cast<std::streamsize>(bytes));
    ASSERT_TRUE(file.flush());
  }
  [[nodiscard]] std::string Utf8() const {
    const std::u8string path = path_.u8string();
    return {path.begin(), path.end()};
  }

  TempFolder folder_;
  std::filesystem::path path_ = folder_.Path() / u8"qvreg source ünïcödé \u6e2c.bin";
};

TEST_F(SourceFile, IsReadToItsLastByte) {
  Write(24);
  const CSource source = Made<CSource>([&](qvreg_source** made, qvreg_error* e) {
    return qvreg_source_open_file(Utf8().c_str(), 1, made, e);
  });
  const Rows rows = ReadAll(source, 1);
  EXPECT_EQ(rows.size(), 3U);
  EXPECT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_OK);
  EXPECT_EQ(ReadAll(source, 1), rows);
}

TEST_F(SourceFile, ThatEndsWithinARecordIsAnError) {
  Write(17);
  const CSource source = Made<CSource>([&](qvreg_source** made, qvreg_error* e) {
    return qvreg_source_open_file(Utf8().c_str(), 1, made, e);
  });
  double record = 0.0;
  std::int32_t hasRecord = 0;
  ASSERT_EQ(qvreg_source_next(source.get(), &record, 1, &hasRecord, nullptr), QVREG_OK);
  ASSERT_EQ(qvreg_source_next(source.get(), &record, 1, &hasRecord, nullptr), QVREG_OK);
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_source_next(source.get(), &record, 1, &hasRecord, &error),
            QVREG_UNREADABLE_RECORD);
  EXPECT_EQ(error.message, "The record file '" + Utf8() +
                               "' ends within record 3 of pass 1, or could not be read there; "
                               "check that each record has 1 values and that the file is whole.");
}

TEST_F(SourceFile, ThatIsNotThereIsAnError) {
  qvreg_source* source = nullptr;
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_source_open_file(Utf8().c_str(), 1, &source, &error), QVREG_CANNOT_OPEN);
  EXPECT_NE(std::string(error.message).find(Utf8()), std::string::npos);
  EXPECT_EQ(source, nullptr);
}

TEST_F(SourceFile, ThatIsAFolderIsAnError) {
  const std::u8string folder = folder_.Path().u8string();
  const std::string path(folder.begin(), folder.end());
  qvreg_source* source = nullptr;
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_source_open_file(path.c_str(), 1, &source, &error), QVREG_CANNOT_OPEN);
  EXPECT_NE(std::string(error.message).find("it is a folder"), std::string::npos);
}

}  // namespace
}  // namespace qvtest
