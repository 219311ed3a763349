#include "host/model/NumberText.h"

#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <limits>

#include <fmt/format.h>

namespace qvhost {
namespace {

constexpr std::string_view kNaN = "NaN";

constexpr std::uint64_t kUsualNaN =
    std::bit_cast<std::uint64_t>(std::numeric_limits<double>::quiet_NaN());

template <typename Number, typename... Format>
bool ReadWhole(std::string_view text, Number& value, Format... format) {
  Number read{};
  const char* const last = text.data() + text.size();
  const auto [end, error] = std::from_chars(text.data(), last, read, format...);
  if (error != std::errc() || end != last) return false;
  value = read;
  return true;
}

bool ReadNaN(std::string_view text, double& value) {
  constexpr int kHexadecimal = 16;
  std::uint64_t bits = kUsualNaN;
  text.remove_prefix(kNaN.size());
  const bool isRead =
      text.empty() || (text.front() == ':' && ReadWhole(text.substr(1), bits, kHexadecimal));
  if (!isRead || !std::isnan(std::bit_cast<double>(bits))) return false;
  value = std::bit_cast<double>(bits);
  return true;
}

}  // namespace

std::string NumberText(double value) {
  if (std::isinf(value)) return value > 0.0 ? "INF" : "-INF";
  const auto bits = std::bit_cast<std::uint64_t>(value);
  if (std::isnan(value)) {
    return bits == kUsualNaN ? std::string(kNaN) : fmt::format("{}:{:x}", kNaN, bits);
  }
  std::array<char, 32> text{};
  auto* const end = std::to_chars(text.data(), text.data() + text.size(), value).ptr;
  return {text.data(), end};
}

std::string NumberText(long long value) { return std::to_string(value); }

bool ReadNumber(std::string_view text, double& value) {
  if (text.starts_with(kNaN)) return ReadNaN(text, value);
  if (text == "INF" || text == "-INF") {
    const double infinity = std::numeric_limits<double>::infinity();
    value = text.front() == '-' ? -infinity : infinity;
    return true;
  }
  double read = 0.0;
  // It reads other spellings of what is not finite.
  if (!ReadWhole(text, read) || !std::isfinite(read)) return false;
  value = read;
  return true;
}

bool ReadNumber(std::string_view text, long long& value) { return ReadWhole(text, value); }

bool ReadNumber(std::string_view text, int& value) { return ReadWhole(text, value); }

bool ReadNumber(std::string_view text, bool& value) {
  if (text != "0" && text != "1") return false;
  value = text == "1";
  return true;
}

std::string_view TakeWord(std::string_view& text) {
  const std::size_t blank = text.find(' ');
  const std::string_view word = text.substr(0, blank);
  text.remove_prefix(blank == std::string_view::npos ? text.size() : blank + 1);
  return word;
}

}  // namespace qvhost
