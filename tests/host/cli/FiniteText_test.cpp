#include "tests/host/cli/FiniteText.h"

#include <gtest/gtest.h>

namespace qvhost {
namespace {

using Words = std::vector<std::string>;

TEST(NonFiniteWords, AreFoundHoweverWritten) {
  EXPECT_EQ(NonFiniteWords("x  nan  -inf\n{\"a\": NaN, \"b\": -Infinity} 1.#IND -nan(ind)"),
            (Words{"nan", "inf", "nan", "infinity", "ind", "nan", "ind"}));
  EXPECT_EQ(NonFiniteWords("inf"), Words{"inf"});
}

TEST(NonFiniteWords, AreNoPartsOfOtherWords) {
  EXPECT_EQ(NonFiniteWords("information, finance, kind; -1.5e+300 null 0"), Words{});
  EXPECT_EQ(NonFiniteWords(""), Words{});
}

}  // namespace
}  // namespace qvhost
