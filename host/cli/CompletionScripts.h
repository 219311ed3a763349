#pragma once

#include <CLI/App.hpp>
#include <string>

namespace qvhost {

/// Scripts with which a shell completes the command line of `app`: its commands, their options, and
/// the values that options offer (see ValuesOf). They hold all they need and run nothing of ours.
[[nodiscard]] std::string BashCompletion(CLI::App& app);
[[nodiscard]] std::string ZshCompletion(CLI::App& app);

}  // namespace qvhost
