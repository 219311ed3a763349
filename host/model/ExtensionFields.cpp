#include "host/model/ExtensionFields.h"

#include <fmt/format.h>

#include "host/Error.h"

namespace qvhost {

void RefuseElement(std::string_view element, std::string_view what) {
  throw Error(ExitCode::kBadInput,
              fmt::format("This is no model that --save wrote: its element {} {}. Fit the model "
                          "again, and save it.",
                          element, what));
}

pugi::xml_node ExtensionWriter::Add(const char* name) {
  pugi::xml_node added = parent_.append_child("Extension");
  added.append_attribute("extender") = "qvreg";
  added.append_attribute("name") = name;
  return added;
}

void ExtensionWriter::Add(const char* name, const std::string& value) {
  Add(name).append_attribute("value") = value.c_str();
}

bool ExtensionReader::IsNext(const char* name) const {
  return std::string_view(next_.name()) == "Extension" &&
         next_.attribute("name").value() == std::string_view(name);
}

void ExtensionReader::RefuseNext(const char* name) const {
  Refuse(name, "is missing where it belongs");
}

void ExtensionReader::Refuse(const char* name, const char* why) {
  RefuseElement(fmt::format("Extension '{}'", name), why);
}

void ExtensionReader::RefuseValue(const char* name) { Refuse(name, "holds something else"); }

std::string_view ExtensionReader::Take(const char* name) {
  if (!IsNext(name)) RefuseNext(name);
  const pugi::xml_attribute value = next_.attribute("value");
  if (!value || next_.first_child()) RefuseValue(name);
  next_ = next_.next_sibling();
  return value.value();
}

}  // namespace qvhost
