#pragma once

#include <limits>
#include <vector>

#include "qvreg/common/QvSymBlockMatrix.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/common/QvTwofold.h"
#include "qvreg/logistic/IQvAccumStats.h"

class QvRegSettings;

/// Log-likelihood, score vector and information matrix of a multinomial logit, accumulated row by
/// row at the optimizer's current estimates (McFadden, Conditional Logit Analysis of Qualitative
/// Choice Behavior, 1974, for the baseline-category form used here).
///
/// K categories, the last one the reference; p compressed parameters per other category, in K - 1
/// consecutive blocks. Borrows settings and estimates, which must outlive it. A row with E
/// non-zeros costs about K E for the predictors and K^2/2 E^2/2 for the information; nothing is
/// allocated per row. Used from one thread at a time.
class QvAccumStatsLogistic : public IQvAccumStats {
 public:
  QvAccumStatsLogistic(const QvRegSettings& settings, int p, int K,
                       const std::vector<double>& estimates);

  ~QvAccumStatsLogistic() override = default;
  void Reset(QvConst::QvEstimationMethod method, bool separationCheck) override;
  bool CheckConstraints() override { return true; }
  int UpdateForRow(const std::vector<int>& indices, const std::vector<double>& values, int category,
                   double weight, bool llOnly) override;
  [[nodiscard]] double GetLL() const override { return fLogLikelihood.Value(); }
  [[nodiscard]] const std::vector<double>& GetScores() const override { return fScores; }
  void GetHessian(QvCommon::QvSymMatrix& out) const override;
  /// Counts beyond an int's range read as the largest int.
  void GetCounts(int& validRows, int& invalidCalls, double& weight) const override;
  void GetMinMaxProbabilities(double& minObserved, double& maxObserved,
                              double& minComputed) const override;
  [[nodiscard]] double GetStepAdjustmentFactor() const override { return 1.0; }
  void Display(bool llOnly) const override;

  /// False for p < 0, K < 2, too few estimates, or without memory: the object is then unusable.
  [[nodiscard]] bool IsValid() const { return fbValid; }

 private:
  static constexpr double kLargest = std::numeric_limits<double>::max();

  [[nodiscard]] bool Allocate();
  [[nodiscard]] bool IsUsableRow(const std::vector<int>& indices,
                                 const std::vector<double>& values) const;
  bool ComputeProbabilities(const std::vector<int>& indices, const std::vector<double>& values,
                            double& logReference);
  void TrackExtremes(int category);
  void AddScores(const std::vector<int>& indices, const std::vector<double>& values, int category,
                 double weight);
  void AddInformation(const std::vector<int>& indices, const std::vector<double>& values,
                      double weight);
  /// Calls `add(block, c)` for every block with the weight that its outer product takes.
  template <typename Add>
  void ForEachBlock(double weight, Add&& add);

  const QvRegSettings* fpSettings;
  int fNParameters;
  int fNCategories;
  const std::vector<double>* fpEstimates;
  /// Steps near the maximum change its last digits only, which a long plain sum would lose.
  QvCommon::QvTwofold fLogLikelihood;
  std::vector<double> fScores;
  QvCommon::QvSymBlockMatrix fHessian;
  long long fValidRows = 0;
  long long fInvalidCalls = 0;
  double fWeight = 0.0;
  QvConst::QvEstimationMethod fMethod = QvConst::QvMethodNewtonRaphson;
  bool fbSeparationCheck = false;
  double fMinObserved = kLargest;
  double fMaxObserved = -kLargest;
  double fMinComputed = kLargest;
  bool fbValid = false;
  /// Scratch of a row.
  std::vector<double> fProbabilities;
  std::vector<double> fDenseRow;
  QvCommon::QvSymMatrix fOuterProduct;
};
