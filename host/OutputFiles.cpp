#include "host/OutputFiles.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

namespace {

namespace fs = std::filesystem;

/// Whether both would be renamed to one name.
bool SameTarget(const WholeFile& a, const WholeFile& b) {
  if (a.IsDirect() || b.IsDirect()) return false;
  std::error_code error;
  return fs::weakly_canonical(a.Target(), error) == fs::weakly_canonical(b.Target(), error) &&
         !error;
}

}  // namespace

WholeFile& OutputFiles::Open(const std::string& path) {
  const auto begun = std::ranges::find(files_, path, &WholeFile::Path);
  if (begun != files_.end()) return *begun;
  WholeFile& added = files_.emplace_back(path);
  for (const WholeFile& other : files_) {
    if (&other == &added || !SameTarget(other, added)) continue;
    throw Error(
        ExitCode::kBadInput,
        fmt::format("The outputs '{}' and '{}' are one file; name two.", other.Path(), path));
  }
  return added;
}

void OutputFiles::Finish() {
  for (WholeFile& file : files_) file.Finish();
}

void OutputFiles::Commit() {
  for (WholeFile& file : files_) file.Commit();
  // Not in between: it takes milliseconds, in which a kill would leave one file without the other.
  for (const WholeFile& file : files_) file.Settle();
}

}  // namespace qvhost
