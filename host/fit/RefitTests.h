#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"
#include "host/fit/GroupedRecords.h"
#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ModelRun.h"
#include "host/fit/ProgressBar.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// Tests the terms of a logistic model by fitting the model again without them, to the same coded
/// records: likelihood-ratio chi-squares, as `anova` and `car::Anova` of R.
///
/// Terms that others contain cannot be taken out for a test of type 3: those get Wald's chi-square,
/// and a note says so. The tests are left out, with a note, where they would take more than 20
/// terms or about ten seconds.
///
/// Borrows everything it is made of. One thread at a time.
class RefitTests {
 public:
  /// What was fitted, and how; `seconds` is the time that it took.
  struct Fitted {
    const Formula& formula;
    const ModelBinding& binding;
    const CodedTable& table;
    const GroupedRecords* grouped;  ///< What stands for the table; null for the table itself.
    const FitOptions& options;
    const ModelRun& run;
    double seconds;
  };

  RefitTests(const Fitted& fitted, ProgressBar& progress, Interrupt& interrupt)
      : fitted_(fitted), progress_(progress), interrupt_(interrupt) {}

  /// The tests of the `type`; `notes` receives what there is to say of them. Throws Cancelled when
  /// interrupted, Error (kRunFailed) when the table cannot be read.
  [[nodiscard]] EffectTests Run(int type, std::vector<std::string>& notes);

 private:
  /// Which terms a model has.
  using TermChoice = std::vector<bool>;
  struct Likelihood {
    TermChoice terms;
    std::optional<double> logLikelihood;
    int kept = 0;
  };
  /// The models whose likelihoods a test compares; none where it is Wald's.
  struct Comparison {
    TermChoice larger;
    TermChoice smaller;
    bool isWald = false;
  };

  [[nodiscard]] std::vector<Comparison> Plan(int type) const;
  [[nodiscard]] std::size_t CountRefits(const std::vector<Comparison>& plan) const;
  const Likelihood& LikelihoodOf(const TermChoice& terms, std::vector<std::string>& notes);
  void Refit(Likelihood& likelihood, std::vector<std::string>& notes);
  [[nodiscard]] std::string NamesOfOthers(const TermChoice& terms) const;

  const Fitted fitted_;
  ProgressBar& progress_;
  Interrupt& interrupt_;
  std::vector<Likelihood> likelihoods_;
};

}  // namespace qvhost
