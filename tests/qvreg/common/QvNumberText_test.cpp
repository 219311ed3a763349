#include "qvreg/common/QvNumberText.h"

#include <bit>
#include <cstdint>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

using QvCommon::NumbersText;
using QvCommon::NumberText;
using QvCommon::ReadNumber;
using QvCommon::ReadNumbers;

namespace {

std::uint64_t BitsOf(double value) { return std::bit_cast<std::uint64_t>(value); }

TEST(QvNumberText, ReadsBackToTheSameBits) {
  std::vector<double> numbers = {0.0,
                                 -0.0,
                                 0.1,
                                 1e300,
                                 std::numeric_limits<double>::denorm_min(),
                                 -std::numeric_limits<double>::max(),
                                 std::numeric_limits<double>::infinity(),
                                 -std::numeric_limits<double>::infinity(),
                                 std::numeric_limits<double>::quiet_NaN(),
                                 -std::numeric_limits<double>::quiet_NaN(),
                                 std::bit_cast<double>(std::uint64_t{0x7ff8000000000123})};
  std::mt19937_64 random(3);
  for (int i = 0; i < 20000; ++i) numbers.push_back(std::bit_cast<double>(random()));
  for (const double number : numbers) {
    double read = 77.0;
    ASSERT_TRUE(ReadNumber(NumberText(number), read)) << NumberText(number);
    EXPECT_EQ(BitsOf(read), BitsOf(number)) << NumberText(number);
  }
}

TEST(QvNumberText, IsTheShortest) {
  EXPECT_EQ(NumberText(0.1), "0.1");
  EXPECT_EQ(NumberText(-2.0), "-2");
  EXPECT_EQ(NumberText(1e22), "1e+22");
  EXPECT_EQ(NumberText(std::numeric_limits<double>::infinity()), "INF");
  EXPECT_EQ(NumberText(std::numeric_limits<double>::quiet_NaN()), "NaN");
}

TEST(QvNumberText, RefusesWhatIsNoNumber) {
  double number = 5.0;
  for (const char* text :
       {"", " 1", "1 ", "1,5", "x", "inf", "nan", "infinity", "0x10", "1e999", "NaN:", "NaN:0",
        "NaN:zz", "NaN:3ff0000000000000", "NaN:11112222333344445"}) {
    EXPECT_FALSE(ReadNumber(text, number)) << text;
  }
  EXPECT_EQ(number, 5.0);
  int whole = 6;
  for (const char* text : {"", "1.5", "3000000000", "-", "+1", "1 2"}) {
    EXPECT_FALSE(ReadNumber(text, whole)) << text;
  }
  EXPECT_EQ(whole, 6);
  bool isTrue = true;
  EXPECT_FALSE(ReadNumber("2", isTrue));
  EXPECT_FALSE(ReadNumber("true", isTrue));
}

TEST(QvNumberText, ReadsListsOfNumbers) {
  const std::vector<double> numbers = {1.5, -0.0, 3e-5};
  std::vector<double> read;
  EXPECT_EQ(NumbersText(numbers), "1.5 -0 3e-05");
  ASSERT_TRUE(ReadNumbers(NumbersText(numbers), read));
  EXPECT_EQ(read, numbers);
  const std::vector<bool> flags = {true, false, true};
  std::vector<bool> readFlags;
  EXPECT_EQ(NumbersText(flags), "1 0 1");
  ASSERT_TRUE(ReadNumbers(NumbersText(flags), readFlags));
  EXPECT_EQ(readFlags, flags);
  ASSERT_TRUE(ReadNumbers("", read));
  EXPECT_TRUE(read.empty());
  for (const char* text : {" ", "1  2", "1 x", " 1"}) EXPECT_FALSE(ReadNumbers(text, read)) << text;
}

}  // namespace
