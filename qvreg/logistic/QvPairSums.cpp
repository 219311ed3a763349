#include "qvreg/logistic/QvPairSums.h"

#include <algorithm>
#include <span>

using QvCommon::QvTiles;

namespace {

constexpr std::size_t kTileRows = QvTiles::kRows;
constexpr std::size_t kTileColumns = QvTiles::kColumns;

std::size_t RoundUp(std::size_t n, std::size_t unit) { return (n + unit - 1) / unit * unit; }

/// How many sums a strip of four rows has, up to the diagonal and to the end of a tile.
std::size_t StripSize(std::size_t strip) {
  return kTileRows * RoundUp((strip + 1) * kTileRows, kTileColumns);
}

std::size_t CountProducts(std::size_t p) { return p * (p + 1) / 2; }

}  // namespace

void QvPairSums::SetUp(std::size_t p, std::size_t K) {
  const std::size_t nBlocks = K - 1;
  fStrips.clear();
  fSize = 0;
  for (std::size_t strip = 0; strip * kTileRows < nBlocks; ++strip) {
    fStrips.push_back(fSize);
    fSize += StripSize(strip);
  }
  fRows.assign(kRows * p, 0.0);
  fProbabilities.assign(kRows * RoundUp(nBlocks, kTileColumns), 0.0);
  fDiagonals.assign(CountProducts(p) * nBlocks, 0.0);
  fSums.assign(CountProducts(p) * fSize, 0.0);
  fNValues = p;
  fNBlocks = nBlocks;
  fCount = 0;
  fbAnySums = false;
}

std::size_t QvPairSums::GetSize(std::size_t p, std::size_t K) {
  const std::size_t order = RoundUp(K, kTileColumns);
  return (CountProducts(p) * (order * (order + 2 * kTileColumns) / 2) + kRows * order) *
         sizeof(double);
}

std::size_t QvPairSums::FindRow(const double* values) const {
  for (std::size_t r = 0; r < fCount; ++r) {
    if (std::equal(values, values + fNValues, &fRows[r * fNValues])) return r;
  }
  return fCount;
}

void QvPairSums::Add(const double* values, double weight, const double* probabilities,
                     std::size_t stride) {
  std::size_t row = FindRow(values);
  if (row < fCount) {
    fWeights[row] += weight;
    return;
  }
  if (fCount == kRows) MultiplyRows();
  row = fCount++;
  fWeights[row] = weight;
  std::copy_n(values, fNValues, &fRows[row * fNValues]);
  for (std::size_t c = 0; c < fNBlocks; ++c) {
    fProbabilities[(c / kTileColumns * kRows + row) * kTileColumns + c % kTileColumns] =
        probabilities[c * stride];
  }
}

void QvPairSums::MultiplyRows() {
  if (fCount == 0) return;
  std::array<double, kRows> weights{};
  double* diagonals = fDiagonals.data();
  double* sums = fSums.data();
  for (std::size_t a = 0; a < fNValues; ++a) {
    for (std::size_t b = 0; b <= a; ++b) {
      for (std::size_t r = 0; r < fCount; ++r) {
        const double* row = &fRows[r * fNValues];
        weights[r] = fWeights[r] * (row[a] * row[b]);
      }
      AddDiagonals(weights.data(), diagonals);
      for (std::size_t strip = 0; strip < fStrips.size(); ++strip) {
        AddStrip(strip, weights.data(), sums + fStrips[strip]);
      }
      diagonals += fNBlocks;
      sums += fSize;
    }
  }
  fCount = 0;
  fbAnySums = true;
}

void QvPairSums::AddDiagonals(const double* weights, double* sums) const {
  for (std::size_t c = 0; c < fNBlocks; ++c) {
    double sum = 0.0;
    for (std::size_t r = 0; r < fCount; ++r) {
      const double probability = Probability(c, r);
      sum -= weights[r] * (probability - 1.0) * probability;
    }
    sums[c] += sum;
  }
}

void QvPairSums::AddStrip(std::size_t strip, const double* weights, double* sums) {
  const std::size_t first = strip * kTileRows;
  std::array<double, kRows * kTileRows> left{};
  for (std::size_t i = 0; i < kTileRows && first + i < fNBlocks; ++i) {
    for (std::size_t r = 0; r < fCount; ++r) {
      left[r * kTileRows + i] = -weights[r] * Probability(first + i, r);
    }
  }
  const std::size_t width = StripSize(strip) / kTileRows;
  std::array<double, kTileRows * kTileColumns> tile{};
  for (std::size_t j = 0; j < width; j += kTileColumns) {
    tile.fill(0.0);
    QvTiles::AddProducts(
        fCount, kTileRows, left.data(), kTileColumns, &fProbabilities[j * kRows],
        {tile.data(), &tile[kTileColumns], &tile[2 * kTileColumns], &tile[3 * kTileColumns]});
    for (std::size_t i = 0; i < kTileRows; ++i) {
      for (std::size_t c = 0; c < kTileColumns; ++c) {
        sums[i * width + j + c] += tile[i * kTileColumns + c];
      }
    }
  }
}

void QvPairSums::AddTo(QvCommon::QvSymBlockMatrix& information) {
  MultiplyRows();
  if (!fbAnySums) return;
  std::array<double, kMostValues> row{};
  std::size_t block = 0;
  for (std::size_t i = 0; i < fNBlocks; ++i) {
    const std::size_t strip = i / kTileRows;
    const std::size_t width = StripSize(strip) / kTileRows;
    const double* own = &fSums[fStrips[strip] + i % kTileRows * width];
    for (std::size_t j = 0; j <= i; ++j) {
      QvCommon::QvSymMatrix& target = information.GetBlocks()[block++];
      std::size_t product = 0;
      for (std::size_t a = 0; a < fNValues; ++a) {
        for (std::size_t b = 0; b <= a; ++b) {
          row[b] = i == j ? fDiagonals[product * fNBlocks + i] : own[product * fSize + j];
          ++product;
        }
        target.AddToRow(a, 0, std::span(row).first(a + 1));
      }
    }
  }
  Clear();
}

void QvPairSums::Clear() {
  fCount = 0;
  if (!fbAnySums) return;
  std::fill(fDiagonals.begin(), fDiagonals.end(), 0.0);
  std::fill(fSums.begin(), fSums.end(), 0.0);
  fbAnySums = false;
}
