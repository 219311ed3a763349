#pragma once

#include <limits>

/// The value that stands for a missing number in a record.
namespace QvMV {
/// The lowest finite double. Compared with == and !=; being negative, it also fails every rule that
/// asks for a weight above 0 or a category code from 0 on.
inline constexpr double gMissingValue = std::numeric_limits<double>::lowest();
/// A category code below it stands for a missing category.
inline constexpr double gLeastCode = -0.5;

static_assert(gMissingValue == -std::numeric_limits<double>::max());
static_assert(gMissingValue < gLeastCode && gMissingValue < 0.0,
              "a missing value is no category and no weight either");
}  // namespace QvMV

/// Machine constants of double.
namespace QvPower {
/// The distance from 1.0 to the next double, 2^-52.
inline constexpr double gMachineEpsilon = std::numeric_limits<double>::epsilon();
/// The largest x for which exp(x) is finite: the double just below log of the largest double.
inline constexpr double gMachineMaxExp = 709.782712893383973096;

static_assert(gMachineEpsilon == 0x1p-52 && 1.0 + gMachineEpsilon > 1.0 &&
              1.0 + gMachineEpsilon / 2 == 1.0);
}  // namespace QvPower
