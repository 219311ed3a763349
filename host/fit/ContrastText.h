#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// A condition on a cell of a contrast: a variable and its value, as written.
struct WrittenCondition {
  std::string name;  ///< As one of the names that were known; else as written.
  std::string value;
};

/// A mean and what it is multiplied by.
struct WrittenCell {
  double weight = 1.0;
  std::vector<WrittenCondition> conditions;
};

/// Reads a contrast, such as `species=Gentoo & sex=male - 0.5*species=Adelie -
/// 0.5*species=Chinstrap`:
///
///     contrast   [sign] term {sign term}; a sign, + or -, stands between blanks
///     term       [number [/ number] *] condition {& condition}; a comma is the same as &
///     condition  NAME=VALUE; a name may stand in back-quotes, a value in single or double quotes,
///                the quote itself written twice inside them
///
/// A name that is none of `names` ends at the sign of equality. A value without quotes ends before
/// &, a comma or a sign between blanks. Names are found in either case of letters, the longest
/// first. Throws Error (kBadInput) that quotes the contrast.
[[nodiscard]] std::vector<WrittenCell> ReadContrast(const std::string& text,
                                                    const std::vector<std::string>& names);

/// Reads what --means takes: names with colons between them. Throws Error (kBadInput).
[[nodiscard]] std::vector<std::string> ReadMeans(const std::string& text,
                                                 const std::vector<std::string>& names);

}  // namespace qvhost
