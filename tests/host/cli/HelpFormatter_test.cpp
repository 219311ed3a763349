#include "host/cli/HelpFormatter.h"

#include <gtest/gtest.h>

namespace qvhost {
namespace {

TEST(Reflow, JoinsAndBreaksParagraphs) {
  EXPECT_EQ(Reflow("one two\nthree four five\n\nsix", 14), "one two three\nfour five\n\nsix\n");
}

TEST(Reflow, KeepsWhatAHeadingIntroduces) {
  EXPECT_EQ(Reflow("Words:\n  a b\n  c\nd", 40), "Words:\n  a b\n  c\nd\n");
  EXPECT_EQ(Reflow("Words:\nstand here", 40), "Words:\nstand here\n");
}

TEST(Reflow, ContinuesASecondColumn) {
  EXPECT_EQ(Reflow("  y ~ x            one two three four five six seven eight", 50),
            "  y ~ x            one two three four five six\n"
            "                   seven eight\n");
}

TEST(Reflow, JoinsAContinuedSecondColumn) {
  EXPECT_EQ(Reflow("  y ~ x            one two\n                   three", 50),
            "  y ~ x            one two three\n");
}

TEST(Reflow, GivesUpTheSecondColumnOfANarrowText) {
  EXPECT_EQ(Reflow("  y ~ x            one two three", 26),
            "  y ~ x            one two\n    three\n");
}

TEST(Reflow, IndentsTheRestOfALine) {
  EXPECT_EQ(Reflow("  abs sign round floor", 14), "  abs sign\n    round\n    floor\n");
}

TEST(Reflow, BreaksACommandBehindAnotherOutsideDoubleQuotes) {
  EXPECT_EQ(Reflow("  gunzip -c a.gz | qvreg fit -d - --sql \"SELECT 'a' FROM b\"", 40),
            "  gunzip -c a.gz | qvreg fit -d - \\\n    --sql \"SELECT 'a' FROM b\"\n");
}

TEST(Reflow, BreaksACommandSoThatItCanBePasted) {
  EXPECT_EQ(Reflow("  qvreg fit -d cars.csv -f 'a ~ b + c' --model linear", 38),
            "  qvreg fit -d cars.csv \\\n    -f 'a ~ b + c' --model linear\n");
  EXPECT_EQ(Reflow("  qvreg fit -f 'a ~ b + c + d + e'", 20),
            "  qvreg fit \\\n    -f 'a ~ b + c + d + e'\n")
      << "neither inside quotes nor between an option and its value";
}

}  // namespace
}  // namespace qvhost
