// Tests of effects, fit statistics and variance inflation against R; tests/reference/effects tells
// how.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
using Paths = std::vector<std::filesystem::path>;

std::string Example(const std::string& name) {
  return (std::filesystem::path(QVREG_EXAMPLE_DATA) / name).string();
}

std::string DataOf(const Json& expected) {
  const std::string name = expected.at("data");
  const auto stored = std::filesystem::path(QVREG_TEST_DATA) / name;
  return std::filesystem::exists(stored) ? stored.string() : Example(name);
}

CommandResult RunFit(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "fit");
  return RunQvreg(arguments);
}

Json FitJson(const std::string& data, const std::string& formula,
             const std::vector<std::string>& options) {
  std::vector<std::string> arguments = {"-d", data, "-f", formula, "--json", "-"};
  arguments.insert(arguments.end(), options.begin(), options.end());
  const CommandResult result = RunFit(arguments);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  return Json::parse(result.out);
}

void ExpectNumber(const Json& actual, const Json& expected, double digits,
                  const std::string& what) {
  if (expected.is_null()) {
    EXPECT_TRUE(actual.is_null()) << what << " is " << actual;
    return;
  }
  ASSERT_TRUE(actual.is_number()) << what;
  const double value = expected;
  EXPECT_NEAR(actual.get<double>(), value, std::pow(10.0, -digits) * std::abs(value)) << what;
}

class CommandEffects : public ::testing::TestWithParam<std::filesystem::path> {};

TEST_P(CommandEffects, AreThoseOfR) {
  const Json expected = Json::parse(std::ifstream(GetParam()));
  const Json fit = FitJson(DataOf(expected), expected.at("formula"), expected.at("options"));
  // Estimates of logistic models end with a change of 1e-6 and R's with one of the deviance.
  const double digits = fit.at("model") == "linear" ? 8.0 : 5.5;
  const Json& effects = fit.at("effects");
  ASSERT_EQ(effects.size(), expected.at("effects").size());
  for (std::size_t i = 0; i < effects.size(); ++i) {
    const Json& wanted = expected.at("effects")[i];
    EXPECT_EQ(effects[i].at("term"), wanted.at("term"));
    EXPECT_EQ(effects[i].at("df"), wanted.at("df")) << wanted;
    for (const char* name : {"df_residual", "statistic", "p_value", "sum_of_squares"}) {
      // A term without a degree of freedom has no test, and so no sum.
      const Json value = wanted.at("df") == 0 && std::string(name) != "df_residual"
                             ? Json(nullptr)
                             : wanted.at(name);
      // The tail of the distribution multiplies an error of the statistic.
      const double kept = std::string(name) == "p_value" ? digits - 2.0 : digits;
      ExpectNumber(effects[i].at(name), value, kept, wanted.at("term").get<std::string>() + name);
    }
  }
  for (const auto& [name, value] : expected.at("fit").items()) {
    ExpectNumber(fit.at("fit").at(name), value, 9.0, name);
  }
  if (!expected.contains("gvif")) return;
  const Json& collinearity = fit.at("collinearity");
  for (std::size_t i = 0; i < effects.size(); ++i) {
    const Json& term = collinearity.at("terms")[i];
    ExpectNumber(term.at("gvif"), expected.at("gvif")[i], digits, "gvif");
    const double root = std::pow(expected.at("gvif")[i].get<double>(),
                                 0.5 / expected.at("effects")[i].at("df").get<double>());
    ExpectNumber(term.at("gvif_per_df"), Json(root), digits, "gvif_per_df");
  }
  if (expected.at("condition_number").is_null()) return;
  ExpectNumber(collinearity.at("condition_number"), expected.at("condition_number"), 7.0,
               "condition number");
}

Paths Cases() {
  Paths cases;
  for (const auto& entry :
       std::filesystem::directory_iterator(std::filesystem::path(QVREG_TEST_DATA) / "effects")) {
    if (entry.path().extension() == ".json") cases.push_back(entry.path());
  }
  std::ranges::sort(cases);
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Reference, CommandEffects, ::testing::ValuesIn(Cases()),
                         [](const auto& param) { return param.param.stem().string(); });

const std::string kPenguins = Example("penguins.csv");

TEST(CommandAnova, WithoutANumberIsOfType2) {
  const Json bare = FitJson(kPenguins, "body_mass ~ species*sex", {"--anova"});
  EXPECT_EQ(bare, FitJson(kPenguins, "body_mass ~ species*sex", {"--anova", "2"}));
  EXPECT_EQ(bare.at("anova"), 2);
}

TEST(CommandAnova, OfALinearModelIsMadeByItself) {
  const Json fit = FitJson(kPenguins, "body_mass ~ species", {});
  EXPECT_EQ(fit.at("anova"), 2);
  EXPECT_EQ(fit.at("effects").size(), 1U);
  EXPECT_TRUE(fit.at("collinearity").is_null());
}

TEST(CommandAnova, OfALogisticModelHasToBeAskedFor) {
  const Json fit = FitJson(kPenguins, "sex ~ species", {});
  EXPECT_TRUE(fit.at("anova").is_null());
  EXPECT_TRUE(fit.at("effects").empty());
}

TEST(CommandAnova, RefusesOtherTypes) {
  for (const char* type : {"4", "0", "II"}) {
    const CommandResult result =
        RunFit({"-d", kPenguins, "-f", "body_mass ~ sex", "--anova", type, "--json", "-"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_NE(result.err.find("--anova must be 1, 2 or 3"), std::string::npos) << result.err;
    EXPECT_NE(result.err.find(type), std::string::npos) << result.err;
  }
}

TEST(CommandAnova, PrintsATable) {
  const CommandResult result = RunFit({"-d", kPenguins, "-f", "body_mass ~ species + sex"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_NE(result.out.find("Tests of effects, type 2"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Residuals"), std::string::npos);
}

TEST(CommandAnova, OfCovariatesAloneIsNotPrintedUnlessAskedFor) {
  const std::vector<std::string> arguments = {"-d", kPenguins, "-f", "body_mass ~ beak_depth"};
  EXPECT_EQ(RunFit(arguments).out.find("Tests of effects"), std::string::npos);
  std::vector<std::string> asking = arguments;
  asking.emplace_back("--anova");
  EXPECT_NE(RunFit(asking).out.find("Tests of effects"), std::string::npos);
}

TEST(CommandAnova, LeavesOutTooManyFurtherFitsWithAWord) {
  std::string formula = "sex ~ beak_depth";
  for (int power = 2; power <= 21; ++power) {
    formula += " + I(beak_depth^" + std::to_string(power) + ")";
  }
  const Json fit = FitJson(kPenguins, formula, {"--anova", "--max-iterations", "1"});
  EXPECT_TRUE(fit.at("effects").empty());
  EXPECT_NE(fit.at("warnings").dump().find("The tests of effects are left out"), std::string::npos);
}

TEST(CommandAnova, DoesNotDependOnTheNumberOfThreads) {
  for (const char* formula : {"body_mass ~ species*sex", "species ~ sex + beak_depth"}) {
    const Json one = FitJson(kPenguins, formula, {"--anova", "--vif", "--threads", "1"});
    EXPECT_EQ(one, FitJson(kPenguins, formula, {"--anova", "--vif", "--threads", "3"}));
  }
}

TEST(CommandAnova, OfGroupedRecordsIsThatOfAll) {
  const std::string sql =
      "SELECT (hash(i) % 7 < 3 + i % 3)::INT AS y, (i % 3)::VARCHAR AS a, (i % 5) AS x "
      "FROM range(12000) t(i)";
  const auto fit = [&](const char* option) {
    const CommandResult result = RunFit(
        {"--sql", sql, "-f", "y ~ a + x", "--model", "logistic", "--anova", "--json", "-", option});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return Json::parse(result.out);
  };
  const Json grouped = fit("--in-memory");
  const Json single = fit("--no-collapse");
  EXPECT_FALSE(grouped.at("fit").at("distinct_records").is_null());
  for (std::size_t i = 0; i < 2; ++i) {
    ExpectNumber(grouped.at("effects")[i].at("statistic"), single.at("effects")[i].at("statistic"),
                 8.0, "statistic");
  }
}

TEST(CommandAnova, FollowsTheImposedDegreesOfFreedom) {
  const Json usual = FitJson(kPenguins, "body_mass ~ species", {});
  const Json imposed = FitJson(kPenguins, "body_mass ~ species", {"--df", "100"});
  const auto number = [](const Json& fit, const char* name) {
    return fit.at("effects")[0].at(name).get<double>();
  };
  EXPECT_EQ(number(imposed, "df_residual"), 100.0);
  EXPECT_NEAR(number(imposed, "statistic") / 100.0,
              number(usual, "statistic") / number(usual, "df_residual"), 1e-9);
  EXPECT_NEAR(imposed.at("fit").at("f_statistic").get<double>(), number(imposed, "statistic"),
              1e-8);
}

TEST(CommandAnova, IsTheSameInOtherUnits) {
  const auto fit = [](const char* sql) {
    const CommandResult result =
        RunFit({"--sql", sql, "-f", "y ~ x + g + g:x", "--anova", "3", "--json", "-"});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return Json::parse(result.out);
  };
  const Json usual = fit(
      "SELECT sin(i) + (i % 3) AS y, cos(i * i) AS x, (i % 3)::VARCHAR AS g FROM range(60) t(i)");
  const Json extreme =
      fit("SELECT (sin(i) + (i % 3)) * 1e-90 AS y, cos(i * i) * 1e80 AS x, (i % 3)::VARCHAR AS g "
          "FROM range(60) t(i)");
  for (std::size_t i = 0; i < 3; ++i) {
    ExpectNumber(extreme.at("effects")[i].at("statistic"), usual.at("effects")[i].at("statistic"),
                 9.0, "statistic");
  }
  EXPECT_NEAR(extreme.at("fit").at("f_statistic").get<double>(),
              usual.at("fit").at("f_statistic").get<double>(), 1e-9);
}

TEST(CommandAnova, OfAPerfectFitHasNoStatistic) {
  const CommandResult result =
      RunFit({"--sql", "SELECT i AS x, (i = 2)::INT AS y FROM range(2) t(i)", "-f", "y ~ x",
              "--anova", "--json", "-"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  const Json fit = Json::parse(result.out);
  EXPECT_TRUE(fit.at("effects")[0].at("statistic").is_null());
  EXPECT_TRUE(fit.at("fit").at("f_statistic").is_null());
  EXPECT_TRUE(fit.at("fit").at("log_likelihood").is_null());
}

TEST(CommandAnova, OfType3NamesEmptyCellsAndDependentColumns) {
  const Json fit =
      FitJson((std::filesystem::path(QVREG_TEST_DATA) / "effects" / "everything.csv").string(),
              "y ~ a*b + x + z", {"--anova", "3"});
  const std::string notes = fit.at("warnings").dump();
  EXPECT_NE(notes.find("1 of 12 combinations of levels of a:b do not occur"), std::string::npos)
      << notes;
  EXPECT_NE(notes.find("Columns of z depend on those of x"), std::string::npos) << notes;
}

TEST(CommandVif, PrintsATable) {
  const CommandResult result =
      RunFit({"-d", kPenguins, "-f", "body_mass ~ species + flipper_length", "--vif"});
  EXPECT_NE(result.out.find("GVIF"), std::string::npos);
  EXPECT_NE(result.out.find("Condition number"), std::string::npos);
}

}  // namespace
}  // namespace qvhost
