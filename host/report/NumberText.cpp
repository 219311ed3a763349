#include "host/report/NumberText.h"

#include <algorithm>
#include <cmath>

#include <fmt/format.h>

namespace qvhost {

namespace {

constexpr int kDigits = 5;
constexpr int kMostDecimals = 7;
constexpr double kSmallestFixed = 1e-4;
constexpr double kLargestFixed = 1e9;
constexpr double kLargestStatistic = 1e6;
constexpr double kSmallestFixedP = 1e-4;
constexpr double kSmallestP = 1e-16;

/// Decimals that show `value` to kDigits significant digits.
int DecimalsFor(double value) {
  return std::max(0, kDigits - 1 - static_cast<int>(std::floor(std::log10(std::abs(value)))));
}

/// A number with kDigits significant digits, whatever its neighbours.
std::string OwnText(double value) {
  const double size = std::abs(value);
  if (size == 0.0) return "0";
  const bool fixed = size >= kSmallestFixed && size < kLargestFixed;
  return fixed ? fmt::format("{:.{}f}", value, DecimalsFor(value))
               : fmt::format("{:.{}e}", value, kDigits - 1);
}

}  // namespace

std::vector<std::string> ColumnText(const std::vector<std::optional<double>>& values) {
  int decimals = 0;
  double largest = 0.0;
  for (const std::optional<double>& value : values) {
    if (!value || *value == 0.0) continue;
    decimals = std::max(decimals, DecimalsFor(*value));
    largest = std::max(largest, std::abs(*value));
  }
  const bool alike = decimals <= kMostDecimals && largest < kLargestFixed;

  std::vector<std::string> texts;
  texts.reserve(values.size());
  for (const std::optional<double>& value : values) {
    if (!value) {
      texts.emplace_back();
    } else {
      texts.push_back(alike ? fmt::format("{:.{}f}", *value, decimals) : OwnText(*value));
    }
  }
  return texts;
}

std::string NumberText(const std::optional<double>& value, int digits) {
  return value ? fmt::format("{:.{}g}", *value, digits) : "-";
}

std::string StatisticText(const std::optional<double>& value) {
  if (!value) return {};
  return std::abs(*value) < kLargestStatistic ? fmt::format("{:.2f}", *value)
                                              : fmt::format("{:.2e}", *value);
}

std::string ProbabilityText(const std::optional<double>& value) {
  if (!value) return {};
  if (*value < kSmallestP) return "<1e-16";
  return *value < kSmallestFixedP ? fmt::format("{:.1e}", *value) : fmt::format("{:.4f}", *value);
}

std::string CountText(long long count) {
  std::string digits = fmt::format("{}", count);
  for (auto at = static_cast<std::ptrdiff_t>(digits.size()) - 3; at > (count < 0 ? 1 : 0);
       at -= 3) {
    digits.insert(static_cast<std::size_t>(at), ",");
  }
  return digits;
}

}  // namespace qvhost
