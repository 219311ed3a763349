#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"
#include "host/fit/GroupedRecords.h"
#include "host/fit/HeldOutScores.h"
#include "host/fit/Interrupt.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/ModelRun.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/ScoreRanking.h"
#include "host/fit/ScoreSorter.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"

namespace qvhost {

/// Compares records that were held out with what a fit of the others predicts: those of a split or
/// a holdout with the fit that is reported; of folds each with a fit of its own, to the same coded
/// records. What a report draws of a logistic model's probabilities is that, too, or without such
/// an option the same of the records that were fitted. Nothing else is done without one.
///
/// Borrows all that it is made of. One thread at a time. Throws Error and Cancelled as the passes
/// do that it makes.
class Validation {
 public:
  /// The table's column of parts is changed.
  Validation(const Formula& formula, const ModelBinding& binding, CodedTable& table,
             const FitOptions& options, ProgressBar& progress, Interrupt& interrupt)
      : formula_(formula),
        binding_(binding),
        table_(table),
        options_(options),
        progress_(progress),
        interrupt_(interrupt) {}

  /// Before anything reads the records: holds those of a split or a holdout out.
  void Begin();

  /// When the model is built, which was fitted to `grouped` in place of the table unless that is
  /// null: scores what Begin held out. Throws Error (kRunFailed) when none of it can be scored.
  void Score(const ModelRun& run, const GroupedRecords* grouped);

  /// After Score: what is not to be counted among the records that were not used; null for none.
  [[nodiscard]] const HeldOutScores* HeldOut() const { return heldOut_.get(); }

  /// When all else is done with the table: fits and scores folds, and adds all that was found to
  /// the result, and to the plots that it has. `run` and `grouped`: as for Score. Throws Error
  /// (kRunFailed) when the records outside a fold cannot be fitted.
  void Finish(const ModelRun& run, const GroupedRecords* grouped, FitResult& result);

 private:
  struct Fold {
    const ModelRun& run;
    const GroupedRecords* grouped;
    std::vector<ScoreSorter*> sorters;
  };

  [[nodiscard]] bool IsOf(ValidationKind kind) const {
    return options_.binding.validation.kind == kind;
  }
  [[nodiscard]] std::unique_ptr<HeldOutScores> ScoreBy(const Fold& fold) const;
  [[nodiscard]] bool IsRanked(const CodedTable& source) const;
  void SettleLevels(const ModelRun& run);
  void FitFolds(ValidationResult& validation, std::vector<std::string>& notes);
  void AddFoldNotes(const ValidationResult& validation, const std::vector<int>& unsettled,
                    std::vector<std::string>& notes) const;
  void FitFold(int number, const GroupedRecords* grouped, ScoreSorter* all,
               ValidationResult& validation, std::vector<int>& unsettled);
  [[nodiscard]] ValidationScore ScoreOf(const HeldOutScores& scores,
                                        const ScoreRanking* ranking) const;
  void AddLevels(const HeldOutScores& scores, const ScoreRanking* ranking,
                 ValidationResult& validation) const;
  [[nodiscard]] std::optional<ScoreRanking> Rank(ScoreSorter& sorter, const HeldOutScores& scores,
                                                 const std::vector<std::size_t>& drawn) const;
  void DrawFitted(const ModelRun& run, const GroupedRecords* grouped, FitResult& result);
  [[nodiscard]] HeldOutUse UseOf(const HeldOutScores& scores) const;
  void AddNotes(const ValidationResult& validation, std::vector<std::string>& notes) const;
  [[nodiscard]] const std::string& LevelText(std::size_t place) const;

  const Formula& formula_;
  const ModelBinding& binding_;
  CodedTable& table_;
  const FitOptions& options_;
  ProgressBar& progress_;
  Interrupt& interrupt_;
  bool hasIntercept_ = false;
  std::vector<int> categories_;  ///< Codes of the levels of the fit reported, the reference last.
  std::vector<std::size_t> ranked_;  ///< Places of those whose probabilities are put in order.
  bool isRanked_ = false;
  std::optional<ScoreSorter> sorter_;
  std::unique_ptr<HeldOutScores> heldOut_;
};

}  // namespace qvhost
