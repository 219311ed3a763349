#include "host/fit/SavedModelBuilder.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "host/Error.h"
#include "host/fit/StatusText.h"
#include "host/formula/Tokenizer.h"
#include "host/table/ColumnInfo.h"
#include "qvreg/common/QvStatus.h"

namespace qvhost {
namespace {

/// Takes the variables one by one, and the columns that they read.
class Builder {
 public:
  explicit Builder(const ModelParts& parts) : parts_(parts) {}

  SavedModel Build() {
    AddVariables();
    const QvRegSettings& settings = parts_.run.Component().GetCompSettings();
    // Of records that were grouped, the frequency weight stands elsewhere than in the table.
    AddWeight(parts_.binding.freqWeight, settings.GetFrequencyWeightVar());
    AddWeight(parts_.binding.regressionWeight, settings.GetRegrWeightVar());
    NameFields();
    const ReadingOptions& reading = parts_.data.reading;
    model_.reading = {parts_.data.na, reading.decimal, reading.thousands};
    const QvCommon::QvStatus status = parts_.run.Component().WriteModel(model_.component);
    if (status.IsError()) throw Error(ExitCode::kRunFailed, StatusText(status));
    return std::move(model_);
  }

 private:
  [[nodiscard]] const CodedColumn& Coded(int position) const {
    return parts_.table.Columns()[static_cast<std::size_t>(position)];
  }

  void AddVariables() {
    const Formula& formula = parts_.formula;
    std::vector<std::string> values = {formula.response.sql};
    for (const Variable& variable : formula.variables) values.push_back(variable.sql);
    const std::vector<ColumnInfo> infos = parts_.source.Describe(values);
    Add(formula.response, infos.front(), ModelBinding::kDependent);
    for (std::size_t i = 0; i < formula.variables.size(); ++i) {
      Add(formula.variables[i], infos[i + 1], parts_.binding.positions[i]);
    }
  }

  void Add(const Variable& variable, const ColumnInfo& info, int position) {
    SavedVariable saved;
    saved.label = variable.label;
    saved.expression = variable.expression;
    saved.isColumn = variable.form == Variable::Form::kColumn;
    for (const ColumnUse& use : variable.columns) AddColumn(use.found.name, saved);
    saved.field = saved.isColumn && !variable.asFactor ? saved.columns.front() : saved.label;
    saved.isFactor = Coded(position).kind == CodedColumn::Kind::kFactor;
    saved.levels = Coded(position).levels;
    saved.kind = info.kind;
    saved.position = position;
    const auto scale = std::ranges::find(parts_.scales, position, &Standardization::position);
    if (scale != parts_.scales.end()) saved.scale = scale->scale;
    model_.variables.push_back(std::move(saved));
  }

  /// `place` in the table, -1 for none, and `position` in the component's records.
  void AddWeight(int place, int position) {
    if (place < 0) return;
    SavedVariable saved;
    saved.label = Coded(place).label;
    const ColumnInfo& column = AddColumn(saved.label, saved);
    saved.field = column.Written();
    saved.expression = WrittenName(column.Written());
    saved.kind = column.kind;
    saved.position = position;
    saved.isWeight = true;
    model_.variables.push_back(std::move(saved));
  }

  /// Adds a column of the table to those of a variable, and of the model.
  const ColumnInfo& AddColumn(const std::string& name, SavedVariable& variable) {
    const auto info = std::ranges::find(parts_.source.Columns(), name, &ColumnInfo::name);
    if (info == parts_.source.Columns().end()) throw std::logic_error("a column is gone");
    const std::string& written = info->Written();
    if (std::ranges::find(variable.columns, written) == variable.columns.end()) {
      variable.columns.push_back(written);
    }
    if (std::ranges::find(model_.columns, written, &SavedColumn::name) == model_.columns.end()) {
      model_.columns.push_back({written, info->kind, info->type});
    }
    return *info;
  }

  /// Sees that no two fields have one name, nor one that of another's column.
  void NameFields() {
    std::set<std::string> taken;
    for (const SavedColumn& column : model_.columns) taken.insert(column.name);
    std::set<std::string> own;  // Of columns that a variable before takes as they are.
    for (SavedVariable& variable : model_.variables) {
      const bool isColumn = variable.isColumn && variable.field == variable.columns.front();
      if (isColumn && own.insert(variable.field).second) continue;
      while (!taken.insert(variable.field).second) variable.field += '_';
    }
  }

  const ModelParts& parts_;
  SavedModel model_;
};

}  // namespace

SavedModel SavedModelOf(const ModelParts& parts) { return Builder(parts).Build(); }

}  // namespace qvhost
