#include "host/table/SqlText.h"

namespace qvhost {
namespace {

std::string Quote(std::string_view text, char quote) {
  std::string quoted(1, quote);
  for (const char c : text) {
    if (c == quote) quoted += quote;
    quoted += c;
  }
  return quoted += quote;
}

}  // namespace

std::string QuoteName(std::string_view name) { return Quote(name, '"'); }

std::string QuoteText(std::string_view text) { return Quote(text, '\''); }

}  // namespace qvhost
