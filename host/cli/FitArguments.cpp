#include "host/cli/FitArguments.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "host/cli/OptionValues.h"
#include "host/cli/SharedArguments.h"

namespace qvhost {

FitArguments::FitArguments(CLI::App& command)
    : command_(&command),
      data_(command, options_.source, options_.where),
      model_(command, options_),
      report_(command) {
  data_.Add();
  model_.Add();
  AddInference();
  AddTests();
  AddValidation();
  AddLevels();
  AddIterations();
  AddConvergence();
  AddRobust();
  AddOutput();
  AddDiagnostics();
  report_.AddDigits();
  report_.AddSummary("Print all rows of tables of more than 60, and all of more\nthan 12 tables");
  report_.AddQuiet();
  OfferValues();
}

void FitArguments::OfferValues() {
  OfferWords(command_->get_option("--anova"), {"1", "2", "3"});
  OfferWords(command_->get_option("--reference"), {"first", "last"});
  OfferWords(command_->get_option("--vcov"), {"hc0", "hc1", "hc2", "hc3", "cluster:"});
  OfferWords(command_->get_option("--keep"), {"all"});
  OfferFiles(command_->get_option("--save"), {"pmml", "xml"});
  for (const char* const table : {"--predictions", "--diagnostics", "--vcov-out"}) {
    OfferWrittenTables(command_->get_option(table));
  }
}

void FitArguments::AddInference() {
  constexpr const char* group = "Estimation";
  command_
      ->add_option("--tolerance", options_.tolerance,
                   "A column of which the columns before leave no more\n"
                   "than this share, at least 0 and below 1, is redundant\n"
                   "[1e-14 of a linear model, 1e-12 of a logistic one]")
      ->type_name("SHARE")
      ->group(group);
  command_
      ->add_option("--confidence", options_.confidence,
                   "Confidence of the limits, at least 0 and below 1")
      ->type_name("LEVEL")
      ->capture_default_str()
      ->group(group);
  degreesOfFreedomOption_ =
      command_
          ->add_option(
              "--df", degreesOfFreedom_,
              "Of a linear model: degrees of freedom of the error, in\nplace of the computed ones")
          ->type_name("NUMBER")
          ->group(group);
  command_
      ->add_option("--max-parameters", options_.maxParameters,
                   "Refuse a model of more parameters before it takes memory,\n"
                   "such as one with a text column of thousands of levels")
      ->type_name("N")
      ->capture_default_str()
      ->group(group);
  data_.AddThreads(options_.threads)->group(group);
  noRefineOption_ = command_
                        ->add_flag("--no-refine", noRefine_,
                                   "Of a linear model: skip the refinement of the estimates")
                        ->group(group);
}

void FitArguments::AddTests() {
  constexpr const char* group = "Tests";
  anovaOption_ = command_
                     ->add_option("--anova", anova_,
                                  "Test the terms of the model: 1 each after those before\n"
                                  "it, 2 each after all that do not contain it [2; so by\n"
                                  "itself where it is quick], 3 each after all others. F of\n"
                                  "a linear model; of a logistic one likelihood ratios,\n"
                                  "which take a fit for each term")
                     ->type_name("TYPE")
                     ->expected(0, 1)
                     ->group(group);
  command_
      ->add_flag("--vif", options_.vif,
                 "Report by how much the terms inflate each other's\n"
                 "variances, and the condition number of the design")
      ->group(group);
  marginsOption_ = command_
                       ->add_option("--margins", margins_,
                                    "Average effects on what is predicted, of all columns of the\n"
                                    "formula or of these: derivatives by numbers, differences of\n"
                                    "a factor's levels from its base; of a logistic model on the\n"
                                    "probability of each level")
                       ->type_name("COLUMN,...")
                       ->expected(0, 1)
                       ->group(group);
  AddRepeated(*command_, "--means", options_.means,
              "Report the mean of each level of FACTOR, or of each\n"
              "combination of levels of several, over all combinations\n"
              "of the other factors' levels with the same weight,\n"
              "covariates at their means; and the differences of these\n"
              "means, with Holm's p values. Of a logistic model on the\n"
              "link and as probabilities. Once for each table")
      ->type_name("FACTOR[:FACTOR...]")
      ->group(group);
  AddRepeated(*command_, "--contrast", options_.contrasts,
              "Report a combination of such means: terms with + or -\n"
              "between blanks, each [NUMBER*]NAME=VALUE, with more\n"
              "conditions behind &, such as \"species=Gentoo & sex=male\n"
              "- species=Adelie\" or \"x=10 - x=5\"; a value may stand\n"
              "in quotes. Once for each contrast")
      ->type_name("CONTRAST")
      ->group(group);
}

void FitArguments::AddValidation() {
  constexpr const char* group = "Validation";
  ValidationOptions& validation = options_.binding.validation;
  splitOption_ = command_
                     ->add_option("--split", split_,
                                  "Fit the records that the column marks by true, 1, yes or\n"
                                  "train, and compare the others (false, 0, no, test) with\n"
                                  "what the fit predicts; =LEVEL says which one is fitted")
                     ->type_name("COLUMN[=LEVEL]")
                     ->group(group);
  holdoutOption_ =
      command_
          ->add_option("--holdout", validation.share,
                       "The same with a share of the rows, such as 0.2, drawn\nby lot and held out")
          ->type_name("SHARE")
          ->excludes(splitOption_)
          ->group(group);
  foldsOption_ = command_
                     ->add_option("--folds", validation.folds,
                                  "Fit all records; then divide the rows into parts, and\n"
                                  "compare each with a fit of the others")
                     ->type_name("N")
                     ->excludes(splitOption_)
                     ->excludes(holdoutOption_)
                     ->group(group);
  seedOption_ = command_
                    ->add_option("--seed", seed_,
                                 "Draws other lots for --holdout and --folds; the same ones\n"
                                 "for the same number")
                    ->type_name("N")
                    ->capture_default_str()
                    ->group(group);
}

void FitArguments::AddOutput() {
  constexpr const char* group = "Output";
  report_.AddJson("fit");
  report_.AddPage();
  command_
      ->add_option("-o,--predictions", options_.predictions,
                   "Write what the model predicts for each row of the data\n"
                   "to this .csv, .tsv or .parquet file")
      ->type_name("FILE")
      ->group(group);
  command_
      ->add_option("--save", options_.save,
                   "Save the model as PMML to this .pmml or .xml file, to score\n"
                   "other data with it, show it and compare it later")
      ->type_name("FILE")
      ->group(group);
  keepOption_ = command_
                    ->add_option("--keep", keep_,
                                 "Columns of the data to write beside predictions and\n"
                                 "diagnostics: names with commas between them, or all")
                    ->type_name("COLUMN,...")
                    ->group(group);
  command_
      ->add_flag("--strict", options_.strict,
                 "Exit with 3 when the estimation does not converge; all\n"
                 "output is written nevertheless")
      ->group(group);
  data_.AddSpoolDir(options_.spoolDir,
                    "Folder for the temporary file, which takes 8 bytes for\n"
                    "each value of a column of the model");
}

void FitArguments::AddRobust() {
  constexpr const char* group = "Estimation";
  command_
      ->add_option("--vcov", covariance_,
                   "Standard errors that do not rest on the model's variances:\n"
                   "hc0, hc1, hc2 or hc3; cluster:COLUMN for records that may\n"
                   "depend on each other where the column has one value")
      ->type_name("KIND")
      ->group(group);
}

void FitArguments::AddDiagnostics() {
  constexpr const char* group = "Output";
  command_
      ->add_option("--vcov-out", options_.covarianceFile,
                   "Write the covariance matrix of the estimates to this .csv,\n"
                   ".tsv or .parquet file")
      ->type_name("FILE")
      ->group(group);
  command_
      ->add_option("--diagnostics", options_.diagnostics,
                   "Write residuals, leverage and Cook's distance of each row\n"
                   "of the data to this .csv, .tsv or .parquet file")
      ->type_name("FILE")
      ->group(group);
  command_
      ->add_flag("--influential", options_.influential,
                 "Find the ten records of the largest Cook's distance")
      ->group(group);
}

CLI::Option* FitArguments::OfLogistic(CLI::Option* option) {
  logistic_.push_back(option->group("Logistic model"));
  return option;
}

void FitArguments::AddLevels() {
  OfLogistic(command_
                 ->add_option("--reference", options_.logistic.reference,
                              "Level of the dependent that the others are compared\n"
                              "with, first or last [the first of two, so that 1 is\n"
                              "compared with 0; the last of more]")
                 ->type_name("LEVEL"));
  CLI::Option* const inMemory = OfLogistic(command_->add_flag(
      "--in-memory", inMemory_, "Keep the records in memory [up to 128 MiB of values]"));
  OfLogistic(command_->add_flag("--no-in-memory", notInMemory_,
                                "Read the records again for each iteration"))
      ->excludes(inMemory);
  OfLogistic(command_->add_flag("--no-collapse", noCollapse_,
                                "Fit identical records one by one [once, with their\n"
                                "number, where fewer than half are distinct]"));
}

void FitArguments::AddIterations() {
  OfLogistic(
      command_->add_option("--max-iterations", options_.logistic.maxIterations, "Most iterations")
          ->type_name("N")
          ->capture_default_str());
  OfLogistic(command_
                 ->add_option("--max-step-halving", options_.logistic.maxStepHalving,
                              "How often an iteration may halve its step")
                 ->type_name("N")
                 ->capture_default_str());
  OfLogistic(command_
                 ->add_option("--separation-from", options_.logistic.separationFrom,
                              "Iteration from which separated levels are looked for;\n0 for never")
                 ->type_name("N")
                 ->capture_default_str());
}

void FitArguments::AddConvergence() {
  OfLogistic(command_
                 ->add_option("--parameter-criterion", options_.logistic.parameterCriterion,
                              "Converged when no estimate changes by a larger share;\n0 for off")
                 ->type_name("SHARE")
                 ->capture_default_str());
  OfLogistic(command_->add_flag("--absolute-parameter-criterion",
                                options_.logistic.absoluteParameter,
                                "That criterion is the sum of the changes, not a share"));
  OfLogistic(command_
                 ->add_option("--ll-criterion", options_.logistic.logLikelihoodCriterion,
                              "Converged when the log-likelihood changes by a smaller\n"
                              "share; 0 for off")
                 ->type_name("SHARE")
                 ->capture_default_str());
  OfLogistic(command_->add_flag("--absolute-ll-criterion", options_.logistic.absoluteLogLikelihood,
                                "That criterion is the change itself, not a share"));
}

}  // namespace qvhost
