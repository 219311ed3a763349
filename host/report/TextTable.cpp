#include "host/report/TextTable.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include <fmt/format.h>

#include "host/Text.h"

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

constexpr std::size_t kGap = 2;

std::vector<std::size_t> Widths(const std::vector<std::vector<std::string>>& rows) {
  std::vector<std::size_t> widths(rows.front().size(), 0);
  for (const auto& row : rows) {
    for (std::size_t column = 0; column < widths.size(); ++column) {
      widths[column] = std::max(widths[column], TextWidth(row.at(column)));
    }
  }
  return widths;
}

std::string Line(const std::vector<std::string>& cells, const std::vector<std::size_t>& widths) {
  std::string line;
  for (std::size_t column = 0; column < cells.size(); ++column) {
    const std::string padding(widths[column] - TextWidth(cells[column]), ' ');
    line +=
        column == 0 ? cells[column] + padding : std::string(kGap, ' ') + padding + cells[column];
  }
  line.erase(line.find_last_not_of(' ') + 1);
  return line + "\n";
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
  const bool isOneFormat = decimals <= kMostDecimals && largest < kLargestFixed;

  std::vector<std::string> texts;
  texts.reserve(values.size());
  for (const std::optional<double>& value : values) {
    if (!value) {
      texts.emplace_back();
    } else {
      texts.push_back(isOneFormat ? fmt::format("{:.{}f}", *value, decimals) : OwnText(*value));
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

TextTable::TextTable(std::vector<std::string> headings) { rows_.push_back(std::move(headings)); }

void TextTable::AddRow(std::vector<std::string> cells) { rows_.push_back(std::move(cells)); }

std::string TextTable::Render() const {
  const std::vector<std::size_t> widths = Widths(rows_);
  const std::size_t ruleWidth =
      std::accumulate(widths.begin(), widths.end(), kGap * (widths.size() - 1));
  std::string text = Line(rows_.front(), widths) + std::string(ruleWidth, '-') + "\n";
  for (std::size_t row = 1; row < rows_.size(); ++row) {
    text += Line(rows_[row], widths);
  }
  return text;
}

}  // namespace qvhost
