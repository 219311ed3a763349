// Factors that have their levels already.
#include <gtest/gtest.h>

#include "host/table/KnownLevels.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

/// Codes one expression of a query's result by known levels.
CodedTable Known(const std::string& sql, const KnownLevels& known,
                 const BooleanTexts& booleans = {}) {
  ColumnRequest request = Ask("x", Coding::kFactor);
  request.known = known;
  request.booleans = booleans;
  return CodeTable(OpenSql(sql), {request});
}

TEST(KnownLevels, TextsHaveTheCodesOfTheirLevels) {
  const CodedTable table = Known("SELECT unnest(['b', 'z', NULL, 'a', 'q', 'z']) AS x",
                                 {{"z", "b", "a"}, ColumnKind::kText});
  EXPECT_EQ(Values(table), (std::vector<double>{1, 0, -1, 2, -1, 0}));
  const CodedColumn& column = table.Columns().front();
  EXPECT_EQ(column.levels, (Strings{"z", "b", "a"})) << "also those that do not occur";
  EXPECT_EQ(column.missing, 1);
  EXPECT_EQ(column.unknown, 1);
  EXPECT_EQ(column.firstUnknown, "q");
}

TEST(KnownLevels, TextsAreNoNumbersWhereTheLevelsWereTexts) {
  const KnownLevels known = {{"1", "02"}, ColumnKind::kText};
  EXPECT_EQ(Values(Known("SELECT unnest(['1', '1.0', '2']) AS x", known)),
            (std::vector<double>{0, -1, -1}));
  EXPECT_EQ(Values(Known("SELECT unnest([1, 2, 3]) AS x", known)), (std::vector<double>{0, 1, -1}));
}

TEST(KnownLevels, NumbersOfAllTypesAreTheSame) {
  const KnownLevels known = {{"0.1", "2", "1e+20", "9007199254740993"}, ColumnKind::kNumber};
  EXPECT_EQ(
      Values(Known("SELECT unnest(['2', '0.1', '1e20', 'nan', '-0.0', '3'])::DOUBLE AS x", known)),
      (std::vector<double>{1, 0, 2, -1, -1, -1}));
  EXPECT_EQ(Values(Known("SELECT unnest([2, 0.1]::FLOAT[]) AS x", known)),
            (std::vector<double>{1, 0}));
  EXPECT_EQ(Values(Known("SELECT unnest([2, 0.1]::DECIMAL(9,3)[]) AS x", known)),
            (std::vector<double>{1, 0}));
  EXPECT_EQ(Values(Known("SELECT unnest([9007199254740993, 9007199254740992]) AS x", known)),
            (std::vector<double>{3, -1}))
      << "a double does not tell them apart";
  EXPECT_EQ(Values(Known("SELECT unnest(['2.0', '0.10', 'b']) AS x", known)),
            (std::vector<double>{1, 0, -1}));
}

TEST(KnownLevels, OfLevelsThatAreOneNumberNoneIsMeant) {
  const KnownLevels known = {{"1", "01", "1.0"}, ColumnKind::kText};
  EXPECT_EQ(Values(Known("SELECT unnest([1.0, 2.0]::DOUBLE[]) AS x", known)),
            (std::vector<double>{0, -1}))
      << "but the one that is written so";
  EXPECT_EQ(Values(Known("SELECT 1.0::DOUBLE AS x", {{"01", "1.0"}, ColumnKind::kText})),
            (std::vector<double>{-1}));
}

TEST(KnownLevels, BooleansMeanTheSame) {
  const KnownLevels known = {{"no", "yes"}, ColumnKind::kBoolean};
  const std::vector<double> expected = {1, 0, -1};
  EXPECT_EQ(Values(Known("SELECT unnest([true, false, NULL]) AS x", known)), expected);
  EXPECT_EQ(Values(Known("SELECT unnest([true, false, NULL]) AS x", known, {"F", "T"})), expected);
  EXPECT_EQ(Values(Known("SELECT unnest([1, 0, 2]) AS x", known)), expected);
  EXPECT_EQ(Values(Known("SELECT unnest(['T', 'False', 'x']) AS x", known)), expected);
}

TEST(KnownLevels, AnInfiniteNumberIsRefused) {
  const Refusal refusal = RefusalOf([] {
    static_cast<void>(
        Known("SELECT unnest(['1', 'inf'])::DOUBLE AS x", {{"1"}, ColumnKind::kNumber}));
  });
  EXPECT_NE(refusal.text.find("in row 2 is infinite"), std::string::npos) << refusal.text;
}

TEST(KnownLevels, CanBeOfAKind) {
  const KnownLevels texts = {{"1", "b"}, ColumnKind::kText};
  const KnownLevels digits = {{"1", "02"}, ColumnKind::kText};
  const KnownLevels truths = {{"no", "1"}, ColumnKind::kText};
  EXPECT_TRUE(CanBeOf(ColumnKind::kEnumeration, texts));
  EXPECT_FALSE(CanBeOf(ColumnKind::kNumber, texts));
  EXPECT_FALSE(CanBeOf(ColumnKind::kBoolean, texts));
  EXPECT_FALSE(CanBeOf(ColumnKind::kDateTime, texts));
  EXPECT_FALSE(CanBeOf(ColumnKind::kOther, texts));
  EXPECT_TRUE(CanBeOf(ColumnKind::kNumber, digits));
  EXPECT_TRUE(CanBeOf(ColumnKind::kBoolean, truths));
  EXPECT_TRUE(CanBeOf(ColumnKind::kDateTime, {{"2020-01-01"}, ColumnKind::kDateTime}));
}

}  // namespace
}  // namespace qvhost
