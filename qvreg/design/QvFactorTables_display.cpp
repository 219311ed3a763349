// What the factor tables print of themselves.

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/design/QvFactorTables.h"

using QvCommon::QvHashKey;
using QvCommon::QvHashPair;

void QvFactorTables::DisplayEffects() const {
  QvComponentDisplay::DisplayI("Total number of model effects", fNModelEffects);
  QvComponentDisplay::DisplayI("Number of model effects containing factors", fNEffects);
  QvComponentDisplay::DisplayIV("Concatenated list of factors for fNEffects effects",
                                fConcatenatedFactors);
  QvComponentDisplay::DisplayIV("Number of factors in effects ( fNEffects )", fFactorsPerEffect);
  QvComponentDisplay::DisplayIV("Cumulative number of factors up to effect ( fNEffects+1 )",
                                fCumulativeFactors);
  for (const QvHashKey& key : fEffectKeys) key.Display();
  for (const auto& table : fEffectTables) table->Display();
  for (const auto& pairs : fEffectPairs) {
    for (const QvHashPair<int>* pair : *pairs) pair->GetKey().Display();
  }
  QvComponentDisplay::DisplayIV("Vector of local factor indices ( max factor index + 1 )",
                                fLocalFactorIndices);
  QvComponentDisplay::DisplayIV("Factor values ( fNFactors )", fFactorValues);
  QvComponentDisplay::DisplayIV("Vector of parameter indices ( fNModelEffects )",
                                fParameterIndices);
  QvComponentDisplay::DisplayIV("Vector of local parameter indices ( fNEffects )",
                                fLocalParameterIndices);
  QvComponentDisplay::DisplayIV("Vector of local effect indices ( fNModelEffects )",
                                fLocalEffectIndices);
  QvComponentDisplay::DisplayIV("Vector of original model effect indices ( fNEffects )",
                                fModelEffectIndices);
  QvComponentDisplay::DisplayIV("Vector of number of parameters for each effect ( fNEffects )",
                                fParametersPerEffect);
  QvComponentDisplay::DisplayIV("Vector of parameter offsets for each effect ( fNModelEffects )",
                                fParameterOffsets);
  QvComponentDisplay::DisplayIV("Vector of factor indices in the extracted record", fFactorOffsets);
}

void QvFactorTables::DisplayTotals() const {
  QvComponentDisplay::DisplayIV("Vector of covariate indices in the input record", fCovariateVars);
  QvComponentDisplay::DisplayI("Index of the regression weight variable", fRegrWeightVar);
  QvComponentDisplay::DisplayI("Index of the frequency weight variable", WeightVar());
  QvComponentDisplay::DisplayI("Number of covariate indices in the input record", GetNCovariates());
  QvComponentDisplay::DisplayDV("Vector of covariate weighted mean", fCovariateMeans, true);
  QvComponentDisplay::DisplayB("True if covariate means computed", fbMeansComputed);
  QvComponentDisplay::DisplayD("Total frequency weighted count", fTotalFreqWeight);
  QvComponentDisplay::DisplayD("Total regression weighted count", fTotalRegrWeight);
  QvComponentDisplay::DisplayD("Sample size for all valid records", fSampleSize);
}

void QvFactorTables::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvFactorTables display start");
  DisplayFields();
  DisplayEffects();
  DisplayTotals();
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvFactorTables display end");
}
