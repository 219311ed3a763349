#pragma once

#include <stdexcept>
#include <string>

#include <sqlite3.h>

namespace qvhost {

/// Makes a SQLite database by statements, or adds to one.
inline void WriteSqlite(const std::string& path, const std::string& statements) {
  sqlite3* database = nullptr;
  const bool isOpen = sqlite3_open(path.c_str(), &database) == SQLITE_OK;
  const bool isDone =
      isOpen && sqlite3_exec(database, statements.c_str(), nullptr, nullptr, nullptr) == SQLITE_OK;
  const std::string reason = sqlite3_errmsg(database);
  sqlite3_close(database);
  if (!isDone) throw std::runtime_error(reason);
}

}  // namespace qvhost
