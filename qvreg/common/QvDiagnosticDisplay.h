#pragma once

#include "qvreg/QvExport.h"

/// Diagnostic output to standard output, for a developer's eyes.
namespace QvComponentDisplay {

/// Switches the diagnostic output of every logistic estimation in this process on or off; off
/// unless switched on. While it is on, the iterations print their estimates, log-likelihoods and
/// matrices to standard output. `display`: whether it is on. Any thread; a running estimation
/// follows at its next step.
QVREG_EXPORT void SetDiagnosticDisplay(bool display);

}  // namespace QvComponentDisplay
