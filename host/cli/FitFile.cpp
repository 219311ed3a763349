#include "host/cli/FitFile.h"

#include <cstddef>
#include <string_view>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/ReadFile.h"
#include "host/model/Pmml.h"
#include "host/report/FitFromJson.h"

namespace qvhost {

namespace {

/// The first byte that is no blank, behind a byte order mark; NUL for none.
char FirstOf(std::string_view text) {
  constexpr std::string_view kMark = "\xEF\xBB\xBF";
  if (text.starts_with(kMark)) text.remove_prefix(kMark.size());
  const std::size_t first = text.find_first_not_of(" \t\r\n");
  return first == std::string_view::npos ? '\0' : text[first];
}

}  // namespace

FitResult ReadFitFile(const std::string& file) {
  // Far more than a fit has; a file of data that was named by mistake is not read to its end.
  constexpr std::size_t kMostBytes = std::size_t{1} << 30U;
  const std::string text = ReadFile(file, "a saved model or the JSON of a fit", kMostBytes);
  const char first = FirstOf(text);
  if (first == '<') return ReadSavedModel(file).fit;
  if (first == '{') return ReadFitResult(text, file);
  throw Error(ExitCode::kBadInput,
              fmt::format("'{}' is neither a saved model nor the JSON of a fit; name what 'qvreg "
                          "fit --save' or 'qvreg fit --json' wrote.",
                          file));
}

}  // namespace qvhost
