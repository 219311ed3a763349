#include "host/NameList.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"

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
    return quote == '"' || quote == '`' ? ReadQuoted(quote) : ReadPlain();
  }

  std::string ReadPlain() {
    const std::size_t end = std::min(list_.find(',', at_), list_.size());
    const std::string_view name = WithoutBlanks(list_.substr(at_, end - at_));
    at_ = end;
    if (!name.empty()) return std::string(name);
    Refuse("has an entry without a text; where that is meant, write \"\"");
  }

  std::string ReadQuoted(char quote) {
    std::string name;
    for (++at_; at_ < list_.size(); ++at_) {
      const bool isQuote = list_[at_] == quote;
      if (isQuote && (at_ + 1 == list_.size() || list_[at_ + 1] != quote)) break;
      if (isQuote) ++at_;
      name += list_[at_];
    }
    if (at_ == list_.size())
      Refuse("has a quote without an end; inside quotes it is written twice");
    ++at_;
    at_ = std::min(list_.find_first_not_of(" \t", at_), list_.size());
    if (at_ == list_.size() || list_[at_] == ',') return name;
    Refuse("goes on after an entry in quotes; write a comma there");
  }

  [[noreturn]] void Refuse(const char* fault) const {
    throw Error(ExitCode::kBadInput, fmt::format("{} '{}' {}.", option_, list_, fault));
  }

  std::string_view option_;
  std::string_view list_;
  std::size_t at_ = 0;
};

}  // namespace

std::vector<std::string> ReadNameList(std::string_view option, std::string_view list) {
  return NameReader(option, list).Read();
}

}  // namespace qvhost
