#include "host/cli/LogisticArguments.h"

#include <cmath>

#include <fmt/format.h>

#include "host/cli/BadUsage.h"

namespace qvhost {

namespace {

void CheckCriterion(const char* name, double criterion) {
  if (criterion >= 0.0 && std::isfinite(criterion)) return;
  BadUsage(fmt::format("{} must be a number from 0 on, such as 1e-8; 0 switches it off.", name));
}

void CheckAtLeast(const char* name, int value, int least) {
  if (value >= least) return;
  BadUsage(fmt::format("{} must be a whole number from {} on.", name, least));
}

}  // namespace

void LogisticArguments::Add() {
  AddLevels();
  AddIterations();
  AddConvergence();
}

CLI::Option* LogisticArguments::Own(CLI::Option* option) {
  own_.push_back(option->group("Logistic model"));
  return option;
}

void LogisticArguments::AddLevels() {
  Own(command_
          .add_option("--reference", options_.reference,
                      "Level of the dependent that the others are compared\n"
                      "with, first or last [last]")
          ->type_name("LEVEL"));
  CLI::Option* const inMemory = Own(command_.add_flag(
      "--in-memory", inMemory_, "Keep the records in memory [up to 128 MiB of values]"));
  Own(command_.add_flag("--no-in-memory", notInMemory_,
                        "Read the records again for each iteration"))
      ->excludes(inMemory);
}

void LogisticArguments::AddIterations() {
  Own(command_.add_option("--max-iterations", options_.maxIterations, "Most iterations")
          ->type_name("N")
          ->capture_default_str());
  Own(command_
          .add_option("--max-step-halving", options_.maxStepHalving,
                      "How often an iteration may halve its step")
          ->type_name("N")
          ->capture_default_str());
  Own(command_
          .add_option("--separation-from", options_.separationFrom,
                      "Iteration from which separated levels are looked for;\n0 for never")
          ->type_name("N")
          ->capture_default_str());
}

void LogisticArguments::AddConvergence() {
  Own(command_
          .add_option("--parameter-criterion", options_.parameterCriterion,
                      "Converged when no estimate changes by a larger share;\n0 for off")
          ->type_name("SHARE")
          ->capture_default_str());
  Own(command_.add_flag("--absolute-parameter-criterion", options_.absoluteParameter,
                        "That criterion is the sum of the changes, not a share"));
  Own(command_
          .add_option("--ll-criterion", options_.logLikelihoodCriterion,
                      "Converged when the log-likelihood changes by a smaller\n"
                      "share; 0 for off")
          ->type_name("SHARE")
          ->capture_default_str());
  Own(command_.add_flag("--absolute-ll-criterion", options_.absoluteLogLikelihood,
                        "That criterion is the change itself, not a share"));
}

void LogisticArguments::Take() {
  if (inMemory_ || notInMemory_) options_.inMemory = inMemory_;
  CheckAtLeast("--max-iterations", options_.maxIterations, 0);
  CheckAtLeast("--max-step-halving", options_.maxStepHalving, 1);
  CheckAtLeast("--separation-from", options_.separationFrom, 0);
  CheckCriterion("--parameter-criterion", options_.parameterCriterion);
  CheckCriterion("--ll-criterion", options_.logLikelihoodCriterion);
}

std::vector<std::string> LogisticArguments::Given() const {
  std::vector<std::string> given;
  for (const CLI::Option* option : own_) {
    if (option->count() > 0) given.push_back(option->get_name());
  }
  return given;
}

}  // namespace qvhost
