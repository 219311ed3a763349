#include "host/fit/DesignTerms.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "host/Error.h"
#include "host/fit/ScaledEstimates.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {

namespace {

/// A product of covariates, in pieces that stay in range.
class Product {
 public:
  explicit Product(int exponent) : exponent_(-exponent) {}

  void Multiply(double value, int power) {
    if (exponent_ == 0 && scale_ == 0) {
      for (; power > 0; --power) product_ *= value;
      return;
    }
    int exponent = 0;
    const double fraction = std::frexp(value, &exponent);
    for (; power > 0; --power) {
      product_ *= fraction;
      scale_ += exponent;
    }
  }

  [[nodiscard]] double Value() const {
    const int exponent = exponent_ + scale_;
    return exponent == 0 ? product_ : std::ldexp(product_, exponent);
  }

 private:
  int exponent_;
  int scale_ = 0;
  double product_ = 1.0;
};

}  // namespace

DesignTerms::DesignTerms(const IQvRegOutputStats& output, const CodedTable& table) {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&output);
  const std::vector<QvRegrParameter>& parameters = output.GetParameters();
  const std::size_t blocks = logistic == nullptr ? 1 : logistic->GetDependCategories().size() - 1;
  blockSize_ = parameters.size() / blocks;
  const ScaledEstimates scaled = ScaledEstimatesOf(output);
  std::vector<std::pair<std::int64_t, int>> listed;
  for (std::size_t i = 0; i < blockSize_; ++i) {
    const QvRegrParameter& parameter = parameters[i];
    if (listed.empty()) AddTerm(parameter, scaled.exponents[i], table);
    const Term& term = terms_.back();
    std::int64_t key = 0;
    for (std::size_t k = 0; k < term.factors.size(); ++k) {
      key += term.strides[k] * parameter.GetCategories()[k];
    }
    listed.emplace_back(key, static_cast<int>(i));
    const bool isLast =
        i + 1 == blockSize_ || parameters[i + 1].GetEffectIndex() != parameter.GetEffectIndex();
    if (!isLast) continue;
    Index(listed, terms_.back());
    listed.clear();
  }
}

void DesignTerms::AddTerm(const QvRegrParameter& parameter, int exponent, const CodedTable& table) {
  constexpr std::int64_t kMostCombinations = std::int64_t{1} << 62;
  Term& term = terms_.emplace_back();
  term.exponent = exponent;
  term.factors = parameter.GetFactors();
  for (const int position : term.factors) {
    const auto levels = static_cast<std::int64_t>(
        table.Columns()[static_cast<std::size_t>(position)].levels.size());
    term.strides.push_back(term.combinations);
    if (levels > kMostCombinations / term.combinations) {
      throw Error(ExitCode::kRunFailed,
                  "A term has too many combinations of levels for --margins; leave it out.");
    }
    term.combinations *= levels;
  }
  for (std::size_t k = 0; k < parameter.GetCovariates().size(); ++k) {
    term.covariates.push_back(
        {parameter.GetCovariates()[k], parameter.GetCovariateMultiplicities()[k]});
  }
}

void DesignTerms::Index(const std::vector<std::pair<std::int64_t, int>>& parameters, Term& term) {
  constexpr std::int64_t kSmall = 4096;
  constexpr std::int64_t kShare = 8;
  if (term.combinations > kSmall + kShare * static_cast<std::int64_t>(parameters.size())) {
    term.found.insert(parameters.begin(), parameters.end());
    return;
  }
  term.table.assign(static_cast<std::size_t>(term.combinations), -1);
  for (const auto& [key, parameter] : parameters) {
    term.table[static_cast<std::size_t>(key)] = parameter;
  }
}

std::int64_t DesignTerms::KeyOf(std::size_t term, const QvCommon::Record& record) const {
  const Term& own = terms_[term];
  std::int64_t key = 0;
  for (std::size_t k = 0; k < own.factors.size(); ++k) {
    key += own.strides[k] * static_cast<std::int64_t>(record[own.factors[k]]);
  }
  return key;
}

std::int64_t DesignTerms::StrideOf(std::size_t term, int position) const {
  const Term& own = terms_[term];
  const auto found = std::ranges::find(own.factors, position);
  return found == own.factors.end()
             ? 0
             : own.strides[static_cast<std::size_t>(found - own.factors.begin())];
}

double DesignTerms::ValueOf(std::size_t term, const QvCommon::Record& record) const {
  const Term& own = terms_[term];
  Product product(own.exponent);
  for (const Power& covariate : own.covariates) {
    product.Multiply(record[covariate.position], covariate.power);
  }
  return product.Value();
}

double DesignTerms::SlopeOf(std::size_t term, std::size_t covariate,
                            const QvCommon::Record& record) const {
  const Term& own = terms_[term];
  Product product(own.exponent);
  for (std::size_t i = 0; i < own.covariates.size(); ++i) {
    const Power& factor = own.covariates[i];
    product.Multiply(record[factor.position], i == covariate ? factor.power - 1 : factor.power);
  }
  return own.covariates[covariate].power * product.Value();
}

}  // namespace qvhost
