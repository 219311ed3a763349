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

TEST(TextWidth, TakesABrokenByteAsOneColumn) {
  EXPECT_EQ(TextWidth("日本"), 2U);
  EXPECT_EQ(TextWidth("a\xFFz"), 3U);
  EXPECT_EQ(TextWidth(""), 0U);
}

TEST(Printable, ReplacesControlCharactersOnly) {
  EXPECT_EQ(Printable("a\nb\tc\x1b[2Jé"), "a b c [2Jé");
}

}  // namespace
}  // namespace qvhost
