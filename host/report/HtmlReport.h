#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "host/fit/FitResult.h"

namespace qvhost {

/// Pages of more bytes hold fewer rows of long tables.
inline constexpr std::size_t kMostPageBytes = 1'500'000;

/// The fit as a page for a browser, in one file that loads nothing: what was fitted, warnings, the
/// tables of TextReport with up to 1,000 rows, plots of estimates, and those of `fit.plots`, where
/// it has them. Scripts draw the plots and sort the tables; without them the page tells the same in
/// tables and sentences. UTF-8; names are never markup. `digits` as in TextStyle.
[[nodiscard]] std::string HtmlReport(const FitResult& fit, std::optional<int> digits = {});

}  // namespace qvhost
