#include "host/table/SqliteDatabase.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"

namespace qvhost {
namespace {

constexpr int kPatience = 2000;  // Milliseconds, for another program that writes.

/// Whether the database is written through a log beside it, and there is none now: reading it would
/// make one, and leave it there.
bool HasNoLog(const std::string& path) {
  constexpr std::size_t kVersion = 18;
  constexpr char kLogged = 2;
  std::array<char, kVersion + 2> header{};
  std::ifstream file(path, std::ios::binary);
  file.read(header.data(), header.size());
  std::error_code error;
  return file.good() && header[kVersion] == kLogged &&
         !std::filesystem::exists(path + "-wal", error);
}

/// The address of a file that nobody writes to.
std::string QuietAddress(const std::string& path) {
  std::string address = "file:";
  for (const char c : std::filesystem::absolute(path).generic_string()) {
    const bool isPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') ||
                         (c >= '0' && c <= '9') || c == '/' || c == '.' || c == '_' || c == '-';
    address += isPlain ? std::string(1, c) : fmt::format("%{:02X}", static_cast<unsigned char>(c));
  }
  return address + "?immutable=1";
}

template <std::size_t Size>
bool HoldsOne(std::string_view type, const std::array<std::string_view, Size>& words) {
  return std::ranges::any_of(
      words, [&](std::string_view word) { return type.find(word) != std::string_view::npos; });
}

}  // namespace

SqliteDatabase::SqliteDatabase(const std::string& path, std::string name) : name_(std::move(name)) {
  const bool isQuiet = HasNoLog(path);
  const std::string address = isQuiet ? QuietAddress(path) : path;
  const int flags = SQLITE_OPEN_READONLY | SQLITE_OPEN_NOMUTEX | (isQuiet ? SQLITE_OPEN_URI : 0);
  sqlite3* handle = nullptr;
  const int result = sqlite3_open_v2(address.c_str(), &handle, flags, nullptr);
  handle_.reset(handle);
  if (result != SQLITE_OK) Fail();
  sqlite3_busy_timeout(handle, kPatience);
}

void SqliteDatabase::Fail() const {
  throw Error(ExitCode::kBadInput,
              fmt::format("'{}' cannot be read: {}.", name_, sqlite3_errmsg(handle_.get())));
}

SqliteQuery::SqliteQuery(const SqliteDatabase& database, const std::string& sql)
    : database_(database) {
  sqlite3_stmt* statement = nullptr;
  if (sqlite3_prepare_v2(database.Raw(), sql.c_str(), -1, &statement, nullptr) != SQLITE_OK) {
    database.Fail();
  }
  statement_.reset(statement);
}

bool SqliteQuery::Next() {
  // Another step after the last one would begin anew.
  if (isOver_) return false;
  const int result = sqlite3_step(statement_.get());
  if (result != SQLITE_ROW && result != SQLITE_DONE) database_.Fail();
  isOver_ = result == SQLITE_DONE;
  return !isOver_;
}

std::string_view SqliteQuery::Text(int column) const {
  const auto* const text =
      reinterpret_cast<const char*>(sqlite3_column_text(statement_.get(), column));
  if (text == nullptr) return {};
  return {text, static_cast<std::size_t>(sqlite3_column_bytes(statement_.get(), column))};
}

SqliteKind KindOfDeclared(std::string_view type) {
  using Words = std::array<std::string_view, 3>;
  const std::string lower = Lower(type);
  // SQLite's own rules, in their order.
  if (HoldsOne(lower, std::array<std::string_view, 1>{"int"})) return SqliteKind::kWhole;
  if (HoldsOne(lower, Words{"char", "clob", "text"})) return SqliteKind::kText;
  if (lower.empty() || HoldsOne(lower, std::array<std::string_view, 1>{"blob"})) {
    return SqliteKind::kOpen;
  }
  if (HoldsOne(lower, Words{"real", "floa", "doub"})) return SqliteKind::kNumber;
  if (HoldsOne(lower, std::array<std::string_view, 2>{"date", "time"})) return SqliteKind::kText;
  if (HoldsOne(lower, Words{"numeric", "decimal", "number"})) return SqliteKind::kNumber;
  if (HoldsOne(lower, std::array<std::string_view, 1>{"bool"})) return SqliteKind::kWhole;
  // NUMERIC by the rules, yet hardly meant: STRING, UUID, JSON.
  return SqliteKind::kOpen;
}

}  // namespace qvhost
