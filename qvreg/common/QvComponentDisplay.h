#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

/// Diagnostic output: each function prints one labelled line to standard output. Calls from several
/// threads may mix their lines. None of them allocates memory.
namespace QvComponentDisplay {

/// The level of a section heading, passed to DisplayText.
inline constexpr long kHeadingLevel = 2;

void DisplayB(std::string_view label, bool value);
void DisplayI(std::string_view label, int value);
/// As DisplayI, for counts of records, which may exceed an int.
void DisplayCount(std::string_view label, long long value);
void DisplayD(std::string_view label, double value);
void DisplayS(std::string_view label, std::string_view value);
void DisplayIV(std::string_view label, const std::vector<int>& values);
/// `exact` prints every value with the 17 digits that read back to the same double.
void DisplayDV(std::string_view label, const std::vector<double>& values, bool exact);
/// As DisplayDV, exact, for the values of a matrix' row where they are.
void DisplayRow(std::string_view label, std::span<const double> values);
/// Prints a line of text, indented by its level below a heading.
void DisplayText(const long& level, const char* text);
void DisplayText(const long& level, const std::string& text);

}  // namespace QvComponentDisplay
