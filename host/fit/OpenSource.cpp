#include "host/fit/OpenSource.h"

#include <cstdint>

namespace qvhost {

TableSource OpenSource(const DataSource& asked, ProgressBar& progress, const Interrupt& interrupt) {
  return TableSource(asked, [&](std::uint64_t bytes) {
    if (interrupt.Requested()) throw Cancelled(interrupt.Signal());
    progress.ShowBytes("receiving", bytes);
  });
}

std::string DataText(const TableSource& source, const DataSource& asked) {
  if (asked.sql.empty()) return source.Name();
  return (asked.data.empty() ? "query " : asked.data + ", query ") + asked.sql;
}

}  // namespace qvhost
