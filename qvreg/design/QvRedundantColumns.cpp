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

void QvRedundantColumns::Write(QvCommon::QvByteWriter& writer) const {
  writer.PutInt(static_cast<int>(fColumns.size()));
  for (const Column& column : fColumns) {
    std::vector<int> places;
    std::vector<double> coefficients;
    for (const auto& [place, coefficient] : column.fCoefficients) {
      places.push_back(place);
      coefficients.push_back(coefficient);
    }
    writer.PutInt(column.fIndex);
    writer.PutInts(places);
    writer.PutDoubles(coefficients);
  }
}

void QvRedundantColumns::Read(int size, QvCommon::QvByteReader& reader) {
  fColumns.clear();
  const int count = reader.GetIntWithin(0, size);
  for (int i = 0; i < count && !reader.HasFailed(); ++i) {
    Column column;
    column.fIndex = reader.GetIntWithin(i == 0 ? 0 : fColumns.back().fIndex + 1, size - 1);
    const std::vector<int> places = reader.GetInts();
    const std::vector<double> coefficients = reader.GetDoubles();
    const bool areInside = std::all_of(places.begin(), places.end(),
                                       [size](int place) { return place >= 0 && place < size; });
    if (places.size() != coefficients.size() || !areInside) return reader.Fail();
    for (std::size_t k = 0; k < places.size(); ++k) {
      column.fCoefficients.emplace_back(places[k], coefficients[k]);
    }
    fColumns.push_back(std::move(column));
  }
}
