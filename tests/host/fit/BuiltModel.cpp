#include "tests/host/fit/BuiltModel.h"

#include <stdexcept>

#include "host/fit/CountedRecordIterator.h"
#include "host/fit/FitWarnings.h"
#include "host/table/CodeTable.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "tests/host/fit/Fitting.h"

namespace qvhost {

BuiltModel::BuiltModel(const FitOptions& options)
    : formula_(ParseFormula(options.formula)),
      source_(options.source),
      binding_(BindModel(formula_, source_, options.binding)),
      table_(CodeTable(source_, binding_.columns)),
      settings_(formula_, binding_, table_, source_, options),
      run_(settings_.Get(), table_, progress_, interrupt_) {
  run_.Build();
}

BuiltModel::BuiltModel(const std::string& sql, const std::string& formula)
    : BuiltModel(OptionsFor(sql, formula)) {}

PredictedCategories BuiltModel::Categories() const {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&run_.Output());
  if (logistic == nullptr) return {};
  return {logistic->GetDependCategories(), table_.Columns().front().levels};
}

std::vector<std::string> BuiltModel::WarningsOf(const FitResult& result) const {
  return FitWarnings(formula_, binding_, table_, run_.Output(), result).Find();
}

void BuiltModel::Predict(const std::string& path, const std::function<void(long long)>& progress) {
  WholeFile file(path);
  WritePredictions(file, table_, Component(), run_.Output(), Categories(), progress, interrupt_);
  file.Finish();
  file.Commit();
}

std::vector<BuiltModel::Answer> BuiltModel::Answers() const {
  std::vector<Answer> answers;
  CountedRecordIterator records(table_, {});
  records.NewPass();
  while (const QvCommon::Record* record = records.Next()) {
    Answer answer{};
    if (Component().Score(*record, answer.predicted, answer.values).IsError()) {
      throw std::runtime_error("a record could not be scored");
    }
    answers.push_back(answer);
  }
  return answers;
}

}  // namespace qvhost
