#include "host/fit/DataNotes.h"

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/fit/ReadingNotes.h"
#include "host/formula/Tokenizer.h"
#include "host/table/ColumnCoders.h"
#include "host/table/MissingStrings.h"
#include "host/table/NumberFormat.h"
#include "host/table/NumberLevels.h"

namespace qvhost {
namespace {

bool IsCode(std::string_view text) {
  return !text.empty() && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

/// A number of which leading zeros are a part: 01234.
bool HasLeadingZero(std::string_view text) { return text.size() > 1 && text.front() == '0'; }

/// Some of many levels, from all over the list.
std::vector<std::string> Sample(const std::vector<std::string>& levels) {
  constexpr std::size_t kMost = 20000;
  const std::size_t step = levels.size() / kMost + 1;
  std::vector<std::string> sample;
  for (std::size_t i = 0; i < levels.size(); i += step) sample.push_back(levels[i]);
  return sample;
}

/// Finds the notes. Borrows everything it is made of.
class Notes {
 public:
  Notes(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
        const TableSource& source)
      : formula_(formula), binding_(binding), table_(table), source_(source) {}

  std::vector<std::string> Find(bool choseMissing) {
    FindColumns();
    notes_ = source_.NotesOnNames();
    if (const TextLayout* layout = source_.Layout(); layout != nullptr && layout->hasHeader) {
      AddColumnWithoutName();
    }
    Append(FileNotes(source_));
    AddFactor(ModelBinding::kDependent, formula_.response);
    for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
      AddFactor(binding_.positions[i], formula_.variables[i]);
    }
    if (!choseMissing) AddMissingLevels();
    Append(FormatNotes(source_, columns_));
    return std::move(notes_);
  }

 private:
  void FindColumns() {
    const auto add = [this](const Variable& variable) {
      for (const ColumnUse& use : variable.columns) {
        const std::string& name = use.found.name;
        if (std::ranges::find(columns_, name) == columns_.end()) columns_.push_back(name);
      }
    };
    add(formula_.response);
    for (const Variable& variable : formula_.variables) add(variable);
  }

  [[nodiscard]] bool IsUsed(const std::string& column) const {
    return std::ranges::find(columns_, column) != columns_.end();
  }

  /// The first column, if the header has no name for it and only `.` put it into the model.
  void AddColumnWithoutName() {
    const std::string& name = source_.Columns().front().name;
    constexpr std::string_view kBegin = "column0";
    const bool isUnnamed =
        name.starts_with(kBegin) && name.find_first_not_of('0', kBegin.size()) == std::string::npos;
    const auto isOfDot = [&](const Variable& variable) {
      return variable.isOfDot && variable.columns.front().name == name;
    };
    if (!isUnnamed || std::ranges::none_of(formula_.variables, isOfDot)) return;
    notes_.push_back(
        fmt::format("'.' stands for {0}, too, which has no name in the header, as the row numbers "
                    "that R and pandas write; take it out with '. - {0}'.",
                    name));
  }

  /// A text that is a factor for no other reason.
  void AddFactor(int position, const Variable& variable) {
    const CodedColumn& column = table_.Columns()[static_cast<std::size_t>(position)];
    if (!column.isText || variable.asFactor || variable.form != Variable::Form::kColumn) return;
    if (source_.IsTypeGiven(column.label)) return;
    const std::vector<std::string>& levels = column.levels;
    if (const auto reading = FindReading(Sample(levels))) {
      notes_.push_back(fmt::format("'{}' is text and so a factor, but {}", column.label,
                                   DisguiseText(*reading, source_, column.label)));
      return;
    }
    const NumberLevels numbers(levels, column.counts);
    if (numbers.AreLikelyNumbers()) {
      const ColumnRequest& request = binding_.columns[static_cast<std::size_t>(position)];
      notes_.push_back(fmt::format("'{}' is text and so a factor, but {}", column.label,
                                   numbers.Text(source_, request)));
      return;
    }
    const auto code = std::ranges::find_if(levels, HasLeadingZero);
    if (levels.size() < 2 || code == levels.end() || !std::ranges::all_of(levels, IsCode)) return;
    notes_.push_back(fmt::format(
        "'{0}' is taken as codes and so as a factor, since values such as '{1}' begin "
        "with a zero.{2}",
        column.label, *code,
        source_.Layout() == nullptr
            ? ""
            : fmt::format(" For numbers, add {}.", TypesText(column.label, "integer"))));
  }

  /// Missing strings that may be levels, in columns of text.
  void AddMissingLevels() {
    if (source_.Layout() == nullptr) return;
    for (const MissingString& string : table_.MissingStrings()) {
      const auto info = std::ranges::find(source_.Columns(), string.column, &ColumnInfo::name);
      const bool isText = info != source_.Columns().end() && info->kind == ColumnKind::kText;
      if (!isText || !IsUsed(string.column) || !MayBeLevel(string.text)) continue;
      const bool isOne = string.count == 1;
      notes_.push_back(fmt::format(
          "{} value{} '{}' of '{}' {} read as missing; if it is a level, list the "
          "missing texts yourself, as --na NA.",
          string.count, isOne ? "" : "s", string.text, string.column, isOne ? "was" : "were"));
    }
  }

  void Append(std::vector<std::string> notes) {
    for (std::string& note : notes) notes_.push_back(std::move(note));
  }

  const Formula& formula_;
  const ModelBinding& binding_;
  const CodedTable& table_;
  const TableSource& source_;
  std::vector<std::string> columns_;
  std::vector<std::string> notes_;
};

}  // namespace

std::vector<std::string> DataNotes(const Formula& formula, const ModelBinding& binding,
                                   const CodedTable& table, const TableSource& source,
                                   bool choseMissing) {
  return Notes(formula, binding, table, source).Find(choseMissing);
}

}  // namespace qvhost
