#pragma once

#include <functional>
#include <vector>

#include "host/fit/Interrupt.h"
#include "host/table/CodedTable.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {

/// How the records tell the levels of the dependent apart.
enum class Separation {
  kNone,           ///< Records overlap, along the direction that was looked at.
  kQuasiComplete,  ///< Some records are told apart for certain, and no record contradicts it.
  kComplete        ///< Each record is, by the estimates too.
};

/// Looks at every record that was used: where the direction moves none of them away from its own
/// level, and some towards it, larger estimates always fit better, and the largest likelihood does
/// not exist (Albert and Anderson, On the existence of maximum likelihood estimates in logistic
/// regression models, Biometrika 71, 1984).
///
/// `direction` has a value for each parameter, in the order of the output's estimates: what they
/// gained in an iteration, so that log odds of the records told apart gain about 1. One pass over
/// the table; `progress` is told how many records were read, every few thousand. Throws Cancelled
/// when interrupted.
[[nodiscard]] Separation CheckSeparation(const CodedTable& table, const QvLogOutputStats& output,
                                         const std::vector<double>& direction,
                                         const std::function<void(long long)>& progress,
                                         const Interrupt& interrupt);

}  // namespace qvhost
