#include "host/score/ScoringModel.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/ModelBinding.h"
#include "host/fit/RecordFit.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvhost {
namespace {

/// Whether the variables are those of the component's records.
bool FitTogether(const SavedModel& saved, const QvRegSettings& settings) {
  const auto isOf = [](const std::vector<int>& positions, int position) {
    return std::ranges::find(positions, position) != positions.end();
  };
  for (const SavedVariable* variable : ScoredVariables(saved)) {
    const int position = variable->position;
    if (!variable->isFactor && !isOf(settings.GetCovariates(), position)) return false;
    if (!variable->isFactor) continue;
    const auto place = std::ranges::find(settings.GetFactors(), position);
    if (place == settings.GetFactors().end()) return false;
    const auto size = static_cast<std::size_t>(
        settings.GetFactorSizes()[static_cast<std::size_t>(place - settings.GetFactors().begin())]);
    // A factor without any level has the size 1.
    if (size != std::max<std::size_t>(variable->levels.size(), 1)) return false;
  }
  return true;
}

RestoredModel Restored(const SavedModel& saved, const std::string& file) {
  try {
    return RestoredModel::OfBytes(saved.component);
  } catch (const Error& error) {
    throw Error(error.Code(), fmt::format("'{}': {}", file, error.what()));
  }
}

}  // namespace

std::vector<const SavedVariable*> ScoredVariables(const SavedModel& saved) {
  std::vector<const SavedVariable*> variables;
  for (const SavedVariable& variable : saved.variables) {
    const bool isRead = variable.position != ModelBinding::kDependent && !variable.isWeight;
    if (isRead) variables.push_back(&variable);
  }
  return variables;
}

ScoringModel::ScoringModel(const SavedModel& saved, const std::string& file)
    : restored_(Restored(saved, file)), scoring_(ScoringBytesOf(restored_.Component())) {
  const QvRegSettings& settings = restored_.Settings();
  recordSize_ = static_cast<int>(settings.GetVariableTypes().size());
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&Output());
  bool isWhole = !saved.variables.empty() && FitTogether(saved, settings);
  if (isWhole && logistic != nullptr) {
    categories_ = {logistic->GetDependCategories(), saved.variables.front().levels};
    isWhole = std::ranges::all_of(categories_.codes, [this](int code) {
      return code >= 0 && static_cast<std::size_t>(code) < categories_.levels.size();
    });
  }
  if (isWhole) return;
  throw Error(ExitCode::kBadInput,
              fmt::format("The parts of the model in '{}' do not belong together; save the fit "
                          "anew.",
                          file));
}

}  // namespace qvhost
