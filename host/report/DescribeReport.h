#pragma once

#include <string>

#include "host/fit/TableDescription.h"
#include "host/report/TextStyle.h"

namespace qvhost {

/// A table's columns for people: what a formula takes them for, missing and distinct values, ranges
/// of numbers and dates, the most frequent levels, and what may be wrong with them. UTF-8, in lines
/// of the style's width but for words that are wider. Of more than 60 columns the first 40 and the
/// last 10 unless the style asks for all.
[[nodiscard]] std::string TextReport(const TableDescription& table, const TextStyle& style = {});

/// The same as one JSON object, see docs/describe.schema.json; as JsonReport of a fit.
[[nodiscard]] std::string JsonReport(const TableDescription& table);

}  // namespace qvhost
