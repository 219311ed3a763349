#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "host/formula/Formula.h"
#include "host/formula/Variable.h"
#include "host/table/LevelChoice.h"

namespace qvhost {

/// The options that say something of a factor's levels.
enum class LevelOption {
  kBase,   ///< `--base`: which one the others are compared with.
  kLevels  ///< `--levels`: their order.
};

/// The levels that --base and --levels choose: which option belongs to which factor of a formula. A
/// factor is called by its column or expression, or as the formula has it: `b` and `C(b)` both,
/// with blanks and in a case of letters as one likes. Borrows the formula.
class LevelOptions {
 public:
  /// `bases` and `lists` are the options as written. `isFactor`: of each of the formula's
  /// variables; `isCategory`: whether the dependent is one. Throws Error (kBadInput) for an option
  /// that cannot be read, or names no factor.
  LevelOptions(const std::vector<std::string>& bases, const std::vector<std::string>& lists,
               const Formula& formula, std::vector<bool> isFactor, bool isCategory);

  /// What was chosen for a factor of the formula, by the options or in the formula. Throws Error
  /// (kBadInput) when two choices differ.
  [[nodiscard]] LevelChoice Of(const Variable& factor) const;
  /// The order of the dependent's levels.
  [[nodiscard]] LevelChoice OfDependent() const;

 private:
  /// One option: a factor and a text that says something of it.
  struct Choice {
    std::string name;  ///< As one of Names spells it.
    std::string text;
  };
  using Choices = std::vector<Choice>;

  [[nodiscard]] Choice Read(LevelOption option, const std::string& written) const;
  [[nodiscard]] Choice Find(LevelOption option, const std::string& written) const;
  [[nodiscard]] std::string FactorList(std::string_view wanted) const;
  void AddOrder(const Variable& factor, LevelChoice& choice) const;

  const Formula& formula_;
  std::vector<bool> isFactor_;
  bool isCategory_;
  Choices bases_;
  bool isFirstBase_ = false;  ///< Of every factor that has no base of its own.
  Choices lists_;
};

/// Throws Error (kBadInput) for an option that is not of the form FACTOR=....
void CheckLevelOption(LevelOption option, const std::string& written);

}  // namespace qvhost
