#include "host/model/PmmlFields.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/Text.h"
#include "host/formula/Formula.h"
#include "host/formula/ValueKind.h"
#include "host/model/ExtensionFields.h"
#include "host/model/PmmlExpression.h"
#include "host/model/XmlElement.h"
#include "host/table/Booleans.h"
#include "qvreg/common/QvNumberText.h"

namespace qvhost {
namespace {

bool IsWhole(const SavedColumn& column) { return column.type.find("INT") != std::string::npos; }

/// Whether a variable reads more of a column than to take its values for levels.
bool Computes(const SavedVariable& variable, const SavedColumn& column) {
  const bool isRead = std::ranges::find(variable.columns, column.name) != variable.columns.end();
  return isRead && !(variable.isColumn && variable.isFactor);
}

/// A text of levels that are those of PMML's own booleans.
bool AreTruths(const std::vector<std::string>& levels) {
  return std::ranges::all_of(
      levels, [](const std::string& level) { return level == "false" || level == "true"; });
}

/// Finds what the columns and variables of one model are in PMML. Borrows it.
class FieldTypes {
 public:
  explicit FieldTypes(const SavedModel& model) : model_(model) {}

  [[nodiscard]] const SavedColumn& Column(const std::string& name) const {
    const auto found = std::ranges::find(model_.columns, name, &SavedColumn::name);
    if (found == model_.columns.end()) {
      RefuseElement("Extension 'expression'",
                    "names '" + name + "', which is no column of the data");
    }
    return *found;
  }

  /// The variable that takes a column as it is; null for none.
  [[nodiscard]] const SavedVariable* TakenAsIs(const SavedColumn& column) const {
    const auto found = std::ranges::find_if(model_.variables, [&](const SavedVariable& variable) {
      return !variable.isWeight && IsColumn(variable) && variable.field == column.name;
    });
    return found == model_.variables.end() ? nullptr : &*found;
  }

  /// Whether a variable's field is that of a column.
  [[nodiscard]] static bool IsColumn(const SavedVariable& variable) {
    return variable.isColumn && variable.field == variable.columns.front();
  }

  [[nodiscard]] const char* TypeOf(const SavedColumn& column) const {
    if (column.kind == ColumnKind::kNumber) return IsLevelsOnly(column) ? "integer" : "double";
    if (column.kind != ColumnKind::kBoolean) return "string";
    return TextOfTrue(column) ? "string" : "boolean";
  }

  [[nodiscard]] const char* TypeOf(const SavedVariable& variable) const {
    if (variable.isColumn) return TypeOf(Column(variable.columns.front()));
    if (variable.kind == ColumnKind::kNumber) return "double";
    const bool isTruth = variable.kind == ColumnKind::kBoolean && AreTruths(variable.levels);
    return isTruth ? "boolean" : "string";
  }

  /// What the data write for true in a column of booleans, where it is known and not `true`.
  [[nodiscard]] std::optional<std::string> TextOfTrue(const SavedColumn& column) const {
    for (const SavedVariable& variable : model_.variables) {
      if (!variable.isColumn || !variable.isFactor || variable.columns.front() != column.name) {
        continue;
      }
      if (AreTruths(variable.levels)) continue;
      for (const std::string& level : variable.levels) {
        if (TruthOf(level) == true) return level;
        if (const auto spelling = SpellingOf(level)) return spelling->yes;
      }
    }
    return std::nullopt;
  }

  [[nodiscard]] PmmlColumn InExpression(const std::string& name) const {
    const SavedColumn& column = Column(name);
    switch (column.kind) {
      case ColumnKind::kNumber:
        return {PmmlColumn::Kind::kNumber};
      case ColumnKind::kText:
        return {PmmlColumn::Kind::kText};
      case ColumnKind::kBoolean:
        return {PmmlColumn::Kind::kBoolean, TextOfTrue(column)};
      default:
        return {};
    }
  }

 private:
  /// Whether a column's values are whole numbers that are levels and nothing else. Others may have
  /// a fraction where the model scores.
  [[nodiscard]] bool IsLevelsOnly(const SavedColumn& column) const {
    return IsWhole(column) &&
           std::ranges::none_of(model_.variables, [&](const SavedVariable& variable) {
             return Computes(variable, column);
           });
  }

  const SavedModel& model_;
};

/// Appends a field with its name and types.
pugi::xml_node AppendField(pugi::xml_node list, const char* element, const std::string& name,
                           bool isFactor, const char* type) {
  const pugi::xml_node field = AppendElement(list, element);
  SetAttribute(field, "name", name);
  // Texts are never numbers.
  const bool isCategorical =
      isFactor || type == std::string_view("string") || type == std::string_view("boolean");
  SetAttribute(field, "optype", isCategorical ? "categorical" : "continuous");
  SetAttribute(field, "dataType", type);
  return field;
}

void AppendLevels(pugi::xml_node field, const SavedVariable& variable) {
  for (const std::string& level : variable.levels) {
    SetAttribute(AppendElement(field, "Value"), "value", level);
  }
}

/// Appends the values of a variable; false where PMML cannot say them.
bool AppendValues(pugi::xml_node field, const SavedVariable& variable, const FieldTypes& types) {
  if (variable.isColumn) {
    AppendFieldRef(field, variable.columns.front());
    return true;
  }
  const ColumnLookup lookup = [&](const std::string& name, Place /*place*/) {
    FoundColumn found{name, QuoteName(name), ValueKindOf(types.Column(name).kind)};
    return found;
  };
  const Variable read = ParseExpression(variable.expression, lookup);
  const auto columns = [&](const std::string& name) { return types.InExpression(name); };
  return AppendExpression(field, read, columns);
}

/// The same, standardized where the variable is.
bool AppendScaled(pugi::xml_node field, const SavedVariable& variable, const FieldTypes& types) {
  if (!variable.scale) return AppendValues(field, variable, types);
  const SavedScale& scale = *variable.scale;
  const pugi::xml_node quotient = scale.deviation ? AppendApply(field, "/") : field;
  const pugi::xml_node difference = AppendApply(quotient, "-");
  if (!AppendValues(difference, variable, types)) {
    field.remove_children();
    return false;
  }
  AppendConstant(difference, QvCommon::NumberText(std::ldexp(scale.mean, scale.exponent)));
  if (scale.deviation) {
    AppendConstant(quotient, QvCommon::NumberText(std::ldexp(*scale.deviation, scale.exponent)));
  }
  return true;
}

/// Whether another engine makes the variable of columns.
bool IsDerived(pugi::xml_node pmml, const SavedVariable& variable) {
  return static_cast<bool>(
      pmml.child("TransformationDictionary")
          .find_child_by_attribute("DerivedField", "name", variable.field.c_str()));
}

void AppendDerived(pugi::xml_node pmml, const SavedModel& model, const FieldTypes& types) {
  pugi::xml_node list = AppendElement(pmml, "TransformationDictionary");
  for (std::size_t i = 1; i < model.variables.size(); ++i) {
    const SavedVariable& variable = model.variables[i];
    if (variable.isWeight || FieldTypes::IsColumn(variable)) continue;
    const pugi::xml_node field = AppendField(list, "DerivedField", variable.field,
                                             variable.isFactor, types.TypeOf(variable));
    if (AppendScaled(field, variable, types)) {
      if (variable.isFactor) AppendLevels(field, variable);
    } else {
      list.remove_child(field);
    }
  }
  if (!list.first_child()) pmml.remove_child(list);
}

/// A field that no column is: the dependent, or a variable that others must compute.
void AppendComputed(pugi::xml_node dictionary, const SavedVariable& variable,
                    const FieldTypes& types) {
  const pugi::xml_node field = AppendField(dictionary, "DataField", variable.field,
                                           variable.isFactor, types.TypeOf(variable));
  const pugi::xml_node extension = AppendElement(field, "Extension");
  SetAttribute(extension, "extender", "qvreg");
  SetAttribute(extension, "name", variable.scale ? "argument" : "expression");
  SetAttribute(extension, "value", variable.expression);
  AppendLevels(field, variable);
}

void AppendColumn(pugi::xml_node dictionary, const SavedColumn& column, const FieldTypes& types) {
  const SavedVariable* const variable = types.TakenAsIs(column);
  const pugi::xml_node field =
      AppendField(dictionary, "DataField", column.name, variable != nullptr && variable->isFactor,
                  types.TypeOf(column));
  if (variable != nullptr) AppendLevels(field, *variable);
}

void AppendMiningField(pugi::xml_node schema, const std::string& name, const char* usage) {
  if (schema.find_child_by_attribute("MiningField", "name", name.c_str())) return;
  const pugi::xml_node field = AppendElement(schema, "MiningField");
  SetAttribute(field, "name", name);
  SetAttribute(field, "usageType", usage);
}

}  // namespace

void WriteFields(pugi::xml_node pmml, const SavedModel& model) {
  const FieldTypes types(model);
  const pugi::xml_node dictionary = AppendElement(pmml, "DataDictionary");
  AppendDerived(pmml, model, types);
  for (const SavedColumn& column : model.columns) AppendColumn(dictionary, column, types);
  for (const SavedVariable& variable : model.variables) {
    const bool isOther = variable.isWeight || FieldTypes::IsColumn(variable);
    if (!isOther && !IsDerived(pmml, variable)) AppendComputed(dictionary, variable, types);
  }
  const auto fields = dictionary.children();
  SetAttribute(dictionary, "numberOfFields",
               std::to_string(std::distance(fields.begin(), fields.end())));
}

void WriteMiningSchema(pugi::xml_node pmml, const SavedModel& model) {
  pugi::xml_node schema = pmml.child("GeneralRegressionModel").child("MiningSchema");
  AppendMiningField(schema, model.variables.front().field, "target");
  for (std::size_t i = 1; i < model.variables.size(); ++i) {
    const SavedVariable& variable = model.variables[i];
    if (variable.isWeight) continue;
    if (!IsDerived(pmml, variable)) {
      AppendMiningField(schema, variable.field, "active");
      continue;
    }
    for (const std::string& column : variable.columns) AppendMiningField(schema, column, "active");
  }
  const auto appendWeight = [&](const std::string& name, const char* usage) {
    const auto isIt = [&](const SavedVariable& variable) {
      return variable.isWeight && variable.label == name;
    };
    const auto found = std::ranges::find_if(model.variables, isIt);
    if (found != model.variables.end()) AppendMiningField(schema, found->columns.front(), usage);
  };
  appendWeight(model.fit.freqWeight, "frequencyWeight");
  appendWeight(model.fit.regressionWeight, "analysisWeight");
}

}  // namespace qvhost
