#pragma once

#include "host/fit/FitOptions.h"
#include "host/fit/RunFit.h"
#include "host/fit/SavedModel.h"
#include "tests/host/fit/Fitting.h"

namespace qvhost {

/// Runs a fit as --save does.
[[nodiscard]] inline SavedModel FitToSave(const FitOptions& options) {
  ProgressBar none(nullptr);
  Interrupt interrupt;
  OutputFiles outputs;
  return RunFitToSave(options, none, interrupt, outputs);
}

}  // namespace qvhost
