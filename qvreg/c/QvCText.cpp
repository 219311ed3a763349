#include "qvreg/c/QvCText.h"

namespace {

constexpr std::string_view kGap = "...";

unsigned char ByteAt(std::string_view text, std::size_t place) {
  return static_cast<unsigned char>(text[place]);
}

bool IsWithinCharacter(unsigned char byte) { return (byte & 0xC0U) == 0x80U; }

/// The length of a character by its first byte; 0 for a byte that begins none.
std::size_t LengthBy(unsigned char first) {
  if (first < 0x80U) return 1;
  if (first >= 0xC2U && first < 0xE0U) return 2;
  if (first >= 0xE0U && first < 0xF0U) return 3;
  if (first >= 0xF0U && first < 0xF5U) return 4;
  return 0;
}

/// True for the second bytes that make a character too long for its number, half of a pair, or
/// larger than any.
bool IsBadSecond(unsigned char first, unsigned char second) {
  if (first == 0xE0U) return second < 0xA0U;
  if (first == 0xEDU) return second >= 0xA0U;
  if (first == 0xF0U) return second < 0x90U;
  if (first == 0xF4U) return second >= 0x90U;
  return false;
}

/// How many bytes the character at `place` has; 0 when there is none.
std::size_t CharacterAt(std::string_view text, std::size_t place) {
  const std::size_t length = LengthBy(ByteAt(text, place));
  if (length > text.size() - place) return 0;
  for (std::size_t i = 1; i < length; ++i) {
    if (!IsWithinCharacter(ByteAt(text, place + i))) return 0;
  }
  if (length > 1 && IsBadSecond(ByteAt(text, place), ByteAt(text, place + 1))) return 0;
  return length;
}

}  // namespace

namespace QvCText {

std::string Utf8(std::string_view text) {
  std::string valid;
  for (std::size_t place = 0; place < text.size();) {
    const std::size_t length = CharacterAt(text, place);
    if (length == 0) {
      valid += '?';
      ++place;
    } else {
      valid += text.substr(place, length);
      place += length;
    }
  }
  return valid;
}

std::string Shortened(std::string_view text, std::size_t longest) {
  std::string whole = Utf8(text);
  if (whole.size() <= longest) return whole;
  std::size_t head = (longest - kGap.size()) / 2;
  std::size_t tail = whole.size() - (longest - kGap.size() - head);
  while (head > 0 && IsWithinCharacter(ByteAt(whole, head))) --head;
  while (tail < whole.size() && IsWithinCharacter(ByteAt(whole, tail))) ++tail;
  return whole.substr(0, head).append(kGap).append(whole, tail);
}

}  // namespace QvCText
