// The command against logistic fits computed elsewhere; tests/reference tells how. Their tables are
// read, fitted and written as JSON by the command as users run it, with the records in memory and
// without.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/cli/CommandRun.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
namespace fs = std::filesystem;

constexpr double kLeastDigits = 10.0;

/// A case on disk and whether its records are kept in memory.
using Case = std::tuple<fs::path, bool>;

Json ReadExpected(const fs::path& file) { return Json::parse(std::ifstream(file)); }

std::vector<std::string> Arguments(const Json& expected, bool inMemory) {
  const fs::path data = fs::path(QVREG_TEST_DATA) / expected.at("data");
  std::vector<std::string> arguments = {"--data", data.string(), "--formula",
                                        expected.at("formula")};
  for (const std::string option : expected.at("options")) arguments.push_back(option);
  arguments.emplace_back(inMemory ? "--in-memory" : "--no-in-memory");
  return arguments;
}

/// Right decimal digits of a value: of its relative error, and where 0 is expected of the error
/// itself.
double DigitsOf(const Json& value, double expected) {
  if (!value.is_number()) return 0.0;
  const double size = expected == 0.0 ? 1.0 : std::abs(expected);
  const double error = std::abs(value.get<double>() - expected) / size;
  constexpr double all = 16.0;
  return error == 0.0 ? all : std::min(all, -std::log10(error));
}

class CommandLogisticReference : public ::testing::TestWithParam<Case> {
 protected:
  void ExpectClose(const Json& value, double expected, const std::string& what) {
    const double digits = DigitsOf(value, expected);
    worst_ = std::min(worst_, digits);
    EXPECT_GE(digits, kLeastDigits) << what << " is " << value << " instead of " << expected;
  }

  void ExpectParameters(const Json& parameters, const Json& expected) {
    const Json& labels = expected.at("labels");
    ASSERT_EQ(parameters.size(), labels.size());
    for (std::size_t i = 0; i < labels.size(); ++i) {
      const Json& parameter = parameters[i];
      const std::string what = parameter.at("category").get<std::string>() + ": " +
                               parameter.at("label").get<std::string>();
      EXPECT_EQ(parameter.at("category"), labels[i].at("category").get<std::string>());
      EXPECT_EQ(parameter.at("levels"), labels[i].at("levels")) << what;
      EXPECT_EQ(parameter.at("redundant"), expected.at("redundant")[i]) << what;
      if (expected.at("redundant")[i]) {
        EXPECT_EQ(parameter.at("estimate"), 0.0) << what;
        EXPECT_TRUE(parameter.at("std_error").is_null()) << what;
        continue;
      }
      ExpectClose(parameter.at("estimate"), expected.at("estimates")[i], what);
      ExpectClose(parameter.at("std_error"), expected.at("standard_errors")[i], what + ", error");
    }
  }

  void ExpectQuality(const Json& fit, const Json& expected) {
    for (const char* name : {"loglik_initial", "loglik", "cox_snell", "nagelkerke", "mcfadden"}) {
      ExpectClose(fit.at(name), expected.at(name), name);
    }
    const Json& redundant = expected.at("redundant");
    const auto kept = static_cast<double>(std::ranges::count(redundant, Json(false)));
    const double initial = expected.at("loglik_initial");
    const double final = expected.at("loglik");
    // A model of nothing but intercepts gains nothing.
    ExpectClose(fit.at("chi_square"), 2.0 * (final - initial), "chi-square");
    ExpectClose(fit.at("aic"), 2.0 * kept - 2.0 * final, "AIC");
  }

  double worst_ = 16.0;
};

TEST_P(CommandLogisticReference, HasTheExpectedFit) {
  const auto& [file, inMemory] = GetParam();
  const Json expected = ReadExpected(file);
  const Json report = FitJson(Arguments(expected, inMemory));
  EXPECT_EQ(report.at("model"), "logistic");
  EXPECT_EQ(report.at("records").at("used"), expected.at("n"));
  EXPECT_EQ(report.at("reference"), expected.at("reference").get<std::string>());

  const Json& fit = report.at("fit");
  EXPECT_EQ(fit.at("in_memory"), inMemory);
  EXPECT_EQ(fit.at("converged"), true);
  EXPECT_TRUE(fit.at("outcome") == "parameters_converged" || fit.at("outcome") == "no_iterations")
      << fit.at("outcome");
  ExpectParameters(report.at("parameters"), expected);
  ExpectQuality(fit, expected);

  const Json& classification = report.at("classification");
  EXPECT_EQ(classification.at("categories"), expected.at("categories"));
  EXPECT_EQ(classification.at("table"), expected.at("classification"));
  RecordProperty("right_digits", std::to_string(worst_));
}

class CommandLogisticNoFit : public ::testing::TestWithParam<Case> {
 protected:
  /// The case's number for the outcome as a word.
  static std::string OutcomeName(int number) {
    if (number == 4) return "singular_information";
    return number == 7 ? "complete_separation" : "quasi_complete_separation";
  }

  qvtest::TempFolder folder_;
};

TEST_P(CommandLogisticNoFit, EndsAsExpectedWithAWarningAndFiniteNumbers) {
  const auto& [file, inMemory] = GetParam();
  const Json expected = ReadExpected(file);
  std::vector<std::string> arguments = Arguments(expected, inMemory);
  arguments.insert(arguments.begin(), "fit");
  arguments.insert(arguments.end(), {"--json", folder_.File("fit.json")});
  const CommandResult result = RunQvreg(arguments);
  EXPECT_EQ(result.exitCode, 0);
  EXPECT_EQ(result.err, "");
  EXPECT_EQ(NonFiniteWords(result.out), std::vector<std::string>{});

  const std::string json = qvtest::ReadFile(folder_.File("fit.json"));
  EXPECT_EQ(NonFiniteWords(json), std::vector<std::string>{});
  const Json report = Json::parse(json);
  EXPECT_EQ(report.at("fit").at("outcome_code"), expected.at("outcome"));
  EXPECT_EQ(report.at("fit").at("outcome"), OutcomeName(expected.at("outcome")));
  EXPECT_EQ(report.at("fit").at("converged"), false);
  ASSERT_EQ(report.at("warnings").size(), 1U) << report.at("warnings");
  EXPECT_NE(report.at("warnings")[0].get<std::string>().find("standard error"), std::string::npos);
}

std::vector<fs::path> Files(const char* folder) {
  std::vector<fs::path> files;
  const fs::path path = fs::path(QVREG_TEST_DATA) / "logistic" / folder;
  for (const auto& entry : fs::directory_iterator(path)) {
    if (entry.path().extension() == ".json") files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

std::string NameOf(const ::testing::TestParamInfo<Case>& info) {
  return std::get<0>(info.param).stem().string() +
         (std::get<1>(info.param) ? "_in_memory" : "_record_by_record");
}

INSTANTIATE_TEST_SUITE_P(Tables, CommandLogisticReference,
                         ::testing::Combine(::testing::ValuesIn(Files("fits")), ::testing::Bool()),
                         NameOf);
INSTANTIATE_TEST_SUITE_P(Tables, CommandLogisticNoFit,
                         ::testing::Combine(::testing::ValuesIn(Files("separation")),
                                            ::testing::Bool()),
                         NameOf);

}  // namespace
}  // namespace qvhost
