#include "host/table/NearestName.h"

#include <fmt/format.h>

#include "host/Text.h"

namespace qvhost {

std::optional<std::string> NearestName(Connection& connection, const std::string& wanted,
                                       const std::vector<std::string>& names) {
  std::string list;
  for (const std::string& name : names) {
    list += (list.empty() ? "" : ", ") + QuoteText(name);
  }
  const auto rows = connection.Rows(
      fmt::format("SELECT name FROM (SELECT unnest([{}]::VARCHAR[]) AS name, lower({}) AS wanted) "
                  "WHERE damerau_levenshtein(lower(name), wanted) < least(length(wanted), "
                  "greatest(1, length(wanted) // 3) + 1) "
                  "OR jaro_winkler_similarity(lower(name), wanted) >= 0.85 "
                  "ORDER BY jaro_winkler_similarity(lower(name), wanted) DESC, name LIMIT 1",
                  list, QuoteText(wanted)));
  return rows.empty() ? std::nullopt : rows.front().front();
}

std::string DidYouMean(Connection& connection, const std::string& wanted,
                       const std::vector<std::string>& names) {
  const std::optional<std::string> nearest = NearestName(connection, wanted, names);
  return nearest ? fmt::format(" Did you mean '{}'?", *nearest) : "";
}

}  // namespace qvhost
