#include "host/fit/LibraryNumber.h"

#include <limits>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

TEST(LibraryNumber, IsTheNumberItself) {
  for (const double value : {0.0, -0.25, 1e300, 5e-324, std::numeric_limits<double>::max()}) {
    EXPECT_EQ(LibraryNumber(value), value);
  }
}

TEST(LibraryNumber, IsNoneForWhatDoesNotExist) {
  EXPECT_FALSE(LibraryNumber(QvMV::gMissingValue).has_value());
  EXPECT_FALSE(LibraryNumber(std::numeric_limits<double>::infinity()).has_value());
  EXPECT_FALSE(LibraryNumber(-std::numeric_limits<double>::infinity()).has_value());
  EXPECT_FALSE(LibraryNumber(std::numeric_limits<double>::quiet_NaN()).has_value());
}

}  // namespace
}  // namespace qvhost
