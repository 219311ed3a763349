#pragma once

#include <limits>

/// The value that stands for a missing number in a record.
namespace QvMV {
/// The lowest finite double. Compared with == and !=; being negative, it also fails every rule that
/// asks for a weight above 0 or a category code from 0 on.
inline constexpr double gMissingValue = std::numeric_limits<double>::lowest();
}  // namespace QvMV

/// Machine constants of double.
namespace QvPower {
/// The distance from 1.0 to the next double, 2^-52.
inline constexpr double gMachineEpsilon = std::numeric_limits<double>::epsilon();
/// The largest x for which exp(x) is finite: the double just below log of the largest double.
inline constexpr double gMachineMaxExp = 709.782712893383973096;
}  // namespace QvPower
