#include "qvreg/common/QvExactProducts.h"

#include <utility>

#include "qvreg/common/QvTwofold.h"

namespace QvCommon {

QvExactProducts::QvExactProducts(std::vector<double> high, std::vector<double> low)
    : fHigh(std::move(high)), fLow(std::move(low)) {}

double QvExactProducts::QuadraticForm(const std::vector<int>& rows,
                                      const std::vector<double>& coefficients) const {
  QvTwofold form;
  for (std::size_t a = 0; a < rows.size(); ++a) {
    const auto row = static_cast<std::size_t>(rows[a]);
    const std::size_t start = row * (row + 1) / 2;
    // Twice the part left of the diagonal, and the diagonal once.
    QvTwofold sum;
    for (std::size_t b = 0; b <= a; ++b) {
      const std::size_t place = start + static_cast<std::size_t>(rows[b]);
      const double c = b < a ? 2.0 * coefficients[b] : coefficients[b];
      sum.Add(QvTwofold{fHigh[place], fLow[place]}.Times(c));
    }
    form.Add(sum.Times(coefficients[a]));
  }
  return form.Value();
}

}  // namespace QvCommon
