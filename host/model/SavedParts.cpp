#include "host/model/SavedParts.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>
#include <type_traits>

#include "host/model/ExtensionFields.h"
#include "host/report/FitFromJson.h"
#include "host/report/Report.h"

namespace qvhost {
namespace {

constexpr const char* kFit = "fit";

constexpr std::array<std::string_view, 6> kKinds = {"number",      "text",     "boolean",
                                                    "enumeration", "datetime", "other"};

// Each names the members of a value for a writer, of which it is constant, or a reader.

constexpr auto kDescribeKind = [](auto& kind, auto& fields) {
  std::string word(kKinds.at(static_cast<std::size_t>(kind)));
  fields("kind", word);
  if constexpr (!std::is_const_v<std::remove_reference_t<decltype(kind)>>) {
    const auto* const found = std::ranges::find(kKinds, word);
    if (found == kKinds.end()) RefuseElement("Extension 'kind'", "holds something else");
    kind = static_cast<ColumnKind>(found - kKinds.begin());
  }
};

constexpr auto kDescribeText = [](auto& text, auto& fields) { fields("text", text); };

constexpr auto kDescribeNumber = [](auto& number, auto& fields) { fields("number", number); };

constexpr auto kDescribeColumn = [](auto& column, auto& fields) {
  fields("name", column.name);
  kDescribeKind(column.kind, fields);
  fields("type", column.type);
};

constexpr auto kDescribeScale = [](auto& scale, auto& fields) {
  fields("mean", scale.mean);
  fields.Parts("deviation", scale.deviation, kDescribeNumber);
  fields("exponent", scale.exponent);
};

constexpr auto kDescribeVariable = [](auto& variable, auto& fields) {
  fields("label", variable.label);
  fields("field", variable.field);
  fields("expression", variable.expression);
  fields.Parts("column", variable.columns, kDescribeText);
  fields("isColumn", variable.isColumn);
  fields("isFactor", variable.isFactor);
  fields.Parts("level", variable.levels, kDescribeText);
  kDescribeKind(variable.kind, fields);
  fields("position", variable.position);
  fields.Parts("scale", variable.scale, kDescribeScale);
  fields("isWeight", variable.isWeight);
};

constexpr auto kDescribeReading = [](auto& reading, auto& fields) {
  fields.Parts("na", reading.na, kDescribeText);
  int decimal = reading.decimal.value_or('\0');
  fields("decimal", decimal);
  if constexpr (!std::is_const_v<std::remove_reference_t<decltype(reading)>>) {
    if (decimal != 0) reading.decimal = static_cast<char>(decimal);
  }
  fields("thousands", reading.thousands);
};

constexpr auto kDescribeModel = [](auto& model, auto& fields) {
  fields.Parts("dataColumn", model.columns, kDescribeColumn);
  fields.Parts("variable", model.variables, kDescribeVariable);
  fields.Part("reading", model.reading, kDescribeReading);
};

/// Throws for variables that no fit has.
void CheckVariables(const SavedModel& model) {
  if (model.variables.empty()) RefuseElement("Extension 'variable'", "is missing");
  for (const SavedVariable& variable : model.variables) {
    const bool isRight = variable.position >= 0 && !variable.columns.empty() &&
                         std::ranges::all_of(variable.columns, [&](const std::string& column) {
                           return std::ranges::find(model.columns, column, &SavedColumn::name) !=
                                  model.columns.end();
                         });
    if (!isRight) RefuseElement("Extension 'variable'", "names no column of the data");
  }
}

}  // namespace

void WriteSavedParts(pugi::xml_node parent, const SavedModel& model) {
  ExtensionWriter writer(parent);
  kDescribeModel(model, writer);
  pugi::xml_node fit = parent.append_child("Extension");
  fit.append_attribute("extender") = "qvreg";
  fit.append_attribute("name") = kFit;
  fit.text() = JsonReport(model.fit).c_str();
}

SavedModel ReadSavedParts(pugi::xml_node first, const std::string& file) {
  SavedModel model;
  ExtensionReader reader(first);
  kDescribeModel(model, reader);
  const pugi::xml_node fit = reader.Next();
  if (fit.attribute("name").value() != std::string_view(kFit)) {
    RefuseElement("Extension 'fit'", "is missing where it belongs");
  }
  if (fit.next_sibling()) RefuseElement("Extension 'fit'", "has others behind it");
  CheckVariables(model);
  model.fit = ReadFitResult(fit.text().get(), file);
  return model;
}

}  // namespace qvhost
