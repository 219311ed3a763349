#include "qvreg/common/QvRectMatrix.h"

#include <new>
#include <stdexcept>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

QvRectMatrixData::QvRectMatrixData(int rows, int columns) {
  if (rows < 0 || columns < 0) return;
  try {
    fElements.resize(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns));
  } catch (const std::bad_alloc&) {
    return;
  } catch (const std::length_error&) {
    return;
  }
  fNRows = rows;
  fNColumns = columns;
}

bool QvRectMatrixData::SetElem(int i, int j, double value) {
  if (!HasElem(i, j)) return false;
  fElements[IndexOf(i, j)] = value;
  return true;
}

double QvRectMatrixData::GetElem(int i, int j) const {
  return HasElem(i, j) ? fElements[IndexOf(i, j)] : 0.0;
}

void QvRectMatrixData::Display() const {
  QvComponentDisplay::DisplayI("Rows", fNRows);
  QvComponentDisplay::DisplayI("Columns", fNColumns);
  for (int i = 0; i < fNRows; ++i) {
    const auto begin = fElements.begin() + static_cast<std::ptrdiff_t>(IndexOf(i, 0));
    QvComponentDisplay::DisplayDV("Row", std::vector<double>(begin, begin + fNColumns), true);
  }
}

}  // namespace QvCommon
