#include "host/fit/SpoolRunner.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/settings/QvModelEffect.h"

namespace qvhost {
namespace {

/// A table of `rows` records of two numbers, i and 2 i (i modulo 97), that claims to hold
/// `claimed`.
CodedTable MakeTable(int rows, int claimed) {
  SpoolFile file("");
  for (int i = 0; i < rows; ++i) file.Append(std::vector<double>{i % 97 * 1.0, i % 97 * 2.0});
  file.Flush();
  file.Rewind();
  return {std::move(file), std::vector<CodedColumn>(2), claimed};
}

long long ReadPass(SpoolRecords& records, std::int64_t begin = 0) {
  long long count = 0;
  while (const QvCommon::Record* record = records.Next()) {
    EXPECT_EQ((*record)[1], 2.0 * static_cast<double>((begin + count) % 97));
    ++count;
  }
  EXPECT_FALSE(records.HasMore());
  return count;
}

TEST(SpoolRecords, AreDeliveredInEveryPass) {
  const CodedTable table = MakeTable(5, 5);
  SpoolRecords records(table);
  EXPECT_EQ(ReadPass(records), 5);
  EXPECT_EQ(records.GetFailReason(), QvCommon::kIterEndOfData);
  EXPECT_EQ(records.NewPass(), QvCommon::kIterOk);
  EXPECT_EQ(ReadPass(records), 5);
}

TEST(SpoolRecords, OfARangeAreThoseAlone) {
  const CodedTable table = MakeTable(60000, 60000);
  SpoolRecords middle(table, 20001, 59999, {});
  EXPECT_EQ(ReadPass(middle, 20001), 39998);
  SpoolRecords none(table, 7, 7, {});
  EXPECT_EQ(none.NewPass(), QvCommon::kIterEndOfData);
  EXPECT_EQ(none.Next(), nullptr);
}

TEST(SpoolRecords, ReadersDoNotDisturbEachOther) {
  const CodedTable table = MakeTable(40000, 40000);
  SpoolRecords one(table);
  SpoolRecords other(table, 30000, 40000, {});
  for (int i = 0; i < 100; ++i) EXPECT_EQ((*one.Next())[0], i % 97);
  EXPECT_EQ(ReadPass(other, 30000), 10000);
  EXPECT_EQ((*one.Next())[0], 100 % 97);
}

TEST(SpoolRecords, TellHowManyOfAPassWereRead) {
  const CodedTable table = MakeTable(40000, 40000);
  std::vector<long long> reports;
  SpoolRecords records(table, [&](long long read) { reports.push_back(read); });
  ReadPass(records);
  EXPECT_EQ(reports, (std::vector<long long>{16384, 32768, 40000}));
  records.NewPass();
  records.Next();
  EXPECT_EQ(reports.back(), 16384);
}

TEST(SpoolRecords, AreLentInBlocks) {
  const CodedTable table = MakeTable(40000, 40000);
  std::vector<long long> reports;
  SpoolRecords records(table, 1, 40000, [&](long long read) { reports.push_back(read); });
  for (int pass = 0; pass < 2; ++pass) {
    std::int64_t count = 0;
    EXPECT_EQ(records.NewPass(), QvCommon::kIterOk);
    while (records.HasMore()) {
      const QvCommon::QvRecordBlock block = records.NextBlock();
      ASSERT_GT(block.fCount, 0U);
      EXPECT_EQ(block.fSize, 2);
      for (std::size_t i = 0; i < block.fCount; ++i, ++count) {
        ASSERT_EQ(block.Row(i)[1], 2.0 * static_cast<double>((1 + count) % 97));
      }
    }
    EXPECT_EQ(count, 39999);
    EXPECT_EQ(records.GetFailReason(), QvCommon::kIterEndOfData);
    EXPECT_EQ(records.NextBlock().fCount, 0U);
  }
  const std::vector<long long> once{16384, 32768, 39999};
  std::vector<long long> twice = once;
  twice.insert(twice.end(), once.begin(), once.end());
  EXPECT_EQ(reports, twice);
}

TEST(SpoolRecords, MayBeTakenSinglyAndInBlocks) {
  const CodedTable table = MakeTable(30, 30);
  SpoolRecords records(table);
  for (int i = 0; i < 3; ++i) EXPECT_EQ((*records.Next())[0], i);
  const QvCommon::QvRecordBlock block = records.NextBlock();
  EXPECT_EQ(block.fCount, 27U);
  EXPECT_EQ(block.Row(0)[0], 3.0);
  EXPECT_FALSE(records.HasMore());
  EXPECT_EQ(records.Next(), nullptr);
}

TEST(SpoolRecords, InBlocksOfAFileThatEndsTooEarlyAreAnError) {
  const CodedTable table = MakeTable(4, 5);
  SpoolRecords records(table);
  EXPECT_THROW(static_cast<void>(records.NextBlock()), Error);
}

TEST(SpoolRecords, OfAFileThatEndsTooEarlyAreAnError) {
  const CodedTable table = MakeTable(4, 5);
  SpoolRecords records(table);
  try {
    records.Next();
    FAIL() << "a record was read";
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kRunFailed);
    EXPECT_NE(std::string(error.what()).find("cannot be read back (it is too short)"),
              std::string::npos)
        << error.what();
  }
}

TEST(SpoolRecords, OfAnEmptyTableAreNone) {
  const CodedTable table = MakeTable(0, 0);
  SpoolRecords records(table);
  EXPECT_EQ(records.NewPass(), QvCommon::kIterEndOfData);
  EXPECT_EQ(ReadPass(records), 0);
}

/// The slope of the second number on the first.
double SlopeOn(const CodedTable& table, int threads, const SpoolRunner::Progress& progress = {}) {
  QvRegSettings settings;
  EXPECT_TRUE(settings.SetDependent(1));
  EXPECT_EQ(settings.AddCovariate(0), 1);
  const std::vector<int> variables{0};
  QvModelEffect effect(0, 1, &variables);
  EXPECT_EQ(effect.AddCovariate(0), 1);
  EXPECT_TRUE(settings.AddModelEffect(effect));
  SpoolRunner runner(table, settings, threads, progress);
  settings.SetPassRunner(&runner);
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  SpoolRecords unused(table);
  EXPECT_TRUE(component->BuildModel(unused).IsOK());
  IQvRegOutputStats* stats = nullptr;
  EXPECT_TRUE(component->GetOutputStats(stats).IsOK());
  EXPECT_EQ(stats->GetTotalFreqWeight(), static_cast<double>(table.RecordCount()));
  return stats->GetParamEstimates().back();
}

TEST(SpoolRunner, ReadsEveryRecordOnAnyNumberOfThreads) {
  const CodedTable table = MakeTable(50000, 50000);
  for (const int threads : {1, 2, 5, 0}) EXPECT_NEAR(SlopeOn(table, threads), 2.0, 1e-14);
}

TEST(SpoolRunner, NumbersThePassesFromOne) {
  const CodedTable table = MakeTable(50000, 50000);
  std::vector<int> passes;
  SlopeOn(table, 2, [&](int pass, long long records) {
    passes.push_back(pass);
    EXPECT_LE(records, 50000);
  });
  EXPECT_EQ(passes.front(), 1);
  EXPECT_EQ(passes.back(), 3);
  EXPECT_TRUE(std::is_sorted(passes.begin(), passes.end()));
}

TEST(SpoolRunner, WhatCannotBeReadIsThrownOnTheCallingThread) {
  const CodedTable table = MakeTable(9000, 10000);
  EXPECT_THROW(SlopeOn(table, 2), Error);
}

}  // namespace
}  // namespace qvhost
