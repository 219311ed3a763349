#include "qvreg/logistic/QvPatternTable.h"

#include <algorithm>
#include <bit>
#include <limits>
#include <new>
#include <span>
#include <utility>

#include "qvreg/common/QvComponentDisplay.h"
#include "qvreg/design/QvFactorTables.h"

namespace {

/// Rows of a pattern's first block of its own, and of its largest.
constexpr std::size_t kFirstRows = 2;
constexpr std::size_t kMostRows = 4096;
/// Values of a block of shared rows, more or less.
constexpr std::size_t kBlockValues = 32768;
/// Patterns are found without hashing where there may be no more.
constexpr long long kMostNumbers = 16384;

void DisplayRows(const QvStoredRows& rows) {
  std::vector<double> scratch(rows.fRowSize);
  for (std::size_t r = 0; r < rows.fCount; ++r) {
    QvComponentDisplay::DisplayRow("fRecordData",
                                   std::span(rows.Row(r, scratch.data()), rows.fRowSize));
  }
}

}  // namespace

QvRowPlace QvRowPatterns::AppendRow() {
  if (fBlocks.empty() || fBlocks.back().fUsed == fBlocks.back().fCapacity) {
    const std::size_t capacity = std::clamp(fRowCount, kFirstRows, kMostRows);
    Block block{{}, capacity, 0};
    block.fValues.reserve(capacity * fRowSize);
    fBlocks.push_back(std::move(block));
  }
  constexpr std::size_t kPanelRows = QvStoredRows::kPanelRows;
  Block& block = fBlocks.back();
  const std::size_t row = block.fUsed++;
  ++fRowCount;
  if (!block.IsPanels()) {
    block.fValues.resize(block.fUsed * fRowSize);
    return {&block.fValues[row * fRowSize], 1};
  }
  const std::size_t inPanel = row % kPanelRows;
  if (inPanel == 0) block.fValues.resize((row + kPanelRows) * fRowSize);
  return {&block.fValues[(row - inPanel) * fRowSize + inPanel], kPanelRows};
}

void QvRowPatterns::Display() const {
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvRowPatterns display start");
  ForEachRun([](const QvStoredRows& rows) {
    DisplayRows(rows);
    return true;
  });
  QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvRowPatterns display end");
}

bool QvPatternTable::SetUp(int rowSize, const std::vector<int>& bounds) {
  if (!fPacker.SetForSequence(static_cast<int>(bounds.size()), 0, bounds)) return false;
  fRowSize = static_cast<std::size_t>(rowSize);
  fBlockShift = static_cast<unsigned>(
      std::bit_width(std::clamp<std::size_t>(kBlockValues / (fRowSize + 1), 2, kMostRows) / 2));
  fBounds = bounds;
  fPackedBounds = fPacker.PackRanges();
  fKeys = QvCommon::QvKeyNumbers(fPacker.GetPackedSize());
  fPacked.assign(fPackedBounds.size(), 0);
  long long most = 1;
  for (const int bound : bounds) most = std::min(most * bound, kMostNumbers + 1);
  if (most <= kMostNumbers) fNumbers.assign(static_cast<std::size_t>(most), -1);
  return true;
}

int QvPatternTable::FindOrInsertPattern() {
  int* known = nullptr;
  if (!fNumbers.empty()) {
    // So few codes are packed to one number, or to none.
    known = &fNumbers[fPacked.empty() ? 0 : static_cast<std::size_t>(fPacked[0])];
    if (*known >= 0) return *known;
  }
  const int number = fKeys.FindOrInsert(fPacked);
  if (number == static_cast<int>(fRowsOf.size())) fRowsOf.emplace_back();
  if (known != nullptr) *known = number;
  return number;
}

double* QvPatternTable::AppendSharedRow(int pattern) {
  const std::size_t row = fNShared;
  if (row >> fBlockShift == fBlocks.size()) {
    Block block;
    block.fValues.reserve(BlockRows() * fRowSize);
    block.fPatterns.reserve(BlockRows());
    fBlocks.push_back(std::move(block));
  }
  Block& block = fBlocks.back();
  block.fValues.resize(block.fValues.size() + fRowSize);
  block.fPatterns.push_back(pattern);
  ++fRowsOf[static_cast<std::size_t>(pattern)].fCount;
  ++fNShared;
  return RowAt(row);
}

QvRowPlace QvPatternTable::PlaceRow(int pattern) {
  Pattern& rows = fRowsOf[static_cast<std::size_t>(pattern)];
  const bool isShared =
      rows.fCount < kSharedRows && fNShared < std::numeric_limits<std::uint32_t>::max();
  if (isShared) return {AppendSharedRow(pattern), 1};
  if (rows.fpFurther == nullptr) {
    rows.fpFurther = std::make_unique<QvRowPatterns>(static_cast<int>(fRowSize));
  }
  return rows.fpFurther->AppendRow();
}

QvRowPlace QvPatternTable::AppendRow(const std::vector<int>& codes) {
  if (!fPacker.Pack(codes, fPacked, false)) return {};
  if (fbArranged) Disarrange();
  const QvRowPlace place = PlaceRow(FindOrInsertPattern());
  ++fRowCount;
  return place;
}

void QvPatternTable::FindIndices(const QvFactorTables& tables) {
  const std::vector<int>& offsets = tables.GetParameterOffsets();
  const std::vector<int>& effects = tables.GetModelEffectIndices();
  fNEffects = offsets.size();
  fIndices.clear();
  fIndices.reserve(fWalk.size() * fNEffects);
  std::vector<int> codes;
  std::vector<int> packed;
  for (const int number : fWalk) {
    const std::span<const int> key = fKeys.GetCodes(number);
    packed.assign(key.begin(), key.end());
    if (!fPacker.Unpack(codes, packed)) throw std::bad_alloc();
    const std::size_t first = fIndices.size();
    fIndices.insert(fIndices.end(), offsets.begin(), offsets.end());
    for (std::size_t e = 0; e < effects.size(); ++e) {
      fIndices[first + static_cast<std::size_t>(effects[e])] += codes[e];
    }
  }
}

void QvPatternTable::OrderRows() {
  std::vector<Pattern> ordered;
  ordered.reserve(fWalk.size());
  std::size_t begin = 0;
  for (const int number : fWalk) {
    Pattern& pattern = fRowsOf[static_cast<std::size_t>(number)];
    pattern.fBegin = begin;
    begin += pattern.fCount;
  }
  std::vector<std::uint32_t> places(fNShared);
  for (std::size_t row = 0; row < fNShared; ++row) {
    Pattern& pattern = fRowsOf[static_cast<std::size_t>(PatternAt(row))];
    places[row] = static_cast<std::uint32_t>(pattern.fBegin++);
  }
  // Each exchange takes one row to its place.
  for (std::size_t row = 0; row < fNShared; ++row) {
    while (places[row] != row) {
      const std::size_t place = places[row];
      std::swap_ranges(RowAt(row), RowAt(row) + fRowSize, RowAt(place));
      std::swap(places[row], places[place]);
    }
  }
  for (const int number : fWalk) {
    ordered.push_back(std::move(fRowsOf[static_cast<std::size_t>(number)]));
    ordered.back().fBegin -= ordered.back().fCount;
  }
  fRowsOf = std::move(ordered);
}

void QvPatternTable::Arrange(const QvFactorTables& tables) {
  if (fbArranged) return;
  fWalk = fKeys.GetOrder();
  FindIndices(tables);
  if (fWalk.size() > 1) OrderRows();
  for (Block& block : fBlocks) block.fPatterns = {};
  fbArranged = true;
}

void QvPatternTable::Disarrange() {
  std::size_t left = fNShared;
  for (Block& block : fBlocks) {
    block.fPatterns.reserve(BlockRows());
    block.fPatterns.resize(std::min(BlockRows(), left));
    left -= block.fPatterns.size();
  }
  std::vector<Pattern> byNumber(fRowsOf.size());
  for (std::size_t place = 0; place < fRowsOf.size(); ++place) {
    const Pattern& pattern = fRowsOf[place];
    for (std::size_t k = 0; k < pattern.fCount; ++k) PatternAt(pattern.fBegin + k) = fWalk[place];
  }
  for (std::size_t place = 0; place < fRowsOf.size(); ++place) {
    byNumber[static_cast<std::size_t>(fWalk[place])] = std::move(fRowsOf[place]);
  }
  fRowsOf = std::move(byNumber);
  fbArranged = false;
}

void QvPatternTable::Display() const {
  for (std::size_t place = 0; place < fWalk.size(); ++place) {
    const std::span<const int> key = fKeys.GetCodes(fWalk[place]);
    QvComponentDisplay::DisplayIV("Key", std::vector<int>(key.begin(), key.end()));
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel,
                                    "QvRowPatterns display start");
    ForEachRun(place, [](const QvStoredRows& rows) {
      DisplayRows(rows);
      return true;
    });
    QvComponentDisplay::DisplayText(QvComponentDisplay::kHeadingLevel, "QvRowPatterns display end");
  }
  QvComponentDisplay::DisplayIV("Key", fPacked);
}
