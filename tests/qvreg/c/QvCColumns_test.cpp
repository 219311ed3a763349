// What the values of typed columns are in records.
#include "qvreg/c/QvCColumns.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CTyped.h"

namespace qvtest {
namespace {

using Values = std::vector<double>;

constexpr double kNone = QVREG_MISSING_VALUE;
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInf = std::numeric_limits<double>::infinity();

/// The error of a source that such columns are to make.
qvreg_error CreateError(const std::vector<qvreg_typed_column>& columns, std::size_t nRecords = 3) {
  qvreg_source* source = nullptr;
  const qvreg_error error = ErrorOf([&](qvreg_error* e) {
    return qvreg_source_create_typed_columns(columns.data(), columns.size(), nRecords, &source, e);
  });
  EXPECT_EQ(source == nullptr, error.code != QVREG_OK);
  qvreg_source_destroy(source);
  return error;
}

template <typename T>
class CTypedColumn : public testing::Test {};
using Types = testing::Types<double, float, std::int8_t, std::int16_t, std::int32_t, std::int64_t,
                             std::uint8_t, std::uint16_t, std::uint32_t, std::uint64_t>;
TYPED_TEST_SUITE(CTypedColumn, Types);

TYPED_TEST(CTypedColumn, HoldsItsNumbers) {
  using Limits = std::numeric_limits<TypeParam>;
  const std::vector<TypeParam> values{Limits::lowest(), TypeParam{0}, TypeParam{7}, Limits::max()};
  EXPECT_EQ(ReadColumn(TypedColumn(values), 4), (Values{static_cast<double>(Limits::lowest()), 0.0,
                                                        7.0, static_cast<double>(Limits::max())}));
}

TYPED_TEST(CTypedColumn, MayStandAnywhere) {
  // An odd distance, from an odd place on.
  constexpr std::size_t kStride = sizeof(TypeParam) + 1;
  std::vector<char> bytes(1 + 5 * kStride);
  for (std::size_t i = 0; i < 5; ++i) {
    const auto value = static_cast<TypeParam>(10 + i);
    std::memcpy(bytes.data() + 1 + i * kStride, &value, sizeof value);
  }
  auto column = TypedColumn(std::vector<TypeParam>());
  column.values = bytes.data() + 1;
  column.stride = kStride;
  EXPECT_EQ(ReadColumn(column, 5), (Values{10, 11, 12, 13, 14}));
  column.values = bytes.data() + 1 + 4 * kStride;
  column.stride = -static_cast<std::ptrdiff_t>(2 * kStride);
  EXPECT_EQ(ReadColumn(column, 3), (Values{14, 12, 10}));
  column.stride = 0;
  EXPECT_EQ(ReadColumn(column, 3), (Values{14, 14, 14}));
}

TEST(CTypedColumns, RoundWholeNumbersBeyondAllDoubles) {
  const std::int64_t two53 = std::int64_t{1} << 53;
  EXPECT_EQ(ReadColumn(TypedColumn(std::vector<std::int64_t>{two53 + 1, two53 + 3, -two53 - 1}), 3),
            (Values{0x1p53, 0x1p53 + 4.0, -0x1p53}));
  EXPECT_EQ(ReadColumn(TypedColumn(std::vector<std::uint64_t>{UINT64_MAX}), 1), (Values{0x1p64}));
}

TEST(CTypedColumns, TakeAnyByteButZeroForTrue) {
  auto column = TypedColumn(std::vector<std::uint8_t>{});
  const unsigned char bytes[] = {0, 1, 2, 255};
  column.values = bytes;
  column.type = QVREG_TYPE_BOOL;
  EXPECT_EQ(ReadColumn(column, 4), (Values{0, 1, 1, 1}));
}

TEST(CTypedColumns, HaveAMissingCodeOfTheirOwn) {
  const std::vector<std::uint8_t> codes{0, 255, 2, 254};
  auto column = TypedColumn(codes);
  EXPECT_EQ(ReadColumn(column, 4), (Values{0, 255, 2, 254}));
  column.has_missing_code = 1;
  column.missing_code = 255;
  EXPECT_EQ(ReadColumn(column, 4), (Values{0, kNone, 2, 254}));
  const std::vector<std::int64_t> wide{-1, INT64_MIN, 3};
  auto other = TypedColumn(wide);
  other.has_missing_code = 1;
  other.missing_code = INT64_MIN;
  EXPECT_EQ(ReadColumn(other, 3), (Values{-1, kNone, 3}));
}

TEST(CTypedColumns, ReadCodesByAMap) {
  const std::vector<double> map{30.5, kNone, -2.0};
  const std::vector<std::int16_t> codes{2, 0, 1, -1, -300, 0};
  auto column = TypedColumn(codes);
  column.map = map.data();
  column.map_size = map.size();
  EXPECT_EQ(ReadColumn(column, 6), (Values{-2.0, 30.5, kNone, kNone, kNone, 30.5}));
  column.has_missing_code = 1;
  column.missing_code = 2;
  EXPECT_EQ(ReadColumn(column, 3), (Values{kNone, 30.5, kNone}));
  const unsigned char truths[] = {0, 9};
  column = TypedColumn(std::vector<std::uint8_t>{});
  column.values = truths;
  column.type = QVREG_TYPE_BOOL;
  column.map = map.data();
  column.map_size = 2;
  EXPECT_EQ(ReadColumn(column, 2), (Values{30.5, kNone}));
}

TEST(CTypedColumns, HaveMasksOfBytes) {
  const std::vector<std::int32_t> values{1, 2, 3, 4};
  const unsigned char mask[] = {0, 9, 1, 9, 0, 9, 255};
  auto column = TypedColumn(values);
  column.mask_kind = QVREG_MASK_BYTES;
  column.mask = mask;
  column.mask_stride = 2;
  EXPECT_EQ(ReadColumn(column, 4), (Values{1, kNone, 3, kNone}));
  column.mask = mask + 6;
  column.mask_stride = -2;
  EXPECT_EQ(ReadColumn(column, 4), (Values{kNone, 2, kNone, 4}));
  column.mask_stride = 0;
  EXPECT_EQ(ReadColumn(column, 2), (Values{kNone, kNone}));
  const unsigned char none[] = {0, 0, 0, 1};
  column.mask = none;
  column.mask_stride = 1;
  EXPECT_EQ(ReadColumn(column, 4), (Values{1, 2, 3, kNone}));
}

TEST(CTypedColumns, MaskTheOnlyRecordThatIsMissing) {
  const std::vector<std::int32_t> values{1, 2, 3, 4};
  auto column = TypedColumn(values);
  column.mask_kind = QVREG_MASK_BYTES;
  for (std::size_t missing = 0; missing < 4; ++missing) {
    std::vector<unsigned char> mask(12);
    Values expected{1, 2, 3, 4};
    expected[missing] = kNone;
    for (const std::size_t stride : {1U, 3U}) {
      std::fill(mask.begin(), mask.end(), std::uint8_t{0});
      mask[missing * stride] = 1;
      column.mask = mask.data();
      column.mask_stride = static_cast<std::ptrdiff_t>(stride);
      EXPECT_EQ(ReadColumn(column, 4), expected) << missing << " " << stride;
    }
  }
}

TEST(CTypedColumns, HaveMasksOfValidBits) {
  const std::vector<float> values(12, 5.0F);
  const unsigned char bits[] = {0xFF, 0x2B, 0x01};  // 0x2B: 1 1 0 1 0 1 0 0 from the lowest on
  auto column = TypedColumn(values);
  column.mask_kind = QVREG_MASK_VALID_BITS;
  column.mask = bits;
  column.mask_offset = 7;
  EXPECT_EQ(ReadColumn(column, 12),
            (Values{5, 5, 5, kNone, 5, kNone, 5, kNone, kNone, 5, kNone, kNone}));
}

TEST(CTypedColumns, TreatWhatIsNotFiniteAsTheHostChose) {
  const std::vector<float> values{1.0F, static_cast<float>(kNan), static_cast<float>(kInf),
                                  static_cast<float>(-kInf), 2.0F};
  auto column = TypedColumn(values);
  Values read = ReadColumn(column, 5);
  EXPECT_TRUE(std::isnan(read[1]));
  EXPECT_EQ(read[2], kInf);
  EXPECT_EQ(read[3], -kInf);
  column.nan = QVREG_AS_MISSING;
  EXPECT_EQ(ReadColumn(column, 5), (Values{1.0, kNone, kInf, -kInf, 2.0}));
  column.infinite = QVREG_AS_MISSING;
  EXPECT_EQ(ReadColumn(column, 5), (Values{1.0, kNone, kNone, kNone, 2.0}));
  column.nan = QVREG_PASS_ON;
  read = ReadColumn(column, 5);
  EXPECT_TRUE(std::isnan(read[1]));
  EXPECT_EQ(read[2], kNone);
}

TEST(CTypedColumns, RefuseAValueByItsRecordAndColumn) {
  const std::vector<double> plain{1, 2, 3, 4};
  const std::vector<double> odd{1, 2, kInf, kNan};
  std::vector<qvreg_typed_column> columns{TypedColumn(plain), TypedColumn(odd)};
  columns[1].name = "body length";
  columns[1].infinite = QVREG_REFUSE;
  const Reading infinite(SourceOf(columns, 4), 2);
  EXPECT_EQ(infinite.rows.size(), 2U) << "those before it come";
  EXPECT_EQ(infinite.error.code, QVREG_REFUSED_VALUE);
  EXPECT_EQ(infinite.error.discrete[0], 3);
  EXPECT_EQ(infinite.error.discrete[1], 1);
  EXPECT_EQ(infinite.error.discrete[2], 1);
  EXPECT_STREQ(
      infinite.error.message,
      "At record 3 of pass 1: Column 1 ('body length') has an infinite value, which it is "
      "to refuse; correct the value, leave the record out, or have it treated as missing.");

  columns[1].name = nullptr;
  columns[1].infinite = QVREG_AS_MISSING;
  columns[1].nan = QVREG_REFUSE;
  const Reading nan(SourceOf(columns, 4), 2);
  EXPECT_EQ(nan.error.discrete[0], 4);
  EXPECT_EQ(std::string(nan.error.message).substr(0, 44),
            "At record 4 of pass 1: Column 1 has a NaN, w");
}

TEST(CTypedColumns, RefuseACodeThatTheMapDoesNotHave) {
  const std::vector<double> map{1.0, 2.0};
  std::vector<std::uint64_t> codes{0, 1, UINT64_MAX, 0};
  auto column = TypedColumn(codes);
  column.map = map.data();
  column.map_size = 2;
  const Reading reading(SourceOf({column}, 4), 1);
  EXPECT_EQ(reading.rows, (std::vector<Values>{{1.0}, {2.0}}));
  EXPECT_EQ(reading.error.code, QVREG_REFUSED_VALUE);
  EXPECT_EQ(reading.error.discrete[0], 3);
  EXPECT_STREQ(reading.error.message,
               "At record 3 of pass 1: Column 0 has the code 18446744073709551615, and its map has "
               "2 numbers, for codes from 0 on; correct the code, or pass a map that has it.");
  codes[2] = 2;
  EXPECT_EQ(Reading(SourceOf({column}, 4), 1).error.discrete[0], 3) << "one behind the last";
}

TEST(CTypedColumns, DoNotRefuseWhatIsMasked) {
  const std::vector<double> values{1, kInf, kNan};
  const unsigned char mask[] = {0, 1, 1};
  auto column = TypedColumn(values);
  column.mask_kind = QVREG_MASK_BYTES;
  column.mask = mask;
  column.mask_stride = 1;
  column.infinite = column.nan = QVREG_REFUSE;
  EXPECT_EQ(ReadColumn(column, 3), (Values{1, kNone, kNone}));
  const std::vector<std::int8_t> codes{0, 5, 6};
  const std::vector<double> map{4.0};
  auto coded = TypedColumn(codes);
  coded.mask_kind = QVREG_MASK_BYTES;
  coded.mask = mask;
  coded.mask_stride = 1;
  coded.map = map.data();
  coded.map_size = 1;
  EXPECT_EQ(ReadColumn(coded, 3), (Values{4, kNone, kNone}));
}

TEST(CTypedColumns, FindARefusedValueWhereverItStands) {
  constexpr std::size_t kRecords = 5000;
  for (const std::size_t bad : {0U, 1U, 511U, 1023U, 1024U, 2047U, 2048U, 4999U}) {
    SCOPED_TRACE(bad);
    std::vector<std::vector<double>> values(2, std::vector<double>(kRecords, 1.0));
    values[1][bad] = kInf;
    values[0][4999] = kInf;
    std::vector<qvreg_typed_column> columns{TypedColumn(values[0]), TypedColumn(values[1])};
    columns[0].infinite = columns[1].infinite = QVREG_REFUSE;
    const CSource source = SourceOf(columns, kRecords);
    const Reading reading(source, 2);
    EXPECT_EQ(reading.rows.size(), bad);
    EXPECT_EQ(reading.error.discrete[0], static_cast<std::int64_t>(bad) + 1);
    EXPECT_EQ(reading.error.discrete[2], bad == 4999 ? 0 : 1);
    EXPECT_EQ(Reading(source, 2).error.code, QVREG_REFUSED_VALUE) << "and stays there";
  }
}

TEST(CTypedColumns, OfAnotherVersionAreReadAsFarAsTheyAreKnown) {
  struct Longer {
    qvreg_typed_column known;
    double added;
  };
  const std::vector<double> values{1, 2};
  std::vector<Longer> columns(2, {TypedColumn(values), 9.0});
  for (Longer& column : columns) column.known.struct_size = sizeof(Longer);
  const CSource source = Made<CSource>([&](qvreg_source** made, qvreg_error* e) {
    return qvreg_source_create_typed_columns(&columns[0].known, 2, 2, made, e);
  });
  EXPECT_EQ(Reading(source, 2).rows, (std::vector<Values>{{1, 1}, {2, 2}}));
}

TEST(CTypedColumns, OfDifferentSizesAreRefused) {
  const std::vector<double> values{1, 2, 3};
  std::vector<qvreg_typed_column> columns(3, TypedColumn(values));
  columns[2].struct_size += 8;
  EXPECT_EQ(CreateError(columns).code, QVREG_BAD_STRUCT_SIZE);
  columns[0].struct_size = 8;
  EXPECT_EQ(CreateError(columns).code, QVREG_BAD_STRUCT_SIZE);
}

TEST(CTypedColumns, AreCheckedWhenASourceIsMade) {
  const std::vector<double> numbers{1, 2, 3};
  const std::vector<std::uint8_t> codes{1, 2, 3};
  struct Case {
    std::function<void(qvreg_typed_column&)> change;
    std::int32_t code;
    const char* text;
  };
  const auto check = [&](const qvreg_typed_column& good, const std::vector<Case>& cases) {
    for (const Case& each : cases) {
      SCOPED_TRACE(each.text);
      std::vector<qvreg_typed_column> columns(2, good);
      columns[1].name = "x";
      each.change(columns[1]);
      const qvreg_error error = CreateError(columns);
      EXPECT_EQ(error.code, each.code);
      EXPECT_EQ(std::string(error.message).rfind(each.text, 0), 0U) << error.message;
    }
  };
  using Column = qvreg_typed_column;
  check(TypedColumn(numbers),
        {{[](Column& c) { c.type = 11; }, QVREG_BAD_ARGUMENT, "Column 1 ('x') has the type 11; "},
         {[](Column& c) { c.type = -1; }, QVREG_BAD_ARGUMENT, "Column 1 ('x') has the type -1; "},
         {[](Column& c) { c.mask_kind = 3; }, QVREG_BAD_ARGUMENT,
          "Column 1 ('x') has the mask kind 3; "},
         {[](Column& c) { c.nan = 3; }, QVREG_BAD_ARGUMENT,
          "Column 1 ('x') has the treatment of NaN 3; "},
         {[](Column& c) { c.infinite = -1; }, QVREG_BAD_ARGUMENT,
          "Column 1 ('x') has the treatment of infinite numbers -1; "},
         {[](Column& c) { c.mask_offset = -1; }, QVREG_BAD_ARGUMENT,
          "Column 1 ('x') has the mask offset -1; "},
         {[&](Column& c) { c.map = numbers.data(); }, QVREG_BAD_ARGUMENT,
          "Column 1 ('x') has a map, which is for codes; "},
         {[](Column& c) { c.has_missing_code = 1; }, QVREG_BAD_ARGUMENT,
          "Column 1 ('x') has the missing code 0, which no value of its type is; "},
         {[](Column& c) { c.values = nullptr; }, QVREG_NULL_POINTER,
          "Column 1 ('x') has null values; "},
         {[](Column& c) { c.mask_kind = QVREG_MASK_BYTES; }, QVREG_NULL_POINTER,
          "Column 1 ('x') has a kind of mask and a null mask; "}});
  check(TypedColumn(codes), {{[](Column& c) {
                                c.has_missing_code = 1;
                                c.missing_code = -1;
                              },
                              QVREG_BAD_ARGUMENT, "Column 1 ('x') has the missing code -1, which "},
                             {[](Column& c) {
                                c.has_missing_code = 1;
                                c.missing_code = 256;
                              },
                              QVREG_BAD_ARGUMENT, "Column 1 ('x') has the missing code 256, "}});
  EXPECT_EQ(CreateError({}).code, QVREG_NULL_POINTER);
}

TEST(CTypedColumns, OfNoRecordsNeedNoValues) {
  std::vector<qvreg_typed_column> columns{TypedColumn(std::vector<double>())};
  columns[0].values = nullptr;
  EXPECT_EQ(Reading(SourceOf(columns, 0), 1).rows.size(), 0U);
}

TEST(CTypedColumns, AreReadWhereTheyAreWhenTheyArePlainRows) {
  const std::vector<double> rows{1, 2, 3, 4};
  std::vector<qvreg_typed_column> columns(2, TypedColumn(rows));
  columns[1].values = rows.data() + 1;
  for (qvreg_typed_column& column : columns) column.stride = 2 * sizeof(double);
  std::ptrdiff_t stride = 0;
  EXPECT_EQ(QvCColumns(columns.data(), 2, true).Rows(stride), rows.data());
  EXPECT_EQ(stride, 2);
  columns[1].nan = QVREG_AS_MISSING;
  EXPECT_EQ(QvCColumns(columns.data(), 2, true).Rows(stride), nullptr);
  columns[1].nan = QVREG_PASS_ON;
  columns[1].stride = 8;
  EXPECT_EQ(QvCColumns(columns.data(), 2, true).Rows(stride), nullptr);
  columns[0].stride = columns[1].stride = 12;
  EXPECT_EQ(QvCColumns(columns.data(), 2, true).Rows(stride), nullptr);
}

qvreg_column_summary SummaryOf(const qvreg_typed_column& column, std::size_t nRecords) {
  auto summary = Sized<qvreg_column_summary>();
  Require([&](qvreg_error* e) { return qvreg_column_summarize(&column, nRecords, &summary, e); });
  return summary;
}

TEST(CColumnSummary, FindsTheRangeOfCodes) {
  std::vector<std::int8_t> codes(5000, 3);
  codes[4000] = 17;
  codes[4500] = codes[4600] = -1;
  auto column = TypedColumn(codes);
  column.has_missing_code = 1;
  column.missing_code = -1;
  const qvreg_column_summary summary = SummaryOf(column, codes.size());
  EXPECT_EQ(summary.lowest, 3.0);
  EXPECT_EQ(summary.highest, 17.0);
  EXPECT_EQ(summary.missing, 2);
  EXPECT_EQ(summary.first_missing, 4501);
  EXPECT_EQ(summary.are_whole, 1);
}

TEST(CColumnSummary, CountsWhatIsNotFinite) {
  const std::vector<double> values{kNan, -2.5, kInf, kNone, -kInf, -7.0};
  auto column = TypedColumn(values);
  qvreg_column_summary summary = SummaryOf(column, 6);
  EXPECT_EQ(summary.nan, 1);
  EXPECT_EQ(summary.first_nan, 1);
  EXPECT_EQ(summary.infinite, 2);
  EXPECT_EQ(summary.first_infinite, 3);
  EXPECT_EQ(summary.missing, 1);
  EXPECT_EQ(summary.first_missing, 4);
  EXPECT_EQ(summary.lowest, -7.0);
  EXPECT_EQ(summary.highest, -2.5);
  EXPECT_EQ(summary.are_whole, 0);
  column.nan = QVREG_AS_MISSING;
  summary = SummaryOf(column, 6);
  EXPECT_EQ(summary.nan, 0);
  EXPECT_EQ(summary.first_nan, 0);
  EXPECT_EQ(summary.missing, 2);
  EXPECT_EQ(summary.first_missing, 1);
}

TEST(CColumnSummary, OfNothingHasNoRange) {
  const qvreg_column_summary summary = SummaryOf(TypedColumn(std::vector<double>()), 0);
  EXPECT_EQ(summary.lowest, kNone);
  EXPECT_EQ(summary.highest, kNone);
  EXPECT_EQ(summary.are_whole, 1);
}

TEST(CColumnSummary, NeedsAColumn) {
  auto summary = Sized<qvreg_column_summary>();
  const qvreg_error error =
      ErrorOf([&](qvreg_error* e) { return qvreg_column_summarize(nullptr, 0, &summary, e); });
  EXPECT_EQ(error.code, QVREG_NULL_POINTER);
  EXPECT_NE(std::string(error.message).find("column "), std::string::npos) << error.message;
}

TEST(CColumnSummary, NamesARefusedValue) {
  const std::vector<double> values{1, 2, kInf};
  auto column = TypedColumn(values);
  column.infinite = QVREG_REFUSE;
  auto summary = Sized<qvreg_column_summary>();
  summary.missing = 77;
  const qvreg_error error =
      ErrorOf([&](qvreg_error* e) { return qvreg_column_summarize(&column, 3, &summary, e); });
  EXPECT_EQ(error.code, QVREG_REFUSED_VALUE);
  EXPECT_EQ(error.discrete[0], 3);
  EXPECT_EQ(std::string(error.message).substr(0, 39), "Record 3: Column 0 has an infinite valu");
  EXPECT_EQ(summary.missing, 77);
}

}  // namespace
}  // namespace qvtest
