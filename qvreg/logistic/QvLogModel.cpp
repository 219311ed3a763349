#include "qvreg/logistic/QvLogModel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <new>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvElementary.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/design/QvModelDesign.h"
#include "qvreg/design/QvPivotSweep.h"

using QvCommon::QvElementary;
using QvCommon::QvStatus;
using QvCommon::QvSymMatrix;

namespace {

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

/// A product of two doubles times its square is in their range.
constexpr double kFarUnit = 0x1p-550;

double WeightAt(const double* row, int position) { return position < 0 ? 1.0 : row[position]; }

}  // namespace

QvLogModel::QvLogModel(const QvLogRegSettings& settings, QvCancelInfo& cancel)
    : fSettings(settings), fCancel(cancel) {}

void QvLogModel::SetDesign(const QvFactorTables& tables,
                           const std::vector<QvRegrParameter>& effects) {
  fpFactorTables = &tables;
  fEffects = effects;
}

void QvLogModel::SetLayouts(const QvRowLayout& record, const QvRowLayout& row) {
  fRecordLayout = record;
  fRowLayout = row;
}

void QvLogModel::SetDependentCategories(QvStatus& status, const QvFactorCounts::Counts* counts) {
  fStatus = status = fCategories.Choose(counts, fSettings.GetDependentRefCateg());
}

void QvLogModel::CreateParameters() {
  fFirstParameters.clear();
  fNParameters.clear();
  fBasicParameters = CreateEffectParameters(*fpFactorTables, fEffects);
  int first = 0;
  for (int e = 0; e < fpFactorTables->GetNModelEffects(); ++e) {
    const int count = fpFactorTables->GetNEffectParameters(e);
    if (e > 0 || !fSettings.GetInterceptUse()) {
      fFirstParameters.push_back(first);
      fNParameters.push_back(count);
    }
    first += count;
  }
  fAllParameters.clear();
  for (int j = 0; j < NBlocks(); ++j) {
    for (QvRegrParameter parameter : fBasicParameters) {
      parameter.SetTargetCategory(fCategories.CodeOf(j));
      fAllParameters.push_back(std::move(parameter));
    }
  }
}

void QvLogModel::SetUpDesign(QvStatus& status) {
  const long long nBasic = fpFactorTables->CountParameters();
  const long long nAll = NBlocks() * nBasic;
  if (nAll > kMaxParameters) {
    fStatus = status = QvTooManyParameters(nAll, kMaxParameters);
    return;
  }
  fNBasic = static_cast<int>(nBasic);
  CreateParameters();
  fDesignRow.Setup(*fpFactorTables, fEffects, fSettings.GetCovariates(), fRowLayout.fCovariates);
  fRecordRow.Setup(*fpFactorTables, fEffects, fSettings.GetCovariates(), fRecordLayout.fCovariates);
  // Stored rows have no factors.
  if (!fDesignRow.HasAllColumns() && !fSettings.GetUsePatternTabulator()) {
    fPatternProducts.SetUp(fDesignRow, *fpFactorTables, Index(fNBasic), false);
  }
  fExponents = fpFactorTables->GetColumnSizes().GetParameterExponents(fAllParameters);
  fEstimates.assign(fAllParameters.size(), 0.0);
  fHostEstimates = fEstimates;
  fProbabilities.assign(Index(fCategories.GetCount()), 0.0);
  fDenseRow.assign(Index(fNBasic), 0.0);
  fpClassification = MakeClassification();
  fbInitialized = true;
}

void QvLogModel::Initialize(QvStatus& status) {
  SetUpDesign(status);
  if (!fbInitialized) return;
  fpProducts = MakeProducts();
  if (fpProducts->IsValid()) return;
  fbInitialized = false;
  fpProducts.reset();
  fStatus = status =
      QvTooManyParameters(static_cast<long long>(NBlocks()) * fNBasic, kMaxParameters);
}

void QvLogModel::SwapProducts(QvCrossProducts& products) {
  // That of a worker has none of its own.
  if (fpProducts == nullptr) fpProducts = std::make_unique<QvCrossProducts>(0);
  std::swap(*fpProducts, products);
}

double QvLogModel::RowWeight(const double* row) const {
  return WeightAt(row, fRowLayout.fFrequencyWeight) * WeightAt(row, fRowLayout.fRegressionWeight);
}

bool QvLogModel::AddRecordsToXPrimeX(std::span<const double* const> records) {
  if (!fbInitialized || fbFinished || fpProducts == nullptr || fCancel.IsFlagSet()) return false;
  std::size_t n = 0;
  if (fPatternProducts.IsOpen()) {
    std::array<double, QvCommon::QvKernels::kRows> weights{};
    std::transform(records.begin(), records.end(), weights.begin(),
                   [this](const double* record) { return RowWeight(record); });
    constexpr std::array<double, QvCommon::QvKernels::kRows> kNoDependents{};
    n = fPatternProducts.Add(records, weights.data(), kNoDependents.data(), *fpProducts);
    if (!fPatternProducts.AreAllComplete()) return false;
  }
  const auto rest = records.subspan(n);
  return std::all_of(rest.begin(), rest.end(),
                     [this](const double* record) { return AddRecordToXPrimeX(record); });
}

void QvLogModel::SettleProducts() {
  if (fpProducts != nullptr) fPatternProducts.MoveTo(*fpProducts);
}

bool QvLogModel::AddRecordToXPrimeX(const double* row) {
  if (row == nullptr || fpFactorTables == nullptr) return false;
  if (fDesignRow.HasAllColumns()) return AddRowToXPrimeX(row, {});
  bool ok = true;
  const std::vector<int>& indices = fpFactorTables->GetRowParameterIndices(row, ok);
  return ok && AddRowToXPrimeX(row, indices);
}

bool QvLogModel::AddRowToXPrimeX(const double* row, const std::vector<int>& parameterIndices) {
  if (!fbInitialized || fbFinished || row == nullptr || fpProducts == nullptr) return false;
  if (fCancel.IsFlagSet()) return false;
  const double weight = RowWeight(row);
  if (fDesignRow.HasAllColumns()) {
    fpProducts->AddDense(weight, 0.0, [&](double* dense) { fDesignRow.ExpandAll(row, dense); });
    return true;
  }
  fDesignRow.ExpandIndices(row, parameterIndices);
  fpProducts->Add(fDesignRow, weight);
  return true;
}

void QvLogModel::FindNonFiniteColumns() {
  if (!fNonFinite.Resize(fNBasic, false)) throw std::bad_alloc();
  fNonFinite.Clear();
  QvSymMatrix& matrix = fpProducts->GetMatrix();
  for (int k = 0; k < fNBasic; ++k) {
    if (fpProducts->AreWeightsFinite() && std::isfinite(matrix.GetElem(k, k))) continue;
    fNonFinite.Set(k, true);
    // Such a pivot is never swept, and what is not swept changes its own row and column only.
    matrix.SetElem(k, k, std::numeric_limits<double>::quiet_NaN());
  }
}

QvStatus QvLogModel::SweepXPrimeX() {
  if (GetRecordsAdded() == 0) return {QvStatusCode::kNoParameters, false};
  if (fbFinished) return {QvStatusCode::kAlreadyBuilt, false};
  if (fpProducts == nullptr) return {QvStatusCode::kStageMissing, false};
  FindNonFiniteColumns();
  QvPivotSweep sweep(fpProducts->GetMatrix(), 1.0, fpProducts->GetRounding());
  const QvStatus status =
      sweep.Run(fNBasic, fNBasic, fSettings.GetTolerance(), fBasicRedundancy, fCancel);
  fRedundantColumns = sweep.TakeRedundant();
  return status.IsError() ? status : fStatus;
}

void QvLogModel::SetRedundancy() {
  fNBasicNonRedundant = 0;
  fNAllNonRedundant = 0;
  if (!fAllRedundancy.Resize(NBlocks() * fNBasic, false)) throw std::bad_alloc();
  fAllRedundancy.Clear();
  fLocalIndices.assign(Index(fNBasic), -1);
  for (int k = 0; k < fNBasic; ++k) {
    if (!fBasicRedundancy.IsIn(k)) continue;
    fLocalIndices[Index(k)] = fNBasicNonRedundant++;
    for (int j = 0; j < NBlocks(); ++j) fAllRedundancy.Set(j * fNBasic + k, true);
    fNAllNonRedundant += NBlocks();
  }
}

QvStatus QvLogModel::FindRedundancy() {
  if (fStatus.IsError()) return fStatus;
  fStatus = SweepXPrimeX();
  SetRedundancy();
  return fStatus;
}

void QvLogModel::GetStartingValues(QvStatus& status, std::vector<double>& values) {
  if (!fbInitialized || fbFinished) {
    const long code = fbFinished ? QvStatusCode::kAlreadyBuilt : QvStatusCode::kStageMissing;
    fStatus = status = QvStatus(code, false);
    return;
  }
  if (fCancel.IsFlagSet()) return;
  values.assign(Index(fNAllNonRedundant), 0.0);
  // The likelihood weighs a record by both weights, so its maximum over the intercepts does too.
  const std::vector<double>& all = fpFactorTables->GetDependRegrWeights();
  std::vector<double> weights;
  for (const int code : fCategories.GetCodes()) weights.push_back(all[Index(code)]);
  // Both may be positive and their product too small for a double.
  if (std::any_of(weights.begin(), weights.end(), [](double weight) { return weight <= 0.0; })) {
    fStatus = status = QvStatus(QvStatusCode::kStageMissing, false);
    return;
  }
  if (fNBasicNonRedundant < 1 || !fSettings.GetInterceptUse()) return;
  for (int j = 0; j < NBlocks(); ++j) {
    values[Index(j * fNBasicNonRedundant)] = QvElementary::Log(weights[Index(j)] / weights.back());
  }
}

bool QvLogModel::IsScaled() const {
  return std::any_of(fExponents.begin(), fExponents.end(), [](int e) { return e != 0; });
}

std::vector<int> QvLogModel::GetKeptExponents() const {
  std::vector<int> kept;
  if (!IsScaled()) return kept;
  for (int i = 0; i < GetNumAllParameters(); ++i) {
    if (fAllRedundancy.IsIn(i)) kept.push_back(fExponents[Index(i)]);
  }
  return kept;
}

std::vector<double> QvLogModel::CompressEstimates(const std::vector<double>& all) const {
  std::vector<double> kept;
  kept.reserve(Index(fNAllNonRedundant));
  for (int i = 0; i < GetNumAllParameters(); ++i) {
    if (fAllRedundancy.IsIn(i)) kept.push_back(std::ldexp(all[Index(i)], fExponents[Index(i)]));
  }
  return kept;
}

void QvLogModel::SetHostEstimates() {
  for (std::size_t i = 0; i < fEstimates.size(); ++i) {
    fHostEstimates[i] = std::ldexp(fEstimates[i], -fExponents[i]);
  }
}

QvStatus QvLogModel::SetEstimates(const std::vector<double>& estimates,
                                  const QvSymMatrix& inverseHessian) {
  if (fCancel.IsFlagSet()) return fStatus = QvStatus(QvStatusCode::kCancelled, false);
  auto covariance = std::make_unique<QvSymMatrix>();
  if (!inverseHessian.Expand(fAllRedundancy, *covariance)) {
    return fStatus = QvStatus(QvStatusCode::kTooManyParameters, false);
  }
  std::unique_ptr<QvSymMatrix> scaled;
  if (IsScaled()) {
    scaled = std::make_unique<QvSymMatrix>(*covariance);
    if (!scaled->IsValidMatrix()) {
      return fStatus = QvStatus(QvStatusCode::kTooManyParameters, false);
    }
    std::vector<int> back = fExponents;
    for (int& exponent : back) exponent = -exponent;
    covariance->MultiplyByPowersOf2(back);
  }
  std::size_t next = 0;
  for (int i = 0; i < GetNumAllParameters(); ++i) {
    if (fAllRedundancy.IsIn(i)) fEstimates[Index(i)] = estimates[next++];
  }
  SetHostEstimates();
  fpHessianGI = std::move(covariance);
  fpScaledHessianGI = std::move(scaled);
  return {};
}

bool QvLogModel::GetSparseRowFromIndices(const double* row,
                                         const std::vector<int>& parameterIndices, int& count,
                                         std::vector<int>& indices,
                                         std::vector<double>& values) const {
  fDesignRow.ExpandNumbered(row, parameterIndices, fLocalIndices, indices, values);
  count = static_cast<int>(indices.size());
  return true;
}

bool QvLogModel::GetSparseRow(const double* row, int& count, std::vector<int>& indices,
                              std::vector<double>& values) const {
  bool ok = true;
  const std::vector<int>& parameterIndices = fpFactorTables->GetRowParameterIndices(row, ok);
  if (ok) return GetSparseRowFromIndices(row, parameterIndices, count, indices, values);
  count = 0;
  indices.clear();
  values.clear();
  return false;
}

bool QvLogModel::ExpandRow(const double* record, std::vector<int>& indices,
                           std::vector<double>& values) const {
  if (ExpandKnown(record, indices, values)) return true;
  std::fill(values.begin(), values.end(), 0.0);
  return false;
}

bool QvLogModel::ExpandKnown(const double* record, std::vector<int>& indices,
                             std::vector<double>& values) const {
  bool ok = true;
  indices = fpFactorTables->GetRowParameterIndices(record, ok);
  values.assign(indices.size(), 0.0);
  for (std::size_t e = 0; e < indices.size(); ++e) {
    if (indices[e] >= 0) values[e] = fRecordRow.HostValue(e, record);
  }
  return ok;
}

bool QvLogModel::ExpandRow(std::vector<double>& values, const double* record) const {
  std::fill(values.begin(), values.end(), 0.0);
  if (!fRecordRow.ExpandInHostUnits(record)) return false;
  fRecordRow.Scatter(values);
  return true;
}

bool QvLogModel::GetEffectParameterRange(int effect, int& first, int& count) const {
  const int entry = effect - (fSettings.GetInterceptUse() ? 1 : 0);
  if (effect < 0 || entry >= static_cast<int>(fFirstParameters.size())) return false;
  first = entry < 0 ? 0 : fFirstParameters[Index(entry)];
  count = entry < 0 ? 1 : fNParameters[Index(entry)];
  return true;
}

double QvLogModel::PredictorOf(const QvDesignRow& row, int category, double unit) const {
  double sum = 0.0;
  for (std::size_t a = 0; a < Index(row.GetCount()); ++a) {
    const double estimate = fEstimates[Index(category * fNBasic + row.GetIndices()[a])];
    // A column without an estimate may hold anything.
    if (estimate != 0.0) sum += (estimate * unit) * (row.GetValues()[a] * unit);
  }
  return sum;
}

bool QvLogModel::FindPredictors(const QvDesignRow& row, std::vector<double>& predictors) const {
  const auto areFinite = [&] {
    return std::all_of(predictors.begin(), predictors.end(),
                       [](double predictor) { return std::isfinite(predictor); });
  };
  predictors[Index(NBlocks())] = 0.0;
  for (int j = 0; j < NBlocks(); ++j) {
    predictors[Index(j)] = row.InnerProduct(fEstimates, j * fNBasic);
  }
  for (const double unit : {1.0, kFarUnit}) {
    if (areFinite()) return true;
    for (int j = 0; j < NBlocks(); ++j) predictors[Index(j)] = PredictorOf(row, j, unit);
  }
  if (!areFinite()) return false;
  const double largest = *std::max_element(predictors.begin(), predictors.end());
  for (double& predictor : predictors) {
    predictor = predictor == largest ? 0.0 : -std::numeric_limits<double>::infinity();
  }
  return true;
}

bool QvLogModel::FindDensePredictors(const double* record) {
  fRecordRow.ExpandAll(record, fDenseRow.data());
  bool areFinite = true;
  for (int j = 0; j < NBlocks(); ++j) {
    const double* estimates = fEstimates.data() + Index(j * fNBasic);
    // As QvDesignRow::InnerProduct: zeros change no sum.
    double sum = 0.0;
    for (std::size_t k = 0; k < fDenseRow.size(); ++k) sum += estimates[k] * fDenseRow[k];
    fProbabilities[Index(j)] = sum;
    areFinite = areFinite && std::isfinite(sum);
  }
  fProbabilities[Index(NBlocks())] = 0.0;
  return areFinite;
}

int QvLogModel::Predict(const QvDesignRow& row, std::vector<double>& probabilities,
                        bool needsProbabilities) const {
  if (!FindPredictors(row, probabilities)) return -1;
  double largest = 0.0;
  const int predicted = Choose(probabilities, largest);
  if (!needsProbabilities) return predicted;
  double sum = 0.0;
  for (double& probability : probabilities) {
    probability = QvElementary::Exp(probability - largest);
    sum += probability;
  }
  for (double& probability : probabilities) probability /= sum;
  return predicted;
}

int QvLogModel::Choose(const std::vector<double>& predictors, double& largest) const {
  const int reference = NBlocks();
  largest = predictors[Index(reference)];
  int predicted = reference;
  for (int j = 0; j < reference; ++j) {
    const double predictor = predictors[Index(j)];
    if (predictor > largest + QvPower::gMachineEpsilon) {
      largest = predictor;
      predicted = j;
    } else if (predictor > largest - QvPower::gMachineEpsilon &&
               fCategories.IsPreferred(j, predicted)) {
      predicted = j;  // A tie goes to the category that is preferred among all that tie.
    }
  }
  return predicted;
}

void QvLogModel::ComputeCategoryProbabilities(QvStatus& /*status*/, const double* record,
                                              std::vector<double>& probabilities,
                                              int& predicted) const {
  probabilities.resize(Index(fCategories.GetCount()));
  const int local = fRecordRow.Expand(record) ? Predict(fRecordRow, probabilities, true) : -1;
  predicted = local < 0 ? -1 : fCategories.CodeOf(local);
  if (local < 0) std::fill(probabilities.begin(), probabilities.end(), QvMV::gMissingValue);
}

void QvLogModel::Classify(const QvDesignRow& row, int observed, double weight,
                          std::vector<double>& residuals) {
  if (observed < 0) return;
  const bool hasResiduals = residuals.size() >= fAllParameters.size();
  const int predicted = Predict(row, fProbabilities, hasResiduals);
  if (predicted < 0) return;
  if (hasResiduals) {
    std::fill(residuals.begin(), residuals.end(), 0.0);
    for (int j = 0; j < NBlocks(); ++j) {
      const double residual = (j == observed ? 1.0 : 0.0) - fProbabilities[Index(j)];
      for (std::size_t a = 0; a < Index(row.GetCount()); ++a) {
        residuals[Index(j * fNBasic + row.GetIndices()[a])] =
            residual * row.GetValues()[a] * weight;
      }
    }
  }
  fpClassification->Add(observed, predicted, weight);
}

void QvLogModel::UpdateClassification(std::vector<double>& residuals, const double* record) {
  if (fCancel.IsFlagSet()) return;
  const int code = QvFactorCounts::CategoryIndex(record[fRecordLayout.fDependent], 0);
  const int observed = fCategories.LocalIndexOf(code);
  const double weight = WeightAt(record, fRecordLayout.fFrequencyWeight);
  const bool isDense = residuals.empty() && fRecordRow.HasAllColumns();
  if (isDense && observed >= 0 && FindDensePredictors(record)) {
    double largest = 0.0;
    fpClassification->Add(observed, Choose(fProbabilities, largest), weight);
  } else if (fRecordRow.Expand(record)) {
    Classify(fRecordRow, observed, weight, residuals);
  }
}

void QvLogModel::UpdateClassificationFromIndices(std::vector<double>& residuals, const double* row,
                                                 const std::vector<int>& parameterIndices) {
  if (fCancel.IsFlagSet()) return;
  fDesignRow.ExpandIndices(row, parameterIndices);
  Classify(fDesignRow, QvFactorCounts::CategoryIndex(row[fRowLayout.fDependent], 0),
           WeightAt(row, fRowLayout.fFrequencyWeight), residuals);
}

QvStatus QvLogModel::FinishClassification() {
  const bool isClosed = fpClassification != nullptr && fpClassification->HasWeight();
  if (!isClosed) return fStatus = QvStatus(QvStatusCode::kNothingToFit, false);
  if (!fStatus.IsError()) fbFinished = true;
  return fStatus;
}
