#pragma once

#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/TemporaryFolder.h"
#include "host/table/Connection.h"
#include "host/table/TableWriter.h"

namespace qvhost {

/// Rows of numbers that DuckDB counts, sums and sorts. They lie in a file of a TemporaryFolder, so
/// that memory does not grow with their number; what comes out does not depend on the machine, as
/// DuckDB has one thread for it.
///
/// Owns folder and file. One thread at a time. Throws Error (kRunFailed), which names the folder,
/// when the file cannot be written or read back; Cancelled when a query ends since `cancelled`.
class RecordNumbers {
 public:
  /// What queries call the table.
  static constexpr const char* kName = "numbers";

  /// Takes all rows; `columns` are numbers. `spoolDir`: see FolderForSpool. `cancelled` is asked
  /// again and again; may be empty.
  RecordNumbers(const std::vector<WrittenColumn>& columns, const NextRow& nextRow,
                const std::string& spoolDir, std::function<bool()> cancelled);

  /// Calls `visit` with the rows of a query one after the other. REQUIRES: a query whose columns
  /// are all of the type DOUBLE and without NULL.
  void Query(const std::string& sql, const std::function<void(std::span<const double>)>& visit);

 private:
  [[noreturn]] void Fail(const char* what, const std::string& reason) const;

  std::string parent_;
  std::function<bool()> cancelled_;
  TemporaryFolder folder_;  ///< Outlives the connection.
  Connection connection_;
};

}  // namespace qvhost
