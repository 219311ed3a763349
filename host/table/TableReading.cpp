#include "host/table/TableReading.h"

#include <fmt/format.h>

#include "host/table/Connection.h"

namespace qvhost {

void LimitReading(const TableSource& source, std::size_t columns, int threads,
                  const std::string& folder) {
  // Files need buffers by the column, far below the limit. A stored table is cached up to the
  // limit, to no use as it is read once: a low one keeps memory flat.
  const std::size_t megabytes = source.IsStored() ? 128 + 4 * columns : 1024 + 16 * columns;
  source.Database().Execute(
      fmt::format("SET memory_limit = '{}MB'; SET threads = {}", megabytes, threads));
  source.Database().SetTempDirectory(folder);
}

}  // namespace qvhost
