#include "qvreg/data/QvRecordExtractor.h"

#include "qvreg/common/QvComponentDisplay.h"

QvRecordExtractor::QvRecordExtractor(int dependentVar, const std::vector<int>& factorVars,
                                     const std::vector<int>& covariateVars, int freqWeightVar,
                                     int regrWeightVar) {
  SetRecordIndices(dependentVar, factorVars, covariateVars, freqWeightVar, regrWeightVar);
}

int QvRecordExtractor::Place(int var) {
  fExtract.push_back(var);
  return fExtractSize++;
}

void QvRecordExtractor::SetRecordIndices(int dependentVar, const std::vector<int>& factorVars,
                                         const std::vector<int>& covariateVars, int freqWeightVar,
                                         int regrWeightVar) {
  *this = QvRecordExtractor();
  fDependentOffset = Place(dependentVar);
  for (const int var : factorVars) fFactorOffsets.push_back(Place(var));
  for (const int var : covariateVars) fCovariateOffsets.push_back(Place(var));
  if (freqWeightVar >= 0) fFreqWeightOffset = Place(freqWeightVar);
  if (regrWeightVar >= 0) fRegrWeightOffset = Place(regrWeightVar);
}

void QvRecordExtractor::ExtractRecord(double* out, const double* record) const {
  for (const int var : fExtract) *out++ = record[var];
}

void QvRecordExtractor::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvRecordExtractor display start");
  QvComponentDisplay::DisplayI("fExtractSize", fExtractSize);
  QvComponentDisplay::DisplayIV("fExtract", fExtract);
  QvComponentDisplay::DisplayI("fDependentOffset", fDependentOffset);
  QvComponentDisplay::DisplayIV("fFactorOffsets", fFactorOffsets);
  QvComponentDisplay::DisplayIV("fCovariateOffsets", fCovariateOffsets);
  QvComponentDisplay::DisplayI("fFreqWeightOffset", fFreqWeightOffset);
  QvComponentDisplay::DisplayI("fRegrWeightOffset", fRegrWeightOffset);
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "QvRecordExtractor display end");
}
