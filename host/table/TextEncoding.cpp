#include "host/table/TextEncoding.h"

#include <algorithm>
#include <array>

#include "host/Text.h"

namespace qvhost {
namespace {

struct Name {
  std::string_view name;
  TextEncoding encoding;
};

constexpr std::array<Name, 17> kNames = {{{"utf-8", TextEncoding::kUtf8},
                                          {"utf8", TextEncoding::kUtf8},
                                          {"ascii", TextEncoding::kUtf8},
                                          {"latin-1", TextEncoding::kLatin1},
                                          {"latin1", TextEncoding::kLatin1},
                                          {"iso-8859-1", TextEncoding::kLatin1},
                                          {"iso8859-1", TextEncoding::kLatin1},
                                          {"windows-1252", TextEncoding::kWindows1252},
                                          {"cp1252", TextEncoding::kWindows1252},
                                          {"cp-1252", TextEncoding::kWindows1252},
                                          {"ansi", TextEncoding::kWindows1252},
                                          {"utf-16", TextEncoding::kUtf16},
                                          {"utf16", TextEncoding::kUtf16},
                                          {"utf-16le", TextEncoding::kUtf16Little},
                                          {"utf-16-le", TextEncoding::kUtf16Little},
                                          {"utf-16be", TextEncoding::kUtf16Big},
                                          {"utf-16-be", TextEncoding::kUtf16Big}}};

/// The characters of Windows-1252 from 0x80 to 0x9F; 0 where it has none.
constexpr std::array<char32_t, 32> kWindows = {
    0x20AC, 0,      0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021, 0x02C6, 0x2030, 0x0160,
    0x2039, 0x0152, 0,      0x017D, 0,      0,      0x2018, 0x2019, 0x201C, 0x201D, 0x2022,
    0x2013, 0x2014, 0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0,      0x017E, 0x0178};

constexpr char32_t kMark = 0xFEFF;
constexpr char32_t kSwappedMark = 0xFFFE;
constexpr char32_t kFirstHigh = 0xD800;
constexpr char32_t kFirstLow = 0xDC00;
constexpr char32_t kPastLow = 0xE000;

bool IsUtf16(TextEncoding encoding) {
  return encoding == TextEncoding::kUtf16 || encoding == TextEncoding::kUtf16Little ||
         encoding == TextEncoding::kUtf16Big;
}

void AppendTail(char32_t c, int shift, std::string& text) {
  text += static_cast<char>(0x80U | ((c >> shift) & 0x3FU));
}

void AppendUtf8(char32_t c, std::string& text) {
  if (c < 0x80) {
    text += static_cast<char>(c);
  } else if (c < 0x800) {
    text += static_cast<char>(0xC0U | (c >> 6));
    AppendTail(c, 0, text);
  } else if (c < 0x10000) {
    text += static_cast<char>(0xE0U | (c >> 12));
    AppendTail(c, 6, text);
    AppendTail(c, 0, text);
  } else {
    text += static_cast<char>(0xF0U | (c >> 18));
    AppendTail(c, 12, text);
    AppendTail(c, 6, text);
    AppendTail(c, 0, text);
  }
}

}  // namespace

std::optional<TextEncoding> FindEncoding(std::string_view name) {
  const std::string lower = Lower(name);
  const auto* const found = std::ranges::find(kNames, std::string_view(lower), &Name::name);
  return found == kNames.end() ? std::nullopt : std::optional(found->encoding);
}

std::string_view EncodingList() { return "utf-8, latin-1, windows-1252 or utf-16"; }

Utf8Converter::Utf8Converter(TextEncoding encoding) : encoding_(encoding) {}

bool Utf8Converter::ConvertByte(unsigned char byte, std::string& text) const {
  constexpr unsigned char kFirst = 0x80;
  constexpr unsigned char kPast = 0xA0;
  char32_t c = byte;
  if (encoding_ == TextEncoding::kWindows1252 && byte >= kFirst && byte < kPast) {
    c = kWindows[byte - kFirst];
    if (c == 0) return false;
  }
  AppendUtf8(c, text);
  return true;
}

bool Utf8Converter::ConvertUnit(char32_t unit, std::string& text) {
  if (atStart_) {
    atStart_ = false;
    if (encoding_ == TextEncoding::kUtf16 && unit == kSwappedMark) {
      encoding_ = TextEncoding::kUtf16Big;
      return true;
    }
    if (unit == kMark) return true;
  }
  const bool isHigh = unit >= kFirstHigh && unit < kFirstLow;
  const bool isLow = unit >= kFirstLow && unit < kPastLow;
  if ((high_ != 0) != isLow) return false;
  if (isHigh) {
    high_ = unit;
    return true;
  }
  AppendUtf8(isLow ? 0x10000 + ((high_ - kFirstHigh) << 10) + (unit - kFirstLow) : unit, text);
  high_ = 0;
  return true;
}

bool Utf8Converter::Convert(std::string_view bytes, std::string& text) {
  if (encoding_ == TextEncoding::kUtf8) {
    text += bytes;
    return true;
  }
  for (const char each : bytes) {
    const auto byte = static_cast<unsigned char>(each);
    if (!IsUtf16(encoding_)) {
      if (!ConvertByte(byte, text)) return false;
    } else if (held_ == 0) {
      first_ = byte;
      held_ = 1;
    } else {
      held_ = 0;
      const bool isBig = encoding_ == TextEncoding::kUtf16Big;
      const unsigned unit = isBig ? (first_ * 256U) + byte : (byte * 256U) + first_;
      if (!ConvertUnit(unit, text)) return false;
    }
    ++position_;
  }
  return true;
}

}  // namespace qvhost
