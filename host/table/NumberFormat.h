#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// 2^53, from which on a double may stand for several whole numbers.
inline constexpr double kLeastInexact = 9007199254740992.0;

/// How numbers are written in a text file. A plain value.
struct NumberFormat {
  char decimal = '.';     ///< A point or a comma.
  std::string thousands;  ///< What separates groups of digits, one character; empty for nothing.

  [[nodiscard]] bool IsPlain() const { return decimal == '.' && thousands.empty(); }
  bool operator==(const NumberFormat&) const = default;
};

/// Whether a sign of currency (`$`, `€`, `EUR`, before or after) or of percent may stand with a
/// number. It is dropped: 12 % is 12.
enum class NumberSigns { kRefused, kDropped };

/// The number as the C locale writes it, `-1234.5`; nothing when the text is not a number of this
/// format. Groups of digits must have three digits, or two as in 1,00,000; the last has three.
/// Where blanks separate thousands, no-break spaces do, too. What R and pandas write for an
/// infinite number, `Inf` and `inf`, is one: `inf`.
[[nodiscard]] std::optional<std::string> ParseNumber(std::string_view text,
                                                     const NumberFormat& format, NumberSigns signs);

/// What texts that are not plain numbers read as. A plain value.
struct NumberReading {
  NumberFormat format;
  bool hasCurrency = false;
  bool hasPercent = false;
  bool isAmbiguous = false;  ///< With a comma in place of each separator: decimal or thousands.
  std::size_t share = 0;     ///< How many in a hundred texts read so.
  std::string example;
};

/// How to read texts as numbers so that at least 95 in a hundred are; nothing when there is no way,
/// when they are numbers as they stand, or when they are fewer than two.
[[nodiscard]] std::optional<NumberReading> FindReading(const std::vector<std::string>& texts);

/// "numbers with a decimal comma and points between thousands, such as '1.234,5'".
[[nodiscard]] std::string ReadingText(const NumberReading& reading);

/// The option that gives a column a type, as it can be pasted: `--types x=double`,
/// `--types 'odd name=double'`.
[[nodiscard]] std::string TypesText(const std::string& column, const std::string& type);

/// The SQL expression that makes numbers of the texts of a column.
[[nodiscard]] std::string ReadingSql(const NumberReading& reading, const std::string& column);

/// The options that make numbers of the texts of a column: `--decimal , --thousands .`.
[[nodiscard]] std::string ReadingOptionsText(const NumberReading& reading,
                                             const std::string& column);

}  // namespace qvhost
