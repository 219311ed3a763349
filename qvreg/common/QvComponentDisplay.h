#pragma once

#include <string>
#include <vector>

#include "qvreg/common/QvDiagnosticDisplay.h"

/// Diagnostic output: each function prints one labelled line to standard output. Meant for a
/// developer's eyes; calls from several threads may mix their lines.
namespace QvComponentDisplay {

/// The level of a section heading, passed to DisplayText.
inline constexpr long kHeadingLevel = 2;

/// Whether diagnostic output is switched on. Any thread.
[[nodiscard]] bool IsDiagnosticDisplay();

void DisplayB(const std::string& label, bool value);
void DisplayI(const std::string& label, int value);
/// As DisplayI, for counts of records, which may exceed an int.
void DisplayCount(const std::string& label, long long value);
void DisplayD(const std::string& label, double value);
void DisplayS(const std::string& label, const std::string& value);
void DisplayIV(const std::string& label, const std::vector<int>& values);
/// `exact` prints every value with the 17 digits that read back to the same double.
void DisplayDV(const std::string& label, const std::vector<double>& values, bool exact);
/// Prints a line of text, indented by its level below a heading.
void DisplayText(const long& level, const char* text);
void DisplayText(const long& level, const std::string& text);

}  // namespace QvComponentDisplay
