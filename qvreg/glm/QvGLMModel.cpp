#include "qvreg/glm/QvGLMModel.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <new>
#include <utility>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/component/QvContentsBytes.h"
#include "qvreg/design/QvModelDesign.h"
#include "qvreg/design/QvPivotSweep.h"

using QvCommon::QvKernels;
using QvCommon::QvStatus;

namespace {

/// An R square below it, twice the rounding of both sums and of their ratio, is 0.
constexpr double kLeastRSquare = 4.0 * QvPower::gMachineEpsilon;

}  // namespace

void QvGLMModel::Initialize(const QvFactorTables& tables) {
  fpFactorTables = &tables;
  fCovariateOffsets = fSettings.GetCovariates();
}

QvStatus QvGLMModel::SetUpDesign(const std::vector<QvRegrParameter>& effectParameters) {
  const long long nAll = fpFactorTables->CountParameters();
  if (nAll > kMaxParameters) return QvTooManyParameters(nAll, kMaxParameters);
  int nParameters = 0;
  for (int e = 0; e < fpFactorTables->GetNModelEffects(); ++e) {
    fFirstParameters.push_back(nParameters);
    fNParameters.push_back(fpFactorTables->GetNEffectParameters(e));
    nParameters += fNParameters.back();
  }
  fParameters = CreateEffectParameters(*fpFactorTables, effectParameters);
  const QvColumnSizes& sizes = fpFactorTables->GetColumnSizes();
  fExponents = sizes.GetParameterExponents(fParameters);
  fDependentExponent = sizes.GetVariableExponent(fSettings.GetDependent());
  fDesignRow.Setup(*fpFactorTables, effectParameters, fCovariateOffsets, fCovariateOffsets);
  if (fDesignRow.HasAllColumns()) {
    fResidualPanel.SetUp(fParameters.size());
  } else {
    fPatternProducts.SetUp(fDesignRow, *fpFactorTables, fParameters.size(), true);
    fPatternResiduals.SetUp(fDesignRow, *fpFactorTables, fParameters.size(),
                            fSettings.GetRefineEstimates());
  }
  return {};
}

QvStatus QvGLMModel::CreateParameters(const std::vector<QvRegrParameter>& effectParameters) {
  const QvStatus status = SetUpDesign(effectParameters);
  if (status.IsError()) return status;
  std::unique_ptr<QvCrossProducts> products = MakeProducts();
  if (!products->IsValid()) return {QvStatusCode::kTooManyParameters, false};
  fpProducts = std::move(products);
  return {};
}

std::unique_ptr<QvCrossProducts> QvGLMModel::MakeProducts() const {
  return std::make_unique<QvCrossProducts>(GetNParameters() + 1);
}

void QvGLMModel::SetScale(double scale) {
  fScale = scale;
  const bool isUsable = scale > 0.0 && std::isfinite(scale);
  fWeightUnit = isUsable ? QvCommon::QvWeightUnit(scale) : QvCommon::QvWeightUnit();
  fUnweighted = fWeightUnit.Of(1.0);
  fUnitOverScale = isUsable ? 1.0 / fWeightUnit.Of(scale) : 0.0;
}

double QvGLMModel::RecordWeight(const double* values) const {
  const int frequency = fSettings.GetFrequencyWeightVar();
  const int regression = fSettings.GetRegrWeightVar();
  if (frequency < 0 && regression < 0) return fUnweighted;
  return fWeightUnit.Of(frequency >= 0 ? values[frequency] : 1.0,
                        regression >= 0 ? values[regression] : 1.0);
}

double QvGLMModel::Dependent(const double* values) const {
  const double y = values[fSettings.GetDependent()];
  return fDependentExponent == 0 ? y : std::ldexp(y, -fDependentExponent);
}

void QvGLMModel::SwapProducts(QvCrossProducts& products) {
  // That of a worker has none of its own.
  if (!HasMatrix()) fpProducts = std::make_unique<QvCrossProducts>(0);
  std::swap(*fpProducts, products);
}

bool QvGLMModel::AddRecord(const double* values) {
  if (!HasMatrix() || fbSwept || values == nullptr) return false;
  const double y = Dependent(values);
  if (fDesignRow.HasAllColumns()) {
    fpProducts->AddDense(RecordWeight(values), y, [&](double* row) {
      fDesignRow.ExpandAll(values, row);
      row[fParameters.size()] = y;
    });
    return true;
  }
  fDesignRow.Expand(values);
  fDesignRow.Append(GetNParameters(), y);
  fpProducts->Add(fDesignRow, RecordWeight(values), y);
  return true;
}

void QvGLMModel::TakeNumbers(std::span<const double* const> records) {
  for (std::size_t r = 0; r < records.size(); ++r) {
    fRecordWeights[r] = RecordWeight(records[r]);
    fRecordDependents[r] = Dependent(records[r]);
  }
}

bool QvGLMModel::AddRecords(std::span<const double* const> records) {
  if (!HasMatrix() || fbSwept) return false;
  std::size_t n = 0;
  if (fPatternProducts.IsOpen()) {
    TakeNumbers(records);
    n = fPatternProducts.Add(records, fRecordWeights.data(), fRecordDependents.data(), *fpProducts);
  }
  const auto rest = records.subspan(n);
  return std::all_of(rest.begin(), rest.end(),
                     [this](const double* values) { return AddRecord(values); });
}

void QvGLMModel::SettleProducts() {
  if (!fDesignRow.HasAllColumns()) fPatternProducts.MoveTo(*fpProducts);
}

void QvGLMModel::FindNonFiniteColumns() {
  const int p = GetNParameters();
  fNonFinite.Resize(p, false);
  fNonFinite.Clear();
  for (int k = 0; k < p; ++k) {
    const bool isFinite =
        fbWeightsFinite && std::isfinite(fpProducts->GetMatrix().GetElem(k, k)) &&
        (!fbDependentFinite || std::isfinite(fpProducts->GetMatrix().GetElem(p, k)));
    if (isFinite) continue;
    fNonFinite.Set(k, true);
    fbHasNonFinite = true;
    // Such a pivot is never swept, and what is not swept changes its own row and column only.
    fpProducts->GetMatrix().SetElem(k, k, std::numeric_limits<double>::quiet_NaN());
  }
}

bool QvGLMModel::TakeEstimates() {
  if (!fpProducts->GetMatrix().GetRegCoeffs(fEstimates, fRedundancy)) return false;
  const bool areFinite = std::all_of(fEstimates.begin(), fEstimates.end(),
                                     [](double estimate) { return std::isfinite(estimate); });
  fbDependentFinite = fbDependentFinite && areFinite;
  if (!fbDependentFinite) std::fill(fEstimates.begin(), fEstimates.end(), 0.0);
  return true;
}

void QvGLMModel::SetHostEstimates() {
  fHostEstimates = fEstimates;
  for (std::size_t k = 0; k < fEstimates.size(); ++k) {
    fHostEstimates[k] = std::ldexp(fEstimates[k], fDependentExponent - fExponents[k]);
  }
}

QvStatus QvGLMModel::Sweep(QvCancelInfo& cancel) {
  if (GetRecordsAdded() == 0) return {QvStatusCode::kNoParameters, false};
  if (fbSwept) return {QvStatusCode::kAlreadyBuilt, false};
  fbWeightsFinite = fpProducts->AreWeightsFinite();
  fbDependentFinite = fpProducts->IsDependentFinite();
  fbRowsUsual = fpProducts->AreRowsUsual();
  FindNonFiniteColumns();
  // Units become shares of the scale once rather than record by record: whole weights then count
  // without rounding error.
  QvPivotSweep sweep(fpProducts->GetMatrix(), fUnitOverScale, fpProducts->GetRounding());
  const QvStatus status = sweep.Run(GetNParameters(), GetNParameters() + 1,
                                    fSettings.GetTolerance(), fRedundancy, cancel);
  if (status.IsError()) return status;
  fRedundantColumns = sweep.TakeRedundant();
  if (!TakeEstimates()) return {QvStatusCode::kTooManyParameters, false};
  SetHostEstimates();
  fpProducts->GetMatrix().ZeroOutRedundant(fRedundancy);
  if (fSettings.GetRefineEstimates()) {
    // Divided after the refinement, whose corrections the quotient may be too small for.
    fRefinement.emplace(GetNParameters(), fSettings.GetMaxRefinements());
  } else {
    DivideByScale();
  }
  StartSums();
  fbSwept = true;
  return {};
}

QvGLMFitSums QvGLMModel::EmptyFitSums() const {
  if (!fSettings.GetInterceptUse()) return {};
  return QvGLMFitSums(std::ldexp(fDependentMean, -fDependentExponent));
}

void QvGLMModel::StartSums() {
  fSums.fFit = EmptyFitSums();
  fSums.fWeightedRecords = 0;
  fbEstimatesUsual = QvKernels::AreUsual(fEstimates.size(), fEstimates.data());
}

std::unique_ptr<QvGLMResiduals> QvGLMModel::MakeResiduals() const {
  auto residuals = std::make_unique<QvGLMResiduals>();
  residuals->fFit = EmptyFitSums();
  if (fRefinement) residuals->fGradient.resize(fEstimates.size());
  return residuals;
}

void QvGLMModel::SwapResiduals(QvGLMResiduals& residuals) {
  SettleResiduals();
  std::swap(fSums.fFit, residuals.fFit);
  std::swap(fSums.fWeightedRecords, residuals.fWeightedRecords);
  if (fRefinement) fRefinement->SwapGradient(residuals.fGradient);
}

QvLinearEstimates QvGLMModel::GetEstimateContents() const {
  QvLinearEstimates contents;
  contents.fEstimates = fEstimates;
  contents.fbRowsUsual = fbRowsUsual;
  if (fbHasNonFinite) contents.fNonFinite = FlagsOf(fNonFinite);
  return contents;
}

bool QvGLMModel::TakeEstimateContents(const QvLinearEstimates& contents) {
  const bool areAlike =
      contents.fEstimates.size() == fParameters.size() &&
      (contents.fNonFinite.empty() || contents.fNonFinite.size() == fParameters.size());
  if (!areAlike) return false;
  fEstimates = contents.fEstimates;
  fbRowsUsual = contents.fbRowsUsual;
  fbHasNonFinite = !contents.fNonFinite.empty();
  fNonFinite =
      fbHasNonFinite ? BitsOf(contents.fNonFinite) : BitsOf(std::vector<bool>(fParameters.size()));
  fRefinement.reset();
  if (fSettings.GetRefineEstimates()) fRefinement.emplace(GetNParameters(), 1);
  fbEstimatesUsual = QvKernels::AreUsual(fEstimates.size(), fEstimates.data());
  return true;
}

void QvGLMModel::WriteEstimates(QvCommon::QvByteWriter& writer) const {
  ::WriteEstimates(GetEstimateContents(), writer);
}

void QvGLMModel::ReadEstimates(QvCommon::QvByteReader& reader) {
  QvLinearEstimates contents;
  ::ReadEstimates(reader, contents);
  if (!TakeEstimateContents(contents)) reader.Fail();
}

QvLinearContents QvGLMModel::GetContents() const {
  QvLinearContents contents;
  contents.fEstimates = GetEstimateContents();
  fpProducts->FillContents(contents);
  contents.fKept = FlagsOf(fRedundancy);
  contents.fRedundant = fRedundantColumns.GetContents();
  if (fScaledCovariance) contents.fScaledCovariance = fScaledCovariance->GetTriangle();
  contents.fbDependentFinite = fbDependentFinite;
  contents.fWeightedRecords = fSums.fWeightedRecords;
  contents.fResidualSum = fResidualSum;
  contents.fTotalSum = fTotalSum;
  contents.fMultipleRSquare = fMultipleRSquare;
  contents.fRootMeanSquareError = fRootMeanSquareError;
  contents.fScaledError = fScaledError;
  contents.fScaledTotal = fScaledTotal;
  return contents;
}

bool QvGLMModel::TakeContents(QvLinearContents& contents) {
  const int p = GetNParameters();
  auto products = std::make_unique<QvCrossProducts>(0);
  const bool areTaken = TakeEstimateContents(contents.fEstimates) &&
                        contents.fKept.size() == fParameters.size() + 1 &&
                        products->TakeContents(p + 1, contents) &&
                        fRedundantColumns.TakeContents(contents.fRedundant, p);
  if (!areTaken) return false;
  fpProducts = std::move(products);
  fRedundancy = BitsOf(contents.fKept);
  fScaledCovariance.reset();
  if (contents.fScaledCovariance) {
    if (!fScaledCovariance.emplace().TakeTriangle(p, std::move(*contents.fScaledCovariance))) {
      return false;
    }
  }
  fbDependentFinite = contents.fbDependentFinite;
  fSums.fWeightedRecords = contents.fWeightedRecords;
  fResidualSum = contents.fResidualSum;
  fTotalSum = contents.fTotalSum;
  fMultipleRSquare = contents.fMultipleRSquare;
  fRootMeanSquareError = contents.fRootMeanSquareError;
  fScaledError = contents.fScaledError;
  fScaledTotal = contents.fScaledTotal;
  fRefinement.reset();
  SetHostEstimates();
  fbSwept = true;
  return true;
}

void QvGLMModel::DivideByScale() {
  // One over the scale may leave the range of a double: first what the scale lacks of a power of
  // two, then that in two factors.
  const int half = fWeightUnit.GetExponent() / 2;
  fpProducts->GetMatrix().MultiplyByNumber(fUnitOverScale);
  if (IsScaled()) {
    MakeScaledCovariance();
    return;
  }
  fpProducts->GetMatrix().MultiplyByNumber(std::ldexp(1.0, -half));
  fpProducts->GetMatrix().MultiplyByNumber(std::ldexp(1.0, half - fWeightUnit.GetExponent()));
}

bool QvGLMModel::IsScaled() const {
  return std::any_of(fExponents.begin(), fExponents.end(), [](int e) { return e != 0; });
}

void QvGLMModel::MakeScaledCovariance() {
  // Either may be in range where the other is not: each is made of what they have in common.
  const int half = fWeightUnit.GetExponent() / 2;
  fpProducts->GetMatrix().MultiplyByNumber(std::ldexp(1.0, 2 * half - fWeightUnit.GetExponent()));
  QvCommon::QvSymMatrix scaled(GetNParameters());
  if (!scaled.IsValidMatrix()) throw std::bad_alloc();
  fpProducts->GetMatrix().ExtractFirstNRows(scaled);
  std::vector<int> powers(fExponents.size() + 1, -half);
  scaled.MultiplyByPowersOf2(powers);
  for (std::size_t k = 0; k < fExponents.size(); ++k) powers[k] -= fExponents[k];
  fpProducts->GetMatrix().MultiplyByPowersOf2(powers);
  fScaledCovariance = std::move(scaled);
}

bool QvGLMModel::AddToPanel(const double* values, double w, double y) {
  if (!fDesignRow.HasAllColumns() || !fbRowsUsual || fbHasNonFinite) return false;
  double* row = fResidualPanel.Append(y, w, fEstimates);
  if (row == nullptr) return false;
  fDesignRow.ExpandAll(values, row);
  if (fResidualPanel.IsFull()) SettleResiduals();
  return true;
}

void QvGLMModel::SettleResiduals() {
  fResidualPanel.AddTo(fEstimates, fSums.fFit, GetGradient());
  if (!fDesignRow.HasAllColumns()) fPatternResiduals.MoveTo(fSums.fFit, GetGradient());
}

void QvGLMModel::ResidualStep(const double* values) {
  const double w = RecordWeight(values);
  const double y = Dependent(values);
  if (w * fUnitOverScale != 0.0) ++fSums.fWeightedRecords;
  if (AddToPanel(values, w, y)) return;
  fDesignRow.Expand(values);
  if (fbHasNonFinite) fDesignRow.Remove(fNonFinite);
  fSums.fFit.Add(w, y, AddResidual(w, y));
}

void QvGLMModel::ResidualSteps(std::span<const double* const> records) {
  std::size_t n = 0;
  if (fPatternResiduals.IsOpen() && fbRowsUsual && fbEstimatesUsual && !fbHasNonFinite) {
    TakeNumbers(records);
    n = fPatternResiduals.Add(records, fRecordWeights.data(), fRecordDependents.data(), fEstimates,
                              fSums.fFit, GetGradient());
    const auto used = std::span(fRecordWeights).first(n);
    fSums.fWeightedRecords += std::count_if(used.begin(), used.end(),
                                            [this](double w) { return w * fUnitOverScale != 0.0; });
  }
  for (const double* values : records.subspan(n)) ResidualStep(values);
}

double QvGLMModel::AddResidual(double w, double y) {
  // As the panel does.
  if (!fRefinement) return y + QvGLMRefinement::ResidualOf(fDesignRow, 0.0, fEstimates).Value();
  const QvCommon::QvDoubleDouble residual = QvGLMRefinement::ResidualOf(fDesignRow, y, fEstimates);
  fRefinement->AddRecord(fDesignRow, residual, w);
  return residual.Value();
}

bool QvGLMModel::Refine() {
  SettleResiduals();
  if (!fRefinement || !fbDependentFinite) return false;
  if (!fRefinement->Step(fpProducts->GetMatrix(), fUnitOverScale, fSums.fFit.GetResidualSum(),
                         fEstimates))
    return false;
  StartSums();
  return true;
}

void QvGLMModel::ComputeFitStatistics() {
  if (!std::isfinite(fResidualSum) || !std::isfinite(fTotalSum)) {
    fbDependentFinite = fbDependentFinite && !fbWeightsFinite;
    fRootMeanSquareError = fScaledError = fScaledTotal = QvMV::gMissingValue;
    fMultipleRSquare = QvMV::gMissingValue;
    return;
  }
  if (fScale > 0.0) {
    fScaledError = std::sqrt(fResidualSum);
    fScaledTotal = std::sqrt(fTotalSum);
    const double error = std::ldexp(fScaledError, fDependentExponent);
    fRootMeanSquareError = std::isfinite(error) ? error : QvMV::gMissingValue;
  }
  if (fTotalSum > 0.0) {
    const double rSquare = 1.0 - fResidualSum / fTotalSum;
    fMultipleRSquare = rSquare > kLeastRSquare ? rSquare : 0.0;
  }
}

double QvGLMModel::SquareInHostUnits(double sum) const {
  return std::ldexp(sum, 2 * fDependentExponent);
}

QvStatus QvGLMModel::Fit() {
  SettleResiduals();
  const bool isRefined = fRefinement && fbDependentFinite;
  const double sum = isRefined ? fRefinement->GetResidualSum() : fSums.fFit.GetResidualSum();
  if (fRefinement) DivideByScale();
  fRefinement.reset();
  SetHostEstimates();
  fResidualSum = std::max(sum, 0.0) * fUnitOverScale;
  fTotalSum = fSums.fFit.GetTotalSum() * fUnitOverScale;
  ComputeFitStatistics();
  if (fSums.fWeightedRecords == 0 || fScale <= 0.0) return {QvStatusCode::kNothingToFit, false};
  return {};
}

bool QvGLMModel::ExpandRow(const double* values, double dependent, std::vector<double>& row) {
  const bool ok = fDesignRow.ExpandInHostUnits(values);
  row.assign(static_cast<std::size_t>(GetNParameters()) + 1, 0.0);
  fDesignRow.Scatter(row);
  row.back() = dependent;
  return ok;
}

bool QvGLMModel::ExpandScaledRow(const double* values, std::vector<int>& indices,
                                 std::vector<double>& numbers) {
  const bool ok = fDesignRow.Expand(values);
  const int count = fDesignRow.GetCount();
  indices.assign(fDesignRow.GetIndices().begin(), fDesignRow.GetIndices().begin() + count);
  numbers.assign(fDesignRow.GetValues().begin(), fDesignRow.GetValues().begin() + count);
  return ok;
}

double QvGLMModel::GetPredictedValue(const double* values) {
  if (!fDesignRow.Expand(values)) return QvMV::gMissingValue;
  double sum = 0.0;
  for (int a = 0; a < fDesignRow.GetCount(); ++a) {
    const auto place = static_cast<std::size_t>(a);
    const double estimate = fEstimates[static_cast<std::size_t>(fDesignRow.GetIndices()[place])];
    // A column without an estimate may hold anything.
    if (estimate != 0.0) sum += estimate * fDesignRow.GetValues()[place];
  }
  return std::ldexp(sum, fDependentExponent);
}

void QvGLMModel::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvGLMModel display start");
  fSettings.Display();
  if (fpFactorTables != nullptr) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "Factor Tables pointer is non-zero");
  }
  QvComponentDisplay::DisplayIV("Covariate offsets:", fCovariateOffsets);
  QvComponentDisplay::DisplayIV("First parameter indices", fFirstParameters);
  QvComponentDisplay::DisplayIV("Numbers of parameters", fNParameters);
  for (const QvRegrParameter& parameter : fParameters) parameter.Display();
  if (HasMatrix()) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "ZPrimeZMatrix:");
    fpProducts->GetMatrix().Display();
  }
  QvComponentDisplay::DisplayB("Swept", fbSwept);
  QvComponentDisplay::DisplayCount("Records added to matrix", GetRecordsAdded());
  fRedundancy.Display();
  QvComponentDisplay::DisplayDV("Parameter estimates", fHostEstimates, true);
  // Zero between records.
  const std::vector<double> row(HasMatrix() ? fParameters.size() + 1 : 0);
  QvComponentDisplay::DisplayDV("Design row", row, true);
  QvComponentDisplay::DisplayD("Residual sum", GetResidualSum());
  QvComponentDisplay::DisplayD("Total sum", GetTotalSum());
  QvComponentDisplay::DisplayD("Dependent mean", fDependentMean);
  QvComponentDisplay::DisplayD("Scale", fScale);
  QvComponentDisplay::DisplayCount("Weighted record count", fSums.fWeightedRecords);
  QvComponentDisplay::DisplayD("MultipleRSquare", fMultipleRSquare);
  QvComponentDisplay::DisplayD("RootMeanSquareError", fRootMeanSquareError);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvGLMModel display end");
}
