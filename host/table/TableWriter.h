#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "host/WholeFile.h"

namespace qvhost {

/// The formats in which a table is written.
enum class TableFormat { kCsv, kTsv, kParquet };

/// The format that the ending of a file's name asks for: .csv, .tsv (tabs between the values) or
/// .parquet, in small or capital letters. A device or a pipe without an ending gets CSV. Throws
/// Error (kBadInput) for any other name.
[[nodiscard]] TableFormat TableFormatOf(const std::string& path);

/// A column of a table to write.
struct WrittenColumn {
  enum class Type { kNumber, kText };

  std::string name;  ///< UTF-8, not empty.
  Type type = Type::kNumber;
};

class KeptRows;

/// What the kept columns are called in the data.
[[nodiscard]] const std::vector<std::string>& KeptNames(const KeptRows& kept);

/// What kept columns are called beside `columns`: as in the data, with `_data` at its end, as often
/// as needed, where a name is taken, in whatever case of letters.
[[nodiscard]] std::vector<std::string> NamesBeside(const std::vector<std::string>& kept,
                                                   const std::vector<WrittenColumn>& columns);

/// The cells of one row to write, by column; each is NULL until it is set.
class RowCells {
 public:
  RowCells() = default;
  RowCells(const RowCells&) = delete;
  RowCells& operator=(const RowCells&) = delete;
  virtual ~RowCells() = default;

  /// REQUIRES: a column of numbers.
  virtual void SetNumber(std::size_t column, double value) = 0;
  /// REQUIRES: a column of texts; UTF-8. The text is copied.
  virtual void SetText(std::size_t column, std::string_view text) = 0;
};

/// Gives a table row by row: fills the cells of the next one; false when there is none more.
using NextRow = std::function<bool(RowCells& cells)>;

/// Writes a table of one column or more in the format that the path's ending asks for (see
/// TableFormatOf); the caller commits the file. Rows keep their order. Memory does not grow with
/// their number.
/// `nextRow` is called on the calling thread; what it throws ends the writing and passes through.
///
/// Finite numbers read back as the same doubles from every format. In CSV a NULL is an empty value;
/// an empty text is "", which readers tell apart when asked to (DuckDB's read_csv with
/// allow_quoted_nulls = false). A NULL in the only column is "" too, as many readers skip an empty
/// line. Names that differ in nothing but capital letters get a number (`p_A`, `p_a_1`), as DuckDB
/// does not tell them apart; a zero byte ends a name.
///
/// `kept`, null for none, are columns that stand before the others, called as NamesBeside says and
/// with the types that they have; in CSV as DuckDB writes them, times with a zone in UTC. `nextRow`
/// gives as many rows as they have.
///
/// Throws Error: kBadInput for the ending, kRunFailed, with the file and the reason, when it cannot
/// be written, or when the kept rows cannot be read back or are not as many.
void WriteTable(const WholeFile& file, const std::vector<WrittenColumn>& columns,
                const NextRow& nextRow, const KeptRows* kept = nullptr);

/// Writes such a table, in Parquet, to a file that the caller owns. What cannot be written is told
/// to `fail`, which throws.
void WriteParquet(const std::filesystem::path& path, const std::vector<WrittenColumn>& columns,
                  const NextRow& nextRow,
                  const std::function<void(const std::string& reason)>& fail);

}  // namespace qvhost
