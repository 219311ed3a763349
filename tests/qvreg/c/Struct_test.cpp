// Structures that host and library know in different versions, by their sizes.

#include <array>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include <gtest/gtest.h>

#include "qvreg/c/QvCStruct.h"
#include "qvreg/c/qvreg_c.h"

namespace {

/// A structure of this version, its last member and its first size. Members must reach to the end:
/// behind padding a member could be added without a change of the size.
#define QVREG_EXPECT_NO_PADDING(type, last)                                          \
  static_assert(offsetof(type, last) + sizeof(type::last) == sizeof(type));          \
  static_assert(offsetof(type, struct_size) == 0 && sizeof(type::struct_size) == 8); \
  static_assert(QvCStruct::kFirstSize<type> <= sizeof(type))

QVREG_EXPECT_NO_PADDING(qvreg_error, message);
QVREG_EXPECT_NO_PADDING(qvreg_record_counts, used_later);
QVREG_EXPECT_NO_PADDING(qvreg_record_callbacks, rewind);
QVREG_EXPECT_NO_PADDING(qvreg_rows, value_stride);
QVREG_EXPECT_NO_PADDING(qvreg_roles, are_complete);
QVREG_EXPECT_NO_PADDING(qvreg_options, reserved2);
QVREG_EXPECT_NO_PADDING(qvreg_logistic_options, reserved);
QVREG_EXPECT_NO_PADDING(qvreg_progress, n_estimates);
QVREG_EXPECT_NO_PADDING(qvreg_effect_info, factors_in_parens);
QVREG_EXPECT_NO_PADDING(qvreg_parameter_info, target_category);
QVREG_EXPECT_NO_PADDING(qvreg_summary, degrees_of_freedom);
QVREG_EXPECT_NO_PADDING(qvreg_param_stats, reserved);
QVREG_EXPECT_NO_PADDING(qvreg_logistic_summary, param_change);
QVREG_EXPECT_NO_PADDING(qvreg_scaled_summary, rmse);
#undef QVREG_EXPECT_NO_PADDING

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

}  // namespace
