#include "host/model/XmlElement.h"

#include <string_view>

#include <fmt/format.h>

#include "host/Sha256.h"

namespace qvhost {
namespace {

/// Adds a text so that no other pieces give the same bytes.
void AddText(char kind, std::string_view text, Sha256& hash) {
  hash.Add(fmt::format("{}{}:", kind, text.size()));
  hash.Add(text);
}

void AddElement(pugi::xml_node element, Sha256& hash) {
  AddText('<', element.name(), hash);
  for (const pugi::xml_attribute& attribute : element.attributes()) {
    AddText('@', attribute.name(), hash);
    AddText('=', attribute.value(), hash);
  }
  for (const pugi::xml_node& child : element.children()) {
    if (child.type() == pugi::node_element) {
      AddElement(child, hash);
    } else {
      AddText('"', child.value(), hash);
    }
  }
  hash.Add(">");
}

}  // namespace

std::string DigestOf(pugi::xml_node element) {
  Sha256 hash;
  AddElement(element, hash);
  return hash.Finish();
}

}  // namespace qvhost
