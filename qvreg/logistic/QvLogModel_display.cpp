#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/logistic/QvLogModel.h"

void QvLogModel::DisplayCategories() const {
  QvComponentDisplay::DisplayI("Total number of model effects", static_cast<int>(fEffects.size()));
  QvComponentDisplay::DisplayIV("Covariate pattern offsets:", fRowLayout.fCovariates);
  QvComponentDisplay::DisplayIV("Covariate offsets:", fRecordLayout.fCovariates);
  QvComponentDisplay::DisplayIV("Dependent categories in subpopulation, reference last",
                                fCategories.GetCodes());
  QvComponentDisplay::DisplayIV(
      "Local indices of the dependent categories in subpopulation in consecutive numeration",
      fCategories.GetLocalIndices());
  if (fCategories.GetCount() > 0) {
    QvComponentDisplay::DisplayI("Reference category for dependent variable in subpopulation",
                                 fCategories.GetCodes().back());
  }
  QvComponentDisplay::DisplayDV(
      "Weighted counts of dependent categories in subpopulation, reference last",
      fCategories.GetWeightedCounts(), true);
  QvComponentDisplay::DisplayDV(
      "Unweighted counts of dependent categories in subpopulation, reference last",
      fCategories.GetUnweightedCounts(), true);
}

void QvLogModel::DisplayParameters() const {
  if (fpFactorTables != nullptr) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "Factor Tables pointer is non-zero");
  }
  QvComponentDisplay::DisplayIV("Vector of first parameter indices", fFirstParameters);
  QvComponentDisplay::DisplayIV("Vector of numbers of parameters for each effect", fNParameters);
  QvComponentDisplay::DisplayI("Number of basic regression parameters", fNBasic);
  for (const QvRegrParameter& parameter : fBasicParameters) parameter.Display();
  QvComponentDisplay::DisplayI("Number of all regression parameters", GetNumAllParameters());
  for (const QvRegrParameter& parameter : fAllParameters) parameter.Display();
  QvComponentDisplay::DisplayI("Number of basic non-redundand parameters", fNBasicNonRedundant);
  QvComponentDisplay::DisplayI("Number of all non-redundand parameters", fNAllNonRedundant);
  QvComponentDisplay::DisplayIV("Vector of basic non-redundant parameter local indices",
                                fLocalIndices);
}

void QvLogModel::DisplayResults() const {
  if (fpProducts != nullptr) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "XPrimeXMatrix:");
    fpProducts->GetMatrix().Display();
  } else {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "XPrimeXMatrix pointer is 0");
  }
  QvComponentDisplay::DisplayCount("Records added to matrix", GetRecordsAdded());
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "Redundancy indicators for basic parameters");
  fBasicRedundancy.Display();
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                  "Redundancy indicators for all parameters");
  fAllRedundancy.Display();
  QvComponentDisplay::DisplayDV("Parameter estimates", fHostEstimates, true);
  if (fpHessianGI != nullptr) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "Pointer to the generalized inverse of Hessian (uncompressed)");
    fpHessianGI->Display();
  } else {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "fpHessianGI is 0");
  }
  if (fpClassification != nullptr) {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "Misclassification matrix");
    fpClassification->GetTable().Display();
  } else {
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "fpClassificationTable is 0");
  }
}

void QvLogModel::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvLogModel display start");
  DisplayCategories();
  DisplayParameters();
  DisplayResults();
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvLogModel display end");
}
