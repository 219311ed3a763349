#pragma once

#include <string>

#include "host/table/CodedTable.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// The library's code of the level that a logistic model compares the others with: that of the
/// level of this text, or one of the library's own codes for `first`, `last` and an empty text (the
/// last). Throws Error (kBadInput) when the dependent has no such level, with the nearest one.
[[nodiscard]] int FindReferenceLevel(const std::string& reference, const CodedColumn& dependent,
                                     const TableSource& source);

}  // namespace qvhost
