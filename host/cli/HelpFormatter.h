#pragma once

#include <CLI/Formatter.hpp>
#include <string>

namespace qvhost {

/// The look of --help: a narrow first column, one empty line between groups of options.
class HelpFormatter : public CLI::Formatter {
 public:
  HelpFormatter();
  std::string make_description(const CLI::App* app) const override;
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;
};

}  // namespace qvhost
