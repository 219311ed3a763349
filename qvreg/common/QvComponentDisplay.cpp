#include "qvreg/common/QvComponentDisplay.h"

#include <atomic>
#include <cstdio>

namespace QvComponentDisplay {

namespace {

/// One switch for the process, which a host sets without an object at hand.
std::atomic<bool> isDiagnosticDisplay{false};

/// What stands between a label and its value: some labels bring their own.
const char* ColonAfter(const std::string& label) {
  return label.ends_with(':') || label.ends_with('=') ? "" : ":";
}

}  // namespace

void SetDiagnosticDisplay(bool display) {
  isDiagnosticDisplay.store(display, std::memory_order_relaxed);
}

bool IsDiagnosticDisplay() { return isDiagnosticDisplay.load(std::memory_order_relaxed); }

void DisplayB(const std::string& label, bool value) {
  std::printf("%s%s %s\n", label.c_str(), ColonAfter(label), value ? "true" : "false");
}

void DisplayI(const std::string& label, int value) {
  std::printf("%s%s %d\n", label.c_str(), ColonAfter(label), value);
}

void DisplayCount(const std::string& label, long long value) {
  std::printf("%s%s %lld\n", label.c_str(), ColonAfter(label), value);
}

void DisplayD(const std::string& label, double value) {
  std::printf("%s%s %.17g\n", label.c_str(), ColonAfter(label), value);
}

void DisplayS(const std::string& label, const std::string& value) {
  std::printf("%s%s %s\n", label.c_str(), ColonAfter(label), value.c_str());
}

void DisplayIV(const std::string& label, const std::vector<int>& values) {
  std::printf("%s%s", label.c_str(), ColonAfter(label));
  for (const int value : values) std::printf(" %d", value);
  std::printf("\n");
}

void DisplayDV(const std::string& label, const std::vector<double>& values, bool exact) {
  const int digits = exact ? 17 : 6;
  std::printf("%s%s", label.c_str(), ColonAfter(label));
  for (const double value : values) std::printf(" %.*g", digits, value);
  std::printf("\n");
}

void DisplayText(const long& level, const char* text) {
  const int indent = level > kHeadingLevel ? static_cast<int>(2 * (level - kHeadingLevel)) : 0;
  std::printf("%*s%s\n", indent, "", text);
}

void DisplayText(const long& level, const std::string& text) { DisplayText(level, text.c_str()); }

}  // namespace QvComponentDisplay
