#include "host/table/CodingErrors.h"

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

void RefuseInfinite(const std::string& label, std::int64_t row) {
  throw Error(ExitCode::kBadInput,
              fmt::format("The value of '{}' in row {} is infinite; leave such rows out, or make "
                          "the values NULL, with --sql.",
                          label, row + 1));
}

void RefuseManyLevels(const std::string& label, std::size_t maxLevels) {
  throw Error(
      ExitCode::kBadInput,
      fmt::format("'{}' has more than {} different values, too many for a factor; use it "
                  "as a number (a dependent: with --model linear), or group its values with "
                  "--sql.",
                  label, maxLevels));
}

}  // namespace qvhost
