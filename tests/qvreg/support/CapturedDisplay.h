#pragma once

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/support/CapturedOutput.h"

namespace qvtest {

/// What an object's Display prints to standard output.
template <typename Displayed>
std::string CapturedDisplay(const Displayed& object) {
  return OutputOf([&object] { object.Display(); });
}

/// Succeeds when `text` holds every one of `parts`, each behind the one before it.
[[nodiscard]] ::testing::AssertionResult HoldsInOrder(const std::string& text,
                                                      const std::vector<std::string>& parts);

}  // namespace qvtest
