// Vector code must not count on more alignment of the stack than a host gives it.

#include <cstddef>
#include <cstdint>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "tests/shared/SmallModel.h"

namespace {

/// Where within a cache line of 64 bytes the frame of a called function begins.
[[gnu::noinline]] std::uintptr_t OffsetOfFrame() {
  return reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)) % 64;
}

/// Fits from a frame that takes `kPadding` bytes more of the stack.
template <std::size_t kPadding>
[[gnu::noinline]] std::vector<double> FitAt(QvConst::QvRegModelType type,
                                            std::set<std::uintptr_t>& offsets) {
  [[maybe_unused]] volatile char padding[kPadding];
  padding[0] = 1;
  offsets.insert(OffsetOfFrame());
  return qvtest::FitSmallModel(type);
}

/// How many multiples of 16, the calling conventions' alignment, a cache line has; GCC's
/// sanitizer aligns frames to 32, Clang's to 64.
#if defined(__SANITIZE_ADDRESS__)
constexpr std::size_t kOffsets = 2;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr std::size_t kOffsets = 1;
#else
constexpr std::size_t kOffsets = 4;
#endif
#else
constexpr std::size_t kOffsets = 4;
#endif

TEST(StackOffsets, EveryAlignmentOfTheStackGivesTheSameNumbers) {
  for (const auto type : {QvConst::QvRegModelGLM, QvConst::QvRegModelLogistic}) {
    const std::vector<double> expected = qvtest::FitSmallModel(type);
    ASSERT_FALSE(expected.empty());
    std::set<std::uintptr_t> offsets;
    EXPECT_EQ(FitAt<8>(type, offsets), expected);
    EXPECT_EQ(FitAt<24>(type, offsets), expected);
    EXPECT_EQ(FitAt<40>(type, offsets), expected);
    EXPECT_EQ(FitAt<56>(type, offsets), expected);
    EXPECT_EQ(FitAt<72>(type, offsets), expected);
    EXPECT_EQ(FitAt<88>(type, offsets), expected);
    EXPECT_EQ(offsets.size(), kOffsets);
  }
}

}  // namespace
