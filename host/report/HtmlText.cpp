#include "host/report/HtmlText.h"

#include <cstddef>

#include "host/Text.h"

namespace qvhost {

namespace {

/// Hebrew, Arabic and their neighbours up to U+08FF, their presentation forms, and the old scripts
/// of the supplementary plane that run from right to left.
bool IsRightToLeft(char32_t c) {
  return (c >= U'\u0590' && c <= U'\u08FF') || (c >= U'\uFB1D' && c <= U'\uFDFF') ||
         (c >= U'\uFE70' && c <= U'\uFEFE') || (c >= U'\U00010800' && c <= U'\U00010FFF') ||
         (c >= U'\U0001E800' && c <= U'\U0001EFFF');
}

void AddEscaped(std::string& html, std::string_view text) {
  for (const char c : text) {
    switch (c) {
      case '&':
        html += "&amp;";
        break;
      case '<':
        html += "&lt;";
        break;
      case '>':
        html += "&gt;";
        break;
      case '"':
        html += "&quot;";
        break;
      case '\'':
        html += "&#39;";
        break;
      default:
        html += c;
    }
  }
}

/// Where the run that begins at `at` ends: behind its last right-to-left character. Blanks between
/// two of them belong to it.
std::size_t RunEnd(std::string_view text, std::size_t at) {
  std::size_t end = at;
  while (at < text.size()) {
    const CodePoint point = DecodeUtf8(text, at);
    if (point.valid && IsRightToLeft(point.value)) {
      end = at + point.length;
    } else if (text[at] != ' ') {
      break;
    }
    at += point.length;
  }
  return end;
}

}  // namespace

std::string HtmlEscaped(std::string_view text) {
  std::string html;
  AddEscaped(html, text);
  return html;
}

std::string HtmlText(std::string_view text) {
  std::string html;
  for (std::size_t at = 0; at < text.size();) {
    const CodePoint point = DecodeUtf8(text, at);
    std::size_t next = at + point.length;
    if (!point.valid) {
      html += "\uFFFD";
    } else if (IsRightToLeft(point.value)) {
      next = RunEnd(text, at);
      html += "<bdi>";
      AddEscaped(html, text.substr(at, next - at));
      html += "</bdi>";
    } else {
      AddEscaped(html, text.substr(at, point.length));
    }
    at = next;
  }
  return html;
}

std::string HtmlJson(std::string_view json) {
  std::string text;
  for (const char c : json) {
    if (c == '<') {
      text += "\\u003c";
    } else {
      text += c;
    }
  }
  return text;
}

}  // namespace qvhost
