// The elements of a symmetric matrix.

#include <exception>
#include <span>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/common/QvSymMatrix.h"

namespace QvCommon {

QvSymMatrixData::QvSymMatrixData(int order) { fbValid = Reset(order); }

QvSymMatrixData::QvSymMatrixData(const QvSymMatrixData& other)
    : fOrder(other.fOrder), fbValid(other.fbValid) {
  try {
    fElements = other.fElements;
  } catch (const std::exception&) {
    Invalidate();
  }
}

QvSymMatrixData::QvSymMatrixData(QvSymMatrixData&& other) noexcept
    : fElements(std::exchange(other.fElements, {})),
      fOrder(std::exchange(other.fOrder, 0)),
      fbValid(std::exchange(other.fbValid, true)) {}

QvSymMatrixData& QvSymMatrixData::operator=(const QvSymMatrixData& other) {
  if (this != &other) *this = QvSymMatrixData(other);
  return *this;
}

QvSymMatrixData& QvSymMatrixData::operator=(QvSymMatrixData&& other) noexcept {
  if (this == &other) return *this;
  fElements = std::exchange(other.fElements, {});
  fOrder = std::exchange(other.fOrder, 0);
  fbValid = std::exchange(other.fbValid, true);
  return *this;
}

bool QvSymMatrixData::Reset(int order) {
  if (order < 0) return false;
  try {
    fElements = std::vector<double>(RowStart(order));
  } catch (const std::exception&) {
    return false;
  }
  fOrder = order;
  return fbValid = true;
}

bool QvSymMatrixData::Adopt(int order, std::vector<double>&& elements) {
  if (order < 0 || elements.size() != RowStart(order)) return false;
  fElements = std::move(elements);
  fOrder = order;
  return fbValid = true;
}

void QvSymMatrixData::Invalidate() {
  fElements = {};
  fOrder = 0;
  fbValid = false;
}

bool QvSymMatrixData::SetElem(int i, int j, double value) {
  if (!HasElem(i, j)) return false;
  fElements[IndexOf(i, j)] = value;
  return true;
}

bool QvSymMatrixData::GetDiagonal(std::vector<double>& diagonal) const {
  try {
    diagonal.resize(static_cast<std::size_t>(fOrder));
  } catch (const std::exception&) {
    return false;
  }
  for (int i = 0; i < fOrder; ++i) diagonal[static_cast<std::size_t>(i)] = Row(i)[i];
  return true;
}

void QvSymMatrixData::Display() const {
  QvComponentDisplay::DisplayI("Order", fOrder);
  for (int i = 0; i < fOrder; ++i) {
    QvComponentDisplay::DisplayRow("Row", std::span(Row(i), static_cast<std::size_t>(i) + 1));
  }
}

}  // namespace QvCommon
