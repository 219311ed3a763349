#include "host/fit/ReferenceLevel.h"

#include <gtest/gtest.h>

#include "host/Error.h"
#include "qvreg/settings/QvLogRegSettings.h"

namespace qvhost {
namespace {

using Levels = std::vector<std::string>;

CodedColumn Dependent(Levels levels) {
  CodedColumn column;
  column.label = "y";
  column.kind = CodedColumn::Kind::kFactor;
  column.levels = std::move(levels);
  return column;
}

int Find(const std::string& reference, const Levels& levels) {
  const TableSource source(DataSource{"", "", "SELECT 1 AS y"});
  return FindReferenceLevel(reference, Dependent(levels), source);
}

std::string MessageOf(const std::string& reference, const Levels& levels) {
  try {
    static_cast<void>(Find(reference, levels));
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kBadInput);
    return error.what();
  }
  return "";
}

TEST(ReferenceLevel, IsTheCodeOfItsText) {
  const Levels levels = {"agree", "doubt", "deny"};
  EXPECT_EQ(Find("agree", levels), 0);
  EXPECT_EQ(Find("doubt", levels), 1);
  EXPECT_EQ(Find("deny", levels), 2);
}

TEST(ReferenceLevel, FirstAndLastAreLeftToTheLibrary) {
  const Levels levels = {"agree", "doubt", "deny"};
  EXPECT_EQ(Find("first", levels), QvLogRegSettings::kFirstObserved);
  EXPECT_EQ(Find("last", levels), QvLogRegSettings::kLastObserved);
  EXPECT_EQ(Find("", levels), QvLogRegSettings::kLastObserved);
}

TEST(ReferenceLevel, ALevelOfThatNameGoesBefore) {
  const Levels levels = {"zero", "last", "first"};
  EXPECT_EQ(Find("first", levels), 2);
  EXPECT_EQ(Find("last", levels), 1);
}

TEST(ReferenceLevel, ALevelThatDoesNotExistIsRefusedWithTheNearest) {
  EXPECT_EQ(MessageOf("agreee", {"agree", "doubt"}),
            "'y' has no level 'agreee' to be the --reference; give one of its levels, first or "
            "last. Did you mean 'agree'?");
  EXPECT_EQ(MessageOf("Agree", {"agree", "doubt"}),
            "'y' has no level 'Agree' to be the --reference; give one of its levels, first or "
            "last. Did you mean 'agree'?");
  EXPECT_EQ(MessageOf("zzz", {"agree", "doubt"}),
            "'y' has no level 'zzz' to be the --reference; give one of its levels, first or last. "
            "Its levels are 'agree', 'doubt'.");
  EXPECT_EQ(MessageOf("zzz", {"1", "2", "3", "4", "5", "6"}),
            "'y' has no level 'zzz' to be the --reference; give one of its levels, first or last. "
            "Its levels are '1', '2', '3', '4', '5', ….");
}

TEST(ReferenceLevel, QuotesInALevelDoNoHarm) {
  EXPECT_EQ(Find("it's", {"it's", "\"so\""}), 0);
  EXPECT_EQ(MessageOf("it'", {"it's", "\"so\""}),
            "'y' has no level 'it'' to be the --reference; give one of its levels, first or last. "
            "Did you mean 'it's'?");
}

TEST(ReferenceLevel, ADependentWithoutAnyLevelHasNone) {
  EXPECT_EQ(Find("last", {}), QvLogRegSettings::kLastObserved);
  EXPECT_EQ(MessageOf("yes", {}),
            "'y' has no level 'yes' to be the --reference; give one of its levels, first or last.");
}

}  // namespace
}  // namespace qvhost
