// Factors, inverts and sweeps a matrix of made-up numbers with the library and factors and inverts
// it with LAPACK, which take turns, and prints what each spent least, and how long the library went
// at most without asking whether to stop.

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdio>
#include <vector>

#include "bench/Arguments.h"
#include "bench/Blas.h"
#include "bench/Require.h"
#include "bench/Stopwatch.h"
#include "bench/UniformNumbers.h"
#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvBlockSweep.h"
#include "qvreg/common/QvSymMatrix.h"

namespace {

using QvCommon::QvStopQuery;
using QvCommon::QvSymMatrix;

/// The longest time between two questions whether to stop, of which the answer is no.
class StopClock {
 public:
  [[nodiscard]] QvStopQuery Query() {
    return [this] {
      Ask();
      return false;
    };
  }
  /// An operation begins or ends.
  void Ask() {
    const double now = watch_.Now().wall;
    longest_ = std::max(longest_, now - latest_);
    latest_ = now;
  }
  void Begin() { latest_ = watch_.Now().wall; }
  [[nodiscard]] double Longest() const { return longest_; }

 private:
  qvbench::Stopwatch watch_;
  double latest_ = 0.0;
  double longest_ = 0.0;
};

/// The least that a step took, named as it is printed.
class Step {
 public:
  explicit Step(const char* name) : name_(name) {}

  template <typename Work>
  void Run(Work work) {
    const qvbench::Stopwatch watch;
    work();
    const qvbench::Elapsed elapsed = watch.Now();
    if (!isRun_ || elapsed.cpu < least_.cpu) least_ = elapsed;
    isRun_ = true;
  }
  void Print() const {
    std::printf("  %-22s %10.6f s %10.6f s cpu\n", name_, least_.wall, least_.cpu);
  }

 private:
  const char* name_;
  qvbench::Elapsed least_;
  bool isRun_ = false;
};

/// Symmetric and positive definite: the diagonal outweighs numbers in [-1, 1).
QvSymMatrix MakeMatrix(int order) {
  qvbench::UniformNumbers uniform;
  QvSymMatrix matrix(order);
  for (int i = 0; i < order; ++i) {
    for (int j = 0; j < i; ++j) matrix.SetElem(i, j, uniform.Next());
    matrix.SetElem(i, i, order);
  }
  return matrix;
}

/// Column by column, of which LAPACK reads the lower triangle.
std::vector<double> ToColumns(const QvSymMatrix& matrix) {
  const int order = matrix.GetOrder();
  std::vector<double> columns;
  columns.reserve(static_cast<std::size_t>(order) * static_cast<std::size_t>(order));
  for (int j = 0; j < order; ++j) {
    for (int i = 0; i < order; ++i) columns.push_back(matrix.GetElem(i, j));
  }
  return columns;
}

double LargestDifference(const QvSymMatrix& a, const QvSymMatrix& b) {
  double largest = 0.0;
  for (int i = 0; i < a.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) {
      largest = std::max(largest, std::fabs(a.GetElem(i, j) - b.GetElem(i, j)));
    }
  }
  return largest;
}

QvSymMatrix FromColumns(int order, const std::vector<double>& columns) {
  QvSymMatrix matrix(order);
  std::size_t place = 0;
  for (int j = 0; j < order; ++j) {
    for (int i = 0; i < order; ++i, ++place) {
      if (i >= j) matrix.SetElem(i, j, columns[place]);
    }
  }
  return matrix;
}

QvSymMatrix Sweep(const QvSymMatrix& filled, Step& step, const QvStopQuery& isStopped) {
  QvSymMatrix matrix = filled;
  std::vector<double> diagonal;
  qvbench::Require(filled.GetDiagonal(diagonal));
  QvCommon::QvBitSet swept(filled.GetOrder());
  step.Run([&] {
    QvCommon::QvBlockSweep blocks(matrix, 1e-12, diagonal, swept, isStopped);
    for (int k = 0; k < filled.GetOrder(); ++k) {
      qvbench::Require(!isStopped() && blocks.Advance(k) && blocks.Sweep(k));
    }
    qvbench::Require(blocks.Settle());
  });
  return matrix;
}

}  // namespace

int main(int argc, char** argv) {
  const auto order = static_cast<int>(argc == 3 ? qvbench::PositiveArgument(argv[1]) : -1);
  const long turns = argc == 3 ? qvbench::PositiveArgument(argv[2]) : -1;
  if (order < 0 || turns < 0) {
    std::fprintf(stderr, "usage: bench_factor_run ORDER TURNS\n");
    return 2;
  }
  const QvSymMatrix filled = MakeMatrix(order);
  const std::vector<double> columns = ToColumns(filled);
  Step factor("Cholesky");
  Step factorLapack("dpotrf");
  Step invert("inverse");
  Step invertLapack("dpotri");
  Step sweep("sweep");
  double difference = 0.0;
  StopClock clock;
  const QvStopQuery isStopped = clock.Query();
  for (long turn = 0; turn < turns; ++turn) {
    QvSymMatrix ours = filled;
    std::vector<double> theirs = columns;
    double measure = 0.0;
    int info = 0;
    clock.Begin();
    factor.Run([&] { qvbench::Require(ours.LTChol(1e-12, measure, false, isStopped) == 0); });
    clock.Ask();
    factorLapack.Run([&] { dpotrf_("L", &order, theirs.data(), &order, &info); });
    qvbench::Require(info == 0);
    clock.Begin();
    invert.Run([&] { qvbench::Require(ours.LTInverse(isStopped)); });
    clock.Ask();
    invertLapack.Run([&] { dpotri_("L", &order, theirs.data(), &order, &info); });
    qvbench::Require(info == 0);
    const QvSymMatrix inverse = FromColumns(order, theirs);
    clock.Begin();
    const QvSymMatrix swept = Sweep(filled, sweep, isStopped);
    clock.Ask();
    difference =
        std::max({difference, LargestDifference(ours, inverse), LargestDifference(swept, inverse)});
  }
  for (const Step* step : {&factor, &factorLapack, &invert, &invertLapack, &sweep}) step->Print();
  std::printf("  longest without asking %.6f s\n", clock.Longest());
  // The inverse's elements are about 1 / order.
  std::printf("  relative difference    %.3g\n", difference * order);
  return 0;
}
