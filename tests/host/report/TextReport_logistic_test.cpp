// The summary of a logistic model, as the printed whole.

#include <gtest/gtest.h>

#include "host/report/TextReport.h"
#include "tests/host/report/SampleLogisticFit.h"

namespace qvhost {
namespace {

TEST(TextReportLogistic, TellsTheWholeFit) {
  EXPECT_EQ(TextReport(SampleLogisticFit()),
            R"(Multinomial logistic model

Formula    y ~ g + x
Data       data.csv
Dependent  y
Weights    frequency n
Records    1,200 read, 1,100 used
           90 left out for a missing value (g 40, x 60)
           10 left out for a weight that is missing or not above 0

y     Weight  Percent
--------------------------------
high     500    25.0%
low     1000    50.0%
mid    500.5    25.0%  reference

y = high against mid

Parameter     Estimate  Std. error      z       p    90% low   90% high  exp(est.)  90% low  90% high
-----------------------------------------------------------------------------------------------------
(Intercept)    0.50000     0.25000   2.00  0.0455   0.088750   0.911250      1.649    1.093     2.487
g=a           -1.50000     0.50000  -3.00  0.0027  -2.325000  -0.675000     0.2231  0.09778    0.5092
g=b                  0   redundant
x            800.00000

y = low against mid

Parameter     Estimate  Std. error      z       p    90% low   90% high  exp(est.)  90% low  90% high
-----------------------------------------------------------------------------------------------------
(Intercept)    0.50000     0.25000   2.00  0.0455   0.088750   0.911250      1.649    1.093     2.487
g=a           -1.50000     0.50000  -3.00  0.0027  -2.325000  -0.675000     0.2231  0.09778    0.5092
g=b                  0   redundant
x            800.00000

Log-likelihood -2000.25, of the starting values -2197.5
Likelihood-ratio chi-square 394.5 on 4 degrees of freedom, p <1e-16
Pseudo R square: Cox and Snell 0.125, Nagelkerke 0.25, McFadden 0.1
AIC 4012.5, BIC 4046
Converged. 2 step-halvings. The records were kept in memory.

Classification: rows observed, columns predicted

Observed   high    low    mid  Correct
--------------------------------------
high        400    100      0    80.0%
low           0    750    250    75.0%
mid       500.5      0      0     0.0%
Overall   45.0%  42.5%  12.5%    57.5%

Notes
- 2 of 8 parameters are redundant and set to 0, because their columns depend on the
  columns before. The other levels of a factor are compared with its redundant ones.
- Something is odd.
)");
}

TEST(TextReportLogistic, TwoLevelsMakeABinaryModel) {
  FitResult fit = SampleLogisticFit();
  fit.logistic->levels.pop_back();
  fit.parameters.resize(4);
  EXPECT_TRUE(TextReport(fit).starts_with("Binary logistic model\n\n"));
}

TEST(TextReportLogistic, HasNoPartOfALinearModel) {
  const std::string report = TextReport(SampleLogisticFit());
  EXPECT_EQ(report.find("Residual"), std::string::npos);
  EXPECT_EQ(report.find("\nR square"), std::string::npos);
}

}  // namespace
}  // namespace qvhost
