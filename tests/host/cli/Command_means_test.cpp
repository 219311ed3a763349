// --means and --contrast as users give them.

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
using Strings = std::vector<std::string>;

constexpr int kBadInput = 2;

class CommandMeansOptions : public ::testing::Test {
 protected:
  static std::string Penguins() {
    return (std::filesystem::path(QVREG_EXAMPLE_DATA) / "penguins.csv").string();
  }

  CommandResult Run(const std::string& formula, Strings more) const {
    more.insert(more.begin(), {"fit", "-d", Penguins(), "-f", formula});
    return CommandRun(std::move(more)).In(folder_.Path()).Run();
  }

  CommandResult Refused(const Strings& more) const {
    return Run("body_mass ~ species*sex + log(flipper_length)", more);
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandMeansOptions, SayWhatIsWrong) {
  ExpectFailure(
      Refused({"--contrast", "species=Gento - species=Adelie"}), kBadInput,
      "--contrast 'species=Gento - species=Adelie': 'species' has no level 'Gento' in the "
      "records used. Did you mean 'Gentoo'? Its levels are 'Adelie', 'Chinstrap', "
      "'Gentoo'.");
  ExpectFailure(Refused({"--contrast", "specis=Gentoo"}), kBadInput,
                "--contrast 'specis=Gentoo': the model has no variable 'specis'. Did you mean "
                "'species'? It has 'species', 'sex', 'flipper_length'.");
  ExpectFailure(
      Refused({"--contrast", "species=Gentoo-species=Adelie"}), kBadInput,
      "--contrast 'species=Gentoo-species=Adelie': 'species' has no level "
      "'Gentoo-species=Adelie' in the records used; a sign between terms needs a blank on "
      "both of its sides. Did you mean 'Gentoo'? Its levels are 'Adelie', 'Chinstrap', "
      "'Gentoo'.");
  ExpectFailure(Refused({"--contrast", "species=Gentoo & species=Adelie"}), kBadInput,
                "--contrast 'species=Gentoo & species=Adelie': 'species' has two values in one "
                "term.");
  ExpectFailure(Refused({"--contrast", "log(flipper_length)=5"}), kBadInput,
                "--contrast 'log(flipper_length)=5': 'log(flipper_length)' is computed; name what "
                "it is computed of, 'flipper_length'.");
  ExpectFailure(Refused({"--contrast", "flipper_length=long"}), kBadInput,
                "--contrast 'flipper_length=long': 'flipper_length' is a number in this model, "
                "which 'long' is not.");
  ExpectFailure(Refused({"--contrast", "body_mass=1"}), kBadInput,
                "--contrast 'body_mass=1': 'body_mass' is the dependent; name what it depends on.");
  ExpectFailure(Refused({"--contrast", "flipper_length=-5"}), kBadInput,
                "'log(flipper_length)' has no value where flipper_length is -5, which is where "
                "--means and --contrast take means; give a contrast another value, or take it out "
                "of the model.");
  ExpectFailure(Refused({"--means", "flipper_length"}), kBadInput,
                "--means 'flipper_length': 'flipper_length' is a number at its mean and has no "
                "levels; ask for its effect with --contrast \"flipper_length=1 - "
                "flipper_length=0\".");
  ExpectFailure(Refused({"--means", "species:species"}), kBadInput,
                "--means 'species:species': 'species' is named twice.");
  ExpectFailure(Refused({"--means", "island"}), kBadInput,
                "--means 'island': the model has no variable 'island'. It has 'species', 'sex', "
                "'flipper_length'.");
}

TEST_F(CommandMeansOptions, ARefusedOneLeavesNoFile) {
  const CommandResult result =
      Refused({"--means", "island", "--json", "out.json", "--predictions", "out.csv"});
  EXPECT_EQ(result.exitCode, kBadInput);
  EXPECT_FALSE(std::filesystem::exists(folder_.File("out.json")));
  EXPECT_FALSE(std::filesystem::exists(folder_.File("out.csv")));
}

TEST_F(CommandMeansOptions, NumbersDependOnNoThreads) {
  for (const std::string formula :
       {"body_mass ~ species*sex + log(flipper_length)", "island ~ species + sex + beak_length"}) {
    const auto fit = [&](const char* threads) {
      return FitJson({"-d", Penguins(), "-f", formula, "--means", "species:sex", "--contrast",
                      "sex=male - sex=female", "--threads", threads});
    };
    const Json one = fit("1");
    EXPECT_EQ(one["means"], fit("2")["means"]);
    EXPECT_EQ(one["contrasts"], fit("3")["contrasts"]);
  }
}

TEST_F(CommandMeansOptions, RecordsFittedTogetherHaveTheSameMeans) {
  const Strings arguments = {"--model",
                             "logistic",
                             "-f",
                             "k ~ g + h + I(x * x)",
                             "--means",
                             "g:h",
                             "--sql",
                             "SELECT i % 3 AS k, ['a', 'b'][1 + i % 2] AS g, "
                             "['u', 'v'][1 + (i // 7) % 2] AS h, i % 5 AS x "
                             "FROM range(20000) t(i)"};
  Strings alone = arguments;
  alone.emplace_back("--no-collapse");
  const Json together = FitJson(arguments);
  const Json single = FitJson(alone);
  EXPECT_TRUE(together["fit"]["distinct_records"].is_number());
  EXPECT_TRUE(single["fit"]["distinct_records"].is_null());
  EXPECT_EQ(together["reference_grid"], single["reference_grid"]);
  for (std::size_t i = 0; i < single["means"].size(); ++i) {
    for (std::size_t j = 0; j < single["means"][i]["rows"].size(); ++j) {
      const double expected = single["means"][i]["rows"][j]["std_error"];
      EXPECT_NEAR(together["means"][i]["rows"][j]["std_error"].get<double>(), expected,
                  1e-9 * expected);
    }
  }
}

TEST_F(CommandMeansOptions, DegreesOfFreedomMayBeImposed) {
  const Json fit =
      FitJson({"-d", Penguins(), "-f", "body_mass ~ species", "--means", "species", "--df", "10"});
  EXPECT_EQ(fit["means"][0]["rows"][0]["df"], 10);
  const Json parameter = ParameterOf(fit, "species=Adelie");
  // Adelie less Gentoo, the base.
  const Json difference = fit["means"][0]["differences"][1];
  EXPECT_NEAR(difference["std_error"].get<double>(), parameter["std_error"].get<double>(), 1e-9);
  EXPECT_NEAR(difference["upper"].get<double>(), parameter["conf_high"].get<double>(), 1e-8);
}

TEST_F(CommandMeansOptions, WithoutAnInterceptMeansAreTheSame) {
  const Strings arguments = {"-d",      Penguins(), "-f", "body_mass ~ species + flipper_length",
                             "--means", "species"};
  Strings without = arguments;
  without.emplace_back("--no-intercept");
  const Json one = FitJson(arguments)["means"][0]["rows"][2];
  const Json other = FitJson(without)["means"][0]["rows"][2];
  EXPECT_NEAR(one["estimate"].get<double>(), other["estimate"].get<double>(), 1e-8);
  EXPECT_NEAR(one["std_error"].get<double>(), other["std_error"].get<double>(), 1e-8);
}

TEST_F(CommandMeansOptions, TheSummaryTellsWhatCannotBeEstimated) {
  // No Gentoo lives on Torgersen.
  const CommandResult result = Run(
      "body_mass ~ species*island",
      {"--means", "species", "--contrast", "species=Gentoo & island=Torgersen - species=Adelie"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_NE(result.out.find("not estimable"), std::string::npos) << result.out;
  EXPECT_NE(result.out.find("Means are over a grid of 9 rows."), std::string::npos);
}

}  // namespace
}  // namespace qvhost
