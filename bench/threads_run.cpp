// Fits a record file, divided into ranges of records, on a number of threads, and prints what it
// took and a digest of the estimates: a linear model of covariates and a dependent, or, where
// classes are named, a logistic one of covariates, factors and a class.

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/Arguments.h"
#include "bench/BlockFile.h"
#include "bench/ClassModel.h"
#include "bench/ClassRecords.h"
#include "bench/LinearModel.h"
#include "bench/RunReport.h"
#include "bench/Stopwatch.h"
#include "qvreg/qvreg.h"

namespace {

class FileParts : public IQvRecordParts {
 public:
  FileParts(std::string path, int size, const QvRegSettings& settings)
      : path_(std::move(path)),
        size_(size),
        records_(qvbench::CountRecords(path_, size)),
        count_(QvPartCount(records_, settings)) {}

  [[nodiscard]] int GetPartCount() const override { return count_; }
  [[nodiscard]] std::unique_ptr<QvCommon::MultiPassRecordIter> OpenPart(int part) override {
    qvbench::File file = qvbench::OpenFile(path_.c_str());
    if (file == nullptr) return nullptr;
    const auto at = [&](int k) { return records_ * k / count_; };
    return std::make_unique<qvbench::BlockFile>(std::move(file), size_, at(part), at(part + 1));
  }

 private:
  std::string path_;
  int size_;
  long long records_;
  int count_;
};

/// Of numbers, bit by bit (FNV-1a).
std::uint64_t DigestOf(const std::vector<double>& numbers) {
  std::uint64_t digest = 14695981039346656037U;
  for (const double number : numbers) {
    digest = (digest ^ std::bit_cast<std::uint64_t>(number)) * 1099511628211U;
  }
  return digest;
}

bool FitAndPrint(QvRegSettings& settings, const std::string& path, int size, int threads) {
  const qvbench::Stopwatch watch;
  FileParts parts(path, size, settings);
  QvThreadRunner runner(parts, threads);
  settings.SetPassRunner(&runner);
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings));
  if (component == nullptr) return false;
  const std::unique_ptr<QvCommon::MultiPassRecordIter> unused = parts.OpenPart(0);
  IQvRegOutputStats* stats = nullptr;
  const bool isBuilt = unused != nullptr && !component->BuildModel(*unused).IsError() &&
                       !component->GetOutputStats(stats).IsError();
  if (!isBuilt || stats == nullptr) {
    std::fprintf(stderr, "the fit ended with status %ld\n", component->GetStatus().GetCode());
    return false;
  }
  qvbench::PrintStep("whole run", watch.Now(), stats->GetTotalFreqWeight());
  std::printf("  parts                  %d\n", parts.GetPartCount());
  std::printf("  estimates              %016llx\n",
              static_cast<unsigned long long>(DigestOf(stats->GetParamEstimates())));
  qvbench::PrintPeakMemory();
  return true;
}

int PrintUsage() {
  std::fprintf(stderr,
               "usage: bench_threads_run FILE THREADS COVARIATES [CLASSES [LEVELS...] "
               "[--in-memory]]\n");
  return 2;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 4) return PrintUsage();
  const std::string path = argv[1];
  const auto threads = static_cast<int>(qvbench::PositiveArgument(argv[2]));
  if (threads < 0 || !std::filesystem::exists(path)) return PrintUsage();
  if (argc == 4) {
    const auto covariates = static_cast<int>(qvbench::PositiveArgument(argv[3]));
    if (covariates < 0) return PrintUsage();
    qvbench::LinearModel model(covariates, {}, false);
    return FitAndPrint(model.Settings(), path, covariates + 1, threads) ? 0 : 1;
  }
  const bool isInMemory = std::strcmp(argv[argc - 1], "--in-memory") == 0;
  const auto shape =
      qvbench::ClassRecords::FromArguments(argc - 3 - (isInMemory ? 1 : 0), argv + 3);
  if (!shape) return PrintUsage();
  qvbench::ClassModel model(*shape);
  model.Settings().SetUsePatternTabulator(isInMemory);
  return FitAndPrint(model.Settings(), path, shape->Size(), threads) ? 0 : 1;
}
