#include "qvreg/common/QvExactProducts.h"

#include <algorithm>
#include <array>
#include <utility>

#include "qvreg/common/QvDoubleDouble.h"
#include "qvreg/common/QvPlatform.h"

namespace QvCommon {

namespace {

/// Sums that run side by side, so that the additions of one need not wait for each other.
constexpr int kLanes = 8;
struct Lanes {
  std::array<double, kLanes> fHigh{};
  std::array<double, kLanes> fLow{};
};

/// Adds c times the double-double x to a double-double sum.
inline void AddProduct(double c, double xHigh, double xLow, double& high, double& low) {
  const QvDoubleDouble product = QvDoubleDouble::Product(c, xHigh);
  const QvDoubleDouble sum = QvDoubleDouble::Sum(high, product.fHigh);
  high = sum.fHigh;
  low += sum.fLow + (product.fLow + c * xLow);
}

/// A row x of n elements left of the diagonal enters A c twice: own * x is added to the sums of the
/// columns, and the products of c and x to `dot`, the sum of the row itself.
QVREG_FMA_CLONES
void AddRow(int n, double own, const double* QVREG_RESTRICT c, const double* QVREG_RESTRICT xHigh,
            const double* QVREG_RESTRICT xLow, double* QVREG_RESTRICT sumHigh,
            double* QVREG_RESTRICT sumLow, Lanes& dot) {
  double* QVREG_RESTRICT dotHigh = dot.fHigh.data();
  double* QVREG_RESTRICT dotLow = dot.fLow.data();
  int j = 0;
  for (; j + kLanes <= n; j += kLanes) {
    for (int lane = 0; lane < kLanes; ++lane) {
      const int at = j + lane;
      AddProduct(own, xHigh[at], xLow[at], sumHigh[at], sumLow[at]);
      AddProduct(c[at], xHigh[at], xLow[at], dotHigh[lane], dotLow[lane]);
    }
  }
  for (; j < n; ++j) {
    AddProduct(own, xHigh[j], xLow[j], sumHigh[j], sumLow[j]);
    AddProduct(c[j], xHigh[j], xLow[j], dotHigh[j % kLanes], dotLow[j % kLanes]);
  }
}

QvDoubleDouble Total(const Lanes& lanes) {
  QvDoubleDouble total;
  for (std::size_t lane = 0; lane < kLanes; ++lane) {
    total.Add({lanes.fHigh[lane], lanes.fLow[lane]});
  }
  return total;
}

}  // namespace

QvExactProducts::QvExactProducts(std::vector<double> high, std::vector<double> low)
    : fHigh(std::move(high)), fLow(std::move(low)) {}

std::size_t QvExactProducts::Place(int row, int column) const {
  const auto r = static_cast<std::size_t>(row);
  return r * (r + 1) / 2 + static_cast<std::size_t>(column);
}

void QvExactProducts::SelectRow(int k) {
  fSelected = k;
  fRowHigh.clear();
  fRowLow.clear();
  const auto take = [this, k](int column) {
    fRowHigh.push_back(fHigh[Place(k, column)]);
    fRowLow.push_back(fLow[Place(k, column)]);
  };
  for (const int column : fKept) take(column);
  take(k);
}

void QvExactProducts::KeepRow() {
  const auto start = static_cast<std::ptrdiff_t>(Place(GetKeptCount(), 0));
  std::copy(fRowHigh.begin(), fRowHigh.end(), fHigh.begin() + start);
  std::copy(fRowLow.begin(), fRowLow.end(), fLow.begin() + start);
  fKept.push_back(fSelected);
}

void QvExactProducts::SelectUnit(int i, double value) {
  fRowHigh.assign(fKept.size() + 1, 0.0);
  fRowLow.assign(fKept.size() + 1, 0.0);
  fRowHigh[static_cast<std::size_t>(i)] = value;
}

double QvExactProducts::QuadraticForm(const std::vector<double>& coefficients,
                                      std::vector<double>& gradient) {
  const std::size_t n = fKept.size();
  fSumHigh.assign(fRowHigh.begin(), fRowHigh.end());
  fSumLow.assign(fRowLow.begin(), fRowLow.end());
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t start = Place(static_cast<int>(i), 0);
    Lanes dot;
    AddRow(static_cast<int>(i), coefficients[i], coefficients.data(), fHigh.data() + start,
           fLow.data() + start, fSumHigh.data(), fSumLow.data(), dot);
    AddProduct(coefficients[i], fHigh[start + i], fLow[start + i], fSumHigh[i], fSumLow[i]);
    const QvDoubleDouble own = Total(dot);
    AddProduct(1.0, own.fHigh, own.fLow, fSumHigh[i], fSumLow[i]);
  }
  gradient.resize(n);
  QvDoubleDouble form{fRowHigh[n], fRowLow[n]};
  for (std::size_t i = 0; i < n; ++i) {
    gradient[i] = fSumHigh[i] + fSumLow[i];
    AddProduct(coefficients[i], fSumHigh[i], fSumLow[i], form.fHigh, form.fLow);
    AddProduct(coefficients[i], fRowHigh[i], fRowLow[i], form.fHigh, form.fLow);
  }
  return form.Value();
}

double QvExactProducts::Product(int l, const std::vector<double>& coefficients) const {
  const std::size_t own = Place(l, fSelected);
  QvDoubleDouble sum{fHigh[own], fLow[own]};
  for (std::size_t i = 0; i < fKept.size(); ++i) {
    const std::size_t place = Place(l, fKept[i]);
    AddProduct(coefficients[i], fHigh[place], fLow[place], sum.fHigh, sum.fLow);
  }
  return sum.Value();
}

}  // namespace QvCommon
