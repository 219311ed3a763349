#pragma once

#include <string>

#include "host/report/ReportDocument.h"

namespace qvhost {

/// A table as HTML, in a region of its own that scrolls where the table is wider than the page. Its
/// columns sort by the buttons in their headings, which the page's script makes work; totals stay
/// at the end. What was left out is told below it.
[[nodiscard]] std::string HtmlTable(const ReportTable& table);

/// What stands for things that were left out.
[[nodiscard]] std::string HtmlOmission(const ReportOmission& omission);

}  // namespace qvhost
