#include "qvreg/logistic/QvBlockWeights.h"

#include <algorithm>

#include "qvreg/common/QvBytes.h"

namespace {

/// A category is decided when its probability has fallen below this part of its share. It is
/// reached after some 16 iterations of a separated fit, each of which divides it by e or more.
constexpr double kDecidedShare = 1e-7;

}  // namespace

void QvBlockWeights::SetUp(std::size_t K) {
  fDecidedBelow.assign(K, 0.0);
  fIsDecided.assign(K, 0);
  fUndecided.assign(K * (K - 1) / 2, 0.0);
  fDecided = fUndecided;
}

void QvBlockWeights::KeepShares(const std::vector<double>& categoryWeights, double weight) {
  if (fbHasShares || !(weight > 0.0)) return;
  for (std::size_t c = 0; c < categoryWeights.size(); ++c) {
    fDecidedBelow[c] = kDecidedShare * (categoryWeights[c] / weight);
  }
  fbHasShares = true;
}

void QvBlockWeights::WriteShares(QvCommon::QvByteWriter& writer) const {
  writer.PutBool(fbHasShares);
  writer.PutDoubles(fDecidedBelow);
}

void QvBlockWeights::ReadShares(QvCommon::QvByteReader& reader) {
  fbHasShares = reader.GetBool();
  reader.GetDoublesInto(fDecidedBelow);
}

int QvBlockWeights::FindDecided(const std::vector<double>& probabilities, std::size_t category) {
  int nDecided = 0;
  for (std::size_t c = 0; c < probabilities.size(); ++c) {
    fIsDecided[c] = probabilities[c] < fDecidedBelow[c] ? 1 : 0;
    nDecided += fIsDecided[c];
  }
  // The observed one never is: a row that is not predicted is undecided.
  nDecided -= fIsDecided[category];
  fIsDecided[category] = 0;
  return nDecided;
}

void QvBlockWeights::Compute(const std::vector<double>& probabilities, double weight) {
  std::size_t block = 0;
  for (std::size_t r = 0; r + 1 < probabilities.size(); ++r) {
    const double pr = probabilities[r];
    for (std::size_t s = 0; s < r; ++s) fUndecided[block++] = -weight * pr * probabilities[s];
    fUndecided[block++] = -weight * (pr - 1.0) * pr;
  }
}

void QvBlockWeights::ComputeParted(const std::vector<double>& probabilities, double weight) {
  std::size_t block = 0;
  for (std::size_t r = 0; r + 1 < probabilities.size(); ++r) {
    const double weighted = weight * probabilities[r];
    double undecided = 0.0;
    double decided = 0.0;
    for (std::size_t s = 0; s < probabilities.size(); ++s) {
      if (s == r) continue;
      const bool isDecided = IsDecided(r) || IsDecided(s);
      const double pair = weighted * probabilities[s];
      (isDecided ? decided : undecided) += pair;
      if (s > r) continue;
      fUndecided[block] = isDecided ? 0.0 : -pair;
      fDecided[block] = isDecided ? -pair : 0.0;
      ++block;
    }
    fUndecided[block] = undecided;
    fDecided[block] = decided;
    ++block;
  }
}

bool QvBlockWeights::IsAllDecided() const {
  return std::all_of(fUndecided.begin(), fUndecided.end(), [](double w) { return w == 0.0; });
}
