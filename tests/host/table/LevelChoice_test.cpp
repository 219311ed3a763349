#include "host/table/LevelChoice.h"

#include <numeric>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Levels = std::vector<std::string>;
using Places = std::vector<std::size_t>;

const Levels kSizes = {"L", "M", "S", "XL"};

std::string RefusalText(const LevelChoice& choice, const Levels& levels) {
  const Refusal refusal =
      RefusalOf([&] { static_cast<void>(ChosenOrder(choice, "size", levels)); });
  EXPECT_EQ(refusal.code, ExitCode::kBadInput);
  return refusal.text;
}

// ---- The level that is meant --------------------------------------------------

TEST(FindLevel, ByItsText) {
  EXPECT_EQ(FindLevel(kSizes, "S"), 2U);
  EXPECT_EQ(FindLevel(kSizes, "s"), std::nullopt) << "s may be another size";
  EXPECT_EQ(FindLevel({}, ""), std::nullopt);
  EXPECT_EQ(FindLevel({"", "a"}, ""), 0U);
}

TEST(FindLevel, ByItsNumber) {
  EXPECT_EQ(FindLevel({"1950", "1960.5"}, "1950.0"), 0U);
  EXPECT_EQ(FindLevel({"1950", "1960.5"}, "+1960.50"), 1U);
  EXPECT_EQ(FindLevel({"1", "01"}, "01"), 1U) << "the text goes before";
  EXPECT_EQ(FindLevel({"1", "01"}, "1.0"), std::nullopt) << "either could be meant";
  EXPECT_EQ(FindLevel({"1", "2"}, "1x"), std::nullopt);
}

TEST(FindLevel, ByItsNumberWhereADoubleHoldsIt) {
  EXPECT_EQ(FindLevel({"12345678901234567", "2"}, "12345678901234568"), std::nullopt);
  EXPECT_EQ(FindLevel({"12345678901234567", "2"}, "12345678901234567"), 0U) << "by its text";
  EXPECT_EQ(FindLevel({"-9007199254740992", "2"}, "-9007199254740993"), std::nullopt);
  EXPECT_EQ(FindLevel({"9007199254740991", "2"}, "9007199254740991.0"), 0U);
}

TEST(FindLevel, ByItsTruth) {
  EXPECT_EQ(FindLevel({"no", "yes"}, "true"), 1U);
  EXPECT_EQ(FindLevel({"F", "T"}, "false"), 0U);
  EXPECT_EQ(FindLevel({"T"}, "false"), std::nullopt);
  EXPECT_EQ(FindLevel({"no", "yes", "maybe"}, "true"), std::nullopt) << "these are no booleans";
}

TEST(LevelHint, NamesTheNearestAndTheFirstTwenty) {
  EXPECT_EQ(LevelHint(kSizes, "XXL"), " Did you mean 'XL'? Its levels are 'L', 'M', 'S', 'XL'.");
  EXPECT_EQ(LevelHint({}, "XXL"), "");
  Levels many;
  std::string list;
  for (int i = 1; i <= 21; ++i) {
    many.push_back(fmt::format("n{}", i));
    if (i <= 20) list += fmt::format("{}'n{}'", i == 1 ? "" : ", ", i);
  }
  EXPECT_EQ(LevelHint(many, "other"), " Its levels are " + list + ", ….");
  many.pop_back();
  EXPECT_EQ(LevelHint(many, "other"), " Its levels are " + list + ".");
}

// ---- Their order --------------------------------------------------------------

TEST(ChosenOrder, IsTheUsualOneByDefault) {
  EXPECT_EQ(ChosenOrder({}, "size", kSizes), (Places{0, 1, 2, 3}));
  EXPECT_EQ(ChosenOrder({}, "size", {}), Places{});
}

TEST(ChosenOrder, BeginsWithTheListAndGoesOnAsUsual) {
  EXPECT_EQ(ChosenOrder({{"S", "M", "L", "XL"}, {}}, "size", kSizes), (Places{2, 1, 0, 3}));
  EXPECT_EQ(ChosenOrder({{"S"}, {}}, "size", kSizes), (Places{2, 0, 1, 3}));
}

TEST(ChosenOrder, EndsWithTheBase) {
  EXPECT_EQ(ChosenOrder({{}, "L"}, "size", kSizes), (Places{1, 2, 3, 0}));
  EXPECT_EQ(ChosenOrder({{}, "XL"}, "size", kSizes), (Places{0, 1, 2, 3}));
  EXPECT_EQ(ChosenOrder({{"S", "M"}, "S"}, "size", kSizes), (Places{1, 0, 3, 2}))
      << "whatever listed";
}

TEST(ChosenOrder, EndsWithTheFirst) {
  EXPECT_EQ(ChosenOrder({{}, {}, true}, "size", kSizes), (Places{1, 2, 3, 0}));
  EXPECT_EQ(ChosenOrder({{"S"}, {}, true}, "size", kSizes), (Places{0, 1, 3, 2}));
  EXPECT_EQ(ChosenOrder({{}, "M", true}, "size", kSizes), (Places{0, 2, 3, 1}));
  EXPECT_EQ(ChosenOrder({{}, {}, true}, "size", {}), Places{});
}

TEST(ChosenOrder, RefusesALevelThatDoesNotExist) {
  EXPECT_EQ(RefusalText({{}, "XXL"}, kSizes),
            "'size' has no level 'XXL' to be the base. Did you mean 'XL'? Its levels are 'L', "
            "'M', 'S', 'XL'.");
  EXPECT_EQ(RefusalText({{"S", "huge"}, {}}, kSizes),
            "'size' has no level 'huge' for --levels. Its levels are 'L', 'M', 'S', 'XL'.");
}

TEST(ChosenOrder, RefusesALevelTwice) {
  EXPECT_EQ(RefusalText({{"S", "M", "S"}, {}}, kSizes),
            "--levels lists the level 'S' of 'size' twice.");
  EXPECT_EQ(RefusalText({{"1", "1.0"}, {}}, {"1", "2"}),
            "--levels lists the level '1.0' of 'size' twice.");
}

// ---- In a coded table ---------------------------------------------------------

/// The levels of x, and the codes of the rows.
void ExpectCoded(const std::string& type, const LevelChoice& choice, const Levels& levels,
                 const std::vector<double>& codes) {
  ColumnRequest request = Ask("x", Coding::kFactor);
  request.levels = choice;
  const CodedTable table =
      CodeTable(OpenSql("SELECT CAST(unnest([2, 1, NULL, 3, 1]) AS " + type + ") AS x"), {request});
  EXPECT_EQ(table.Columns().front().levels, levels) << type;
  EXPECT_EQ(Values(table), codes) << type;
}

TEST(ChosenOrder, IsThatOfTheCodes) {
  for (const char* type : {"INTEGER", "DOUBLE", "VARCHAR", "DECIMAL(4, 1)"}) {
    ExpectCoded(type, {{}, "1"}, {"2", "3", "1"}, {0, 2, -1, 1, 2});
    ExpectCoded(type, {{"3", "1"}, {}}, {"3", "1", "2"}, {2, 1, -1, 0, 1});
    ExpectCoded(type, {}, {"1", "2", "3"}, {1, 0, -1, 2, 0});
  }
}

TEST(ChosenOrder, OfAnEnumeration) {
  ColumnRequest request = Ask("x");
  request.levels.base = "small";
  const CodedTable table =
      CodeTable(OpenSql("SELECT unnest(['big', 'small', 'mid'])::ENUM('small', 'mid', 'big') AS x"),
                {request});
  EXPECT_EQ(table.Columns().front().levels, (Levels{"mid", "big", "small"}));
  EXPECT_EQ(Values(table), (std::vector<double>{1, 2, 0}));
}

}  // namespace
}  // namespace qvhost
