#include "host/table/TextEncoding.h"

#include <gtest/gtest.h>

namespace qvhost {
namespace {

using namespace std::string_literals;

/// Converts in pieces of a size; "none" for a text that is not of the encoding.
std::string Converted(TextEncoding encoding, const std::string& bytes, std::size_t piece) {
  Utf8Converter converter(encoding);
  std::string text;
  for (std::size_t at = 0; at < bytes.size(); at += piece) {
    if (!converter.Convert(std::string_view(bytes).substr(at, piece), text)) return "none";
  }
  return converter.IsWhole() ? text : "none";
}

void ExpectConverted(TextEncoding encoding, const std::string& bytes, const std::string& text) {
  for (const std::size_t piece : {std::size_t{1}, std::size_t{3}, std::size_t{100}}) {
    EXPECT_EQ(Converted(encoding, bytes, piece), text) << piece;
  }
}

TEST(Utf8Converter, ConvertsBytes) {
  ExpectConverted(TextEncoding::kLatin1, "M\xFCller \x80", "Müller \u0080");
  ExpectConverted(TextEncoding::kWindows1252, "5 \x80 \x96 M\xFCller", "5 € – Müller");
  ExpectConverted(TextEncoding::kUtf8, "Müller", "Müller");
}

TEST(Utf8Converter, ConvertsUtf16InTheOrderOfItsMark) {
  const std::string little =
      "\xFF\xFE"
      "a\0\xFC\0=\xD8\0\xDE"s;
  const std::string big =
      "\xFE\xFF"
      "\0a\0\xFC\xD8=\xDE\0"s;
  ExpectConverted(TextEncoding::kUtf16, little, "aü😀");
  ExpectConverted(TextEncoding::kUtf16, big, "aü😀");
  ExpectConverted(TextEncoding::kUtf16, little.substr(2), "aü😀");
  ExpectConverted(TextEncoding::kUtf16Little, little.substr(2), "aü😀");
  ExpectConverted(TextEncoding::kUtf16Big, big.substr(2), "aü😀");
}

TEST(Utf8Converter, FindsWhatIsNoCharacter) {
  Utf8Converter windows(TextEncoding::kWindows1252);
  std::string text;
  EXPECT_FALSE(windows.Convert("ab\x81", text));
  EXPECT_EQ(windows.Position(), 2U);
  EXPECT_EQ(Converted(TextEncoding::kUtf16Little, "a"s, 1), "none");
  EXPECT_EQ(Converted(TextEncoding::kUtf16Little, "\0\xDE"s, 2), "none");
  EXPECT_EQ(Converted(TextEncoding::kUtf16Little, "=\xD8"s, 2), "none");
  EXPECT_EQ(Converted(TextEncoding::kUtf16Little,
                      "=\xD8"
                      "a\0"s,
                      2),
            "none");
}

TEST(FindEncoding, KnowsItsNames) {
  EXPECT_EQ(FindEncoding("UTF-8"), TextEncoding::kUtf8);
  EXPECT_EQ(FindEncoding("ISO-8859-1"), TextEncoding::kLatin1);
  EXPECT_EQ(FindEncoding("cp1252"), TextEncoding::kWindows1252);
  EXPECT_FALSE(FindEncoding("ebcdic"));
}

}  // namespace
}  // namespace qvhost
