#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {

/// Tests of `qvreg fit` on a small table, the file in.csv of a folder of their own.
class CommandOnTable : public ::testing::Test {
 protected:
  using Strings = std::vector<std::string>;

  [[nodiscard]] CommandResult Run(const std::string& formula, const Strings& more) const {
    Strings arguments = {"fit", "--data", "in.csv", "--formula", formula};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return CommandRun(std::move(arguments)).In(folder_.Path()).Run();
  }

  /// The JSON of a fit, which has to succeed.
  [[nodiscard]] nlohmann::json Json(const std::string& formula, Strings more) const {
    more.insert(more.end(), {"--json", "-"});
    const CommandResult result = Run(formula, more);
    EXPECT_EQ(result.exitCode, 0) << result.err;
    return nlohmann::json::parse(result.out);
  }

  qvtest::TempFolder folder_;
};

}  // namespace qvhost
