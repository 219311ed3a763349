#include <cmath>
#include <filesystem>
#include <fstream>
#include <limits>
#include <stdexcept>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/support/VectorRecordIter.h"
#include "tests/support/TempFolder.h"

#if !defined(_WIN32)
#include <sys/stat.h>
#include <unistd.h>
#endif

namespace qvtest {
namespace {

/// What a call to read the next of a source's records of two values comes to.
struct Reading {
  explicit Reading(const CSource& source) {
    code = qvreg_source_next(source.get(), record, 2, &hasRecord, &error);
  }

  std::int32_t code = -1;
  std::int32_t hasRecord = -1;
  double record[2] = {-1, -1};
  qvreg_error error = QVREG_ERROR_INIT;
};

CRecordFeed ThreeRecords() { return CRecordFeed(MakeRecords({{1, 2}, {3, 4}, {5, 6}})); }

TEST(CSourceFaults, AnExceptionComesWithItsOwnRecordAndStays) {
  CRecordFeed feed = ThreeRecords();
  feed.onNext = [](int /*pass*/, std::size_t position) -> std::int32_t {
    if (position == 2) throw std::runtime_error("boom");
    return QVREG_NEXT_RECORD;
  };
  const CSource source = feed.Source();
  for (const double first : {1.0, 3.0}) {
    const Reading read(source);
    ASSERT_EQ(read.code, QVREG_OK);
    EXPECT_EQ(read.hasRecord, 1);
    EXPECT_EQ(read.record[0], first);
  }
  for (int again = 0; again < 3; ++again) {
    const Reading read(source);
    EXPECT_EQ(read.code, QVREG_CALLBACK_THREW);
    EXPECT_EQ(read.hasRecord, -1);
    EXPECT_EQ(read.record[0], -1.0);
    EXPECT_EQ(read.error.discrete[0], 3);
    EXPECT_EQ(read.error.discrete[1], 1);
    EXPECT_STREQ(read.error.message,
                 "The next callback threw an exception, which it must not: boom");
  }
}

TEST(CSourceFaults, AnExceptionEndsARunOfEitherModel) {
  for (const bool isLogistic : {false, true}) {
    const CEveryKind of(isLogistic);
    for (const std::size_t bad : {std::size_t{0}, std::size_t{5}}) {
      CRecordFeed feed(of.records);
      feed.onNext = [bad](int /*pass*/, std::size_t position) -> std::int32_t {
        if (position == bad) throw 5;
        return QVREG_NEXT_RECORD;
      };
      const CSource source = feed.Source();
      const CComponent component = CComponentOf(of.settings);
      const qvreg_error error = ErrorOf(
          [&](qvreg_error* e) { return qvreg_component_build(component.get(), source.get(), e); });
      EXPECT_EQ(error.code, QVREG_CALLBACK_THREW);
      EXPECT_EQ(error.discrete[0], static_cast<std::int64_t>(bad) + 1);
      auto status = Sized<qvreg_error>();
      Require(
          [&](qvreg_error* e) { return qvreg_component_get_status(component.get(), &status, e); });
      EXPECT_EQ(status.code, QVREG_CALLBACK_THREW);
    }
  }
}

TEST(CSourceFaults, ANaNOrInfinityMakesItsCovariateRedundant) {
  for (const bool isLogistic : {false, true}) {
    const CEveryKind of(isLogistic);
    for (const double value : {std::nan(""), std::numeric_limits<double>::infinity()}) {
      std::vector<QvCommon::Record> records = of.records;
      records[4][CEveryKind::kX] = value;
      CRecordFeed feed(records);
      const CFit fit = CFitOf(of.settings, feed.Source());
      auto summary = Sized<qvreg_summary>();
      Require([&](qvreg_error* e) {
        return qvreg_results_get_summary(fit.results.get(), &summary, e);
      });
      EXPECT_EQ(summary.n_parameters, 5);  // an intercept, three levels, the covariate
      EXPECT_EQ(summary.n_kept, 3);
      std::vector<double> means(isLogistic ? 1 : 2);
      Require([&](qvreg_error* e) {
        return qvreg_results_get_means(fit.results.get(), means.data(), means.size(), nullptr, e);
      });
      EXPECT_EQ(means[0], QVREG_MISSING_VALUE);
    }
  }
}

TEST(CSourceFaults, ANaNIsNotMissing) {
  const CEveryKind of(false);
  for (const double value : {std::nan(""), QVREG_MISSING_VALUE}) {
    const bool isMissing = value == QVREG_MISSING_VALUE;
    std::vector<QvCommon::Record> records = of.records;
    records[4][CEveryKind::kX] = value;
    CRecordFeed feed(records);
    const CFit fit = CFitOf(of.settings, feed.Source());
    auto counts = Sized<qvreg_record_counts>();
    Require([&](qvreg_error* e) {
      return qvreg_component_get_record_counts(fit.component.get(), &counts, e);
    });
    EXPECT_EQ(counts.missing, isMissing ? 1 : 0);
    double rmse = 0.0;
    Require([&](qvreg_error* e) {
      return qvreg_results_get_fit_stat(fit.results.get(), QVREG_FIT_RMSE, &rmse, e);
    });
    // Of the model without the covariate, not of it with the NaN.
    EXPECT_TRUE(std::isfinite(rmse)) << rmse;
    EXPECT_GT(rmse, 0.0);
  }
}

TEST(CSourceFaults, AFailedRewindIsNoEndOfData) {
  CRecordFeed feed = ThreeRecords();
  feed.onRewind = [](int pass) { return pass == 2 ? 77 : 0; };
  const CSource source = feed.Source();
  ASSERT_EQ(Reading(source).hasRecord, 1);
  ASSERT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_NO_FURTHER_PASS);
  for (int again = 0; again < 2; ++again) {
    const Reading read(source);
    EXPECT_EQ(read.code, QVREG_NO_FURTHER_PASS);
    EXPECT_EQ(read.hasRecord, -1);
    EXPECT_EQ(read.error.discrete[2], 77);
  }
  EXPECT_EQ(feed.Passes(), 2);
  EXPECT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_OK);
  EXPECT_EQ(Reading(source).record[0], 1.0);
}

TEST(CSourceFaults, ARewindThatFailsAtOnceIsNotTriedAgain) {
  CRecordFeed feed = ThreeRecords();
  feed.onRewind = [](int /*pass*/) { return 77; };
  const CSource source = feed.Source();
  EXPECT_EQ(Reading(source).code, QVREG_NO_FURTHER_PASS);
  EXPECT_EQ(Reading(source).code, QVREG_NO_FURTHER_PASS);
  EXPECT_EQ(feed.Passes(), 1);
}

TEST(CSourceFaults, ARewindThatThrowsIsNoEndOfData) {
  CRecordFeed feed = ThreeRecords();
  feed.onRewind = [](int /*pass*/) -> std::int32_t { throw 5; };
  const CSource source = feed.Source();
  EXPECT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_CALLBACK_THREW);
  EXPECT_EQ(Reading(source).code, QVREG_CALLBACK_THREW);
}

TEST(CSourceFaults, AFirstRecordThatFailsIsAnsweredAgain) {
  CRecordFeed feed = ThreeRecords();
  feed.onNext = [](int /*pass*/, std::size_t /*position*/) { return -4; };
  const CSource source = feed.Source();
  EXPECT_EQ(qvreg_source_rewind(source.get(), nullptr), QVREG_UNREADABLE_RECORD);
  EXPECT_EQ(Reading(source).code, QVREG_UNREADABLE_RECORD);
  EXPECT_EQ(Reading(source).error.discrete[2], -4);
}

TEST(CSourceFaults, WordsOfAnExceptionBecomeUtf8) {
  CRecordFeed feed = ThreeRecords();
  feed.onNext = [](int /*pass*/, std::size_t /*position*/) -> std::int32_t {
    throw std::runtime_error("\xff \xc3\xa9 \xc3");
  };
  const CSource source = feed.Source();
  EXPECT_STREQ(Reading(source).error.message,
               "The next callback threw an exception, which it must not: ? \xc3\xa9 ?");
}

/// What opening a path comes to, which must fail.
qvreg_error Refused(const std::string& path) {
  qvreg_source* source = nullptr;
  const qvreg_error error =
      ErrorOf([&](qvreg_error* e) { return qvreg_source_open_file(path.c_str(), 2, &source, e); });
  EXPECT_EQ(source, nullptr);
  EXPECT_EQ(error.code, QVREG_CANNOT_OPEN);
  return error;
}

bool Has(const qvreg_error& error, const std::string& words) {
  return std::string(error.message).find(words) != std::string::npos;
}

TEST(CSourceFaults, AFolderIsNoRecordFile) {
  const std::u8string folder = std::filesystem::temp_directory_path().u8string();
  EXPECT_TRUE(Has(Refused({folder.begin(), folder.end()}),
                  "it is no file that can be read several times: it is a folder"));
}

#if !defined(_WIN32)
TEST(CSourceFaults, APipeIsRefusedWithoutWaitingForItsWriter) {
  const TempFolder folder;
  const std::string path = folder.File("pipe");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_TRUE(Has(Refused(path), "it is no file that can be read several times"));
}

TEST(CSourceFaults, ADeviceIsNoRecordFile) {
  EXPECT_TRUE(Has(Refused("/dev/zero"), "it is no file that can be read several times"));
}
#endif

TEST(CSourceFaults, ALongPathLeavesRoomForReasonAndAdvice) {
  const std::string path = "start/" + std::string(3000, 'a') + "/end.bin";
  const qvreg_error error = Refused(path);
  EXPECT_TRUE(Has(error, "The record file 'start/aaa"));
  EXPECT_TRUE(Has(error, "a...a"));
  EXPECT_TRUE(Has(error, "aaa/end.bin' could not be opened for reading ("));
  EXPECT_TRUE(Has(error, "); check its path."));
}

TEST(CSourceFaults, APathThatIsNotUtf8IsShownAsSuch) {
  EXPECT_TRUE(Has(Refused("no such \xff\xc3\xa9 file"), "'no such ?\xc3\xa9 file'"));
}

#if !defined(_WIN32)
/// The descriptor that the next file to be opened will get.
int NextDescriptor() {
  const int descriptor = dup(STDIN_FILENO);
  EXPECT_GE(descriptor, 0);
  close(descriptor);
  return descriptor;
}

TEST(CSourceFaults, AFileThatCannotGoBackIsNoEndOfData) {
  const TempFolder folder;
  const std::string path = folder.File("records");
  {
    std::ofstream file(path, std::ios::binary);
    const double values[4] = {1, 2, 3, 4};
    file.write(reinterpret_cast<const char*>(values), sizeof values);
  }
  const int descriptor = NextDescriptor();
  const CSource source = Made<CSource>([&](qvreg_source** made, qvreg_error* error) {
    return qvreg_source_open_file(path.c_str(), 2, made, error);
  });
  EXPECT_EQ(Reading(source).hasRecord, 1);
  // A pipe takes the file's place.
  int ends[2] = {};
  ASSERT_EQ(pipe(ends), 0);
  ASSERT_EQ(dup2(ends[0], descriptor), descriptor);
  close(ends[0]);
  close(ends[1]);
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_source_rewind(source.get(), &error), QVREG_NO_FURTHER_PASS);
  EXPECT_EQ(error.message, "The record file '" + path +
                               "' could not be read again from its start for pass 1; check that it "
                               "can be read several times.");
}
#endif

}  // namespace
}  // namespace qvtest
