#include "host/table/OpenedFiles.h"

#include <string>

namespace qvhost {

OpenedFiles::OpenedFiles(Connection& connection, const Limits& limits)
    : observer_(connection.Another()), limits_(limits), last_(std::chrono::steady_clock::now()) {
  connection.Execute("CALL enable_logging('FileSystem')");
}

void OpenedFiles::AddTo(InputFiles& files) {
  std::int64_t entries = 0;
  std::int64_t names = 0;
  for (const auto& row : observer_->Rows(
           "SELECT json_extract_string(message, '$.path') AS path, count(*) FROM duckdb_logs "
           "WHERE type = 'FileSystem' GROUP BY path")) {
    if (!row[0]) continue;
    files.Add(*row[0]);
    ++names;
    entries += std::stoll(row[1].value());
  }
  if (entries > limits_.entries && entries > names * limits_.entriesOfFile) {
    observer_->Execute("CALL truncate_duckdb_logs()");
  }
  last_ = std::chrono::steady_clock::now();
}

void OpenedFiles::AddInTimeTo(InputFiles& files) {
  if (std::chrono::steady_clock::now() - last_ >= limits_.interval) AddTo(files);
}

}  // namespace qvhost
