#include "qvreg/logistic/QvLogOutputStats.h"

#include <algorithm>
#include <cstddef>
#include <new>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/component/QvRegAlgorithm.h"
#include "qvreg/logistic/QvLogAlgorithm.h"

QvLogOutputStats::QvLogOutputStats(const QvLogRegSettings& settings, QvLogAlgorithm& algorithm)
    : fpAlgorithm(&algorithm),
      fTotalFreqWeight(algorithm.GetFactorTables().GetTotalWeight()),
      fTotalRegrWeight(algorithm.GetFactorTables().GetTotalRegrWeight()),
      fNDegFreedom(settings.GetDF() > 0.0
                       ? settings.GetDF()
                       : fTotalRegrWeight - algorithm.GetModel().GetNumAllParameters()),
      fCoxSnellRSquare(QvMV::gMissingValue),
      fNagelkerkeRSquare(QvMV::gMissingValue),
      fMcFaddenRSquare(QvMV::gMissingValue) {
  if (const auto& optimization = algorithm.GetOptimization()) {
    fCoxSnellRSquare = optimization->fCoxSnellRSquare;
    fNagelkerkeRSquare = optimization->fNagelkerkeRSquare;
    fMcFaddenRSquare = optimization->fMcFaddenRSquare;
  }
  FillParamStats();
}

void QvLogOutputStats::FillParamStats() {
  const QvLogModel& model = fpAlgorithm->GetModel();
  const int nParameters = model.GetNumAllParameters();
  fParamStats.resize(static_cast<std::size_t>(nParameters));
  const bool isRoom =
      fRedundancy.Resize(nParameters, false) && fNonFinite.Resize(nParameters, false);
  if (!isRoom) throw std::bad_alloc();
  if (model.GetAllRedundancy().Size() != nParameters) return;
  for (int i = 0; i < nParameters; ++i) {
    const auto k = static_cast<std::size_t>(i);
    const bool isKept = model.GetAllRedundancy().IsIn(i);
    fParamStats[k].fParameterIndex = i;
    fParamStats[k].fEstimate = model.GetParameterEstimates()[k];
    fParamStats[k].fbRedundant = !isKept;
    fParamStats[k].fEffectIndex = model.GetAllParameters()[k].GetEffectIndex();
    fRedundancy.Set(i, isKept);
    fNonFinite.Set(i, model.GetNonFinite().IsIn(i % model.GetNumBasicParameters()));
  }
}

const QvFactorCounts& QvLogOutputStats::GetFactorCounts() const {
  return fpAlgorithm->GetFactorTables();
}

const std::vector<double>& QvLogOutputStats::GetMeanValues() const {
  return fpAlgorithm->GetMeanValues();
}

const std::vector<double>& QvLogOutputStats::GetParamEstimates() const {
  return fpAlgorithm->GetModel().GetParameterEstimates();
}

const std::vector<QvRegrParameter>& QvLogOutputStats::GetParameters() const {
  return fpAlgorithm->GetModel().GetAllParameters();
}

double QvLogOutputStats::GetModelFitStat(QvConst::QvModelFitStat stat) const {
  switch (stat) {
    case QvConst::QvFitCoxSnellRSquare:
      return fCoxSnellRSquare;
    case QvConst::QvFitNagelkerkeRSquare:
      return fNagelkerkeRSquare;
    case QvConst::QvFitMcFaddenRSquare:
      return fMcFaddenRSquare;
    default:
      return QvMV::gMissingValue;
  }
}

const QvCommon::QvSymMatrixData* QvLogOutputStats::GetCovarianceMatrix() const {
  return fpAlgorithm->GetModel().GetHessianGI();
}

const QvRegRecordValidator& QvLogOutputStats::GetRecordValidator() const {
  return fpAlgorithm->GetRecordValidator();
}

bool QvLogOutputStats::ExpandRow(const QvCommon::Record& record, std::vector<double>& row) const {
  try {
    return fpAlgorithm->ExpandRow(record, row);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool QvLogOutputStats::ExpandRow(const QvCommon::Record& record, std::vector<int>& indices,
                                 std::vector<double>& values) const {
  try {
    return fpAlgorithm->ExpandRow(record, indices, values);
  } catch (const std::bad_alloc&) {
    return false;
  }
}

bool QvLogOutputStats::GetRedundantCombination(int parameter,
                                               std::vector<double>& combination) const {
  const QvLogModel& model = fpAlgorithm->GetModel();
  const int nBasic = model.GetNumBasicParameters();
  if (parameter < 0 || parameter >= model.GetNumAllParameters()) return false;
  try {
    std::vector<double> basic;
    if (!model.GetRedundantColumns().Get(parameter % nBasic, nBasic, basic)) return false;
    combination.assign(static_cast<std::size_t>(model.GetNumAllParameters()), 0.0);
    std::copy(basic.begin(), basic.end(), combination.begin() + (parameter - parameter % nBasic));
    return true;
  } catch (const std::bad_alloc&) {
    return false;
  }
}

void QvLogOutputStats::Cancel() { fpAlgorithm->Cancel(); }

const std::vector<int>& QvLogOutputStats::GetDependCategories() const {
  return fpAlgorithm->GetModel().GetDependCategories();
}

const std::vector<double>& QvLogOutputStats::GetDependCategoryWeights() const {
  return fpAlgorithm->GetModel().GetCategories().GetWeightedCounts();
}

const QvCommon::QvRectMatrix* QvLogOutputStats::GetClassificationTable() const {
  return fpAlgorithm->GetModel().GetClassificationTable();
}

int QvLogOutputStats::GetIterations() const { return fpAlgorithm->GetOptimization()->fIterations; }

int QvLogOutputStats::GetStepHalvings() const {
  return fpAlgorithm->GetOptimization()->fStepHalvings;
}

QvOptimizationOutcome QvLogOutputStats::GetOutcome() const {
  return fpAlgorithm->GetOptimization()->fOutcome;
}

double QvLogOutputStats::GetInitialLL() const { return fpAlgorithm->GetOptimization()->fInitialLL; }

double QvLogOutputStats::GetFinalLL() const { return fpAlgorithm->GetOptimization()->fFinalLL; }

double QvLogOutputStats::GetLLChange() const { return fpAlgorithm->GetOptimization()->fLLChange; }

double QvLogOutputStats::GetParameterChange() const {
  return fpAlgorithm->GetOptimization()->fParameterChange;
}

const QvCommon::QvBitSet& QvLogOutputStats::GetNonFiniteParameters() const { return fNonFinite; }

const QvRecordCounts& QvLogOutputStats::GetRecordCounts() const {
  return fpAlgorithm->GetRecordCounts();
}

const std::vector<int>& QvLogOutputStats::GetParameterExponents() const {
  return fpAlgorithm->GetModel().GetExponents();
}

const std::vector<double>& QvLogOutputStats::GetScaledEstimates() const {
  return fpAlgorithm->GetModel().GetScaledEstimates();
}

const QvCommon::QvSymMatrixData* QvLogOutputStats::GetScaledCovarianceMatrix() const {
  return fpAlgorithm->GetModel().GetScaledHessianGI();
}

void QvLogOutputStats::Display() const {
  GuardDisplay([this] {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "QvLogOutputStats display start");
    QvComponentDisplay::DisplayDV("fMeanValues", GetMeanValues(), true);
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fFactorCounts:");
    GetFactorCounts().Display();
    QvComponentDisplay::DisplayDV("fParamEstimates", GetParamEstimates(), true);
    QvComponentDisplay::DisplayI("fParameters and fParamStats: total model parameters",
                                 static_cast<int>(fParamStats.size()));
    for (std::size_t k = 0; k < fParamStats.size(); ++k) {
      GetParameters()[k].Display();
      QvComponentDisplay::DisplayD("Parameter estimate", fParamStats[k].fEstimate);
      QvComponentDisplay::DisplayB("Redundant", fParamStats[k].fbRedundant);
    }
    QvComponentDisplay::DisplayD("fTotalFreqWeight", fTotalFreqWeight);
    QvComponentDisplay::DisplayD("fTotalRegrWeight", fTotalRegrWeight);
    QvComponentDisplay::DisplayD("fNDegFreedom", fNDegFreedom);
    if (GetCovarianceMatrix() != nullptr) {
      QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "Covariance matrix:");
      GetCovarianceMatrix()->Display();
    }
    QvComponentDisplay::DisplayD("fCoxSnellRSquare", fCoxSnellRSquare);
    QvComponentDisplay::DisplayD("fNagelkerkeRSquare", fNagelkerkeRSquare);
    QvComponentDisplay::DisplayD("fMcFaddenRSquare", fMcFaddenRSquare);
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "QvLogOutputStats display end");
  });
}
