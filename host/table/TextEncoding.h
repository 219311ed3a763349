#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace qvhost {

/// How the bytes of a text file stand for characters.
enum class TextEncoding {
  kUtf8,
  kLatin1,       ///< ISO 8859-1.
  kWindows1252,  ///< What Windows calls ANSI in western Europe; has the euro sign.
  kUtf16,        ///< In the order that its mark tells; without a mark little-endian.
  kUtf16Little,
  kUtf16Big
};

/// The encoding of this name, in any case of letters: `utf-8`, `latin-1` and others.
[[nodiscard]] std::optional<TextEncoding> FindEncoding(std::string_view name);

/// The names for an error: "utf-8, latin-1, windows-1252 or utf-16".
[[nodiscard]] std::string_view EncodingList();

/// Converts a text to UTF-8 piece by piece, however the pieces cut its characters. A mark of the
/// byte order is left out.
class Utf8Converter {
 public:
  explicit Utf8Converter(TextEncoding encoding);

  /// Appends what the next bytes stand for. False at a byte that the encoding has no character for;
  /// see Position.
  [[nodiscard]] bool Convert(std::string_view bytes, std::string& text);

  /// Whether the text ends here with a whole character.
  [[nodiscard]] bool IsWhole() const { return held_ == 0 && high_ == 0; }

  /// Where in the whole text the wrong byte stands, from 0.
  [[nodiscard]] std::size_t Position() const { return position_; }

 private:
  [[nodiscard]] bool ConvertByte(unsigned char byte, std::string& text) const;
  [[nodiscard]] bool ConvertUnit(char32_t unit, std::string& text);

  TextEncoding encoding_;
  std::size_t position_ = 0;
  bool atStart_ = true;
  int held_ = 0;  ///< Bytes of an unfinished unit of UTF-16, and the first of them.
  unsigned char first_ = 0;
  char32_t high_ = 0;  ///< The first half of a surrogate pair; 0 for none.
};

}  // namespace qvhost
