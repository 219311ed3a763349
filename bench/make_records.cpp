// Writes a record file of made-up data for the whole runs: per record the covariates, uniform in
// [-1, 1), then the dependent, a fixed linear function of them plus noise. The same arguments give
// the same bytes.

#include <cstdio>
#include <memory>
#include <vector>

#include "bench/Arguments.h"
#include "bench/UniformNumbers.h"

namespace {

bool WriteRecords(std::FILE* file, long records, long covariates) {
  qvbench::UniformNumbers uniform;
  std::vector<double> record(static_cast<std::size_t>(covariates) + 1);
  for (long i = 0; i < records; ++i) {
    double dependent = 3.0 + uniform.Next();
    for (std::size_t j = 0; j + 1 < record.size(); ++j) {
      record[j] = uniform.Next();
      dependent += record[j] * static_cast<double>(j + 1) / static_cast<double>(covariates);
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
  const long records = argc == 4 ? qvbench::PositiveArgument(argv[2]) : -1;
  const long covariates = argc == 4 ? qvbench::PositiveArgument(argv[3]) : -1;
  if (records < 0 || covariates < 0) {
    std::fprintf(stderr, "usage: bench_make_records FILE RECORDS COVARIATES\n");
    return 2;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(argv[1], "wb"),
                                                             &std::fclose);
  if (file == nullptr || !WriteRecords(file.get(), records, covariates)) {
    std::perror(argv[1]);
    return 1;
  }
  return 0;
}
