#pragma once

#include <string>

#include "host/fit/SavedModel.h"

/// \file
/// A saved model as PMML 4.4: what other engines score with, and all that this command needs to
/// score, to show the fit again and to compare it. docs/models.md describes the document.

namespace qvhost {

/// The document; the same for the same model. Throws Error (kRunFailed) for a name or a level that
/// XML cannot hold, as one with a control character, and without memory for the component.
[[nodiscard]] std::string WritePmml(const SavedModel& model);

/// The model in a file that WritePmml made, in this version or an earlier one. Throws Error
/// (kBadInput), which names the file and what is wrong with it: no PMML, that of another producer,
/// cut off, altered since (all but comments and blanks between elements counts), of a newer
/// version.
[[nodiscard]] SavedModel ReadSavedModel(const std::string& file);

}  // namespace qvhost
