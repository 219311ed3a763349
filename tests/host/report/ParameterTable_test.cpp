#include "host/report/ParameterTable.h"

#include <gtest/gtest.h>

#include "tests/host/report/SampleFit.h"
#include "tests/host/report/SampleLogisticFit.h"

namespace qvhost {
namespace {

TEST(ParameterTable, OfALinearModelHasT) {
  const FitResult fit = SampleFit();
  EXPECT_EQ(ParameterTable(fit.parameters, ModelKind::kLinear, 0.9),
            "Parameter     Estimate  Std. error      t        p     90% low   90% high\n"
            "-------------------------------------------------------------------------\n"
            "(Intercept)    0.10000    0.020000   5.00  6.7e-07    0.067080   0.132920\n"
            "g=ä:I(x^2)   -12.50000    6.250000  -2.00   0.0457  -22.789000  -2.211000\n"
            "g=b:I(x^2)           0   redundant\n");
}

TEST(ParameterTable, OfALogisticModelHasZAndTheOdds) {
  const FitResult fit = SampleLogisticFit();
  const std::string table =
      ParameterTable(std::span(fit.parameters).first(2), ModelKind::kLogistic, 0.95);
  // exp(0.5), exp(0.08875), exp(0.91125); exp(-1.5), exp(-2.325), exp(-0.675)
  EXPECT_EQ(
      table,
      "Parameter    Estimate  Std. error      z       p    95% low   95% high  exp(est.)  95% low  "
      "95% high\n"
      "--------------------------------------------------------------------------------------------"
      "--------\n"
      "(Intercept)   0.50000     0.25000   2.00  0.0455   0.088750   0.911250      1.649    1.093  "
      "   2.487\n"
      "g=a          -1.50000     0.50000  -3.00  0.0027  -2.325000  -0.675000     0.2231  0.09778  "
      "  0.5092\n");
}

TEST(ParameterTable, OddsPastTheLargestDoubleAreLeftOut) {
  ParameterResult parameter;
  parameter.label = "x";
  parameter.estimate = 710.0;
  parameter.statistics = {1.0, 710.0, 0.0, -800.0, 709.0};
  EXPECT_EQ(
      ParameterTable({&parameter, 1}, ModelKind::kLogistic, 0.95),
      "Parameter  Estimate  Std. error       z       p  95% low  95% high  exp(est.)  95% low    "
      "95% high\n"
      "-----------------------------------------------------------------------------------------"
      "---------\n"
      "x            710.00      1.0000  710.00  <1e-16  -800.00    709.00                   0  "
      "8.218e+307\n");
}

TEST(ParameterTable, WithoutParametersHasAHeading) {
  EXPECT_EQ(ParameterTable({}, ModelKind::kLinear, 0.999),
            "Parameter  Estimate  Std. error  t  p  99.9% low  99.9% high\n"
            "------------------------------------------------------------\n");
}

}  // namespace
}  // namespace qvhost
