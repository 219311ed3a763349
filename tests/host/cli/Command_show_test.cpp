// `qvreg show`: what it prints of a saved fit is what `qvreg fit` printed and wrote, to the byte.

#include <filesystem>
#include <nlohmann/json.hpp>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

constexpr int kBadInput = 2;

const std::string kCars = "cars.csv";
const std::string kPenguins = "penguins.csv";

/// A query over 40 rows with a bit of everything: `i` and `y` numbers, `k` of three levels and `b`
/// of two, factors `g` and `h`, `w` and `n` weights, `part` to split by.
const std::string kRows =
    "SELECT i, i * 0.5 + i * i % 7 AS y, i % 5 * 0.25 AS x, i * 7 % 11 + 0.5 AS z, "
    "['a', 'b', 'c d'][i % 3 + 1] AS g, ['', 'ä\"''\\'][i * i % 5 % 2 + 1] AS h, "
    "['low', 'mid', 'high'][i * 5 % 7 % 3 + 1] AS k, i * 11 % 17 > 7 AS b, 1 + i % 3 AS n, "
    "0.5 + i % 4 AS w, i % 4 > 0 AS part, i > 20 AS late FROM range(1, 41) r(i)";

struct Case {
  std::string name;
  Strings arguments;
};

void PrintTo(const Case& fit, std::ostream* out) { *out << fit.name; }

class CommandShow : public ::testing::TestWithParam<Case> {
 protected:
  [[nodiscard]] CommandResult Run(Strings words, const Strings& more) const {
    words.insert(words.end(), more.begin(), more.end());
    return CommandRun(std::move(words)).In(folder_.Path()).Run();
  }

  qvtest::TempFolder folder_;
};

TEST_P(CommandShow, PrintsWhatFitPrinted) {
  Strings fit = {"fit"};
  for (const std::string& word : GetParam().arguments) {
    const bool isFile = word == kCars || word == kPenguins;
    fit.push_back(isFile ? (std::filesystem::path(QVREG_EXAMPLE_DATA) / word).string() : word);
  }
  const CommandResult first = Run(fit, {"--json", "fit.json"});
  ASSERT_EQ(first.exitCode, 0) << first.err;
  const std::string json = qvtest::ReadFile(folder_.File("fit.json"));
  const CommandResult shown = Run({"show", "fit.json"}, {});
  EXPECT_EQ(shown.exitCode, 0) << shown.err;
  EXPECT_EQ(shown.err, "");
  EXPECT_EQ(shown.out, first.out);
  EXPECT_EQ(Run({"show", "fit.json"}, {"--json", "-"}).out, json);

  // XML, and so a saved model, has no control characters.
  if (GetParam().name != "odd_names") {
    const CommandResult saved = Run(fit, {"-q", "--save", "fit.pmml"});
    EXPECT_EQ(saved.exitCode, 0) << saved.err;
    EXPECT_EQ(Run({"show", "fit.pmml"}, {}).out, first.out);
    EXPECT_EQ(Run({"show", "fit.pmml"}, {"--json", "-"}).out, json);
  }

  const Strings style = {"--digits", "9", "--all", "--color", "always"};
  EXPECT_EQ(Run({"show", "fit.json"}, style).out, Run(fit, style).out);
}

const auto kCases = std::vector<Case>{
    {"linear", {"-d", kCars, "-f", "miles_per_gallon ~ weight"}},
    {"missing", {"-d", kPenguins, "-f", "body_mass ~ species*sex + flipper_length"}},
    {"no_intercept", {"-d", kPenguins, "-f", "body_mass ~ 0 + species"}},
    {"where", {"-d", kCars, "-f", "weight ~ origin", "--where", "horsepower > 70"}},
    {"anova_1", {"-d", kPenguins, "-f", "body_mass ~ species*sex", "--anova", "1"}},
    {"anova_2", {"-d", kCars, "-f", "weight ~ displacement", "--anova", "2"}},
    {"anova_3", {"-d", kPenguins, "-f", "body_mass ~ species*sex", "--anova", "3"}},
    {"vif", {"-d", kCars, "-f", "weight ~ displacement + horsepower + origin", "--vif"}},
    {"margins", {"-d", kPenguins, "-f", "body_mass ~ species*flipper_length", "--margins"}},
    {"means",
     {"--sql", kRows, "-f", "y ~ g*h + x", "--means", "g", "--means", "g:h", "--contrast",
      "g=a - g=b", "--contrast", "x=1 - x=0"}},
    {"not_estimable",
     {"--sql", "SELECT * FROM (" + kRows + ") WHERE NOT (g = 'a' AND h = '')", "-f", "y ~ g*h",
      "--means", "g", "--margins"}},
    {"files",
     {"-d", kPenguins, "-f", "body_mass ~ sex", "--influential", "--diagnostics", "d.csv", "-o",
      "p.parquet", "--vcov", "hc3", "--vcov-out", "v.csv"}},
    {"cluster", {"-d", kPenguins, "-f", "body_mass ~ sex", "--vcov", "cluster:island"}},
    {"split", {"--sql", kRows, "-f", "y ~ x + g", "--split", "part"}},
    {"unseen_levels", {"--sql", kRows, "-f", "y ~ C(if(i = 40, 'q', g))", "--split", "part"}},
    {"holdout", {"-d", kPenguins, "-f", "body_mass ~ species", "--holdout", "0.25"}},
    {"folds", {"-d", kPenguins, "-f", "body_mass ~ species", "--folds", "4", "--seed", "3"}},
    {"weights", {"--sql", kRows, "-f", "y ~ x", "--freq-weight", "n", "--regression-weight", "w"}},
    {"standardized", {"--sql", kRows, "-f", "scale(y) ~ scale(x) + center(z)"}},
    {"imposed", {"--sql", kRows, "-f", "y ~ x", "--df", "7.5", "--confidence", "0.9"}},
    {"redundant", {"--sql", kRows, "-f", "y ~ x + I(2*x) + g"}},
    {"saturated", {"--sql", kRows + " LIMIT 3", "-f", "y ~ x + z"}},
    {"perfect", {"--sql", kRows, "-f", "x ~ I(2*x)"}},
    {"tiny",
     {"--sql", "SELECT y * 1e-150 AS y, x * 1e100 AS x FROM (" + kRows + ")", "-f", "y ~ x"}},
    {"missing_strings",
     {"--sql", "SELECT y, if(x = 1, '?', 'a' || x) AS g FROM (" + kRows + ")", "--na", "?", "-f",
      "y ~ g"}},
    {"many_levels",
     {"--sql", "SELECT i % 80 AS g, i % 7 AS y FROM range(400) r(i)", "-f", "y ~ C(g)"}},
    {"odd_names",
     {"--sql", "SELECT y, x AS \"\x1b[31m a`b\", h AS \"ö:\n\" FROM (" + kRows + ")", "-f",
      "y ~ ."}},
    {"binary", {"-d", kPenguins, "-f", "sex ~ body_mass + species"}},
    {"binary_weights",
     {"--sql", kRows, "-f", "b ~ x + z", "--freq-weight", "n", "--regression-weight", "w"}},
    {"multinomial", {"-d", kPenguins, "-f", "species ~ body_mass", "--no-in-memory"}},
    {"logistic_tests",
     {"--sql", kRows, "-f", "b ~ x + g", "--anova", "3", "--vif", "--margins", "--influential"}},
    {"logistic_means",
     {"--sql", kRows, "-f", "k ~ x + g", "--means", "g", "--contrast", "g=a - g=b", "--margins"}},
    {"logistic_files",
     {"--sql", kRows, "-f", "k ~ x", "-o", "p.csv", "--diagnostics", "d.csv", "--vcov", "hc0"}},
    {"logistic_split", {"--sql", kRows, "-f", "b ~ x + z", "--split", "part"}},
    {"logistic_folds", {"--sql", kRows, "-f", "k ~ x", "--folds", "3"}},
    {"unknown_category",
     {"--sql", "SELECT *, if(i = 40, 'other', k) AS kk FROM (" + kRows + ")", "-f", "kk ~ x",
      "--holdout", "0.5"}},
    {"not_converged", {"--sql", kRows, "-f", "b ~ x + z", "--max-iterations", "1"}},
    {"separated", {"--sql", kRows, "-f", "late ~ i"}},
    {"quasi_separated", {"--sql", kRows, "-f", "late ~ C(if(i > 22, 'u', 'v')) + x"}},
    {"many_categories", {"--sql", kRows, "-f", "C(z) ~ x", "--max-iterations", "3"}},
    {"no_terms", {"--sql", kRows, "-f", "k ~ 1"}},
    {"boolean", {"--sql", kRows, "-f", "b ~ part", "--reference", "true"}}};

INSTANTIATE_TEST_SUITE_P(Kinds, CommandShow, ::testing::ValuesIn(kCases),
                         [](const auto& test) { return test.param.name; });

// ---- Beyond the report -----------------------------------------------------------

class CommandShowFile : public ::testing::Test {
 protected:
  CommandShowFile() {
    Strings words = {"fit", "--sql",  kRows,      "-f", "y ~ x",
                     "-q",  "--json", "fit.json", "-o", "p.csv"};
    EXPECT_EQ(CommandRun(std::move(words)).In(folder_.Path()).Run().exitCode, 0);
  }

  [[nodiscard]] CommandResult Show(Strings words) const {
    words.insert(words.begin(), "show");
    return CommandRun(std::move(words)).In(folder_.Path()).Run();
  }

  qvtest::TempFolder folder_;
};

TEST_F(CommandShowFile, NeedsNoOtherFile) {
  const std::string before = Show({"fit.json"}).out;
  EXPECT_NE(before.find("p.csv, 40 rows"), std::string::npos) << before;
  std::filesystem::remove(folder_.File("p.csv"));
  EXPECT_EQ(Show({"fit.json"}).out, before);
  EXPECT_FALSE(std::filesystem::exists(folder_.File("p.csv")));
}

TEST_F(CommandShowFile, WritesJsonToAFile) {
  const CommandResult result = Show({"fit.json", "--json", "copy.json"});
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.out, Show({"fit.json"}).out);
  EXPECT_EQ(qvtest::ReadFile(folder_.File("copy.json")),
            qvtest::ReadFile(folder_.File("fit.json")));
}

TEST_F(CommandShowFile, ShowsNoCommandsToTheTerminal) {
  nlohmann::ordered_json json =
      nlohmann::ordered_json::parse(qvtest::ReadFile(folder_.File("fit.json")));
  for (const char* key : {"formula", "data", "dependent"}) json[key] = "a\x1b[2Jb";
  json["files"]["predictions"]["file"] = "p\x1b]0;x\x07";
  json["warnings"] = {"n\x1b[2J"};
  json["parameters"][1]["label"] = "x\r";
  folder_.Write("odd.json", json.dump());
  const std::string out = Show({"odd.json"}).out;
  EXPECT_NE(out.find("a [2Jb"), std::string::npos) << out;
  EXPECT_EQ(out.find_first_of("\x1b\x07\r"), std::string::npos) << out;
}

TEST_F(CommandShowFile, RefusesWhatIsNoFit) {
  const std::string whole = qvtest::ReadFile(folder_.File("fit.json"));
  folder_.Write("cut.json", whole.substr(0, whole.size() / 2));
  folder_.Write("text.csv", "y,x\n1,2\n");
  folder_.Write("other.json", R"({"rows": 12})");
  folder_.Write("other.xml", "<a><b/></a>");
  std::filesystem::create_directory(folder_.File("folder"));
  const auto refused = [&](const std::string& file, const std::string& message) {
    ExpectFailure(Show({file, "--json", "out.json"}), kBadInput, message);
    EXPECT_FALSE(std::filesystem::exists(folder_.File("out.json")));
  };
  refused("cut.json", "'cut.json' is cut off after " + std::to_string(whole.size() / 2) +
                          " bytes; write it anew with 'qvreg fit --json'.");
  refused("text.csv",
          "'text.csv' is neither a saved model nor the JSON of a fit; name what 'qvreg fit --save' "
          "or 'qvreg fit --json' wrote.");
  refused("other.json",
          "'other.json' does not have 'model' as this version of qvreg writes it; write it anew "
          "with 'qvreg fit --json'.");
  refused(
      "other.xml",
      "'other.xml' is no PMML: its root is the element 'a'; name what 'qvreg fit --save' wrote.");
  refused("folder", "'folder' is a folder; name a saved model or the JSON of a fit.");
  refused("none.json", "There is no file 'none.json'.");
  ExpectFailure(Show({"fit.json", "--json", "fit.json"}), kBadInput,
                "--json 'fit.json' would replace the input 'fit.json'; name another file.");
  EXPECT_EQ(qvtest::ReadFile(folder_.File("fit.json")), whole);
}

TEST_F(CommandShowFile, TakesOneFile) {
  const std::string message =
      "Name one model: qvreg show MODEL.pmml; 'qvreg fit --save FILE' writes one.\nTry 'qvreg show "
      "--help'.";
  ExpectFailure(Show({}), kBadInput, message);
  ExpectFailure(Show({"fit.json", "fit.json"}), kBadInput, message);
}

}  // namespace
}  // namespace qvhost
