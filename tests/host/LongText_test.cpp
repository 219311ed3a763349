#include "host/LongText.h"

#include <cstddef>
#include <string>
#include <utility>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

std::string Cut(std::string text, std::size_t length) {
  CutMiddle(text, length);
  return text;
}

TEST(CutMiddle, LeavesShortTexts) { EXPECT_EQ(Cut("abcdef", 6), "abcdef"); }

TEST(CutMiddle, LeavesBothEnds) { EXPECT_EQ(Cut("abcdefg", 6), "abc…efg"); }

TEST(CutMiddle, LeavesWholeCharacters) {
  EXPECT_EQ(Cut("aé日本z", 8), "aé…本z");
  EXPECT_EQ(Cut("aé日本z", 6), "aé…z");
  EXPECT_EQ(Cut("日本", 2), "…");
}

}  // namespace
}  // namespace qvhost
