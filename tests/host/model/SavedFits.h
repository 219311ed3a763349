#pragma once

#include "host/fit/RunFit.h"
#include "host/fit/SavedModel.h"
#include "tests/host/fit/Everything.h"
#include "tests/host/fit/Fitting.h"

namespace qvhost {

/// Runs a fit, as Fit does, and keeps its model.
[[nodiscard]] inline SavedModel SavedFit(const FitOptions& options) {
  ProgressBar none(nullptr);
  Interrupt interrupt;
  OutputFiles outputs;
  return RunFitToSave(options, none, interrupt, outputs);
}

}  // namespace qvhost
