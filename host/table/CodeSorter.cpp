#include "host/table/CodeSorter.h"

#include <algorithm>
#include <span>

namespace qvhost {
namespace {

constexpr std::size_t kBlockValues = std::size_t{1} << 18;  // 2 MB

void Change(std::span<double> block, std::size_t recordSize, const CodeChange& change) {
  const std::vector<double>& codes = *change.codes;
  for (std::size_t at = change.position; at < block.size(); at += recordSize) {
    if (block[at] >= 0.0) block[at] = codes[static_cast<std::size_t>(block[at])];
  }
}

}  // namespace

void SortCodes(SpoolFile& file, std::int64_t records, std::size_t recordSize,
               const std::vector<CodeChange>& changes,
               const std::function<void(std::int64_t)>& afterBlock) {
  const auto size = static_cast<std::int64_t>(recordSize);
  const auto blockRecords =
      static_cast<std::int64_t>(std::max<std::size_t>(1, kBlockValues / recordSize));
  std::vector<double> block(static_cast<std::size_t>(std::min(blockRecords, records)) * recordSize);
  for (std::int64_t first = 0; first < records; first += blockRecords) {
    const std::int64_t count = std::min(blockRecords, records - first);
    const std::span<double> used(block.data(), static_cast<std::size_t>(count * size));
    file.Read(first * size, used);
    for (const CodeChange& change : changes) Change(used, recordSize, change);
    file.Overwrite(first * size, used);
    afterBlock(first + count);
  }
  file.Flush();
}

}  // namespace qvhost
