#include "qvreg/design/QvRedundantColumns.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace {

constexpr double kNegligibleShare = 1e-10;

std::size_t Index(int i) { return static_cast<std::size_t>(i); }

}  // namespace

void QvRedundantColumns::Add(int column, const std::vector<int>& kept,
                             const std::vector<double>& coefficients,
                             const std::vector<double>& diagonal) {
  const auto sizeOf = [&](std::size_t i) {
    return std::abs(coefficients[i]) * std::sqrt(diagonal[Index(kept[i])]);
  };
  double largest = 0.0;
  for (std::size_t i = 0; i < kept.size(); ++i) largest = std::max(largest, sizeOf(i));
  Column added;
  added.fIndex = column;
  for (std::size_t i = 0; i < kept.size(); ++i) {
    if (sizeOf(i) > kNegligibleShare * largest) {
      added.fCoefficients.emplace_back(kept[i], coefficients[i]);
    }
  }
  fColumns.push_back(std::move(added));
}

bool QvRedundantColumns::Get(int column, int size, std::vector<double>& combination) const {
  combination.assign(Index(size), 0.0);
  const auto found =
      std::lower_bound(fColumns.begin(), fColumns.end(), column,
                       [](const Column& entry, int index) { return entry.fIndex < index; });
  if (found == fColumns.end() || found->fIndex != column) return false;
  for (const auto& [place, coefficient] : found->fCoefficients) {
    combination[Index(place)] = coefficient;
  }
  return true;
}

std::vector<QvRedundantContents> QvRedundantColumns::GetContents() const {
  std::vector<QvRedundantContents> contents;
  for (const Column& column : fColumns) {
    QvRedundantContents& added = contents.emplace_back();
    added.fParameter = column.fIndex;
    for (const auto& [place, coefficient] : column.fCoefficients) {
      added.fKept.push_back(place);
      added.fCoefficients.push_back(coefficient);
    }
  }
  return contents;
}

bool QvRedundantColumns::TakeContents(const std::vector<QvRedundantContents>& contents, int size) {
  fColumns.clear();
  int next = 0;
  for (const QvRedundantContents& taken : contents) {
    const bool areInside = std::all_of(taken.fKept.begin(), taken.fKept.end(),
                                       [size](int place) { return place >= 0 && place < size; });
    const bool isColumn = taken.fParameter >= next && taken.fParameter < size;
    if (!isColumn || !areInside || taken.fKept.size() != taken.fCoefficients.size()) return false;
    Column column;
    column.fIndex = taken.fParameter;
    for (std::size_t k = 0; k < taken.fKept.size(); ++k) {
      column.fCoefficients.emplace_back(taken.fKept[k], taken.fCoefficients[k]);
    }
    fColumns.push_back(std::move(column));
    next = taken.fParameter + 1;
  }
  return true;
}
