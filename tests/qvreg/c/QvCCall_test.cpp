#include "qvreg/c/QvCCall.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <stdexcept>

#include <gtest/gtest.h>

#include "qvreg/c/qvreg_c.h"

namespace {

/// A structure of this version, its last member, and the size of its first version, which never
/// changes. Members must reach to the end: behind padding a member could be added without a change
/// of the size.
#define QVREG_EXPECT_LAYOUT(type, last, first_size)                                  \
  static_assert(offsetof(type, last) + sizeof(type::last) == sizeof(type));          \
  static_assert(offsetof(type, struct_size) == 0 && sizeof(type::struct_size) == 8); \
  static_assert(QvCStruct::kFirstSize<type> == (first_size))

QVREG_EXPECT_LAYOUT(qvreg_error, message, 624);
QVREG_EXPECT_LAYOUT(qvreg_record_counts, used_later, 48);
QVREG_EXPECT_LAYOUT(qvreg_record_callbacks, rewind, 40);
QVREG_EXPECT_LAYOUT(qvreg_typed_column, reserved, 104);
QVREG_EXPECT_LAYOUT(qvreg_block, columns, 24);
QVREG_EXPECT_LAYOUT(qvreg_block_callbacks, rewind, 40);
QVREG_EXPECT_LAYOUT(qvreg_column_summary, reserved, 80);
QVREG_EXPECT_LAYOUT(qvreg_rows, value_stride, 48);
QVREG_EXPECT_LAYOUT(qvreg_scores, reserved, 120);
QVREG_EXPECT_LAYOUT(qvreg_roles, are_complete, 40);
QVREG_EXPECT_LAYOUT(qvreg_options, reserved2, 56);
QVREG_EXPECT_LAYOUT(qvreg_logistic_options, reserved, 64);
QVREG_EXPECT_LAYOUT(qvreg_progress, n_estimates, 48);
QVREG_EXPECT_LAYOUT(qvreg_parameter_info, target_category, 32);
QVREG_EXPECT_LAYOUT(qvreg_summary, degrees_of_freedom, 48);
QVREG_EXPECT_LAYOUT(qvreg_logistic_summary, param_change, 56);
QVREG_EXPECT_LAYOUT(qvreg_scaled_summary, rmse, 24);
#undef QVREG_EXPECT_LAYOUT

}  // namespace

/// As a later version of the library would have it: one member more than its first one.
struct Grown {
  std::size_t struct_size;
  std::int32_t first;
  std::int32_t second;
  double added;
};
template <>
inline constexpr std::size_t QvCStruct::kFirstSize<Grown> = offsetof(Grown, added);

namespace {

TEST(CStruct, AnOlderHostGetsWhatItKnowsAndNothingBehindIt) {
  Grown host{offsetof(Grown, added), 0, 0, 42.0};  // to that host, 42 is somebody else's
  QvCStruct::Fill(&host, "host", [](Grown& to) {
    to.first = 1;
    to.second = 2;
    to.added = 3.0;
  });
  EXPECT_EQ(host.struct_size, offsetof(Grown, added));
  EXPECT_EQ(host.first, 1);
  EXPECT_EQ(host.second, 2);
  EXPECT_EQ(host.added, 42.0);
}

TEST(CStruct, WhatAnOlderHostDoesNotSayStaysAsItIs) {
  const Grown host{offsetof(Grown, added), 1, 2, 42.0};
  const Grown taken = QvCStruct::Take(&host, "host", Grown{0, 7, 8, 9.0});
  EXPECT_EQ(taken.first, 1);
  EXPECT_EQ(taken.second, 2);
  EXPECT_EQ(taken.added, 9.0);
}

TEST(CStruct, ALaterHostsStructureIsFilledAsFarAsItIsKnown) {
  struct {
    Grown known;
    double later;
  } host{{sizeof(Grown) + sizeof(double), 0, 0, 0.0}, 42.0};
  QvCStruct::Fill(&host.known, "host", [](Grown& to) { to.added = 3.0; });
  EXPECT_EQ(host.known.struct_size, sizeof host);
  EXPECT_EQ(host.known.added, 3.0);
  EXPECT_EQ(host.later, 42.0);
}

TEST(CStruct, OneShorterThanItsFirstVersionIsRefused) {
  Grown host{offsetof(Grown, added) - 1, 0, 0, 0.0};
  EXPECT_THROW(QvCStruct::Checked(&host, "host"), QvCRefusal);
}

double ElementOf(std::size_t i, std::size_t j) { return static_cast<double>(10 * i + j); }

TEST(CMatrix, RowsStandAStrideApart) {
  std::array<double, 5> buffer{-1, -1, -1, -1, -1};
  std::size_t count = 0;
  QvCCopyMatrix(2, 3, buffer.data(), buffer.size(), &count, ElementOf);
  EXPECT_EQ(count, 5U);
  EXPECT_EQ(buffer, (std::array<double, 5>{0, 1, -1, 10, 11}));
}

TEST(CMatrix, AStrideThatNoMemoryHoldsIsRefusedBeforeAnythingIsWritten) {
  std::array<double, 4> buffer{-1, -1, -1, -1};
  for (const std::size_t stride : {SIZE_MAX, SIZE_MAX / 2, SIZE_MAX / 8, std::size_t{1} << 62}) {
    std::size_t count = 7;
    EXPECT_THROW(QvCCopyMatrix(5, stride, buffer.data(), 1, &count, ElementOf), QvCRefusal);
    EXPECT_EQ(count, 7U);
  }
  EXPECT_EQ(buffer, (std::array<double, 4>{-1, -1, -1, -1}));
}

TEST(CMatrix, AStrideBelowARowIsRefused) {
  std::array<double, 4> buffer{};
  EXPECT_THROW(QvCCopyMatrix(2, 1, buffer.data(), 4, nullptr, ElementOf), QvCRefusal);
}

TEST(CCall, TurnsEveryExceptionIntoACode) {
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(QvCCall(&error, [] { throw std::bad_alloc(); }), QVREG_OUT_OF_MEMORY);
  EXPECT_EQ(QvCCall(&error, [] { throw std::length_error("long"); }), QVREG_OUT_OF_MEMORY);
  EXPECT_EQ(QvCCall(&error, [] { throw 5; }), QVREG_INTERNAL_ERROR);
  EXPECT_EQ(QvCCall(&error, [] { throw std::runtime_error("why"); }), QVREG_INTERNAL_ERROR);
  EXPECT_STREQ(error.message,
               "The call ended unexpectedly (why); this is a defect of the library, please report "
               "it.");
}

constexpr std::uint64_t kMark = 0x1234567890abcdef;
struct Marked : QvCHandle<kMark> {};

/// Reads as the library does that a destroyed handle is passed to: without knowing its history.
[[gnu::noinline]] bool HoldsMark(void* place) {
  std::uint64_t mark = 0;
  std::memcpy(&mark, place, sizeof mark);
  return mark == kMark;
}

TEST(CHandle, LosesItsMark) {
  alignas(Marked) unsigned char place[sizeof(Marked)] = {};
  Marked* marked = std::construct_at(reinterpret_cast<Marked*>(place));
  EXPECT_TRUE(marked->IsMarked());
  EXPECT_TRUE(HoldsMark(place));
  std::destroy_at(marked);
  EXPECT_FALSE(HoldsMark(place));
}

}  // namespace
