#include "host/cli/FitFile.h"

#include <cstddef>

#include "host/ReadFile.h"
#include "host/report/FitFromJson.h"

namespace qvhost {

FitResult ReadFitFile(const std::string& file) {
  // Far more than a fit has; a file of data that was named by mistake is not read to its end.
  constexpr std::size_t kMostBytes = std::size_t{1} << 30;
  return ReadFitResult(ReadFile(file, "the JSON of a fit", kMostBytes), file);
}

}  // namespace qvhost
