#include "host/fit/ReferenceLevel.h"

#include <algorithm>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/NearestName.h"
#include "qvreg/settings/QvLogRegSettings.h"

namespace qvhost {

int FindReferenceLevel(const std::string& reference, const CodedColumn& dependent,
                       const TableSource& source) {
  if (reference.empty()) return QvLogRegSettings::kLastObserved;
  const auto found = std::ranges::find(dependent.levels, reference);
  if (found != dependent.levels.end()) return static_cast<int>(found - dependent.levels.begin());
  if (reference == "last") return QvLogRegSettings::kLastObserved;
  if (reference == "first") return QvLogRegSettings::kFirstObserved;
  std::string hint = DidYouMean(source.Database(), reference, dependent.levels);
  if (hint.empty() && !dependent.levels.empty()) {
    hint = " Its levels are " + NameList(dependent.levels) + ".";
  }
  throw Error(ExitCode::kBadInput,
              fmt::format("'{}' has no level '{}' to be the --reference; give one of its levels, "
                          "first or last.{}",
                          dependent.label, reference, hint));
}

}  // namespace qvhost
