#pragma once

#include "host/fit/FitOptions.h"
#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/SavedModel.h"

namespace qvhost {

/// Fits a model: reads the formula, binds it to the table, codes the table into a temporary file
/// (gone when this returns, however it returns), runs the library over it,
/// and writes the predictions if asked to, to the file of `outputs` that the options name; the
/// caller commits it.
///
/// `outputs` receives the files that are read, and refuses to replace them: before anything is
/// computed, and when all has been read.
///
/// Progress goes to `progress`, which is erased at the end; `interrupt` stops the run. All are
/// borrowed. Runs on the calling thread.
///
/// Throws Error: kBadInput for a formula, a column or data that cannot be used, kRunFailed when the
/// model cannot be fitted, Cancelled when interrupted.
[[nodiscard]] FitResult RunFit(const FitOptions& options, ProgressBar& progress,
                               Interrupt& interrupt, OutputFiles& outputs);

/// The same, with all that the model needs to outlive the run.
[[nodiscard]] SavedModel RunFitToSave(const FitOptions& options, ProgressBar& progress,
                                      Interrupt& interrupt, OutputFiles& outputs);

}  // namespace qvhost
