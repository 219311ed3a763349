// Rows that are added to the accumulated statistics together, in panels.

#include <algorithm>
#include <cstddef>

#include "qvreg/common/QvSparseVector.h"
#include "qvreg/logistic/QvAccumStatsLogistic.h"

using QvCommon::QvSparseVector;

namespace {

/// Values of a pattern's row that may have sums of their own, however few columns there are.
constexpr std::size_t kMostMoments = 64;

}  // namespace

bool QvAccumStatsLogistic::AddToPanel(bool isDense, const std::vector<int>& indices,
                                      const std::vector<double>& values, int category,
                                      double weight, long long nRows, bool llOnly) {
  // A row that fills half of its columns is added densely.
  const bool isForPanel =
      fPanel.IsSetUp() && (fPanel.HasPairs() || 2 * indices.size() > fDenseRow.size());
  if (!isForPanel) return false;
  if (llOnly != fbPanelIsLLOnly) AddRowsOfPanel();
  fbPanelIsLLOnly = llOnly;
  const auto observed = static_cast<std::size_t>(category);
  const QvSparseVector sparse(indices, values);
  if (!isDense) sparse.IncrementPart(fDenseRow, 0, 1.0);
  const double* row = isDense ? values.data() : fDenseRow.data();
  const bool isAdded = fPanel.Add(row, observed, weight, *fpEstimates);
  if (!isDense) std::fill(fDenseRow.begin(), fDenseRow.end(), 0.0);
  if (!isAdded) return false;
  CountRows(category, weight, nRows);
  if (fPanel.IsFull()) AddRowsOfPanel();
  return true;
}

void QvAccumStatsLogistic::AddPanel(QvLogitPanel& panel, std::vector<double>& scores,
                                    QvCommon::QvSymBlockMatrix& information) {
  const bool isAhead = fAhead == Ahead::kAdding;
  panel.Compute();
  panel.AddTo(fTotals.fLogLikelihood);
  if (fbSeparationCheck || isAhead) {
    panel.Widen(fTotals.fMinObserved, fTotals.fMaxObserved, fTotals.fMinComputed);
  }
  if (!fbPanelIsLLOnly || isAhead) {
    fTotals.fbAnyInformation = true;
    panel.AddScores(scores);
    AddDecidedOfPanel(panel);
    panel.AddInformation(information);
  }
  panel.Clear();
}

void QvAccumStatsLogistic::AddDecidedOfPanel(QvLogitPanel& panel) {
  if (!fBlockWeights.HasShares() || !panel.IsAnyBelow(fBlockWeights.GetBounds())) return;
  const auto mayBeDecided = panel.FindBelow(fBlockWeights.GetBounds());
  for (std::size_t r = 0; r < panel.GetCount(); ++r) {
    if (!mayBeDecided[r]) continue;
    for (std::size_t c = 0; c < fProbabilities.size(); ++c) {
      fProbabilities[c] = panel.GetProbability(c, r);
    }
    if (fBlockWeights.FindDecided(fProbabilities, panel.GetCategory(r)) == 0) continue;
    AddDecidedRow(panel, r);
    panel.TakeOut(r);
  }
}

void QvAccumStatsLogistic::AddDecidedRow(const QvLogitPanel& panel, std::size_t row) {
  const auto category = static_cast<int>(panel.GetCategory(row));
  fbDense = &panel == &fPanel;
  if (fbDense) {
    panel.CopyRow(row, fPanelRow.data());
    AddPartlyDecided(fAllIndices, fPanelRow, category, panel.GetWeight(row));
    return;
  }
  const std::vector<double>& values = fMoments.ExpandRow(row);
  AddPartlyDecided(fMoments.GetColumns(), values, category, panel.GetWeight(row));
}

bool QvAccumStatsLogistic::BeginPattern(const std::vector<int>& columns,
                                        const std::vector<int>& places, std::size_t nValues,
                                        bool llOnly) {
  if (fNParameters < 1 || nValues < 1) return false;
  const auto p = static_cast<std::size_t>(fNParameters);
  const auto isAll = [](const std::vector<int>& numbers) {
    for (std::size_t k = 0; k < numbers.size(); ++k) {
      if (numbers[k] != static_cast<int>(k)) return false;
    }
    return true;
  };
  const bool isDense =
      fPanel.IsSetUp() && nValues == p && columns.size() == p && isAll(columns) && isAll(places);
  // Wide sums of their own would take as much memory as those that they are added to.
  if (!isDense && nValues > kMostMoments && 2 * nValues > p) return false;
  if (fAhead == Ahead::kKept) ForgetAhead();
  if (!isDense || llOnly != fbPanelIsLLOnly) AddRowsOfPanel();
  fbPanelIsLLOnly = llOnly;
  fbPatternIsDense = isDense;
  if (isDense) return true;
  fMoments.SetUp(nValues, static_cast<std::size_t>(fNCategories));
  fMoments.Begin(columns, places, *fpEstimates, p);
  return true;
}

bool QvAccumStatsLogistic::AddRows(const Rows& rows) {
  int nBad = 0;
  for (std::size_t r = 0; r < rows.fCount; ++r) {
    const int category = rows.fpCategories[r];
    const bool isGood = category >= 0 && category < fNCategories && !(0.0 >= rows.fpWeights[r]);
    nBad += isGood ? 0 : 1;
  }
  if (nBad > 0) return false;
  QvLogitPanel& panel = PatternPanel();
  if (panel.GetCount() + rows.fCount > QvCommon::QvPanel::kRows) AddRowsOfPanel();
  const std::size_t before = panel.GetCount();
  if (!panel.AddRows(rows.fCount, rows.fpValues, rows.fpCategories, rows.fpWeights,
                     PatternEstimates())) {
    return false;
  }
  fTotals.fValidRows += static_cast<long long>(rows.fCount);
  panel.AddWeights(before, fCategoryWeights, fTotals.fWeight);
  // Dense rows wait for others.
  if (!fbPatternIsDense || panel.IsFull()) AddPatternPanel(panel);
  return true;
}

bool QvAccumStatsLogistic::AddColumns(const Columns& columns) {
  const auto nCategories = static_cast<double>(fNCategories);
  int nBad = 0;
  for (std::size_t r = 0; r < columns.fCount; ++r) {
    const double category = columns.fpCategories[r];
    const bool isGood = category >= 0.0 && category < nCategories && !(0.0 >= columns.fpWeights[r]);
    nBad += isGood ? 0 : 1;
  }
  if (nBad > 0) return false;
  // Dense rows may wait there.
  AddRowsOfPanel();
  QvLogitPanel& panel = PatternPanel();
  if (!panel.AddColumns(columns.fCount, columns.fpColumns, columns.fpCategories, columns.fpWeights,
                        PatternEstimates())) {
    return false;
  }
  fTotals.fValidRows += static_cast<long long>(columns.fCount);
  panel.AddWeights(0, fCategoryWeights, fTotals.fWeight);
  AddPatternPanel(panel);
  return true;
}

void QvAccumStatsLogistic::AddPatternPanel(QvLogitPanel& panel) {
  if (panel.GetCount() == 0) return;
  if (fbPatternIsDense) {
    AddRowsOfPanel();
  } else {
    AddPanel(panel, fMoments.GetScores(), fMoments.GetInformation());
  }
}

void QvAccumStatsLogistic::EndPattern() {
  const bool hasDerivatives = !fbPanelIsLLOnly || fAhead == Ahead::kAdding;
  if (fbPatternIsDense || !hasDerivatives) return;
  fMoments.GetPanel().AddPairs(fMoments.GetInformation());
  fMoments.MoveTo(fScores, fHessian);
}
