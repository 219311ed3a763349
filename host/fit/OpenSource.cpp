#include "host/fit/OpenSource.h"

#include <cstdint>
#include <utility>

#include "host/Threads.h"

namespace qvhost {

TableSource OpenSource(const DataSource& asked, ProgressBar& progress, const Interrupt& interrupt) {
  return TableSource(asked, [&](std::uint64_t bytes) {
    if (interrupt.Requested()) throw Cancelled(interrupt.Signal());
    progress.ShowBytes("receiving", bytes);
  });
}

CodedTable CodeSource(const TableSource& source, const std::vector<ColumnRequest>& requests,
                      SourceCoding coding, ProgressBar& progress, const Interrupt& interrupt) {
  CodingOptions options;
  options.keep = std::move(coding.keep);
  options.spoolDir = coding.spoolDir;
  options.threads = QvThreadCount(coding.threads);
  options.progress = [&](const CodingProgress& at) {
    progress.Show(StageName(at.stage), at.share, at.rows);
  };
  options.cancelled = [&] {
    source.NoteInputs();
    return interrupt.Requested();
  };
  return CodeTable(source, requests, options);
}

std::string DataText(const TableSource& source, const DataSource& asked) {
  if (asked.sql.empty()) return source.Name();
  return (asked.data.empty() ? "query " : asked.data + ", query ") + asked.sql;
}

}  // namespace qvhost
