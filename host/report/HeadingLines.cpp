#include "host/report/HeadingLines.h"

#include <algorithm>
#include <cstddef>

#include "host/TextLayout.h"

namespace qvhost {

namespace {

constexpr std::size_t kGap = 2;

}  // namespace

std::string HeadingLines::Text() const {
  std::size_t width = 0;
  for (const auto& [name, value] : lines_) width = std::max(width, TextWidth(name) + kGap);
  std::string text;
  for (const auto& [name, value] : lines_) {
    std::string lines = Wrap(value, style_.width, width, width);
    std::ranges::replace(lines, kNoBreak, ' ');
    text.append(name).append(width - TextWidth(name), ' ').append(lines).append("\n");
  }
  return text;
}

std::string NoteText(std::string_view sentence, const TextStyle& style) {
  return "- " + Wrap(sentence, style.width, kGap, kGap);
}

}  // namespace qvhost
