#pragma once

#include <pugixml.hpp>
#include <string>

#include "host/fit/SavedModel.h"

namespace qvhost {

/// Appends `Extension` elements with what a saved model holds beside its component, exactly: the
/// columns and variables, how the data were read, and the fit as JSON.
void WriteSavedParts(pugi::xml_node parent, const SavedModel& model);

/// Reads what was written, from `first` on, the first of the elements; `file` is for messages.
/// Throws Error (kBadInput) for anything else.
[[nodiscard]] SavedModel ReadSavedParts(pugi::xml_node first, const std::string& file);

}  // namespace qvhost
