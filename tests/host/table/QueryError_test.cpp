#include "host/table/QueryError.h"

#include <gtest/gtest.h>

namespace qvhost {
namespace {

TEST(QueryErrorTest, KeepsTheSentenceAndDropsTheRest) {
  EXPECT_EQ(ShortMessage("Binder Error: Referenced column \"y\" not found in FROM clause!\n"
                         "Candidate bindings: \"x\"\n\nLINE 1: SELECT y\n               ^"),
            "Referenced column \"y\" not found in FROM clause!");
  EXPECT_EQ(ShortMessage("Conversion Error: CSV Error on Line: 3\nOriginal Line: a\n"
                         "Error when converting column \"x\"\n\nfile = x.csv"),
            "CSV Error on Line: 3; Error when converting column \"x\".");
  EXPECT_EQ(ShortMessage("no kind in front"), "no kind in front.");
  EXPECT_EQ(ShortMessage(""), "DuckDB gave no reason.");
  EXPECT_EQ(ShortMessage("Parser Error: \n\n"), "DuckDB gave no reason.");
}

TEST(QueryErrorTest, CutsALongMessageBetweenCharacters) {
  std::string text = "x";
  for (int i = 0; i < 400; ++i) text += "é";
  const std::string cut = ShortMessage(text);
  EXPECT_EQ(cut.size(), 399U + std::string("….").size());
  EXPECT_TRUE(cut.ends_with("é….")) << cut;
}

TEST(QueryErrorTest, TakesAReasonThatIsNotThere) {
  const char* const none = nullptr;
  EXPECT_STREQ(QueryError(none).what(), "DuckDB gave no reason.");
}

TEST(QueryErrorTest, KnowsBadInputFromAFailedRun) {
  EXPECT_EQ(QueryError("Binder Error: x").Code(), ExitCode::kBadInput);
  EXPECT_EQ(QueryError("IO Error: x").Code(), ExitCode::kBadInput);
  EXPECT_EQ(QueryError("Out of Memory Error: x").Code(), ExitCode::kRunFailed);
  EXPECT_TRUE(QueryError("Invalid Input Error: This file is not utf-8 encoded.").IsEncoding());
  EXPECT_FALSE(QueryError("Binder Error: x").IsEncoding());
}

}  // namespace
}  // namespace qvhost
