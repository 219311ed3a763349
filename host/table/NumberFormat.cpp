#include "host/table/NumberFormat.h"

#include <algorithm>
#include <array>

#include <fmt/format.h>

#include "host/Text.h"

namespace qvhost {
namespace {

constexpr std::size_t kLeastShare = 95;  // In a hundred.
constexpr std::size_t kLongestExample = 40;
constexpr std::array<std::string_view, 3> kBlanks = {" ", "\u00A0", "\u202F"};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

/// Steps over one of the texts at the beginning.
template <std::size_t Size>
bool SkipOne(std::string_view& text, const std::array<std::string_view, Size>& choices) {
  for (const std::string_view choice : choices) {
    if (!text.starts_with(choice)) continue;
    text.remove_prefix(choice.size());
    return true;
  }
  return false;
}

void TrimBlanks(std::string_view& text) {
  while (SkipOne(text, kBlanks) || text.starts_with('\t')) {
    if (text.starts_with('\t')) text.remove_prefix(1);
  }
  for (bool found = true; found;) {
    found = text.ends_with('\t');
    if (found) text.remove_suffix(1);
    for (const std::string_view blank : kBlanks) {
      if (!text.ends_with(blank)) continue;
      text.remove_suffix(blank.size());
      found = true;
    }
  }
}

/// A symbol of currency in Unicode.
bool IsCurrency(char32_t c) {
  return c == U'$' || (c >= 0xA2 && c <= 0xA5) || (c >= 0x20A0 && c <= 0x20CF);
}

/// The length in bytes of a sign of currency at the beginning; 0 for none.
std::size_t CurrencyAtStart(std::string_view text) {
  if (text.empty()) return 0;
  const CodePoint point = DecodeUtf8(text, 0);
  if (point.valid && IsCurrency(point.value)) return point.length;
  const bool isCode = text.size() > 3 && std::ranges::all_of(text.substr(0, 3), IsUpperAscii) &&
                      !IsUpperAscii(text[3]);
  return isCode ? 3 : 0;
}

std::size_t CurrencyAtEnd(std::string_view text) {
  std::size_t at = text.size();
  while (at > 0) {
    --at;
    if ((static_cast<unsigned char>(text[at]) & 0xC0U) != 0x80U) break;
  }
  if (at < text.size()) {
    const CodePoint point = DecodeUtf8(text, at);
    if (point.valid && IsCurrency(point.value)) return text.size() - at;
  }
  const bool isCode = text.size() > 3 &&
                      std::ranges::all_of(text.substr(text.size() - 3), IsUpperAscii) &&
                      !IsUpperAscii(text[text.size() - 4]);
  return isCode ? 3 : 0;
}

bool IsInfinity(std::string_view text) {
  return SameWord(text, "inf") || SameWord(text, "infinity");
}

/// What is left of a number without its signs.
struct Unsigned {
  std::string_view digits;
  bool isNegative = false;
  bool hasCurrency = false;
  bool hasPercent = false;
};

void TakeMinus(Unsigned& number) {
  if (number.digits.empty() || number.isNegative) return;
  constexpr std::string_view kMinus = "\u2212";
  if (number.digits.starts_with(kMinus)) {
    number.digits.remove_prefix(kMinus.size());
    number.isNegative = true;
  } else if (number.digits.front() == '-' || number.digits.front() == '+') {
    number.isNegative = number.digits.front() == '-';
    number.digits.remove_prefix(1);
  }
}

Unsigned WithoutSigns(std::string_view text, NumberSigns signs) {
  Unsigned number{text};
  TrimBlanks(number.digits);
  TakeMinus(number);
  if (signs == NumberSigns::kRefused) return number;
  if (const std::size_t length = CurrencyAtStart(number.digits); length > 0) {
    number.digits.remove_prefix(length);
    number.hasCurrency = true;
  } else if (const std::size_t end = CurrencyAtEnd(number.digits); end > 0) {
    number.digits.remove_suffix(end);
    number.hasCurrency = true;
  } else if (number.digits.ends_with('%')) {
    number.digits.remove_suffix(1);
    number.hasPercent = true;
  }
  TrimBlanks(number.digits);
  // The sign may stand on either side of the currency.
  TakeMinus(number);
  return number;
}

/// Steps over one separator of thousands.
bool SkipSeparator(std::string_view& text, const std::string& separator) {
  if (separator.empty()) return false;
  if (separator == " ") return SkipOne(text, kBlanks);
  if (separator == "'") return SkipOne(text, std::array<std::string_view, 2>{"'", "\u2019"});
  return SkipOne(text, std::array<std::string_view, 1>{separator});
}

std::string_view TakeDigits(std::string_view& text) {
  const auto* const end = std::ranges::find_if_not(text, IsDigit);
  const auto count = static_cast<std::size_t>(end - text.begin());
  const std::string_view digits = text.substr(0, count);
  text.remove_prefix(count);
  return digits;
}

/// The digits before the decimal separator, without separators; nothing when the groups are wrong.
std::optional<std::string> WholePart(std::string_view& text, const std::string& separator) {
  std::string whole(TakeDigits(text));
  std::size_t last = whole.size();
  bool isGrouped = false;
  while (SkipSeparator(text, separator)) {
    if (last < (isGrouped ? 2U : 1U) || last > 3) return std::nullopt;
    const std::string_view group = TakeDigits(text);
    whole += group;
    last = group.size();
    isGrouped = true;
  }
  if (isGrouped && last != 3) return std::nullopt;
  return whole;
}

struct Format {
  NumberFormat format;
  std::size_t fitting = 0;
};

/// What the reading of one text tells.
void Note(const std::string& text, NumberReading& reading) {
  const Unsigned number = WithoutSigns(text, NumberSigns::kDropped);
  reading.hasCurrency = reading.hasCurrency || number.hasCurrency;
  reading.hasPercent = reading.hasPercent || number.hasPercent;
}

bool IsPlainNumber(const std::string& text) {
  // DuckDB takes one with a plus sign for text.
  return !text.starts_with('+') && ParseNumber(text, {}, NumberSigns::kRefused).has_value();
}

bool HasPlus(const NumberReading& reading) { return reading.example.starts_with('+'); }

/// Whether every comma of a text may separate thousands as well as decimals: 1,234 and 12,500.
bool MayBeEither(const std::string& text) {
  const auto commas = std::ranges::count(text, ',');
  return commas == 0 || (commas == 1 && ParseNumber(text, {'.', ","}, NumberSigns::kDropped));
}

}  // namespace

std::optional<std::string> ParseNumber(std::string_view text, const NumberFormat& format,
                                       NumberSigns signs) {
  const Unsigned number = WithoutSigns(text, signs);
  std::string_view rest = number.digits;
  if (IsInfinity(rest)) return number.isNegative ? "-inf" : "inf";
  const std::optional<std::string> whole = WholePart(rest, format.thousands);
  if (!whole) return std::nullopt;
  std::string plain = (number.isNegative ? "-" : "") + *whole;
  bool hasDigits = !whole->empty();
  if (rest.starts_with(format.decimal)) {
    rest.remove_prefix(1);
    const std::string_view fraction = TakeDigits(rest);
    hasDigits = hasDigits || !fraction.empty();
    if (!fraction.empty()) plain += fmt::format("{}.{}", whole->empty() ? "0" : "", fraction);
  }
  if (!hasDigits) return std::nullopt;
  if (rest.empty()) return plain;
  if (rest.front() != 'e' && rest.front() != 'E') return std::nullopt;
  rest.remove_prefix(1);
  std::string exponent = "e";
  if (rest.starts_with('-') || rest.starts_with('+')) {
    exponent += rest.front();
    rest.remove_prefix(1);
  }
  const std::string_view digits = TakeDigits(rest);
  if (digits.empty() || !rest.empty()) return std::nullopt;
  return plain + exponent + std::string(digits);
}

std::optional<NumberReading> FindReading(const std::vector<std::string>& texts) {
  if (texts.size() < 2 || std::ranges::all_of(texts, IsPlainNumber)) return std::nullopt;
  // The simpler one of two that fit as many.
  std::array<Format, 8> formats = {{{{'.', ""}},
                                    {{',', ""}},
                                    {{'.', ","}},
                                    {{',', "."}},
                                    {{'.', " "}},
                                    {{',', " "}},
                                    {{'.', "'"}},
                                    {{',', "'"}}}};
  for (Format& each : formats) {
    each.fitting =
        static_cast<std::size_t>(std::ranges::count_if(texts, [&](const std::string& text) {
          return ParseNumber(text, each.format, NumberSigns::kDropped).has_value();
        }));
  }
  const auto* const best = std::ranges::max_element(formats, {}, &Format::fitting);
  const auto reads = [&](const std::string& text) {
    return ParseNumber(text, best->format, NumberSigns::kDropped).has_value();
  };
  if (100 * best->fitting < kLeastShare * texts.size()) return std::nullopt;
  NumberReading reading;
  reading.format = best->format;
  reading.share = 100 * best->fitting / texts.size();
  for (const std::string& text : texts) {
    if (!reads(text)) continue;
    Note(text, reading);
    if (reading.example.empty() && !IsPlainNumber(text)) reading.example = text;
  }
  // Numbers as they stand, and something else beside them.
  if (reading.example.empty()) return std::nullopt;
  CutText(reading.example, kLongestExample);
  const bool isComma = reading.format == NumberFormat{',', ""};
  reading.isAmbiguous = isComma && std::ranges::all_of(texts, MayBeEither);
  return reading;
}

std::string ReadingText(const NumberReading& reading) {
  std::vector<std::string> marks;
  if (reading.isAmbiguous) {
    marks.emplace_back("a decimal comma, or with commas between thousands");
  } else if (reading.format.decimal == ',') {
    marks.emplace_back("a decimal comma");
  }
  const std::string& thousands = reading.format.thousands;
  if (!thousands.empty()) {
    marks.emplace_back(thousands == "."   ? "points between thousands"
                       : thousands == "," ? "commas between thousands"
                       : thousands == " " ? "blanks between thousands"
                                          : "apostrophes between thousands");
  }
  if (reading.hasCurrency) marks.emplace_back("a sign of currency");
  if (reading.hasPercent) marks.emplace_back("a percent sign");
  if (HasPlus(reading)) marks.emplace_back("a plus sign");
  std::string text = "numbers";
  for (std::size_t i = 0; i < marks.size(); ++i) {
    text += (i == 0 ? " with " : i + 1 == marks.size() ? " and " : ", ") + marks[i];
  }
  return text + fmt::format(", such as '{}'", reading.example);
}

std::string TypesText(const std::string& column, const std::string& type) {
  const bool isOdd = column.find_first_of(",=") != std::string::npos;
  const std::string name = isOdd ? "`" + column + "`" : column;
  return "--types " + ShellWord(name + "=" + type);
}

std::string ReadingSql(const NumberReading& reading, const std::string& column) {
  const char decimal = reading.format.decimal;
  // The E of EUR is none of an exponent.
  std::string sql =
      fmt::format("regexp_replace(replace({}, '\u2212', '-'), '{}[^-0-9eE{}]', '', 'g')",
                  QuoteName(column), reading.hasCurrency ? "[A-Z]{3}|" : "", decimal);
  if (decimal == ',') sql = fmt::format("replace({}, ',', '.')", sql);
  return fmt::format("CAST({} AS DOUBLE)", sql);
}

std::string ReadingOptionsText(const NumberReading& reading, const std::string& column) {
  const bool hasSigns = reading.hasCurrency || reading.hasPercent || HasPlus(reading);
  const std::string type = hasSigns ? " " + TypesText(column, "double") : "";
  if (reading.isAmbiguous) return fmt::format("--decimal ,{0} or --thousands ,{0}", type);
  std::string text = reading.format.decimal == ',' ? " --decimal ," : "";
  const std::string& thousands = reading.format.thousands;
  if (!thousands.empty()) {
    const bool isPlain = thousands == "." || thousands == ",";
    text += " --thousands " + (isPlain ? thousands : "\"" + thousands + "\"");
  }
  text += type;
  return text.substr(std::min<std::size_t>(1, text.size()));
}

}  // namespace qvhost
