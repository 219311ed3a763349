#pragma once

#include <CLI/App.hpp>
#include <CLI/Formatter.hpp>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "host/report/TextStyle.h"

namespace qvhost {

/// A line shorter than this has no room for two columns.
constexpr std::size_t kLeastForTwoColumns = 50;

/// Lays out a help text in lines of at most `width` columns. Lines that begin at the margin are
/// joined and broken anew, paragraph by paragraph; a line in two columns is continued below the
/// second one, as is a line that is indented as far; a command, which has `qvreg fit -`, is
/// continued with a backslash; any other line is continued below its beginning.
[[nodiscard]] std::string Reflow(std::string_view text, std::size_t width);

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
