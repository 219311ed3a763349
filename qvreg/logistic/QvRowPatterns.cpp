#include "qvreg/logistic/QvRowPatterns.h"

#include <algorithm>

#include "qvreg/common/QvComponentDisplay.h"

namespace {

/// Rows of the first block, and of the largest.
constexpr std::size_t kFirstRows = 2;
constexpr std::size_t kMostRows = 4096;

}  // namespace

double* QvRowPatterns::AppendRow() {
  if (fBlocks.empty() || fBlocks.back().fUsed == fBlocks.back().fCapacity) {
    const std::size_t capacity = std::clamp(fRowCount, kFirstRows, kMostRows);
    fBlocks.push_back({std::vector<double>(capacity * fRowSize), capacity, 0});
  }
  Block& block = fBlocks.back();
  ++fRowCount;
  return block.fValues.data() + block.fUsed++ * fRowSize;
}

void QvRowPatterns::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvRowPatterns display start");
  ForEachRow([this](const double* row) {
    QvComponentDisplay::DisplayDV("fRecordData", std::vector<double>(row, row + fRowSize), true);
    return true;
  });
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvRowPatterns display end");
}
