#include "tests/qvreg/support/CapturedOutput.h"

#include <cstddef>

namespace qvtest {

::testing::AssertionResult HoldsInOrder(const std::string& text,
                                        const std::vector<std::string>& parts) {
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
