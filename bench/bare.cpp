// The least that a fit of a record file can cost, for comparison: the file is read three times with
// fread, a record at a time; the first pass only reads, the second adds each record to the packed
// matrix of cross-products, the third forms each residual. No checks, no roles, no options.

#include <cmath>
#include <cstdio>
#include <vector>

#include "bench/Arguments.h"
#include "bench/RunReport.h"
#include "bench/Stopwatch.h"

namespace {

/// Reads the file from its start; calls onRecord(record) per record and returns how many there
/// were.
template <typename OnRecord>
long ReadAll(std::FILE* file, std::vector<double>& record, OnRecord onRecord) {
  std::rewind(file);
  const std::size_t size = record.size();
  long count = 0;
  while (std::fread(record.data(), sizeof(double), size, file) == size) {
    onRecord(record.data());
    ++count;
  }
  return count;
}

/// triangle += x x', the lower triangle row by row.
void AddCrossProducts(std::size_t n, const double* __restrict x, double* __restrict triangle) {
  for (std::size_t i = 0; i < n; ++i) {
    const double xi = x[i];
    for (std::size_t j = 0; j <= i; ++j) triangle[j] += xi * x[j];
    triangle += i + 1;
  }
}

/// Solves for the coefficients of the last row on the others, by a Cholesky factorisation in place.
std::vector<double> Solve(std::size_t n, std::vector<double>& triangle) {
  const auto row = [&triangle](std::size_t i) { return triangle.data() + i * (i + 1) / 2; };
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) {
      double sum = row(i)[j];
      for (std::size_t k = 0; k < j; ++k) sum -= row(i)[k] * row(j)[k];
      row(i)[j] = i == j ? std::sqrt(sum) : sum / row(j)[j];
    }
  }
  std::vector<double> b(row(n - 1), row(n - 1) + (n - 1));
  for (std::size_t i = n - 1; i-- > 0;) {
    for (std::size_t k = i + 1; k < n - 1; ++k) b[i] -= row(k)[i] * b[k];
    b[i] /= row(i)[i];
  }
  return b;
}

}  // namespace

int main(int argc, char** argv) {
  const long covariates = argc == 3 ? qvbench::PositiveArgument(argv[2]) : -1;
  if (covariates < 0) {
    std::fprintf(stderr, "usage: bench_bare FILE COVARIATES\n");
    return 2;
  }
  const qvbench::File file = qvbench::OpenFile(argv[1]);
  if (file == nullptr) return 2;

  const auto p = static_cast<std::size_t>(covariates);
  std::vector<double> record(p + 1);
  const qvbench::Stopwatch watch;
  const auto records = static_cast<double>(ReadAll(file.get(), record, [](const double*) {}));
  const qvbench::Elapsed first = watch.Now();

  // The row is the intercept's 1, the covariates and the dependent.
  const std::size_t order = p + 2;
  std::vector<double> row(order, 1.0);
  std::vector<double> triangle(order * (order + 1) / 2, 0.0);
  ReadAll(file.get(), record, [&](const double* values) {
    for (std::size_t j = 0; j <= p; ++j) row[j + 1] = values[j];
    AddCrossProducts(order, row.data(), triangle.data());
  });
  const std::vector<double> b = Solve(order, triangle);
  const qvbench::Elapsed second = watch.Now();

  double sum = 0.0;
  ReadAll(file.get(), record, [&](const double* values) {
    double residual = values[p] - b[0];
    for (std::size_t j = 0; j < p; ++j) residual -= b[j + 1] * values[j];
    sum += residual * residual;
  });
  const qvbench::Elapsed third = watch.Now();

  qvbench::PrintStep("first pass", first, records);
  qvbench::PrintStep("second pass and solve", second - first, records);
  qvbench::PrintStep("third pass", third - second, records);
  qvbench::PrintStep("whole run", third, records);
  qvbench::PrintError(std::sqrt(sum / records));
  qvbench::PrintPeakMemory();
  return 0;
}
