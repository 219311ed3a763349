#pragma once

#include <array>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace qvhost {

/// The texts that stand for a missing value. Blanks around a text (spaces and tabs) are of no
/// meaning, upper and lower case differ. A text that is empty without its blanks is always missing.
/// Safe to be asked by several threads.
class MissingStrings {
 public:
  /// What people and programs write for a missing value in a text file.
  [[nodiscard]] static const std::vector<std::string>& Default();

  explicit MissingStrings(const std::vector<std::string>& strings);

  static constexpr int kValue = -1;  ///< Not missing.
  static constexpr int kEmpty = -2;  ///< Missing, and nothing that could be named.

  /// The place of a text in Strings(), kValue or kEmpty.
  [[nodiscard]] int Find(std::string_view text) const;

  /// The texts without their blanks, each once, none empty.
  [[nodiscard]] const std::vector<std::string>& Strings() const { return strings_; }

 private:
  std::vector<std::string> strings_;
  std::size_t longest_ = 0;
  std::array<bool, 256> isFirst_{};  ///< Whether a text begins with this byte.
};

/// Whether a missing string may as well be a level of a factor, as None, - or ?: it is neither
/// empty nor a spelling of NA, N/A, NaN or NULL.
[[nodiscard]] bool MayBeLevel(std::string_view text);

}  // namespace qvhost
