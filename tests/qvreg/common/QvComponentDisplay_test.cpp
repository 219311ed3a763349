#include "qvreg/common/QvComponentDisplay.h"

#include <climits>
#include <cmath>
#include <string>

#include <gtest/gtest.h>

#include "tests/qvreg/support/CapturedOutput.h"

namespace {

using qvtest::OutputOf;

TEST(QvComponentDisplay, PrintsOneLabelledLineAValue) {
  using namespace QvComponentDisplay;
  EXPECT_EQ(OutputOf([] { DisplayB("On", true); }), "On: true\n");
  EXPECT_EQ(OutputOf([] { DisplayB("On", false); }), "On: false\n");
  EXPECT_EQ(OutputOf([] { DisplayI("Least", INT_MIN); }), "Least: -2147483648\n");
  EXPECT_EQ(OutputOf([] { DisplayCount("Many", 3'000'000'000LL); }), "Many: 3000000000\n");
  EXPECT_EQ(OutputOf([] { DisplayD("Half", 0.5); }), "Half: 0.5\n");
  EXPECT_EQ(OutputOf([] { DisplayS("Type", "Factor"); }), "Type: Factor\n");
}

TEST(QvComponentDisplay, PrintsADoubleThatReadsBack) {
  const double third = 1.0 / 3.0;
  const std::string line = OutputOf([=] { QvComponentDisplay::DisplayD("x", third); });
  EXPECT_EQ(std::stod(line.substr(line.find(' '))), third);
}

TEST(QvComponentDisplay, PrintsAVectorOnOneLine) {
  EXPECT_EQ(OutputOf([] {
              QvComponentDisplay::DisplayIV("Codes", {3, -1, 0});
            }),
            "Codes: 3 -1 0\n");
  EXPECT_EQ(OutputOf([] { QvComponentDisplay::DisplayIV("None", {}); }), "None:\n");
  EXPECT_EQ(OutputOf([] { QvComponentDisplay::DisplayDV("None", {}, true); }), "None:\n");
}

TEST(QvComponentDisplay, PrintsDoublesShortOrExact) {
  const double root = std::sqrt(2.0);
  EXPECT_EQ(OutputOf([=] {
              QvComponentDisplay::DisplayDV("v", {0.5, root}, false);
            }),
            "v: 0.5 1.41421\n");
  const std::string exact = OutputOf([=] { QvComponentDisplay::DisplayDV("v", {root}, true); });
  EXPECT_EQ(std::stod(exact.substr(exact.find(' '))), root);
}

TEST(QvComponentDisplay, PrintsTextAsALineOfItsOwn) {
  EXPECT_EQ(OutputOf([] { QvComponentDisplay::DisplayText(2, "Heading"); }), "Heading\n");
  EXPECT_EQ(OutputOf([] { QvComponentDisplay::DisplayText(2, std::string("Heading")); }),
            "Heading\n");
  EXPECT_EQ(OutputOf([] { QvComponentDisplay::DisplayText(1, "Heading"); }), "Heading\n");
}

TEST(QvComponentDisplay, IndentsTextBelowAHeadingByTwoForEachLevel) {
  EXPECT_EQ(OutputOf([] { QvComponentDisplay::DisplayText(3, "Text"); }), "  Text\n");
  EXPECT_EQ(OutputOf([] { QvComponentDisplay::DisplayText(5, "Text"); }), "      Text\n");
}

TEST(QvComponentDisplay, TakesAPercentSignAsItStands) {
  EXPECT_EQ(OutputOf([] { QvComponentDisplay::DisplayText(2, "100 %d"); }), "100 %d\n");
  EXPECT_EQ(OutputOf([] { QvComponentDisplay::DisplayS("%s", "%n"); }), "%s: %n\n");
}

}  // namespace
