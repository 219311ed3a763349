#include "host/fit/LevelOptions.h"

#include <gtest/gtest.h>

#include "host/Error.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

/// y ~ b + C(x) + z + `odd name`: b, C(x) and the odd name are factors.
class LevelOptionsTest : public ::testing::Test {
 protected:
  [[nodiscard]] LevelOptions Read(const Strings& bases, const Strings& levels = {}) const {
    return {bases, levels, formula_, {true, true, false, true}, isCategory_};
  }

  [[nodiscard]] std::string RefusalText(const Strings& bases, const Strings& levels = {}) const {
    const Refusal refusal = RefusalOf([&] {
      const LevelOptions options = Read(bases, levels);
      for (const Variable& variable : formula_.variables) static_cast<void>(options.Of(variable));
      static_cast<void>(options.OfDependent());
    });
    EXPECT_EQ(refusal.code, ExitCode::kBadInput);
    return refusal.text;
  }

  [[nodiscard]] std::optional<std::string> BaseOf(std::size_t variable,
                                                  const std::string& base) const {
    return Read({base}).Of(formula_.variables[variable]).base;
  }

  Formula formula_ = ParseFormula("y ~ b + C(x) + z + `odd name`");
  bool isCategory_ = true;
};

// ---- Which factor -------------------------------------------------------------

TEST_F(LevelOptionsTest, AFactorIsCalledByItsColumnOrAsTheFormulaHasIt) {
  EXPECT_EQ(BaseOf(0, "b=0"), "0");
  EXPECT_EQ(BaseOf(1, "x=1950"), "1950");
  EXPECT_EQ(BaseOf(1, "C(x)=1950"), "1950");
  EXPECT_EQ(BaseOf(3, "odd name=a"), "a");
  EXPECT_EQ(BaseOf(3, "`odd name`=a"), "a");
  EXPECT_EQ(BaseOf(0, "B = 0"), "0") << "as columns, in either case of letters";
  EXPECT_EQ(BaseOf(1, "c( X )=0"), "0") << "blanks do not matter";
  EXPECT_EQ(BaseOf(0, "x=1"), std::nullopt) << "that is another factor";
}

TEST_F(LevelOptionsTest, TheFirstLevelOfAllOtherFactors) {
  const LevelOptions options = Read({"first", "b=0"});
  EXPECT_EQ(options.Of(formula_.variables[0]).base, "0");
  EXPECT_EQ(options.Of(formula_.variables[1]).base, std::nullopt);
  EXPECT_TRUE(options.Of(formula_.variables[1]).isFirstBase);
  EXPECT_FALSE(Read({"b=0"}).Of(formula_.variables[1]).isFirstBase);
  EXPECT_FALSE(options.OfDependent().isFirstBase);
}

TEST_F(LevelOptionsTest, ALevelMayHoldAnything) {
  EXPECT_EQ(BaseOf(0, "b=a=c"), "a=c");
  EXPECT_EQ(BaseOf(0, "b=a,b"), "a,b");
  EXPECT_EQ(BaseOf(0, "b=\" a \""), " a ");
  EXPECT_EQ(BaseOf(0, "b=\"so \"\"it\"\" is\""), "so \"it\" is");
  EXPECT_EQ(BaseOf(0, "b="), "") << "an empty text";
}

TEST_F(LevelOptionsTest, ALongerNameGoesBefore) {
  formula_ = ParseFormula("y ~ a + C(a = b) + z + d");
  EXPECT_EQ(BaseOf(1, "a = b=true"), "true");
  EXPECT_EQ(BaseOf(1, "C(a = b)=true"), "true");
  EXPECT_EQ(BaseOf(0, "a = c=true"), "c=true");
  EXPECT_EQ(BaseOf(0, "a=b=true"), "b=true") << "a is spelled so";
}

TEST_F(LevelOptionsTest, RefuseAFactorThatDoesNotExist) {
  EXPECT_EQ(RefusalText({"bb=0"}),
            "There is no factor 'bb' for --base. Did you mean 'b'? The factors of the model are "
            "'b', 'x', 'odd name'.");
  EXPECT_EQ(RefusalText({}, {"size=S,M"}),
            "There is no factor 'size' for --levels. The factors of the model are 'b', 'x', 'odd "
            "name'.");
  formula_ = ParseFormula("y ~ u + v + w + z");
  EXPECT_EQ(
      RefusalOf([&] {
        static_cast<void>(LevelOptions({"bb=0"}, {}, formula_, {false, false, false, false}, true));
      }).text,
      "There is no factor 'bb' for --base. The model has no factor.");
}

TEST_F(LevelOptionsTest, RefuseANumber) {
  EXPECT_EQ(RefusalText({"z=0"}),
            "'z' is a number in this model and has no levels for --base; to make a factor of it, "
            "write C(z) in the formula.");
  isCategory_ = false;
  EXPECT_EQ(RefusalText({}, {"y=0,1"}),
            "'y' is a number in this model and has no levels for --levels; to make a factor of it, "
            "write C(y) in the formula.");
}

TEST_F(LevelOptionsTest, TheDependentHasAnOrderAndAReference) {
  EXPECT_EQ(Read({}, {"y=b,a"}).OfDependent().order, (Strings{"b", "a"}));
  EXPECT_EQ(RefusalText({"y=a"}),
            "'y' is the dependent; choose the level that the others are compared with by "
            "--reference.");
}

TEST_F(LevelOptionsTest, RefuseATextWithoutASign) {
  EXPECT_EQ(RefusalText({"b"}), "--base takes a factor and a level, such as b=0, not 'b'.");
  EXPECT_EQ(RefusalText({"=b"}), "--base takes a factor and a level, such as b=0, not '=b'.");
  EXPECT_EQ(RefusalText({}, {"S,M"}),
            "--levels takes a factor and its levels, such as size=small,medium,large, not 'S,M'.");
}

// ---- Several choices ----------------------------------------------------------

TEST_F(LevelOptionsTest, EachFactorHasItsOwn) {
  const LevelOptions options = Read({"b=0", "x=1"}, {"b=2,1", "odd name=q"});
  EXPECT_EQ(options.Of(formula_.variables[0]).base, "0");
  EXPECT_EQ(options.Of(formula_.variables[0]).order, (Strings{"2", "1"}));
  EXPECT_EQ(options.Of(formula_.variables[1]).base, "1");
  EXPECT_EQ(options.Of(formula_.variables[1]).order, Strings{});
  EXPECT_EQ(options.Of(formula_.variables[3]).order, Strings{"q"});
}

TEST_F(LevelOptionsTest, TheFormulaMayNameTheBase) {
  formula_.variables[0].base = "a";
  EXPECT_EQ(Read({}).Of(formula_.variables[0]).base, "a");
  EXPECT_EQ(Read({"b=a"}).Of(formula_.variables[0]).base, "a") << "the same twice";
  EXPECT_EQ(RefusalText({"b=c"}),
            "The base of 'b' is 'a' in the formula and 'c' in --base; leave one of them out.");
}

TEST_F(LevelOptionsTest, RefuseTwoChoicesOfOneFactor) {
  EXPECT_EQ(RefusalText({"x=1", "C(x)=2"}),
            "The base of 'x' is '1' in one --base and '2' in another; leave one of them out.");
  EXPECT_EQ(RefusalText({}, {"x=1", "x=2"}), "--levels is given twice for 'x'.");
  EXPECT_EQ(RefusalText({}, {"y=1", "y=2"}), "--levels is given twice for 'y'.");
}

// ---- A list of levels -----------------------------------------------------------

}  // namespace
}  // namespace qvhost
