#include "host/table/TextLines.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/table/FileKind.h"
#include "host/table/QueryError.h"

namespace qvhost {
namespace {

constexpr int kLines = 100;

std::ptrdiff_t CountOutsideQuotes(std::string_view line, char wanted) {
  bool isQuoted = false;
  return std::ranges::count_if(line, [&](char c) {
    if (c == '"') isQuoted = !isQuoted;
    return !isQuoted && c == wanted;
  });
}

bool HasRunOfBlanks(std::string_view line) {
  bool isQuoted = false;
  for (std::size_t i = 0; i + 1 < line.size(); ++i) {
    if (line[i] == '"') isQuoted = !isQuoted;
    if (!isQuoted && line[i] == ' ' && line[i + 1] == ' ') return true;
  }
  return false;
}

std::string MostFrequent(std::string_view line, std::string_view candidates) {
  std::string separator;
  std::ptrdiff_t most = 0;
  for (const char c : candidates) {
    const std::ptrdiff_t count = CountOutsideQuotes(line, c);
    if (count > most) separator = std::string(1, c);
    most = std::max(most, count);
  }
  return separator;
}

/// The command that runs a filter on a file.
std::string Squeezing(const std::string& file, bool isOne, const char* filter) {
  if (!isOne || file == "standard input") return filter;
  if (!IsCompressedName(file)) return fmt::format("{} < {}", filter, ShellWord(file));
  const char* const unpack = Lower(file).ends_with(".gz") ? "gunzip -c" : "zstd -dc";
  return fmt::format("{} {} | {}", unpack, ShellWord(file), filter);
}

}  // namespace

std::vector<std::string> FirstLines(Connection& connection, const std::string& files) {
  try {
    const auto found = connection.Rows(fmt::format(
        "SELECT regexp_replace(file, '([*?[])', '[\\1]', 'g') FROM glob({}) LIMIT 1", files));
    if (found.empty()) return {};
    std::vector<std::string> lines;
    for (const auto& row : connection.Rows(fmt::format(
             "SELECT line FROM read_csv({}, auto_detect = false, columns = {{'line': 'VARCHAR'}}, "
             "delim = '\x01', quote = '', escape = '', header = false, strict_mode = false) "
             "WHERE trim(line) <> '' LIMIT {}",
             QuoteText(found[0][0].value_or("")), kLines))) {
      lines.push_back(row[0].value_or(""));
    }
    return lines;
  } catch (const QueryError&) {
    return {};
  }
}

std::string SeparatorIn(std::string_view header) { return MostFrequent(header, ",;\t|"); }

std::string OtherDelimiter(const std::vector<std::string>& lines, const std::string& delimiter) {
  if (lines.empty()) return {};
  std::string other = MostFrequent(lines.front(), ";\t|");
  const bool hasDelimiter =
      delimiter.size() == 1 && CountOutsideQuotes(lines.front(), delimiter.front()) > 0;
  if (other.empty() && !hasDelimiter) other = MostFrequent(lines.front(), ", ");
  return other == delimiter ? "" : other;
}

void CheckBlanks(const std::string& file, bool isOne, const std::vector<std::string>& lines) {
  constexpr std::ptrdiff_t kLeastShare = 4;
  const bool isAligned =
      std::ranges::count_if(lines, HasRunOfBlanks) * kLeastShare >= std::ssize(lines);
  if (lines.empty() || !isAligned) return;
  const bool isIndented =
      std::ranges::any_of(lines, [](const std::string& line) { return line.starts_with(' '); });
  const char* const squeeze = isIndented ? "sed -E 's/^ +//; s/ +/ /g'" : "tr -s ' '";
  throw Error(ExitCode::kBadInput,
              fmt::format("Runs of blanks separate the values of '{}', and --delim ' ' takes each "
                          "blank for one delimiter. Make them single: {} | qvreg fit --data - "
                          "--delim ' ' with the same options.",
                          file, Squeezing(file, isOne, squeeze)));
}

}  // namespace qvhost
