#pragma once

#include <string>
#include <utility>

#include "host/fit/Interrupt.h"
#include "host/fit/OutputFiles.h"
#include "host/fit/ProgressBar.h"
#include "host/fit/SavedModel.h"
#include "host/score/ScoreTable.h"
#include "tests/host/model/Saving.h"

namespace qvhost {

/// Scores a table with a model that is in no file.
inline ScoreResult Scored(const SavedModel& saved, ScoreOptions options) {
  if (options.model.empty()) options.model = "model.pmml";
  ProgressBar none(nullptr);
  Interrupt interrupt;
  OutputFiles outputs;
  outputs.Add("--out", options.out);
  ScoreResult result = ScoreTable(saved, options, none, interrupt, outputs);
  outputs.Finish();
  outputs.Commit();
  return result;
}

}  // namespace qvhost
