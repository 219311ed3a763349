#include "host/table/ColumnNames.h"

#include <algorithm>
#include <map>
#include <set>

#include <fmt/format.h>

#include "host/Text.h"

namespace qvhost {
namespace {

/// A name without `_` and digits at its end; empty when it does not end so.
std::string_view Stem(std::string_view name) {
  const std::size_t end = name.find_last_not_of("0123456789");
  const bool isNumbered =
      end != std::string_view::npos && end + 1 < name.size() && name[end] == '_';
  return isNumbered ? name.substr(0, end) : std::string_view();
}

bool IsNameOf(std::string_view name, std::string_view written) {
  for (; !name.empty(); name = Stem(name)) {
    if (name == written) return true;
  }
  return false;
}

}  // namespace

bool MayBeRenamed(const std::vector<std::string>& names) {
  std::set<std::string> all;
  for (const std::string& name : names) all.insert(Lower(name));
  return std::ranges::any_of(all, [&](const std::string& name) {
    for (std::string_view stem = Stem(name); !stem.empty(); stem = Stem(stem)) {
      if (all.contains(std::string(stem))) return true;
    }
    return false;
  });
}

bool AreNamesOf(const std::vector<std::string>& names, const std::vector<std::string>& written) {
  return std::ranges::equal(names, written, IsNameOf);
}

std::vector<std::string> UniqueNames(const std::vector<std::string>& written) {
  std::set<std::string> header;
  for (const std::string& name : written) header.insert(Lower(name));
  std::set<std::string> taken;
  std::vector<std::string> names;
  for (const std::string& name : written) {
    std::string unique = name;
    for (int number = 1; taken.contains(Lower(unique)); ++number) {
      unique = fmt::format("{}_{}", name, number);
      while (header.contains(Lower(unique))) unique = fmt::format("{}_{}", name, ++number);
    }
    taken.insert(Lower(unique));
    names.push_back(unique);
  }
  return names;
}

std::vector<RenamedColumn> RenamedColumns(const std::vector<std::string>& written) {
  const std::vector<std::string> names = UniqueNames(written);
  std::map<std::string, std::size_t> same;
  std::map<std::string, std::size_t> like;
  std::vector<RenamedColumn> renamed;
  for (std::size_t i = 0; i < written.size(); ++i) {
    const auto repeated = same.emplace(written[i], i);
    const auto alike = like.emplace(Lower(written[i]), i);
    if (names[i] == written[i]) continue;
    const std::size_t first = repeated.second ? alike.first->second : repeated.first->second;
    renamed.push_back({i, written[i], names[i], first, written[first]});
  }
  return renamed;
}

std::vector<std::string> RenamingNotes(const std::vector<RenamedColumn>& columns,
                                       std::string_view of) {
  constexpr std::size_t kMost = 5;
  std::vector<std::string> notes;
  for (std::size_t i = 0; i < std::min(columns.size(), kMost); ++i) {
    const RenamedColumn& column = columns[i];
    notes.push_back(
        column.IsRepeated()
            ? fmt::format("Column {}{} is named '{}' as column {} is; it is called {}.",
                          column.place + 1, of, column.written, column.like + 1, column.name)
            : fmt::format("Column {}{}, '{}', differs from '{}' in case only; SQL calls it {}.",
                          column.place + 1, of, column.written, column.likeName, column.name));
  }
  if (columns.size() > kMost) {
    notes.push_back(fmt::format("So do {} more columns{}.", columns.size() - kMost, of));
  }
  return notes;
}

}  // namespace qvhost
