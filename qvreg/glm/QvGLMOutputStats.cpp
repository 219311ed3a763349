#include "qvreg/glm/QvGLMOutputStats.h"

#include <cstddef>
#include <new>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/component/QvRegAlgorithm.h"
#include "qvreg/glm/QvGLMAlgorithm.h"

QvGLMOutputStats::QvGLMOutputStats(const QvRegSettings& settings, QvGLMAlgorithm& algorithm)
    : fMeanValues(algorithm.GetMeanValues()),
      fFactorCounts(static_cast<const QvFactorCounts&>(algorithm.GetFactorTables())),
      fParameters(algorithm.GetModel().GetParameters()),
      fParamEstimates(algorithm.GetModel().GetEstimates()),
      fTotalFreqWeight(algorithm.GetFactorTables().GetTotalWeight()),
      fTotalRegrWeight(algorithm.GetFactorTables().GetTotalRegrWeight()),
      fNDegFreedom(settings.GetDF() > 0.0
                       ? settings.GetDF()
                       : fTotalRegrWeight - static_cast<double>(fParameters.size())),
      fRootMeanSquareError(algorithm.GetModel().GetRootMeanSquareError()),
      fMultipleRSquare(algorithm.GetModel().GetMultipleRSquare()),
      fRedundancy(algorithm.GetModel().GetRedundancy()),
      fNonFinite(algorithm.GetModel().GetNonFinite()),
      fbDependentFinite(algorithm.GetModel().IsDependentFinite()),
      fCovariance(algorithm.GetModel().GetNParameters()),
      fExponents(algorithm.GetModel().GetExponents()),
      fDependentExponent(algorithm.GetModel().GetDependentExponent()),
      fScaledEstimates(algorithm.GetModel().GetScaledEstimates()),
      fScaledError(algorithm.GetModel().GetScaledRootMeanSquareError()),
      fRecordValidator(algorithm.GetRecordValidator()),
      fRecordCounts(algorithm.GetRecordCounts()),
      fpAlgorithm(&algorithm) {
  const bool areCopied = fRedundancy.IsValid() && fNonFinite.IsValid();
  if (!fCovariance.IsValidMatrix() || !areCopied) throw std::bad_alloc();
  if (!fRedundancy.Resize(algorithm.GetModel().GetNParameters(), false)) throw std::bad_alloc();
  algorithm.GetModel().GetMatrix().ExtractFirstNRows(fCovariance);
  if (algorithm.GetModel().GetScaledCovariance()) {
    fScaledCovariance = *algorithm.GetModel().GetScaledCovariance();
    if (!fScaledCovariance.IsValidMatrix()) throw std::bad_alloc();
  }
  FillParamStats();
}

void QvGLMOutputStats::FillParamStats() {
  fParamStats.resize(fParameters.size());
  for (std::size_t k = 0; k < fParameters.size(); ++k) {
    QvRegrParameterStats& stats = fParamStats[k];
    stats.fParameterIndex = static_cast<int>(k);
    stats.fEstimate = fParamEstimates[k];
    stats.fbRedundant = !fRedundancy.IsIn(static_cast<int>(k));
    stats.fEffectIndex = fParameters[k].GetEffectIndex();
  }
}

double QvGLMOutputStats::GetModelFitStat(QvConst::QvModelFitStat stat) const {
  switch (stat) {
    case QvConst::QvFitRootMeanSquareError:
      return fRootMeanSquareError;
    case QvConst::QvFitMultipleRSquare:
      return fMultipleRSquare;
    default:
      return QvMV::gMissingValue;
  }
}

const QvCommon::QvBitSet& QvGLMOutputStats::GetNonFiniteParameters() const { return fNonFinite; }

bool QvGLMOutputStats::IsDependentFinite() const { return fbDependentFinite; }

const std::vector<int>& QvGLMOutputStats::GetParameterExponents() const { return fExponents; }

int QvGLMOutputStats::GetDependentExponent() const { return fDependentExponent; }

const std::vector<double>& QvGLMOutputStats::GetScaledEstimates() const { return fScaledEstimates; }

const QvCommon::QvSymMatrixData* QvGLMOutputStats::GetScaledCovarianceMatrix() const {
  return fScaledCovariance.GetOrder() > 0 ? &fScaledCovariance : &fCovariance;
}

double QvGLMOutputStats::GetScaledRootMeanSquareError() const { return fScaledError; }

bool QvGLMOutputStats::ExpandRow(const QvCommon::Record& record, std::vector<double>& row) const {
  try {
    return fpAlgorithm->ExpandRow(record, row);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool QvGLMOutputStats::ExpandScaledRow(const QvCommon::Record& record, std::vector<int>& indices,
                                       std::vector<double>& values) const {
  try {
    return fpAlgorithm->ExpandSparseRow(record, indices, values);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool QvGLMOutputStats::GetRedundantCombination(int parameter,
                                               std::vector<double>& combination) const {
  try {
    return fpAlgorithm->GetModel().GetRedundantColumns().Get(
        parameter, static_cast<int>(fParameters.size()), combination);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

double QvGLMOutputStats::GetScaledRootMeanSquareTotal() const {
  return fpAlgorithm->GetModel().GetScaledRootMeanSquareTotal();
}

void QvGLMOutputStats::Cancel() { fpAlgorithm->Cancel(); }

void QvGLMOutputStats::Display() const {
  GuardDisplay([this] {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "QvGLMOutputStats display start");
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fFactorCounts:");
    fFactorCounts.Display();
    QvComponentDisplay::DisplayDV("fParamEstimates", fParamEstimates, true);
    QvComponentDisplay::DisplayI("fParameters and fParamStats: total model parameters",
                                 static_cast<int>(fParameters.size()));
    for (std::size_t k = 0; k < fParameters.size(); ++k) {
      fParameters[k].Display();
      QvComponentDisplay::DisplayD("Parameter estimate", fParamStats[k].fEstimate);
      QvComponentDisplay::DisplayB("Redundant", fParamStats[k].fbRedundant);
    }
    QvComponentDisplay::DisplayD("fTotalFreqWeight", fTotalFreqWeight);
    QvComponentDisplay::DisplayD("fTotalRegrWeight", fTotalRegrWeight);
    QvComponentDisplay::DisplayD("fNDegFreedom", fNDegFreedom);
    QvComponentDisplay::DisplayD("RMSE", fRootMeanSquareError);
    QvComponentDisplay::DisplayD("Multiple R Square", fMultipleRSquare);
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "Covariance matrix:");
    fCovariance.Display();
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "QvGLMOutputStats display end");
  });
}
