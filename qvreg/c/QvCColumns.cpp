#include "qvreg/c/QvCColumns.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <type_traits>

#include "qvreg/c/QvCCall.h"

namespace {

/// What a message shows of a column's name at most, in bytes.
constexpr std::size_t kLongestName = 100;

/// Where one column's values go: every `step`-th place.
struct Places {
  double* first;
  std::size_t step;
  std::size_t count;
};

bool IsFloating(std::int32_t type) {
  return type == QVREG_TYPE_FLOAT64 || type == QVREG_TYPE_FLOAT32;
}

/// The column as a message calls it.
std::string Named(const qvreg_typed_column& column, std::size_t number) {
  std::string text = "Column " + std::to_string(number);
  if (column.name != nullptr) {
    text += " ('" + QvCText::Shortened(column.name, kLongestName) + "')";
  }
  return text;
}

const char* At(const void* first, std::size_t record, std::ptrdiff_t stride) {
  return static_cast<const char*>(first) + static_cast<std::ptrdiff_t>(record) * stride;
}

template <typename T>
T Load(const char* from) {
  T value;
  std::memcpy(&value, from, sizeof value);
  return value;
}

/// Calls `visit` with a value of the column's type; bytes that are truth values as such.
template <typename Visit>
decltype(auto) WithType(std::int32_t type, Visit&& visit) {
  switch (type) {
    case QVREG_TYPE_FLOAT32:
      return visit(float{});
    case QVREG_TYPE_INT8:
      return visit(std::int8_t{});
    case QVREG_TYPE_INT16:
      return visit(std::int16_t{});
    case QVREG_TYPE_INT32:
      return visit(std::int32_t{});
    case QVREG_TYPE_INT64:
      return visit(std::int64_t{});
    case QVREG_TYPE_UINT8:
      return visit(std::uint8_t{});
    case QVREG_TYPE_UINT16:
      return visit(std::uint16_t{});
    case QVREG_TYPE_UINT32:
      return visit(std::uint32_t{});
    case QVREG_TYPE_UINT64:
      return visit(std::uint64_t{});
    case QVREG_TYPE_BOOL:
      return visit(bool{});
    default:
      return visit(double{});
  }
}

/// A value as it stands in memory: any byte is a truth value.
template <typename T>
using Stored = std::conditional_t<std::is_same_v<T, bool>, std::uint8_t, T>;

template <typename T>
T ValueAt(const char* from) {
  const auto stored = Load<Stored<T>>(from);
  if constexpr (std::is_same_v<T, bool>) {
    return stored != 0;
  } else {
    return stored;
  }
}

template <typename T>
bool IsNegative([[maybe_unused]] T value) {
  if constexpr (std::is_signed_v<T>) return value < T{0};
  return false;
}

/// A code that is not negative.
template <typename T>
std::uint64_t CodeOf(T value) {
  if constexpr (std::is_same_v<T, bool>) {
    return value ? 1 : 0;
  } else {
    return static_cast<std::make_unsigned_t<T>>(value);
  }
}

template <typename T>
bool IsMissingCode(const qvreg_typed_column& column, T value) {
  return column.has_missing_code != 0 && value == static_cast<T>(column.missing_code);
}

bool IsMasked(const qvreg_typed_column& column, std::size_t record) {
  if (column.mask_kind == QVREG_MASK_NONE) return false;
  if (column.mask_kind == QVREG_MASK_BYTES) {
    return *At(column.mask, record, column.mask_stride) != 0;
  }
  const auto bit = column.mask_offset + static_cast<std::int64_t>(record);
  return (static_cast<const unsigned char*>(column.mask)[bit >> 3] >> (bit & 7) & 1U) == 0;
}

/// True when some of `count` numbers from `from` on is not finite.
template <typename T>
bool IsAnyOdd(const char* from, std::ptrdiff_t stride, std::size_t count) {
  // 0 times a number is 0, unless that is not finite. Sums that do not wait for one another.
  constexpr std::size_t kLanes = 4;
  std::array<T, kLanes> sums{};
  std::size_t i = 0;
  for (; i + kLanes <= count; i += kLanes) {
    for (T& sum : sums) {
      sum += T{0} * Load<T>(from);
      from += stride;
    }
  }
  for (; i < count; ++i, from += stride) sums[0] += T{0} * Load<T>(from);
  const T sum = (sums[0] + sums[1]) + (sums[2] + sums[3]);
  return sum != T{0};
}

/// Copies values as they are. True when some is not finite, and the host chose what becomes of it.
template <typename T>
bool CopyNumbers(const qvreg_typed_column& column, std::size_t first, const Places& to) {
  const char* from = At(column.values, first, column.stride);
  bool isAnyOdd = false;
  if constexpr (std::is_floating_point_v<T>) {
    const bool isTreated = column.nan != QVREG_PASS_ON || column.infinite != QVREG_PASS_ON;
    isAnyOdd = isTreated && IsAnyOdd<T>(from, column.stride, to.count);
  }
  double* place = to.first;
  for (std::size_t i = 0; i < to.count; ++i, from += column.stride, place += to.step) {
    *place = static_cast<double>(ValueAt<T>(from));
  }
  return isAnyOdd;
}

/// Copies codes, or what the map has for them. True when some is not in the map.
template <typename T>
bool CopyCodes(const qvreg_typed_column& column, std::size_t first, const Places& to) {
  const char* from = At(column.values, first, column.stride);
  double* place = to.first;
  bool isAnyOdd = false;
  for (std::size_t i = 0; i < to.count; ++i, from += column.stride, place += to.step) {
    const T value = ValueAt<T>(from);
    *place = QVREG_MISSING_VALUE;
    if (IsMissingCode(column, value)) continue;
    if (column.map == nullptr) {
      *place = static_cast<double>(value);
    } else if (!IsNegative(value)) {
      const std::uint64_t code = CodeOf(value);
      if (code < column.map_size) {
        *place = column.map[code];
      } else {
        isAnyOdd = true;
      }
    }
  }
  return isAnyOdd;
}

/// True when the record's value ends a run.
template <typename T>
bool IsRefused(const qvreg_typed_column& column, std::size_t record) {
  if (IsMasked(column, record)) return false;
  const T value = ValueAt<T>(At(column.values, record, column.stride));
  if constexpr (std::is_floating_point_v<T>) {
    return (std::isnan(value) && column.nan == QVREG_REFUSE) ||
           (std::isinf(value) && column.infinite == QVREG_REFUSE);
  } else {
    return column.map != nullptr && !IsMissingCode(column, value) && !IsNegative(value) &&
           CodeOf(value) >= column.map_size;
  }
}

bool IsRefused(const qvreg_typed_column& column, std::size_t record) {
  return WithType(column.type,
                  [&](auto type) { return IsRefused<decltype(type)>(column, record); });
}

/// Has what is not finite treated as the host chose; how many values precede one that is refused.
std::size_t Treat(const qvreg_typed_column& column, std::size_t first, const Places& to) {
  double* place = to.first;
  const bool isNumber = IsFloating(column.type);
  for (std::size_t i = 0; i < to.count; ++i, place += to.step) {
    // Codes that the map does not have are missing so far.
    if (isNumber ? std::isfinite(*place) : *place != QVREG_MISSING_VALUE) continue;
    if (IsRefused(column, first + i)) return i;
    if (!isNumber) continue;
    const std::int32_t treatment = std::isnan(*place) ? column.nan : column.infinite;
    if (treatment == QVREG_AS_MISSING) *place = QVREG_MISSING_VALUE;
  }
  return to.count;
}

/// True when some of `count` bytes is not 0.
bool IsAnySet(const char* from, std::ptrdiff_t stride, std::size_t count) {
  unsigned any = 0;
  if (stride == 1) {
    for (std::size_t i = 0; i < count; ++i) any |= static_cast<unsigned char>(from[i]);
  } else {
    for (std::size_t i = 0; i < count; ++i, from += stride)
      any |= static_cast<unsigned char>(*from);
  }
  return any != 0;
}

void ApplyMask(const qvreg_typed_column& column, std::size_t first, const Places& to) {
  // Most records have all their values.
  if (column.mask_kind == QVREG_MASK_BYTES &&
      !IsAnySet(At(column.mask, first, column.mask_stride), column.mask_stride, to.count)) {
    return;
  }
  double* place = to.first;
  for (std::size_t i = 0; i < to.count; ++i, place += to.step) {
    if (IsMasked(column, first + i)) *place = QVREG_MISSING_VALUE;
  }
}

/// Writes values of a column; how many precede one that is refused.
std::size_t ReadColumn(const qvreg_typed_column& column, std::size_t first, const Places& to) {
  const bool isAnyOdd = WithType(column.type, [&](auto type) {
    using T = decltype(type);
    if constexpr (!std::is_floating_point_v<T>) {
      if (column.map != nullptr || column.has_missing_code != 0) {
        return CopyCodes<T>(column, first, to);
      }
    }
    return CopyNumbers<T>(column, first, to);
  });
  const std::size_t count = isAnyOdd ? Treat(column, first, to) : to.count;
  if (column.mask_kind != QVREG_MASK_NONE) ApplyMask(column, first, {to.first, to.step, count});
  return count;
}

[[noreturn]] void Refuse(const qvreg_typed_column& column, std::size_t number,
                         const std::string& what) {
  throw QvCRefusal(QVREG_BAD_ARGUMENT, Named(column, number) + " " + what);
}

void CheckChoice(const qvreg_typed_column& column, std::size_t number, std::int32_t value,
                 std::int32_t last, const char* member, const char* enumeration) {
  if (value >= 0 && value <= last) return;
  Refuse(column, number,
         "has " + std::string(member) + " " + std::to_string(value) + "; pass one of " +
             enumeration + ".");
}

template <typename T>
bool HasCode(std::int64_t code) {
  if constexpr (std::is_same_v<T, std::uint64_t>) {
    return code >= 0;
  } else {
    return code >= static_cast<std::int64_t>(std::numeric_limits<T>::min()) &&
           code <= static_cast<std::int64_t>(std::numeric_limits<T>::max());
  }
}

void CheckCodes(const qvreg_typed_column& column, std::size_t number) {
  const bool isWhole = !IsFloating(column.type);
  if (column.map != nullptr && !isWhole) {
    Refuse(column, number,
           "has a map, which is for codes; give it a type of whole numbers, or no map.");
  }
  if (column.has_missing_code == 0) return;
  const bool hasCode = WithType(column.type, [&](auto type) {
    using T = decltype(type);
    if constexpr (std::is_floating_point_v<T> || std::is_same_v<T, bool>) return false;
    return HasCode<T>(column.missing_code);
  });
  if (hasCode) return;
  Refuse(column, number,
         "has the missing code " + std::to_string(column.missing_code) +
             ", which no value of its type is; pass one of the type, or a mask.");
}

/// Throws the refusal of what does not describe a column.
void Check(const qvreg_typed_column& column, std::size_t number, bool hasRecords) {
  CheckChoice(column, number, column.type, QVREG_TYPE_BOOL, "the type", "qvreg_value_type");
  CheckChoice(column, number, column.mask_kind, QVREG_MASK_VALID_BITS, "the mask kind",
              "qvreg_mask_kind");
  CheckChoice(column, number, column.nan, QVREG_REFUSE, "the treatment of NaN", "qvreg_treatment");
  CheckChoice(column, number, column.infinite, QVREG_REFUSE, "the treatment of infinite numbers",
              "qvreg_treatment");
  CheckCodes(column, number);
  if (column.mask_offset < 0) {
    Refuse(column, number,
           "has the mask offset " + std::to_string(column.mask_offset) + "; it must be 0 or more.");
  }
  if (!hasRecords) return;
  if (column.values == nullptr) {
    throw QvCRefusal(QVREG_NULL_POINTER,
                     Named(column, number) + " has null values; point it to its first one.");
  }
  if (column.mask_kind != QVREG_MASK_NONE && column.mask == nullptr) {
    throw QvCRefusal(QVREG_NULL_POINTER, Named(column, number) +
                                             " has a kind of mask and a null mask; point it to the "
                                             "mask, or pass QVREG_MASK_NONE.");
  }
}

/// A host's columns, copied as far as both sides know them. Throws the refusal of structures whose
/// size is wrong.
std::vector<qvreg_typed_column> Copied(const qvreg_typed_column* columns, std::size_t count) {
  if (count == 0) return {};
  const std::size_t size = QvCStruct::Checked(columns, "columns").struct_size;
  std::vector<qvreg_typed_column> copies;
  copies.reserve(count);
  for (std::size_t j = 0; j < count; ++j) {
    qvreg_typed_column copy{};
    const char* from = At(columns, j, static_cast<std::ptrdiff_t>(size));
    std::memcpy(&copy, from, std::min(size, sizeof copy));
    if (copy.struct_size != size) {
      throw QvCRefusal(QVREG_BAD_STRUCT_SIZE,
                       "The struct_size of column " + std::to_string(j) + " is " +
                           std::to_string(copy.struct_size) + ", and that of column 0 is " +
                           std::to_string(size) + "; set both to the sizeof of the structure.");
    }
    copies.push_back(copy);
  }
  return copies;
}

constexpr double kZero = 0.0;

/// A column that is 0 in every record.
qvreg_typed_column Zeros() {
  qvreg_typed_column zeros{};
  zeros.struct_size = sizeof zeros;
  zeros.values = &kZero;
  return zeros;
}

}  // namespace

QvCColumns::QvCColumns(const qvreg_typed_column* columns, std::size_t count, bool hasRecords)
    : fColumns(Copied(columns, count)) {
  for (std::size_t j = 0; j < count; ++j) Check(fColumns[j], j, hasRecords);
}

QvCColumns::QvCColumns(const qvreg_column* columns, std::size_t count, bool hasRecords)
    : fColumns(count, Zeros()) {
  for (std::size_t j = 0; j < count; ++j) {
    fColumns[j].values = columns[j].values;
    fColumns[j].stride = columns[j].stride * static_cast<std::ptrdiff_t>(sizeof(double));
    Check(fColumns[j], j, hasRecords);
  }
}

QvCColumns QvCColumns::Wanted(const qvreg_typed_column* columns, std::size_t count, bool hasRecords,
                              const std::vector<bool>& wanted) {
  QvCColumns made;
  made.fColumns = Copied(columns, std::min(count, wanted.size()));
  for (std::size_t j = 0; j < made.fColumns.size(); ++j) {
    if (wanted[j]) {
      Check(made.fColumns[j], j, hasRecords);
    } else {
      made.fColumns[j] = Zeros();
    }
  }
  return made;
}

const double* QvCColumns::Rows(std::ptrdiff_t& stride) const {
  const qvreg_typed_column& first = fColumns.front();
  const auto start = reinterpret_cast<std::uintptr_t>(first.values);
  constexpr std::ptrdiff_t kWidth = sizeof(double);
  if (start == 0 || start % alignof(double) != 0 || first.stride % kWidth != 0) return nullptr;
  for (std::size_t j = 0; j < fColumns.size(); ++j) {
    const qvreg_typed_column& column = fColumns[j];
    const bool isPlain = column.type == QVREG_TYPE_FLOAT64 && column.nan == QVREG_PASS_ON &&
                         column.infinite == QVREG_PASS_ON && column.mask_kind == QVREG_MASK_NONE;
    const bool isNext =
        column.stride == first.stride &&
        reinterpret_cast<std::uintptr_t>(column.values) == start + j * sizeof(double);
    if (!isPlain || !isNext) return nullptr;
  }
  stride = first.stride / kWidth;
  return static_cast<const double*>(first.values);
}

std::size_t QvCColumns::Read(std::size_t first, std::size_t count, double* rows) const {
  for (std::size_t j = 0; j < fColumns.size(); ++j) {
    count = ReadColumn(fColumns[j], first, {rows + j, fColumns.size(), count});
  }
  return count;
}

std::string QvCColumns::WhyRefused(std::size_t record, std::size_t& column) const {
  const auto found = std::find_if(fColumns.begin(), fColumns.end(),
                                  [&](const auto& each) { return IsRefused(each, record); });
  column = static_cast<std::size_t>(found - fColumns.begin());
  const std::string named = Named(*found, column);
  const char* at = At(found->values, record, found->stride);
  return WithType(found->type, [&](auto type) {
    using T = decltype(type);
    if constexpr (std::is_floating_point_v<T>) {
      return named + (std::isnan(ValueAt<T>(at)) ? " has a NaN" : " has an infinite value") +
             ", which it is to refuse; correct the value, leave the record out, or have it treated "
             "as missing.";
    } else {
      return named + " has the code " + std::to_string(ValueAt<T>(at)) + ", and its map has " +
             std::to_string(found->map_size) +
             " numbers, for codes from 0 on; correct the code, "
             "or pass a map that has it.";
    }
  });
}

std::size_t QvCRecordsAtOnce(std::size_t size) {
  constexpr std::size_t kBytes = std::size_t{1} << 14;
  return std::max(kBytes / sizeof(double) / std::max(size, std::size_t{1}), std::size_t{1});
}

QvCRowReader::QvCRowReader(const QvCColumns& columns)
    : fColumns(columns), fAtOnce(QvCRecordsAtOnce(columns.Size())) {
  fRows.resize(fAtOnce * columns.Size());
}

const double* QvCRowReader::Next() {
  if (fNTaken == fNRead) {
    fNTaken = 0;
    fNRead = fColumns.Read(fNext, std::min(fAtOnce, fEnd - fNext), fRows.data());
    if (fNRead == 0) {
      std::size_t column = 0;
      QvCReport report(QVREG_REFUSED_VALUE, fColumns.WhyRefused(fNext, column));
      report.Prefix("Record " + std::to_string(fNext + 1) + ": ");
      report.SetDiscrete(0, static_cast<std::int64_t>(fNext) + 1);
      report.SetDiscrete(2, static_cast<std::int64_t>(column));
      throw QvCRefusal(report);
    }
    fNext += fNRead;
  }
  return fRows.data() + fColumns.Size() * fNTaken++;
}
