// Formulas as users of R and Python type them, through the whole command.
#include <cmath>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
constexpr int kBadInput = 2;
constexpr const char* kPenguins = QVREG_EXAMPLE_DATA "/penguins.csv";
constexpr const char* kCars = QVREG_EXAMPLE_DATA "/cars.csv";

Json Fit(const std::string& data, const std::string& formula,
         const std::vector<std::string>& more = {}) {
  std::vector<std::string> arguments = {"--data", data, "--formula", formula};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return FitJson(arguments);
}

double EstimateOf(const Json& fit, const std::string& label) {
  return ParameterOf(fit, label).at("estimate").get<double>();
}

/// All that two fits say of their parameters and quality.
void ExpectSameFit(const Json& a, const Json& b) {
  EXPECT_EQ(a.at("parameters"), b.at("parameters"));
  EXPECT_EQ(a.at("fit"), b.at("fit"));
}

// R: lm(body_mass ~ log(flipper_length), data = read.csv("penguins.csv"))
TEST(CommandDialect, LogIsNatural) {
  const Json fit = Fit(kPenguins, "body_mass ~ log(flipper_length)");
  EXPECT_NEAR(EstimateOf(fit, "(Intercept)"), -48861.026184050330, 1e-6);
  EXPECT_NEAR(EstimateOf(fit, "log(flipper_length)"), 10010.960518980968, 1e-6);
  const std::string note =
      "log is the natural logarithm; log10 and log2 are those to base 10 and 2.";
  EXPECT_EQ(fit.at("warnings"), (Json{note}));
  EXPECT_EQ(Fit(kPenguins, "body_mass ~ ln(flipper_length)").at("warnings"), Json::array());
  const Json where =
      Fit(kPenguins, "body_mass ~ flipper_length", {"--where", "log(flipper_length) > 5.3"});
  EXPECT_EQ(where.at("records").at("read"), 148);
  EXPECT_EQ(where.at("warnings"), (Json{note}));
}

TEST(CommandDialect, LogOfANumberThatIsNotPositive) {
  const qvtest::TempFolder folder;
  folder.Write("t.csv", "y,x\n1,2\n2,0\n3,-1\n");
  const auto fit = [&](const std::string& formula) {
    return CommandRun({"fit", "--data", "t.csv", "--formula", formula}).In(folder.Path()).Run();
  };
  const auto rest = [](const std::string& value, const std::string& condition) {
    return value + "; leave such rows out with --where, such as --where \"x " + condition +
           "\", or change the expression.";
  };
  ExpectFailure(fit("y ~ log(x)"), kBadInput,
                "t.csv: 'log(x)' cannot be computed where x is " + rest("0", "> 0"));
  ExpectFailure(fit("y ~ log1p(x)"), kBadInput,
                "t.csv: 'log1p(x)' cannot be computed where x is " + rest("-1", "> -1"));
  ExpectFailure(
      fit("y ~ if(log1p(x) > 0, 1, 0)"), kBadInput,
      "t.csv: 'if(log1p(x) > 0, 1, 0)' cannot be computed where x is " + rest("-1", "> -1"));
  ExpectFailure(fit("y ~ expm1(I(1000 * x))"), kBadInput,
                "t.csv: 'expm1(I(1000 * x))' cannot be computed where x is " + rest("2", "<> 2"));
}

TEST(CommandDialect, AllOtherColumns) {
  ExpectSameFit(Fit(kPenguins, "body_mass ~ . - island - sex"),
                Fit(kPenguins, "body_mass ~ species + beak_length + beak_depth + flipper_length"));
}

TEST(CommandDialect, AnIdentifierIsNamed) {
  const qvtest::TempFolder folder;
  std::string rows = "y,id,x\n";
  for (int i = 0; i < 1500; ++i) {
    rows += std::to_string(i % 7) + ",k" + std::to_string(i) + "," + std::to_string(i % 5) + "\n";
  }
  folder.Write("t.csv", rows);
  ExpectFailure(
      CommandRun({"fit", "--data", "t.csv", "--formula", "y ~ ."}).In(folder.Path()).Run(),
      kBadInput,
      "'.' stands for id, too, a text with more than 1000 different values, as an identifier has. "
      "Take it out with '. - id', or write '. + id' if it is meant as a factor.\n"
      "  y ~ .\n"
      "      ^");
}

// R: scale() of the 392 complete rows, lm() of them.
TEST(CommandDialect, Scale) {
  const Json fit = Fit(kCars, "miles_per_gallon ~ scale(weight)*origin + center(horsepower)");
  const Json& scale = fit.at("transformations").at(0);
  EXPECT_EQ(scale.at("label"), "scale(weight)");
  EXPECT_EQ(scale.at("argument"), "weight");
  EXPECT_NEAR(scale.at("centre").get<double>(), 2977.5841836734694, 1e-9);
  EXPECT_NEAR(scale.at("deviation").get<double>(), 849.40256004294929, 1e-9);
  EXPECT_EQ(fit.at("transformations").at(1).at("deviation"), nullptr);
  EXPECT_NEAR(EstimateOf(fit, "scale(weight)"), -3.903660354333184, 1e-9);
  EXPECT_NEAR(EstimateOf(fit, "(Intercept)"), 22.63114787483295, 1e-9);
  EXPECT_EQ(fit.at("fit").at("r_square").get<double>() > 0.7, true);
}

TEST(CommandDialect, PredictionsUseTheStandardizedValues) {
  const qvtest::TempFolder folder;
  std::string rows = "y,x\n";
  for (int i = 0; i < 20; ++i) {
    rows += (i == 7 ? "" : std::to_string(5 + 2 * i)) + "," + std::to_string(i) + "\n";
  }
  folder.Write("t.csv", rows);
  const CommandResult result =
      CommandRun({"fit", "--data", "t.csv", "--formula", "y ~ scale(x)", "--predictions", "p.csv"})
          .In(folder.Path())
          .Run();
  ASSERT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(
      result.out.find("- scale(x): mean 9.63158, standard deviation 6.04805, of the records used."),
      std::string::npos)
      << result.out;
  const Json numbers = FitJson({"--data", folder.File("p.csv"), "--formula", "predicted ~ 1"});
  EXPECT_EQ(numbers.at("records").at("used"), 20);
  EXPECT_NEAR(EstimateOf(numbers, "(Intercept)"), 24.0, 1e-6) << "the mean of all, row 8 included";
}

TEST(CommandDialect, PolynomialsAndPowers) {
  ExpectSameFit(Fit(kCars, "miles_per_gallon ~ poly(weight, 2)"),
                Fit(kCars, "miles_per_gallon ~ weight + I(weight**2)"));
  const Json fit = Fit(kCars, "miles_per_gallon ~ weight**2");
  EXPECT_EQ(fit.at("warnings"),
            (Json{"Among terms weight^2 is weight crossed with itself, which is weight alone; its "
                  "power is I(weight^2)."}));
}

TEST(CommandDialect, FactorsAndNames) {
  ExpectSameFit(Fit(kCars, "miles_per_gallon ~ factor(cylinders) + Q(\"weight\")"),
                Fit(kCars, "miles_per_gallon ~ C(cylinders) + weight"));
  const Json fit = Fit(kCars, "miles_per_gallon ~ factor(cylinders)");
  EXPECT_EQ(ParameterOf(fit, "cylinders=4").at("levels"), (Json{{"cylinders", "4"}}));
}

TEST(CommandDialect, TextThatReadsAsNumbersInsideACall) {
  const qvtest::TempFolder folder;
  folder.Write("t.csv", "y;preis\n1;1.234,56\n2;17,5\n3;999,00\n4;12.000,25\n");
  const auto fit = [&](const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"fit", "--data", "t.csv", "--formula", "y ~ log(preis)"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return CommandRun(arguments).In(folder.Path()).Run();
  };
  ExpectFailure(fit({}), kBadInput,
                "log() takes a number here, but 'preis' is text; 100 % of its values read as "
                "numbers with a decimal comma and points between thousands, such as '1.234,56': "
                "add --decimal , --thousands . to read them as such.\n"
                "  y ~ log(preis)\n"
                "          ^");
  EXPECT_EQ(fit({"--decimal", ",", "--thousands", "."}).exitCode, 0);
}

TEST(CommandDialect, SuggestionsWorkWhenPasted) {
  const qvtest::TempFolder folder;
  folder.Write("t.csv", "y,body mass,when\n1,2,2024-01-01\n2,3,2024-01-02\n4,5,2024-01-01\n");
  const auto fit = [&](const std::string& formula) {
    return CommandRun({"fit", "--data", "t.csv", "--formula", formula}).In(folder.Path()).Run();
  };
  ExpectFailure(fit("y ~ body_mass"), kBadInput,
                "There is no column 'body_mass' in t.csv; did you mean `body mass`? Its columns "
                "are y, `body mass`, `when`.\n"
                "  y ~ body_mass\n"
                "      ^");
  EXPECT_EQ(fit("y ~ `body mass`").exitCode, 0);
  ExpectFailure(fit("y ~ `when`"), kBadInput,
                "'when' is a date or time (DATE); write C(`when`) to take its values as the levels "
                "of a factor, I(`when` - date '2020-01-01') for "
                "days, or epoch(`when`) for seconds.\n"
                "  y ~ `when`\n"
                "      ^");
  EXPECT_EQ(fit("y ~ C(`when`)").exitCode, 0);
}

}  // namespace
}  // namespace qvhost
