// Each option of the command, by what it changes in the fit.

#include <cmath>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/formula/FormulaFunction.h"
#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;

Json FitPenguins(const std::vector<std::string>& more) {
  std::vector<std::string> arguments = {"--data", QVREG_EXAMPLE_DATA "/penguins.csv", "--formula",
                                        "body_mass ~ sex + flipper_length"};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return FitJson(arguments);
}

void ExpectNear(const Json& value, double expected) {
  EXPECT_NEAR(value.get<double>(), expected, 1e-9 * std::abs(expected));
}

// R: f <- lm(body_mass ~ sex + flipper_length, p, contrasts = list(sex = "contr.SAS"));
// summary(f)$coefficients["flipper_length", ]; confint(f, level = c(0.95, 0.5)); sigma(f)
constexpr double kSlope = 46.982175248998878;
constexpr double kSlopeError = 1.4412565344382551;
constexpr double kSlopeLow = 44.146966129603001;
constexpr double kSlopeHalfLow = 46.008989950744791;
constexpr double kSigma = 355.88291251843168;
constexpr double kResidualDf = 330;

TEST(CommandOptions, DefaultsFitALinearModel) {
  const Json fit = FitPenguins({});
  EXPECT_EQ(fit.at("model"), "linear");
  EXPECT_EQ(fit.at("records").at("read"), 344);
  EXPECT_EQ(fit.at("records").at("used"), 333);
  EXPECT_EQ(fit.at("degrees_of_freedom"), kResidualDf);
  EXPECT_EQ(fit.at("library_degrees_of_freedom"), kResidualDf - 1)
      << "counts the redundant sex=male";
  EXPECT_EQ(fit.at("confidence"), 0.95);
  ExpectNear(fit.at("fit").at("residual_std_error"), kSigma);
  const Json& slope = ParameterOf(fit, "flipper_length");
  ExpectNear(slope.at("estimate"), kSlope);
  ExpectNear(slope.at("std_error"), kSlopeError);
  ExpectNear(slope.at("conf_low"), kSlopeLow);
  EXPECT_EQ(slope.at("covariates"), (Json{{"flipper_length", 1}}));
  EXPECT_EQ(ParameterOf(fit, "sex=female").at("levels"), (Json{{"sex", "female"}}));
  EXPECT_EQ(ParameterOf(fit, "sex=male").at("redundant"), true);
}

TEST(CommandOptions, ModelLinearIsTheDefaultOfANumber) {
  EXPECT_EQ(FitPenguins({"--model", "linear"}), FitPenguins({}));
}

TEST(CommandOptions, Confidence) {
  const Json fit = FitPenguins({"--confidence", "0.5"});
  EXPECT_EQ(fit.at("confidence"), 0.5);
  ExpectNear(ParameterOf(fit, "flipper_length").at("conf_low"), kSlopeHalfLow);
}

TEST(CommandOptions, DegreesOfFreedom) {
  const Json fit = FitPenguins({"--df", "100"});
  EXPECT_EQ(fit.at("degrees_of_freedom"), 100.0);
  EXPECT_EQ(fit.at("library_degrees_of_freedom"), 100.0);
  ExpectNear(fit.at("fit").at("residual_std_error"), kSigma * std::sqrt(kResidualDf / 100.0));
  ExpectNear(ParameterOf(fit, "flipper_length").at("std_error"),
             kSlopeError * std::sqrt(kResidualDf / 100.0));
}

TEST(CommandOptions, DegreesOfFreedomForASaturatedModel) {
  const std::vector<std::string> saturated = {
      "--sql", "SELECT * FROM (VALUES (1, 1), (2, 3)) AS t(x, y)", "--formula", "y ~ x"};
  const Json without = FitJson(saturated);
  EXPECT_TRUE(without.at("parameters")[1].at("std_error").is_null());
  EXPECT_TRUE(without.at("fit").at("residual_std_error").is_null());
  EXPECT_EQ(without.at("degrees_of_freedom"), 0.0);
  std::vector<std::string> imposed = saturated;
  imposed.insert(imposed.end(), {"--df", "5"});
  EXPECT_TRUE(FitJson(imposed).at("parameters")[1].at("std_error").is_number());
}

TEST(CommandOptions, NoIntercept) {
  const Json byOption = FitPenguins({"--no-intercept"});
  EXPECT_EQ(byOption.at("parameters").size(), 3U);
  EXPECT_EQ(ParameterOf(byOption, "sex=male").at("redundant"), false);
  const Json byFormula = FitJson({"--data", QVREG_EXAMPLE_DATA "/penguins.csv", "--formula",
                                  "body_mass ~ 0 + sex + flipper_length"});
  EXPECT_EQ(byOption.at("parameters"), byFormula.at("parameters"));
  EXPECT_EQ(byOption.at("fit"), byFormula.at("fit"));
}

TEST(CommandOptions, Tolerance) {
  EXPECT_EQ(ParameterOf(FitPenguins({}), "flipper_length").at("redundant"), false);
  EXPECT_EQ(ParameterOf(FitPenguins({"--tolerance", "0.5"}), "flipper_length").at("redundant"),
            true)
      << "less than half of its square is new beside the intercept";
}

TEST(CommandOptions, FrequencyWeight) {
  const std::string rows = "SELECT * FROM (VALUES (1, 2, 3), (2, 3, 1), (4, 9, 2)) AS t(x, y, n)";
  const Json weighted = FitJson({"--sql", rows, "--formula", "y ~ x", "--freq-weight", "n"});
  const Json repeated =
      FitJson({"--sql", "SELECT x, y FROM (" + rows + "), range(n)", "--formula", "y ~ x"});
  EXPECT_EQ(weighted.at("freq_weight"), "n");
  EXPECT_EQ(weighted.at("records").at("used"), 3);
  EXPECT_EQ(repeated.at("records").at("used"), 6);
  EXPECT_EQ(weighted.at("degrees_of_freedom"), 4.0);
  EXPECT_EQ(repeated.at("degrees_of_freedom"), 4.0);
  for (std::size_t i = 0; i < 2; ++i) {
    for (const char* name : {"estimate", "std_error", "p_value", "conf_high"}) {
      ExpectNear(weighted.at("parameters")[i].at(name), repeated.at("parameters")[i].at(name));
    }
  }
}

// R: summary(lm(y ~ x, weights = n)) on x = 1, 2, 4; y = 2, 3, 9; n = 3, 1, 2
TEST(CommandOptions, RegressionWeight) {
  const Json fit =
      FitJson({"--sql", "SELECT * FROM (VALUES (1, 2, 3), (2, 3, 1), (4, 9, 2)) AS t(x, y, n)",
               "--formula", "y ~ x", "--regression-weight", "n"});
  EXPECT_EQ(fit.at("regression_weight"), "n");
  EXPECT_EQ(fit.at("degrees_of_freedom"), 1.0);
  ExpectNear(fit.at("parameters")[1].at("estimate"), 2.3538461538461539);
  ExpectNear(fit.at("parameters")[1].at("std_error"), 0.36923076923076931);
  ExpectNear(fit.at("parameters")[1].at("p_value"), 0.099054743968309628);
}

TEST(CommandOptions, RecordsWithAWeightNotAboveZeroAreLeftOut) {
  const Json fit = FitJson(
      {"--sql",
       "SELECT * FROM (VALUES (1, 2, 3), (2, 3, 0), (4, 9, -1), (5, 9, NULL), (NULL, 1, 1), (7, 8, "
       "1), (8, 8, 1)) AS t(x, y, n)",
       "--formula", "y ~ x", "--freq-weight", "n"});
  EXPECT_EQ(fit.at("records").at("read"), 7);
  EXPECT_EQ(fit.at("records").at("used"), 3);
  EXPECT_EQ(fit.at("records").at("missing"), 1);
  EXPECT_EQ(fit.at("records").at("bad_weight"), 3);
}

// The refinement sums the residuals without rounding: the last digit of the mean error shows it.
TEST(CommandOptions, NoRefine) {
  const std::string longley = QVREG_TEST_DATA "/linear/longley.csv";
  std::vector<std::string> arguments = {"--data", longley, "--formula",
                                        "TOTEMP ~ GNPDEFL + GNP + UNEMP + ARMED + POP + YEAR"};
  const auto rmse = [&arguments] { return FitJson(arguments).at("fit").at("rmse").get<double>(); };
  const double exact = 228.6405551714736;
  const double refined = rmse();
  arguments.emplace_back("--no-refine");
  const double plain = rmse();
  EXPECT_LE(std::abs(refined - exact), 1e-15 * exact);
  EXPECT_LE(std::abs(plain - exact), 1e-14 * exact);
  EXPECT_NE(plain, refined);
}

TEST(CommandOptions, SpoolFolder) {
  const qvtest::TempFolder folder;
  EXPECT_EQ(FitPenguins({"--spool-dir", folder.Path()}), FitPenguins({}));
  EXPECT_TRUE(folder.IsEmpty());
}

// ---- Formulas as the command reads them -------------------------------------

TEST(CommandOptions, LabelsOfEveryKindOfTerm) {
  const Json fit = FitJson({"--data", QVREG_EXAMPLE_DATA "/cars.csv", "--formula",
                            "miles_per_gallon ~ weight + I(weight^2) + origin:C(cylinders) + "
                            "log(horsepower) + origin:weight:I(weight^2)"});
  const Json& square = ParameterOf(fit, "I(weight^2)");
  EXPECT_EQ(square.at("covariates"), (Json{{"weight", 2}}));
  EXPECT_EQ(square.at("levels"), Json::object());
  EXPECT_EQ(ParameterOf(fit, "origin=Japan:cylinders=6").at("levels"),
            (Json{{"origin", "Japan"}, {"cylinders", "6"}}));
  EXPECT_EQ(ParameterOf(fit, "log(horsepower)").at("covariates"), (Json{{"log(horsepower)", 1}}));
  EXPECT_EQ(ParameterOf(fit, "origin=USA:I(weight^3)").at("covariates"), (Json{{"weight", 3}}));
}

// ---- What the command tells of itself ---------------------------------------

TEST(CommandOptions, Version) {
  const CommandResult result = RunQvreg({"--version"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_TRUE(result.out.starts_with("qvreg ")) << result.out;
  EXPECT_EQ(result.err, "");
}

TEST(CommandOptions, HelpOfTheCommand) {
  const CommandResult result = RunQvreg({"--help"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  for (const char* text : {"Usage: qvreg [OPTIONS] COMMAND", "  fit ", "  describe ", "  compare ",
                           "Examples:", "--version"}) {
    EXPECT_NE(result.out.find(text), std::string::npos) << text;
  }
}

TEST(CommandOptions, HelpOfFitNamesEveryOption) {
  const CommandResult result = RunQvreg({"fit", "--help"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  for (const char* text : {"Usage: qvreg fit [OPTIONS]",
                           "--data FILE",
                           "--table NAME",
                           "--sql QUERY",
                           "--formula FORMULA",
                           "--model KIND",
                           "--freq-weight COLUMN",
                           "--regression-weight COLUMN",
                           "--no-intercept",
                           "--base FACTOR=LEVEL",
                           "--levels FACTOR=LEVEL,...",
                           "--tolerance",
                           "--confidence",
                           "--df NUMBER",
                           "--no-refine",
                           "--reference LEVEL",
                           "--in-memory",
                           "--no-in-memory",
                           "--max-iterations N=100",
                           "--max-step-halving N=30",
                           "--max-parameters N=10000",
                           "--separation-from N=20",
                           "--parameter-criterion SHARE=1e-06",
                           "--absolute-parameter-criterion",
                           "--ll-criterion SHARE=0",
                           "--absolute-ll-criterion",
                           "--json FILE",
                           "--predictions FILE",
                           "--spool-dir DIR",
                           "--strict",
                           "Formulas:",
                           "Examples:",
                           "Exit codes:"}) {
    EXPECT_NE(result.out.find(text), std::string::npos) << text;
  }
}

TEST(CommandOptions, TheHelpNamesEveryFunctionOfAFormula) {
  const std::string help = RunQvreg({"fit", "--help"}).out;
  const std::size_t from = help.find("\nFunctions of one record");
  ASSERT_NE(from, std::string::npos) << help;
  const std::size_t begin = help.find('\n', from + 1);
  std::istringstream list(help.substr(begin, help.find("\n\n", begin) - begin));
  std::vector<std::string> names;
  for (std::string name; list >> name;) names.push_back(name);
  std::vector<std::string> expected;
  for (const FormulaFunction& function : FormulaFunctions()) {
    expected.emplace_back(function.Name());
  }
  EXPECT_EQ(names, expected);
}

}  // namespace
}  // namespace qvhost
