#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace qvhost {

/// A JSON Schema (draft 2020-12) of the keywords that docs/fit.schema.json uses. A schema with any
/// other keyword is an error, so that none goes unchecked.
class JsonSchema {
 public:
  /// Throws std::runtime_error for a keyword or a reference that is not known, anywhere in it.
  explicit JsonSchema(nlohmann::json schema);

  /// That of the JSON that `qvreg fit`, `describe` or `compare` writes.
  [[nodiscard]] static const JsonSchema& Of(const std::string& command);

  /// What is wrong with a document, each with its place (a JSON pointer); empty when it is valid.
  [[nodiscard]] std::vector<std::string> FaultsOf(const nlohmann::json& document) const;

 private:
  nlohmann::json schema_;
};

/// Fails the test when a text is no JSON document that the command writes.
void ExpectJsonOf(const std::string& command, const std::string& text);

}  // namespace qvhost
