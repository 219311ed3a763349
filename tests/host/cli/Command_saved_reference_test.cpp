// Models of the tables of tests/reference, saved and read again: they score every row and print the
// fit to the last bit as the run did that fitted them.

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/table/Connection.h"
#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
namespace fs = std::filesystem;

class CommandSavedReference : public ::testing::TestWithParam<fs::path> {
 protected:
  static void Run(std::vector<std::string> arguments) {
    const CommandResult result = RunQvreg(std::move(arguments));
    ASSERT_EQ(result.exitCode, 0) << result.err;
  }

  [[nodiscard]] auto Rows(const std::string& columns, const std::string& file) const {
    Connection connection;
    return connection.Rows("SELECT " + columns + " FROM " + QuoteText(folder_.File(file)));
  }

  qvtest::TempFolder folder_;
};

TEST_P(CommandSavedReference, ScoresAndShowsItselfToTheLastBit) {
  const Json expected = Json::parse(std::ifstream(GetParam()));
  const std::string data =
      (fs::path(QVREG_TEST_DATA) / expected.at("data").get<std::string>()).string();
  std::vector<std::string> fit = {"fit", "--data", data, "--formula", expected.at("formula")};
  for (const std::string option : expected.at("options")) fit.push_back(option);
  const std::string model = folder_.File("model.pmml");
  fit.insert(fit.end(), {"--save", model, "--json", folder_.File("fit.json"), "--predictions",
                         folder_.File("fit.parquet")});
  Run(fit);
  Run({"score", "--model", model, "--data", data, "--out", folder_.File("score.parquet"),
       "--interval"});

  const bool isLinear =
      Json::parse(std::ifstream(folder_.File("fit.json"))).at("model") == "linear";
  const std::string columns =
      isLinear ? "predicted, std_error" : "predicted, COLUMNS(c -> starts_with(c, 'p_'))";
  const auto rows = Rows(columns, "fit.parquet");
  EXPECT_GT(rows.size(), 0U);
  EXPECT_EQ(Rows(columns, "score.parquet"), rows);
  const CommandResult shown = RunQvreg({"show", model, "--json", "-"});
  EXPECT_EQ(shown.out, qvtest::ReadFile(folder_.File("fit.json")));
}

std::vector<fs::path> Cases() {
  std::vector<fs::path> cases;
  for (const char* folder : {"linear", "r", "logistic/fits", "logistic/separation"}) {
    for (const auto& entry : fs::directory_iterator(fs::path(QVREG_TEST_DATA) / folder)) {
      if (entry.path().extension() == ".json") cases.push_back(entry.path());
    }
  }
  std::ranges::sort(cases);
  return cases;
}

INSTANTIATE_TEST_SUITE_P(Tables, CommandSavedReference, ::testing::ValuesIn(Cases()),
                         [](const auto& table) {
                           return table.param.parent_path().filename().string() + "_" +
                                  table.param.stem().string();
                         });

}  // namespace
}  // namespace qvhost
