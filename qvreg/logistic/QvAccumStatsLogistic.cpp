#include "qvreg/logistic/QvAccumStatsLogistic.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvElementary.h"
#include "qvreg/common/QvSparseVector.h"

using QvCommon::QvElementary;
using QvCommon::QvSparseVector;
using QvCommon::QvSymMatrix;

namespace {

/// The product may grow to this: another sum, of at most 46341 terms up to 1, keeps it finite.
constexpr double kEnoughPending = 1e100;
/// A category is decided when its probability has fallen below this part of its share. It is
/// reached after some 16 iterations of a separated fit, each of which divides it by e or more.
constexpr double kDecidedShare = 1e-7;

/// What is left of 1 by the other probabilities, without the rounding of 1 minus almost 1.
double SumOfOthers(const std::vector<double>& probabilities, std::size_t category) {
  double sum = 0.0;
  for (std::size_t c = 0; c < probabilities.size(); ++c) {
    if (c != category) sum += probabilities[c];
  }
  return sum;
}

/// Below it three terms of the series of log(1 - rest) suffice.
constexpr double kSmallRest = 1e-5;

void Copy(const QvCommon::QvSymBlockMatrix& blocks, QvSymMatrix& out) {
  if (blocks.CopyToSymMatrix(out) != 0) throw std::bad_alloc();
}

void AddTo(std::vector<double>& sums, const std::vector<double>& others) {
  for (std::size_t i = 0; i < sums.size(); ++i) sums[i] += others[i];
}

void AddTo(QvCommon::QvSymBlockMatrix& sums, const QvCommon::QvSymBlockMatrix& others) {
  for (std::size_t block = 0; block < sums.GetBlocks().size(); ++block) {
    sums.GetBlocks()[block].AddCompensated(others.GetBlocks()[block]);
  }
}

double LogOfRest(double rest) { return -rest * (1.0 + rest * (1.0 / 2.0 + rest / 3.0)); }

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
    fDecidedBelow = fProbabilities;
    fIsDecided.assign(static_cast<std::size_t>(fNCategories), 0);
    fBlockWeights.assign(
        static_cast<std::size_t>(fNCategories) * static_cast<std::size_t>(fNCategories - 1) / 2,
        0.0);
    fDecidedWeights = fBlockWeights;
    fDenseRow.assign(p, 0.0);
  } catch (const std::bad_alloc&) {
    return false;
  }
  fOuterProduct = QvSymMatrix(fNParameters);
  return fOuterProduct.IsValidMatrix() && fHessian.SetNRows(fNCategories - 1, fNParameters);
}

void QvAccumStatsLogistic::KeepShares() {
  if (!fbHasShares && fTotals.fWeight > 0.0) {
    for (std::size_t c = 0; c < fCategoryWeights.size(); ++c) {
      fDecidedBelow[c] = kDecidedShare * (fCategoryWeights[c] / fTotals.fWeight);
    }
    fbHasShares = true;
  }
  std::fill(fCategoryWeights.begin(), fCategoryWeights.end(), 0.0);
}

void QvAccumStatsLogistic::ClearDerivatives() {
  std::fill(fScores.begin(), fScores.end(), 0.0);
  fHessian.Clear();
  if (fDecidedHessian.GetBlocks().empty()) return;
  std::fill(fDecidedScores.begin(), fDecidedScores.end(), 0.0);
  fDecidedHessian.Clear();
}

void QvAccumStatsLogistic::ForgetAhead() {
  if (fAhead == Ahead::kKept) ClearDerivatives();
  fAhead = Ahead::kNone;
}

void QvAccumStatsLogistic::Reset(QvConst::QvEstimationMethod method, bool separationCheck) {
  KeepShares();
  if (fAhead != Ahead::kKept) {
    ClearDerivatives();
    fAhead = Ahead::kNone;
  }
  fTotals = {};
  fMethod = method;
  fbSeparationCheck = separationCheck;
}

void QvAccumStatsLogistic::BeginAhead() {
  ForgetAhead();
  fAhead = Ahead::kAdding;
}

void QvAccumStatsLogistic::EndAhead(bool isWhole) {
  if (fAhead != Ahead::kAdding) return;
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
  fbDense = fNParameters > 0 && row.IsDense(fNParameters);
  if (fNParameters > 0 && !fbDense && !row.IsValidBelow(fNParameters)) return -1;
  if (category < 0 || category >= fNCategories || 0.0 >= weight) return -1;
  double largest = 0.0;
  double sum = 1.0;
  if (!ComputeProbabilities(indices, values, largest, sum)) {
    ++fTotals.fInvalidCalls;
    return -1;
  }
  ++fTotals.fValidRows;
  fTotals.fWeight += weight;
  fCategoryWeights[static_cast<std::size_t>(category)] += weight;
  const bool isAhead = fAhead == Ahead::kAdding;
  if (fbSeparationCheck || isAhead) TrackExtremes(category);

  const auto observed = static_cast<std::size_t>(category);
  const int nDecided = FindDecided(category);
  double rest = 1.0 - fProbabilities[observed];
  if (rest < kSmallRest) rest = SumOfOthers(fProbabilities, observed);
  // Of a probability close to 1 the weight of many records would show the rounding.
  if (rest < kSmallRest) {
    fTotals.fLogLikelihood.Add({weight * LogOfRest(rest), 0.0});
  } else {
    AddToLL(weight, fPredictors[observed] - largest, sum);
  }
  if ((llOnly && !isAhead) || fNParameters < 1) return 0;
  fTotals.fbAnyInformation = true;
  AddScores(indices, values, category, rest, weight);
  if (nDecided > 0) {
    AddPartlyDecided(indices, values, category, weight);
  } else {
    ComputeBlockWeights(weight);
    AddInformation(fHessian, fBlockWeights, indices, values);
  }
  return 0;
}

void QvAccumStatsLogistic::AddToLL(double weight, double shifted, double sum) {
  if (weight != fTotals.fPendingWeight || fTotals.fPendingProduct > kEnoughPending) {
    fTotals.fLogLikelihood.Add(
        {-fTotals.fPendingWeight * QvElementary::Log(fTotals.fPendingProduct), 0.0});
    fTotals.fPendingWeight = weight;
    fTotals.fPendingProduct = 1.0;
  }
  fTotals.fPendingProduct *= sum;
  fTotals.fLogLikelihood.Add({weight * shifted, 0.0});
}

QvCommon::QvDoubleDouble QvAccumStatsLogistic::WholeLL() const {
  QvCommon::QvDoubleDouble sum = fTotals.fLogLikelihood;
  sum.Add({-fTotals.fPendingWeight * QvElementary::Log(fTotals.fPendingProduct), 0.0});
  return sum;
}

double QvAccumStatsLogistic::GetLL() const { return WholeLL().Value(); }

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
  const auto p = static_cast<std::size_t>(fNParameters);
  double* scores = fScores.data();
  for (int c = 0; c + 1 < fNCategories; ++c) {
    const double factor =
        (c == category ? residual : -fProbabilities[static_cast<std::size_t>(c)]) * weight;
    if (fbDense) {
      for (std::size_t a = 0; a < p; ++a) scores[a] += factor * values[a];
    } else {
      for (std::size_t a = 0; a < indices.size(); ++a) {
        scores[static_cast<std::size_t>(indices[a])] += factor * values[a];
      }
    }
    scores += p;
  }
}

void QvAccumStatsLogistic::ComputeBlockWeights(double weight) {
  std::size_t block = 0;
  for (std::size_t r = 0; r + 1 < fProbabilities.size(); ++r) {
    const double pr = fProbabilities[r];
    for (std::size_t s = 0; s < r; ++s) fBlockWeights[block++] = -weight * pr * fProbabilities[s];
    fBlockWeights[block++] = -weight * (pr - 1.0) * pr;
  }
}

int QvAccumStatsLogistic::FindDecided(int category) {
  int nDecided = 0;
  for (std::size_t c = 0; c < fProbabilities.size(); ++c) {
    fIsDecided[c] = fProbabilities[c] < fDecidedBelow[c] ? 1 : 0;
    nDecided += fIsDecided[c];
  }
  // The observed one never is: a row that is not predicted is undecided.
  const auto observed = static_cast<std::size_t>(category);
  nDecided -= fIsDecided[observed];
  fIsDecided[observed] = 0;
  return nDecided;
}

void QvAccumStatsLogistic::AddPartlyDecided(const std::vector<int>& indices,
                                            const std::vector<double>& values, int category,
                                            double weight) {
  RequireDecidedHessian();
  fTotals.fbAnyDecided = true;
  ComputePartedWeights(weight);
  AddDecidedScores(indices, values, category, weight);
  AddInformation(fDecidedHessian, fDecidedWeights, indices, values);
  const bool isWhole = std::all_of(fBlockWeights.begin(), fBlockWeights.end(),
                                   [](double blockWeight) { return blockWeight == 0.0; });
  if (!isWhole) AddInformation(fHessian, fBlockWeights, indices, values);
}

void QvAccumStatsLogistic::RequireDecidedHessian() {
  if (!fDecidedHessian.GetBlocks().empty()) return;
  if (!fDecidedHessian.SetNRows(fNCategories - 1, fNParameters)) throw std::bad_alloc();
}

void QvAccumStatsLogistic::ComputePartedWeights(double weight) {
  std::size_t block = 0;
  for (std::size_t r = 0; r + 1 < fProbabilities.size(); ++r) {
    const double weighted = weight * fProbabilities[r];
    double undecided = 0.0;
    double decided = 0.0;
    for (std::size_t s = 0; s < fProbabilities.size(); ++s) {
      if (s == r) continue;
      const bool isDecided = fIsDecided[r] != 0 || fIsDecided[s] != 0;
      const double pair = weighted * fProbabilities[s];
      (isDecided ? decided : undecided) += pair;
      if (s > r) continue;
      fBlockWeights[block] = isDecided ? 0.0 : -pair;
      fDecidedWeights[block] = isDecided ? -pair : 0.0;
      ++block;
    }
    fBlockWeights[block] = undecided;
    fDecidedWeights[block] = decided;
    ++block;
  }
}

void QvAccumStatsLogistic::AddDecidedScores(const std::vector<int>& indices,
                                            const std::vector<double>& values, int category,
                                            double weight) {
  const auto observed = static_cast<std::size_t>(category);
  const std::size_t reference = fProbabilities.size() - 1;
  const QvSparseVector row(indices, values);
  double sum = 0.0;
  for (std::size_t c = 0; c < fProbabilities.size(); ++c) {
    if (fIsDecided[c] == 0) continue;
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
    return;
  }
  // As in the linear model: a row that fills half of its columns is added densely.
  if (2 * indices.size() <= fDenseRow.size()) {
    QvSymMatrix::UpdateEachXXSparse(target.GetBlocks(), blockWeights, indices, values);
    return;
  }
  for (std::size_t a = 0; a < indices.size(); ++a) {
    fDenseRow[static_cast<std::size_t>(indices[a])] = values[a];
  }
  AddDenseInformation(target, blockWeights, fDenseRow);
  for (const int index : indices) fDenseRow[static_cast<std::size_t>(index)] = 0.0;
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
  Copy(fHessian, out);
  if (fAhead == Ahead::kKept) out.SetToZero();
}

void QvAccumStatsLogistic::GetDecidedInformation(QvSymMatrix& out) const {
  // One that was not needed stands for zeros.
  Copy(fTotals.fbAnyDecided ? fDecidedHessian : fHessian, out);
  if (!fTotals.fbAnyDecided) out.SetToZero();
}

bool QvAccumStatsLogistic::Merge(const IQvPassSums& other) {
  const auto* added = dynamic_cast<const QvAccumStatsLogistic*>(&other);
  const bool isAlike = added != nullptr && added->fNParameters == fNParameters &&
                       added->fNCategories == fNCategories;
  if (!isAlike) return false;
  ForgetAhead();
  if (added->fTotals.fbAnyDecided) RequireDecidedHessian();
  fTotals.fLogLikelihood = WholeLL();
  fTotals.fPendingWeight = 0.0;
  fTotals.fPendingProduct = 1.0;
  fTotals.fLogLikelihood.Add(added->WholeLL());
  if (added->fTotals.fbAnyInformation) {
    AddTo(fScores, added->fScores);
    AddTo(fHessian, added->fHessian);
  }
  if (added->fTotals.fbAnyDecided) {
    AddTo(fDecidedScores, added->fDecidedScores);
    AddTo(fDecidedHessian, added->fDecidedHessian);
  }
  fTotals.fbAnyInformation = fTotals.fbAnyInformation || added->fTotals.fbAnyInformation;
  fTotals.fbAnyDecided = fTotals.fbAnyDecided || added->fTotals.fbAnyDecided;
  fTotals.fValidRows += added->fTotals.fValidRows;
  fTotals.fInvalidCalls += added->fTotals.fInvalidCalls;
  fTotals.fWeight += added->fTotals.fWeight;
  AddTo(fCategoryWeights, added->fCategoryWeights);
  fTotals.fMinObserved = std::min(fTotals.fMinObserved, added->fTotals.fMinObserved);
  fTotals.fMaxObserved = std::max(fTotals.fMaxObserved, added->fTotals.fMaxObserved);
  fTotals.fMinComputed = std::min(fTotals.fMinComputed, added->fTotals.fMinComputed);
  return true;
}

void QvAccumStatsLogistic::Write(QvCommon::QvByteWriter& writer) const {
  const QvCommon::QvDoubleDouble sum = WholeLL();
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
    for (const QvSymMatrix& block : fHessian.GetBlocks()) block.Write(writer);
  }
  writer.PutBool(fTotals.fbAnyDecided);
  if (fTotals.fbAnyDecided) {
    writer.PutDoubles(fDecidedScores);
    for (const QvSymMatrix& block : fDecidedHessian.GetBlocks()) block.Write(writer);
  }
}

void QvAccumStatsLogistic::Read(QvCommon::QvByteReader& reader) {
  const bool isAhead = fAhead == Ahead::kAdding;
  ForgetAhead();
  Reset(fMethod, fbSeparationCheck);
  if (isAhead) BeginAhead();
  for (double* value :
       {&fTotals.fLogLikelihood.fHigh, &fTotals.fLogLikelihood.fLow, &fTotals.fWeight,
        &fTotals.fMinObserved, &fTotals.fMaxObserved, &fTotals.fMinComputed}) {
    *value = reader.GetDouble();
  }
  fTotals.fValidRows = reader.GetInt();
  fTotals.fInvalidCalls = reader.GetInt();
  reader.GetDoublesInto(fCategoryWeights);
  fTotals.fbAnyInformation = reader.GetBool();
  if (fTotals.fbAnyInformation) {
    reader.GetDoublesInto(fScores);
    for (QvSymMatrix& block : fHessian.GetBlocks()) block.Read(reader);
  }
  fTotals.fbAnyDecided = reader.GetBool();
  if (fTotals.fbAnyDecided && fTotals.fbAnyInformation) {
    RequireDecidedHessian();
    reader.GetDoublesInto(fDecidedScores);
    for (QvSymMatrix& block : fDecidedHessian.GetBlocks()) block.Read(reader);
  }
  if ((fTotals.fbAnyDecided && !fTotals.fbAnyInformation) || fTotals.fValidRows < 0 ||
      fTotals.fInvalidCalls < 0)
    reader.Fail();
}

std::size_t QvAccumStatsLogistic::GetSize() const {
  const std::size_t p = fDenseRow.size();
  // A second matrix for decided pairs may follow.
  const std::size_t blocks = 2 * fHessian.GetBlocks().size() + 1;
  return (blocks * (p * (p + 1) / 2) + 2 * fScores.size()) * sizeof(double);
}

void QvAccumStatsLogistic::WriteStart(QvCommon::QvByteWriter& writer) const {
  writer.PutInt(fMethod);
  writer.PutBool(fbSeparationCheck || fAhead == Ahead::kAdding);
  writer.PutBool(fbHasShares);
  writer.PutDoubles(fDecidedBelow);
}

void QvAccumStatsLogistic::ReadStart(QvCommon::QvByteReader& reader) {
  const int method = reader.GetIntWithin(QvConst::QvMethodNewtonRaphson, QvConst::QvMethodHybrid);
  const bool separationCheck = reader.GetBool();
  fbHasShares = reader.GetBool();
  reader.GetDoublesInto(fDecidedBelow);
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
  minObserved = fTotals.fMinObserved;
  maxObserved = fTotals.fMaxObserved;
  minComputed = fTotals.fMinComputed;
}

void QvAccumStatsLogistic::Display(bool llOnly) const {
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
    std::vector<QvSymMatrix>& blocks = whole.GetBlocks();
    const std::vector<QvSymMatrix>& decided = fDecidedHessian.GetBlocks();
    for (std::size_t block = 0; block < decided.size(); ++block) {
      blocks[block].AddMatrix(decided[block], 1.0);
    }
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
