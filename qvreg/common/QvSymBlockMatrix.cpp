#include "qvreg/common/QvSymBlockMatrix.h"

#include <new>
#include <stdexcept>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

bool QvSymBlockMatrix::SetNRows(int r, int m) {
  if (r < 0 || m < 0) return false;
  try {
    const QvSymMatrix zero(m);
    if (!zero.IsValidMatrix()) return false;
    fBlocks = std::vector<QvSymMatrix>(BlockIndex(r, 0), zero);
  } catch (const std::bad_alloc&) {
    return false;
  } catch (const std::length_error&) {
    return false;
  }
  fNRows = r;
  fBlockOrder = m;
  return true;
}

void QvSymBlockMatrix::Clear() {
  for (QvSymMatrix& block : fBlocks) block.SetToZero();
}

int QvSymBlockMatrix::CopyToSymMatrix(QvSymMatrix& out) const {
  // A matrix of the right order is filled where it is: that cannot fail.
  const int order = fNRows * fBlockOrder;
  if (out.GetOrder() != order) {
    QvSymMatrix whole(order);
    if (!whole.IsValidMatrix()) return 1;
    out = std::move(whole);
  }
  for (int i = 0; i < fNRows; ++i) {
    for (int j = 0; j <= i; ++j) {
      const QvSymMatrix& block = fBlocks[BlockIndex(i, j)];
      for (int a = 0; a < fBlockOrder; ++a) {
        for (int b = 0; b < fBlockOrder; ++b) {
          out.SetElem(i * fBlockOrder + a, j * fBlockOrder + b, block.GetElem(a, b));
        }
      }
    }
  }
  return 0;
}

void QvSymBlockMatrix::Display() const {
  QvComponentDisplay::DisplayI("Block rows", fNRows);
  QvComponentDisplay::DisplayI("Block order", fBlockOrder);
  for (int i = 0; i < fNRows; ++i) {
    for (int j = 0; j <= i; ++j) {
      QvComponentDisplay::DisplayIV("Block", {i, j});
      fBlocks[BlockIndex(i, j)].Display();
    }
  }
}

}  // namespace QvCommon
