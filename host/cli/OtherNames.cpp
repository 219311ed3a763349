#include "host/cli/OtherNames.h"

#include <array>

namespace qvhost {

namespace {

constexpr std::string_view kWeightHint =
    "--freq-weight COLUMN says how many records each stands for, --regression-weight COLUMN how "
    "precise each is, as the weights of lm in R do";
constexpr std::string_view kNewDataHint =
    "--save FILE saves the model, with which 'qvreg score' predicts any rows; or give new rows "
    "without the dependent as a second --data, and --predictions FILE has them, too";
constexpr std::string_view kFoldsHint = "--folds N fits all but each of N parts of the rows";
constexpr std::string_view kOutputHint =
    "--predictions FILE writes what the model predicts, --json FILE the fit, --save FILE the model";
constexpr std::string_view kSaveHint =
    "--save FILE saves the model as PMML, --json FILE writes the fit alone";
constexpr std::string_view kConfidenceHint = "--confidence LEVEL sets that of the limits";

constexpr std::string_view kScoresHint = "--out FILE names the file for the scores";
constexpr std::string_view kDataHint = "--data FILE names the data";

constexpr std::string_view kReportHint =
    "--report FILE.html writes a page with tables and plots for a browser";
constexpr std::string_view kMarginsHint = "--margins computes average marginal effects";

constexpr auto kOtherNames = std::to_array<OtherName>({
    {"output", kOutputHint},
    {"out", kOutputHint},
    {"model-out", kSaveHint},
    {"save-model", kSaveHint},
    {"model-file", kSaveHint},
    {"export", kSaveHint},
    {"pmml", kSaveHint},
    {"dump", kSaveHint},
    {"pickle", kSaveHint},
    {"output", kScoresHint},
    {"predictions", kScoresHint},
    {"formula", "--model FILE names the model, whose formula is in it"},
    {"input", kDataHint},
    {"file", kDataHint},
    {"csv", kDataHint},
    {"family", "for binomial write --model logistic, for gaussian --model linear"},
    {"link", "--model logistic has the logit link, --model linear none"},
    {"weight", kWeightHint},
    {"weights", kWeightHint},
    {"subset", "--where CONDITION chooses rows"},
    {"newdata", kNewDataHint},
    {"new-data", kNewDataHint},
    {"new_data", kNewDataHint},
    {"newdata", kDataHint},
    {"new-data", kDataHint},
    {"new_data", kDataHint},
    {"test", kNewDataHint},
    {"contrasts", "--base FACTOR=LEVEL chooses the level that the others are compared with"},
    {"predict", kNewDataHint},
    {"predict-on", kNewDataHint},
    {"pred", kNewDataHint},
    {"score", kNewDataHint},
    {"cv", kFoldsHint},
    {"kfold", kFoldsHint},
    {"k-fold", kFoldsHint},
    {"k-folds", kFoldsHint},
    {"nfolds", kFoldsHint},
    {"cross-validation", kFoldsHint},
    {"crossval", kFoldsHint},
    {"test-size", "--holdout SHARE holds that share of the rows out"},
    {"train-size", "--holdout SHARE holds the rest of the rows out"},
    {"random-state", "--seed N draws the lots of --holdout and --folds"},
    {"level", kConfidenceHint},
    {"conf.level", kConfidenceHint},
    {"conf-level", kConfidenceHint},
    {"conf_level", kConfidenceHint},
    {"alpha", "--confidence LEVEL sets that of the limits, 0.95 for an alpha of 0.05"},
    {"na.strings", "--na STRING names a text that is a missing value, again for each"},
    {"na-strings", "--na STRING names a text that is a missing value, again for each"},
    {"na_values", "--na STRING names a text that is a missing value, again for each"},
    {"maxit", "--max-iterations N sets the most iterations of a logistic model"},
    {"maxiter", "--max-iterations N sets the most iterations of a logistic model"},
    {"nrows", "--sql \"SELECT * FROM data LIMIT 1000\" takes the first 1000 rows of --data"},
    {"sep", "--delim CHARACTER names what separates columns"},
    {"separator", "--delim CHARACTER names what separates columns"},
    {"mfx", kMarginsHint},
    {"ame", kMarginsHint},
    {"margeff", kMarginsHint},
    {"marginal-effects", kMarginsHint},
    {"marginal_effects", kMarginsHint},
    {"html", kReportHint},
    {"plot", kReportHint},
    {"plots", kReportHint},
    {"figures", kReportHint},
    {"filter", "--where CONDITION chooses rows"},
});

}  // namespace

std::span<const OtherName> OtherNames() { return kOtherNames; }

}  // namespace qvhost
