#include "host/TextLayout.h"

#include <algorithm>
#include <array>
#include <span>
#include <vector>

#include "host/Text.h"

namespace qvhost {
namespace {

constexpr std::string_view kEllipsis = "…";
/// A part of a name that is cut further says nothing: its first letter, the ellipsis, its last.
constexpr std::size_t kLeastPart = 3;

struct Range {
  char32_t first;
  char32_t last;
};

// Unicode's East_Asian_Width W and F, joined where only unassigned characters lie between.
constexpr std::array kWide = {
    Range{0x1100, 0x115F},   Range{0x231A, 0x231B},   Range{0x2329, 0x232A},
    Range{0x23E9, 0x23EC},   Range{0x2E80, 0x303E},   Range{0x3041, 0x4DBF},
    Range{0x4E00, 0xA4CF},   Range{0xA960, 0xA97F},   Range{0xAC00, 0xD7A3},
    Range{0xF900, 0xFAFF},   Range{0xFE10, 0xFE19},   Range{0xFE30, 0xFE6F},
    Range{0xFF00, 0xFF60},   Range{0xFFE0, 0xFFE6},   Range{0x16FE0, 0x18CFF},
    Range{0x1AFF0, 0x1B2FF}, Range{0x1F300, 0x1F320}, Range{0x1F32D, 0x1F335},
    Range{0x1F337, 0x1F37C}, Range{0x1F37E, 0x1F393}, Range{0x1F3A0, 0x1F3CA},
    Range{0x1F3E0, 0x1F3F0}, Range{0x1F3F8, 0x1F43E}, Range{0x1F440, 0x1F4FC},
    Range{0x1F4FF, 0x1F53D}, Range{0x1F550, 0x1F567}, Range{0x1F5FB, 0x1F64F},
    Range{0x1F680, 0x1F6C5}, Range{0x1F90C, 0x1F9FF}, Range{0x1FA70, 0x1FAFF},
    Range{0x20000, 0x3FFFD}};

// The marks of the scripts in wide use, joiners and selectors of variants.
constexpr std::array kMarks = {
    Range{0x0300, 0x036F}, Range{0x0483, 0x0489},  Range{0x0591, 0x05BD}, Range{0x0610, 0x061A},
    Range{0x064B, 0x065F}, Range{0x0941, 0x0948},  Range{0x0E34, 0x0E3A}, Range{0x0E47, 0x0E4E},
    Range{0x1AB0, 0x1AFF}, Range{0x1DC0, 0x1DFF},  Range{0x200B, 0x200F}, Range{0x20D0, 0x20FF},
    Range{0x302A, 0x302D}, Range{0x3099, 0x309A},  Range{0xFE00, 0xFE0F}, Range{0xFE20, 0xFE2F},
    Range{0xFEFF, 0xFEFF}, Range{0xE0100, 0xE01EF}};

bool IsIn(std::span<const Range> ranges, char32_t value) {
  const auto range = std::ranges::upper_bound(ranges, value, {}, &Range::first);
  return range != ranges.begin() && value <= std::prev(range)->last;
}

std::size_t WidthOf(const CodePoint& point) {
  if (!point.valid) return 1;
  if (IsIn(kMarks, point.value)) return 0;
  return IsIn(kWide, point.value) ? 2 : 1;
}

/// The longest beginning of at most `width` columns.
std::string_view Beginning(std::string_view text, std::size_t width) {
  std::size_t at = 0;
  while (at < text.size()) {
    const CodePoint point = DecodeUtf8(text, at);
    const std::size_t columns = WidthOf(point);
    if (columns > width) break;
    width -= columns;
    at += point.length;
  }
  return text.substr(0, at);
}

/// The longest end of at most `width` columns.
std::string_view End(std::string_view text, std::size_t width) {
  const std::size_t whole = TextWidth(text);
  std::size_t at = 0;
  std::size_t left = whole;
  while (at < text.size() && left > width) {
    const CodePoint point = DecodeUtf8(text, at);
    left -= WidthOf(point);
    at += point.length;
  }
  // A mark belongs to the character before it.
  while (at < text.size() && WidthOf(DecodeUtf8(text, at)) == 0) {
    at += DecodeUtf8(text, at).length;
  }
  return text.substr(at);
}

constexpr bool IsSeparator(char c) { return c == ':' || c == '='; }

/// The parts of a name and, each as a part of its own, what separates them.
std::vector<std::string_view> PartsOf(std::string_view label) {
  std::vector<std::string_view> parts;
  std::size_t start = 0;
  for (std::size_t i = 0; i <= label.size(); ++i) {
    if (i < label.size() && !IsSeparator(label[i])) continue;
    if (i > start) parts.push_back(label.substr(start, i - start));
    if (i < label.size()) parts.push_back(label.substr(i, 1));
    start = i + 1;
  }
  return parts;
}

/// The largest width to which parts can be cut so that all of them take at most `width`.
std::size_t LargestPart(const std::vector<std::string_view>& parts, std::size_t width) {
  for (std::size_t largest = width; largest > 0; --largest) {
    std::size_t sum = 0;
    for (const std::string_view part : parts) sum += std::min(TextWidth(part), largest);
    if (sum <= width) return largest;
  }
  return 0;
}

}  // namespace

std::size_t TextWidth(std::string_view text) {
  std::size_t width = 0;
  for (std::size_t at = 0; at < text.size();) {
    const CodePoint point = DecodeUtf8(text, at);
    width += WidthOf(point);
    at += point.length;
  }
  return width;
}

std::string CutMiddle(std::string_view text, std::size_t width) {
  if (TextWidth(text) <= width) return std::string(text);
  if (width == 0) return {};
  const std::size_t ends = width - 1;
  return std::string(Beginning(text, ends - ends / 2))
      .append(kEllipsis)
      .append(End(text, ends / 2));
}

std::string ShortLabel(std::string_view label, std::size_t width) {
  if (TextWidth(label) <= width) return std::string(label);
  const std::vector<std::string_view> parts = PartsOf(label);
  const std::size_t largest = LargestPart(parts, width);
  if (largest < kLeastPart) return CutMiddle(label, width);
  std::size_t taken = 0;
  for (const std::string_view part : parts) taken += std::min(TextWidth(part), largest);
  std::size_t spare = width - taken;
  std::string text;
  for (const std::string_view part : parts) {
    const std::size_t more = std::min(spare, TextWidth(part) > largest ? std::size_t{1} : 0);
    spare -= more;
    text += CutMiddle(part, largest + more);
  }
  return text;
}

std::string Wrap(std::string_view text, std::size_t width, std::size_t start, std::size_t indent) {
  std::string lines;
  std::size_t column = start;
  bool isFirst = true;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find(' '), text.size());
    const std::string_view word = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    const std::size_t size = TextWidth(word);
    if (!isFirst && column + 1 + size > width) {
      lines += "\n" + std::string(indent, ' ');
      column = indent;
    } else if (!isFirst) {
      lines += ' ';
      ++column;
    }
    lines += word;
    column += size;
    isFirst = false;
  }
  return lines;
}

}  // namespace qvhost
