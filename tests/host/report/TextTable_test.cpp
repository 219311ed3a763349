#include "host/report/TextTable.h"

#include <string>
#include <vector>

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

TEST(TextTable, CountsColumnsInsteadOfBytes) {
  TextTable table({"Größe", "n"});
  table.AddRow({"α=é", "1"});
  table.AddRow({"日本", "3"});
  table.AddRow({"abcdef", "2"});
  EXPECT_EQ(table.Render(),
            "Größe   n\n"
            "---------\n"
            "α=é     1\n"
            "日本    3\n"
            "abcdef  2\n");
}

TEST(TextTable, LeavesNoBlanksAtLineEnds) {
  TextTable table({"a", "b"});
  table.AddRow({"x", ""});
  EXPECT_EQ(table.Render(), "a  b\n----\nx\n");
}

TextStyle Width(std::size_t width) {
  TextStyle style;
  style.width = width;
  return style;
}

TextTable Cells() {
  TextTable table({"Parameter", "Estimate", "Std. error", "low", "high"});
  table.StartGroup(1);
  table.StartGroup(3);
  table.AddRow({"species=Chinstrap:sex=female", "379.858", "87.3871", "207.944", "551.772"});
  table.AddRow({"species=Gentoo:sex=female", "0", "redundant", "", ""});
  return table;
}

TEST(TextTable, ThatFitsIsLeftAlone) {
  EXPECT_EQ(Cells().Render(Width(68)), Cells().Render(Width(500)));
  EXPECT_NE(Cells().Render(Width(67)), Cells().Render(Width(500)));
}

TEST(TextTable, TooWideGetsNarrowGapsFirst) {
  EXPECT_EQ(Cells().Render(Width(64)),
            "Parameter                    Estimate Std. error     low    high\n"
            "----------------------------------------------------------------\n"
            "species=Chinstrap:sex=female  379.858    87.3871 207.944 551.772\n"
            "species=Gentoo:sex=female           0  redundant\n");
}

TEST(TextTable, TooWideShortensTheNames) {
  EXPECT_EQ(Cells().Render(Width(61)),
            "Parameter                 Estimate Std. error     low    high\n"
            "-------------------------------------------------------------\n"
            "species=Chi…ap:sex=female  379.858    87.3871 207.944 551.772\n"
            "species=Gentoo:sex=female        0  redundant\n");
}

TEST(TextTable, TooWideForNamesIsDividedBetweenGroups) {
  EXPECT_EQ(Cells().Render(Width(44)),
            "Parameter                Estimate Std. error\n"
            "--------------------------------------------\n"
            "spe…es=Chi…ap:sex=female  379.858    87.3871\n"
            "spe…es=Gentoo:sex=female        0  redundant\n"
            "\n"
            "Parameter                    low    high\n"
            "----------------------------------------\n"
            "spe…es=Chi…ap:sex=female 207.944 551.772\n"
            "spe…es=Gentoo:sex=female\n");
}

TEST(TextTable, TooWideGroupsAreDividedToo) {
  TextTable table({"Name", "aaaaaaaa", "bbbbbbbb", "cccccccc"});
  table.AddRow({"n", "1", "2", "3"});
  EXPECT_EQ(table.Render(Width(26)),
            "Name  aaaaaaaa  bbbbbbbb\n"
            "------------------------\n"
            "n            1         2\n"
            "\n"
            "Name  cccccccc\n"
            "--------------\n"
            "n            3\n");
}

TEST(TextTable, NamesThatWouldLookAlikeStandWhole) {
  TextTable table({"Parameter", "Estimate"});
  const std::string start = "g=" + std::string(20, 'x');
  const std::string end(20, 'z');
  table.AddRow({start + "1" + end, "1.5"});
  table.AddRow({start + "2" + end, "2.5"});
  table.AddRow({"g=y" + std::string(20, 'x') + "3" + end, "3.5"});
  EXPECT_EQ(table.Render(Width(30)),
            "Parameter             Estimate\n"
            "------------------------------\n" +
                start + "1" + end + "\n" + "                           1.5\n" + start + "2" + end +
                "\n" +
                "                           2.5\n"
                "g=yxxxxxxxx…zzzzzzzzz      3.5\n");
}

TEST(TextTable, HeadingsAreShortenedBeforeColumnsAreDivided) {
  TextTable table({"Observed", "a very long level of a factor", "n"});
  table.AddRow({"x", "1", "2"});
  EXPECT_EQ(table.Render(Width(30)),
            "Observed a very…actor n\n"
            "-----------------------\n"
            "x                   1 2\n");
}

TEST(TextTable, ALineStandsBetweenRows) {
  TextTable table({"Name", "Value"});
  table.AddRow({"a", "1.5"});
  table.AddLine("… and many more than these");
  table.AddRow({"z", "2.5"});
  EXPECT_EQ(table.Render(Width(20)),
            "Name  Value\n"
            "-----------\n"
            "a       1.5\n"
            "… and many more than\n"
            "  these\n"
            "z       2.5\n");
}

TEST(TextTable, ColoursItsHeading) {
  TextTable table({"a", "b"});
  table.AddRow({"x", "1"});
  TextStyle style;
  style.color = true;
  EXPECT_EQ(table.Render(style), "\x1b[1ma  b\x1b[0m\n----\nx  1\n");
}

using Texts = std::vector<std::string>;

TEST(ColumnText, GivesAsManyDigitsAsAsked) {
  EXPECT_EQ(ColumnText({1.0, -23.456789}, 2), (Texts{"1.0", "-23.5"}));
  EXPECT_EQ(ColumnText({1.0 / 3.0}, 17), (Texts{"0.33333333333333331"}));
  EXPECT_EQ(ColumnText({1234.5, 2.0}, 1), (Texts{"1234", "2"}));
  EXPECT_EQ(ColumnText({1.23456e-7, 1.0}, 3), (Texts{"1.23e-07", "1.00"}));
}

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
