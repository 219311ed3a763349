#include "host/fit/ContrastText.h"

#include <string>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/Error.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

const Strings kNames = {"species", "sex", "x", "x y", "C(a = 1)", "log(x)", "a", "ab"};

/// What was read: `1*[species|Gentoo][sex|male] -0.5*[x|10]`.
std::string Read(const std::string& text) {
  std::string read;
  for (const WrittenCell& cell : ReadContrast(text, kNames)) {
    read += fmt::format("{}{}*", read.empty() ? "" : " ", cell.weight);
    for (const WrittenCondition& condition : cell.conditions) {
      read += fmt::format("[{}|{}]", condition.name, condition.value);
    }
  }
  return read;
}

std::string MessageOf(const std::string& text) {
  try {
    return Read(text);
  } catch (const Error& error) {
    return error.what();
  }
}

TEST(ContrastText, HasTermsWithSignsAndWeights) {
  EXPECT_EQ(Read("species=Gentoo - species=Adelie"), "1*[species|Gentoo] -1*[species|Adelie]");
  EXPECT_EQ(Read("-species=Gentoo + 0.5 * sex=male+0.25*sex=x"),
            "-1*[species|Gentoo] 0.5*[sex|male+0.25*sex=x]");
  EXPECT_EQ(Read("1/4*sex=male - 2e-1*sex=female"), "0.25*[sex|male] -0.2*[sex|female]");
  EXPECT_EQ(Read("  sex = male  "), "1*[sex|male]");
  EXPECT_EQ(Read("sex==male"), "1*[sex|male]");
}

TEST(ContrastText, HasConditionsTogether) {
  EXPECT_EQ(Read("species=Gentoo & sex=male - species=Adelie,sex=male"),
            "1*[species|Gentoo][sex|male] -1*[species|Adelie][sex|male]");
}

TEST(ContrastText, HasNumbersAndNamesWithSigns) {
  EXPECT_EQ(Read("x=-5 - x=1e-3"), "1*[x|-5] -1*[x|1e-3]");
  EXPECT_EQ(Read("species=New-York - species=Aix en Provence"),
            "1*[species|New-York] -1*[species|Aix en Provence]");
}

TEST(ContrastText, HasQuotes) {
  EXPECT_EQ(Read("species=\"a - b\" - species='it''s, so & so'"),
            "1*[species|a - b] -1*[species|it's, so & so]");
  EXPECT_EQ(Read("`odd ``name`=1"), "1*[odd `name|1]");
  EXPECT_EQ(Read("species=\"\""), "1*[species|]");
}

TEST(ContrastText, FindsNamesWithSignsInThem) {
  EXPECT_EQ(Read("C(a = 1)=true - c(a=1)=false"), "1*[C(a = 1)|true] -1*[C(a = 1)|false]");
  EXPECT_EQ(Read("x y=1 - ab=2 - a=3"), "1*[x y|1] -1*[ab|2] -1*[a|3]");
  EXPECT_EQ(Read("SPECIES=Gentoo"), "1*[species|Gentoo]");
  EXPECT_EQ(Read("other=1"), "1*[other|1]");
}

TEST(ContrastText, SaysWhatIsWrong) {
  EXPECT_EQ(MessageOf("species"),
            "--contrast 'species': 'species' is no condition; write one as NAME=VALUE, such as "
            "species=Gentoo.");
  EXPECT_EQ(MessageOf("sex=male -"),
            "--contrast 'sex=male -': '' is no condition; write one as NAME=VALUE, such as "
            "species=Gentoo.");
  EXPECT_EQ(MessageOf("sex= - sex=male"), "1*[sex|- sex=male]");
  EXPECT_EQ(MessageOf("sex=& x=1"), "--contrast 'sex=& x=1': a value is missing after 'sex='.");
  EXPECT_EQ(MessageOf("sex=\"male"), "--contrast 'sex=\"male': \"male has no end.");
  EXPECT_EQ(MessageOf("sex=\"male\" sex=female"),
            "--contrast 'sex=\"male\" sex=female': 'sex=female' is left over behind the value in "
            "quotes.");
}

TEST(ContrastText, MeansAreNamesWithColons) {
  EXPECT_EQ(ReadMeans("species", kNames), (Strings{"species"}));
  EXPECT_EQ(ReadMeans(" Species : `x y`:other ", kNames), (Strings{"species", "x y", "other"}));
  EXPECT_THROW((void)ReadMeans("species:", kNames), Error);
  EXPECT_THROW((void)ReadMeans("`species` sex", kNames), Error);
}

}  // namespace
}  // namespace qvhost
