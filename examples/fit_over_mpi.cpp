// Fits a model to record files on many machines. Each file is a part, which one rank opens:
// requests and sums travel, records do not. Rank 0 estimates. On any number of ranks the results
// are the same to the last bit.
//
//   mpirun -n RANKS fit_over_mpi CATEGORIES RECORD_SIZE FILE...
//
// A record has covariates and, last, the dependent: with 0 CATEGORIES that of a linear model, else
// a code from 0 on. All ranks are given all names; the first rank opens the first files.

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <mpi.h>

#include "qvreg/qvreg.h"

namespace {

using Bytes = std::vector<unsigned char>;
using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

/// Ends the program on all ranks: none waits for one that cannot go on.
[[noreturn]] void Abort(const std::string& why) {
  std::fprintf(stderr, "fit_over_mpi: %s\n", why.c_str());
  MPI_Abort(MPI_COMM_WORLD, 1);
  std::abort();
}
void Require(const QvCommon::QvStatus& status, const std::string& what) {
  if (status.IsError()) Abort(what + ": status " + std::to_string(status.GetCode()));
}

/// Makes the passes of a run. Every rank has one; that of rank 0 is the component's runner.
class MpiRunner : public IQvPassRunner {
 public:
  MpiRunner(std::vector<std::string> files, int recordSize)
      : files_(std::move(files)), recordSize_(recordSize) {
    MPI_Comm_rank(MPI_COMM_WORLD, &rank_);
    MPI_Comm_size(MPI_COMM_WORLD, &ranks_);
  }

  /// On rank 0: estimates, and prints the estimates in the order of the parameters.
  void Estimate(QvRegSettings& settings) {
    if (rank_ != 0) return;
    settings.SetPassRunner(this);
    bool isTaken = settings.SetDependent(recordSize_ - 1);
    for (int position = 0; position + 1 < recordSize_; ++position) {
      const std::vector<int> covariate{position};
      QvModelEffect effect(0, 1, &covariate);
      isTaken = isTaken && settings.AddCovariate(position) > 0 &&
                effect.AddCovariate(position) > 0 && settings.AddModelEffect(effect);
    }
    QvRegFactory factory;
    const std::unique_ptr<IQvRegComponent> model(factory.CreateRegAlgorithm(settings));
    if (!isTaken || !model) Abort("a part of the model was refused");
    const File first = Open(0);
    QvCommon::BinaryRecordIterator records(first.get(), recordSize_);  // not read here
    Require(model->BuildModel(records), "the model cannot be built");
    IQvRegOutputStats* stats = nullptr;  // the component keeps it
    Require(model->GetOutputStats(stats), "there are no results");
    for (const double estimate : stats->GetParamEstimates()) std::printf("%.17g\n", estimate);
  }
  QvCommon::QvStatus Run(const Bytes& request, QvCancelInfo& /*cancel*/, Bytes& answer) override {
    request_ = request;
    Broadcast();
    answer = Answer(0, std::bit_ceil(files_.size()));
    return {};
  }
  /// On rank 0 ends the service of the others, which answer its requests until then.
  void ServeOrEnd() {
    request_.clear();
    for (Broadcast(); !request_.empty(); Broadcast()) Answer(0, std::bit_ceil(files_.size()));
  }

 private:
  void Broadcast() {
    int size = static_cast<int>(request_.size());
    MPI_Bcast(&size, 1, MPI_INT, 0, MPI_COMM_WORLD);
    request_.resize(static_cast<std::size_t>(size));
    MPI_Bcast(request_.data(), size, MPI_BYTE, 0, MPI_COMM_WORLD);
  }
  /// The merged answer of so many parts, a power of two, from the first on: neighbours are merged
  /// in pairs, each pair on the rank of its first part. Empty on the other ranks.
  Bytes Answer(std::size_t first, std::size_t count) {
    if (count == 1) return RankOf(first) == rank_ ? RunPart(first) : Bytes();
    const std::size_t middle = first + count / 2;
    Bytes left = Answer(first, count / 2);
    if (middle >= files_.size()) return left;
    Bytes right = Answer(middle, count / 2);
    Move(right, RankOf(middle), RankOf(first));
    if (RankOf(first) != rank_) return {};
    Require(worker_.Merge(request_, left, right, left), "answers cannot be merged");
    return left;
  }

  [[nodiscard]] File Open(std::size_t part) const {
    File file(std::fopen(files_[part].c_str(), "rb"), std::fclose);
    if (!file) Abort("cannot open " + files_[part]);
    return file;
  }
  Bytes RunPart(std::size_t part) {
    const File file = Open(part);
    QvCommon::BinaryRecordIterator records(file.get(), recordSize_);
    Bytes answer;
    Require(worker_.Run(request_, static_cast<int>(part), records, answer), "a pass failed");
    if (records.GetFailReason() == QvCommon::kIterReadError) Abort("cannot read " + files_[part]);
    return answer;
  }
  /// Moves bytes from one rank to another, which learns how many they are. MPI counts by an int and
  /// refuses more than 2^31 - 1.
  void Move(Bytes& bytes, int from, int to) const {
    if (from == to) return;
    int size = static_cast<int>(bytes.size());
    if (rank_ == from) MPI_Send(bytes.data(), size, MPI_BYTE, to, 0, MPI_COMM_WORLD);
    if (rank_ != to) return;
    MPI_Status status;
    MPI_Probe(from, 0, MPI_COMM_WORLD, &status);
    MPI_Get_count(&status, MPI_BYTE, &size);
    bytes.resize(static_cast<std::size_t>(size));
    MPI_Recv(bytes.data(), size, MPI_BYTE, from, 0, MPI_COMM_WORLD, MPI_STATUS_IGNORE);
  }
  [[nodiscard]] int RankOf(std::size_t part) const {
    return static_cast<int>(part * static_cast<std::size_t>(ranks_) / files_.size());
  }

  const std::vector<std::string> files_;
  const int recordSize_;
  int rank_ = 0, ranks_ = 1;
  Bytes request_;
  QvPassWorker worker_;
};

}  // namespace

int main(int count, char** arguments) {
  MPI_Init(&count, &arguments);
  if (count < 4) Abort("usage: fit_over_mpi CATEGORIES RECORD_SIZE FILE...");
  const int categories = std::atoi(arguments[1]);
  QvRegSettings linear;
  QvLogRegSettings logistic;
  if (categories != 0 && !logistic.SetDependentRefCat(logistic.kLastObserved, categories))
    Abort("CATEGORIES is neither 0 nor a number from 2 on");
  MpiRunner runner({arguments + 3, arguments + count}, std::atoi(arguments[2]));
  runner.Estimate(categories == 0 ? linear : logistic);
  runner.ServeOrEnd();
  MPI_Finalize();
}
