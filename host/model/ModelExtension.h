#pragma once

#include <pugixml.hpp>

#include "qvreg/component/QvModelContents.h"

namespace qvhost {

/// Appends `Extension` elements with all that a component keeps of its model and PMML has no place
/// for: everything but estimates, covariances, and which parameters are kept. Each has a name, and
/// a value (numbers in their shortest form, a blank between each two) or further ones inside.
void WriteModelExtensions(pugi::xml_node parent, const QvModelContents& contents);

/// Reads what was written, from `first` on, the first of the elements; the element behind the last
/// of them, or none. Throws Error (kBadInput) that names the element that is not as it was written.
/// `contents` are to be empty.
[[nodiscard]] pugi::xml_node ReadModelExtensions(pugi::xml_node first, QvModelContents& contents);

}  // namespace qvhost
