#include "host/table/MissingStrings.h"

#include <string>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

TEST(MissingStrings, FindsEachOfTheDefaultsWithBlanksAround) {
  const MissingStrings missing(MissingStrings::Default());
  for (std::size_t i = 0; i < MissingStrings::Default().size(); ++i) {
    const std::string& text = MissingStrings::Default()[i];
    EXPECT_EQ(missing.Find(text), static_cast<int>(i)) << text;
    EXPECT_EQ(missing.Find(" \t" + text + "  "), static_cast<int>(i)) << text;
    EXPECT_EQ(missing.Find(text + "x"), MissingStrings::kValue) << text;
  }
}

TEST(MissingStrings, LeavesOtherTextsAlone) {
  const MissingStrings missing(MissingStrings::Default());
  for (const char* text : {"na", "Na", "NONE", "-1", ".5", "N", "N A", "#N", "unknown", "0"}) {
    EXPECT_EQ(missing.Find(text), MissingStrings::kValue) << text;
  }
}

TEST(MissingStrings, AnEmptyTextIsAlwaysMissing) {
  const MissingStrings none({""});
  EXPECT_TRUE(none.Strings().empty());
  for (const char* text : {"", " ", " \t "}) EXPECT_EQ(none.Find(text), MissingStrings::kEmpty);
  EXPECT_EQ(none.Find("NA"), MissingStrings::kValue);
}

TEST(MissingStrings, KeepsEachTextOnceWithoutBlanks) {
  const MissingStrings missing({" x ", "x", "", "not given"});
  EXPECT_EQ(missing.Strings(), (std::vector<std::string>{"x", "not given"}));
  EXPECT_EQ(missing.Find("not given"), 1);
}

TEST(MissingStrings, MayBeLevelsUnlessTheyMeanNothingElse) {
  for (const char* text : {"None", "none", "-", "?", ".", "unknown", "n.a.", "N A"}) {
    EXPECT_TRUE(MayBeLevel(text)) << text;
  }
  for (const char* text : {"", "NA", "na", "N/A", "n/a", "#N/A", "NaN", "nan", "NULL", "Null"}) {
    EXPECT_FALSE(MayBeLevel(text)) << text;
  }
}

}  // namespace
}  // namespace qvhost
