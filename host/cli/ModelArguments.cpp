#include "host/cli/ModelArguments.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "host/cli/OptionValues.h"
#include "host/cli/SharedArguments.h"
#include "host/fit/LevelOptions.h"

namespace qvhost {

namespace {

constexpr const char* kModelGroup = "Model";

}  // namespace

void ModelArguments::Add() {
  command_.add_option("-f,--formula", options_.formula, "dependent ~ terms, see below")
      ->type_name("FORMULA")
      ->required()
      ->group(kModelGroup);
  CLI::Option* const kind =
      command_
          .add_option("--model", model_,
                      "linear or logistic; by default linear for a dependent\n"
                      "that is a number, logistic for a category")
          ->type_name("KIND")
          ->group(kModelGroup);
  TakeOneOf(kind, {"linear", "logistic"});
  BindingOptions& binding = options_.binding;
  command_
      .add_option("--freq-weight", binding.freqWeight, "How many records each record stands for")
      ->type_name("COLUMN")
      ->group(kModelGroup);
  command_
      .add_option("--regression-weight", binding.regressionWeight,
                  "How precise each record is (its inverse variance)")
      ->type_name("COLUMN")
      ->group(kModelGroup);
  command_.add_flag("--no-intercept", noIntercept_, "Leave the intercept out")->group(kModelGroup);
  AddRepeated(command_, "--base", binding.bases,
              "Level of a factor that the others are compared with,\n"
              "such as species=Gentoo [the last]; again for each factor.\n"
              "first: the first level of each factor without --base")
      ->type_name("FACTOR=LEVEL")
      ->group(kModelGroup);
  AddRepeated(command_, "--levels", binding.levels,
              "Order of a factor's levels, such as size=S,M,L; others\n"
              "follow in their usual order, by value or by letters. A\n"
              "level with a comma goes in double quotes. Again for each\n"
              "factor; the dependent may be one")
      ->type_name("FACTOR=LEVEL,...")
      ->group(kModelGroup);
  OfferWords(command_.get_option("--base"), {"first"});
}

void ModelArguments::Take() {
  BindingOptions& binding = options_.binding;
  for (const std::string& text : binding.bases) CheckLevelOption(LevelOption::kBase, text);
  for (const std::string& text : binding.levels) CheckLevelOption(LevelOption::kLevels, text);
  if (model_ == "linear") binding.model = ModelKind::kLinear;
  if (model_ == "logistic") binding.model = ModelKind::kLogistic;
  binding.freqWeight = ReadColumn("--freq-weight", binding.freqWeight);
  binding.regressionWeight = ReadColumn("--regression-weight", binding.regressionWeight);
  options_.intercept = !noIntercept_;
}

}  // namespace qvhost
