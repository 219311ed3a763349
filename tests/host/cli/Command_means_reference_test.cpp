// Means, their differences and contrasts against R; tests/reference/means tells how.

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/Text.h"
#include "host/table/Connection.h"
#include "tests/host/cli/CommandRun.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
using Strings = std::vector<std::string>;

std::string Reference(const std::string& name) {
  return (std::filesystem::path(QVREG_TEST_DATA) / name).string();
}

std::string Example(const std::string& name) {
  return (std::filesystem::path(QVREG_EXAMPLE_DATA) / name).string();
}

/// A model of the script.
struct Case {
  std::string name;
  std::string data;
  std::string formula;
  Strings options;
  double tolerance = 1e-11;
};

void PrintTo(const Case& tested, std::ostream* out) { *out << tested.name; }

std::vector<Case> Cases() {
  const std::string everything = "y ~ a + b + x + I(x^2) + z + a:b + town %in% a + a:s";
  const Strings weights = {"--freq-weight", "f", "--regression-weight", "w"};
  const auto with = [](Strings options, const Strings& more) {
    options.insert(options.end(), more.begin(), more.end());
    return options;
  };
  const std::string table = Reference("effects/everything.csv");
  constexpr double kLogistic = 2e-9;
  return {
      {"penguins",
       Example("penguins.csv"),
       "body_mass ~ species * sex + log(flipper_length) + beak_length + I(beak_length^2)",
       {}},
      {"cars",
       Reference("means/cars.csv"),
       "mpg ~ C(gear) + gear:wt + am * wt + I(am * hp) + scale(hp)",
       {}},
      {"everything", table, everything, weights},
      {"everything_hc3", table, everything, with(weights, {"--vcov", "hc3"})},
      {"halves", Reference("means/halves.csv"), "y ~ u + a*b", weights},
      {"sex", Example("penguins.csv"), "sex ~ species + island + log(body_mass)", {}, kLogistic},
      {"sex_cluster",
       Example("penguins.csv"),
       "sex ~ species + island + log(body_mass)",
       {"--vcov", "cluster:island"},
       kLogistic},
      {"binary", table, "C(k = 'low') ~ a + b + x + I(x^2) + z + a:b + a:s", weights, kLogistic},
      {"three", table, "k ~ a + b + x + I(x^2) + z + a:b", weights, kLogistic},
  };
}

/// A row of the reference or of JSON: table, kind, scale, level and label.
using Key = Strings;
using Row = std::map<std::string, std::optional<double>>;

constexpr std::size_t kKeyLength = 5;
constexpr std::size_t kContrastLabel = 4;

std::map<Key, Row> Expected(const std::string& name) {
  const Strings names = {"estimate", "std_error",  "df",    "statistic",
                         "p_value",  "p_adjusted", "lower", "upper"};
  std::map<Key, Row> rows;
  for (const auto& row : Connection().Rows(
           "SELECT list, kind, scale, level, label, estimate, error, df, statistic, p, adjusted, "
           "lower, upper FROM read_csv(" +
           QuoteText(Reference("means/means.csv")) +
           ", all_varchar = true) WHERE name = " + QuoteText(name))) {
    Key key;
    for (std::size_t i = 0; i < kKeyLength; ++i) key.push_back(row[i].value_or(""));
    for (std::size_t i = 0; i < names.size(); ++i) {
      const std::optional<std::string>& text = row[kKeyLength + i];
      rows[key][names[i]] = text && !text->empty() ? std::optional(std::stod(*text)) : std::nullopt;
    }
  }
  return rows;
}

std::string Joined(const Json& levels, const Json& terms) {
  std::string text;
  for (const std::string term : terms)
    text += (text.empty() ? "" : ":") + std::string(levels[term]);
  return text;
}

std::map<Key, Json> Found(const Json& fit) {
  const auto level = [](const Json& entry) {
    return entry["level"].is_null() ? std::string() : std::string(entry["level"]);
  };
  std::map<Key, Json> rows;
  for (const Json& contrast : fit["contrasts"]) {
    rows[{"", "contrast", contrast["scale"], level(contrast), contrast["label"]}] = contrast;
  }
  for (const Json& table : fit["means"]) {
    std::string name;
    for (const std::string term : table["terms"]) name += (name.empty() ? "" : ":") + term;
    for (const Json& row : table["rows"]) {
      rows[{name, "mean", table["scale"], level(table), Joined(row["levels"], table["terms"])}] =
          row;
    }
    for (const Json& row : table["differences"]) {
      rows[{name, "difference", table["scale"], level(table),
            Joined(row["first"], table["terms"]) + " - " + Joined(row["second"], table["terms"])}] =
          row;
    }
  }
  return rows;
}

void ExpectRow(const Json& found, const Row& expected, double tolerance, const std::string& what) {
  EXPECT_EQ(found["estimable"], expected.at("estimate").has_value()) << what;
  // Limits and estimates near 0 are known to the digits of the standard error.
  const double size = expected.at("std_error").value_or(0.0);
  for (const auto& [name, number] : expected) {
    if (!found.contains(name)) continue;
    const bool isNumber = expected.at("estimate").has_value() && number.has_value();
    ASSERT_EQ(found[name].is_number(), isNumber) << what << " " << name;
    if (!isNumber) continue;
    const bool isP = name.starts_with("p_");
    if (isP && *number < 1e-14) continue;
    const double scale = isP ? 10.0 * *number : std::max(std::abs(*number), size);
    EXPECT_NEAR(found[name].get<double>(), *number, tolerance * scale) << what << " " << name;
  }
}

class CommandMeans : public ::testing::TestWithParam<Case> {};

TEST_P(CommandMeans, AreThoseOfR) {
  const Case& tested = GetParam();
  const std::map<Key, Row> expected = Expected(tested.name);
  ASSERT_FALSE(expected.empty());
  Strings arguments = {"-d", tested.data, "-f", tested.formula};
  arguments.insert(arguments.end(), tested.options.begin(), tested.options.end());
  Strings asked;
  const auto ask = [&](const std::string& option, const std::string& text) {
    if (std::ranges::find(asked, text) != asked.end()) return;
    asked.push_back(text);
    arguments.insert(arguments.end(), {option, text});
  };
  for (const auto& [key, row] : expected) {
    // A town lies in an a, which is told by itself.
    const std::string factors = key[0] == "town:a" ? "town" : key[0];
    const bool isContrast = key[1] == "contrast";
    ask(isContrast ? "--contrast" : "--means", isContrast ? key[kContrastLabel] : factors);
  }
  const std::map<Key, Json> found = Found(FitJson(arguments));
  for (const auto& [key, row] : expected) {
    std::string what;
    for (const std::string& part : key) what += part + " ";
    ASSERT_TRUE(found.contains(key)) << what;
    ExpectRow(found.at(key), row, tested.tolerance, what);
  }
}

INSTANTIATE_TEST_SUITE_P(Models, CommandMeans, ::testing::ValuesIn(Cases()),
                         [](const auto& tested) { return tested.param.name; });

}  // namespace
}  // namespace qvhost
