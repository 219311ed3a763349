#include "qvreg/common/QvRectMatrix.h"

#include <exception>
#include <span>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

QvRectMatrixData::QvRectMatrixData(int rows, int columns) {
  fbValid = rows >= 0 && columns >= 0;
  if (!fbValid) return;
  try {
    fElements.resize(static_cast<std::size_t>(rows) * static_cast<std::size_t>(columns));
    fNRows = rows;
    fNColumns = columns;
  } catch (const std::exception&) {
    fbValid = false;
  }
}

QvRectMatrixData::QvRectMatrixData(const QvRectMatrixData& other) {
  try {
    fElements = other.fElements;
    fNRows = other.fNRows;
    fNColumns = other.fNColumns;
    fbValid = other.fbValid;
  } catch (const std::exception&) {
    fbValid = false;
  }
}

QvRectMatrixData::QvRectMatrixData(QvRectMatrixData&& other) noexcept
    : fNRows(std::exchange(other.fNRows, 0)),
      fNColumns(std::exchange(other.fNColumns, 0)),
      fElements(std::exchange(other.fElements, {})),
      fbValid(std::exchange(other.fbValid, true)) {}

QvRectMatrixData& QvRectMatrixData::operator=(const QvRectMatrixData& other) {
  if (this != &other) *this = QvRectMatrixData(other);
  return *this;
}

QvRectMatrixData& QvRectMatrixData::operator=(QvRectMatrixData&& other) noexcept {
  if (this == &other) return *this;
  fNRows = std::exchange(other.fNRows, 0);
  fNColumns = std::exchange(other.fNColumns, 0);
  fElements = std::exchange(other.fElements, {});
  fbValid = std::exchange(other.fbValid, true);
  return *this;
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
    const std::span row(fElements.data() + IndexOf(i, 0), static_cast<std::size_t>(fNColumns));
    QvComponentDisplay::DisplayRow("Row", row);
  }
}

}  // namespace QvCommon
