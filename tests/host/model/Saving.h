#pragma once

#include "host/fit/FitOptions.h"
#include "host/fit/RunFit.h"
#include "host/fit/SavedModel.h"
#include "tests/host/fit/Fitting.h"

namespace qvhost {

/// Runs a fit as --save does, and writes its predictions where the options say so.
[[nodiscard]] inline SavedModel FitToSave(const FitOptions& options) {
  ProgressBar none(nullptr);
  Interrupt interrupt;
  OutputFiles outputs;
  if (!options.predictions.empty()) outputs.Add("--predictions", options.predictions);
  SavedModel saved = RunFitToSave(options, none, interrupt, outputs);
  outputs.Finish();
  outputs.Commit();
  return saved;
}

}  // namespace qvhost
