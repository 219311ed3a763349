#include "bench/micro/LogisticCase.h"

#include <utility>

#include "bench/UniformNumbers.h"
#include "qvreg/common/QvStatusCodes.h"
#include "qvreg/data/QvRecordPass.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorTables.h"

using QvCommon::QvStatus;
using QvCommon::Record;

namespace qvbench {

namespace {

constexpr int kNone = -1;
constexpr int kFirstCode = 0;

}  // namespace

MadeUpRecords::MadeUpRecords(const ClassRecords& shape, int count) {
  UniformNumbers uniform;
  for (int i = 0; i < count; ++i) {
    Record record(shape.Size());
    int var = 0;
    while (var < shape.covariates) record[var++] = uniform.Next();
    for (const int levels : shape.levels) record[var++] = uniform.NextBelow(levels);
    record[var] = uniform.NextBelow(shape.classes);
    records_.push_back(std::move(record));
  }
}

int MadeUpRecords::GetFailReason() const {
  return HasMore() ? QvCommon::kIterOk : QvCommon::kIterEndOfData;
}

int MadeUpRecords::NewPass() {
  next_ = 0;
  return GetFailReason();
}

LogisticCase::LogisticCase(const ClassRecords& shape, int records, Feed feed)
    : shape_(shape),
      records_(shape, records),
      description_(shape),
      settings_(description_.Settings()),
      design_(settings_),
      tables_(settings_.GetFactors(), settings_.GetFactorSizes(), kNone, settings_.GetDependent(),
              settings_.GetDependentNCategs(), kFirstCode, kNone, 0.0, QvConst::QvOffsetNone),
      model_(settings_, cancel_) {
  validator_.SetRecordInfo(settings_.GetVariableTypes(), settings_.GetFactors(),
                           settings_.GetFactorSizes(), settings_.GetDependentNCategs());
  if (feed == Feed::kTabulator) {
    tabulator_ = std::make_unique<QvPatternTabulator>(settings_, tables_, validator_, cancel_);
    handler_ = tabulator_.get();
  } else {
    recordHandler_ = std::make_unique<QvRecordIterHandler>(records_, cancel_, validator_,
                                                           settings_.GetDependent(), kNone, kNone);
    handler_ = recordHandler_.get();
  }
  if (FirstPass().IsError() || SecondPass().IsError()) return;
  QvStatus status;
  model_.GetStartingValues(status, estimates_);
  stats_ = std::make_unique<QvAccumStatsLogistic>(settings_, model_.GetNumBasicNonRedundant(),
                                                  model_.GetNumDependCategories(), estimates_);
  handler_->SetStatsModel(stats_.get(), &model_);
}

QvStatus LogisticCase::FirstPass() {
  tables_.SetModelEffectFactors(design_.GetEffectFactors(), settings_.GetFactors());
  tables_.SetCovariates(settings_.GetCovariates());
  QvRecordPass pass(records_, cancel_, validator_);
  QvRecordCounts counts;
  QvStatus status = tabulator_ != nullptr ? tabulator_->FillFactorTables(records_)
                                          : FillFactorTables(pass, tables_, counts);
  if (status.IsError()) return status;
  QvRowLayout layout;
  layout.fCovariates = settings_.GetCovariates();
  layout.fDependent = settings_.GetDependent();
  model_.SetLayouts(layout, tabulator_ != nullptr ? tabulator_->GetRowLayout() : layout);
  model_.SetDesign(tables_, design_.GetEffectParameters());
  tables_.CreateParameterIndices();
  model_.SetDependentCategories(status, tables_.GetDependCountsPtr());
  if (!status.IsError()) model_.Initialize(status);
  return status;
}

QvStatus LogisticCase::SecondPass() {
  if (tabulator_ != nullptr) {
    tabulator_->CreateRowPatterns(records_, model_);
    const QvStatus status = tabulator_->AddRowsToXPrimeX(model_);
    return status.IsError() ? status : model_.FindRedundancy();
  }
  for (const Record& record : records_.All()) {
    if (!model_.AddRecordToXPrimeX(record.GetAll())) {
      return {QvStatusCode::kDataNotProcessed, false};
    }
  }
  return model_.FindRedundancy();
}

}  // namespace qvbench
