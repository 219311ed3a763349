// Writes a record file of made-up data for the whole runs: per record the covariates, uniform in
// [-1, 1), the factors' levels, then the dependent, a fixed linear function of them plus noise. The
// same arguments give the same bytes.

#include <algorithm>
#include <cstdio>
#include <memory>
#include <vector>

#include "bench/Arguments.h"
#include "bench/UniformNumbers.h"

namespace {

bool WriteRecords(std::FILE* file, long records, const std::vector<long>& shape) {
  qvbench::UniformNumbers uniform;
  const auto covariates = static_cast<std::size_t>(shape[0]);
  std::vector<double> record(covariates + shape.size());
  for (long i = 0; i < records; ++i) {
    double dependent = 3.0 + uniform.Next();
    for (std::size_t j = 0; j < covariates; ++j) {
      record[j] = uniform.Next();
      dependent += record[j] * static_cast<double>(j + 1) / static_cast<double>(covariates);
    }
    for (std::size_t f = 1; f < shape.size(); ++f) {
      const int level = uniform.NextBelow(static_cast<int>(shape[f]));
      record[covariates + f - 1] = level;
      dependent += static_cast<double>(level) / static_cast<double>(shape[f]);
    }
    record.back() = dependent;
    if (std::fwrite(record.data(), sizeof(double), record.size(), file) < record.size()) {
      return false;
    }
  }
  return std::fflush(file) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const long records = argc > 3 ? qvbench::PositiveArgument(argv[2]) : -1;
  std::vector<long> shape;
  for (int i = 3; i < argc; ++i) shape.push_back(qvbench::PositiveArgument(argv[i]));
  if (records < 0 || *std::min_element(shape.begin(), shape.end()) < 0) {
    std::fprintf(stderr, "usage: bench_make_records FILE RECORDS COVARIATES [LEVELS...]\n");
    return 2;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(argv[1], "wb"),
                                                             &std::fclose);
  if (file == nullptr || !WriteRecords(file.get(), records, shape)) {
    std::perror(argv[1]);
    return 1;
  }
  return 0;
}
