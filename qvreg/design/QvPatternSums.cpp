#include "qvreg/design/QvPatternSums.h"

#include <algorithm>

namespace {

/// Of the table: what stays in a cache that one thread has to itself, more or less.
constexpr std::size_t kMostNumbers = std::size_t{1} << 20;
constexpr std::size_t kMostPatterns = std::size_t{1} << 16;
/// Below it a table would be moved too often.
constexpr std::size_t kFewestPatterns = 64;
/// Moving the sums of a pattern costs about as much as adding so many records by themselves.
constexpr std::size_t kRecordsPerPattern = 2;

}  // namespace

void QvPatternSums::SetUpRows(const QvDesignRow& row, const QvFactorTables& tables,
                              const std::vector<int>& numbers, std::size_t stride,
                              std::size_t nNumbers) {
  const std::size_t most = std::min(kMostNumbers / nNumbers, kMostPatterns);
  fbOpen = most >= kFewestPatterns;
  if (!fbOpen) return;
  fPatterns.SetUp(row, tables, numbers, static_cast<int>(most));
  fStride = stride;
  fNNumbers = nNumbers;
  fEntries.clear();
  fEntries.reserve(static_cast<std::size_t>(fPatterns.GetBound()) * nNumbers);
  fNTaken = 0;
  fCount = 0;
  fRows.assign(kRows * stride, 0.0);
}

std::size_t QvPatternSums::Append(std::span<const double* const> records, const double* weights,
                                  const double* dependents) {
  const int nKnown = fPatterns.GetCount();
  const std::size_t n = fPatterns.Find(records, &fRowPatterns[fCount]);
  fPatterns.FillValues(records.first(n), fStride, GetRow(fCount));
  std::copy_n(weights, n, &fWeights[fCount]);
  std::copy_n(dependents, n, &fDependents[fCount]);
  if (fPatterns.GetCount() > nKnown) {
    fEntries.resize(static_cast<std::size_t>(fPatterns.GetCount()) * fNNumbers);
    for (int pattern = nKnown; pattern < fPatterns.GetCount(); ++pattern) {
      Begin(pattern, GetEntry(pattern));
    }
  }
  fCount += n;
  return n;
}

std::size_t QvPatternSums::Take(std::span<const double* const> records, const double* weights,
                                const double* dependents) {
  std::size_t taken = 0;
  while (fbOpen && taken < records.size()) {
    const std::size_t room = std::min(records.size() - taken, kRows - fCount);
    const std::size_t n = Append(records.subspan(taken, room), weights + taken, dependents + taken);
    taken += n;
    fNTaken += n;
    if (fCount == kRows || n < room) EndPanel();
    if (n == room) continue;
    fbOpen = fNTaken >= kRecordsPerPattern * static_cast<std::size_t>(fPatterns.GetCount());
    MoveAll();
  }
  return taken;
}

void QvPatternSums::EndPanel() {
  if (fCount > 0) AddPanel();
  fCount = 0;
}

void QvPatternSums::MoveAll() {
  for (int pattern = 0; pattern < fPatterns.GetCount(); ++pattern) {
    Move(pattern, GetEntry(pattern));
  }
  fPatterns.Clear();
  fEntries.clear();
  fNTaken = 0;
}

void QvPatternSums::SettleAll() {
  EndPanel();
  MoveAll();
  fbOpen = fNNumbers > 0;
}
