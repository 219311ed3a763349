#include <string>

#include <gtest/gtest.h>

#include "tests/host/report/PrintedParts.h"
#include "tests/host/report/SampleFit.h"

namespace qvhost {
namespace {

TEST(MarginTables, ShowEachEffectInItsOwnFormat) {
  FitResult fit = SampleFit();
  fit.dependent = "price";
  fit.margins = {{{"x", {}, {}, {}, 12345.5, {1.25, 2.5, 0.0125, 12343.0, 12348.0}},
                  {"size", "S", "L", {}, -0.001, {0.0005, -2.0, 0.05, -0.002, 0.0}},
                  {"size", "", "L", {}, {}, {}}}};
  EXPECT_EQ(MarginTables(fit),
            R"(Average marginal effects on price

Variable             Effect  Std. error      t       p  90% low  90% high
-------------------------------------------------------------------------
x                     12346        1.25   2.50  0.0125    12343     12348
size: S - L          -0.001      0.0005  -2.00  0.0500   -0.002         0
size: '' - L  not estimable
)");
}

TEST(MarginTables, OfALogisticModelHaveATableForEachLevel) {
  FitResult fit = SampleLogisticFit();
  fit.margins.emplace();
  for (const DependentLevel& level : fit.logistic->levels) {
    fit.margins->push_back({"x", {}, {}, level.level, 0.5, {}});
  }
  const std::size_t levels = fit.logistic->levels.size();
  ASSERT_GT(levels, 2U);
  const auto tablesIn = [](const std::string& text) {
    std::size_t count = 0;
    for (std::size_t at = text.find("probability of"); at != std::string::npos;
         at = text.find("probability of", at + 1)) {
      ++count;
    }
    return count;
  };
  EXPECT_EQ(tablesIn(MarginTables(fit)), levels);
  fit.logistic->levels.erase(fit.logistic->levels.begin(), fit.logistic->levels.end() - 2);
  EXPECT_EQ(tablesIn(MarginTables(fit)), 1U);
}

}  // namespace
}  // namespace qvhost
