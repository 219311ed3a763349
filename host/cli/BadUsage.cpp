#include "host/cli/BadUsage.h"

#include "host/Error.h"

namespace qvhost {

void BadUsage(const std::string& message) {
  throw Error(ExitCode::kBadInput, message + "\nTry 'qvreg fit --help'.");
}

}  // namespace qvhost
