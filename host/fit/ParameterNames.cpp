#include "host/fit/ParameterNames.h"

#include <algorithm>
#include <cstddef>

#include <fmt/format.h>

namespace qvhost {

namespace {

void Extend(std::string& label, const std::string& part) {
  if (!label.empty()) label += ':';
  label += part;
}

}  // namespace

ParameterResult ParameterNames::Name(const QvRegrParameter& parameter) const {
  ParameterResult result;
  if (parameter.IsIntercept()) {
    result.label = "(Intercept)";
    return result;
  }
  const int term = parameter.GetEffectIndex() - (intercept_ ? 1 : 0);
  for (const TermPart& part : formula_.terms.at(static_cast<std::size_t>(term)).parts) {
    const auto variable = static_cast<std::size_t>(part.variable);
    const auto add =
        binding_.isFactor[variable] ? &ParameterNames::AddFactor : &ParameterNames::AddCovariate;
    (this->*add)(formula_.variables[variable], binding_.positions[variable], parameter, result);
  }
  return result;
}

void ParameterNames::AddFactor(const Variable& variable, int position,
                               const QvRegrParameter& parameter, ParameterResult& result) const {
  const auto category = static_cast<std::size_t>(parameter.ContainsFactor(position, -1));
  const CodedColumn& column = table_.Columns()[static_cast<std::size_t>(position)];
  result.levels.push_back({PlainName(variable), column.levels.at(category)});
  Extend(result.label, result.levels.back().factor + "=" + result.levels.back().level);
}

void ParameterNames::AddCovariate(const Variable& variable, int position,
                                  const QvRegrParameter& parameter, ParameterResult& result) const {
  const auto named = [&](const CovariatePower& power) { return power.covariate == variable.label; };
  // A term such as x:I(x^2) names x twice; its power holds both.
  if (std::any_of(result.covariates.begin(), result.covariates.end(), named)) return;
  const int power = parameter.GetCovariateMult(position);
  result.covariates.push_back({variable.label, power});
  Extend(result.label,
         power == 1 ? variable.label : fmt::format("I({}^{})", variable.label, power));
}

}  // namespace qvhost
