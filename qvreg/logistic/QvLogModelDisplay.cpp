// The diagnostic output of QvLogModel, apart from its arithmetic.

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/logistic/QvLogModel.h"

using namespace QvComponentDisplay;

void QvLogModel::DisplayCategories() const {
  DisplayI("Total number of model effects", static_cast<int>(fEffects.size()));
  DisplayIV("Covariate pattern offsets:", fRowLayout.fCovariates);
  DisplayIV("Covariate offsets:", fRecordLayout.fCovariates);
  DisplayIV("Dependent categories in subpopulation, reference last", fCategories.GetCodes());
  DisplayIV("Local indices of the dependent categories in subpopulation in consecutive numeration",
            fCategories.GetLocalIndices());
  if (fCategories.GetCount() > 0) {
    DisplayI("Reference category for dependent variable in subpopulation",
             fCategories.GetCodes().back());
  }
  DisplayDV("Weighted counts of dependent categories in subpopulation, reference last",
            fCategories.GetWeightedCounts(), true);
  DisplayDV("Unweighted counts of dependent categories in subpopulation, reference last",
            fCategories.GetUnweightedCounts(), true);
}

void QvLogModel::DisplayParameters() const {
  if (fpFactorTables != nullptr) {
    DisplayText(kHeadingLevel, "Factor Tables pointer is non-zero");
  }
  DisplayIV("Vector of first parameter indices", fFirstParameters);
  DisplayIV("Vector of numbers of parameters for each effect", fNParameters);
  DisplayI("Number of basic regression parameters", fNBasic);
  for (const QvRegrParameter& parameter : fBasicParameters) parameter.Display();
  DisplayI("Number of all regression parameters", GetNumAllParameters());
  for (const QvRegrParameter& parameter : fAllParameters) parameter.Display();
  DisplayI("Number of basic non-redundand parameters", fNBasicNonRedundant);
  DisplayI("Number of all non-redundand parameters", fNAllNonRedundant);
  DisplayIV("Vector of basic non-redundant parameter local indices", fLocalIndices);
}

void QvLogModel::DisplayResults() const {
  if (fpXPrimeX != nullptr) {
    DisplayText(kHeadingLevel, "XPrimeXMatrix:");
    fpXPrimeX->Display();
  } else {
    DisplayText(kHeadingLevel, "XPrimeXMatrix pointer is 0");
  }
  DisplayCount("Records added to matrix", fRecordsAdded);
  DisplayText(kHeadingLevel, "Redundancy indicators for basic parameters");
  fBasicRedundancy.Display();
  DisplayText(kHeadingLevel, "Redundancy indicators for all parameters");
  fAllRedundancy.Display();
  DisplayDV("Parameter estimates", fEstimates, true);
  if (fpHessianGI != nullptr) {
    DisplayText(kHeadingLevel, "Pointer to the generalized inverse of Hessian (uncompressed)");
    fpHessianGI->Display();
  } else {
    DisplayText(kHeadingLevel, "fpHessianGI is 0");
  }
  if (fpClassificationTable != nullptr) {
    DisplayText(kHeadingLevel, "Misclassification matrix");
    fpClassificationTable->Display();
  } else {
    DisplayText(kHeadingLevel, "fpClassificationTable is 0");
  }
}

void QvLogModel::Display() const {
  DisplayText(kHeadingLevel, "QvLogModel display start");
  DisplayCategories();
  DisplayParameters();
  DisplayResults();
  DisplayText(kHeadingLevel, "QvLogModel display end");
}
