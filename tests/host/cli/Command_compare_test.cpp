// `qvreg compare`: tests of nested models against R (tests/reference/compare tells how), and what
// is not compared.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
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

std::string Example(const std::string& name) {
  return (std::filesystem::path(QVREG_EXAMPLE_DATA) / name).string();
}

/// A folder with fits in it.
class CompareTest : public ::testing::Test {
 protected:
  std::string Fit(const std::string& name, const std::string& data, const std::string& formula,
                  Strings options = {}) {
    Strings arguments = {"fit", "-d", data, "-f", formula, "-q", "--json", folder_.File(name)};
    arguments.insert(arguments.end(), options.begin(), options.end());
    const CommandResult result = RunQvreg(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return folder_.File(name);
  }

  std::string Cars(const std::string& name, const std::string& formula, Strings options = {}) {
    return Fit(name, Example("cars.csv"), formula, std::move(options));
  }

  static CommandResult Compare(Strings arguments) {
    arguments.insert(arguments.begin(), "compare");
    return RunQvreg(arguments);
  }

  static Json CompareJson(Strings files) {
    files.insert(files.end(), {"--json", "-"});
    const CommandResult result = Compare(files);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return Json::parse(result.out);
  }

  qvtest::TempFolder folder_;
};

TEST_F(CompareTest, TestsAreThoseOfR) {
  int count = 0;
  const auto folder = std::filesystem::path(QVREG_TEST_DATA) / "compare";
  for (const auto& entry : std::filesystem::directory_iterator(folder)) {
    if (entry.path().extension() != ".json") continue;
    const Json expected = Json::parse(std::ifstream(entry.path()));
    const auto stored =
        std::filesystem::path(QVREG_TEST_DATA) / expected.at("data").get<std::string>();
    const std::string data =
        std::filesystem::exists(stored) ? stored.string() : Example(expected.at("data"));
    Strings options = expected.at("options");
    if (expected.at("df_residual").is_null()) {
      options.insert(options.end(), {"--parameter-criterion", "1e-11"});
    }
    const std::string small = Fit("small.json", data, expected.at("formulas")[0], options);
    const std::string large = Fit("large.json", data, expected.at("formulas")[1], options);
    const Json found = CompareJson({large, small});
    ASSERT_EQ(found.at("tests").size(), 1U) << entry.path() << found.at("warnings");
    const Json& test = found.at("tests").at(0);
    EXPECT_EQ(test.at("fit"), 1);
    EXPECT_EQ(test.at("against"), 2);
    for (const char* key : {"df", "df_residual", "statistic", "p_value", "sum_of_squares"}) {
      const Json& wanted = expected.at(key);
      ASSERT_EQ(test.at(key).is_null(), wanted.is_null()) << entry.path() << key;
      if (wanted.is_null()) continue;
      const double value = wanted;
      EXPECT_NEAR(test.at(key).get<double>(), value, 1e-10 * std::abs(value))
          << entry.path() << key;
    }
    ++count;
  }
  EXPECT_EQ(count, 5);
}

TEST_F(CompareTest, EachFitIsTestedAgainstTheLargestThatIsNestedInIt) {
  const Json found =
      CompareJson({Cars("c.json", "weight ~ displacement*origin"), Cars("a.json", "weight ~ 1"),
                   Cars("b.json", "weight ~ displacement"), Cars("d.json", "weight ~ origin")});
  // By their parameters a has 1, b 2, d 3, c 6.
  Json pairs = Json::array();
  for (const Json& test : found.at("tests")) pairs.push_back({test.at("fit"), test.at("against")});
  EXPECT_EQ(pairs, Json::parse("[[3, 2], [4, 2], [1, 4]]"));
  EXPECT_EQ(found.at("warnings"), Json::array());
}

TEST_F(CompareTest, ParametersStandSideBySide) {
  const std::string a = Cars("a.json", "weight ~ displacement");
  const std::string b = Cars("b.json", "weight ~ origin + displacement");
  const Json found = CompareJson({a, b});
  const Json& parameters = found.at("parameters");
  ASSERT_EQ(parameters.size(), 5U);
  EXPECT_EQ(parameters.at(1).at("label"), "origin=Europe");
  EXPECT_TRUE(parameters.at(1).at("fits").at(0).is_null());
  EXPECT_EQ(parameters.at(4).at("label"), "displacement");
  const Json fit = Json::parse(std::ifstream(a));
  EXPECT_EQ(parameters.at(4).at("fits").at(0).at("estimate"),
            fit.at("parameters").at(1).at("estimate"));
  EXPECT_EQ(found.at("fits").at(0).at("fit").at("aic"), fit.at("fit").at("aic"));
  const CommandResult text = Compare({a, b});
  EXPECT_NE(text.out.find("(2) against (1)"), std::string::npos) << text.out;
}

TEST_F(CompareTest, SavedModelsAreTheFitsThatTheirJsonIs) {
  for (const std::string dependent : {"weight", "origin"}) {
    std::vector<std::string> jsons;
    std::vector<std::string> models;
    for (const std::string terms : {"displacement", "displacement + acceleration"}) {
      const std::string name = std::to_string(jsons.size());
      models.push_back(folder_.File(name + ".pmml"));
      jsons.push_back(Cars(name + ".json", dependent + " ~ " + terms, {"--save", models.back()}));
    }
    Json expected = CompareJson(jsons);
    ASSERT_EQ(expected.at("tests").size(), 1U);
    for (const Strings& files : {models, {models[0], jsons[1]}, {jsons[0], models[1]}}) {
      for (std::size_t i = 0; i < files.size(); ++i)
        expected.at("fits").at(i).at("file") = files[i];
      EXPECT_EQ(CompareJson(files), expected);
    }
  }
}

TEST_F(CompareTest, LogisticParametersStandByCategory) {
  const std::string a = Cars("a.json", "origin ~ weight");
  const std::string b = Cars("b.json", "origin ~ weight + displacement");
  const Json found = CompareJson({a, b});
  ASSERT_EQ(found.at("parameters").size(), 6U);
  EXPECT_EQ(found.at("parameters").at(2).at("label"), "displacement");
  EXPECT_EQ(found.at("parameters").at(2).at("category"), "Europe");
  EXPECT_EQ(found.at("tests").at(0).at("df"), 2);
  EXPECT_NE(Compare({a, b}).out.find("origin = Japan"), std::string::npos);
}

TEST_F(CompareTest, NotNestedModelsAreNotTested) {
  const Json found =
      CompareJson({Cars("a.json", "weight ~ displacement"), Cars("b.json", "weight ~ origin")});
  EXPECT_EQ(found.at("tests"), Json::array());
  EXPECT_EQ(found.at("warnings").at(0),
            "Fits 1 and 2 are not tested against each other: the terms of fit 2 do not hold "
            "'displacement' of fit 1.");
}

TEST_F(CompareTest, OtherRecordsAreNotTested) {
  // 406 records, 400 with horsepower.
  const Json found = CompareJson({Cars("a.json", "weight ~ displacement"),
                                  Cars("b.json", "weight ~ displacement*horsepower")});
  EXPECT_EQ(found.at("tests"), Json::array());
  EXPECT_EQ(found.at("warnings").at(0),
            "Fits 1 and 2 are not tested against each other: 406 records were used by fit 1, 400 "
            "by fit 2.");
}

TEST_F(CompareTest, OtherWeightsAreNotTested) {
  const Json found = CompareJson(
      {Cars("a.json", "weight ~ displacement"),
       Cars("b.json", "weight ~ displacement + origin", {"--regression-weight", "cylinders"})});
  EXPECT_EQ(found.at("tests"), Json::array());
  EXPECT_EQ(found.at("warnings").at(0),
            "Fits 1 and 2 are not tested against each other: the values or weights of the "
            "dependent differ in the records that they used.");
}

TEST_F(CompareTest, RefusesWhatIsNoFit) {
  const std::string good = Cars("good.json", "weight ~ displacement");
  const std::string whole = qvtest::ReadFile(good);
  const std::string cut = folder_.Write("cut.json", whole.substr(0, 700));
  const std::string list = folder_.Write("list.json", "[1, 2]");
  const std::string text = folder_.Write("text.json", "formula,data\n");
  const std::string empty = folder_.Write("empty.json", "");
  Json old = Json::parse(whole);
  old.at("records").erase("digest");
  const std::string before = folder_.Write("before.json", old.dump());
  old = Json::parse(whole);
  old.at("parameters").at(0).at("estimate") = "1";
  const std::string odd = folder_.Write("odd.json", old.dump());
  const auto message = [&](const std::string& file, const std::string& expected) {
    ExpectFailure(Compare({good, file}), kBadInput, expected);
  };
  message(cut, "'" + cut + "' is cut off after 700 bytes; write it anew with 'qvreg fit --json'.");
  for (const std::string& file : {list, text, empty}) {
    message(file, "'" + file +
                      "' is neither a saved model nor the JSON of a fit; name what 'qvreg fit "
                      "--save' or 'qvreg fit --json' wrote.");
  }
  message(before, "'" + before +
                      "' does not have 'records/digest' as this version of qvreg writes it; write "
                      "it anew with 'qvreg fit --json'.");
  message(odd, "'" + odd +
                   "' does not have 'parameters/0/estimate' as this version of qvreg writes it; "
                   "write it anew with 'qvreg fit --json'.");
  old = Json::parse(whole);
  old.at("records").at("digest") = nullptr;
  const std::string bare = folder_.Write("bare.json", old.dump());
  message(bare, "'" + bare +
                    "' has no digest of the records used ('records/digest'); write it anew with "
                    "'qvreg fit'.");
  message(folder_.File("none.json"), "There is no file '" + folder_.File("none.json") + "'.");
  ExpectFailure(Compare({good}), kBadInput,
                "Name two models or more: qvreg compare FIRST.pmml SECOND.pmml; 'qvreg fit --save "
                "FILE' writes one.\nTry 'qvreg compare --help'.");
  ExpectFailure(Compare({good, good, "--json", good}), kBadInput,
                "--json '" + good + "' would replace the input '" + good + "'; name another file.");
}

TEST_F(CompareTest, RefusesOtherDependentsAndKinds) {
  const std::string a = Cars("a.json", "weight ~ displacement");
  const std::string b = Cars("b.json", "log(weight) ~ displacement");
  const std::string c = Cars("c.json", "origin ~ displacement");
  ExpectFailure(Compare({a, b}), kBadInput,
                "'" + a + "' is a model of 'weight' and '" + b +
                    "' one of 'log(weight)'; compare fits of one dependent.");
  ExpectFailure(
      Compare({a, c}), kBadInput,
      "'" + a + "' is a linear model and '" + c + "' a logistic one; compare fits of one kind.");
}

TEST_F(CompareTest, TheDigestKnowsTheRecordsAlone) {
  const auto digest = [&](const std::string& sql, const std::string& formula,
                          const Strings& options = {}) {
    Strings arguments = {"--sql", sql, "-f", formula};
    arguments.insert(arguments.end(), options.begin(), options.end());
    return FitJson(arguments).at("records").at("digest").get<std::string>();
  };
  const std::string data = "'" + Example("cars.csv") + "'";
  const std::string all = "SELECT * FROM " + data;
  const std::string whole = digest(all, "weight ~ origin");
  EXPECT_EQ(whole.size(), 32U);
  EXPECT_EQ(digest(all + " ORDER BY name DESC", "weight ~ acceleration", {"--threads", "3"}),
            whole);
  EXPECT_NE(digest(all + " LIMIT 405", "weight ~ origin"), whole);
  EXPECT_NE(digest(all, "weight ~ origin", {"--freq-weight", "cylinders"}), whole);
  // A category counts by its text, not by its code.
  EXPECT_EQ(digest(all, "origin ~ weight"),
            digest(all, "origin ~ weight", {"--levels", "origin=USA", "--no-collapse"}));
}

}  // namespace
}  // namespace qvhost
