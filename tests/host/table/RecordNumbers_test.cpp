#include "host/table/RecordNumbers.h"

#include <cstddef>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Rows = std::vector<std::vector<double>>;

const std::vector<WrittenColumn> kColumns = {{"a", WrittenColumn::Type::kNumber},
                                             {"b", WrittenColumn::Type::kNumber}};

/// Rows (i, 10 i), of which the second number is missing where i is odd.
NextRow Counting(int count) {
  return [count, i = 0](RowCells& cells) mutable {
    if (i == count) return false;
    cells.SetNumber(0, i);
    if (i % 2 == 0) cells.SetNumber(1, 10.0 * i);
    ++i;
    return true;
  };
}

Rows ResultOf(RecordNumbers& numbers, const std::string& sql) {
  Rows rows;
  numbers.Query(sql,
                [&](std::span<const double> row) { rows.emplace_back(row.begin(), row.end()); });
  return rows;
}

std::string MessageOf(const std::function<void()>& work) {
  try {
    work();
  } catch (const Cancelled&) {
    return "cancelled";
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kRunFailed);
    return error.what();
  }
  return {};
}

class RecordNumbersTest : public ::testing::Test {
 protected:
  qvtest::TempFolder folder_;
};

TEST_F(RecordNumbersTest, QueriesSeeEveryRow) {
  constexpr int kCount = 100000;
  RecordNumbers numbers(kColumns, Counting(kCount), "", {});
  EXPECT_EQ(ResultOf(numbers, "SELECT count(*)::DOUBLE, count(b)::DOUBLE, sum(a) FROM numbers"),
            (Rows{{kCount, 0.5 * kCount, 0.5 * kCount * (kCount - 1)}}));
  EXPECT_EQ(
      ResultOf(numbers, "SELECT b, a FROM numbers WHERE b IS NOT NULL ORDER BY b DESC LIMIT 2"),
      (Rows{{10.0 * (kCount - 2), kCount - 2}, {10.0 * (kCount - 4), kCount - 4}}));
  EXPECT_EQ(ResultOf(numbers, "SELECT a FROM numbers").size(), static_cast<std::size_t>(kCount));
}

TEST_F(RecordNumbersTest, NoRowsAreNone) {
  RecordNumbers numbers(kColumns, Counting(0), "", {});
  EXPECT_TRUE(ResultOf(numbers, "SELECT a FROM numbers").empty());
}

TEST_F(RecordNumbersTest, TheFileIsInTheFolderAndGoesWithTheTable) {
  const std::filesystem::path folder = folder_.File("spool");
  std::filesystem::create_directory(folder);
  {
    const RecordNumbers numbers(kColumns, Counting(5), folder.string(), {});
    EXPECT_FALSE(std::filesystem::is_empty(folder));
  }
  EXPECT_TRUE(std::filesystem::is_empty(folder));
}

TEST_F(RecordNumbersTest, AFolderThatIsNotThereIsNamed) {
  const std::string folder = folder_.File("none");
  const std::string message =
      MessageOf([&] { (void)RecordNumbers(kColumns, Counting(5), folder, {}); });
  EXPECT_NE(message.find(folder), std::string::npos) << message;
  EXPECT_NE(message.find("--spool-dir"), std::string::npos) << message;
}

TEST_F(RecordNumbersTest, AFileThatIsGoneEndsTheQuery) {
  const std::filesystem::path folder = folder_.File("spool");
  std::filesystem::create_directory(folder);
  RecordNumbers numbers(kColumns, Counting(5), folder.string(), {});
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    if (entry.is_regular_file() && entry.path().extension() == ".parquet") {
      std::filesystem::remove(entry.path());
      break;
    }
  }
  const std::string message = MessageOf([&] { (void)ResultOf(numbers, "SELECT a FROM numbers"); });
  EXPECT_NE(message.find("cannot be read back"), std::string::npos) << message;
  EXPECT_NE(message.find(folder.string()), std::string::npos) << message;
}

TEST_F(RecordNumbersTest, AQueryEndsWhenItIsCancelled) {
  bool isCancelled = false;
  RecordNumbers numbers(kColumns, Counting(10), "", [&] { return isCancelled; });
  EXPECT_EQ(ResultOf(numbers, "SELECT a FROM numbers").size(), 10U);
  isCancelled = true;
  EXPECT_EQ(MessageOf([&] { (void)ResultOf(numbers, "SELECT a FROM numbers"); }), "cancelled");
}

TEST_F(RecordNumbersTest, AQueryEndsAmongItsRows) {
  bool isCancelled = false;
  RecordNumbers numbers(kColumns, Counting(100000), "", [&] { return isCancelled; });
  const auto cancel = [&](std::span<const double>) { isCancelled = true; };
  EXPECT_EQ(MessageOf([&] { numbers.Query("SELECT a FROM numbers", cancel); }), "cancelled");
}

TEST_F(RecordNumbersTest, WhatARowThrowsPassesThrough) {
  const NextRow failing = [](RowCells&) -> bool { throw Cancelled(); };
  EXPECT_EQ(MessageOf([&] { (void)RecordNumbers(kColumns, failing, "", {}); }), "cancelled");
}

}  // namespace
}  // namespace qvhost
