#include "qvreg/logistic/QvPatternMoments.h"

#include <algorithm>
#include <new>
#include <span>

void QvPatternMoments::SetUp(std::size_t nValues, std::size_t K) {
  if (fNValues == nValues && fNOthers == K - 1) return;
  fNValues = 0;
  fPanel.SetUp(nValues, K);
  fScores.assign((K - 1) * nValues, 0.0);
  fEstimates = fScores;
  fValues.assign(nValues, 0.0);
  if (!fInformation.SetNRows(static_cast<int>(K) - 1, static_cast<int>(nValues))) {
    throw std::bad_alloc();
  }
  fNValues = nValues;
  fNOthers = K - 1;
}

void QvPatternMoments::Begin(const std::vector<int>& columns, const std::vector<int>& places,
                             const std::vector<double>& estimates, std::size_t p) {
  fpColumns = &columns;
  fpPlaces = &places;
  fNColumns = p;
  std::fill(fEstimates.begin(), fEstimates.end(), 0.0);
  for (std::size_t c = 0; c < fNOthers; ++c) {
    const double* block = estimates.data() + c * p;
    double* sums = fEstimates.data() + c * fNValues;
    for (std::size_t a = 0; a < columns.size(); ++a) sums[places[a]] += block[columns[a]];
  }
}

const std::vector<double>& QvPatternMoments::ExpandRow(std::size_t row) {
  fPanel.CopyRow(row, fValues.data());
  fRow.clear();
  for (const int place : *fpPlaces) fRow.push_back(fValues[static_cast<std::size_t>(place)]);
  return fRow;
}

void QvPatternMoments::MoveTo(std::vector<double>& scores,
                              QvCommon::QvSymBlockMatrix& information) {
  const std::vector<int>& columns = *fpColumns;
  const std::vector<int>& places = *fpPlaces;
  for (std::size_t c = 0; c < fNOthers; ++c) {
    double* block = scores.data() + c * fNColumns;
    const double* sums = fScores.data() + c * fNValues;
    for (std::size_t a = 0; a < columns.size(); ++a) block[columns[a]] += sums[places[a]];
  }
  for (std::size_t block = 0; block < information.GetBlocks().size(); ++block) {
    QvCommon::QvSymMatrix& target = information.GetBlocks()[block];
    const QvCommon::QvSymMatrix& sums = fInformation.GetBlocks()[block];
    for (std::size_t a = 0; a < columns.size(); ++a) {
      for (std::size_t b = 0; b <= a; ++b) {
        const double sum = sums.GetElem(places[a], places[b]);
        target.AddToRow(static_cast<std::size_t>(columns[a]), static_cast<std::size_t>(columns[b]),
                        std::span(&sum, 1));
      }
    }
  }
  std::fill(fScores.begin(), fScores.end(), 0.0);
  fInformation.Clear();
}
