#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace qvhost {

/// How records are held out, to compare them with what a fit of the others predicts.
enum class ValidationKind {
  kNone,
  kSplit,    ///< Those that a column tells.
  kHoldout,  ///< A share of the rows, by lot.
  kFolds     ///< Each part of the rows once, by lot.
};

/// The option without its dashes: `split`.
[[nodiscard]] constexpr const char* ValidationName(ValidationKind kind) {
  constexpr std::array kNames = {"none", "split", "holdout", "folds"};
  return kNames.at(static_cast<std::size_t>(kind));
}

/// What --split, --holdout and --folds ask for. A plain value.
struct ValidationOptions {
  ValidationKind kind = ValidationKind::kNone;
  std::string column;                ///< Of kSplit.
  std::optional<std::string> level;  ///< Of kSplit: its level of the records to fit; none: by name.
  double share = 0.0;                ///< Of kHoldout, above 0 and below 1.
  int folds = 0;                     ///< Of kFolds, 2 or more.
  std::uint64_t seed = 1;            ///< Of the lots.

  /// Whether the model that is reported is fitted without the records held out.
  [[nodiscard]] bool IsTrainingOnly() const {
    return kind == ValidationKind::kSplit || kind == ValidationKind::kHoldout;
  }
};

}  // namespace qvhost
