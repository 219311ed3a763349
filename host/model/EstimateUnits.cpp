#include "host/model/EstimateUnits.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <utility>

#include "host/fit/ScaledEstimates.h"
#include "host/inference/CoefficientCovariance.h"
#include "host/model/ExtensionFields.h"
#include "qvreg/common/QvNumberText.h"

namespace qvhost {
namespace {

std::size_t TriangleSize(std::size_t rows) { return rows * (rows + 1) / 2; }

/// Calls visit(place, row, column) for the elements of a lower triangle.
template <typename Visit>
void ForEachElement(std::size_t rows, Visit&& visit) {
  std::size_t place = 0;
  for (std::size_t i = 0; i < rows; ++i) {
    for (std::size_t j = 0; j <= i; ++j) visit(place++, i, j);
  }
}

bool AreSameBits(double a, double b) {
  return std::bit_cast<std::uint64_t>(a) == std::bit_cast<std::uint64_t>(b);
}

/// The numbers that differ from the `converted` ones: the place of each, and itself.
std::string CorrectionsText(const std::vector<double>& numbers,
                            const std::vector<double>& converted) {
  std::string text;
  for (std::size_t i = 0; i < numbers.size(); ++i) {
    if (AreSameBits(numbers[i], converted[i])) continue;
    if (!text.empty()) text += ' ';
    text +=
        QvCommon::NumberText(static_cast<long long>(i)) + ' ' + QvCommon::NumberText(numbers[i]);
  }
  return text;
}

/// Puts the numbers of such a text in their places.
void Correct(const char* name, std::string_view text, std::vector<double>& numbers) {
  long long next = 0;
  while (!text.empty()) {
    long long place = 0;
    double number = 0.0;
    const bool isRead = QvCommon::ReadNumber(QvCommon::TakeWord(text), place) &&
                        QvCommon::ReadNumber(QvCommon::TakeWord(text), number);
    if (!isRead || place < next || static_cast<std::size_t>(place) >= numbers.size()) {
      RefuseElement(std::string("Extension '") + name + "'", "corrects numbers that are not there");
    }
    numbers[static_cast<std::size_t>(place)] = number;
    next = place + 1;
  }
}

/// A parameter times 2 to this power is in the data's units.
int PowerOf(const EstimateUnits& units, std::size_t parameter) {
  return units.dependentExponent - units.exponents[parameter];
}

std::vector<double> OwnEstimates(const std::vector<double>& data, const EstimateUnits& units) {
  std::vector<double> own(data);
  for (std::size_t k = 0; k < own.size(); ++k) own[k] = std::ldexp(data[k], -PowerOf(units, k));
  return own;
}

/// The covariance that the data's is made of, but for corrections.
std::vector<double> OwnCovariance(const DataEstimates& data, const EstimateUnits& units) {
  if (data.covariance.empty() || !units.variance) return units.covariance;
  const std::size_t rows = data.estimates.size();
  std::vector<double> own(TriangleSize(rows));
  ForEachElement(rows, [&](std::size_t place, std::size_t i, std::size_t j) {
    const int power = PowerOf(units, i) + PowerOf(units, j);
    own[place] = std::ldexp(data.covariance[place], -power) / *units.variance;
  });
  return own;
}

/// That of columns that are not divided: of a linear model with a row of zeros for the dependent.
std::vector<double> HostCovariance(const std::vector<double>& own, const EstimateUnits& units,
                                   bool isLinear) {
  const std::size_t rows = units.exponents.size();
  std::vector<double> host(isLinear ? TriangleSize(rows + 1) : own.size());
  ForEachElement(rows, [&](std::size_t place, std::size_t i, std::size_t j) {
    host[place] = std::ldexp(own[place], -(units.exponents[i] + units.exponents[j]));
  });
  return host;
}

}  // namespace

DataEstimates ToData(const RestoredModel& model, EstimateUnits& units) {
  const QvModelContents& contents = model.Contents();
  const CoefficientCovariance coefficients = model.Coefficients();
  const ScaledEstimates own = ScaledEstimatesOf(model.Output());
  const bool isLinear = !contents.fSettings.fLogistic;
  const std::vector<double>& estimates =
      isLinear ? contents.fLinear.fEstimates.fEstimates : contents.fLogistic.fEstimates.fEstimates;
  const auto& scaled =
      isLinear ? contents.fLinear.fScaledCovariance : contents.fLogistic.fScaledCovariance;
  const std::vector<double>& host =
      isLinear ? contents.fLinear.fCovariance : contents.fLogistic.fCovariance.value();
  units.exponents = own.exponents;
  units.dependentExponent = own.dependentExponent;
  if (estimates.size() <= kMostCovarianceRows) units.variance = coefficients.Variance();
  units.isScaled = scaled.has_value();

  DataEstimates data;
  for (std::size_t k = 0; k < estimates.size(); ++k) {
    data.estimates.push_back(coefficients.Estimate(k));
  }
  if (units.variance) {
    data.covariance.resize(TriangleSize(estimates.size()));
    ForEachElement(estimates.size(), [&](std::size_t place, std::size_t i, std::size_t j) {
      data.covariance[place] = coefficients.At(i, j);
    });
  }
  units.estimateCorrections = CorrectionsText(estimates, OwnEstimates(data.estimates, units));
  std::vector<double> covariance(scaled ? *scaled : host);
  covariance.resize(TriangleSize(estimates.size()));
  if (!units.variance) units.covariance = covariance;
  units.covarianceCorrections = CorrectionsText(covariance, OwnCovariance(data, units));
  units.hostCorrections = CorrectionsText(host, HostCovariance(covariance, units, isLinear));
  return data;
}

bool AreSameNumbers(const std::vector<double>& a, const std::vector<double>& b) {
  return std::ranges::equal(a, b, AreSameBits);
}

bool AreSameUnits(const EstimateUnits& a, const EstimateUnits& b) {
  return a.exponents == b.exponents && a.dependentExponent == b.dependentExponent &&
         a.variance == b.variance && a.isScaled == b.isScaled &&
         AreSameNumbers(a.covariance, b.covariance) &&
         a.estimateCorrections == b.estimateCorrections &&
         a.covarianceCorrections == b.covarianceCorrections &&
         a.hostCorrections == b.hostCorrections;
}

void FromData(const DataEstimates& data, const EstimateUnits& units, QvModelContents& contents) {
  const bool isLinear = !contents.fSettings.fLogistic;
  if (units.exponents.size() != data.estimates.size()) {
    RefuseElement("Extension 'exponents'", "does not have one number for each PCell");
  }
  // No power of two that takes a double to a double is beyond these.
  constexpr int kFarthest = 1 << 28;
  for (const int exponent : units.exponents) {
    if (std::abs(static_cast<long long>(exponent)) > kFarthest) {
      RefuseElement("Extension 'exponents'", "holds powers that no number has");
    }
  }
  if (std::abs(static_cast<long long>(units.dependentExponent)) > kFarthest) {
    RefuseElement("Extension 'dependentExponent'", "holds a power that no number has");
  }
  std::vector<double> estimates = OwnEstimates(data.estimates, units);
  Correct("estimateCorrections", units.estimateCorrections, estimates);
  std::vector<double> own = OwnCovariance(data, units);
  if (own.size() != TriangleSize(data.estimates.size())) {
    RefuseElement("Extension 'covariance'", "is not that of every two PCells");
  }
  Correct("covarianceCorrections", units.covarianceCorrections, own);
  std::vector<double> host = HostCovariance(own, units, isLinear);
  Correct("hostCorrections", units.hostCorrections, host);
  std::optional<std::vector<double>> scaled;
  if (units.isScaled) scaled = std::move(own);
  if (isLinear) {
    contents.fLinear.fEstimates.fEstimates = std::move(estimates);
    contents.fLinear.fCovariance = std::move(host);
    contents.fLinear.fScaledCovariance = std::move(scaled);
  } else {
    contents.fLogistic.fEstimates.fEstimates = std::move(estimates);
    contents.fLogistic.fCovariance = std::move(host);
    contents.fLogistic.fScaledCovariance = std::move(scaled);
  }
}

}  // namespace qvhost
