#pragma once

#include <limits>
#include <vector>

#include "qvreg/common/QvDoubleDouble.h"
#include "qvreg/common/QvSymBlockMatrix.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/logistic/IQvAccumStats.h"

class QvRegSettings;

/// Log-likelihood, score vector and information matrix of a multinomial logit, accumulated row by
/// row at the optimizer's current estimates (McFadden, Conditional Logit Analysis of Qualitative
/// Choice Behavior, 1974, for the baseline-category form used here).
///
/// K categories, the last one the reference; p compressed parameters per other category, in K - 1
/// consecutive blocks. Borrows settings and estimates, which must outlive it. A row with E
/// non-zeros costs about K E for the predictors and K^2/2 E^2/2 for the information; nothing is
/// allocated per row, but a second matrix for the first row with a decided pair. What decided pairs
/// of categories add is summed apart from the first pass's end on, so that it is not lost beside
/// the rest. Used from one thread at a time.
class QvAccumStatsLogistic : public IQvAccumStats,
                             public IQvDecidedStats,
                             public IQvAheadStats,
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
  [[nodiscard]] const std::vector<double>& GetScores() const override {
    return fAhead == Ahead::kKept ? fNoScores : fScores;
  }
  void GetHessian(QvCommon::QvSymMatrix& out) const override;
  /// Counts beyond an int's range read as the largest int.
  void GetCounts(int& validRows, int& invalidCalls, double& weight) const override;
  void GetMinMaxProbabilities(double& minObserved, double& maxObserved,
                              double& minComputed) const override;
  [[nodiscard]] double GetStepAdjustmentFactor() const override { return 1.0; }
  void Display(bool llOnly) const override;
  void GetUndecidedInformation(QvCommon::QvSymMatrix& out) const override;
  void GetDecidedInformation(QvCommon::QvSymMatrix& out) const override;
  [[nodiscard]] const std::vector<double>& GetDecidedScores() const override {
    return fAhead == Ahead::kKept ? fNoScores : fDecidedScores;
  }
  void BeginAhead() override;
  void EndAhead(bool isWhole) override;
  [[nodiscard]] bool TakeAhead() override;

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
    /// Steps near the maximum change its last digits only, which a long plain sum would lose.
    QvCommon::QvDoubleDouble fLogLikelihood;
    /// Not yet in it: minus the weight times the logarithm of the product, which holds the sums of
    /// exponentials of the latest rows of one weight, so that they share one logarithm.
    double fPendingWeight = 0.0;
    double fPendingProduct = 1.0;
    bool fbAnyDecided = false;
    bool fbAnyInformation = false;  ///< Whether some row was added to scores and information.
    long long fValidRows = 0;
    long long fInvalidCalls = 0;
    double fWeight = 0.0;
    double fMinObserved = kLargest;
    double fMaxObserved = -kLargest;
    double fMinComputed = kLargest;

    void ForgetExtremes() {
      fMinObserved = fMinComputed = kLargest;
      fMaxObserved = -kLargest;
    }
  };

  [[nodiscard]] bool Allocate();
  void ClearDerivatives();
  void ForgetAhead();
  /// The log-likelihood with what is pending.
  [[nodiscard]] QvCommon::QvDoubleDouble WholeLL() const;
  /// Adds weight (shifted - log(sum)).
  void AddToLL(double weight, double shifted, double sum);
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
  /// Fills fBlockWeights: what the row's outer product is multiplied by in every block.
  void ComputeBlockWeights(double weight);
  /// Takes the categories' shares from the first pass; later passes do not change them.
  void KeepShares();
  /// Finds the row's decided categories; how many there are.
  int FindDecided(int category);
  /// Makes the matrix of the decided pairs, which most fits do not need; throws without memory.
  void RequireDecidedHessian();
  void AddPartlyDecided(const std::vector<int>& indices, const std::vector<double>& values,
                        int category, double weight);
  /// As ComputeBlockWeights, in two parts: the undecided pairs in fBlockWeights, the others in
  /// fDecidedWeights.
  void ComputePartedWeights(double weight);
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
  /// Sums of weights by category in this pass, and the probability below which a category that was
  /// not observed is decided: 0 up to the end of the first pass.
  std::vector<double> fCategoryWeights;
  std::vector<double> fDecidedBelow;
  bool fbHasShares = false;
  bool fbValid = false;
  /// Scratch of a row.
  std::vector<double> fPredictors;
  std::vector<double> fProbabilities;
  std::vector<double> fBlockWeights;
  std::vector<double> fDecidedWeights;
  std::vector<char> fIsDecided;  ///< By category.
  /// Whether the row's non-zeros are the dense row.
  bool fbDense = false;
  std::vector<double> fDenseRow;
  QvCommon::QvSymMatrix fOuterProduct;
};
