#include "host/table/TableFormat.h"

#include <algorithm>
#include <filesystem>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/WholeFile.h"

namespace qvhost {

namespace {

/// Of a file's name, in small letters.
std::string EndingOf(const std::string& path) {
  std::string ending = std::filesystem::path(path).extension().string();
  std::ranges::transform(ending, ending.begin(), [](char c) {
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  });
  return ending;
}

}  // namespace

TableFormat TableFormatOf(const std::string& path) {
  const std::string ending = EndingOf(path);
  if (ending == ".csv") return TableFormat::kCsv;
  if (ending == ".tsv") return TableFormat::kTsv;
  if (ending == ".parquet") return TableFormat::kParquet;
  if (ending.empty() && IsDeviceOrPipe(path)) return TableFormat::kCsv;
  throw Error(ExitCode::kBadInput,
              fmt::format("A table cannot be written to '{}': the format follows from the ending "
                          "of the name, which must be .csv, .tsv or .parquet.",
                          path));
}

}  // namespace qvhost
