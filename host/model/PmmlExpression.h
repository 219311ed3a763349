#pragma once

#include <functional>
#include <optional>
#include <pugixml.hpp>
#include <string>
#include <vector>

#include "host/formula/Variable.h"

namespace qvhost {

/// What a column is where a formula's expression reads it.
struct PmmlColumn {
  enum class Kind { kNumber, kText, kBoolean, kOther };

  Kind kind = Kind::kOther;
  /// Of a boolean that is a text in PMML: the one that is true.
  std::optional<std::string> trueText = std::nullopt;
};

/// Of each name.
using PmmlColumns = std::function<PmmlColumn(const std::string& name)>;

/// Appends a variable's values as an expression of PMML, the columns as fields of their names;
/// false, and nothing appended, for what the standard's functions do not say, or say otherwise: a
/// variable is missing wherever a column that it reads is, logarithms are natural, and so on.
[[nodiscard]] bool AppendExpression(pugi::xml_node parent, const Variable& variable,
                                    const PmmlColumns& columns);

/// Append a call, whose arguments are to be appended to it, a number, a field.
pugi::xml_node AppendApply(pugi::xml_node parent, const std::string& function);
void AppendConstant(pugi::xml_node parent, const std::string& number);
void AppendFieldRef(pugi::xml_node parent, const std::string& field);

}  // namespace qvhost
