#include "host/formula/FormulaError.h"

#include <string>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

std::string Shown(const std::string& text, Place place) {
  return FormulaError::At(text, place, "Wrong.").what();
}

TEST(FormulaError, PutsTheCaretUnderThePlace) {
  EXPECT_EQ(Shown("y ~ pirce", {4, 9}), "Wrong.\n  y ~ pirce\n      ^");
  EXPECT_EQ(Shown("y", {0, 1}), "Wrong.\n  y\n  ^");
}

TEST(FormulaError, CarriesThePlaceAndTheCode) {
  const FormulaError error = FormulaError::At("y ~ pirce", {4, 9}, "Wrong.");
  EXPECT_EQ(error.Where(), (Place{4, 9}));
  EXPECT_EQ(error.Code(), ExitCode::kBadInput);
}

TEST(FormulaError, CountsCodePoints) {
  EXPECT_EQ(Shown("größe ~ b", {10, 11}), "Wrong.\n  größe ~ b\n          ^");
  EXPECT_EQ(Shown("😀 ~ b", {7, 8}), "Wrong.\n  😀 ~ b\n      ^");
}

TEST(FormulaError, ShowsControlCharactersAsBlanks) {
  EXPECT_EQ(Shown("y\n~\tb", {4, 5}), "Wrong.\n  y ~ b\n      ^");
}

TEST(FormulaError, ShowsBrokenTextAsQuestionMarks) {
  EXPECT_EQ(Shown("y \xFF\xC3 b", {5, 6}), "Wrong.\n  y ?? b\n       ^");
}

TEST(FormulaError, TakesAPlacePastTheEndAsTheEnd) {
  EXPECT_EQ(Shown("y ~", {9, 12}), "Wrong.\n  y ~\n     ^");
  EXPECT_EQ(Shown("", {0, 0}), "Wrong.\n  \n  ^");
}

TEST(FormulaError, ShowsTheSurroundingsInALongFormula) {
  const std::string text = std::string(100, 'a') + "X" + std::string(100, 'b');
  EXPECT_EQ(Shown(text, {100, 101}), "Wrong.\n  ..." + std::string(35, 'a') + "X" +
                                         std::string(34, 'b') + "...\n  " + std::string(38, ' ') +
                                         "^");
  EXPECT_EQ(Shown(text, {1, 2}),
            "Wrong.\n  " + std::string(70, 'a') + "...\n  " + std::string(1, ' ') + "^");
  EXPECT_EQ(Shown(text, {200, 201}),
            "Wrong.\n  ..." + std::string(70, 'b') + "\n  " + std::string(72, ' ') + "^");
  EXPECT_EQ(Shown(text, {201, 201}),
            "Wrong.\n  ..." + std::string(70, 'b') + "\n  " + std::string(73, ' ') + "^");
}

TEST(FormulaError, ShowsAFormulaOfTheFullWidthWhole) {
  const std::string text(70, 'a');
  EXPECT_EQ(Shown(text, {69, 70}), "Wrong.\n  " + text + "\n  " + std::string(69, ' ') + "^");
}

}  // namespace
}  // namespace qvhost
