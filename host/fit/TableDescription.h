#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "host/fit/FitResult.h"
#include "host/fit/Interrupt.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/table/ColumnInfo.h"
#include "host/table/ColumnProfile.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// What to describe.
struct DescribeOptions {
  DataSource source;
  std::string where;     ///< A condition on the rows; empty for all.
  std::string spoolDir;  ///< Folder of temporary files; empty: the system's.
  int threads = 0;       ///< 0: as many as the machine has cores.
};

/// What is known of a column. A plain value.
struct ColumnDescription {
  ColumnInfo info;
  ColumnRole role = ColumnRole::kNone;  ///< What a formula takes it for.
  ColumnSummary summary;
  std::vector<StringMissing> missingStrings;  ///< Texts that were read as missing.
  std::vector<std::string> warnings;          ///< Sentences about what may be wrong with it.
};

/// What is known of a table. A plain value.
struct TableDescription {
  std::string data;   ///< The source, for people.
  std::string where;  ///< The condition on the rows; empty for none.
  std::int64_t rows = 0;
  std::int64_t leftOut = 0;  ///< By the condition.
  std::vector<ColumnDescription> columns;
  std::vector<std::string> notes;  ///< Sentences about the table as a whole.
};

/// Reads a table as a fit would, and describes each of its columns. `outputs` are told which files
/// are read, and begun. Throws Error and Cancelled as RunFit does.
[[nodiscard]] TableDescription DescribeTable(const DescribeOptions& options, ProgressBar& progress,
                                             Interrupt& interrupt, OutputFiles& outputs);

}  // namespace qvhost
