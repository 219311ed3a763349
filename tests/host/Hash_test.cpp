#include "host/Hash.h"

#include <set>
#include <string>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

TEST(Hash, IsThatOfSplitMix64) {
  // The first two numbers of the generator from the seed 0.
  EXPECT_EQ(MixBits(0), 0xE220A8397B1DCDAFU);
  EXPECT_EQ(MixBits(0x9E3779B97F4A7C15U), 0x6E789E6AA1B965F4U);
}

TEST(Hash, ZerosOfBothSignsAreTheSame) {
  EXPECT_EQ(HashNumber(0.0), HashNumber(-0.0));
  EXPECT_NE(HashNumber(0.0), HashNumber(1.0));
}

TEST(Hash, TextsThatDifferInLengthOrOneByteDiffer) {
  std::set<std::uint64_t> hashes;
  std::string text;
  for (int i = 0; i < 40; ++i) {
    hashes.insert(HashText(text));
    hashes.insert(HashText(text + "x"));
    text.push_back('\0');
  }
  EXPECT_EQ(hashes.size(), 80U);
}

}  // namespace
}  // namespace qvhost
