#include "qvreg/common/QvSymMatrixData.h"

#include <algorithm>
#include <new>
#include <stdexcept>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

QvSymMatrixData::QvSymMatrixData(int order) { fbValid = Reset(order); }

bool QvSymMatrixData::Reset(int order) {
  if (order < 0) return false;
  try {
    fElements = std::vector<double>(RowStart(order));
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::length_error&) {
    return false;
  }
  fOrder = order;
  return true;
}

bool QvSymMatrixData::SetElem(int i, int j, double value) {
  if (std::min(i, j) < 0 || std::max(i, j) >= fOrder) return false;
  fElements[IndexOf(i, j)] = value;
  return true;
}

void QvSymMatrixData::GetDiagonal(std::vector<double>& diagonal) const {
  diagonal.resize(static_cast<std::size_t>(fOrder));
  for (int i = 0; i < fOrder; ++i) diagonal[static_cast<std::size_t>(i)] = Row(i)[i];
}

void QvSymMatrixData::Display() const {
  QvComponentDisplay::DisplayI("Order", fOrder);
  for (int i = 0; i < fOrder; ++i) {
    QvComponentDisplay::DisplayDV("Row", std::vector<double>(Row(i), Row(i) + i + 1), true);
  }
}

}  // namespace QvCommon
