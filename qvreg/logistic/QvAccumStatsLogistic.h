#pragma once

#include <limits>
#include <new>
#include <vector>

#include "qvreg/common/QvSymBlockMatrix.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/logistic/IQvAccumStats.h"
#include "qvreg/logistic/QvBlockWeights.h"
#include "qvreg/logistic/QvLogLikelihoodSum.h"
#include "qvreg/logistic/QvLogitPanel.h"
#include "qvreg/logistic/QvPatternMoments.h"

class QvRegSettings;

/// Log-likelihood, score vector and information matrix of a multinomial logit, accumulated row by
/// row at the optimizer's current estimates (McFadden, Conditional Logit Analysis of Qualitative
/// Choice Behavior, 1974, for the baseline-category form used here).
///
/// K categories, the last one the reference; p compressed parameters per other category, in K - 1
/// consecutive blocks. Borrows settings and estimates, which must outlive it and may change only
/// once statistics were read, or after a Reset: dense rows wait in a panel for others. A row with E
/// non-zeros costs about K E for the predictors and K^2/2 E^2/2 for the information; nothing is
/// allocated per row, but a second matrix for the first row with a decided pair. Rows of a pattern
/// are summed over the few values that their columns have, and these sums are added to those of the
/// columns once. What decided pairs of categories add is summed apart from the first pass's end on,
/// so that it is not lost beside the rest. Used from one thread at a time.
class QvAccumStatsLogistic : public IQvAccumStats,
                             public IQvDecidedStats,
                             public IQvAheadStats,
                             public IQvPatternStats,
                             public IQvPassSums {
 public:
  QvAccumStatsLogistic(const QvRegSettings& settings, int p, int K,
                       const std::vector<double>& estimates);

  ~QvAccumStatsLogistic() override = default;
  void Reset(QvConst::QvEstimationMethod method, bool separationCheck) override;
  bool CheckConstraints() override { return true; }
  /// A row whose probabilities cannot be computed is an invalid call: -1. May throw std::bad_alloc
  /// at the first row with a decided pair.
  int UpdateForRow(const std::vector<int>& indices, const std::vector<double>& values, int category,
                   double weight, bool llOnly) override;
  [[nodiscard]] double GetLL() const override;
  [[nodiscard]] const std::vector<double>& GetScores() const override;
  void GetHessian(QvCommon::QvSymMatrix& out) const override;
  /// Counts beyond an int's range read as the largest int.
  void GetCounts(int& validRows, int& invalidCalls, double& weight) const override;
  void GetMinMaxProbabilities(double& minObserved, double& maxObserved,
                              double& minComputed) const override;
  [[nodiscard]] double GetStepAdjustmentFactor() const override { return 1.0; }
  void Display(bool llOnly) const override;
  void GetUndecidedInformation(QvCommon::QvSymMatrix& out) const override;
  void GetDecidedInformation(QvCommon::QvSymMatrix& out) const override;
  [[nodiscard]] const std::vector<double>& GetDecidedScores() const override;
  void BeginAhead() override;
  void EndAhead(bool isWhole) override;
  [[nodiscard]] bool TakeAhead() override;
  bool BeginPattern(const std::vector<int>& columns, const std::vector<int>& places,
                    std::size_t nValues, bool llOnly) override;
  bool AddRows(const Rows& rows) override;
  bool AddColumns(const Columns& columns) override;
  void EndPattern() override;
  int UpdateForAlikeRows(const std::vector<int>& indices, const std::vector<double>& values,
                         int category, double weight, long long nRows, bool llOnly) override;

  bool Merge(const IQvPassSums& other) override;
  void Write(QvCommon::QvByteWriter& writer) const override;
  void Read(QvCommon::QvByteReader& reader) override;
  [[nodiscard]] std::size_t GetSize() const override;
  /// Writes how the pass that Reset began is to be made, and begins the same in another object; the
  /// `reader` fails for another number of categories.
  void WriteStart(QvCommon::QvByteWriter& writer) const;
  void ReadStart(QvCommon::QvByteReader& reader);
  /// False for p < 0, K < 2, too few estimates, or without memory: the object is then unusable.
  [[nodiscard]] bool IsValid() const { return fbValid; }

 private:
  static constexpr double kLargest = std::numeric_limits<double>::max();

  /// Whether rows are added ahead, or what they added is kept: derivatives that nobody is shown.
  enum class Ahead { kNone, kAdding, kKept };
  /// The sums that are single numbers.
  struct Totals {
    QvLogLikelihoodSum fLogLikelihood;
    bool fbAnyDecided = false;
    bool fbAnyInformation = false;  ///< Whether some row was added to scores and information.
    long long fValidRows = 0;
    long long fInvalidCalls = 0;
    double fWeight = 0.0;
    double fMinObserved = kLargest;
    double fMaxObserved = -kLargest;
    double fMinComputed = kLargest;

    void Merge(const Totals& other);
    void ForgetExtremes() {
      fMinObserved = fMinComputed = kLargest;
      fMaxObserved = -kLargest;
    }
  };

  [[nodiscard]] bool Allocate();
  /// Lets a row that is dense, or nearly, wait in the panel for others; false for one that must be
  /// added at once.
  bool AddToPanel(bool isDense, const std::vector<int>& indices, const std::vector<double>& values,
                  int category, double weight, long long nRows, bool llOnly);
  /// Adds the rows that wait to all sums.
  void AddPanel() {
    AddRowsOfPanel();
    fPanel.AddPairs(fHessian);
  }
  /// The same, but part of the information may still wait.
  void AddRowsOfPanel() {
    if (fPanel.GetCount() > 0) AddPanel(fPanel, fScores, fHessian);
  }
  /// Adds a panel's rows to the sums that are single numbers and to these.
  void AddPanel(QvLogitPanel& panel, std::vector<double>& scores,
                QvCommon::QvSymBlockMatrix& information);
  /// The same for an operation that shows sums: the rows belong to what it shows.
  // NOLINTNEXTLINE(cppcoreguidelines-pro-type-const-cast): what is shown does not change by it.
  void Settle() const { const_cast<QvAccumStatsLogistic*>(this)->AddPanel(); }
  /// What the rows of the pattern are added with: the panel and its estimates.
  [[nodiscard]] QvLogitPanel& PatternPanel() {
    return fbPatternIsDense ? fPanel : fMoments.GetPanel();
  }
  [[nodiscard]] const std::vector<double>& PatternEstimates() const {
    return fbPatternIsDense ? *fpEstimates : fMoments.GetEstimates();
  }
  void AddPatternPanel(QvLogitPanel& panel);
  /// Adds the panel's rows with decided pairs, and takes them out of its information.
  void AddDecidedOfPanel(QvLogitPanel& panel);
  /// Adds a row of a panel whose probabilities are in place.
  void AddDecidedRow(const QvLogitPanel& panel, std::size_t row);
  void CountRows(int category, double weight, long long nRows) {
    fTotals.fValidRows += nRows;
    fTotals.fWeight += weight;
    fCategoryWeights[static_cast<std::size_t>(category)] += weight;
  }
  /// Adds alike rows by themselves, their non-zeros being the dense row where fbDense says so; 0,
  /// or -1 where their probabilities cannot be computed.
  int AddSparseRow(const std::vector<int>& indices, const std::vector<double>& values, int category,
                   double weight, long long nRows, bool llOnly);
  void ClearDerivatives();
  void ForgetAhead() {
    if (fAhead == Ahead::kKept) ClearDerivatives();
    fAhead = Ahead::kNone;
  }
  bool ComputeProbabilities(const std::vector<int>& indices, const std::vector<double>& values,
                            double& largest, double& sum);
  void TrackExtremes(int category);
  /// `residual` is 1 minus the probability of the observed category.
  void AddScores(const std::vector<int>& indices, const std::vector<double>& values, int category,
                 double residual, double weight);
  /// Adds the row's outer product times `blockWeights` to the blocks of `target`.
  void AddInformation(QvCommon::QvSymBlockMatrix& target, const std::vector<double>& blockWeights,
                      const std::vector<int>& indices, const std::vector<double>& values);
  void AddDenseInformation(QvCommon::QvSymBlockMatrix& target,
                           const std::vector<double>& blockWeights, const std::vector<double>& row);
  /// Makes the matrix of the decided pairs, which most fits do not need; throws without memory.
  void RequireDecidedHessian() {
    if (!fDecidedHessian.GetBlocks().empty()) return;
    if (!fDecidedHessian.SetNRows(fNCategories - 1, fNParameters)) throw std::bad_alloc();
  }
  void AddPartlyDecided(const std::vector<int>& indices, const std::vector<double>& values,
                        int category, double weight);
  void AddDecidedScores(const std::vector<int>& indices, const std::vector<double>& values,
                        int category, double weight);

  [[maybe_unused]] const QvRegSettings* fpSettings;
  int fNParameters;
  int fNCategories;
  const std::vector<double>* fpEstimates;
  Totals fTotals;
  Ahead fAhead = Ahead::kNone;
  /// What is kept beside the derivatives, and the estimates that it is at.
  Totals fKeptTotals;
  std::vector<double> fKeptEstimates;
  std::vector<double> fNoScores;  ///< Zeros.
  std::vector<double> fScores;
  QvCommon::QvSymBlockMatrix fHessian;         ///< Of the undecided pairs.
  QvCommon::QvSymBlockMatrix fDecidedHessian;  ///< Empty up to the first such pair.
  std::vector<double> fDecidedScores;
  QvConst::QvEstimationMethod fMethod = QvConst::QvMethodNewtonRaphson;
  bool fbSeparationCheck = false;
  std::vector<double> fCategoryWeights;  ///< Their sums in this pass.
  QvBlockWeights fBlockWeights;
  bool fbValid = false;
  QvLogitPanel fPanel;
  bool fbPanelIsLLOnly = false;
  std::vector<int> fAllIndices;   ///< Those of a dense row.
  std::vector<double> fPanelRow;  ///< Scratch: one of the panel.
  QvPatternMoments fMoments;
  bool fbPatternIsDense = false;  ///< Whether the pattern's rows are those of fPanel.
  /// Scratch of a row.
  std::vector<double> fPredictors;
  std::vector<double> fProbabilities;
  /// Whether the row's non-zeros are the dense row.
  bool fbDense = false;
  std::vector<double> fDenseRow;
  QvCommon::QvSymMatrix fOuterProduct;
};
