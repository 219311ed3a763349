#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace qvhost {

/// What every page of a report holds beside the report. A plain value; the texts are part of the
/// program.
struct PageFiles {
  std::array<std::string_view, 3> libraries;  ///< Vega, Vega-Lite and vega-embed, in this order,
  std::array<std::string_view, 3> licences;   ///< and the licence of each.
  std::string_view script;
  std::string_view style;
};

[[nodiscard]] PageFiles EmbeddedPageFiles();

}  // namespace qvhost
