#include "host/formula/Utf8.h"

namespace qvhost {
namespace {

constexpr unsigned kContinuationBits = 6;
constexpr unsigned kContinuationMask = 0x3F;

struct Lead {
  std::size_t length;
  unsigned bits;      ///< The lead byte's share of the value.
  char32_t smallest;  ///< A smaller value is an overlong form.
};

Lead ReadLead(unsigned char byte) {
  if ((byte & 0xE0U) == 0xC0U) return {2, byte & 0x1FU, 0x80};
  if ((byte & 0xF0U) == 0xE0U) return {3, byte & 0x0FU, 0x800};
  if ((byte & 0xF8U) == 0xF0U) return {4, byte & 0x07U, 0x10000};
  return {0, 0, 0};
}

bool IsScalarValue(char32_t value) {
  return value <= 0x10FFFF && (value < 0xD800 || value > 0xDFFF);
}

}  // namespace

CodePoint DecodeUtf8(std::string_view text, std::size_t at) {
  const auto first = static_cast<unsigned char>(text[at]);
  if (first < 0x80) return {first, 1, true};
  const Lead lead = ReadLead(first);
  if (lead.length == 0 || text.size() - at < lead.length) return {};
  char32_t value = lead.bits;
  for (std::size_t i = 1; i < lead.length; ++i) {
    const auto byte = static_cast<unsigned char>(text[at + i]);
    if ((byte & ~kContinuationMask) != 0x80U) return {};
    value = (value << kContinuationBits) | (byte & kContinuationMask);
  }
  if (value < lead.smallest || !IsScalarValue(value)) return {};
  return {value, lead.length, true};
}

}  // namespace qvhost
