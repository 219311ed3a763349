#include "host/table/ColumnCoders.h"

#include <algorithm>
#include <cmath>
#include <memory>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Text.h"
#include "host/table/Connection.h"
#include "host/table/DuckDb.h"
#include "host/table/NumberFormat.h"
#include "host/table/NumberLevels.h"
#include "qvreg/common/Constants.h"

namespace qvhost {
namespace {

constexpr std::size_t kExamples = 3;
constexpr std::size_t kLongestExample = 40;
/// So many values tell whether a text is a number in another format.
constexpr std::size_t kSampleValues = 2000;

/// The first few different values of a text, of so many as tell.
std::vector<std::string> FirstValues(const TableSource& source, const ColumnRequest& request) {
  const auto rows = source.Database().Rows(
      fmt::format("SELECT left(({0}), {1}) FROM {2} WHERE ({0}) IS NOT NULL LIMIT {3}", request.sql,
                  kLongestExample, source.Relation(), kSampleValues));
  std::vector<std::string> values;
  for (const auto& row : rows) {
    const std::string value = row.front().value_or("");
    if (std::ranges::find(values, value) == values.end()) values.push_back(value);
    if (values.size() == kExamples) break;
  }
  return values;
}

/// For numbers without a sign: as many digits after the point in both, so more characters means
/// more digits before it.
bool SmallerMagnitude(std::string_view a, std::string_view b) {
  return a.size() != b.size() ? a.size() < b.size() : a < b;
}

bool SmallerNumber(std::string_view a, std::string_view b) {
  const bool aIsNegative = a.starts_with('-');
  const bool bIsNegative = b.starts_with('-');
  if (aIsNegative != bIsNegative) return aIsNegative;
  return aIsNegative ? SmallerMagnitude(b, a) : SmallerMagnitude(a, b);
}

}  // namespace

void RefuseInfinite(const std::string& label, std::int64_t row) {
  throw Error(ExitCode::kBadInput,
              fmt::format("The value of '{}' in row {} is infinite; leave such rows out, or make "
                          "the values NULL, with --sql.",
                          label, row + 1));
}

TooManyLevels::TooManyLevels(const std::string& label, std::size_t maxLevels)
    : Error(ExitCode::kBadInput,
            fmt::format("'{}' has more than {} different values, too many for a factor; use it "
                        "as a number (a dependent: with --model linear), or group its values with "
                        "--sql.",
                        label, maxLevels)),
      label_(label) {}

std::string DisguiseText(const TableSource& source, const ColumnRequest& request) {
  const auto rows = source.Database().Rows(
      fmt::format("SELECT DISTINCT value FROM (SELECT CAST(({0}) AS VARCHAR) AS value FROM {1} "
                  "WHERE ({0}) IS NOT NULL LIMIT {2}) ORDER BY value",
                  request.sql, source.Relation(), kSampleValues));
  std::vector<std::string> values;
  values.reserve(rows.size());
  for (const auto& row : rows) values.push_back(row.front().value_or(""));
  const std::optional<NumberReading> reading = FindReading(values);
  return reading ? DisguiseText(*reading, source, request.label) : "";
}

std::string DisguiseText(const NumberReading& reading, const TableSource& source,
                         const std::string& column) {
  const std::string what =
      fmt::format("{} % of its values read as {}", reading.share, ReadingText(reading));
  const bool needsFormat = source.Layout() == nullptr || !reading.format.IsPlain();
  if (needsFormat && !source.TakesFormats()) {
    return fmt::format("{}: make numbers of them in --sql, such as {}.", what,
                       ReadingSql(reading, column));
  }
  return fmt::format("{}: add {} to read them as such.", what, ReadingOptionsText(reading, column));
}

void RefuseCategory(const TableSource& source, const ColumnRequest& request) {
  const std::vector<std::string> values = FirstValues(source, request);
  const std::string hint = NumberHint(source, request);
  throw Error(ExitCode::kBadInput,
              fmt::format("The dependent '{0}' is text with more than {1} different values, such "
                          "as '{2}', so it is hardly meant as a category.{3} To take it as one "
                          "nevertheless, write --model logistic or C({4}); for another model, "
                          "name another dependent.",
                          request.label, request.maxLevels.value_or(0), fmt::join(values, "', '"),
                          hint.empty() ? "" : " " + hint, request.Written()));
}

LevelOrder ByBytes() { return std::less<>(); }

LevelOrder ByValue() { return SmallerNumber; }

LevelOrder ByList(const std::vector<std::string>& list) {
  auto places = std::make_shared<std::unordered_map<std::string, std::size_t>>();
  for (std::size_t place = 0; place < list.size(); ++place) places->emplace(list[place], place);
  return [places](const std::string& a, const std::string& b) {
    return places->at(a) < places->at(b);
  };
}

void Arrange(const LevelChoice& choice, const std::string& label, std::vector<std::uint32_t>& order,
             std::vector<std::string>& levels) {
  if (choice.order.empty() && !choice.base && !choice.isFirstBase) return;
  std::vector<std::uint32_t> codes;
  std::vector<std::string> texts;
  for (const std::size_t place : ChosenOrder(choice, label, levels)) {
    codes.push_back(order[place]);
    texts.push_back(levels[place]);
  }
  order = std::move(codes);
  levels = std::move(texts);
}

std::string PlainNumber(std::string text) {
  if (text.find('.') == std::string::npos) return text;
  text.erase(text.find_last_not_of('0') + 1);
  if (text.back() == '.') text.pop_back();
  return text;
}

NumberCoder::NumberCoder(const std::string& label) {
  column_.label = label;
  column_.kind = CodedColumn::Kind::kNumber;
}

void NumberCoder::Code(duckdb_vector values, idx_t rows, double* codes, std::int64_t firstRow) {
  const CellMask mask(values);
  const auto* const numbers = static_cast<const double*>(duckdb_vector_get_data(values));
  for (idx_t row = 0; row < rows; ++row) {
    const double number = mask.Has(row) ? numbers[row] : QvMV::gMissingValue;
    if (std::isinf(number)) {
      RefuseInfinite(column_.label, firstRow + static_cast<std::int64_t>(row));
    }
    const bool isMissing = std::isnan(number) || number == QvMV::gMissingValue;
    column_.missing += isMissing ? 1 : 0;
    codes[row] = isMissing ? QvMV::gMissingValue : number;
    if (isMissing) continue;
    column_.areZerosAndOnes = column_.areZerosAndOnes && (number == 0.0 || number == 1.0);
    column_.lowest = std::min(column_.lowest, number);
    column_.highest = std::max(column_.highest, number);
  }
}

CodedColumn NumberCoder::Finish() { return std::move(column_); }

FloatFactorCoder::FloatFactorCoder(const ColumnRequest& request, bool isSingle,
                                   std::size_t maxLevels)
    : choice_(request.levels), isSingle_(isSingle), maxLevels_(maxLevels) {
  column_.label = request.label;
  column_.kind = CodedColumn::Kind::kFactor;
}

void FloatFactorCoder::Code(duckdb_vector values, idx_t rows, double* codes,
                            std::int64_t firstRow) {
  const CellMask mask(values);
  const auto* const numbers = static_cast<const double*>(duckdb_vector_get_data(values));
  for (idx_t row = 0; row < rows; ++row) {
    if (!mask.Has(row) || std::isnan(numbers[row])) {
      codes[row] = kMissingCategory;
      ++column_.missing;
      continue;
    }
    if (std::isinf(numbers[row])) {
      RefuseInfinite(column_.label, firstRow + static_cast<std::int64_t>(row));
    }
    codes[row] = CodeOf(numbers[row]);
  }
}

double FloatFactorCoder::CodeOf(double value) {
  const double key = value == 0.0 ? 0.0 : value;  // -0 is 0
  const auto next = static_cast<std::uint32_t>(levels_.size());
  const auto [place, isNew] = codes_.try_emplace(key, next);
  if (isNew) {
    if (levels_.size() == maxLevels_) throw TooManyLevels(column_.label, maxLevels_);
    levels_.push_back(key);
  }
  return static_cast<double>(place->second);
}

CodedColumn FloatFactorCoder::Finish() {
  auto order = SortedOrder(
      levels_.size(), [this](std::uint32_t a, std::uint32_t b) { return levels_[a] < levels_[b]; });
  for (const std::uint32_t code : order) {
    const double level = levels_[code];
    column_.levels.push_back(isSingle_ ? fmt::format("{}", static_cast<float>(level))
                                       : fmt::format("{}", level));
  }
  Arrange(choice_, column_.label, order, column_.levels);
  finalCodes_ = FinalCodesOf(order);
  return std::move(column_);
}

TextFactorCoder::TextFactorCoder(const ColumnRequest& request, LevelOrder order, ColumnKind kind,
                                 std::size_t maxLevels)
    : order_(std::move(order)),
      choice_(request.levels),
      booleans_(request.booleans),
      kind_(kind),
      maxLevels_(maxLevels) {
  column_.label = request.label;
  column_.kind = CodedColumn::Kind::kFactor;
  column_.isText = kind == ColumnKind::kText;
}

void TextFactorCoder::Code(duckdb_vector values, idx_t rows, double* codes,
                           std::int64_t /*firstRow*/) {
  const CellMask mask(values);
  const auto* const texts = static_cast<const duckdb_string_t*>(duckdb_vector_get_data(values));
  for (idx_t row = 0; row < rows; ++row) {
    if (!mask.Has(row)) {
      codes[row] = kMissingCategory;
      ++column_.missing;
      continue;
    }
    std::int64_t* const recent = recent_.Find(texts[row]);
    const bool isKnown = recent != nullptr && *recent != RecentCodes::kUnknown;
    const auto code = isKnown ? static_cast<std::uint32_t>(*recent) : CodeOf(ViewOf(texts[row]));
    if (recent != nullptr) *recent = code;
    ++counts_[code];
    codes[row] = static_cast<double>(code);
  }
}

std::uint32_t TextFactorCoder::CodeOf(std::string_view text) {
  const auto known = codes_.find(text);
  if (known != codes_.end()) return known->second;
  if (levels_.size() == maxLevels_) throw TooManyLevels(column_.label, maxLevels_);
  const auto next = static_cast<std::uint32_t>(levels_.size());
  counts_.push_back(0);
  levels_.push_back(&codes_.emplace(text, next).first->first);
  return next;
}

std::string TextFactorCoder::LevelText(const std::string& value) const {
  if (kind_ == ColumnKind::kNumber) return PlainNumber(value);
  if (kind_ != ColumnKind::kBoolean) return value;
  return TruthOf(value) == true ? booleans_.yes : booleans_.no;
}

CodedColumn TextFactorCoder::Finish() {
  auto order = SortedOrder(levels_.size(), [this](std::uint32_t a, std::uint32_t b) {
    return order_(*levels_[a], *levels_[b]);
  });
  for (const std::uint32_t code : order) column_.levels.push_back(LevelText(*levels_[code]));
  Arrange(choice_, column_.label, order, column_.levels);
  for (const std::uint32_t code : order) column_.counts.push_back(counts_[code]);
  finalCodes_ = FinalCodesOf(order);
  return std::move(column_);
}

}  // namespace qvhost
