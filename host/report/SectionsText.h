#pragma once

#include <string>

#include "host/report/ReportDocument.h"
#include "host/report/TextStyle.h"

namespace qvhost {

/// How much of a fit plain text of this style prints.
[[nodiscard]] ReportDetail DetailOf(const TextStyle& style);

/// Sections in plain text, a blank line between them and before and after every table. Of tables
/// whose rows were left out a line says so.
[[nodiscard]] std::string SectionsText(const ReportSections& sections, const TextStyle& style);

}  // namespace qvhost
