#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <utility>
#include <vector>

#include "host/table/CodedTable.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/settings/QvRegrParameter.h"

namespace qvhost {

/// How the terms of a model, the intercept among them, make design rows in the units of the
/// estimation (see ScaledEstimates). Each has one non-zero at most: at the parameter of the
/// record's levels, the product of the record's covariates. Unlike DesignRow it tells single terms,
/// the parameters of levels that no record at hand has, and derivatives. Of a logistic model all is
/// that of one category, the same for each.
///
/// Immutable; any number of threads may use one.
class DesignTerms {
 public:
  /// A covariate of a term.
  struct Power {
    int position = 0;  ///< In the records.
    int power = 1;
  };

  /// For records that are coded as those of the table. Throws Error (kRunFailed) for a term whose
  /// levels have more than 2^62 combinations.
  DesignTerms(const IQvRegOutputStats& output, const CodedTable& table);

  [[nodiscard]] std::size_t Size() const { return terms_.size(); }
  /// Parameters of one category: all of a linear model.
  [[nodiscard]] std::size_t BlockSize() const { return blockSize_; }

  /// A number for the record's combination of levels in a term.
  [[nodiscard]] std::int64_t KeyOf(std::size_t term, const QvCommon::Record& record) const;
  /// By how much the number grows from one code of a factor to the next: 0 for one that the term
  /// does not have.
  [[nodiscard]] std::int64_t StrideOf(std::size_t term, int position) const;
  /// The parameter of a combination; -1 for one that did not occur.
  [[nodiscard]] int ParameterAt(std::size_t term, std::int64_t key) const {
    const Term& own = terms_[term];
    if (!own.table.empty()) return own.table[static_cast<std::size_t>(key)];
    const auto found = own.found.find(key);
    return found == own.found.end() ? -1 : found->second;
  }

  [[nodiscard]] const std::vector<Power>& Covariates(std::size_t term) const {
    return terms_[term].covariates;
  }
  /// The non-zero of a term.
  [[nodiscard]] double ValueOf(std::size_t term, const QvCommon::Record& record) const;
  /// Its derivative by one of the term's covariates.
  [[nodiscard]] double SlopeOf(std::size_t term, std::size_t covariate,
                               const QvCommon::Record& record) const;

 private:
  struct Term {
    std::vector<int> factors;           ///< Positions in the records,
    std::vector<std::int64_t> strides;  ///< and what a code counts for.
    std::int64_t combinations = 1;
    std::vector<Power> covariates;
    int exponent = 0;        ///< The product is divided by this power of two.
    std::vector<int> table;  ///< The parameters of combinations by their numbers; or, where these
    std::unordered_map<std::int64_t, int> found;  ///< are too many, by a search.
  };

  void AddTerm(const QvRegrParameter& parameter, int exponent, const CodedTable& table);
  static void Index(const std::vector<std::pair<std::int64_t, int>>& parameters, Term& term);

  std::vector<Term> terms_;
  std::size_t blockSize_ = 0;
};

}  // namespace qvhost
