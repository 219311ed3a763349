#pragma once

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>
#include <cstddef>
#include <string>
#include <vector>

#include "host/report/TextStyle.h"

namespace qvhost {

/// The layout of --help: options and what they mean in two columns, or one below the other where
/// lines are short; everything within the style's width.
class HelpFormatter : public CLI::Formatter {
 public:
  explicit HelpFormatter(const TextStyle& style);

  std::string make_description(const CLI::App* app) const override;
  std::string make_footer(const CLI::App* app) const override;
  std::string make_group(std::string group, bool isPositional,
                         std::vector<const CLI::Option*> options) const override;
  std::string make_option(const CLI::Option* option, bool isPositional) const override;
  std::string make_option_opts(const CLI::Option* option) const override;
  std::string make_subcommand(const CLI::App* command) const override;
  std::string make_help(const CLI::App* app, std::string name,
                        CLI::AppFormatMode mode) const override;

 private:
  /// A name and what it means.
  [[nodiscard]] std::string Entry(const std::string& name, const std::string& meaning) const;

  TextStyle style_;
};

}  // namespace qvhost
