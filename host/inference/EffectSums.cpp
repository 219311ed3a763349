#include "host/inference/EffectSums.h"

#include <algorithm>
#include <cmath>
#include <numeric>
#include <utility>

#include "host/inference/OrthonormalBasis.h"

namespace qvhost {

/// The Cholesky factor M of the covariance matrix of some estimates: M^-1 takes estimates to
/// uncorrelated numbers of variance 1.
class EffectSums::Factor {
 public:
  Factor(const QvCommon::QvSymMatrixData& covariance, const Places& places,
         const std::function<bool()>& isStopped)
      : matrix_(static_cast<int>(places.size())), size_(places.size()) {
    for (std::size_t i = 0; i < size_; ++i) {
      for (std::size_t j = 0; j <= i; ++j) {
        matrix_.SetElem(
            static_cast<int>(i), static_cast<int>(j),
            covariance.GetElem(static_cast<int>(places[i]), static_cast<int>(places[j])));
      }
    }
    double measure = 0.0;
    isSound_ = size_ > 0 && matrix_.LTChol(0.0, measure, true, isStopped) == 0;
  }

  [[nodiscard]] bool IsSound() const { return isSound_; }

  /// M^-1 v
  [[nodiscard]] std::vector<double> Whiten(std::vector<double> v) const {
    for (std::size_t i = 0; i < size_; ++i) {
      double value = v[i];
      for (std::size_t j = 0; j < i; ++j) value -= Element(i, j) * v[j];
      v[i] = value / Element(i, i);
    }
    return v;
  }

  /// M' v
  [[nodiscard]] std::vector<double> TimesTranspose(const std::vector<double>& v) const {
    std::vector<double> product(size_, 0.0);
    for (std::size_t i = 0; i < size_; ++i) {
      if (v[i] == 0.0) continue;
      for (std::size_t j = 0; j <= i; ++j) product[j] += Element(i, j) * v[i];
    }
    return product;
  }

 private:
  [[nodiscard]] double Element(std::size_t i, std::size_t j) const {
    return matrix_.GetElem(static_cast<int>(i), static_cast<int>(j));
  }

  QvCommon::QvSymMatrix matrix_;
  std::size_t size_;
  bool isSound_ = false;
};

namespace {

double SumOfSquares(const std::vector<double>& values, std::size_t first = 0) {
  return std::accumulate(values.begin() + static_cast<std::ptrdiff_t>(first), values.end(), 0.0,
                         [](double sum, double value) { return sum + value * value; });
}

std::vector<double> Choose(const std::vector<double>& values,
                           const std::vector<std::size_t>& places) {
  std::vector<double> chosen;
  chosen.reserve(places.size());
  for (const std::size_t place : places) chosen.push_back(values[place]);
  return chosen;
}

/// The metric of coefficients: g' N h is the product of the coefficients of two hypotheses, those
/// for redundant columns included, of which the `combinations` are.
std::vector<double> InMetric(const std::vector<std::vector<double>>& combinations,
                             const std::vector<double>& g) {
  std::vector<double> result = g;
  for (const std::vector<double>& c : combinations) {
    const double coefficient = std::inner_product(c.begin(), c.end(), g.begin(), 0.0);
    if (coefficient == 0.0) continue;
    for (std::size_t i = 0; i < result.size(); ++i) result[i] += coefficient * c[i];
  }
  return result;
}

}  // namespace

EffectSums::EffectSums(Parts parts) : parts_(std::move(parts)) {
  if (!parts_.isStopped) parts_.isStopped = [] { return false; };
}

int EffectSums::KeptOf(int term) const {
  return static_cast<int>(KeptPlaces([term](int other) { return other == term; }).size());
}

EffectSums::Places EffectSums::KeptPlaces(const std::function<bool(int)>& isTested) const {
  Places places;
  for (std::size_t i = 0; i < parts_.terms.size(); ++i) {
    if (parts_.kept[i] && isTested(parts_.terms[i])) places.push_back(i);
  }
  return places;
}

EffectSums::Vectors EffectSums::Combinations(const Places& places,
                                             const std::function<bool(int)>& isChosen) const {
  std::vector<std::size_t> numbers(parts_.terms.size(), places.size());
  for (std::size_t i = 0; i < places.size(); ++i) numbers[places[i]] = i;
  Vectors combinations;
  for (const RedundantColumn& column : parts_.redundant) {
    if (!isChosen(parts_.terms[column.parameter])) continue;
    std::vector<double> combination;
    for (std::size_t i = 0; i < column.places.size(); ++i) {
      const std::size_t number = numbers[column.places[i]];
      if (number == places.size()) continue;
      if (combination.empty()) combination.resize(places.size(), 0.0);
      combination[number] = column.coefficients[i];
    }
    if (!combination.empty()) combinations.push_back(std::move(combination));
  }
  return combinations;
}

EffectSums::Vectors EffectSums::Hypotheses(const Places& places,
                                           const std::function<bool(int)>& isTested) const {
  // In units of the standard errors, which columns of all sizes have in common.
  std::vector<double> errors;
  errors.reserve(places.size());
  for (const std::size_t place : places) {
    const auto row = static_cast<int>(place);
    errors.push_back(std::sqrt(parts_.covariance.GetElem(row, row)));
  }
  Vectors combinations = Combinations(places, [&](int term) { return !isTested(term); });
  for (std::vector<double>& combination : combinations) {
    for (std::size_t i = 0; i < errors.size(); ++i) combination[i] /= errors[i];
  }
  Vectors hypotheses = OrthogonalComplement(places.size(), combinations);
  for (std::vector<double>& hypothesis : hypotheses) {
    for (std::size_t i = 0; i < errors.size(); ++i) hypothesis[i] /= errors[i];
  }
  return hypotheses;
}

std::optional<EffectSum> EffectSums::Of(int term, const std::vector<bool>& containing,
                                        Adjustment adjustment) const {
  const auto isContaining = [&](int other) {
    return other >= 0 && containing[static_cast<std::size_t>(other)];
  };
  const auto isTested = [&](int other) { return other == term || isContaining(other); };
  // Those that contain the term first: what they leave of the estimates of all follows.
  Places places = KeptPlaces(isContaining);
  const std::size_t outer = places.size();
  const Places own = KeptPlaces([term](int other) { return other == term; });
  places.insert(places.end(), own.begin(), own.end());
  if (places.empty()) return EffectSum{};

  const Factor factor(parts_.covariance, places, parts_.isStopped);
  if (!factor.IsSound()) return std::nullopt;
  std::vector<double> rest = factor.Whiten(Choose(parts_.estimates, places));
  const Vectors staying = Combinations(places, [&](int other) { return !isTested(other); });
  const Places outerPlaces(places.begin(), places.begin() + static_cast<std::ptrdiff_t>(outer));
  const bool isPlain = staying.empty() && Combinations(outerPlaces, [&](int other) {
                                            return !isContaining(other);
                                          }).empty();
  if (isPlain && (outer == 0 || adjustment == Adjustment::kWithoutContaining)) {
    return EffectSum{static_cast<int>(own.size()), SumOfSquares(rest, outer)};
  }

  OrthonormalBasis others;
  for (const std::vector<double>& combination : staying) others.Add(factor.Whiten(combination));
  const Vectors within = Combinations(places, isTested);
  for (std::vector<double>& hypothesis : Hypotheses(outerPlaces, isContaining)) {
    if (parts_.isStopped()) return std::nullopt;
    hypothesis.resize(places.size(), 0.0);
    // It is imposed in any case: that it is nearly imposed already is no reason to leave it out.
    others.Add(adjustment == Adjustment::kWithoutContaining
                   ? factor.TimesTranspose(hypothesis)
                   : factor.Whiten(InMetric(within, hypothesis)),
               1e-13);
  }
  others.RemoveFrom(rest);
  const auto degrees = static_cast<int>(places.size()) - static_cast<int>(others.Size());
  return EffectSum{degrees, degrees == 0 ? 0.0 : SumOfSquares(rest)};
}

std::optional<std::vector<EffectSum>> EffectSums::Sequential(int count) const {
  // From the last term to the first: what each adds to those behind it.
  std::vector<EffectSum> sums(static_cast<std::size_t>(count));
  Places places;
  for (int term = count - 1; term >= 0; --term) {
    const Places own = KeptPlaces([term](int other) { return other == term; });
    places.insert(places.end(), own.begin(), own.end());
    sums[static_cast<std::size_t>(term)].degrees = static_cast<int>(own.size());
  }
  if (places.empty()) return sums;
  const Factor factor(parts_.covariance, places, parts_.isStopped);
  if (!factor.IsSound()) return std::nullopt;
  const std::vector<double> parts = factor.Whiten(Choose(parts_.estimates, places));
  for (std::size_t i = 0; i < places.size(); ++i) {
    sums[static_cast<std::size_t>(parts_.terms[places[i]])].sum += parts[i] * parts[i];
  }
  return sums;
}

}  // namespace qvhost
