#pragma once

#include <memory>
#include <string>
#include <string_view>

#include <sqlite3.h>

namespace qvhost {

/// A connection to a SQLite database that only reads. Owns it. One thread at a time. Throws Error
/// (kBadInput) in SQLite's own words.
class SqliteDatabase {
 public:
  /// `name` is the file's for people.
  SqliteDatabase(const std::string& path, std::string name);

  [[nodiscard]] sqlite3* Raw() const { return handle_.get(); }
  [[noreturn]] void Fail() const;

 private:
  struct Closer {
    void operator()(sqlite3* handle) const noexcept { sqlite3_close_v2(handle); }
  };

  std::string name_;
  std::unique_ptr<sqlite3, Closer> handle_;
};

/// A query of such a connection, which must outlive it, row by row. The same threads.
class SqliteQuery {
 public:
  SqliteQuery(const SqliteDatabase& database, const std::string& sql);

  /// Goes to the next row; false after the last one.
  [[nodiscard]] bool Next();

  [[nodiscard]] sqlite3_stmt* Raw() const { return statement_.get(); }
  /// The value as text, empty for NULL; valid until the next row.
  [[nodiscard]] std::string_view Text(int column) const;

 private:
  struct Finalizer {
    void operator()(sqlite3_stmt* statement) const noexcept { sqlite3_finalize(statement); }
  };

  const SqliteDatabase& database_;
  std::unique_ptr<sqlite3_stmt, Finalizer> statement_;
  bool isOver_ = false;
};

/// How a column's values come.
enum class SqliteKind { kWhole, kNumber, kText, kOpen };

/// What the declared type of a column makes of it; kOpen where the values must tell. Dates and
/// times, for which SQLite has no type, are text.
[[nodiscard]] SqliteKind KindOfDeclared(std::string_view type);

}  // namespace qvhost
