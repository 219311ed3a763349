#include "qvreg/common/QvComponentDisplay.h"

#include <cstdio>

namespace QvComponentDisplay {

namespace {

constexpr int kShortDigits = 6;
constexpr int kExactDigits = 17;

void PrintText(std::string_view text) {
  std::printf("%.*s", static_cast<int>(text.size()), text.data());
}

/// Prints a label and what stands between it and its value: some labels bring their own colon.
void PrintLabel(std::string_view label) {
  PrintText(label);
  if (!label.ends_with(':') && !label.ends_with('=')) std::printf(":");
}

void PrintDoubles(std::string_view label, std::span<const double> values, int digits) {
  PrintLabel(label);
  for (const double value : values) std::printf(" %.*g", digits, value);
  std::printf("\n");
}

}  // namespace

void DisplayB(std::string_view label, bool value) { DisplayS(label, value ? "true" : "false"); }

void DisplayI(std::string_view label, int value) { DisplayCount(label, value); }

void DisplayCount(std::string_view label, long long value) {
  PrintLabel(label);
  std::printf(" %lld\n", value);
}

void DisplayD(std::string_view label, double value) {
  PrintLabel(label);
  std::printf(" %.17g\n", value);
}

void DisplayS(std::string_view label, std::string_view value) {
  PrintLabel(label);
  std::printf(" ");
  PrintText(value);
  std::printf("\n");
}

void DisplayIV(std::string_view label, const std::vector<int>& values) {
  PrintLabel(label);
  for (const int value : values) std::printf(" %d", value);
  std::printf("\n");
}

void DisplayDV(std::string_view label, const std::vector<double>& values, bool exact) {
  PrintDoubles(label, values, exact ? kExactDigits : kShortDigits);
}

void DisplayRow(std::string_view label, std::span<const double> values) {
  PrintDoubles(label, values, kExactDigits);
}

void DisplayText(const long& level, const char* text) {
  const int indent = level > kHeadingLevel ? static_cast<int>(2 * (level - kHeadingLevel)) : 0;
  std::printf("%*s%s\n", indent, "", text);
}

void DisplayText(const long& level, const std::string& text) { DisplayText(level, text.c_str()); }

}  // namespace QvComponentDisplay
