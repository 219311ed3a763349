// Writes a record file of made-up data for the whole runs of the logistic model: per record the
// covariates, uniform in [-1, 1), the factors' levels, then a class drawn from a multinomial logit
// whose coefficients are moderate, so that nothing separates. The same arguments give the same
// bytes.

#include <cmath>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <vector>

#include "bench/Arguments.h"
#include "bench/ClassRecords.h"
#include "bench/UniformNumbers.h"

namespace {

using qvbench::ClassRecords;
using qvbench::UniformNumbers;

/// The model that the classes are drawn from; the last class is the reference, all zeros.
class TrueModel {
 public:
  TrueModel(const ClassRecords& shape, UniformNumbers& uniform) : shape_(shape) {
    for (int c = 0; c + 1 < shape.classes; ++c) {
      intercepts_.push_back(uniform.Next() / 2);
      slopes_.push_back(Coefficients(shape.covariates, uniform));
      for (const int count : shape.levels) effects_.push_back(Coefficients(count, uniform));
    }
  }

  /// The class in which a record falls whose place in the distribution is `place`, in [0, 1).
  [[nodiscard]] int ClassAt(const std::vector<double>& record, double place) const {
    std::vector<double> weights(static_cast<std::size_t>(shape_.classes), 1.0);
    double sum = 1.0;
    for (std::size_t c = 0; c + 1 < weights.size(); ++c) {
      weights[c] = std::exp(Predictor(record, c));
      sum += weights[c];
    }
    std::size_t c = 0;
    for (double left = place * sum - weights[0]; left >= 0.0 && c + 1 < weights.size();) {
      left -= weights[++c];
    }
    return static_cast<int>(c);
  }

 private:
  static std::vector<double> Coefficients(int count, UniformNumbers& uniform) {
    std::vector<double> coefficients(static_cast<std::size_t>(count));
    for (double& coefficient : coefficients) coefficient = 0.7 * uniform.Next();
    return coefficients;
  }
  [[nodiscard]] double Predictor(const std::vector<double>& record, std::size_t c) const {
    double predictor = intercepts_[c];
    std::size_t var = 0;
    for (const double slope : slopes_[c]) predictor += slope * record[var++];
    for (std::size_t f = 0; f < shape_.levels.size(); ++f) {
      const auto level = static_cast<std::size_t>(record[var++]);
      predictor += effects_[c * shape_.levels.size() + f][level];
    }
    return predictor;
  }

  const ClassRecords& shape_;
  std::vector<double> intercepts_;
  std::vector<std::vector<double>> slopes_;   ///< Per class.
  std::vector<std::vector<double>> effects_;  ///< Class after class, per factor.
};

bool WriteRecords(std::FILE* file, long records, const ClassRecords& shape) {
  UniformNumbers uniform;
  const TrueModel model(shape, uniform);
  std::vector<double> record(static_cast<std::size_t>(shape.Size()));
  for (long i = 0; i < records; ++i) {
    std::size_t var = 0;
    for (int j = 0; j < shape.covariates; ++j) record[var++] = uniform.Next();
    for (const int count : shape.levels) record[var++] = uniform.NextBelow(count);
    record.back() = model.ClassAt(record, (uniform.Next() + 1.0) / 2.0);
    if (std::fwrite(record.data(), sizeof(double), record.size(), file) < record.size()) {
      return false;
    }
  }
  return std::fflush(file) == 0;
}

}  // namespace

int main(int argc, char** argv) {
  const long records = argc > 2 ? qvbench::PositiveArgument(argv[2]) : -1;
  const auto shape = ClassRecords::FromArguments(argc - 3, argv + 3);
  if (records < 0 || !shape) {
    std::fprintf(stderr,
                 "usage: bench_make_class_records FILE RECORDS COVARIATES CLASSES [LEVELS...]\n");
    return 2;
  }
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(argv[1], "wb"),
                                                             &std::fclose);
  if (file == nullptr || !WriteRecords(file.get(), records, *shape)) {
    std::perror(argv[1]);
    return 1;
  }
  return 0;
}
