#include "host/NameList.h"

#include <gtest/gtest.h>

#include "host/Error.h"

namespace qvhost {
namespace {

using Names = std::vector<std::string>;

std::string Refused(const std::string& list) {
  try {
    static_cast<void>(ReadNameList("--keep", list));
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kBadInput);
    return error.what();
  }
  return "";
}

TEST(NameList, CommasSeparateThem) {
  EXPECT_EQ(ReadNameList("--keep", "id"), Names{"id"});
  EXPECT_EQ(ReadNameList("--keep", "id, zip code ,x"), (Names{"id", "zip code", "x"}));
}

TEST(NameList, QuotesTakeAnything) {
  EXPECT_EQ(ReadNameList("--keep", R"("a, b",`c,d` , "all")"), (Names{"a, b", "c,d", "all"}));
  EXPECT_EQ(ReadNameList("--keep", R"("so ""it, too"" is","say ""no""",`x``y`," ")"),
            (Names{"so \"it, too\" is", "say \"no\"", "x`y", " "}));
  EXPECT_EQ(ReadNameList("--keep", R"(c, " a " ,"")"), (Names{"c", " a ", ""}));
  EXPECT_EQ(ReadNameList("--keep", R"(12" wide)"), Names{"12\" wide"});
}

TEST(NameList, RefusesWhatIsNoList) {
  for (const char* list : {"", ",", "a,", "a,,b", " "}) {
    EXPECT_EQ(Refused(list), std::string("--keep '") + list +
                                 "' has an entry without a text; where that is meant, write \"\".");
  }
  EXPECT_NE(Refused("\"a").find("--keep '\"a' has a quote without an end;"), std::string::npos);
  EXPECT_NE(Refused("\"a\" b").find("goes on after an entry in quotes"), std::string::npos);
}

}  // namespace
}  // namespace qvhost
