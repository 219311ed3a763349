#include "host/fit/ContrastText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <functional>
#include <optional>
#include <system_error>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"

namespace qvhost {
namespace {

bool IsBlank(char c) { return c == ' ' || c == '\t'; }

/// Reads an option from the left to the right. Borrows what it is made of.
class Reader {
 public:
  Reader(const char* option, std::string_view text, std::vector<std::string> names)
      : option_(option), text_(text), names_(std::move(names)) {
    std::ranges::stable_sort(names_, std::ranges::greater(), &std::string::size);
  }

  std::vector<WrittenCell> Contrast() {
    std::vector<WrittenCell> cells;
    do {
      const double sign = Sign(cells.empty());
      WrittenCell& cell = cells.emplace_back();
      cell.weight = sign * Weight();
      do {
        cell.conditions.push_back(Condition());
      } while (Takes('&') || Takes(','));
    } while (!IsAtEnd());
    return cells;
  }

  std::vector<std::string> Means() {
    std::vector<std::string> names;
    do {
      names.push_back(Name(':'));
      if (names.back().empty()) Fail("a factor is missing; write factors with : between them.");
    } while (Takes(':'));
    if (!IsAtEnd()) Fail(fmt::format("'{}' is left over.", text_.substr(at_)));
    return names;
  }

 private:
  [[noreturn]] void Fail(const std::string& what) const {
    throw Error(ExitCode::kBadInput, fmt::format("{} '{}': {}", option_, text_, what));
  }

  void SkipBlanks() {
    while (at_ < text_.size() && IsBlank(text_[at_])) ++at_;
  }
  bool IsAtEnd() {
    SkipBlanks();
    return at_ == text_.size();
  }
  bool Takes(char c) {
    if (IsAtEnd() || text_[at_] != c) return false;
    ++at_;
    return true;
  }

  double Sign(bool isFirst) {
    if (Takes('-')) return -1.0;
    if (!Takes('+') && !isFirst) {
      Fail(fmt::format("a sign is missing before '{}'.", text_.substr(at_)));
    }
    return 1.0;
  }

  std::optional<double> Number() {
    SkipBlanks();
    double number = 0.0;
    const auto [end, error] =
        std::from_chars(text_.data() + at_, text_.data() + text_.size(), number);
    if (error != std::errc() || !std::isfinite(number)) return std::nullopt;
    at_ = static_cast<std::size_t>(end - text_.data());
    return number;
  }

  /// 1 where no number and asterisk stand.
  double Weight() {
    const std::size_t begin = at_;
    std::optional<double> weight = Number();
    if (weight && Takes('/')) {
      const std::optional<double> divisor = Number();
      weight = divisor && *divisor != 0.0 ? std::optional(*weight / *divisor) : std::nullopt;
    }
    if (weight && Takes('*')) return *weight;
    at_ = begin;
    return 1.0;
  }

  /// A text in quotes of the kind that stands here.
  std::string Quoted() {
    const std::size_t begin = at_;
    const char quote = text_[at_++];
    std::string inside;
    while (at_ < text_.size()) {
      const char c = text_[at_++];
      const bool isQuote = c == quote;
      if (isQuote && (at_ == text_.size() || text_[at_] != quote)) return inside;
      inside += c;
      at_ += isQuote ? 1 : 0;
    }
    Fail(fmt::format("{} has no end.", text_.substr(begin)));
  }

  /// The length of `name` at this place, if it stands there, and then `sign` or nothing.
  [[nodiscard]] std::optional<std::size_t> LengthOf(std::string_view name, char sign) const {
    std::size_t at = at_;
    for (const char c : name) {
      if (IsBlank(c)) continue;
      while (at < text_.size() && IsBlank(text_[at])) ++at;
      if (at == text_.size() || LowerAscii(text_[at]) != LowerAscii(c)) return std::nullopt;
      ++at;
    }
    const std::size_t length = at - at_;
    while (at < text_.size() && IsBlank(text_[at])) ++at;
    const bool isWhole = at == text_.size() ? sign == ':' : text_[at] == sign;
    return isWhole ? std::optional(length) : std::nullopt;
  }

  /// A name before `sign`.
  std::string Name(char sign) {
    SkipBlanks();
    if (at_ < text_.size() && text_[at_] == '`') return Quoted();
    for (const std::string& name : names_) {
      const std::optional<std::size_t> length = LengthOf(name, sign);
      if (!length) continue;
      const bool isExact = text_.substr(at_, *length) == name;
      const std::string_view written = text_.substr(at_, *length);
      at_ += *length;
      // Another name may be spelled so.
      const auto same = std::ranges::find(names_, written);
      return isExact || same == names_.end() ? name : *same;
    }
    const std::size_t end = std::min(text_.find(sign, at_), text_.size());
    const std::string_view name = WithoutBlanks(text_.substr(at_, end - at_));
    at_ = end;
    return std::string(name);
  }

  WrittenCondition Condition() {
    SkipBlanks();
    const std::size_t begin = at_;
    WrittenCondition condition;
    condition.name = Name('=');
    if (condition.name.empty() || !Takes('=')) {
      at_ = begin;
      Fail(fmt::format("'{}' is no condition; write one as NAME=VALUE, such as species=Gentoo.",
                       WithoutBlanks(text_.substr(at_))));
    }
    // == is what other languages have.
    (void)Takes('=');
    condition.value = Value();
    return condition;
  }

  /// Whether a sign between blanks is at a place, which is not the first.
  [[nodiscard]] bool IsSign(std::size_t at) const {
    const char c = text_[at];
    if (c != '+' && c != '-') return false;
    return IsBlank(text_[at - 1]) && (at + 1 == text_.size() || IsBlank(text_[at + 1]));
  }

  std::string Value() {
    SkipBlanks();
    if (at_ < text_.size() && (text_[at_] == '"' || text_[at_] == '\'')) {
      std::string value = Quoted();
      if (!IsAtEnd() && std::string_view("&,+-").find(text_[at_]) == std::string_view::npos) {
        Fail(fmt::format("'{}' is left over behind the value in quotes.", text_.substr(at_)));
      }
      return value;
    }
    const std::size_t begin = at_;
    const auto isInside = [this](std::size_t at) { return text_[at] != '&' && text_[at] != ','; };
    while (at_ < text_.size() && isInside(at_) && (at_ == begin || !IsSign(at_))) ++at_;
    const std::string_view value = WithoutBlanks(text_.substr(begin, at_ - begin));
    if (value.empty()) {
      Fail(fmt::format("a value is missing after '{}'.", WithoutBlanks(text_.substr(0, begin))));
    }
    return std::string(value);
  }

  const char* option_;
  std::string_view text_;
  std::vector<std::string> names_;
  std::size_t at_ = 0;
};

}  // namespace

std::vector<WrittenCell> ReadContrast(const std::string& text,
                                      const std::vector<std::string>& names) {
  return Reader("--contrast", text, names).Contrast();
}

std::vector<std::string> ReadMeans(const std::string& text, const std::vector<std::string>& names) {
  return Reader("--means", text, names).Means();
}

}  // namespace qvhost
