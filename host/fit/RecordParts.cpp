#include "host/fit/RecordParts.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/fit/RowShuffle.h"
#include "host/table/Booleans.h"
#include "host/table/LevelChoice.h"

namespace qvhost {

namespace {

constexpr double kInNoPart = -1.0;

constexpr double HeldOutPart(double part) { return -2.0 - part; }

/// Changes the number of every record; `change` is called with it and the row, on any thread.
void ChangeParts(CodedTable& table, int position, const PartChange& options,
                 const std::function<double(std::int64_t row, double part)>& change) {
  const auto size = static_cast<std::size_t>(table.RecordSize());
  table.Spool().ChangeRecords(
      size, options.threads,
      [&](std::int64_t row, std::span<double> records) {
        for (auto at = static_cast<std::size_t>(position); at < records.size(); at += size) {
          records[at] = change(row++, records[at]);
        }
      },
      [&](std::int64_t) {
        if (options.interrupt.Requested()) throw Cancelled();
      });
}

/// Whether a word says that a record is to be fitted, or to be held out; none where it says
/// neither.
std::optional<bool> IsFittedByName(std::string_view level) {
  constexpr auto kFitted =
      std::to_array<std::string_view>({"train", "training", "fit", "estimation", "learn"});
  constexpr auto kHeldOut = std::to_array<std::string_view>(
      {"test", "testing", "valid", "validate", "validation", "holdout", "hold-out", "held-out"});
  const std::string lower = Lower(level);
  if (std::ranges::find(kFitted, lower) != kFitted.end()) return true;
  if (std::ranges::find(kHeldOut, lower) != kHeldOut.end()) return false;
  return TruthOf(level);
}

/// Whether the name of a column of booleans says that they tell the records to hold out.
bool IsNameOfHeldOut(std::string_view column) {
  constexpr auto kWords = std::to_array<std::string_view>({"test", "valid", "hold", "held"});
  const std::string lower = Lower(column);
  return std::ranges::any_of(
      kWords, [&](std::string_view word) { return lower.find(word) != std::string::npos; });
}

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

/// Of each level of the column whether its records are fitted.
std::vector<bool> ReadLevels(const CodedColumn& column, const std::optional<std::string>& fitted) {
  const std::vector<std::string>& levels = column.levels;
  if (levels.size() != 2) {
    const std::string values = levels.empty()
                                   ? "no value"
                                   : fmt::format("{} value{} ({})", levels.size(),
                                                 levels.size() == 1 ? "" : "s", NameList(levels));
    Refuse(fmt::format(
        "The column '{}' of --split has {} in the rows read, not two, one of the "
        "records to fit and one of those to hold out{}.",
        column.label, values,
        levels.size() > 2 ? "; leave others out with --where, or make two with --sql" : ""));
  }
  if (fitted) {
    const std::optional<std::size_t> level = FindLevel(levels, *fitted);
    if (level) return {*level == 0, *level == 1};
    throw NoSuchLevel(column.label, *fitted,
                      fmt::format("'{}' has no level '{}' to be fitted by --split.{}", column.label,
                                  *fitted, LevelHint(levels, *fitted)));
  }
  const std::optional<bool> first = IsFittedByName(levels.front());
  const std::optional<bool> second = IsFittedByName(levels.back());
  const bool areTruths = TruthOf(levels.front()) && TruthOf(levels.back());
  if (first && second && *first != *second) {
    if (!areTruths || !IsNameOfHeldOut(column.label)) return {*first, *second};
    Refuse(
        fmt::format("--split takes '{1}' for the records to fit, and the name of '{0}' says the "
                    "opposite; write --split '{0}={2}' to hold '{1}' out, or '{0}={1}' to fit it.",
                    column.label, levels[*first ? 0 : 1], levels[*first ? 1 : 0]));
  }
  Refuse(
      fmt::format("Which of '{1}' and '{2}' in the column '{0}' are to be fitted is not told by "
                  "these words; write --split '{0}={1}' to fit the former.",
                  column.label, levels.front(), levels.back()));
}

void AssignSplit(CodedTable& table, int position, const ValidationOptions& options,
                 const PartChange& change) {
  const std::vector<bool> isFitted =
      ReadLevels(table.Columns()[static_cast<std::size_t>(position)], options.level);
  ChangeParts(table, position, change, [&](std::int64_t, double code) {
    if (code < 0.0) return kInNoPart;
    return isFitted[static_cast<std::size_t>(code)] ? 0.0 : HeldOutPart(0.0);
  });
}

void AssignHoldout(CodedTable& table, int position, const ValidationOptions& options,
                   const PartChange& change) {
  const std::int64_t rows = table.RecordCount();
  const auto held =
      static_cast<std::int64_t>(std::floor(options.share * static_cast<double>(rows) + 0.5));
  if (held == 0 || held >= rows) {
    Refuse(
        fmt::format("--holdout {:g} holds out {} of {} row{}; give a share that leaves some to "
                    "both parts.",
                    options.share, held == 0 ? "none" : "all", rows, rows == 1 ? "" : "s"));
  }
  const RowShuffle shuffle(rows, options.seed);
  ChangeParts(table, position, change, [&](std::int64_t row, double) {
    return shuffle.PlaceOf(row) < held ? HeldOutPart(0.0) : 0.0;
  });
}

void AssignFolds(CodedTable& table, int position, const ValidationOptions& options,
                 const PartChange& change) {
  const std::int64_t rows = table.RecordCount();
  if (options.folds > rows) {
    Refuse(fmt::format("--folds {} are more than the {} row{} of the data; give at most so many.",
                       options.folds, rows, rows == 1 ? "" : "s"));
  }
  const RowShuffle shuffle(rows, options.seed);
  ChangeParts(table, position, change, [&](std::int64_t row, double) {
    const std::int64_t fold = shuffle.PlaceOf(row) * options.folds / rows;
    return static_cast<double>(fold);
  });
}

}  // namespace

void AssignParts(CodedTable& table, const ModelBinding& binding, const ValidationOptions& options,
                 const PartChange& change) {
  switch (options.kind) {
    case ValidationKind::kNone:
      break;
    case ValidationKind::kSplit:
      return AssignSplit(table, binding.part, options, change);
    case ValidationKind::kHoldout:
      return AssignHoldout(table, binding.part, options, change);
    case ValidationKind::kFolds:
      return AssignFolds(table, binding.part, options, change);
  }
}

void HoldOut(CodedTable& table, const ModelBinding& binding, int held, const PartChange& change) {
  ChangeParts(table, binding.part, change, [&](std::int64_t, double number) {
    const double part = IsHeldOut(number) ? HeldOutPart(number) : number;
    return part == static_cast<double>(held) ? HeldOutPart(part) : part;
  });
}

}  // namespace qvhost
