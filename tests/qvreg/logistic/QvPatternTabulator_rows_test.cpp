#include <new>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/logistic/QvPatternTabulator.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace {

using Doubles = std::vector<double>;

constexpr std::size_t kRowSize = 3;

void Append(QvRowPatterns& patterns, double first) {
  const QvRowPlace row = patterns.AppendRow();
  for (std::size_t i = 0; i < kRowSize; ++i) row[i] = first + static_cast<double>(i);
}

/// Calls `visit(const double* row)` for every row until it answers false; the last answer.
template <typename Visit>
bool ForEachRow(const QvRowPatterns& patterns, Visit&& visit) {
  return patterns.ForEachRun([&](const QvStoredRows& rows) {
    Doubles scratch(kRowSize);
    for (std::size_t r = 0; r < rows.fCount; ++r) {
      if (!visit(rows.Row(r, scratch.data()))) return false;
    }
    return true;
  });
}

Doubles FirstValues(const QvRowPatterns& patterns) {
  Doubles values;
  ForEachRow(patterns, [&values](const double* row) {
    EXPECT_EQ(row[1], row[0] + 1);
    EXPECT_EQ(row[2], row[0] + 2);
    values.push_back(row[0]);
    return true;
  });
  return values;
}

TEST(QvRowPatterns, StartsEmpty) {
  const QvRowPatterns patterns(kRowSize);
  EXPECT_EQ(patterns.GetRowCount(), 0U);
  EXPECT_TRUE(ForEachRow(patterns, [](const double*) { return false; }));
}

TEST(QvRowPatterns, KeepsRowsInTheOrderOfTheirArrival) {
  QvRowPatterns patterns(kRowSize);
  Doubles expected;
  for (int i = 0; i < 20000; ++i) {
    Append(patterns, 10.0 * i);
    expected.push_back(10.0 * i);
  }
  EXPECT_EQ(patterns.GetRowCount(), 20000U);
  EXPECT_EQ(FirstValues(patterns), expected);
}

TEST(QvRowPatterns, RowsNeverMove) {
  QvRowPatterns patterns(kRowSize);
  std::vector<const double*> places;
  for (int i = 0; i < 9000; ++i) {
    places.push_back(patterns.AppendRow().fpFirst);
  }
  std::vector<const double*> visited;
  patterns.ForEachRun([&visited](const QvStoredRows& rows) {
    for (std::size_t r = 0; r < rows.fCount; ++r) {
      visited.push_back(rows.fpValues + (rows.fbPanel ? r : r * kRowSize));
    }
    return true;
  });
  EXPECT_EQ(visited, places);
}

TEST(QvRowPatterns, KeepsManyRowsColumnByColumnWithZerosBehindTheLast) {
  QvRowPatterns patterns(kRowSize);
  constexpr std::size_t kMany = 5000;
  for (std::size_t i = 0; i < kMany; ++i) Append(patterns, 1.0 + static_cast<double>(i));
  std::size_t nRows = 0;
  std::size_t nInPanels = 0;
  patterns.ForEachRun([&](const QvStoredRows& rows) {
    for (std::size_t j = 0; rows.fbPanel && j < kRowSize; ++j) {
      for (std::size_t r = 0; r < QvStoredRows::kPanelRows; ++r) {
        const double expected = r < rows.fCount ? static_cast<double>(1 + nRows + r + j) : 0.0;
        EXPECT_EQ(rows.Column(j)[r], expected) << nRows << ' ' << r << ' ' << j;
      }
    }
    nRows += rows.fCount;
    nInPanels += rows.fbPanel ? rows.fCount : 0;
    return true;
  });
  EXPECT_EQ(nRows, kMany);
  // The others are those before a block holds four panels.
  EXPECT_EQ(nInPanels, kMany - 1024);
}

TEST(QvRowPatterns, AWalkEndsWhereTheVisitorAnswersFalse) {
  QvRowPatterns patterns(kRowSize);
  for (int i = 0; i < 10; ++i) Append(patterns, i);
  int visits = 0;
  EXPECT_FALSE(ForEachRow(patterns, [&visits](const double*) { return ++visits < 7; }));
  EXPECT_EQ(visits, 7);
}

TEST(QvRowPatterns, AllocatesBlocksAndNotRows) {
  QvRowPatterns patterns(kRowSize);
  const long long before = qvtest::AllocationCount();
  for (int i = 0; i < 100000; ++i) Append(patterns, i);
  // Blocks of 2, 2, 4, ..., 2048, then of 4096 rows, and what the list of blocks takes to grow.
  EXPECT_LT(qvtest::AllocationCount() - before, 60);
}

TEST(QvRowPatterns, FreesWhatItTook) {
  const long long live = qvtest::LiveAllocations();
  {
    QvRowPatterns patterns(kRowSize);
    for (int i = 0; i < 1000; ++i) Append(patterns, i);
    EXPECT_GT(qvtest::LiveAllocations(), live);
  }
  EXPECT_EQ(qvtest::LiveAllocations(), live);
}

TEST(QvRowPatterns, WithoutMemoryThrowsAndKeepsItsRows) {
  QvRowPatterns patterns(kRowSize);
  Append(patterns, 1);
  Append(patterns, 4);
  {
    const qvtest::AllocationFault fault(1, qvtest::AllocationFault::Extent::kEverAfter);
    EXPECT_THROW(patterns.AppendRow(), std::bad_alloc);
  }
  EXPECT_EQ(patterns.GetRowCount(), 2U);
  EXPECT_EQ(FirstValues(patterns), (Doubles{1, 4}));
  Append(patterns, 7);
  EXPECT_EQ(FirstValues(patterns), (Doubles{1, 4, 7}));
}

TEST(QvRowPatterns, DisplayPrintsEveryRow) {
  QvRowPatterns patterns(kRowSize);
  Append(patterns, 5);
  Append(patterns, 11);
  const std::string text = qvtest::CapturedDisplay(patterns);
  EXPECT_TRUE(
      qvtest::HoldsInOrder(text, {"QvRowPatterns display start", "fRecordData", "5", "6", "7",
                                  "fRecordData", "11", "12", "13", "QvRowPatterns display end"}))
      << text;
}

}  // namespace
