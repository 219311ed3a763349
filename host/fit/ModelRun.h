#pragma once

#include <memory>
#include <string>
#include <vector>

#include "host/fit/Continuation.h"
#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/fit/IterationHistory.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/SpoolRunner.h"
#include "host/table/CodedTable.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvhost {

/// One run of the library over a coded table: creates the component that the settings ask for,
/// makes its passes, and gives what it found. Where the estimation of a logistic model stopped
/// short of a maximum, another component continues from there; see Continuation.
///
/// Owns the component; borrows the rest, which must outlive it. One thread at a time.
class ModelRun {
 public:
  /// `settings` are changed by a continuation; components copy them. `threads` of 0 means as many
  /// as the machine has cores.
  ModelRun(QvRegSettings& settings, const CodedTable& table, int threads, ProgressBar& progress,
           Interrupt& interrupt);
  ModelRun(const ModelRun&) = delete;
  ModelRun& operator=(const ModelRun&) = delete;

  /// Builds the model. Throws Error (kRunFailed) when it cannot be fitted, Cancelled when
  /// interrupted.
  void Build();

  /// After Build: what was found. Owned by the component, valid while this object lives.
  [[nodiscard]] const IQvRegOutputStats& Output() const { return *output_; }
  [[nodiscard]] IQvRegComponent& Component() const { return *component_; }
  /// How the estimation of a logistic model ended.
  [[nodiscard]] const OptimizationEnding& Ending() const { return ending_; }
  /// The iterations of it.
  [[nodiscard]] const std::vector<IterationPoint>& Iterations() const {
    return iterations_.Points();
  }

  /// Which records were used, as far as the run came.
  [[nodiscard]] RecordUse Records() const;

 private:
  /// Shows how far a pass is whenever the library asks whether to stop.
  class Watch : public QvQueryCancel {
   public:
    explicit Watch(const ModelRun& run) : run_(run) {}
    bool QueryCancel() override { return QueryWillCancel(); }
    bool QueryWillCancel() override;

   private:
    const ModelRun& run_;
  };

  void CreateComponent();
  void ShowPass(int pass, long long delivered) const;
  void BuildComponent();
  void Continue(QvLogRegSettings& settings);
  [[noreturn]] void Fail(const QvCommon::QvStatus& status) const;
  void Check(const QvCommon::QvStatus& status) const;
  /// Of a run with frequency weights.
  [[nodiscard]] const CodedColumn& FreqWeight() const;
  /// Whether the frequency weights may add up to more than the largest number.
  [[nodiscard]] bool WeightsOverflow() const;
  [[nodiscard]] std::string Stage(int pass) const;
  [[nodiscard]] QvRecordCounts Counts() const;

  QvRegSettings& settings_;
  const CodedTable& table_;
  ProgressBar& progress_;
  Interrupt& interrupt_;
  const int threads_;
  IterationListener iterations_;
  SpoolRunner runner_;
  Watch watch_;
  std::unique_ptr<IQvRegComponent> component_;
  IQvRegOutputStats* output_ = nullptr;
  OptimizationEnding ending_;
};

}  // namespace qvhost
