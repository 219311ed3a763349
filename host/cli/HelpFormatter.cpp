#include "host/cli/HelpFormatter.h"

#include <CLI/App.hpp>
#include <string_view>
#include <utility>

namespace qvhost {

HelpFormatter::HelpFormatter() {
  constexpr std::size_t kColumnWidth = 32;
  column_width(kColumnWidth);
  label("REQUIRED", "(required)");
}

std::string HelpFormatter::make_description(const CLI::App* app) const {
  return Formatter::make_description(app) + "\n";
}

std::string HelpFormatter::make_help(const CLI::App* app, std::string name,
                                     CLI::AppFormatMode mode) const {
  std::string text = Formatter::make_help(app, std::move(name), mode);
  constexpr std::string_view kTwoEmptyLines = "\n\n\n";
  for (std::size_t at = text.find(kTwoEmptyLines); at != std::string::npos;
       at = text.find(kTwoEmptyLines, at)) {
    text.erase(at, 1);
  }
  return text;
}

}  // namespace qvhost
