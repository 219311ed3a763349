#include "fuzz/FuzzedFit.h"

#include <algorithm>

#include "fuzz/Check.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/factory/QvRegFactory.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/parallel/QvThreadRunner.h"
#include "tests/qvreg/support/VectorParts.h"

namespace qvfuzz {
namespace {

void CheckRestored(const FuzzedFit& fit) {
  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> restored(factory.RestoreComponent(fit.bytes));
  Check(restored != nullptr, "a model is restored of its bytes");
  QvCommon::QvBytes again;
  Check(restored->WriteModel(again).IsOK(), "a restored model is written");
  Check(again == fit.bytes, "a restored model has the bytes that it was made of");
}

}  // namespace

BlockIter::BlockIter(const qvfuzz::Records& records, std::size_t rows)
    : VectorRecordIter(records), rows_(rows) {}

QvCommon::QvRecordBlock BlockIter::NextBlock() {
  const std::vector<QvCommon::Record>& records = Records();
  const int size = records[Position()].Size();
  block_.clear();
  std::size_t count = 0;
  while (count < rows_ && HasMore() && records[Position()].Size() == size) {
    const double* values = Next()->GetAll();
    block_.insert(block_.end(), values, values + size);
    ++count;
  }
  return {block_.data(), count, size, size};
}

FuzzedFit FitOf(QvRegSettings& settings, QvCommon::MultiPassRecordIter& records) {
  QvRegFactory factory;
  FuzzedFit fit;
  fit.component.reset(factory.CreateRegAlgorithm(settings));
  Check(fit.component != nullptr, "valid settings make a component");
  fit.status = fit.component->BuildModel(records);
  IQvRegOutputStats* stats = nullptr;
  const bool isBuilt = fit.component->IsModelBuilt();
  Check(isBuilt != fit.status.IsError(), "a run ends with an error or with a model");
  Check(fit.component->GetOutputStats(stats).IsError() != isBuilt, "a model has results");
  if (!isBuilt) return fit;
  fit.stats = stats;
  Check(fit.component->WriteModel(fit.bytes).IsOK(), "a model is written");
  CheckRestored(fit);
  return fit;
}

FuzzedFit FitOf(const FuzzedModel& model, const Records& records) {
  const std::unique_ptr<QvRegSettings> settings = SettingsOf(model);
  qvtest::VectorRecordIter iter(records);
  return FitOf(*settings, iter);
}

FuzzedFit FitInParts(const FuzzedModel& model, const Records& records, std::size_t parts,
                     int threads) {
  const std::unique_ptr<QvRegSettings> settings = SettingsOf(model);
  qvtest::VectorParts divided(records, parts);
  QvThreadRunner runner(divided, threads);
  settings->SetPassRunner(&runner);
  qvtest::UntouchedIter untouched;
  FuzzedFit fit = FitOf(*settings, untouched);
  Check(untouched.Touches() == 0, "a run with a runner reads no iterator");
  return fit;
}

void CheckSameBits(const FuzzedFit& actual, const FuzzedFit& expected, const char* what) {
  Check(actual.status == expected.status, what);
  Check(actual.bytes == expected.bytes, what);
}

double LargestInflation(const FuzzedModel& model, const FuzzedFit& fit, const Records& records) {
  const std::size_t nParameters = fit.stats->GetParamEstimates().size();
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(fit.stats);
  const std::size_t nEquations =
      logistic == nullptr ? 1 : logistic->GetDependCategories().size() - 1;
  const std::size_t nColumns = nParameters / nEquations;
  std::vector<double> squares(nColumns, 0.0);
  std::vector<double> row;
  for (const QvCommon::Record& record : records) {
    Check(fit.stats->ExpandRow(record, row), "a record that was used has a design row");
    const double weight = (model.hasFrequency ? record[model.Frequency()] : 1.0) *
                          (model.hasRegression ? record[model.Regression()] : 1.0);
    for (std::size_t j = 0; j < nColumns; ++j) squares[j] += weight * row[j] * row[j];
  }
  double largest = 0.0;
  for (std::size_t j = 0; j < nParameters; ++j) {
    const int index = static_cast<int>(j);
    largest = std::max(
        largest, fit.stats->GetCovarianceMatrix()->GetElem(index, index) * squares[j % nColumns]);
  }
  return largest;
}

}  // namespace qvfuzz
