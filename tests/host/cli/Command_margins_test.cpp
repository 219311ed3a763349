// --margins as users give it.

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandOnTable.h"

namespace qvhost {
namespace {

constexpr int kBadInput = 2;

class CommandMargins : public CommandOnTable {
 protected:
  void SetUp() override {
    std::string rows = "y,x,z,g,k\n";
    for (int i = 0; i < 40; ++i) {
      rows += std::to_string((i * i) % 11) + "," + std::to_string(i % 9) + "," +
              std::to_string(i % 4) + "," + (i % 2 == 0 ? "a" : "b") + "," +
              (i * i % 5 < 2 ? "no" : "yes") + "\n";
    }
    folder_.Write("in.csv", rows);
  }
};

TEST_F(CommandMargins, AreInTheJsonWhenAskedFor) {
  EXPECT_TRUE(Json("y ~ x + g", {})["margins"].is_null());
  const nlohmann::json margins = Json("y ~ x + g", {"--margins"})["margins"];
  ASSERT_EQ(margins.size(), 2U);
  EXPECT_EQ(margins[0]["variable"], "x");
  EXPECT_TRUE(margins[0]["level"].is_null());
  EXPECT_TRUE(margins[0]["contrast"].is_null());
  EXPECT_EQ(margins[1]["variable"], "g");
  EXPECT_EQ(margins[1]["level"], "a");
  EXPECT_EQ(margins[1]["contrast"], "a - b");
  EXPECT_FALSE(margins[1].contains("category"));
  for (const char* key : {"effect", "std_error", "statistic", "p_value", "lower", "upper"}) {
    EXPECT_TRUE(margins[1][key].is_number()) << key;
  }
}

TEST_F(CommandMargins, OfALogisticModelAreThoseOfEachLevel) {
  const nlohmann::json margins = Json("k ~ x + g", {"--margins", "g"})["margins"];
  ASSERT_EQ(margins.size(), 2U);
  EXPECT_EQ(margins[0]["category"], "yes");
  EXPECT_EQ(margins[1]["category"], "no");
  EXPECT_EQ(margins[0]["effect"].get<double>(), -margins[1]["effect"].get<double>());
}

TEST_F(CommandMargins, StandInTheSummary) {
  EXPECT_EQ(Run("y ~ x + g", {}).out.find("Average marginal effects"), std::string::npos);
  const std::string linear = Run("y ~ x + g", {"--margins"}).out;
  EXPECT_NE(linear.find("Average marginal effects on y\n\nVariable "), std::string::npos) << linear;
  EXPECT_NE(linear.find("\ng: a - b "), std::string::npos) << linear;
  const std::string logistic = Run("k ~ x + g", {"--margins"}).out;
  EXPECT_NE(logistic.find("Average marginal effects on the probability of k = yes\n"),
            std::string::npos)
      << logistic;
  EXPECT_EQ(logistic.find("probability of k = no"), std::string::npos) << logistic;
}

TEST_F(CommandMargins, RefusesWhatHasNone) {
  ExpectFailure(Run("y ~ x + g", {"--margins", "gg"}), kBadInput,
                "There is no column 'gg' for --margins in in.csv; did you mean 'g'?");
  ExpectFailure(Run("y ~ x + g", {"--margins", "z"}), kBadInput,
                "--margins: no term of the formula has z; its columns are x, g.");
  ExpectFailure(Run("y ~ x + round(x)", {"--margins", "x"}), kBadInput,
                "--margins: x has no effect of its own, since round(x) has no derivative by it.");
  ExpectFailure(Run("y ~ x", {"--margins", "x,,g"}), kBadInput,
                "--margins 'x,,g' has an entry without a text; where that is meant, write \"\".");
  ExpectFailure(Run("y ~ x", {"--mfx"}), kBadInput,
                "There is no option --mfx; --margins computes average marginal effects.\nTry "
                "'qvreg fit --help'.");
}

}  // namespace
}  // namespace qvhost
