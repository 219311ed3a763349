#include "qvreg/logistic/QvNewtonSystem.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <new>
#include <utility>

#include "qvreg/common/Constants.h"

using QvCommon::QvSymMatrix;

namespace {

/// What sums of n terms may be wrong by, as a share: kRoundings sqrt(n) epsilon.
constexpr double kRoundings = 4.0;
/// A sum over a direction that is less than this part of its terms is rounding.
constexpr double kCancelled = 1e-10;
/// The undecided pairs' score along a separated direction is at most this part of the decided
/// ones'.
constexpr double kUndecidedPart = 0.01;

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

void Require(bool hasMemory) {
  if (!hasMemory) throw std::bad_alloc();
}

double Dot(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += a[i] * b[i];
  return sum;
}

double DotOfSizes(const std::vector<double>& a, const std::vector<double>& b) {
  double sum = 0.0;
  for (std::size_t i = 0; i < a.size(); ++i) sum += std::fabs(a[i] * b[i]);
  return sum;
}

/// The matrix times a vector; `sizes`, in absolute values.
std::vector<double> Product(const QvSymMatrix& matrix, const std::vector<double>& x, bool sizes) {
  std::vector<double> product(x.size(), 0.0);
  for (int j = 0; j < matrix.GetOrder(); ++j) {
    if (x[Index(j)] == 0.0) continue;
    for (int i = 0; i < matrix.GetOrder(); ++i) {
      const double term = matrix.GetElem(i, j) * x[Index(j)];
      product[Index(i)] += sizes ? std::fabs(term) : term;
    }
  }
  return product;
}

/// The column whose pivot is the smallest part of its diagonal; `result` as LTChol gave it.
int WorstPivot(const QvSymMatrix& factor, const std::vector<double>& diagonal, int result) {
  if (result > 0) return result - 1;
  int worst = 0;
  double smallest = 1.0;
  for (int k = 0; k < factor.GetOrder(); ++k) {
    const double share = factor.GetElem(k, k) / std::sqrt(diagonal[Index(k)]);
    if (share < smallest) worst = k;
    smallest = std::min(smallest, share);
  }
  return worst;
}

}  // namespace

QvNewtonSystem::QvNewtonSystem(const IQvAccumStats& stats, int order, int nIntercepts,
                               QvCommon::QvStopQuery isStopped)
    : fStats(stats),
      fpDecided(dynamic_cast<const IQvDecidedStats*>(&stats)),
      fNIntercepts(nIntercepts),
      fIsStopped(std::move(isStopped)) {
  const int length = order / std::max(1, nIntercepts);
  for (int i = 0; i < nIntercepts; ++i) fOrder.push_back(i * length);
  for (int k = 0; k < order; ++k) {
    const bool isIntercept = nIntercepts > 0 && length > 0 && k % length == 0;
    if (!isIntercept) fOrder.push_back(k);
  }
}

QvSymMatrix QvNewtonSystem::Ordered(const QvSymMatrix& matrix) const {
  QvSymMatrix ordered(matrix.GetOrder());
  Require(matrix.IsValidMatrix() && ordered.IsValidMatrix());
  for (int i = 0; i < ordered.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) {
      ordered.SetElem(i, j, matrix.GetElem(fOrder[Index(i)], fOrder[Index(j)]));
    }
  }
  return ordered;
}

QvNewtonSystem::Vector QvNewtonSystem::Ordered(const Vector& values) const {
  Vector ordered;
  for (const int k : fOrder) ordered.push_back(values[Index(k)]);
  return ordered;
}

QvNewtonSystem::Elimination QvNewtonSystem::Eliminate() const {
  QvSymMatrix matrix;
  if (fpDecided != nullptr) {
    fpDecided->GetUndecidedInformation(matrix);
  } else {
    fStats.GetHessian(matrix);
  }
  Elimination result;
  result.matrix = Ordered(matrix);
  result.factor = result.matrix;
  Require(result.factor.IsValidMatrix());
  int nRows = 0;
  int invalidCalls = 0;
  double weight = 0.0;
  fStats.GetCounts(nRows, invalidCalls, weight);
  result.roundingShare = kRoundings * QvPower::gMachineEpsilon * std::sqrt(std::max(1, nRows));
  double measure = 0.0;
  result.factor.LTChol(result.roundingShare, measure, false, fIsStopped);
  return result;
}

QvNewtonSystem::Vector QvNewtonSystem::Elimination::Direction(int k, int limit) const {
  Vector direction(Index(matrix.GetOrder()), 0.0);
  direction[Index(k)] = 1.0;
  for (int i = 0; i < limit; ++i) {
    if (IsOpen(i)) continue;
    double rest = matrix.GetElem(k, i);
    for (int j = 0; j < i; ++j) rest += factor.GetElem(i, j) * direction[Index(j)];
    direction[Index(i)] = -rest / factor.GetElem(i, i);
  }
  for (int i = limit - 1; i >= 0; --i) {
    if (IsOpen(i)) continue;
    direction[Index(i)] /= factor.GetElem(i, i);
    for (int j = 0; j < i; ++j) direction[Index(j)] -= factor.GetElem(i, j) * direction[Index(i)];
  }
  return direction;
}

QvSymMatrix QvNewtonSystem::Elimination::Centred(int first,
                                                 const QvCommon::QvStopQuery& isStopped) const {
  const int order = matrix.GetOrder() - first;
  // The first columns' part of the factor; that of an open row is not in it.
  std::vector<Vector> leading(Index(order), Vector(Index(first), 0.0));
  for (int k = 0; k < order && !isStopped(); ++k) {
    for (int j = 0; j < first; ++j) {
      if (IsOpen(j)) continue;
      double rest = matrix.GetElem(first + k, j);
      for (int i = 0; i < j; ++i) rest -= factor.GetElem(j, i) * leading[Index(k)][Index(i)];
      leading[Index(k)][Index(j)] = rest / factor.GetElem(j, j);
    }
  }
  QvSymMatrix centred(order);
  Require(centred.IsValidMatrix());
  for (int k = 0; k < order && !isStopped(); ++k) {
    for (int l = 0; l <= k; ++l) {
      const double whole = matrix.GetElem(first + k, first + l);
      const double rest = whole - Dot(leading[Index(k)], leading[Index(l)]);
      centred.SetElem(k, l, k == l && rest <= roundingShare * whole ? 0.0 : rest);
    }
  }
  return centred;
}

void QvNewtonSystem::AddDecided(double tol, const std::vector<bool>& isOpen,
                                QvSymMatrix& out) const {
  QvSymMatrix natural;
  fpDecided->GetDecidedInformation(natural);
  const QvSymMatrix decided = Ordered(natural);
  for (int k = 0; k < out.GetOrder() && !fIsStopped(); ++k) {
    const Vector& direction = fDirections[Index(k)];
    const Vector product = Product(decided, direction, false);
    for (int l = 0; l <= k; ++l) {
      out.SetElem(k, l, out.GetElem(k, l) + Dot(product, fDirections[Index(l)]));
    }
    if (!isOpen[Index(k)]) continue;
    const double terms = DotOfSizes(Product(decided, direction, true), direction);
    if (out.GetElem(k, k) <= tol * terms) out.SetElem(k, k, 0.0);
  }
}

QvSymMatrix QvNewtonSystem::Transformed(double tol) {
  const Elimination undecided = Eliminate();
  const int order = undecided.matrix.GetOrder();
  const QvSymMatrix centred = undecided.Centred(fNIntercepts, fIsStopped);
  QvSymMatrix out(order);
  Require(out.IsValidMatrix());
  fDirections.clear();
  fIsOpen.assign(Index(order), false);
  for (int k = 0; k < order && !fIsStopped(); ++k) {
    fIsOpen[Index(k)] = undecided.IsOpen(k);
    const int limit = fIsOpen[Index(k)] ? k : k < fNIntercepts ? 0 : fNIntercepts;
    fDirections.push_back(undecided.Direction(k, limit));
    // Undecided pairs carry no information along an open direction, and none on a column together
    // with the intercepts that centre it.
    for (int l = 0; l <= k; ++l) {
      if (fIsOpen[Index(k)] || fIsOpen[Index(l)]) continue;
      if (k < fNIntercepts) out.SetElem(k, l, undecided.matrix.GetElem(k, l));
      if (l < fNIntercepts) continue;
      out.SetElem(k, l, centred.GetElem(k - fNIntercepts, l - fNIntercepts));
    }
  }
  if (fpDecided != nullptr && !fIsStopped()) AddDecided(tol, fIsOpen, out);
  return out;
}

int QvNewtonSystem::Factor(double tol, QvSymMatrix& matrix) {
  fDirections.clear();
  fStats.GetHessian(matrix);
  double measure = 0.0;
  const int result = matrix.LTChol(tol, measure, false, fIsStopped);
  if (result <= 0) return result;
  QvSymMatrix other = Transformed(tol);
  if (!fIsStopped() && other.LTChol(tol, measure, true, fIsStopped) == 0) {
    matrix = std::move(other);
    return 0;
  }
  fDirections.clear();
  return fIsStopped() ? QvSymMatrix::kStopped : result;
}

int QvNewtonSystem::Solve(const QvSymMatrix& factor, Vector& step) const {
  const Vector& scores = fStats.GetScores();
  if (fDirections.empty()) return factor.LTSubstitute(scores, step);
  const Vector whole = Ordered(scores);
  const Vector decided = fpDecided == nullptr ? whole : Ordered(fpDecided->GetDecidedScores());
  Vector along;
  for (std::size_t k = 0; k < fDirections.size(); ++k) {
    along.push_back(Dot(fDirections[k], fIsOpen[k] ? decided : whole));
  }
  if (factor.LTSubstitute(along, along) != 0) return 1;
  step.assign(along.size(), 0.0);
  for (std::size_t k = 0; k < along.size(); ++k) {
    for (std::size_t i = 0; i < along.size(); ++i) {
      step[Index(fOrder[i])] += along[k] * fDirections[k][i];
    }
  }
  return 0;
}

bool QvNewtonSystem::Invert(QvSymMatrix& factor) const {
  if (!factor.LTInverse(fIsStopped)) return false;
  if (fDirections.empty()) return true;
  // D A D' for the directions D, a column of A D' at a time.
  const std::size_t order = fDirections.size();
  QvSymMatrix inverse(factor.GetOrder());
  Require(inverse.IsValidMatrix());
  for (std::size_t j = 0; j < order; ++j) {
    if (fIsStopped()) return false;
    Vector row(order, 0.0);
    for (std::size_t k = 0; k < order; ++k) row[k] = fDirections[k][j];
    const Vector product = Product(factor, row, false);
    for (std::size_t i = 0; i <= j; ++i) {
      double element = 0.0;
      for (std::size_t k = 0; k < order; ++k) element += fDirections[k][i] * product[k];
      inverse.SetElem(fOrder[i], fOrder[j], element);
    }
  }
  factor = std::move(inverse);
  return true;
}

bool QvNewtonSystem::IsScoreDecided(const Elimination& undecided, const Vector& direction) const {
  if (fpDecided == nullptr) return true;
  const Vector decided = Ordered(fpDecided->GetDecidedScores());
  Vector rest = Ordered(fStats.GetScores());
  for (std::size_t i = 0; i < rest.size(); ++i) rest[i] -= decided[i];
  const double score = std::fabs(Dot(direction, decided));
  if (!(score > kCancelled * DotOfSizes(direction, decided))) return false;
  // The scores' own rounding: a sum of weighted residuals is at most the root of the information
  // times the weight.
  int nRows = 0;
  int invalidCalls = 0;
  double weight = 0.0;
  fStats.GetCounts(nRows, invalidCalls, weight);
  double rounding = 0.0;
  for (std::size_t i = 0; i < direction.size(); ++i) {
    const int k = static_cast<int>(i);
    rounding += std::fabs(direction[i]) * std::sqrt(undecided.matrix.GetElem(k, k) * weight);
  }
  return std::fabs(Dot(direction, rest)) <=
         kUndecidedPart * score + kRoundings * QvPower::gMachineEpsilon * rounding;
}

double QvNewtonSystem::SeparationMeasure(double tol) const {
  const Elimination undecided = Eliminate();
  QvSymMatrix centred = undecided.Centred(fNIntercepts, fIsStopped);
  Vector diagonal;
  Require(centred.GetDiagonal(diagonal));
  double measure = 1.0;
  const int result = centred.LTChol(tol, measure, false, fIsStopped);
  if (result == QvSymMatrix::kStopped) return 1.0;
  if (centred.GetOrder() == 0) return 1.0;
  const int worst = fNIntercepts + WorstPivot(centred, diagonal, result);
  return IsScoreDecided(undecided, undecided.Direction(worst, worst)) ? measure : 1.0;
}
