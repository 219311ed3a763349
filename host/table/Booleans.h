#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace qvhost {

/// How the two booleans are written. A plain value.
struct BooleanTexts {
  std::string no = "false";
  std::string yes = "true";

  friend bool operator==(const BooleanTexts&, const BooleanTexts&) = default;
};

/// What a text means as a boolean: true, false, t, f, yes, no, y, n, 1 and 0 in any case of letters
/// are some; nothing for any other text.
[[nodiscard]] std::optional<bool> TruthOf(std::string_view text);

/// Every text that means this boolean, in lower case.
[[nodiscard]] std::vector<std::string> TextsOf(bool truth);

/// The pair of texts that a boolean is one of, in its case of letters: `No` and `Yes` for `Yes`.
/// Mixed cases such as `tRUE` count as lower case. Nothing for a text that is no boolean.
[[nodiscard]] std::optional<BooleanTexts> SpellingOf(std::string_view text);

/// The pair that most values are written in, of texts with their counts; of pairs that are as
/// frequent, the one in lower case, and then the first by bytes. Texts that are no booleans do not
/// count; without any other, `false` and `true`.
[[nodiscard]] BooleanTexts UsualSpelling(
    const std::vector<std::pair<std::string, std::int64_t>>& counts);

}  // namespace qvhost
