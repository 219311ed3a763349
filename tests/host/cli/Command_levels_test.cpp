// The level that others are compared with: of factors by --base and --levels, of a dependent of two
// levels, and how booleans are called.

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
using Strings = std::vector<std::string>;

constexpr int kBadInput = 2;

Json FitFile(const std::string& file, const std::string& formula, const Strings& more = {}) {
  Strings arguments = {"--data", file, "--formula", formula};
  arguments.insert(arguments.end(), more.begin(), more.end());
  return FitJson(arguments);
}

const std::string kBirthWeight = QVREG_TEST_DATA "/logistic/data/birthwt.csv";
const std::string kPenguins = QVREG_EXAMPLE_DATA "/penguins.csv";
const std::string kCars = QVREG_EXAMPLE_DATA "/cars.csv";

Strings Labels(const Json& fit) {
  Strings labels;
  for (const Json& parameter : fit.at("parameters")) labels.push_back(parameter.at("label"));
  return labels;
}

Strings DependentLevels(const Json& fit) {
  Strings levels;
  for (const Json& level : fit.at("dependent_levels")) levels.push_back(level.at("level"));
  return levels;
}

Strings Redundant(const Json& fit) {
  Strings labels;
  for (const Json& parameter : fit.at("parameters")) {
    if (parameter.at("redundant")) labels.push_back(parameter.at("label"));
  }
  return labels;
}

void ExpectEstimate(const Json& fit, const std::string& label, double estimate, double error) {
  const Json& parameter = ParameterOf(fit, label);
  EXPECT_NEAR(parameter.at("estimate"), estimate, 1e-10 * std::abs(estimate)) << label;
  EXPECT_NEAR(parameter.at("std_error"), error, 1e-10 * error) << label;
}

// ---- A dependent of two levels ------------------------------------------------

/// R: glm(low ~ age + lwt + factor(race) + smoke, binomial, birthwt), epsilon 1e-15.
void ExpectFitOfR(const Json& fit) {
  ExpectEstimate(fit, "(Intercept)", 0.332451571956955017, 1.1076730517962325440);
  ExpectEstimate(fit, "age", -0.022478279874642876, 0.0341704945836012464);
  ExpectEstimate(fit, "lwt", -0.012525664016438405, 0.0063858343068017489);
  ExpectEstimate(fit, "race=2", 1.231671373071518083, 0.5171517877354905313);
  ExpectEstimate(fit, "race=3", 0.943262653283987840, 0.4162321525750663498);
  ExpectEstimate(fit, "smoke", 1.054438647818533470, 0.3799998735101924874);
  EXPECT_EQ(Redundant(fit), Strings{"race=1"});
}

TEST(CommandLevels, TheFitOfZerosAndOnesIsThatOfR) {
  const std::string formula = "low ~ age + lwt + C(race) + smoke";
  const Json fit = FitFile(kBirthWeight, formula, {"--model", "logistic", "--base", "race=1"});
  EXPECT_EQ(fit.at("reference"), "0");
  EXPECT_EQ(DependentLevels(fit), (Strings{"1", "0"}));
  EXPECT_NEAR(fit.at("fit").at("loglik"), -107.28861726703681, 1e-9);
  ExpectFitOfR(fit);
  ExpectFitOfR(
      FitFile(kBirthWeight, "C(low) ~ age + lwt + C(race) + smoke", {"--levels", "C(race)=3,2,1"}));
}

TEST(CommandLevels, TheHeaderNamesTheLevelThatIsModelled) {
  const CommandResult result =
      RunQvreg({"fit", "--data", kBirthWeight, "--formula", "low ~ age", "--model", "logistic"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("\nlow = 1 against 0\n"), std::string::npos) << result.out;
}

TEST(CommandLevels, ReferenceLastOrByNameTurnsTheSigns) {
  const Json first = FitFile(kBirthWeight, "C(low) ~ age");
  EXPECT_EQ(FitFile(kBirthWeight, "C(low) ~ age", {"--reference", "first"}), first);
  EXPECT_EQ(FitFile(kBirthWeight, "C(low) ~ age", {"--reference", "0"}), first);
  for (const char* reference : {"last", "1"}) {
    const Json last = FitFile(kBirthWeight, "C(low) ~ age", {"--reference", reference});
    EXPECT_EQ(last.at("reference"), "1");
    const double estimate = ParameterOf(first, "age").at("estimate");
    EXPECT_NEAR(ParameterOf(last, "age").at("estimate"), -estimate, 1e-9 * std::abs(estimate));
  }
}

TEST(CommandLevels, TwoLevelsAreThoseOfTheRecordsUsed) {
  // The level a occurs only where x is missing; z only in a row that --where leaves out.
  const std::string sql =
      "SELECT ['a', 'b', 'c', 'z'][1 + range % 4] AS y, CASE WHEN range % 4 = 0 THEN NULL ELSE "
      "range * 7 % 11 END AS x FROM range(80)";
  const Json fit =
      FitJson({"--sql", sql, "--formula", "y ~ x", "--where", "y <> 'z' or x is null"});
  EXPECT_EQ(DependentLevels(fit), (Strings{"c", "b"}));
  const Json three = FitJson({"--sql", sql, "--formula", "y ~ x"});
  EXPECT_EQ(DependentLevels(three), (Strings{"b", "c", "z"})) << "of three the last";
}

TEST(CommandLevels, WeightsOfZeroUseNoRecord) {
  const std::string sql =
      "SELECT ['a', 'b', 'c'][1 + range % 3] AS y, range * 7 % 11 AS x, range % 3 AS n FROM "
      "range(60)";
  const Json fit = FitJson({"--sql", sql, "--formula", "y ~ x", "--freq-weight", "n"});
  EXPECT_EQ(DependentLevels(fit), (Strings{"c", "b"}));
}

TEST(CommandLevels, LevelsOfTheDependentAreInTheOrderOfTheList) {
  const std::string data = kPenguins;
  EXPECT_EQ(FitFile(data, "sex ~ body_mass").at("reference"), "female");
  const Strings turned = {"--levels", "sex=male,female"};
  EXPECT_EQ(FitFile(data, "sex ~ body_mass", turned).at("reference"), "male");
  EXPECT_EQ(FitFile(data, "sex ~ body_mass", {"--levels", "sex=male", "--reference", "last"})
                .at("reference"),
            "female");
  EXPECT_EQ(DependentLevels(FitFile(data, "species ~ body_mass",
                                    {"--levels", "species=Gentoo,Chinstrap,Adelie"})),
            (Strings{"Gentoo", "Chinstrap", "Adelie"}));
}

TEST(CommandLevels, ANumberOfZerosAndOnesIsFittedAsANumberWithANote) {
  const std::string note =
      "The dependent 'low' is 0 or 1 throughout and was taken as a number; for a logistic model of "
      "it, add --model logistic.";
  const Json fit = FitFile(kBirthWeight, "low ~ age");
  EXPECT_EQ(fit.at("model"), "linear");
  EXPECT_EQ(fit.at("warnings"), Json::array({note}));
  EXPECT_EQ(FitFile(kBirthWeight, "low ~ age", {"--model", "linear"}).at("warnings"),
            Json::array());
  for (const char* values : {"0, 1, 2", "0, 0, 0", "0, 0.5, 1", "1, 2, 1", "-1, 0, 1"}) {
    const Json other = FitJson({"--sql",
                                "SELECT unnest([" + std::string(values) +
                                    ", 1, 1]) AS low, unnest([1, 2, 4, 8, 9]) AS age",
                                "--formula", "low ~ age"});
    const bool isNoted = std::string(values) == "0, 0, 0";
    EXPECT_EQ(other.at("warnings").size(), isNoted ? 1U : 0U) << values << other.at("warnings");
  }
}

// ---- Factors ------------------------------------------------------------------

TEST(CommandLevels, BaseIsTheLevelThatOthersAreComparedWith) {
  const Json fit = FitFile(kPenguins, "body_mass ~ species", {"--base", "species=Adelie"});
  EXPECT_EQ(Labels(fit),
            (Strings{"(Intercept)", "species=Chinstrap", "species=Gentoo", "species=Adelie"}));
  EXPECT_EQ(Redundant(fit), Strings{"species=Adelie"});
  const Json usual = FitFile(kPenguins, "body_mass ~ species");
  EXPECT_EQ(Redundant(usual), Strings{"species=Gentoo"});
  const double difference = ParameterOf(usual, "species=Adelie").at("estimate");
  EXPECT_NEAR(ParameterOf(fit, "species=Gentoo").at("estimate"), -difference, 1e-8);
}

TEST(CommandLevels, BasesOfSeveralFactorsAndACrossing) {
  const Json fit = FitFile(kPenguins, "body_mass ~ species*sex",
                           {"--base", "species=Chinstrap", "--base", "sex=female"});
  EXPECT_EQ(Redundant(fit), (Strings{"species=Chinstrap", "sex=female", "species=Adelie:sex=female",
                                     "species=Gentoo:sex=female", "species=Chinstrap:sex=male",
                                     "species=Chinstrap:sex=female"}));
}

TEST(CommandLevels, TheFirstLevelOfEachFactorMayBeTheBase) {
  const std::string formula = "body_mass ~ species + island + sex";
  const auto parametersOf = [&](const Strings& bases) {
    return FitFile(kPenguins, formula, bases).at("parameters");
  };
  EXPECT_EQ(parametersOf({"--base", "first"}),
            parametersOf(
                {"--base", "species=Adelie", "--base", "island=Biscoe", "--base", "sex=female"}));
  EXPECT_EQ(parametersOf({"--base", "first", "--base", "sex=male"}),
            parametersOf({"--base", "species=Adelie", "--base", "island=Biscoe"}));
  const Json without = FitFile(kPenguins, "body_mass ~ species",
                               {"--base", "first", "--where", "species <> 'Adelie'"});
  EXPECT_EQ(Redundant(without), (Strings{"species=Chinstrap"}));
}

TEST(CommandLevels, NumbersAsFactors) {
  for (const char* base : {"C(cylinders)=4", "cylinders=4", "cylinders=4.0"}) {
    EXPECT_EQ(Redundant(FitFile(kCars, "miles_per_gallon ~ C(cylinders)", {"--base", base})),
              Strings{"cylinders=4"});
  }
  EXPECT_EQ(
      Labels(FitFile(kCars, "miles_per_gallon ~ C(cylinders)", {"--levels", "cylinders=8,6"})),
      (Strings{"(Intercept)", "cylinders=8", "cylinders=6", "cylinders=3", "cylinders=4",
               "cylinders=5"}));
}

TEST(CommandLevels, EnumerationsAndBooleans) {
  const std::string sql =
      "SELECT ['S', 'M', 'L'][1 + range % 3]::ENUM('S', 'M', 'L') AS size, range % 2 = 0 AS flag, "
      "range * 5 % 7 AS y FROM range(42)";
  const Json fit = FitJson(
      {"--sql", sql, "--formula", "y ~ size + flag", "--base", "size=S", "--base", "flag=false"});
  EXPECT_EQ(Redundant(fit), (Strings{"size=S", "flag=false"}));
  EXPECT_EQ(Labels(fit),
            (Strings{"(Intercept)", "size=M", "size=L", "size=S", "flag=true", "flag=false"}));
}

TEST(CommandLevels, ALevelWithACommaIsQuoted) {
  const std::string sql =
      "SELECT ['c', 'a,b', 'd'][1 + range % 3] AS g, range * 5 % 7 AS y FROM range(42)";
  const Json fit = FitJson({"--sql", sql, "--formula", "y ~ g", "--levels", "g=\"a,b\",d,c"});
  EXPECT_EQ(Labels(fit), (Strings{"(Intercept)", "g=a,b", "g=d", "g=c"}));
  EXPECT_EQ(Redundant(FitJson({"--sql", sql, "--formula", "y ~ g", "--base", "g=a,b"})),
            Strings{"g=a,b"});
}

TEST(CommandLevels, ABaseThatNoRecordUsesGivesWay) {
  const std::string sql =
      "SELECT ['a', 'b', 'c'][1 + range % 3] AS g, CASE WHEN range % 3 > 0 THEN range * 5 % 7 END "
      "AS y FROM range(42)";
  const Json fit = FitJson({"--sql", sql, "--formula", "y ~ g", "--base", "g=a"});
  EXPECT_EQ(Redundant(fit), Strings{"g=c"});
  const Json& warnings = fit.at("warnings");
  EXPECT_NE(std::ranges::find(warnings,
                              "The base 'a' of 'g' does not occur in the records used; 'c' takes "
                              "its place."),
            warnings.end())
      << warnings;
}

TEST(CommandLevels, WrongLevelsAndFactorsAreNamed) {
  const auto fit = [](const Strings& options) {
    Strings arguments = {"fit", "--data", kPenguins, "--formula", "body_mass ~ species + sex"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return RunQvreg(arguments);
  };
  ExpectFailure(fit({"--base", "species=Gento"}), kBadInput,
                "'species' has no level 'Gento' to be the base. Did you mean 'Gentoo'? Its levels "
                "are 'Adelie', 'Chinstrap', 'Gentoo'.");
  ExpectFailure(fit({"--levels", "sex=male,femal"}), kBadInput,
                "'sex' has no level 'femal' for --levels. Did you mean 'female'? Its levels are "
                "'female', 'male'.");
  ExpectFailure(fit({"--base", "island=Dream"}), kBadInput,
                "There is no factor 'island' for --base. The factors of the model are 'species', "
                "'sex'.");
  ExpectFailure(fit({"--base", "species"}), kBadInput,
                "--base takes a factor and a level, such as b=0, not 'species'.");
}

// ---- Booleans -----------------------------------------------------------------

class CommandBooleans : public ::testing::Test {
 protected:
  /// A file of 40 rows in which `flag` alternates between two texts, and y and x vary.
  [[nodiscard]] std::string File(const std::string& yes, const std::string& no) const {
    std::string text = "flag,y,x\n";
    for (int i = 0; i < 40; ++i) {
      text += (i * 3 % 7 < 4 ? yes : no) + "," + std::to_string(i * 5 % 7) + "," +
              std::to_string(i * i % 11) + "\n";
    }
    return folder_.Write("flags.csv", text);
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandBooleans, AreCalledAsTheFileHasThem) {
  for (const auto& [yes, no] : {std::pair("yes", "no"), std::pair("T", "F"),
                                std::pair("TRUE", "FALSE"), std::pair("True", "False")}) {
    const std::string file = File(yes, no);
    EXPECT_EQ(Labels(FitFile(file, "y ~ flag")),
              (Strings{"(Intercept)", std::string("flag=") + no, std::string("flag=") + yes}));
    const Json fit = FitFile(file, "flag ~ x", {"--predictions", folder_.File("p.csv")});
    EXPECT_EQ(DependentLevels(fit), (Strings{yes, no}));
    EXPECT_EQ(fit.at("classification").at("categories"), (Json{yes, no}));
    const std::string predictions = qvtest::ReadFile(folder_.File("p.csv"));
    EXPECT_TRUE(
        predictions.starts_with(std::string("observed,predicted,p_") + no + ",p_" + yes + "\n"))
        << predictions.substr(0, 60);
    EXPECT_NE(predictions.find(std::string("\n") + yes + ","), std::string::npos);
  }
}

TEST_F(CommandBooleans, AreMeantByAnyOfTheirNames) {
  const std::string file = File("yes", "no");
  EXPECT_EQ(FitFile(file, "flag ~ x", {"--reference", "yes"}).at("reference"), "yes");
  EXPECT_EQ(FitFile(file, "flag ~ x", {"--reference", "true"}).at("reference"), "yes");
  EXPECT_EQ(Redundant(FitFile(file, "y ~ flag", {"--base", "flag=FALSE"})), Strings{"flag=no"});
}

TEST_F(CommandBooleans, OfAnExpressionAreTrueAndFalse) {
  EXPECT_EQ(Labels(FitFile(File("yes", "no"), "y ~ I(flag and x > 3)")).back(),
            "I(flag and x > 3)=true");
}

// ---- Convergence --------------------------------------------------------------

constexpr int kNotConverged = 3;
const std::string kSeparated = QVREG_TEST_DATA "/logistic/data/complete.csv";

TEST(CommandStrict, AnEndWithoutConvergenceHasAnExitCodeOfItsOwn) {
  const qvtest::TempFolder folder;
  const std::string note =
      "The estimation did not converge, so the command ends with exit code 3, as --strict demands.";
  const CommandResult result =
      RunQvreg({"fit", "--data", kSeparated, "--formula", "answer ~ x", "--strict", "--json",
                folder.File("fit.json"), "--predictions", folder.File("p.csv")});
  EXPECT_EQ(result.exitCode, kNotConverged);
  EXPECT_EQ(result.err.find("qvreg: The estimation did not converge: Stopped after "), 0U)
      << result.err;
  EXPECT_TRUE(result.err.ends_with(
      " iterations: the levels are completely separated. All output is written.\n"))
      << result.err;
  const Json fit = Json::parse(qvtest::ReadFile(folder.File("fit.json")));
  EXPECT_EQ(fit.at("warnings").back(), note);
  EXPECT_NE(result.out.find("exit code 3"), std::string::npos) << "in the summary";
  EXPECT_FALSE(qvtest::ReadFile(folder.File("p.csv")).empty());
}

TEST(CommandStrict, EveryOtherEndToo) {
  const auto exitCode = [](const Strings& options) {
    Strings arguments = {"fit", "--data", kBirthWeight, "--formula", "C(low) ~ age", "--strict"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return RunQvreg(arguments).exitCode;
  };
  EXPECT_EQ(exitCode({"--max-iterations", "1"}), kNotConverged);
  EXPECT_EQ(exitCode({"--max-iterations", "0"}), kNotConverged);
  EXPECT_EQ(exitCode({}), 0);
  EXPECT_EQ(exitCode({"--no-intercept"}), 0);
  EXPECT_EQ(
      RunQvreg({"fit", "--data", kBirthWeight, "--formula", "low ~ age", "--strict"}).exitCode, 0)
      << "a linear model needs no iterations";
}

TEST(CommandStrict, WithoutItTheExitCodeIs0) {
  const CommandResult result = RunQvreg({"fit", "--data", kSeparated, "--formula", "answer ~ x"});
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(result.out.find("--strict"), std::string::npos);
}

TEST(CommandStrict, SeparationIsTold) {
  const auto separation = [](const std::string& file, const std::string& formula) {
    return FitFile(file, formula).at("fit").at("separation");
  };
  EXPECT_EQ(separation(kBirthWeight, "C(low) ~ age"), "none");
  EXPECT_EQ(separation(kSeparated, "answer ~ x"), "complete");
  EXPECT_EQ(separation(QVREG_TEST_DATA "/logistic/data/one_group.csv", "answer ~ g + x"), "quasi");
}

}  // namespace
}  // namespace qvhost
