#pragma once

#include <cstddef>
#include <string_view>

#include "host/formula/TermSet.h"

namespace qvhost {

/// The operators of a formula on sets of terms. Each takes the place of its sign, for errors. Keeps
/// count of the work of one formula, and refuses one that would expand without bounds.
class TermAlgebra {
 public:
  static constexpr std::size_t kMaxTerms = 10'000;

  /// `text` is the formula, and must live longer.
  explicit TermAlgebra(std::string_view text) : text_(text) {}

  /// `left + right`; what the right side says of the intercept counts.
  void Add(TermSet& left, const TermSet& right, Place sign);
  /// `left - right`, where the right side stands at `operand`. Throws FormulaError when none of the
  /// right side's terms is there.
  void TakeOut(TermSet& left, const TermSet& right, Place operand) const;
  /// `left:right`
  [[nodiscard]] TermSet Cross(const TermSet& left, const TermSet& right, Place sign);
  /// `left*right`: left + right + left:right.
  [[nodiscard]] TermSet Star(const TermSet& left, const TermSet& right, Place sign);
  /// `left/right`: left, then each term of the right nested in all variables of the left.
  [[nodiscard]] TermSet Nest(const TermSet& left, const TermSet& right, Place sign);
  /// `left %in% right`: each term of the left nested in all variables of the right.
  [[nodiscard]] TermSet Within(const TermSet& left, const TermSet& right, Place sign);
  /// `base^degree`: base*base*..., so that terms of a lower degree come first.
  [[nodiscard]] TermSet Power(const TermSet& base, int degree, Place sign);

 private:
  enum class Manner { kCrossed, kNested };

  [[nodiscard]] Term Merge(const Term& outer, const Term& inner, Manner manner, Place sign);
  /// All atoms of a set in one term.
  [[nodiscard]] Term Union(const TermSet& set, Place sign);
  bool Put(TermSet& set, Term term, Place sign) const;
  void PutAll(TermSet& set, const TermSet& more, Place sign) const;
  void RefuseIntercept(const TermSet& set) const;
  [[noreturn]] void RefuseExpansion(Place sign) const;

  std::string_view text_;
  std::size_t work_ = 0;
};

}  // namespace qvhost
