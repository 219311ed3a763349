#include "host/fit/KeptColumns.h"

#include <algorithm>

#include "host/fit/ModelBinding.h"

namespace qvhost {

std::vector<std::string> NamesToKeep(const std::vector<std::string>& keep, bool all,
                                     const TableSource& source) {
  std::vector<std::string> names;
  const auto add = [&names](const std::string& name) {
    if (std::ranges::find(names, name) == names.end()) names.push_back(name);
  };
  for (const std::string& name : keep) add(ColumnOfOption(source, name, "--keep").name);
  if (!all) return names;
  for (const ColumnInfo& column : source.Columns()) {
    if (!column.isField) add(column.name);
  }
  return names;
}

}  // namespace qvhost
