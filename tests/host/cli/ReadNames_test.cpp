#include "host/cli/ReadNames.h"

#include <gtest/gtest.h>

#include "host/Error.h"

namespace qvhost {
namespace {

using Names = std::vector<std::string>;

std::string Refused(const std::string& list) {
  try {
    static_cast<void>(ReadNames("--keep", list));
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kBadInput);
    return error.what();
  }
  return "";
}

TEST(ReadNames, CommasSeparateThem) {
  EXPECT_EQ(ReadNames("--keep", "id"), Names{"id"});
  EXPECT_EQ(ReadNames("--keep", "id, zip code ,x"), (Names{"id", "zip code", "x"}));
}

TEST(ReadNames, QuotesTakeAnything) {
  EXPECT_EQ(ReadNames("--keep", R"("a, b",`c,d` , "all")"), (Names{"a, b", "c,d", "all"}));
  EXPECT_EQ(ReadNames("--keep", R"("say ""no""",`x``y`," ")"), (Names{"say \"no\"", "x`y", " "}));
  EXPECT_EQ(ReadNames("--keep", R"(12" wide)"), Names{"12\" wide"});
}

TEST(ReadNames, RefusesWhatIsNoList) {
  for (const char* list : {"", ",", "a,", "a,,b", " ", "\"\""}) {
    EXPECT_NE(Refused(list).find("has an empty name"), std::string::npos) << list;
  }
  EXPECT_NE(Refused("\"a").find("--keep '\"a' has a quote without an end."), std::string::npos);
  EXPECT_NE(Refused("\"a\" b").find("goes on after a name in quotes"), std::string::npos);
}

}  // namespace
}  // namespace qvhost
