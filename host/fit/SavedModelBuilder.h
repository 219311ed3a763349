#pragma once

#include <vector>

#include "host/fit/ModelBinding.h"
#include "host/fit/ModelRun.h"
#include "host/fit/SavedModel.h"
#include "host/fit/Standardization.h"
#include "host/formula/Formula.h"
#include "host/table/CodedTable.h"
#include "host/table/TableSource.h"

namespace qvhost {

/// What a model was made of. Borrows all of it.
struct ModelParts {
  const Formula& formula;
  const ModelBinding& binding;
  const CodedTable& table;
  const TableSource& source;
  const DataSource& data;  ///< As the user said it.
  const std::vector<Standardization>& scales;
  const ModelRun& run;  ///< Built.
};

/// What its model needs to outlive a run, but for the fit: the variables (the dependent, those of
/// the formula in its order, the weights), the columns that they read, how the data were read, the
/// component's bytes. Throws Error (kRunFailed) without memory for these.
[[nodiscard]] SavedModel SavedModelOf(const ModelParts& parts);

}  // namespace qvhost
