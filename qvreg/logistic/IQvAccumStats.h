#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/common/QvColumnKernels.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/settings/QvConst.h"

class IQvRegModel;

/// What one pass over the data accumulates for the optimizer: log-likelihood, score vector and
/// information matrix at the current estimates. Used from one thread at a time.
class IQvAccumStats {
 public:
  IQvAccumStats() = default;
  IQvAccumStats(const IQvAccumStats&) = delete;
  IQvAccumStats& operator=(const IQvAccumStats&) = delete;

  virtual ~IQvAccumStats() = default;
  /// Sets every sum to zero; `separationCheck` tracks extreme probabilities in the next pass.
  virtual void Reset(QvConst::QvEstimationMethod method, bool separationCheck) = 0;
  /// True when the estimates satisfy the model's constraints.
  virtual bool CheckConstraints() = 0;
  /// Adds a sparse design row with its local category (reference last) and weight; `llOnly` leaves
  /// score and information alone. 0, or -1 for a row that cannot be added. May throw
  /// std::bad_alloc.
  virtual int UpdateForRow(const std::vector<int>& indices, const std::vector<double>& values,
                           int category, double weight, bool llOnly) = 0;
  [[nodiscard]] virtual double GetLL() const = 0;
  [[nodiscard]] virtual const std::vector<double>& GetScores() const = 0;
  /// Writes the information matrix, the negative Hessian of the log-likelihood. May throw
  /// std::bad_alloc when `out` is of another order.
  virtual void GetHessian(QvCommon::QvSymMatrix& out) const = 0;
  virtual void GetCounts(int& validRows, int& invalidCalls, double& weight) const = 0;
  /// The extreme probabilities of the observed category, and the smallest one computed.
  virtual void GetMinMaxProbabilities(double& minObserved, double& maxObserved,
                                      double& minComputed) const = 0;
  /// A step-halving divides the step by twice this number: 1 halves it.
  [[nodiscard]] virtual double GetStepAdjustmentFactor() const = 0;
  virtual void Display(bool llOnly) const = 0;
};

/// Accumulated statistics of decided categories, beside IQvAccumStats.
///
/// A category is decided for a row when it was not observed there and its probability has fallen to
/// next to nothing of what it is over all rows. The information matrix and the scores are sums over
/// pairs of a row's categories; a pair with a decided category is decided. Data are separated when
/// the undecided pairs alone leave a direction of the parameters open (Albert and Anderson, On the
/// existence of maximum likelihood estimates in logistic regression models, Biometrika 71, 1984).
/// Used from one thread at a time.
class IQvDecidedStats {
 public:
  IQvDecidedStats() = default;
  IQvDecidedStats(const IQvDecidedStats&) = delete;
  IQvDecidedStats& operator=(const IQvDecidedStats&) = delete;

  virtual ~IQvDecidedStats() = default;
  /// Writes what the undecided pairs, and what the decided ones, add to the information matrix. May
  /// throw std::bad_alloc when `out` is of another order.
  virtual void GetUndecidedInformation(QvCommon::QvSymMatrix& out) const = 0;
  virtual void GetDecidedInformation(QvCommon::QvSymMatrix& out) const = 0;
  /// What the decided pairs add to the scores.
  [[nodiscard]] virtual const std::vector<double>& GetDecidedScores() const = 0;
};

/// Accumulated statistics that a pass for the log-likelihood alone can compute whole, ahead of the
/// request for the rest, beside IQvAccumStats. Used from one thread at a time.
class IQvAheadStats {
 public:
  IQvAheadStats() = default;
  IQvAheadStats(const IQvAheadStats&) = delete;
  IQvAheadStats& operator=(const IQvAheadStats&) = delete;

  virtual ~IQvAheadStats() = default;
  /// After a Reset: rows are added whole, with extreme probabilities, whatever is asked for.
  virtual void BeginAhead() = 0;
  /// Ends that. Shows what was asked for alone, and keeps the rest back; forgets it unless the pass
  /// was whole.
  virtual void EndAhead(bool isWhole) = 0;
  /// After another Reset: whether the statistics of a whole pass at the very estimates of now were
  /// kept, which are then shown.
  [[nodiscard]] virtual bool TakeAhead() = 0;
};

/// Accumulated statistics to which rows can be added many at a time, beside IQvAccumStats: rows of
/// one pattern, whose columns are the same. Used from one thread at a time.
class IQvPatternStats {
 public:
  /// How many rows are added together at most.
  static constexpr std::size_t kMostRows = 64;
  /// The same of rows that are kept column by column.
  static constexpr std::size_t kPanelRows = QvCommon::QvColumnKernels::kRows;
  /// Borrowed rows: their values, row after row, categories and weights.
  struct Rows {
    std::size_t fCount = 0;
    const double* fpValues = nullptr;
    const int* fpCategories = nullptr;
    const double* fpWeights = nullptr;
  };
  /// Borrowed rows, column by column: kPanelRows numbers of each column and kPanelRows categories,
  /// finite ones from fCount on; as many weights as there are rows.
  struct Columns {
    std::size_t fCount = 0;
    const double* const* fpColumns = nullptr;
    const double* fpCategories = nullptr;
    const double* fpWeights = nullptr;
  };

  IQvPatternStats() = default;
  IQvPatternStats(const IQvPatternStats&) = delete;
  IQvPatternStats& operator=(const IQvPatternStats&) = delete;

  virtual ~IQvPatternStats() = default;
  /// Begins a pattern: its rows have non-zeros in `columns`, in increasing order, and `places` says
  /// for each of them which of a row's `nValues` values that is. False where rows are better added
  /// one by one. The vectors must stay until the end. May throw std::bad_alloc.
  virtual bool BeginPattern(const std::vector<int>& columns, const std::vector<int>& places,
                            std::size_t nValues, bool llOnly) = 0;
  /// Adds at most kMostRows rows of the pattern; false, with none of them added, where some of them
  /// may have to be refused: each is to be given to UpdateForRow. May throw std::bad_alloc.
  virtual bool AddRows(const Rows& rows) = 0;
  /// The same for at most kPanelRows rows; false by default.
  virtual bool AddColumns(const Columns& columns) {
    static_cast<void>(columns);
    return false;
  }
  /// Ends the pattern: REQUIRED before anything is read.
  virtual void EndPattern() = 0;
  /// As UpdateForRow for `nRows` rows of one category whose weights sum to `weight`.
  virtual int UpdateForAlikeRows(const std::vector<int>& indices, const std::vector<double>& values,
                                 int category, double weight, long long nRows, bool llOnly) = 0;
};

/// Makes one pass of accumulated statistics at the optimizer's request, wherever the rows come
/// from. Borrows statistics and model between SetStatsModel and CleanStatsModel.
class IQvDataHandler {
 public:
  IQvDataHandler() = default;
  IQvDataHandler(const IQvDataHandler&) = delete;
  IQvDataHandler& operator=(const IQvDataHandler&) = delete;

  virtual ~IQvDataHandler() = default;
  virtual void SetStatsModel(IQvAccumStats* stats, const IQvRegModel* model) = 0;
  /// As the statistics' Reset. REQUIRES: SetStatsModel.
  virtual void ResetAccumStats(QvConst::QvEstimationMethod method, bool separationCheck) = 0;
  virtual void CleanStatsModel() = 0;
  /// One pass over all rows; none where the statistics were computed ahead. REQUIRES:
  /// SetStatsModel.
  virtual QvCommon::QvStatus ComputeStatsForOptimizer(bool llOnly) = 0;
  [[nodiscard]] virtual const std::vector<QvCommon::QvStatus>& GetWarnings() const = 0;
  /// Diagnostic output, where a handler has any.
  virtual void Display() const = 0;
};

/// Answers a handler's request by `pass()`, whose status it returns: computes ahead in a pass for
/// the log-likelihood alone, and makes none where that was done. `stats` is null where it cannot
/// be.
template <typename Pass>
QvCommon::QvStatus QvMakePassAhead(IQvAheadStats* stats, bool llOnly, const QvCancelInfo& cancel,
                                   Pass&& pass) {
  if (stats == nullptr) return pass();
  if (!llOnly) return stats->TakeAhead() ? QvCommon::QvStatus() : pass();
  stats->BeginAhead();
  const QvCommon::QvStatus status = pass();
  stats->EndAhead(!status.IsError() && !cancel.IsFlagSet());
  return status;
}
