#pragma once

#include <pugixml.hpp>

#include "host/fit/SavedModel.h"

/// \file
/// The element `GeneralRegressionModel` of PMML 4.4: what other engines score with, and all that a
/// component of the library is made of again.
///
/// A parameter is a column of the design, `p0`, `p1` and so on; a redundant one has beta 0 and
/// df 0. The factors and covariates are the fields of the model's variables, a cell of the PPMatrix
/// holds a factor's level or a covariate's power. PCovMatrix is the covariance of the estimates in
/// the data's units, with the residual variance, its lower triangle row by row, since it is
/// symmetric; there is none where nothing is left to estimate that variance by, nor for more than
/// 1000 parameters. What PMML has no place for stands in `Extension` elements at the end.
///
/// A record with a combination of levels that the data did not have is not scored by this command;
/// PMML has no word for that, and another engine leaves the combination's parameter out.

namespace qvhost {

/// Appends the element for a model's component to `pmml`, with a MiningSchema that is still empty.
/// Names fields and levels by the model's variables, which must be those of the component: throws
/// Error (kBadInput) where they are not, and kRunFailed without memory.
void WriteGeneralRegression(pugi::xml_node pmml, const SavedModel& saved);

/// Makes the component's bytes of the element, the very same ones, and nothing else of `saved`. The
/// variables of that are to be there, if it has any: fields, levels and parameters must be theirs.
/// Throws Error (kBadInput) that names what is not as it was written. Takes no more memory than
/// what the element holds.
void ReadGeneralRegression(pugi::xml_node model, SavedModel& saved);

}  // namespace qvhost
