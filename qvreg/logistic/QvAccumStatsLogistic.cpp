#include "qvreg/logistic/QvAccumStatsLogistic.h"

#include <algorithm>
#include <cstddef>
#include <new>
#include <numeric>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvSparseVector.h"

using QvCommon::QvSparseVector;
using QvCommon::QvSymMatrix;

namespace {

void Copy(const QvCommon::QvSymBlockMatrix& blocks, QvSymMatrix& out) {
  if (blocks.CopyToSymMatrix(out) != 0) throw std::bad_alloc();
}

void AddTo(std::vector<double>& sums, const std::vector<double>& others) {
  for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += others[i];
}

}  // namespace

QvAccumStatsLogistic::QvAccumStatsLogistic(const QvRegSettings& settings, int p, int K,
                                           const std::vector<double>& estimates)
    : fpSettings(&settings), fNParameters(p), fNCategories(K), fpEstimates(&estimates) {
  if (p < 0 || K < 2) return;
  const std::size_t needed = static_cast<std::size_t>(K - 1) * static_cast<std::size_t>(p);
  fbValid = estimates.size() >= needed && Allocate();
}

bool QvAccumStatsLogistic::Allocate() {
  const auto p = static_cast<std::size_t>(fNParameters);
  try {
    fScores.assign(static_cast<std::size_t>(fNCategories - 1) * p, 0.0);
    fDecidedScores = fNoScores = fKeptEstimates = fScores;
    fProbabilities.assign(static_cast<std::size_t>(fNCategories), 0.0);
    fPredictors = fProbabilities;
    fCategoryWeights = fProbabilities;
    fBlockWeights.SetUp(fProbabilities.size());
    fDenseRow.assign(p, 0.0);
    if (QvLogitPanel::Suits(p, fProbabilities.size())) {
      fAllIndices.resize(p);
      std::iota(fAllIndices.begin(), fAllIndices.end(), 0);
      fPanelRow.resize(p);
      fPanel.SetUp(p, static_cast<std::size_t>(fNCategories));
    }
  } catch (const std::bad_alloc&) {
    return false;
  }
  fOuterProduct = QvSymMatrix(fNParameters);
  return fOuterProduct.IsValidMatrix() && fHessian.SetNRows(fNCategories - 1, fNParameters);
}

void QvAccumStatsLogistic::ClearDerivatives() {
  std::fill(fScores.begin(), fScores.end(), 0.0);
  fHessian.Clear();
  fPanel.ClearPairs();
  if (fDecidedHessian.GetBlocks().empty()) return;
  std::fill(fDecidedScores.begin(), fDecidedScores.end(), 0.0);
  fDecidedHessian.Clear();
}

void QvAccumStatsLogistic::Reset(QvConst::QvEstimationMethod method, bool separationCheck) {
  fPanel.Clear();
  fBlockWeights.KeepShares(fCategoryWeights, fTotals.fWeight);
  std::fill(fCategoryWeights.begin(), fCategoryWeights.end(), 0.0);
  if (fAhead != Ahead::kKept) {
    ClearDerivatives();
    fAhead = Ahead::kNone;
  }
  fTotals = {};
  fMethod = method;
  fbSeparationCheck = separationCheck;
}

void QvAccumStatsLogistic::BeginAhead() {
  AddPanel();
  ForgetAhead();
  fAhead = Ahead::kAdding;
}

void QvAccumStatsLogistic::EndAhead(bool isWhole) {
  if (fAhead != Ahead::kAdding) return;
  AddPanel();
  fAhead = Ahead::kKept;
  fKeptTotals = fTotals;
  std::copy_n(fpEstimates->begin(), fKeptEstimates.size(), fKeptEstimates.begin());
  fTotals.fbAnyInformation = fTotals.fbAnyDecided = false;
  if (!fbSeparationCheck) fTotals.ForgetExtremes();
  if (!isWhole) ForgetAhead();
}

bool QvAccumStatsLogistic::TakeAhead() {
  const bool isThere =
      fAhead == Ahead::kKept &&
      std::equal(fKeptEstimates.begin(), fKeptEstimates.end(), fpEstimates->begin());
  if (!isThere) return false;
  fAhead = Ahead::kNone;
  fTotals = fKeptTotals;
  if (!fbSeparationCheck) fTotals.ForgetExtremes();
  return true;
}

bool QvAccumStatsLogistic::ComputeProbabilities(const std::vector<int>& indices,
                                                const std::vector<double>& values, double& largest,
                                                double& sum) {
  if (fNParameters > 0) {
    const QvSparseVector row(indices, values);
    if (!row.ComputePredictors(*fpEstimates, fNParameters, fbDense, fPredictors)) return false;
    QvSparseVector::PredictorsToProbabilities(fPredictors, fProbabilities, largest, sum);
    return true;
  }
  std::fill(fProbabilities.begin(), fProbabilities.end(), 1.0 / fNCategories);
  largest = 0.0;
  sum = fNCategories;
  return true;
}

int QvAccumStatsLogistic::UpdateForRow(const std::vector<int>& indices,
                                       const std::vector<double>& values, int category,
                                       double weight, bool llOnly) {
  if (fAhead == Ahead::kKept) ForgetAhead();
  const QvSparseVector row(indices, values);
  const bool isDense = fNParameters > 0 && row.IsDense(fNParameters);
  if (fNParameters > 0 && !isDense && !row.IsValidBelow(fNParameters)) return -1;
  if (category < 0 || category >= fNCategories || 0.0 >= weight) return -1;
  if (AddToPanel(isDense, indices, values, category, weight, 1, llOnly)) return 0;
  AddRowsOfPanel();
  fbDense = isDense;
  return AddSparseRow(indices, values, category, weight, 1, llOnly);
}

int QvAccumStatsLogistic::UpdateForAlikeRows(const std::vector<int>& indices,
                                             const std::vector<double>& values, int category,
                                             double weight, long long nRows, bool llOnly) {
  if (fAhead == Ahead::kKept) ForgetAhead();
  const bool isValid = QvSparseVector(indices, values).IsValidBelow(fNParameters);
  if (!isValid || category < 0 || category >= fNCategories || 0.0 >= weight) return -1;
  const bool isInPanel =
      fPanel.HasPairs() && AddToPanel(false, indices, values, category, weight, nRows, llOnly);
  if (isInPanel) return 0;
  AddRowsOfPanel();
  fbDense = false;
  return AddSparseRow(indices, values, category, weight, nRows, llOnly);
}

int QvAccumStatsLogistic::AddSparseRow(const std::vector<int>& indices,
                                       const std::vector<double>& values, int category,
                                       double weight, long long nRows, bool llOnly) {
  double largest = 0.0;
  double sum = 1.0;
  if (!ComputeProbabilities(indices, values, largest, sum)) {
    fTotals.fInvalidCalls += nRows;
    return -1;
  }
  CountRows(category, weight, nRows);
  const bool isAhead = fAhead == Ahead::kAdding;
  if (fbSeparationCheck || isAhead) TrackExtremes(category);

  const auto observed = static_cast<std::size_t>(category);
  const int nDecided = fBlockWeights.FindDecided(fProbabilities, observed);
  const double rest = QvLogitPanel::RestOf(fProbabilities, observed);
  // Of a probability close to 1 the weight of many records would show the rounding.
  if (rest < QvLogitPanel::kSmallRest) {
    fTotals.fLogLikelihood.AddLogOfRest(weight, rest);
  } else {
    fTotals.fLogLikelihood.SubtractLog(weight, sum);
    fTotals.fLogLikelihood.Add(weight * (fPredictors[observed] - largest));
  }
  if ((llOnly && !isAhead) || fNParameters < 1) return 0;
  fTotals.fbAnyInformation = true;
  AddScores(indices, values, category, rest, weight);
  if (nDecided > 0) {
    AddPartlyDecided(indices, values, category, weight);
  } else {
    fBlockWeights.Compute(fProbabilities, weight);
    AddInformation(fHessian, fBlockWeights.GetUndecided(), indices, values);
  }
  return 0;
}

double QvAccumStatsLogistic::GetLL() const {
  Settle();
  return fTotals.fLogLikelihood.Get().Value();
}

const std::vector<double>& QvAccumStatsLogistic::GetScores() const {
  Settle();
  return fAhead == Ahead::kKept ? fNoScores : fScores;
}

const std::vector<double>& QvAccumStatsLogistic::GetDecidedScores() const {
  Settle();
  return fAhead == Ahead::kKept ? fNoScores : fDecidedScores;
}

void QvAccumStatsLogistic::TrackExtremes(int category) {
  const double observed = fProbabilities[static_cast<std::size_t>(category)];
  fTotals.fMinObserved = std::min(fTotals.fMinObserved, observed);
  fTotals.fMaxObserved = std::max(fTotals.fMaxObserved, observed);
  for (const double probability : fProbabilities) {
    fTotals.fMinComputed = std::min(fTotals.fMinComputed, probability);
  }
}

void QvAccumStatsLogistic::AddScores(const std::vector<int>& indices,
                                     const std::vector<double>& values, int category,
                                     double residual, double weight) {
  const QvSparseVector row(indices, values);
  for (int c = 0; c + 1 < fNCategories; ++c) {
    const double factor = c == category ? residual : -fProbabilities[static_cast<std::size_t>(c)];
    row.IncrementPart(fScores, c * fNParameters, factor * weight);
  }
}

void QvAccumStatsLogistic::AddPartlyDecided(const std::vector<int>& indices,
                                            const std::vector<double>& values, int category,
                                            double weight) {
  RequireDecidedHessian();
  fTotals.fbAnyDecided = true;
  fBlockWeights.ComputeParted(fProbabilities, weight);
  AddDecidedScores(indices, values, category, weight);
  AddInformation(fDecidedHessian, fBlockWeights.GetDecided(), indices, values);
  if (fBlockWeights.IsAllDecided()) return;
  AddInformation(fHessian, fBlockWeights.GetUndecided(), indices, values);
}

void QvAccumStatsLogistic::AddDecidedScores(const std::vector<int>& indices,
                                            const std::vector<double>& values, int category,
                                            double weight) {
  const auto observed = static_cast<std::size_t>(category);
  const std::size_t reference = fProbabilities.size() - 1;
  const QvSparseVector row(indices, values);
  double sum = 0.0;
  for (std::size_t c = 0; c < fProbabilities.size(); ++c) {
    if (!fBlockWeights.IsDecided(c)) continue;
    sum += fProbabilities[c];
    if (c == reference) continue;
    row.IncrementPart(fDecidedScores, static_cast<int>(c) * fNParameters,
                      -weight * fProbabilities[c]);
  }
  if (observed != reference) {
    row.IncrementPart(fDecidedScores, category * fNParameters, weight * sum);
  }
}

void QvAccumStatsLogistic::AddInformation(QvCommon::QvSymBlockMatrix& target,
                                          const std::vector<double>& blockWeights,
                                          const std::vector<int>& indices,
                                          const std::vector<double>& values) {
  if (fbDense) {
    AddDenseInformation(target, blockWeights, values);
  } else {
    QvSymMatrix::UpdateEachXXSparse(target.GetBlocks(), blockWeights, indices, values);
  }
}

void QvAccumStatsLogistic::AddDenseInformation(QvCommon::QvSymBlockMatrix& target,
                                               const std::vector<double>& blockWeights,
                                               const std::vector<double>& row) {
  std::vector<QvSymMatrix>& blocks = target.GetBlocks();
  if (blocks.size() == 1) {
    blocks[0].UpdateXX(row, blockWeights[0]);
    return;
  }
  fOuterProduct.SetOuterProduct(row);
  for (std::size_t block = 0; block < blocks.size(); ++block) {
    if (blockWeights[block] != 0.0) blocks[block].AddMatrix(fOuterProduct, blockWeights[block]);
  }
}

void QvAccumStatsLogistic::GetHessian(QvSymMatrix& out) const {
  GetUndecidedInformation(out);
  if (fTotals.fbAnyDecided) fDecidedHessian.AddToSymMatrix(out);
}

void QvAccumStatsLogistic::GetUndecidedInformation(QvSymMatrix& out) const {
  Settle();
  Copy(fHessian, out);
  if (fAhead == Ahead::kKept) out.SetToZero();
}

void QvAccumStatsLogistic::GetDecidedInformation(QvSymMatrix& out) const {
  Settle();
  // One that was not needed stands for zeros.
  Copy(fTotals.fbAnyDecided ? fDecidedHessian : fHessian, out);
  if (!fTotals.fbAnyDecided) out.SetToZero();
}

void QvAccumStatsLogistic::Totals::Merge(const Totals& other) {
  fLogLikelihood.Merge(other.fLogLikelihood);
  fbAnyInformation = fbAnyInformation || other.fbAnyInformation;
  fbAnyDecided = fbAnyDecided || other.fbAnyDecided;
  fValidRows += other.fValidRows;
  fInvalidCalls += other.fInvalidCalls;
  fWeight += other.fWeight;
  fMinObserved = std::min(fMinObserved, other.fMinObserved);
  fMaxObserved = std::max(fMaxObserved, other.fMaxObserved);
  fMinComputed = std::min(fMinComputed, other.fMinComputed);
}

bool QvAccumStatsLogistic::Merge(const IQvPassSums& other) {
  const auto* added = dynamic_cast<const QvAccumStatsLogistic*>(&other);
  const bool isAlike = added != nullptr && added->fNParameters == fNParameters &&
                       added->fNCategories == fNCategories;
  if (!isAlike) return false;
  added->Settle();
  AddPanel();
  ForgetAhead();
  if (added->fTotals.fbAnyDecided) RequireDecidedHessian();
  if (added->fTotals.fbAnyInformation) {
    AddTo(fScores, added->fScores);
    fHessian.Add(added->fHessian);
  }
  if (added->fTotals.fbAnyDecided) {
    AddTo(fDecidedScores, added->fDecidedScores);
    fDecidedHessian.Add(added->fDecidedHessian);
  }
  AddTo(fCategoryWeights, added->fCategoryWeights);
  fTotals.Merge(added->fTotals);
  return true;
}

void QvAccumStatsLogistic::Write(QvCommon::QvByteWriter& writer) const {
  Settle();
  const QvCommon::QvDoubleDouble sum = fTotals.fLogLikelihood.Get();
  for (const double value : {sum.fHigh, sum.fLow, fTotals.fWeight, fTotals.fMinObserved,
                             fTotals.fMaxObserved, fTotals.fMinComputed}) {
    writer.PutDouble(value);
  }
  writer.PutInt(fTotals.fValidRows);
  writer.PutInt(fTotals.fInvalidCalls);
  writer.PutDoubles(fCategoryWeights);
  writer.PutBool(fTotals.fbAnyInformation);
  if (fTotals.fbAnyInformation) {
    writer.PutDoubles(fScores);
    fHessian.Write(writer);
  }
  writer.PutBool(fTotals.fbAnyDecided);
  if (fTotals.fbAnyDecided) {
    writer.PutDoubles(fDecidedScores);
    fDecidedHessian.Write(writer);
  }
}

void QvAccumStatsLogistic::Read(QvCommon::QvByteReader& reader) {
  const bool isAhead = fAhead == Ahead::kAdding;
  ForgetAhead();
  Reset(fMethod, fbSeparationCheck);
  if (isAhead) BeginAhead();
  QvCommon::QvDoubleDouble sum;
  for (double* value : {&sum.fHigh, &sum.fLow, &fTotals.fWeight, &fTotals.fMinObserved,
                        &fTotals.fMaxObserved, &fTotals.fMinComputed}) {
    *value = reader.GetDouble();
  }
  fTotals.fLogLikelihood = QvLogLikelihoodSum(sum);
  fTotals.fValidRows = reader.GetTotal();
  fTotals.fInvalidCalls = reader.GetTotal();
  reader.GetDoublesInto(fCategoryWeights);
  fTotals.fbAnyInformation = reader.GetBool();
  if (fTotals.fbAnyInformation) {
    reader.GetDoublesInto(fScores);
    fHessian.Read(reader);
  }
  fTotals.fbAnyDecided = reader.GetBool();
  if (fTotals.fbAnyDecided && fTotals.fbAnyInformation) {
    RequireDecidedHessian();
    reader.GetDoublesInto(fDecidedScores);
    fDecidedHessian.Read(reader);
  }
  if (fTotals.fbAnyDecided && !fTotals.fbAnyInformation) reader.Fail();
}

std::size_t QvAccumStatsLogistic::GetSize() const {
  const std::size_t p = fDenseRow.size();
  // A second matrix for decided pairs may follow.
  const std::size_t blocks = 2 * fHessian.GetBlocks().size() + 1;
  const std::size_t panel = QvCommon::QvPanel::kRows * p;
  const std::size_t pairs = fPanel.HasPairs() ? QvPairSums::GetSize(p, fProbabilities.size()) : 0;
  return (blocks * (p * (p + 1) / 2) + 2 * fScores.size() + panel) * sizeof(double) + pairs;
}

void QvAccumStatsLogistic::WriteStart(QvCommon::QvByteWriter& writer) const {
  writer.PutInt(fMethod);
  writer.PutBool(fbSeparationCheck || fAhead == Ahead::kAdding);
  fBlockWeights.WriteShares(writer);
}

void QvAccumStatsLogistic::ReadStart(QvCommon::QvByteReader& reader) {
  const int method = reader.GetIntWithin(QvConst::QvMethodNewtonRaphson, QvConst::QvMethodHybrid);
  const bool separationCheck = reader.GetBool();
  fBlockWeights.ReadShares(reader);
  Reset(static_cast<QvConst::QvEstimationMethod>(method), separationCheck);
}

void QvAccumStatsLogistic::GetCounts(int& validRows, int& invalidCalls, double& weight) const {
  constexpr long long kLargestInt = std::numeric_limits<int>::max();
  validRows = static_cast<int>(std::min(fTotals.fValidRows, kLargestInt));
  invalidCalls = static_cast<int>(std::min(fTotals.fInvalidCalls, kLargestInt));
  weight = fTotals.fWeight;
}

void QvAccumStatsLogistic::GetMinMaxProbabilities(double& minObserved, double& maxObserved,
                                                  double& minComputed) const {
  Settle();
  minObserved = fTotals.fMinObserved;
  maxObserved = fTotals.fMaxObserved;
  minComputed = fTotals.fMinComputed;
}

void QvAccumStatsLogistic::Display(bool llOnly) const {
  Settle();
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvAccumStatsLogistic display start");
  if (llOnly) {
    QvComponentDisplay::DisplayD("Accumulated log-likelihood", GetLL());
  } else {
    QvComponentDisplay::DisplayI("Number of estimated parameters in the model", fNParameters);
    QvComponentDisplay::DisplayI("Number of response categories of the dependent variable",
                                 fNCategories);
    QvComponentDisplay::DisplayD("Accumulated log-likelihood", GetLL());
    QvComponentDisplay::DisplayDV("Accumulated vector of scores", GetScores(), true);
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "Accumulated Hessian:");
    QvCommon::QvSymBlockMatrix whole = fHessian;
    if (!fDecidedHessian.GetBlocks().empty()) whole.Add(fDecidedHessian);
    if (fAhead == Ahead::kKept) whole.Clear();
    whole.Display();
    QvComponentDisplay::DisplayCount("Number of valid rows processed", fTotals.fValidRows);
    QvComponentDisplay::DisplayCount("Number of invalid calls to UpdateForRow()",
                                     fTotals.fInvalidCalls);
    QvComponentDisplay::DisplayD("Accumulated weight", fTotals.fWeight);
    QvComponentDisplay::DisplayB("Separation check", fbSeparationCheck);
    QvComponentDisplay::DisplayD("Minimum probability of the observed response",
                                 fTotals.fMinObserved);
    QvComponentDisplay::DisplayD("Maximum probability of the observed response",
                                 fTotals.fMaxObserved);
    QvComponentDisplay::DisplayD("Minimum computed probability", fTotals.fMinComputed);
    QvComponentDisplay::DisplayB("Validity indicator", fbValid);
  }
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvAccumStatsLogistic display end");
}
