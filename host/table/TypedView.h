#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host/table/Booleans.h"
#include "host/table/Connection.h"
#include "host/table/MissingFunction.h"
#include "host/table/NumberFormat.h"

namespace qvhost {

class QueryError;

/// A column of what a typed view reads.
struct RawColumn {
  std::string name;
  std::string source;  ///< What the relation calls it; empty for the same.
  /// What the view makes of its texts: an SQL type. VARCHAR leaves them as they are.
  std::string type = "VARCHAR";
  /// How its dates are written when DuckDB's own reading of them does not do; else empty.
  std::string dateFormat;
  /// Whether the values come as text, in which missing strings are looked for. Others are passed
  /// on.
  bool isText = true;
  /// Whether a column of numbers may come as such, which is faster, until a value is met that is
  /// none.
  bool mayBeNumbers = false;
  /// A text of which it is not known yet whether all values are numbers once the missing strings
  /// are taken out.
  bool isOpen = false;
  /// Whether its numbers are written in the format of the file, and not as DuckDB casts them.
  bool isFormatted = false;
  bool takesFormat = false;  ///< --decimal and --thousands may say how its numbers are written.
  bool isDeclared = false;   ///< The user said what it is.
  /// What becomes of signs of currency and percent in a formatted column.
  NumberSigns signs = NumberSigns::kRefused;
  /// Whether somebody or something chose text for an open column: it becomes a number only if it
  /// has a missing string.
  bool isChosen = true;

  [[nodiscard]] const std::string& Source() const { return source.empty() ? name : source; }

  /// Whether its whole numbers are read as doubles, so that none is rounded to a whole one.
  [[nodiscard]] bool ComesAsDouble() const { return mayBeNumbers && !isText && type == "BIGINT"; }
};

/// A view over a relation whose values come as text: missing strings are NULL in it and counted,
/// and the columns have the types that the values without them have. For the sources of this
/// folder. Borrows the connection and the function; one thread at a time.
///
/// Every operation throws QueryError when DuckDB refuses.
class TypedView {
 public:
  /// What follows FROM, to read the columns as they are described: those of text as such. With a
  /// `fileColumn` the name of each row's file is to be a column of this name.
  using Relation = std::function<std::string(const std::vector<RawColumn>& columns,
                                             const std::string& fileColumn)>;

  /// `name`, the view's, is SQL.
  TypedView(Connection& connection, MissingFunction& missing, std::string name, Relation relation,
            std::vector<RawColumn> columns);

  /// Makes the view, or makes it anew.
  void Create() const;

  /// Takes the open columns as numbers that are numbers once missing strings are taken out of the
  /// first `rows` rows. Columns without a value there stay open, and
  /// nothing was chosen for them. Columns of numbers without a
  /// missing string there need not come as text from now on, where they may.
  void Learn(std::int64_t rows);

  /// The same, by all rows, for the open columns among these names; upper and lower case are the
  /// same. True when a type has changed.
  bool Settle(const std::vector<std::string>& names);
  bool SettleAll();

  /// Lets every column that comes as numbers come as text from now on; false when there is none.
  bool ReadAsText();

  /// From now on the column of this name is text, whatever its values look like. Then: Create.
  /// REQUIRES: a relation of delimited files, and a name as it is spelled.
  void TakeAsText(const std::string& name);

  /// From now on the view shows, at its end, the texts of these columns as the file has them,
  /// missing strings included: what each of those columns is called. After a change of types:
  /// Create. REQUIRES: a relation of text files, and names as they are spelled.
  std::vector<std::string> ShowWritten(const std::vector<std::string>& names);

  /// Columns of decimal numbers all of which, in the first `rows` rows, look like whole numbers
  /// with points between thousands: 1.000, 12.500. Each with such a text.
  [[nodiscard]] std::vector<std::pair<std::string, std::string>> GroupedColumns(
      std::int64_t rows) const;

  /// How a column of booleans is mostly written in the first `rows` rows; `false` and `true` for
  /// any other column.
  [[nodiscard]] BooleanTexts BooleansOf(const std::string& name, std::int64_t rows) const;

  /// After a query over the view that met a value which its column's type cannot hold, among the
  /// columns that it read: changes how or as what they are read if that mends it, and returns true.
  /// Else throws Error (kBadInput) that names file, row, column and value, or returns false when
  /// there is no such value. For a relation of files.
  bool Mend(const QueryError& error);

 private:
  void SetType(std::size_t column, const std::string& type);
  bool Decide(const std::vector<std::size_t>& columns, const std::string& relation);
  void TakeNumbers(const std::string& relation);
  [[nodiscard]] std::string From() const { return relation_(columns_, ""); }
  [[nodiscard]] std::string TextOf(std::size_t column) const;
  /// What the view calls it.
  [[nodiscard]] std::string WrittenName(std::size_t column) const;
  /// Its text as DuckDB casts numbers from it.
  [[nodiscard]] std::string NumberOf(std::size_t column) const;
  [[nodiscard]] std::string CastText(std::size_t column, const std::string& type) const;
  [[nodiscard]] std::string IsMissing(std::size_t column) const;
  [[nodiscard]] std::string Value(std::size_t column) const;
  /// Whether a date's text has a time of day that is not midnight, in SQL; nothing where it cannot.
  [[nodiscard]] std::optional<std::string> HasTimeOfDay(std::size_t column) const;
  [[nodiscard]] std::string IsUnreadable(std::size_t column, const std::string& type) const;
  [[nodiscard]] std::vector<std::size_t> TypedColumnsRead() const;
  [[nodiscard]] std::optional<std::size_t> FindUnreadable(const std::vector<std::size_t>& columns,
                                                          std::vector<std::size_t>& fractional);
  [[noreturn]] void RefuseValue(std::size_t column);

  Connection& connection_;
  MissingFunction& missing_;
  std::string name_;
  Relation relation_;
  std::vector<RawColumn> columns_;
  std::vector<std::size_t> written_;  ///< Those whose texts are shown.
  std::size_t first_ = 0;             ///< The function's number of the first column.
};

}  // namespace qvhost
