// The command against fits computed elsewhere; tests/reference tells how. Their tables are read,
// fitted and written as JSON by the command as users run it.

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

// Tables that are hard by construction, or whose decimals no double holds, keep fewer digits.
double DigitsWanted(const std::string& name) {
  if (name == "leading_digits") return 7.5;
  if (name == "longley" || name == "wampler4") return 9.0;
  if (name == "wampler2") return 12.5;
  return 11.0;
}

Json ReadExpected(const std::filesystem::path& file) { return Json::parse(std::ifstream(file)); }

Json Fit(const Json& expected) {
  const std::filesystem::path data = std::filesystem::path(QVREG_TEST_DATA) / expected.at("data");
  std::vector<std::string> arguments = {"fit", "--data", data.string(), "--json", "-"};
  arguments.insert(arguments.end(), {"--formula", expected.at("formula")});
  for (const std::string option : expected.at("options")) arguments.push_back(option);
  const CommandResult result = RunQvreg(arguments);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  return Json::parse(result.out);
}

/// Both sides of each estimate, measured against the largest where zero is expected.
void ExpectClose(double value, double expected, double scale, double digits,
                 const std::string& what) {
  const double size = expected == 0.0 ? scale : std::abs(expected);
  EXPECT_NEAR(value, expected, std::pow(10.0, -digits) * size) << what;
}

void ExpectParameter(const Json& parameter, const Json& label, bool redundant) {
  EXPECT_EQ(parameter.at("levels"), label.at("levels"));
  EXPECT_EQ(parameter.at("redundant"), redundant) << parameter.at("label");
  if (!redundant) return;
  for (const char* name : {"std_error", "statistic", "p_value", "conf_low", "conf_high"}) {
    EXPECT_TRUE(parameter.at(name).is_null()) << name;
  }
}

class CommandReference : public ::testing::TestWithParam<std::filesystem::path> {};

TEST_P(CommandReference, HasTheExpectedFit) {
  const Json expected = ReadExpected(GetParam());
  const Json fit = Fit(expected);
  const double digits = DigitsWanted(GetParam().stem().string());
  const auto estimates = expected.at("estimates").get<std::vector<double>>();
  const Json& parameters = fit.at("parameters");
  ASSERT_EQ(parameters.size(), estimates.size());

  double scale = 0.0;
  for (const double estimate : estimates) scale = std::max(scale, std::abs(estimate));
  const double sse = expected.at("sse");
  const double df = fit.at("degrees_of_freedom");
  for (std::size_t i = 0; i < estimates.size(); ++i) {
    const Json& parameter = parameters[i];
    const bool redundant = expected.at("redundant")[i];
    ExpectParameter(parameter, expected.at("labels")[i], redundant);
    ExpectClose(parameter.at("estimate"), estimates[i], scale, digits, parameter.at("label"));
    if (redundant || df <= 0.0 || sse <= 0.0) continue;
    const double stdError = std::sqrt(expected.at("unscaled_variance")[i].get<double>() * sse / df);
    ExpectClose(parameter.at("std_error"), stdError, scale, std::min(digits, 8.0),
                parameter.at("label"));
  }
  ExpectClose(fit.at("fit").at("r_square"), expected.at("r_square"), 1.0, std::min(digits, 8.5),
              "R square");
}

std::vector<std::filesystem::path> Cases() {
  std::vector<std::filesystem::path> cases;
  for (const char* folder : {"linear", "r"}) {
    const auto path = std::filesystem::path(QVREG_TEST_DATA) / folder;
    for (const auto& entry : std::filesystem::directory_iterator(path)) {
      if (entry.path().extension() == ".json") cases.push_back(entry.path());
    }
  }
  std::ranges::sort(cases);
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Tables, CommandReference, ::testing::ValuesIn(Cases()),
                         [](const auto& table) {
                           return table.param.parent_path().filename().string() + "_" +
                                  table.param.stem().string();
                         });

}  // namespace
}  // namespace qvhost
