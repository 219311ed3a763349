#include "host/fit/LogisticFitBuilder.h"

#include <cmath>
#include <cstddef>

#include "host/fit/LibraryNumber.h"
#include "host/inference/ChiSquare.h"

namespace qvhost {

LogisticFit LogisticFitBuilder::Build() const {
  LogisticFit fit;
  fit.inMemory = settings_.GetUsePatternTabulator();
  AddLevels(fit);
  AddEnding(fit);
  AddQuality(fit);
  AddClassification(fit);
  return fit;
}

const std::string& LogisticFitBuilder::LevelText(int category) const {
  return dependent_.levels.at(static_cast<std::size_t>(category));
}

const std::string& LogisticFitBuilder::CategoryOf(int parameter) const {
  const std::vector<int>& categories = output_.GetDependCategories();
  const std::size_t blocks = categories.size() - 1;
  const std::size_t blockSize = output_.GetParamEstimates().size() / blocks;
  return LevelText(categories.at(static_cast<std::size_t>(parameter) / blockSize));
}

void LogisticFitBuilder::AddLevels(LogisticFit& fit) const {
  const std::vector<int>& categories = output_.GetDependCategories();
  const std::vector<double>& weights = output_.GetDependCategoryWeights();
  for (std::size_t i = 0; i < categories.size(); ++i) {
    fit.levels.push_back({LevelText(categories[i]), weights[i]});
  }
}

void LogisticFitBuilder::AddEnding(LogisticFit& fit) const {
  const QvOptimizationOutcome outcome = ending_.outcome;
  fit.iterations = ending_.iterations;
  fit.stepHalvings = ending_.stepHalvings;
  fit.outcomeCode = outcome;
  fit.outcome = OutcomeName(outcome);
  const bool settled =
      outcome == kOptLLConverged || outcome == kOptParamConverged || outcome == kOptBothConverged;
  const bool nothingToIterate = outcome == kOptNoIterations && settings_.GetMaxIterations() > 0;
  fit.converged = settled || nothingToIterate;
  fit.ending = EndingText(outcome, fit.iterations);
  fit.logLikelihoodChange = LibraryNumber(output_.GetLLChange());
  fit.parameterChange = LibraryNumber(output_.GetParameterChange());
}

void LogisticFitBuilder::AddQuality(LogisticFit& fit) const {
  fit.initialLogLikelihood = LibraryNumber(output_.GetInitialLL());
  fit.logLikelihood = LibraryNumber(output_.GetFinalLL());
  fit.coxSnell = LibraryNumber(output_.GetModelFitStat(QvConst::QvFitCoxSnellRSquare));
  fit.nagelkerke = LibraryNumber(output_.GetModelFitStat(QvConst::QvFitNagelkerkeRSquare));
  fit.mcFadden = LibraryNumber(output_.GetModelFitStat(QvConst::QvFitMcFaddenRSquare));
  if (!fit.logLikelihood || !fit.initialLogLikelihood) return;

  const int kept = output_.GetRedundancyIndicators().Count();
  const int intercepts = settings_.GetInterceptUse() ? static_cast<int>(fit.levels.size()) - 1 : 0;
  const double deviance = -2.0 * *fit.logLikelihood;
  fit.chiSquare = Finite(-2.0 * *fit.initialLogLikelihood - deviance);
  fit.chiSquareDegrees = kept - intercepts;
  fit.chiSquareP = UpperChiSquare(fit.chiSquare, fit.chiSquareDegrees);
  fit.aic = Finite(deviance + 2.0 * kept);
  fit.bic = Finite(deviance + kept * std::log(output_.GetTotalFreqWeight()));
}

void LogisticFitBuilder::AddClassification(LogisticFit& fit) const {
  const QvCommon::QvRectMatrix* table = output_.GetClassificationTable();
  if (table == nullptr) return;
  for (int row = 0; row < table->GetNRows(); ++row) {
    std::vector<double>& counts = fit.classification.emplace_back();
    for (int column = 0; column < table->GetNColumns(); ++column) {
      counts.push_back(table->GetElem(row, column));
    }
  }
}

}  // namespace qvhost
