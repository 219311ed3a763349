#include "host/table/WrittenNames.h"

#include <cstddef>
#include <functional>
#include <string_view>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/ColumnNames.h"

namespace qvhost {
namespace {

using Names = std::vector<std::string>;

/// Of more files the names are not compared.
constexpr int kMostFiles = 200;

std::string NamedText(const std::string& file) {
  return fmt::format("'{}'", file.substr(file.find_last_of("/\\") + 1));
}

/// The names in all the files, each read by itself.
Names NamesIn(Connection& connection, const std::string& files, const Names& names,
              const std::function<Names(const std::string& file)>& read) {
  if (!MayBeRenamed(names)) return names;
  const auto found = connection.Rows(fmt::format(
      "SELECT regexp_replace(file, '([*?[])', '[\\1]', 'g'), file FROM glob({}) LIMIT {}", files,
      kMostFiles));
  Names first;
  bool areRenamed = false;
  const std::string* other = nullptr;
  for (std::size_t i = 0; i < found.size(); ++i) {
    const Names written = read(QuoteText(found[i][0].value_or("")));
    if (i == 0) first = written;
    areRenamed = areRenamed || UniqueNames(written) != written;
    if (written != first) other = &*found[i][1];
  }
  if (!areRenamed) return names;
  if (other == nullptr) return AreNamesOf(names, first) ? first : names;
  throw Error(ExitCode::kBadInput,
              fmt::format("{} and {} have different columns, some of them named alike but for "
                          "upper and lower case. Read one of them, or rename such columns.",
                          NamedText(found[0][1].value_or("")), NamedText(*other)));
}

/// The next column at the top of a Parquet file's schema, past the fields inside this one.
std::size_t NextColumn(const std::vector<std::vector<std::optional<std::string>>>& schema,
                       std::size_t at) {
  std::size_t open = 1;
  for (; open > 0 && at < schema.size(); ++at) open += std::stoul(*schema[at][1]) - 1;
  return at;
}

}  // namespace

Names NamesInHeader(Connection& connection, const std::string& files, const std::string& options,
                    const Names& names) {
  return NamesIn(connection, files, names, [&](const std::string& file) {
    const auto rows = connection.Rows(fmt::format(
        "SELECT * FROM read_csv({}{}, header = false, all_varchar = true) LIMIT 1", file, options));
    Names written;
    if (rows.empty()) return written;
    for (std::size_t i = 0; i < rows[0].size(); ++i) {
      const std::string name(WithoutBlanks(rows[0][i].value_or("")));
      const bool isMadeUp = name.empty() && i < names.size();
      written.push_back(isMadeUp ? names[i] : name);
    }
    return written;
  });
}

Names NamesInJson(Connection& connection, const std::string& files, const Names& names) {
  return NamesIn(connection, files, names, [&](const std::string& file) {
    Names written;
    for (const auto& row : connection.Rows(fmt::format(
             "SELECT key FROM (SELECT unnest(json_keys(json)) AS key, "
             "unnest(range(len(json_keys(json)))) AS place, row_number() OVER () AS row "
             "FROM read_json_objects({})) GROUP BY key "
             "ORDER BY min({{'row': row, 'place': place}})",
             file))) {
      written.push_back(row[0].value_or(""));
    }
    return written;
  });
}

Names NamesInParquet(Connection& connection, const std::string& files, const Names& names) {
  return NamesIn(connection, files, names, [&](const std::string& file) {
    const auto schema = connection.Rows(fmt::format(
        "SELECT name, CAST(coalesce(num_children, 0) AS VARCHAR) FROM parquet_schema({})", file));
    Names written;
    for (std::size_t at = 1; at < schema.size(); at = NextColumn(schema, at)) {
      written.push_back(schema[at][0].value_or(""));
    }
    return written;
  });
}

}  // namespace qvhost
