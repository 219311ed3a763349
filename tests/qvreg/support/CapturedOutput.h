#pragma once

#include <cstddef>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace qvtest {

/// What `action` prints to standard output.
template <typename Action>
[[nodiscard]] std::string OutputOf(Action&& action) {
  testing::internal::CaptureStdout();
  std::forward<Action>(action)();
  return testing::internal::GetCapturedStdout();
}

/// The label of every printed line: its text up to the first colon, or the whole line.
[[nodiscard]] inline std::vector<std::string> LineLabels(const std::string& output) {
  std::vector<std::string> labels;
  std::istringstream lines(output);
  for (std::string line; std::getline(lines, line);)
    labels.push_back(line.substr(0, line.find(':')));
  return labels;
}

/// What an object's Display prints to standard output.
template <typename Displayed>
std::string CapturedDisplay(const Displayed& object) {
  return OutputOf([&object] { object.Display(); });
}

/// Succeeds when `text` holds every one of `parts`, each behind the one before it.
[[nodiscard]] inline ::testing::AssertionResult HoldsInOrder(
    const std::string& text, const std::vector<std::string>& parts) {
  std::size_t from = 0;
  for (const std::string& part : parts) {
    const std::size_t place = text.find(part, from);
    if (place == std::string::npos) {
      return ::testing::AssertionFailure() << "\"" << part << "\" is missing from here on:\n"
                                           << text.substr(from);
    }
    from = place + part.size();
  }
  return ::testing::AssertionSuccess();
}

}  // namespace qvtest
