#include "host/cli/ReadNames.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include <fmt/format.h>

#include "host/cli/DataArguments.h"
#include "host/table/MissingStrings.h"

namespace qvhost {
namespace {

/// Reads a list from its start to its end.
class NameReader {
 public:
  NameReader(std::string_view option, std::string_view list) : option_(option), list_(list) {}

  std::vector<std::string> Read() {
    std::vector<std::string> names;
    for (;;) {
      names.push_back(ReadName());
      if (at_ == list_.size()) return names;
      ++at_;  // The comma.
    }
  }

 private:
  std::string ReadName() {
    at_ = std::min(list_.find_first_not_of(" \t", at_), list_.size());
    const char quote = at_ < list_.size() ? list_[at_] : ',';
    std::string name = quote == '"' || quote == '`' ? ReadQuoted(quote) : ReadPlain();
    if (!name.empty()) return name;
    RefuseUsage(fmt::format("{} '{}' has an empty name; write names with commas between them.",
                            option_, list_));
  }

  std::string ReadPlain() {
    const std::size_t end = std::min(list_.find(',', at_), list_.size());
    const std::string_view name = WithoutBlanks(list_.substr(at_, end - at_));
    at_ = end;
    return std::string(name);
  }

  std::string ReadQuoted(char quote) {
    std::string name;
    for (++at_; at_ < list_.size(); ++at_) {
      const bool isQuote = list_[at_] == quote;
      if (isQuote && (at_ + 1 == list_.size() || list_[at_ + 1] != quote)) break;
      if (isQuote) ++at_;
      name += list_[at_];
    }
    if (at_ == list_.size()) {
      RefuseUsage(fmt::format("{} '{}' has a quote without an end.", option_, list_));
    }
    ++at_;
    at_ = std::min(list_.find_first_not_of(" \t", at_), list_.size());
    if (at_ == list_.size() || list_[at_] == ',') return name;
    RefuseUsage(fmt::format("{} '{}' goes on after a name in quotes; write a comma there.", option_,
                            list_));
  }

  std::string_view option_;
  std::string_view list_;
  std::size_t at_ = 0;
};

}  // namespace

std::vector<std::string> ReadNames(std::string_view option, std::string_view list) {
  return NameReader(option, list).Read();
}

}  // namespace qvhost
