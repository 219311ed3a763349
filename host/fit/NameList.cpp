#include "host/fit/NameList.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

namespace qvhost {

namespace {

constexpr std::size_t kMostNames = 5;

}  // namespace

std::string NameList(const std::vector<std::string>& names) {
  std::string list;
  for (std::size_t i = 0; i < std::min(names.size(), kMostNames); ++i) {
    list += fmt::format("{}'{}'", i == 0 ? "" : ", ", names[i]);
  }
  return names.size() > kMostNames ? list + ", …" : list;
}

}  // namespace qvhost
