#include "host/report/TextTable.h"

#include <gtest/gtest.h>

namespace qvhost {
namespace {

TEST(TextTable, AlignsTheFirstColumnLeftAndTheOthersRight) {
  TextTable table({"Name", "Value"});
  table.AddRow({"a", "1.5"});
  table.AddRow({"longer", "-10.25"});
  EXPECT_EQ(table.Render(),
            "Name     Value\n"
            "--------------\n"
            "a          1.5\n"
            "longer  -10.25\n");
}

TEST(TextTable, CountsCodePointsInsteadOfBytes) {
  TextTable table({"Größe", "n"});
  table.AddRow({"α=é", "1"});
  table.AddRow({"abcdef", "2"});
  EXPECT_EQ(table.Render(),
            "Größe   n\n"
            "---------\n"
            "α=é     1\n"
            "abcdef  2\n");
}

TEST(TextTable, LeavesNoBlanksAtLineEnds) {
  TextTable table({"a", "b"});
  table.AddRow({"x", ""});
  EXPECT_EQ(table.Render(), "a  b\n----\nx\n");
}

using Texts = std::vector<std::string>;

TEST(ColumnText, GivesTheSmallestFiveDigitsAndAllTheSameDecimals) {
  EXPECT_EQ(ColumnText({1.0, -23.456789, 1234.5}), (Texts{"1.0000", "-23.4568", "1234.5000"}));
  EXPECT_EQ(ColumnText({0.0123456}), (Texts{"0.012346"}));
  EXPECT_EQ(ColumnText({123456.7}), (Texts{"123457"}));
}

TEST(ColumnText, GivesEachItsOwnDigitsWhenSizesLieFarApart) {
  EXPECT_EQ(ColumnText({1.5e-9, 2.0, -0.01234567, 76.23456, 0.0}),
            (Texts{"1.5000e-09", "2.0000", "-0.012346", "76.235", "0"}));
  EXPECT_EQ(ColumnText({3e12, 123456.0}), (Texts{"3.0000e+12", "123456"}));
}

TEST(ColumnText, LeavesOutWhatDoesNotExist) {
  EXPECT_EQ(ColumnText({std::nullopt, 0.0, 2.5}), (Texts{"", "0.0000", "2.5000"}));
  EXPECT_EQ(ColumnText({}), Texts{});
}

TEST(StatisticText, HasTwoDecimals) {
  EXPECT_EQ(StatisticText(-6.1286), "-6.13");
  EXPECT_EQ(StatisticText(1.5e8), "1.50e+08");
  EXPECT_EQ(StatisticText(std::nullopt), "");
}

TEST(ProbabilityText, ShowsSmallOnesWithAnExponent) {
  EXPECT_EQ(ProbabilityText(0.04567), "0.0457");
  EXPECT_EQ(ProbabilityText(1.0), "1.0000");
  EXPECT_EQ(ProbabilityText(1.12e-6), "1.1e-06");
  EXPECT_EQ(ProbabilityText(0.0), "<1e-16");
  EXPECT_EQ(ProbabilityText(std::nullopt), "");
}

TEST(CountText, PutsCommasBetweenThousands) {
  EXPECT_EQ(CountText(0), "0");
  EXPECT_EQ(CountText(999), "999");
  EXPECT_EQ(CountText(1000), "1,000");
  EXPECT_EQ(CountText(123456789), "123,456,789");
  EXPECT_EQ(CountText(-123456), "-123,456");
  EXPECT_EQ(CountText(-123), "-123");
}

TEST(NumberText, ShowsSixDigitsOrADash) {
  EXPECT_EQ(NumberText(0.123456789), "0.123457");
  EXPECT_EQ(NumberText(std::nullopt), "-");
}

}  // namespace
}  // namespace qvhost
