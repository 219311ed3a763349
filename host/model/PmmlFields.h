#pragma once

#include <pugixml.hpp>

#include "host/fit/SavedModel.h"

namespace qvhost {

/// Appends the fields of a model to the root of its PMML: `DataDictionary` with the columns of the
/// data, the dependent, and the variables that PMML has no expression for, which another engine
/// must be given computed; `TransformationDictionary` with the others that are no columns. Both
/// name the levels of factors.
///
/// Throws Error (kBadInput) for an expression that is none of a formula, or of other columns.
void WriteFields(pugi::xml_node pmml, const SavedModel& model);

/// Makes the MiningSchema of the model's element, which is behind these, that of the fields that
/// are read: the target, the fields of DataDictionary that predictors are made of, weights.
void WriteMiningSchema(pugi::xml_node pmml, const SavedModel& model);

}  // namespace qvhost
