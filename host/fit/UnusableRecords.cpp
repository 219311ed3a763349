#include "host/fit/UnusableRecords.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/fit/ModelBinding.h"

namespace qvhost {

namespace {

/// Builds the sentences. Borrows everything it is made of.
class Explanation {
 public:
  Explanation(const RecordUse& records, const CodedTable& table, const QvRegSettings& settings)
      : records_(records), columns_(table.Columns()) {
    for (std::size_t position = 0; position < columns_.size(); ++position) {
      const int index = static_cast<int>(position);
      const bool isWeight =
          index == settings.GetFrequencyWeightVar() || index == settings.GetRegrWeightVar();
      if (isWeight) {
        AddOnce(columns_[position].label, weights_);
      } else if (columns_[position].missing > 0) {
        AddOnce(columns_[position], missing_);
      }
    }
  }

  [[nodiscard]] std::string Text() const {
    if (records_.read == 0) return kNoRecordText;
    std::string text = records_.read == 1
                           ? "The only record cannot be used."
                           : fmt::format("None of the {} records can be used.", records_.read);
    if (records_.missing > 0) text += MissingText();
    if (records_.badWeight > 0) {
      text += fmt::format(" In {} a weight is missing or not above 0; check {}.",
                          records_.badWeight, NameList(weights_));
    }
    return text;
  }

 private:
  static void AddOnce(const std::string& name, std::vector<std::string>& names) {
    if (std::ranges::find(names, name) == names.end()) names.push_back(name);
  }
  static void AddOnce(const CodedColumn& column, std::vector<CodedColumn>& columns) {
    // A column that plays several parts is listed once.
    if (std::ranges::find(columns, column.label, &CodedColumn::label) == columns.end()) {
      columns.push_back(column);
    }
  }

  [[nodiscard]] std::string MissingText() const {
    std::string list;
    for (const CodedColumn& column : missing_) {
      list += fmt::format("{}'{}' in {}", list.empty() ? " (" : ", ", column.label, column.missing);
    }
    return fmt::format(" In {} a value is missing{}; {}.", records_.missing,
                       list.empty() ? "" : list + ")", Advice());
  }

  /// A model cannot do without its dependent.
  [[nodiscard]] std::string Advice() const {
    const CodedColumn& dependent = columns_[ModelBinding::kDependent];
    if (dependent.missing == records_.read) {
      return fmt::format("fill the dependent '{}', or choose another", dependent.label);
    }
    const CodedColumn* emptiest = nullptr;
    for (const CodedColumn& column : missing_) {
      if (column.label == dependent.label) continue;
      if (emptiest == nullptr || column.missing > emptiest->missing) emptiest = &column;
    }
    if (emptiest == nullptr) return "fill it";
    return fmt::format("leave '{}' out of the model, or fill it", emptiest->label);
  }

  const RecordUse& records_;
  const std::vector<CodedColumn>& columns_;
  std::vector<CodedColumn> missing_;  ///< Weights apart.
  std::vector<std::string> weights_;
};

}  // namespace

std::string UnusableRecordsText(const RecordUse& records, const CodedTable& table,
                                const QvRegSettings& settings) {
  return Explanation(records, table, settings).Text();
}

}  // namespace qvhost
