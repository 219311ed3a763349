#include "host/table/Booleans.h"

#include <gtest/gtest.h>

namespace qvhost {
namespace {

using Counts = std::vector<std::pair<std::string, std::int64_t>>;

void ExpectSpelling(const char* text, const char* no, const char* yes) {
  const auto texts = SpellingOf(text);
  ASSERT_TRUE(texts.has_value()) << text;
  EXPECT_EQ(texts->no, no) << text;
  EXPECT_EQ(texts->yes, yes) << text;
}

TEST(Booleans, TruthOfATextInAnyCase) {
  for (const char* text : {"true", "T", "Yes", "y", "1"}) EXPECT_EQ(TruthOf(text), true) << text;
  for (const char* text : {"false", "f", "NO", "N", "0"}) EXPECT_EQ(TruthOf(text), false) << text;
  for (const char* text : {"", "on", "2", "yess", " true", "tr"}) {
    EXPECT_EQ(TruthOf(text), std::nullopt) << text;
  }
}

TEST(Booleans, ATextTellsItsPartner) {
  ExpectSpelling("yes", "no", "yes");
  ExpectSpelling("No", "No", "Yes");
  ExpectSpelling("FALSE", "FALSE", "TRUE");
  ExpectSpelling("T", "F", "T");
  ExpectSpelling("n", "n", "y");
  ExpectSpelling("0", "0", "1");
  ExpectSpelling("tRUE", "false", "true");
  ExpectSpelling("TRue", "false", "true");
  EXPECT_FALSE(SpellingOf("maybe").has_value());
  EXPECT_FALSE(SpellingOf("").has_value());
}

TEST(Booleans, TheMostFrequentSpellingIsTheUsualOne) {
  EXPECT_EQ(UsualSpelling({{"yes", 2}, {"NO", 3}, {"YES", 1}}), (BooleanTexts{"NO", "YES"}));
  EXPECT_EQ(UsualSpelling({{"t", 1}}), (BooleanTexts{"f", "t"})) << "one value tells both";
  EXPECT_EQ(UsualSpelling({{"NA", 90}, {"no", 1}}), (BooleanTexts{"no", "yes"}));
}

TEST(Booleans, LowerCaseWinsATie) {
  EXPECT_EQ(UsualSpelling({{"TRUE", 3}, {"true", 3}}), (BooleanTexts{"false", "true"}));
  EXPECT_EQ(UsualSpelling({{"t", 3}, {"F", 3}}), (BooleanTexts{"f", "t"}));
  EXPECT_EQ(UsualSpelling({{"NO", 3}, {"True", 3}}), (BooleanTexts{"False", "True"})) << "by bytes";
}

TEST(Booleans, WithoutAnyTheyAreFalseAndTrue) {
  EXPECT_EQ(UsualSpelling({}), BooleanTexts{});
  EXPECT_EQ(UsualSpelling({{"NA", 5}}), (BooleanTexts{"false", "true"}));
}

}  // namespace
}  // namespace qvhost
