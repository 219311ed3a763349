#pragma once

#include "qvreg/c/qvreg_c_settings.h"

class ProgressReport;

/// The measures of a report in the C interface's structure, which borrows the estimates from it.
[[nodiscard]] qvreg_progress QvCProgressOf(ProgressReport& report);
