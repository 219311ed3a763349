#include <gtest/gtest.h>

#include "qvreg/c/QvCText.h"

namespace qvtest {
namespace {

TEST(CText, KeepsWhatIsUtf8) {
  for (const std::string text : {"", "plain", "\xc3\xa9", "\xe6\xb8\xac", "\xf0\x9f\x98\x80",
                                 "\xed\x9f\xbf", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_EQ(QvCText::Utf8(text), text);
  }
}

TEST(CText, ReplacesBytesOfNoCharacter) {
  EXPECT_EQ(QvCText::Utf8("a\xff"
                          "b"),
            "a?b");
  EXPECT_EQ(QvCText::Utf8("\xc3"), "?");
  EXPECT_EQ(QvCText::Utf8("\xe6\xb8"
                          "x"),
            "??x");
  EXPECT_EQ(QvCText::Utf8("\x80\xc3\xa9"), "?\xc3\xa9");
  // Too long for its number, half of a pair, larger than any.
  EXPECT_EQ(QvCText::Utf8("\xc0\x80"), "??");
  EXPECT_EQ(QvCText::Utf8("\xe0\x80\x80"), "???");
  EXPECT_EQ(QvCText::Utf8("\xed\xa0\x80"), "???");
  EXPECT_EQ(QvCText::Utf8("\xf0\x80\x80\x80"), "????");
  EXPECT_EQ(QvCText::Utf8("\xf4\x90\x80\x80"), "????");
}

TEST(CText, LosesItsMiddleWhenItIsLong) {
  EXPECT_EQ(QvCText::Shortened("0123456789", 10), "0123456789");
  EXPECT_EQ(QvCText::Shortened("0123456789a", 10), "012...789a");
  EXPECT_EQ(QvCText::Shortened("0123456789a", 3), "...");
}

TEST(CText, IsCutBetweenCharacters) {
  std::string text;
  for (int i = 0; i < 20; ++i) text += "\xe6\xb8\xac";
  for (std::size_t longest = 3; longest < text.size(); ++longest) {
    const std::string shown = QvCText::Shortened(text, longest);
    EXPECT_LE(shown.size(), longest);
    EXPECT_EQ(QvCText::Utf8(shown), shown);
    EXPECT_EQ(shown.find('?'), std::string::npos);
  }
}

}  // namespace
}  // namespace qvtest
