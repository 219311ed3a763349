#include "host/TextLayout.h"

#include <string>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

TEST(TextWidth, CountsColumnsOfATerminal) {
  EXPECT_EQ(TextWidth(""), 0U);
  EXPECT_EQ(TextWidth("Größe"), 5U);
  EXPECT_EQ(TextWidth("日本"), 4U) << "wide characters";
  EXPECT_EQ(TextWidth("한국어"), 6U);
  EXPECT_EQ(TextWidth("ＡＢ"), 4U) << "full width letters";
  EXPECT_EQ(TextWidth("😀"), 2U);
  EXPECT_EQ(TextWidth("e\u0301"), 1U) << "a combining mark";
  EXPECT_EQ(TextWidth("𠀀"), 2U);
  EXPECT_EQ(TextWidth("Ωж"), 2U);
}

TEST(TextWidth, TakesABrokenByteAsOneColumn) { EXPECT_EQ(TextWidth("a\xFFz"), 3U); }

TEST(CutMiddle, KeepsBothEnds) {
  EXPECT_EQ(CutMiddle("abcdefgh", 8), "abcdefgh");
  EXPECT_EQ(CutMiddle("abcdefgh", 7), "abc…fgh");
  EXPECT_EQ(CutMiddle("abcdefgh", 6), "abc…gh");
  EXPECT_EQ(CutMiddle("abcdefgh", 1), "…");
  EXPECT_EQ(CutMiddle("abcdefgh", 0), "");
}

TEST(CutMiddle, CutsNoCharacterInTwo) {
  EXPECT_EQ(CutMiddle("日本語日本語", 7), "日…語") << "half a character is left empty";
  EXPECT_EQ(CutMiddle("äöüßéè", 5), "äö…éè");
  EXPECT_EQ(CutMiddle("xxxxxe\u0301", 3), "x…e\u0301") << "a mark stays with its letter";
  EXPECT_EQ(CutMiddle("xxxxe\u0301y", 3), "x…y") << "no mark without its letter";
}

TEST(ShortLabel, CutsTheLongestParts) {
  EXPECT_EQ(ShortLabel("species=Chinstrap:sex=female", 28), "species=Chinstrap:sex=female");
  EXPECT_EQ(ShortLabel("species=Chinstrap:sex=female", 25), "species=Chi…ap:sex=female");
  EXPECT_EQ(ShortLabel("g=" + std::string(40, 'x') + ":s=a", 13), "g=xxx…xxx:s=a");
}

TEST(ShortLabel, UsesAllColumns) {
  const std::string label = "department=accounting:region=northwest";
  for (std::size_t width = 15; width < label.size(); ++width) {
    EXPECT_EQ(TextWidth(ShortLabel(label, width)), width) << ShortLabel(label, width);
  }
}

TEST(ShortLabel, OfTooManyPartsIsCutAsOne) {
  EXPECT_EQ(ShortLabel("alpha=1:beta=2:gamma=3", 9), "alph…ma=3");
  EXPECT_EQ(ShortLabel("alphabeta", 5), "al…ta");
}

TEST(Wrap, BreaksAtBlanks) {
  EXPECT_EQ(Wrap("one two three", 7, 0, 2), "one two\n  three");
  EXPECT_EQ(Wrap("one two three", 13, 0, 2), "one two three");
  EXPECT_EQ(Wrap("one two three", 9, 6, 2), "one\n  two\n  three") << "after a beginning";
  EXPECT_EQ(Wrap("日本 日本", 8, 0, 0), "日本\n日本") << "by columns";
}

TEST(Wrap, KeepsAWordThatIsTooWide) {
  EXPECT_EQ(Wrap("a bcdefghij k", 5, 0, 1), "a\n bcdefghij\n k");
  EXPECT_EQ(Wrap("", 5, 0, 1), "");
}

}  // namespace
}  // namespace qvhost
