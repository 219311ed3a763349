#pragma once

#include <limits>

#include "qvreg/common/Constants.h"
#include "qvreg/common/QvBytes.h"
#include "qvreg/logistic/QvIterationReporter.h"

/// What the iterations of a logistic estimation came to. A value.
struct QvOptimizationSummary {
  void Write(QvCommon::QvByteWriter& writer) const {
    for (const int number : {static_cast<int>(fOutcome), fIterations, fStepHalvings}) {
      writer.PutInt(number);
    }
    for (const double number : {fInitialLL, fFinalLL, fLLChange, fParameterChange, fCoxSnellRSquare,
                                fNagelkerkeRSquare, fMcFaddenRSquare}) {
      writer.PutDouble(number);
    }
  }
  /// The `reader` fails for an outcome that does not exist.
  void Read(QvCommon::QvByteReader& reader) {
    fOutcome =
        static_cast<QvOptimizationOutcome>(reader.GetIntWithin(kOptContinue, kOptNoIterations));
    for (int* number : {&fIterations, &fStepHalvings}) {
      *number = reader.GetIntWithin(0, std::numeric_limits<int>::max());
    }
    for (double* number : {&fInitialLL, &fFinalLL, &fLLChange, &fParameterChange, &fCoxSnellRSquare,
                           &fNagelkerkeRSquare, &fMcFaddenRSquare}) {
      *number = reader.GetDouble();
    }
  }

  QvOptimizationOutcome fOutcome = kOptNoIterations;
  int fIterations = 0;    ///< That were done.
  int fStepHalvings = 0;  ///< Of all iterations together.
  /// The log-likelihood that the pseudo R squares compare with: at the default starting values.
  double fInitialLL = QvMV::gMissingValue;
  double fFinalLL = QvMV::gMissingValue;  ///< At the estimates.
  /// The last changes, relative or absolute as the settings say.
  double fLLChange = 0.0;
  double fParameterChange = 0.0;
  /// The missing value for one that does not exist.
  double fCoxSnellRSquare = QvMV::gMissingValue;
  double fNagelkerkeRSquare = QvMV::gMissingValue;
  double fMcFaddenRSquare = QvMV::gMissingValue;
};
