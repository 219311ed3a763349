#include "tests/host/cli/FitJson.h"

#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"

namespace qvhost {

nlohmann::json FitJson(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), "fit");
  arguments.insert(arguments.end(), {"--json", "-"});
  const CommandResult result = RunQvreg(arguments);
  EXPECT_EQ(result.exitCode, 0) << result.err;
  EXPECT_EQ(result.err, "");
  return nlohmann::json::parse(result.out);
}

const nlohmann::json& ParameterOf(const nlohmann::json& fit, const std::string& label,
                                  const std::string& category) {
  for (const nlohmann::json& parameter : fit.at("parameters")) {
    if (parameter.at("label") != label) continue;
    if (category.empty() || parameter.at("category") == category) return parameter;
  }
  throw std::runtime_error("no parameter " + label + " " + category);
}

}  // namespace qvhost
