#include "qvreg/common/QvSymBlockMatrix.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"

namespace QvCommon {

namespace {

bool AreValid(const std::vector<QvSymMatrix>& blocks) {
  return std::all_of(blocks.begin(), blocks.end(),
                     [](const QvSymMatrix& block) { return block.IsValidMatrix(); });
}

}  // namespace

QvSymBlockMatrix::QvSymBlockMatrix(const QvSymBlockMatrix& other) {
  try {
    std::vector<QvSymMatrix> blocks = other.fBlocks;
    if (!AreValid(blocks)) return;
    fBlocks = std::move(blocks);
    fNRows = other.fNRows;
    fBlockOrder = other.fBlockOrder;
  } catch (const std::exception&) {
    return;
  }
}

QvSymBlockMatrix::QvSymBlockMatrix(QvSymBlockMatrix&& other) noexcept
    : fNRows(std::exchange(other.fNRows, 0)),
      fBlockOrder(std::exchange(other.fBlockOrder, 0)),
      fBlocks(std::exchange(other.fBlocks, {})) {}

QvSymBlockMatrix& QvSymBlockMatrix::operator=(const QvSymBlockMatrix& other) {
  if (this != &other) *this = QvSymBlockMatrix(other);
  return *this;
}

QvSymBlockMatrix& QvSymBlockMatrix::operator=(QvSymBlockMatrix&& other) noexcept {
  if (this == &other) return *this;
  fNRows = std::exchange(other.fNRows, 0);
  fBlockOrder = std::exchange(other.fBlockOrder, 0);
  fBlocks = std::exchange(other.fBlocks, {});
  return *this;
}

bool QvSymBlockMatrix::SetNRows(int r, int m) {
  if (r < 0 || m < 0) return false;
  try {
    std::vector<QvSymMatrix> blocks(BlockIndex(r, 0), QvSymMatrix(m));
    if (!AreValid(blocks)) return false;
    fBlocks = std::move(blocks);
  } catch (const std::exception&) {
    return false;
  }
  fNRows = r;
  fBlockOrder = m;
  return true;
}

void QvSymBlockMatrix::Clear() {
  for (QvSymMatrix& block : fBlocks) block.SetToZero();
}

template <typename Visit>
void QvSymBlockMatrix::ForEachElem(Visit&& visit) const {
  for (int i = 0; i < fNRows; ++i) {
    for (int j = 0; j <= i; ++j) {
      const QvSymMatrix& block = fBlocks[BlockIndex(i, j)];
      for (int a = 0; a < fBlockOrder; ++a) {
        const int last = i == j ? a + 1 : fBlockOrder;
        for (int b = 0; b < last; ++b) {
          visit(i * fBlockOrder + a, j * fBlockOrder + b, block.GetElem(a, b));
        }
      }
    }
  }
}

int QvSymBlockMatrix::CopyToSymMatrix(QvSymMatrix& out) const {
  // A matrix of the right order is filled where it is: that cannot fail.
  const int order = fNRows * fBlockOrder;
  if (out.GetOrder() != order) {
    QvSymMatrix whole(order);
    if (!whole.IsValidMatrix()) return 1;
    out = std::move(whole);
  }
  ForEachElem([&out](int i, int j, double value) { out.SetElem(i, j, value); });
  return 0;
}

bool QvSymBlockMatrix::AddToSymMatrix(QvSymMatrix& out) const {
  if (out.GetOrder() != fNRows * fBlockOrder) return false;
  ForEachElem([&out](int i, int j, double value) { out.SetElem(i, j, out.GetElem(i, j) + value); });
  return true;
}

void QvSymBlockMatrix::Add(const QvSymBlockMatrix& other) {
  for (std::size_t block = 0; block < fBlocks.size(); ++block) {
    fBlocks[block].AddCompensated(other.fBlocks[block]);
  }
}

void QvSymBlockMatrix::Write(QvByteWriter& writer) const {
  for (const QvSymMatrix& block : fBlocks) block.Write(writer);
}

void QvSymBlockMatrix::Read(QvByteReader& reader) {
  for (QvSymMatrix& block : fBlocks) block.Read(reader);
}

void QvSymBlockMatrix::Display() const {
  QvComponentDisplay::DisplayI("Block rows", fNRows);
  QvComponentDisplay::DisplayI("Block order", fBlockOrder);
  for (int i = 0; i < fNRows; ++i) {
    for (int j = 0; j <= i; ++j) {
      std::printf("Block: %d %d\n", i, j);
      fBlocks[BlockIndex(i, j)].Display();
    }
  }
}

}  // namespace QvCommon
