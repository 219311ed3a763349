#pragma once

#include <CLI/App.hpp>
#include <string>
#include <string_view>

namespace qvhost {

/// The manual page of the program, which is `app`, or of one of its commands, for man(1): what the
/// help says, in the sections of manual pages. `date` is that of the page, year-month-day.
///
/// Of the footer of the help a line at the margin that ends with a colon begins a section of its
/// own, "Exit codes:" that of the exit status. What it says of the environment, which "The
/// variable" begins, has a section that says more.
[[nodiscard]] std::string ManualPage(CLI::App& app, std::string_view date);

}  // namespace qvhost
