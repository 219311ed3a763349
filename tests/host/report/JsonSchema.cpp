#include "tests/host/report/JsonSchema.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <fstream>
#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

#include <fmt/format.h>
#include <gtest/gtest.h>

namespace qvhost {
namespace {

using Json = nlohmann::json;
using Faults = std::vector<std::string>;

constexpr std::array<std::string_view, 19> kKeywords = {"$schema",
                                                        "title",
                                                        "type",
                                                        "$ref",
                                                        "$defs",
                                                        "const",
                                                        "enum",
                                                        "required",
                                                        "items",
                                                        "oneOf",
                                                        "anyOf",
                                                        "properties",
                                                        "additionalProperties",
                                                        "minimum",
                                                        "maximum",
                                                        "exclusiveMaximum",
                                                        "minItems",
                                                        "minLength",
                                                        "description"};

[[noreturn]] void Refuse(const std::string& what) { throw std::runtime_error("schema: " + what); }

const Json& Target(const Json& root, const std::string& reference) {
  if (!reference.starts_with('#')) Refuse("a reference to another document, " + reference);
  return root.at(Json::json_pointer(reference.substr(1)));
}

void CheckKeywords(const Json& root, const Json& schema) {
  if (schema.is_boolean()) return;
  if (!schema.is_object()) Refuse("no schema: " + schema.dump());
  for (const auto& [keyword, value] : schema.items()) {
    if (std::ranges::find(kKeywords, keyword) == kKeywords.end()) Refuse("keyword " + keyword);
    if (keyword == "$ref") static_cast<void>(Target(root, value));
    if (keyword == "items" || keyword == "additionalProperties") CheckKeywords(root, value);
    if (keyword == "oneOf" || keyword == "anyOf" || keyword == "properties" || keyword == "$defs") {
      for (const Json& part : value) CheckKeywords(root, part);
    }
  }
}

bool IsOfType(const Json& value, const std::string& type) {
  if (type == "object") return value.is_object();
  if (type == "array") return value.is_array();
  if (type == "string") return value.is_string();
  if (type == "boolean") return value.is_boolean();
  if (type == "null") return value.is_null();
  if (type == "integer") return value.is_number_integer();
  if (type == "number") return value.is_number();
  Refuse("type " + type);
}

/// Checks a value and what is inside it. Borrows the schema.
class Check {
 public:
  explicit Check(const Json& root) : root_(root) {}

  Faults Run(const Json& schema, const Json& value, const std::string& place) const {
    Faults faults;
    const auto fault = [&](const std::string& what) { faults.push_back(place + ": " + what); };
    if (schema.is_boolean()) {
      if (!schema) fault("is not allowed");
      return faults;
    }
    if (schema.contains("$ref")) {
      Append(Run(Target(root_, schema.at("$ref")), value, place), faults);
    }
    if (schema.contains("type") && !HasType(schema.at("type"), value)) {
      fault(value.dump() + " is not of the type " + schema.at("type").dump());
      return faults;
    }
    if (schema.contains("const") && value != schema.at("const")) {
      fault(value.dump() + " is not " + schema.at("const").dump());
    }
    if (schema.contains("enum") && !IsIn(schema.at("enum"), value)) {
      fault(value.dump() + " is none of " + schema.at("enum").dump());
    }
    if (value.is_number()) CheckBounds(schema, value, fault);
    if (value.is_string() && value.get<std::string>().size() < schema.value("minLength", 0U)) {
      fault("the text is too short");
    }
    if (value.is_object()) Append(OfObject(schema, value, place), faults);
    if (value.is_array()) Append(OfArray(schema, value, place), faults);
    for (const char* choice : {"oneOf", "anyOf"}) {
      if (!schema.contains(choice)) continue;
      Append(OfChoice(schema.at(choice), choice == std::string_view("oneOf"), value, place),
             faults);
    }
    return faults;
  }

 private:
  static void Append(Faults more, Faults& faults) {
    for (std::string& fault : more) faults.push_back(std::move(fault));
  }

  static bool IsIn(const Json& list, const Json& value) {
    return std::ranges::find(list, value) != list.end();
  }

  static bool HasType(const Json& types, const Json& value) {
    if (types.is_string()) return IsOfType(value, types);
    return std::ranges::any_of(types, [&](const Json& type) { return IsOfType(value, type); });
  }

  template <typename Fault>
  static void CheckBounds(const Json& schema, const Json& value, const Fault& fault) {
    const double number = value;
    if (schema.contains("minimum") && number < schema.at("minimum")) fault("is too small");
    if (schema.contains("maximum") && number > schema.at("maximum")) fault("is too large");
    if (schema.contains("exclusiveMaximum") && number >= schema.at("exclusiveMaximum")) {
      fault("is too large");
    }
  }

  Faults OfObject(const Json& schema, const Json& value, const std::string& place) const {
    Faults faults;
    for (const std::string name : schema.value("required", Json::array())) {
      if (!value.contains(name)) faults.push_back(fmt::format("{}: lacks {}", place, name));
    }
    const Json properties = schema.value("properties", Json::object());
    const Json others = schema.value("additionalProperties", Json(true));
    for (const auto& [name, entry] : value.items()) {
      const Json& of = properties.contains(name) ? properties.at(name) : others;
      Append(Run(of, entry, fmt::format("{}/{}", place, name)), faults);
    }
    return faults;
  }

  Faults OfArray(const Json& schema, const Json& value, const std::string& place) const {
    Faults faults;
    if (value.size() < schema.value("minItems", std::size_t{0})) {
      faults.push_back(place + ": has too few items");
    }
    const Json items = schema.value("items", Json(true));
    for (std::size_t i = 0; i < value.size(); ++i) {
      Append(Run(items, value[i], fmt::format("{}/{}", place, i)), faults);
    }
    return faults;
  }

  Faults OfChoice(const Json& choices, bool isOne, const Json& value,
                  const std::string& place) const {
    std::vector<Faults> found;
    for (const Json& choice : choices) found.push_back(Run(choice, value, place));
    const auto valid = std::ranges::count_if(found, &Faults::empty);
    if (valid > 1 && isOne) return {place + ": fits more than one of the choices"};
    // Those of the choice that was probably meant; none when it fits.
    return std::ranges::min(found, {}, &Faults::size);
  }

  const Json& root_;
};

}  // namespace

JsonSchema::JsonSchema(nlohmann::json schema) : schema_(std::move(schema)) {
  CheckKeywords(schema_, schema_);
}

const JsonSchema& JsonSchema::Of(const std::string& command) {
  static std::map<std::string, JsonSchema> schemas;
  const auto found = schemas.find(command);
  if (found != schemas.end()) return found->second;
  std::ifstream file(fmt::format("{}/{}.schema.json", QVREG_DOCS, command));
  return schemas.emplace(command, JsonSchema(Json::parse(file))).first->second;
}

std::vector<std::string> JsonSchema::FaultsOf(const nlohmann::json& document) const {
  return Check(schema_).Run(schema_, document, "");
}

void ExpectJsonOf(const std::string& command, const std::string& text) {
  const Json document = Json::parse(text, nullptr, false);
  ASSERT_FALSE(document.is_discarded()) << "no JSON: " << text;
  for (const std::string& fault : JsonSchema::Of(command).FaultsOf(document)) {
    ADD_FAILURE() << "against docs/" << command << ".schema.json: " << fault;
  }
}

}  // namespace qvhost
