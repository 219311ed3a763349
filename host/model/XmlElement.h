#pragma once

#include <pugixml.hpp>
#include <string>

namespace qvhost {

/// Appends an element that is empty.
inline pugi::xml_node AppendElement(pugi::xml_node parent, const char* name) {
  return parent.append_child(name);
}

/// Appends an attribute.
inline void SetAttribute(pugi::xml_node element, const char* name, const std::string& value) {
  element.append_attribute(name) = value.c_str();
}

/// A SHA-256 in hexadecimal digits of an element and all in it: its names, attributes and texts,
/// wherever blanks between elements, comments and line ends are.
[[nodiscard]] std::string DigestOf(pugi::xml_node element);

}  // namespace qvhost
