#include "host/Text.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

using Names = std::vector<std::string>;

std::string Nearest(const std::string& wanted, const Names& names) {
  return NearestName(wanted, names).value_or("none");
}

TEST(AsciiCase, IsThatOfLettersOfAscii) {
  EXPECT_EQ(LowerAscii('A'), 'a');
  EXPECT_EQ(LowerAscii('Z'), 'z');
  EXPECT_EQ(UpperAscii('a'), 'A');
  EXPECT_EQ(UpperAscii('z'), 'Z');
  for (const char c : {'@', '[', '`', '{', '1', '\xC4'}) {
    EXPECT_EQ(LowerAscii(c), c);
    EXPECT_EQ(UpperAscii(c), c);
    EXPECT_FALSE(IsUpperAscii(c));
  }
  EXPECT_TRUE(IsUpperAscii('A') && IsUpperAscii('Z'));
  EXPECT_FALSE(IsUpperAscii('a'));
}

// ---- The nearest name -------------------------------------------------------

TEST(NearestName, IsOneEditAway) {
  const Names names = {"age", "income", "species"};
  EXPECT_EQ(Nearest("incom", names), "income");
  EXPECT_EQ(Nearest("incomme", names), "income");
  EXPECT_EQ(Nearest("inkome", names), "income");
  EXPECT_EQ(Nearest("icnome", names), "income");
  EXPECT_EQ(Nearest("nl", {"ln"}), "ln") << "a swap is one edit";
  EXPECT_EQ(Nearest("INCOME", names), "income");
}

TEST(NearestName, MayHaveAThirdOfItsLettersWrong) {
  EXPECT_EQ(Nearest("abcdef", {"abcdxy"}), "abcdxy");
  EXPECT_EQ(Nearest("abcdef", {"abcxyz"}), "none");
  EXPECT_EQ(Nearest("ab", {"a"}), "a");
  EXPECT_EQ(Nearest("ab", {"xy"}), "none");
  EXPECT_EQ(Nearest("a", {"b"}), "none") << "nothing in common";
  EXPECT_EQ(Nearest("", {"", "a"}), "none");
}

TEST(NearestName, IsTheBestOfSeveral) {
  EXPECT_EQ(Nearest("weigth", {"height", "weights", "weight"}), "weight");
  EXPECT_EQ(Nearest("ag", {"A", "Age"}), "Age") << "the longer common start";
  EXPECT_EQ(Nearest("x1", {"x3", "x2", "y"}), "x2") << "the alphabet";
}

TEST(NearestName, BeginsAlike) {
  EXPECT_EQ(Nearest("flipper", {"bill_length", "flipper_length_mm"}), "flipper_length_mm");
  EXPECT_EQ(Nearest("Flipper", {"flipper_length_mm", "flipper_mm"}), "flipper_mm") << "the shorter";
  EXPECT_EQ(Nearest("agreement", {"deny", "agr", "agree"}), "agree") << "the longer";
  EXPECT_EQ(Nearest("flipper", {"flipper_length_mm", "flapper"}), "flapper") << "an edit is nearer";
  EXPECT_EQ(Nearest("fl", {"flow"}), "flow");
  EXPECT_EQ(Nearest("fl", {"flipper_length_mm"}), "none") << "two letters are too few";
  EXPECT_EQ(Nearest("f", {"f1"}), "none");
  EXPECT_EQ(Nearest("year", {"year_of_the_data"}), "year_of_the_data");
  EXPECT_EQ(Nearest("years", {"years_of_the_long_survey"}), "none") << "over four times as long";
  EXPECT_EQ(Nearest("length", {"flipper_length_mm"}), "none");
  EXPECT_EQ(Nearest("age of the vessel", {"age"}), "none") << "too short for so long a name";
  EXPECT_EQ(Nearest("age", {"age of the vessel"}), "none");
}

TEST(NearestName, OfALongTextTakesNoTime) {
  const std::string text(200'000, 'x');
  EXPECT_EQ(Nearest(text, {text + 'y', text + "yy"}), text + 'y');
  EXPECT_EQ(Nearest(text, {std::string(200'000, 'z')}), "none");
}

TEST(NearestName, EndsAMessage) {
  EXPECT_EQ(DidYouMean("incom", {"age", "income"}), " Did you mean 'income'?");
  EXPECT_EQ(DidYouMean("tax", {"age", "income"}), "");
}

// ---- Lists ------------------------------------------------------------------

TEST(NameList, HasFiveNamesAtMost) {
  EXPECT_EQ(NameList({}), "");
  EXPECT_EQ(NameList({"a", "b"}), "'a', 'b'");
  EXPECT_EQ(NameList({"1", "2", "3", "4", "5", "6"}), "'1', '2', '3', '4', '5', …");
}

TEST(ChoiceText, JoinsTheLastTwoByOr) {
  EXPECT_EQ(ChoiceText({}), "");
  EXPECT_EQ(ChoiceText({"a"}), "'a'");
  EXPECT_EQ(ChoiceText({"a", "b"}), "'a' or 'b'");
  EXPECT_EQ(ChoiceText({"a", "b", "c"}), "'a', 'b' or 'c'");
}

// ---- UTF-8 ------------------------------------------------------------------

TEST(CutText, CutsAfterAWholeCharacter) {
  std::string text = "aé日z";
  CutText(text, 7);
  EXPECT_EQ(text, "aé日z");
  CutText(text, 5);
  EXPECT_EQ(text, "aé…");
  text = "日本";
  CutText(text, 2);
  EXPECT_EQ(text, "…");
}

std::string WithoutMiddle(std::string text, std::size_t length) {
  CutMiddle(text, length);
  return text;
}

TEST(CutMiddle, LeavesShortTexts) { EXPECT_EQ(WithoutMiddle("abcdef", 6), "abcdef"); }

TEST(CutMiddle, LeavesBothEnds) { EXPECT_EQ(WithoutMiddle("abcdefg", 6), "abc…efg"); }

TEST(CutMiddle, LeavesWholeCharacters) {
  EXPECT_EQ(WithoutMiddle("aé日本z", 8), "aé…本z");
  EXPECT_EQ(WithoutMiddle("aé日本z", 6), "aé…z");
  EXPECT_EQ(WithoutMiddle("日本", 2), "…");
}

TEST(ShellWord, IsQuotedWhereAShellWouldReadIt) {
  EXPECT_EQ(ShellWord("data/a-b_1.csv"), "data/a-b_1.csv");
  EXPECT_EQ(ShellWord("y ~ x"), "'y ~ x'");
  EXPECT_EQ(ShellWord("y~`odd name`"), "'y~`odd name`'");
  EXPECT_EQ(ShellWord("it's"), "'it'\\''s'");
  EXPECT_EQ(ShellWord("$HOME"), "'$HOME'");
  EXPECT_EQ(ShellWord(""), "''");
}

TEST(Printable, ReplacesControlCharactersOnly) {
  EXPECT_EQ(Printable("a\nb\tc\x1b[2Jé"), "a b c [2Jé");
  EXPECT_EQ(Printable("a\u202eb\u2069\u05d0"), "a b \u05d0");
}

}  // namespace
}  // namespace qvhost
