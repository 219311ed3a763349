#include "qvreg/common/QvSymMatrix.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <new>
#include <span>
#include <utility>

#include "qvreg/common/QvBlockCholesky.h"
#include "qvreg/common/QvBytes.h"
#include "qvreg/common/QvDoubleDouble.h"
#include "qvreg/common/QvExactProducts.h"
#include "qvreg/common/QvPlatform.h"
#include "qvreg/common/QvSoundPivot.h"

namespace QvCommon {

namespace {

/// y += c x over n elements that do not overlap.
inline void AddScaled(int n, double c, const double* QVREG_RESTRICT x, double* QVREG_RESTRICT y) {
  for (int j = 0; j < n; ++j) y[j] += c * x[j];
}

/// Adds w x x' to a packed triangle of order n. Four rows share each load of x.
QVREG_FMA_CLONES
void AddOuterProduct(int n, double w, const double* QVREG_RESTRICT x, double* row) {
  int i = 0;
  for (; i + 3 < n; i += 4) {
    const double a = w * x[i];
    const double b = w * x[i + 1];
    const double c = w * x[i + 2];
    const double d = w * x[i + 3];
    double* QVREG_RESTRICT rowA = row;
    double* QVREG_RESTRICT rowB = rowA + i + 1;
    double* QVREG_RESTRICT rowC = rowB + i + 2;
    double* QVREG_RESTRICT rowD = rowC + i + 3;
    for (int j = 0; j <= i; ++j) {
      rowA[j] += a * x[j];
      rowB[j] += b * x[j];
      rowC[j] += c * x[j];
      rowD[j] += d * x[j];
    }
    rowB[i + 1] += b * x[i + 1];
    rowC[i + 1] += c * x[i + 1];
    rowC[i + 2] += c * x[i + 2];
    rowD[i + 1] += d * x[i + 1];
    rowD[i + 2] += d * x[i + 2];
    rowD[i + 3] += d * x[i + 3];
    row = rowD + i + 4;
  }
  for (; i < n; ++i) {
    AddScaled(i + 1, w * x[i], x, row);
    row += i + 1;
  }
}

/// Adds a x, where a is a double-double, to a sum, and what that loses to `lost`.
inline void AddExactProduct(double aHigh, double aLow, double x, double& sum, double& lost) {
  const QvDoubleDouble product = QvDoubleDouble::Product(aHigh, x);
  const QvDoubleDouble exact = QvDoubleDouble::Sum(sum, product.fHigh);
  sum = exact.fHigh;
  lost += exact.fLow + (product.fLow + aLow * x);
}

/// As AddOuterProduct, in double-double.
QVREG_FMA_CLONES
void AddOuterProductCompensated(int n, double w, const double* QVREG_RESTRICT x,
                                double* QVREG_RESTRICT row, double* QVREG_RESTRICT lost) {
  for (int i = 0; i < n; ++i) {
    const QvDoubleDouble wx = QvDoubleDouble::Product(w, x[i]);
    for (int j = 0; j <= i; ++j) AddExactProduct(wx.fHigh, wx.fLow, x[j], row[j], lost[j]);
    row += i + 1;
    lost += i + 1;
  }
}

/// Adds n double-double terms to as many double-double sums.
QVREG_FMA_CLONES
void AddTerms(std::size_t n, const double* QVREG_RESTRICT values,
              const double* QVREG_RESTRICT rests, double* QVREG_RESTRICT sums,
              double* QVREG_RESTRICT lost) {
  for (std::size_t j = 0; j < n; ++j) {
    const QvDoubleDouble exact = QvDoubleDouble::Sum(sums[j], values[j]);
    sums[j] = exact.fHigh;
    lost[j] += exact.fLow + rests[j];
  }
}

/// Replaces a packed triangle of order n by x x'.
QVREG_FMA_CLONES
void StoreOuterProduct(int n, const double* QVREG_RESTRICT x, double* QVREG_RESTRICT row) {
  for (int i = 0; i < n; ++i) {
    for (int j = 0; j <= i; ++j) row[j] = x[i] * x[j];
    row += i + 1;
  }
}

/// y += c x over n elements that do not overlap, for long vectors.
QVREG_FMA_CLONES
void AddScaledMany(std::size_t n, double c, const double* QVREG_RESTRICT x,
                   double* QVREG_RESTRICT y) {
  for (std::size_t j = 0; j < n; ++j) y[j] += c * x[j];
}

inline double Dot(int n, const double* x, const double* y) {
  double sum = 0.0;
  for (int j = 0; j < n; ++j) sum += x[j] * y[j];
  return sum;
}

}  // namespace

QvSymMatrix::QvSymMatrix(const QvSymMatrix& other) : QvSymMatrixData(other) {
  try {
    fLost = other.fLost;
  } catch (const std::exception&) {
    Invalidate();
  }
}

QvSymMatrix& QvSymMatrix::operator=(const QvSymMatrix& other) {
  if (this != &other) *this = QvSymMatrix(other);
  return *this;
}

bool QvSymMatrix::UpdateXX(const std::vector<double>& x, double w) {
  const int n = GetOrder();
  if (x.size() != static_cast<std::size_t>(n)) return false;
  if (fLost.empty()) {
    AddOuterProduct(n, w, x.data(), fElements.data());
  } else {
    AddOuterProductCompensated(n, w, x.data(), fElements.data(), fLost.data());
  }
  return true;
}

bool QvSymMatrix::UpdateXXSparse(int n, const std::vector<int>& indices,
                                 const std::vector<double>& values, double w) {
  const auto count = static_cast<std::size_t>(n);
  if (n < 0 || indices.size() < count || values.size() < count) return false;
  for (std::size_t a = 0; a < count; ++a) {
    if (indices[a] < 0 || indices[a] >= GetOrder()) return false;
  }
  double* elements = fElements.data();
  double* lost = fLost.empty() ? nullptr : fLost.data();
  for (std::size_t a = 0; a < count; ++a) {
    const int i = indices[a];
    const QvDoubleDouble wa = QvDoubleDouble::Product(w, values[a]);
    for (std::size_t b = 0; b <= a; ++b) {
      const std::size_t place = IndexOf(i, indices[b]);
      if (lost == nullptr) {
        elements[place] += wa.fHigh * values[b];
      } else {
        AddExactProduct(wa.fHigh, wa.fLow, values[b], elements[place], lost[place]);
      }
    }
  }
  return true;
}

void QvSymMatrix::UpdateEachXXSparse(std::vector<QvSymMatrix>& matrices,
                                     const std::vector<double>& weights,
                                     const std::vector<int>& indices,
                                     const std::vector<double>& values) {
  for (std::size_t a = 0; a < indices.size(); ++a) {
    for (std::size_t b = 0; b <= a; ++b) {
      const std::size_t place = IndexOf(indices[a], indices[b]);
      const double product = values[a] * values[b];
      for (std::size_t k = 0; k < matrices.size(); ++k) {
        matrices[k].fElements[place] += weights[k] * product;
      }
    }
  }
}

void QvSymMatrix::AddToCompensatedRow(int i, const double* values, const double* rests) {
  const std::size_t start = RowStart(i);
  AddTerms(static_cast<std::size_t>(i) + 1, values, rests, &fElements[start], &fLost[start]);
}

void QvSymMatrix::AddToCompensatedElems(int i, int n, const int* columns, const double* values,
                                        const double* rests) {
  const std::size_t start = RowStart(i);
  for (int k = 0; k < n; ++k) {
    const std::size_t place = start + static_cast<std::size_t>(columns[k]);
    AddTerms(1, &values[k], &rests[k], &fElements[place], &fLost[place]);
  }
}

bool QvSymMatrix::StartCompensation() {
  try {
    fLost.assign(fElements.size(), 0.0);
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void QvSymMatrix::EndCompensation() {
  for (std::size_t i = 0; i < fLost.size(); ++i) fElements[i] += fLost[i];
  fLost = {};
}

bool QvSymMatrix::EndCompensation(QvExactProducts& products) {
  products = {};
  if (fLost.empty()) return true;
  std::vector<double> high;
  try {
    high = fElements;
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (std::size_t i = 0; i < fLost.size(); ++i) fElements[i] += fLost[i];
  products = QvExactProducts(std::move(high), std::move(fLost));
  fLost = {};
  return true;
}

bool QvSymMatrix::AddCompensated(const QvSymMatrix& other) {
  if (other.GetOrder() != GetOrder() || other.fLost.size() != fLost.size()) return false;
  if (fLost.empty()) return AddMatrix(other, 1.0);
  for (std::size_t i = 0; i < fElements.size(); ++i) {
    const QvDoubleDouble sum = QvDoubleDouble::Sum(fElements[i], other.fElements[i]);
    fElements[i] = sum.fHigh;
    fLost[i] += sum.fLow + other.fLost[i];
  }
  return true;
}

bool QvSymMatrix::TakeTriangle(int order, std::vector<double>&& triangle) {
  if (!Adopt(order, std::move(triangle))) return false;
  fLost = {};
  return true;
}

void QvSymMatrix::Write(QvByteWriter& writer) const {
  writer.PutDoubles(fElements);
  writer.PutDoubles(fLost);
}

void QvSymMatrix::Read(QvByteReader& reader) {
  reader.GetDoublesInto(fElements);
  reader.GetDoublesInto(fLost);
}

bool QvSymMatrix::SetOuterProduct(const std::vector<double>& x) {
  if (x.size() != static_cast<std::size_t>(GetOrder())) return false;
  StoreOuterProduct(GetOrder(), x.data(), fElements.data());
  return true;
}

bool QvSymMatrix::AddMatrix(const QvSymMatrix& other, double c) {
  if (other.GetOrder() != GetOrder()) return false;
  AddScaledMany(fElements.size(), c, other.fElements.data(), fElements.data());
  return true;
}

bool QvSymMatrix::Sweep(int k, double tol, const std::vector<double>& diagonal, QvBitSet& swept,
                        bool trackSwept) {
  const int n = GetOrder();
  if (k < 0 || k >= n || diagonal.size() <= static_cast<std::size_t>(k) || swept.Size() <= k) {
    return false;
  }
  const double pivot = Row(k)[k];
  if (!IsSoundPivot(pivot, tol, diagonal[static_cast<std::size_t>(k)])) return true;

  // Column k for the update of an unswept row, and for that of a swept row: there the columns swept
  // before enter with the other sign, which keeps the inverse positive throughout.
  std::vector<double> column;
  std::vector<double> flipped;
  try {
    column.resize(static_cast<std::size_t>(n));
    flipped.resize(static_cast<std::size_t>(n));
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (int j = 0; j < n; ++j) {
    const double value = GetElem(k, j);
    column[static_cast<std::size_t>(j)] = value;
    flipped[static_cast<std::size_t>(j)] = swept.IsIn(j) ? -value : value;
  }

  for (int i = 0; i < n; ++i) {
    if (i == k) continue;
    const double factor = column[static_cast<std::size_t>(i)] / pivot;
    if (factor == 0.0) continue;
    AddScaled(i + 1, -factor, swept.IsIn(i) ? flipped.data() : column.data(), Row(i));
  }
  for (int j = 0; j < n; ++j) {
    fElements[IndexOf(k, j)] =
        (swept.IsIn(j) ? -1.0 : 1.0) * column[static_cast<std::size_t>(j)] / pivot;
  }
  Row(k)[k] = 1.0 / pivot;
  if (trackSwept) swept.Set(k, true);
  return true;
}

bool QvSymMatrix::GetRegCoeffs(std::vector<double>& coefficients, const QvBitSet& swept) const {
  const int last = GetOrder() - 1;
  if (last < 0 || swept.Size() < last) return false;
  try {
    coefficients.assign(static_cast<std::size_t>(last), 0.0);
  } catch (const std::bad_alloc&) {
    return false;
  }
  for (int j = 0; j < last; ++j) {
    if (swept.IsIn(j)) coefficients[static_cast<std::size_t>(j)] = Row(last)[j];
  }
  return true;
}

bool QvSymMatrix::ZeroOutRedundant(const QvBitSet& swept) {
  if (swept.Size() < GetOrder() - 1) return false;
  for (int i = 0; i < GetOrder(); ++i) {
    double* row = Row(i);
    for (int j = 0; j <= i; ++j) {
      if (!swept.IsIn(i) || !swept.IsIn(j)) row[j] = 0.0;
    }
  }
  return true;
}

void QvSymMatrix::SetToZero() {
  std::fill(fElements.begin(), fElements.end(), 0.0);
  std::fill(fLost.begin(), fLost.end(), 0.0);
}

void QvSymMatrix::MultiplyByNumber(double c) {
  for (double& element : fElements) element *= c;
  for (double& element : fLost) element *= c;
}

void QvSymMatrix::MultiplyByPowersOf2(const std::vector<int>& exponents) {
  for (int i = 0; i < GetOrder(); ++i) {
    const int own = exponents[static_cast<std::size_t>(i)];
    for (int j = 0; j <= i; ++j) {
      Row(i)[j] = std::ldexp(Row(i)[j], own + exponents[static_cast<std::size_t>(j)]);
    }
  }
}

void QvSymMatrix::ChangeSign() {
  for (double& element : fElements) element = -element;
  for (double& element : fLost) element = -element;
}

void QvSymMatrix::ExtractFirstNRows(QvSymMatrix& out) const {
  const auto count = RowStart(std::min(GetOrder(), out.GetOrder()));
  std::copy_n(fElements.begin(), count, out.fElements.begin());
}

bool QvSymMatrix::Expand(const QvBitSet& keep, QvSymMatrix& out) const {
  if (!IsValidMatrix() || keep.Count() != GetOrder() || !out.Reset(keep.Size())) return false;
  out.fLost = {};
  int row = 0;
  for (int i = 0; i < keep.Size(); ++i) {
    if (!keep.IsIn(i)) continue;
    int column = 0;
    for (int j = 0; j <= i; ++j) {
      if (keep.IsIn(j)) out.Row(i)[j] = Row(row)[column++];
    }
    ++row;
  }
  return true;
}

int QvSymMatrix::LTChol(double tol, double& measure, bool stopAtSingular) {
  return LTChol(tol, measure, stopAtSingular, [] { return false; });
}

int QvSymMatrix::LTChol(double tol, double& measure, bool stopAtSingular,
                        const QvStopQuery& isStopped) {
  QvBlockCholesky blocks(GetOrder(), fElements.data(), isStopped);
  if (blocks.Allocate()) return blocks.Factor(tol, measure, stopAtSingular);
  const int n = GetOrder();
  int result = 0;
  double smallest = 1.0;
  for (int i = 0; i < n; ++i) {
    double* row = Row(i);
    const double original = row[i];
    for (int j = 0; j < i; ++j) {
      const double* other = Row(j);
      row[j] = other[j] > 0.0 ? (row[j] - Dot(j, row, other)) / other[j] : 0.0;
    }
    const double pivot = original - Dot(i, row, row);
    if (!IsSoundPivot(pivot, tol, original)) {
      std::fill_n(row, i + 1, 0.0);
      if (result == 0) result = i + 1;
      if (stopAtSingular) break;
      continue;
    }
    row[i] = std::sqrt(pivot);
    smallest = std::min(smallest, row[i] / std::sqrt(original));
  }
  measure = result == 0 && n > 0 ? smallest : 0.0;
  return result;
}

int QvSymMatrix::LTSubstitute(const std::vector<double>& b, std::vector<double>& x) const {
  const int n = GetOrder();
  if (b.size() != static_cast<std::size_t>(n)) return 1;
  try {
    x = b;
  } catch (const std::bad_alloc&) {
    return 1;
  }
  double* z = x.data();
  for (int i = 0; i < n; ++i) {
    const double* row = Row(i);
    z[i] = row[i] > 0.0 ? (z[i] - Dot(i, row, z)) / row[i] : 0.0;
  }
  for (int i = n - 1; i >= 0; --i) {
    const double* row = Row(i);
    z[i] = row[i] > 0.0 ? z[i] / row[i] : 0.0;
    AddScaled(i, -z[i], row, z);
  }
  return 0;
}

void QvSymMatrix::InvertFactor() {
  for (int i = 0; i < GetOrder(); ++i) {
    double* row = Row(i);
    // Row i of the inverse is built from the rows before it; place k of the row holds the factor's
    // element until its turn comes.
    for (int k = 0; k < i; ++k) {
      const double element = row[k];
      row[k] = 0.0;
      AddScaled(k + 1, element, Row(k), row);
    }
    if (!(row[i] > 0.0)) {
      std::fill_n(row, i + 1, 0.0);
      continue;
    }
    const double inverse = 1.0 / row[i];
    for (int j = 0; j < i; ++j) row[j] *= -inverse;
    row[i] = inverse;
  }
}

void QvSymMatrix::LTInverse() {
  LTInverse([] { return false; });
}

bool QvSymMatrix::LTInverse(const QvStopQuery& isStopped) {
  QvBlockCholesky blocks(GetOrder(), fElements.data(), isStopped);
  if (blocks.Allocate()) return blocks.Invert();
  InvertFactor();
  for (int i = 0; i < GetOrder(); ++i) {
    double* row = Row(i);
    const double own = row[i];
    for (int j = 0; j <= i; ++j) row[j] *= own;
    for (int k = i + 1; k < GetOrder(); ++k) AddScaled(i + 1, Row(k)[i], Row(k), row);
  }
  return true;
}

}  // namespace QvCommon
