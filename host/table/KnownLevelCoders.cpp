#include "host/table/KnownLevelCoders.h"

#include <cmath>
#include <optional>
#include <utility>

#include <fmt/format.h>

#include "host/table/KnownLevels.h"
#include "host/table/LevelChoice.h"

namespace qvhost {
namespace {

/// The code of each level by what it reads as; kMissingCategory where several read the same.
template <typename Map, typename Reading>
void AddReadings(const std::vector<std::string>& levels, const Reading& reading, Map& codes) {
  for (std::size_t code = 0; code < levels.size(); ++code) {
    const auto read = reading(levels[code]);
    if (!read) continue;
    const auto [place, isNew] = codes.try_emplace(*read, static_cast<double>(code));
    if (!isNew) place->second = kMissingCategory;
  }
}

template <typename Map, typename Key>
double Find(const Map& codes, const Key& key) {
  const auto found = codes.find(key);
  return found == codes.end() ? kMissingCategory : found->second;
}

std::string TextOfNumber(double number, bool isSingle) {
  return isSingle ? fmt::format("{}", static_cast<float>(number)) : fmt::format("{}", number);
}

}  // namespace

LevelCodes::LevelCodes(const KnownLevels& known, ColumnKind kind, bool isSingle)
    : kind_(kind), isSingle_(isSingle) {
  AddReadings(
      known.levels, [](const std::string& level) { return std::optional(level); }, texts_);
  const auto isEither = [&](ColumnKind each) { return kind == each || known.kind == each; };
  if (isEither(ColumnKind::kNumber)) {
    const auto number = [isSingle](const std::string& level) -> std::optional<double> {
      const std::optional<double> read = NumberOfLevel(level);
      return read && isSingle ? std::optional<double>(static_cast<float>(*read)) : read;
    };
    AddReadings(known.levels, number, numbers_);
  }
  const bool mayBeTruth = isEither(ColumnKind::kBoolean) || kind == ColumnKind::kNumber;
  if (mayBeTruth && AreTruths(known.levels)) AddReadings(known.levels, TruthOf, truths_);
}

double LevelCodes::OfText(std::string_view text) const {
  if (const double code = Find(texts_, text); code != kMissingCategory) return code;
  if (!numbers_.empty()) {
    if (kind_ == ColumnKind::kNumber) {
      const double code = Find(texts_, PlainNumber(std::string(text)));
      if (code != kMissingCategory) return code;
    }
    const std::optional<double> number = NumberOfLevel(text);
    const double code = number ? Find(numbers_, *number) : kMissingCategory;
    if (code != kMissingCategory) return code;
  }
  if (truths_.empty()) return kMissingCategory;
  const std::optional<bool> truth = TruthOf(text);
  return truth ? Find(truths_, *truth) : kMissingCategory;
}

double LevelCodes::OfNumber(double number) const {
  if (const double code = Find(numbers_, number); code != kMissingCategory) return code;
  return OfText(TextOfNumber(number, isSingle_));
}

UnknownLevel::UnknownLevel(std::string label, std::int64_t row, std::string value)
    : Error(ExitCode::kBadInput,
            fmt::format("'{}' has the value '{}' in row {}, which is none of its levels.", label,
                        value, row + 1)),
      label_(std::move(label)),
      row_(row + 1),
      value_(std::move(value)) {}

KnownLevelCoder::KnownLevelCoder(const ColumnRequest& request, ColumnKind kind, bool isSingle)
    : codes_(*request.known, kind, isSingle),
      areAll_(request.maxLevels == request.known->levels.size()) {
  column_.label = request.label;
  column_.kind = CodedColumn::Kind::kFactor;
  column_.levels = request.known->levels;
}

double KnownLevelCoder::Missing() {
  ++column_.missing;
  return kMissingCategory;
}

KnownFloatCoder::KnownFloatCoder(const ColumnRequest& request, bool isSingle)
    : KnownLevelCoder(request, ColumnKind::kNumber, isSingle) {}

void KnownFloatCoder::Code(duckdb_vector values, idx_t rows, double* codes, std::int64_t firstRow) {
  const CellMask mask(values);
  const auto* const numbers = static_cast<const double*>(duckdb_vector_get_data(values));
  for (idx_t row = 0; row < rows; ++row) {
    if (!mask.Has(row) || std::isnan(numbers[row])) {
      codes[row] = Missing();
      continue;
    }
    const double number = numbers[row];
    if (std::isinf(number)) RefuseInfiniteAt(firstRow + static_cast<std::int64_t>(row));
    codes[row] = Counted(Codes().OfNumber(number), firstRow + static_cast<std::int64_t>(row),
                         [number] { return fmt::format("{}", number); });
  }
}

KnownTextCoder::KnownTextCoder(const ColumnRequest& request, ColumnKind kind)
    : KnownLevelCoder(request, kind, false), kind_(kind), booleans_(request.booleans) {}

double KnownTextCoder::CodeOf(std::string_view text, std::int64_t row) {
  std::string_view level = text;
  if (kind_ == ColumnKind::kBoolean) level = TruthOf(text) == true ? booleans_.yes : booleans_.no;
  return Counted(Codes().OfText(level), row, [level] { return std::string(level); });
}

void KnownTextCoder::Code(duckdb_vector values, idx_t rows, double* codes, std::int64_t firstRow) {
  const CellMask mask(values);
  const auto* const texts = static_cast<const duckdb_string_t*>(duckdb_vector_get_data(values));
  for (idx_t row = 0; row < rows; ++row) {
    if (!mask.Has(row)) {
      codes[row] = Missing();
      continue;
    }
    std::int64_t* const recent = recent_.Find(texts[row]);
    if (recent != nullptr && *recent != RecentCodes::kUnknown) {
      codes[row] = static_cast<double>(*recent);
      continue;
    }
    codes[row] = CodeOf(ViewOf(texts[row]), firstRow + static_cast<std::int64_t>(row));
    // Values that are no levels are counted each time.
    const bool isLevel = codes[row] != kMissingCategory;
    if (recent != nullptr && isLevel) *recent = static_cast<std::int64_t>(codes[row]);
  }
}

}  // namespace qvhost
