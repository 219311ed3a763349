// The command on numbers of extreme size: its tests are those of the same numbers in usual units,
// in the table, in JSON and in the predictions.

#include <cmath>
#include <cstddef>
#include <fstream>
#include <nlohmann/json.hpp>
#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

/// The numbers times 10 to the powers given.
std::string Query(int x, int z, int y) {
  std::ostringstream query;
  query << "SELECT i * 1e" << x << " AS x, (i * 7 % 11 + 1) * 1e" << z
        << " AS z, (2 * i + i * i % 5 + i * 7 % 11 / 4.0) * 1e" << y
        << " AS y, CASE WHEN i * i % 7 > 2 THEN 'a' ELSE 'b' END AS g FROM range(1, 25) r(i)";
  return query.str();
}

std::vector<std::string> Arguments(const std::string& query, const std::string& formula) {
  return {"fit", "--sql", query, "--formula", formula};
}

nlohmann::json JsonOf(const std::string& query, const std::string& formula) {
  return FitJson({"--sql", query, "--formula", formula});
}

struct Case {
  std::string formula;
  int x;
  int z;
  int y;
};

void PrintTo(const Case& fit, std::ostream* out) {
  *out << fit.formula << ", 1e" << fit.x << ", 1e" << fit.z << ", 1e" << fit.y;
}

class CommandScale : public ::testing::TestWithParam<Case> {};

TEST_P(CommandScale, TellsTheTestsOfUsualNumbersInJson) {
  const auto& [formula, x, z, y] = GetParam();
  const nlohmann::json extreme = JsonOf(Query(x, z, y), formula);
  const nlohmann::json usual = JsonOf(Query(0, 0, 0), formula);
  ASSERT_EQ(extreme["parameters"].size(), usual["parameters"].size());
  for (std::size_t i = 0; i < usual["parameters"].size(); ++i) {
    const nlohmann::json& parameter = extreme["parameters"][i];
    const nlohmann::json& expected = usual["parameters"][i];
    SCOPED_TRACE(expected.dump());
    EXPECT_FALSE(parameter["redundant"]);
    for (const char* key : {"estimate", "std_error", "statistic", "p_value"}) {
      ASSERT_TRUE(parameter[key].is_number()) << key;
    }
    const double statistic = expected["statistic"];
    EXPECT_NEAR(parameter["statistic"].get<double>(), statistic, 1e-9 * std::abs(statistic));
    const double p = expected["p_value"];
    EXPECT_NEAR(parameter["p_value"].get<double>(), p, 1e-9 * p);
  }
  EXPECT_EQ(extreme["warnings"], usual["warnings"]);
}

TEST_P(CommandScale, PrintsTheirTestsInTheTable) {
  const auto& [formula, x, z, y] = GetParam();
  const CommandResult extreme =
      CommandRun(Arguments(Query(x, z, y), formula)).With("COLUMNS", "200").Run();
  const CommandResult usual =
      CommandRun(Arguments(Query(0, 0, 0), formula)).With("COLUMNS", "200").Run();
  EXPECT_EQ(extreme.exitCode, 0) << extreme.err;
  EXPECT_EQ(extreme.err, usual.err);
  // Label, estimate, standard error, statistic, p.
  const auto testsOf = [](const std::string& text, const std::string& label) {
    std::istringstream rest(text.substr(text.rfind("\n" + label + " ") + 1));
    std::string word;
    std::string tests;
    for (int i = 0; i < 5 && rest >> word; ++i) tests += i == 0 || i > 2 ? word + " " : "";
    return tests;
  };
  EXPECT_EQ(testsOf(extreme.out, "x"), testsOf(usual.out, "x"));
  EXPECT_EQ(testsOf(extreme.out, "(Intercept)"), testsOf(usual.out, "(Intercept)"));
}

TEST_P(CommandScale, PredictsInTheUnitsOfTheData) {
  const auto& [formula, x, z, y] = GetParam();
  const qvtest::TempFolder folder;
  const auto predictions = [&, &formula = formula](const std::string& name,
                                                   const std::string& query) {
    const std::string path = (folder.Path() / name).string();
    std::vector<std::string> arguments = Arguments(query, formula);
    arguments.insert(arguments.end(), {"--predictions", path});
    EXPECT_EQ(RunQvreg(arguments).exitCode, 0);
    std::ifstream file(path);
    std::vector<double> last;
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line)) last.push_back(std::stod(line.substr(line.rfind(',') + 1)));
    return last;
  };
  const std::vector<double> extreme = predictions("extreme.csv", Query(x, z, y));
  const std::vector<double> usual = predictions("usual.csv", Query(0, 0, 0));
  ASSERT_EQ(extreme.size(), 24U);
  const double unit = formula[0] == 'y' ? std::pow(10.0, y) : 1.0;
  for (std::size_t i = 0; i < usual.size(); ++i) {
    EXPECT_NEAR(extreme[i] / unit, usual[i], 1e-11 * std::abs(usual[i]));
  }
}

INSTANTIATE_TEST_SUITE_P(
    Fits, CommandScale,
    ::testing::Values(Case{"y ~ x + z", 155, -170, 0}, Case{"y ~ x + z", 300, 306, 300},
                      Case{"y ~ x + z", 0, 0, -170}, Case{"y ~ x * z", 200, 100, 250},
                      Case{"y ~ x * z", -150, -150, -200}, Case{"g ~ x + z", 300, -170, 0},
                      Case{"g ~ x * z", 100, 200, 0}));

}  // namespace
}  // namespace qvhost
