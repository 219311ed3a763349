#include "host/inference/OrthonormalBasis.h"

#include <cmath>
#include <numeric>
#include <utility>

namespace qvhost {
namespace {

double Product(const std::vector<double>& a, const std::vector<double>& b) {
  return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

}  // namespace

void OrthonormalBasis::RemoveFrom(std::vector<double>& vector) const {
  for (int round = 0; round < 2; ++round) {
    for (const std::vector<double>& direction : vectors_) {
      const double share = Product(direction, vector);
      if (share == 0.0) continue;
      for (std::size_t i = 0; i < vector.size(); ++i) vector[i] -= share * direction[i];
    }
  }
}

bool OrthonormalBasis::Add(std::vector<double> vector, double tolerance) {
  const double before = std::sqrt(Product(vector, vector));
  if (!(before > 0.0)) return false;
  RemoveFrom(vector);
  const double left = std::sqrt(Product(vector, vector));
  if (!(left > tolerance * before)) return false;
  for (double& value : vector) value /= left;
  vectors_.push_back(std::move(vector));
  return true;
}

std::vector<std::vector<double>> OrthogonalComplement(
    std::size_t length, const std::vector<std::vector<double>>& others) {
  OrthonormalBasis basis;
  for (const std::vector<double>& other : others) basis.Add(other);
  std::vector<std::vector<double>> complement;
  for (std::size_t i = 0; i < length && basis.Size() < length; ++i) {
    std::vector<double> unit(length, 0.0);
    unit[i] = 1.0;
    if (basis.Add(std::move(unit))) complement.push_back(basis.Latest());
  }
  return complement;
}

}  // namespace qvhost
