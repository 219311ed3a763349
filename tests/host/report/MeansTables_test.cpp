#include <string>

#include <gtest/gtest.h>

#include "tests/host/report/PrintedParts.h"
#include "tests/host/report/SampleFit.h"

namespace qvhost {
namespace {

MeanEstimate Estimate(double estimate) {
  return {true, estimate, {0.5, estimate / 0.5, 0.01, estimate - 0.8, estimate + 0.8}};
}

MeanTable Table(MeanScale scale, const std::string& level) {
  MeanTable table{{"g"}, scale, level, {}, {}};
  table.rows = {{{"a"}, Estimate(2.5)}, {{"b"}, Estimate(1.0)}, {{"c"}, {.isEstimable = false}}};
  table.differences = {{0, 1, Estimate(1.5), 0.03}, {0, 2, {.isEstimable = false}, {}}};
  return table;
}

TEST(MeansTables, OfALinearModelHaveMeansAndDifferences) {
  FitResult fit = SampleFit();
  fit.means = MeansResult();
  fit.means->grid = {6, {{"x", {1.25}}, {"two", {0, 1}}}, {{"h", {"g"}}}};
  fit.means->degreesOfFreedom = 1097.0;
  fit.means->contrasts = {{"x=1 - x=0", MeanScale::kResponse, "", Estimate(0.75)}};
  fit.means->tables = {Table(MeanScale::kResponse, "")};
  EXPECT_EQ(MeansText(fit), R"(Contrasts

Contrast   Estimate  Std. error     t       p    90% low  90% high
------------------------------------------------------------------
x=1 - x=0   0.75000     0.50000  1.50  0.0100  -0.050000  1.550000

Means of g

g       Estimate  Std. error  90% low  90% high
-----------------------------------------------
a         2.5000     0.50000  1.70000   3.30000
b         1.0000     0.50000  0.20000   1.80000
c  not estimable

Difference       Estimate  Std. error     t       p  p (Holm)  90% low  90% high
--------------------------------------------------------------------------------
a - b              1.5000     0.50000  3.00  0.0100    0.0300  0.70000   2.30000
a - c       not estimable

Means are over a grid of 6 rows, x at 1.25, two at 0 and 1, h within g.
)");
}

TEST(MeansTables, OfALogisticModelTellScaleAndLevel) {
  FitResult fit = SampleLogisticFit();
  fit.means = MeansResult();
  fit.means->grid.rows = 1;
  fit.means->tables = {Table(MeanScale::kLink, "hi"), Table(MeanScale::kProbability, "hi")};
  const std::string text = MeansText(fit);
  const std::string reference = fit.logistic->levels.back().level;
  EXPECT_NE(text.find("Means of g, link of hi against " + reference + "\n"), std::string::npos);
  EXPECT_NE(text.find("Means of g, probability of hi\n"), std::string::npos);
  EXPECT_NE(text.find("p (Holm)"), std::string::npos);
}

TEST(MeansTables, OfTwoLevelsTheProbabilityOfOneIsEnough) {
  FitResult fit = SampleLogisticFit();
  fit.logistic->levels.resize(2);
  const std::string reference = fit.logistic->levels.back().level;
  fit.means = MeansResult();
  fit.means->tables = {Table(MeanScale::kProbability, fit.logistic->levels.front().level),
                       Table(MeanScale::kProbability, reference)};
  const std::string text = MeansText(fit);
  EXPECT_NE(text.find("probability of " + fit.logistic->levels.front().level), std::string::npos);
  EXPECT_EQ(text.find("probability of " + reference), std::string::npos);
}

TEST(MeansTables, AreEmptyWithoutMeans) { EXPECT_EQ(MeansText(SampleFit()), ""); }

}  // namespace
}  // namespace qvhost
