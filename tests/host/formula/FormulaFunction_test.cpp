// The table of functions: it holds together, and the document lists the same.
#include "host/formula/FormulaFunction.h"

#include <algorithm>
#include <fstream>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

constexpr std::string_view kLetters = "nwtdcsafu";

TEST(FormulaFunction, NamesAreUnique) {
  std::set<std::string_view> names;
  for (const FormulaFunction& function : FormulaFunctions()) {
    EXPECT_TRUE(names.insert(function.Name()).second) << function.Name();
    EXPECT_EQ(FindFunction(function.Name()), &function);
  }
}

TEST(FormulaFunction, TheUsageCountsTheArguments) {
  for (const FormulaFunction& function : FormulaFunctions()) {
    const std::string_view usage = function.usage;
    const auto count = [&](char c) { return std::ranges::count(usage, c); };
    const bool repeats = usage.find("...") != std::string_view::npos;
    const auto written = usage.ends_with("()") ? 0 : count(',') + (repeats ? 0 : 1);
    const std::size_t most = function.MostArguments().value_or(function.FewestArguments());
    EXPECT_EQ(static_cast<std::size_t>(written), most) << usage;
    EXPECT_EQ(repeats, !function.MostArguments().has_value()) << usage;
    EXPECT_EQ(count('[') == 1, function.FewestArguments() < most) << usage;
    for (const char letter : function.arguments) {
      EXPECT_NE((std::string(kLetters) + "|+").find(letter), std::string::npos) << usage;
    }
  }
}

TEST(FormulaFunction, IsFoundInAnyCase) {
  ASSERT_NE(FindFunction("SQRT"), nullptr);
  EXPECT_EQ(FindFunction("Sqrt")->sql, "sqrt");
  EXPECT_EQ(FindFunction("sqr"), nullptr);
  EXPECT_EQ(FindFunction("sqrtt"), nullptr);
  EXPECT_EQ(FindFunction(""), nullptr);
  EXPECT_EQ(FindFunction("main.sqrt"), nullptr);
}

// Whatever sees other records, the machine or the moment stays out.
TEST(FormulaFunction, HoldsNoFunctionOfAnythingButTheRecord) {
  for (const char* const name : {"sum",
                                 "avg",
                                 "count",
                                 "min",
                                 "max",
                                 "lag",
                                 "row_number",
                                 "unnest",
                                 "range",
                                 "columns",
                                 "random",
                                 "uuid",
                                 "now",
                                 "today",
                                 "current_date",
                                 "read_text",
                                 "read_csv",
                                 "glob",
                                 "getenv",
                                 "current_setting",
                                 "nextval",
                                 "currval",
                                 "query",
                                 "query_table",
                                 "version",
                                 "current_user",
                                 "current_database",
                                 "hash",
                                 "error",
                                 "typeof",
                                 "list_sum",
                                 "struct_pack",
                                 "coalesce",
                                 "ifnull",
                                 "setseed",
                                 "pg_sleep",
                                 "sleep_ms",
                                 "write_log",
                                 "txid_current",
                                 "timezone",
                                 "age",
                                 "cast",
                                 "try",
                                 "exists"}) {
    EXPECT_EQ(FindFunction(name), nullptr) << name;
  }
}

/// The functions of docs/formula.md, each behind its group's heading: "Text/lower(s)".
std::vector<std::string> DocumentedFunctions() {
  std::ifstream file(QVREG_EXAMPLE_DATA "/../../docs/formula.md");
  std::vector<std::string> functions;
  std::string group;
  bool inFunctions = false;
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("## ")) inFunctions = line == "## Functions";
    if (line.starts_with("### ")) group = line.substr(4);
    if (!inFunctions || !line.starts_with("| `")) continue;
    functions.push_back(group + "/" + line.substr(3, line.find('`', 3) - 3));
  }
  return functions;
}

TEST(FormulaFunction, TheDocumentListsThem) {
  std::vector<std::string> expected;
  for (const FormulaFunction& function : FormulaFunctions()) {
    expected.push_back(std::string(GroupTitle(function.group)) + "/" + std::string(function.usage));
  }
  EXPECT_EQ(DocumentedFunctions(), expected);
}

}  // namespace
}  // namespace qvhost
