#include "host/fit/Validation.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>
#include <utility>

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/Threads.h"
#include "host/fit/DrawLogistic.h"
#include "host/fit/RecordParts.h"
#include "host/fit/RunSettings.h"
#include "host/inference/Inference.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/parallel/QvThreadRunner.h"

namespace qvhost {

namespace {

/// More probabilities than this are not sorted: 32 GB.
constexpr double kMostRanked = 1e9;

/// Whether the probabilities are those of the best estimates; those of separated levels are, too.
bool AreSettled(const ModelRun& run) {
  if (dynamic_cast<const QvLogOutputStats*>(&run.Output()) == nullptr) return true;
  const QvOptimizationOutcome outcome = run.Ending().outcome;
  return outcome == kOptLLConverged || outcome == kOptParamConverged ||
         outcome == kOptBothConverged || outcome == kOptNoIterations ||
         outcome == kOptQuasiSeparation || outcome == kOptCompleteSeparation;
}

using Number = std::optional<double> ValidationScore::*;

constexpr std::array<Number, 8> kNumbers = {
    &ValidationScore::rSquare, &ValidationScore::rmse,       &ValidationScore::meanAbsoluteError,
    &ValidationScore::logLoss, &ValidationScore::brier,      &ValidationScore::accuracy,
    &ValidationScore::auc,     &ValidationScore::aucWeighted};

/// Adds mean and standard deviation of each number over the folds that have it.
void AddMoments(ValidationResult& validation) {
  validation.mean.emplace();
  validation.standardDeviation.emplace();
  for (const Number number : kNumbers) {
    WeightedMoments moments;
    CompensatedSum sum;
    double count = 0.0;
    for (const FoldScore& fold : validation.folds) {
      const std::optional<double>& value = fold.score.*number;
      if (!value) continue;
      moments.Add(*value, 1.0);
      sum.Add(*value);
      count += 1.0;
    }
    if (count > 0.0) (*validation.mean).*number = sum.Value() / count;
    if (count > 1.0) {
      (*validation.standardDeviation).*number =
          Finite(std::sqrt(moments.Squares() / (count - 1.0)));
    }
  }
}

std::string Records(long long count) {
  return fmt::format("{} record{}", count, count == 1 ? "" : "s");
}

/// The weight of the records scored that have the level of this place.
double WeightOf(const HeldOutScores& scores, std::size_t place) {
  CompensatedSum weight;
  for (const double count : scores.classification[place]) weight.Add(count);
  return weight.Value();
}

/// Why records could not be scored: `in 3 'destination' has a level that ...`
std::string UnscorableText(const HeldOutUse& use) {
  std::vector<std::string> parts;
  for (const HeldOutUse::UnseenColumn& column : use.unseenColumns) {
    parts.push_back(fmt::format("in {} '{}' has a level that the records fitted lack ({})",
                                column.records, column.column, NameList(column.levels)));
  }
  if (use.unseenCombinations > 0) {
    parts.push_back(fmt::format("{} {} a combination of levels that the records fitted lack",
                                use.unseenCombinations,
                                use.unseenCombinations == 1 ? "has" : "have"));
  }
  return fmt::format("{}", fmt::join(parts, ", "));
}

/// Why what takes probabilities in order is left out.
std::string TooManyText(const char* from) {
  return fmt::format(
      "Areas under curves and the calibration are left out of {}: they would take more than {:.0f} "
      "million probabilities in order.",
      from, kMostRanked / 1e6);
}

std::string UnknownText(const HeldOutUse& use) {
  std::string text;
  for (const HeldOutUse::UnknownCategory& unknown : use.unknownCategories) {
    text +=
        fmt::format("{}'{}' in {}", text.empty() ? "" : ", ", unknown.category, unknown.records);
  }
  return text;
}

/// Why nothing can be said.
[[noreturn]] void RefuseUnscored(const HeldOutUse& use) {
  std::vector<std::string> reasons;
  if (use.missing > 0) reasons.push_back(fmt::format("in {} a value is missing", use.missing));
  if (use.badWeight > 0) {
    reasons.push_back(fmt::format("in {} a weight is missing or not above 0", use.badWeight));
  }
  if (!use.unknownCategories.empty()) {
    reasons.push_back("the records fitted lack the level of the dependent: " + UnknownText(use));
  }
  if (use.unscorable > 0) reasons.push_back(UnscorableText(use));
  throw Error(ExitCode::kRunFailed,
              fmt::format("{} held out can be scored: {}. Hold others out.",
                          use.heldOut == 1 ? "Not even the one record"
                                           : fmt::format("None of the {} records", use.heldOut),
                          fmt::join(reasons, "; ")));
}

}  // namespace

void Validation::Begin() {
  if (!options_.binding.validation.IsTrainingOnly()) return;
  AssignParts(table_, binding_, options_.binding.validation,
              {.interrupt = interrupt_, .threads = QvThreadCount(options_.threads)});
}

void Validation::SettleLevels(const ModelRun& run) {
  const std::vector<QvRegrParameter>& parameters = run.Output().GetParameters();
  hasIntercept_ = !parameters.empty() && parameters.front().IsIntercept();
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&run.Output());
  if (logistic == nullptr) return;
  categories_ = logistic->GetDependCategories();
  ranked_.resize(categories_.size() == 2 ? 1 : categories_.size());
  std::iota(ranked_.begin(), ranked_.end(), std::size_t{0});
}

bool Validation::IsRanked(const CodedTable& source) const {
  const auto levels = static_cast<double>(ranked_.size());
  return !ranked_.empty() && static_cast<double>(source.RecordCount()) * levels <= kMostRanked;
}

std::unique_ptr<HeldOutScores> Validation::ScoreBy(const Fold& fold) const {
  const CodedTable& source = fold.grouped != nullptr ? fold.grouped->table : table_;
  const QvRegSettings& settings = fold.run.Component().GetCompSettings();
  const std::vector<unsigned char> bytes = ScoringBytesOf(fold.run.Component());
  const QvRegRecordValidator validator = ValidatorOf(settings, binding_.part);
  return ScoreHeldOut(
      {.table = source,
       .output = fold.run.Output(),
       .scoring = bytes,
       .validator = validator,
       .part = binding_.part,
       .freqWeight = fold.grouped != nullptr ? fold.grouped->freqWeight : binding_.freqWeight,
       .regressionWeight = binding_.regressionWeight,
       .count = fold.grouped != nullptr ? fold.grouped->count : -1,
       .factors = binding_.factorCount,
       .categories = categories_,
       .ranked = ranked_,
       .sorters = fold.sorters},
      QvPartCount(source.RecordCount(), settings),
      {.interrupt = interrupt_,
       .threads = QvThreadCount(options_.threads),
       .progress = ShowShare("scoring", source.RecordCount(), progress_)});
}

void Validation::Score(const ModelRun& run, const GroupedRecords* grouped) {
  if (!options_.binding.validation.IsTrainingOnly()) return;
  SettleLevels(run);
  isRanked_ = IsRanked(grouped != nullptr ? grouped->table : table_);
  if (isRanked_) sorter_.emplace(options_.spoolDir);
  heldOut_ =
      ScoreBy({run, grouped, isRanked_ ? std::vector{&*sorter_} : std::vector<ScoreSorter*>()});
  if (heldOut_->scored == 0) RefuseUnscored(UseOf(*heldOut_));
}

std::optional<ScoreRanking> Validation::Rank(ScoreSorter& sorter, const HeldOutScores& scores,
                                             const std::vector<std::size_t>& drawn) const {
  std::optional<ScoreRanking> ranking(std::in_place, categories_.size(), scores.weight.Value());
  for (const std::size_t place : drawn) ranking->KeepCurve(place, WeightOf(scores, place));
  long long seen = 0;
  constexpr long long kBetweenLooks = 1 << 16;
  sorter.Visit([&](const ScoreEntry& entry) {
    if (++seen % kBetweenLooks == 0 && interrupt_.Requested()) throw Cancelled();
    ranking->Add(entry);
  });
  ranking->End();
  return ranking;
}

ValidationScore Validation::ScoreOf(const HeldOutScores& scores,
                                    const ScoreRanking* ranking) const {
  ValidationScore score;
  score.records = scores.scored;
  score.weight = scores.weight.Value();
  if (scores.scored == 0) return score;
  if (binding_.kind == ModelKind::kLinear) {
    const double squares = scores.squares.Value();
    const double total =
        hasIntercept_ ? scores.dependent.Squares() : scores.dependent.SquaresFromZero();
    if (total > 0.0) score.rSquare = Finite(1.0 - squares / total);
    score.rmse = Finite(std::sqrt(squares / score.weight));
    score.meanAbsoluteError = Finite(scores.sizes.Value() / score.weight);
    return score;
  }
  score.logLoss = Finite(scores.loss.Value() / scores.lossWeight.Value());
  score.brier = Finite(scores.brier.Value() / scores.lossWeight.Value());
  double correct = 0.0;
  for (std::size_t i = 0; i < scores.classification.size(); ++i) {
    correct += scores.classification[i][i];
  }
  score.accuracy = Finite(correct / score.weight);
  if (ranking == nullptr) return score;
  const bool areTwo = categories_.size() == 2;
  score.auc = areTwo ? ranking->Auc(0) : ranking->MeanAuc();
  score.aucWeighted = areTwo ? score.auc : ranking->WeightedAuc();
  return score;
}

const std::string& Validation::LevelText(std::size_t place) const {
  const auto code = static_cast<std::size_t>(categories_[place]);
  return table_.Columns()[ModelBinding::kDependent].levels.at(code);
}

void Validation::AddLevels(const HeldOutScores& scores, const ScoreRanking* ranking,
                           ValidationResult& validation) const {
  validation.classification = scores.classification;
  const bool areTwo = categories_.size() == 2;
  for (std::size_t place = 0; place < categories_.size(); ++place) {
    ValidationLevel& level = validation.levels.emplace_back();
    level.level = LevelText(place);
    level.weight = WeightOf(scores, place);
    if (ranking == nullptr) continue;
    level.auc = ranking->Auc(areTwo ? 0 : place);
    if (areTwo && place == 1) continue;
    AddCalibration(*ranking, place, level.level, validation.calibration);
  }
}

HeldOutUse Validation::UseOf(const HeldOutScores& scores) const {
  HeldOutUse use{.heldOut = scores.heldOut,
                 .missing = scores.missing,
                 .badWeight = scores.badWeight,
                 .unscorable = scores.unscorable,
                 .unseenCombinations = scores.unseenCombinations};
  const std::vector<CodedColumn>& columns = table_.Columns();
  for (std::size_t factor = 0; factor < scores.unseen.size(); ++factor) {
    if (scores.unseen[factor] == 0) continue;
    const CodedColumn& column = columns[factor + ModelBinding::kDependent + 1];
    HeldOutUse::UnseenColumn& unseen = use.unseenColumns.emplace_back();
    unseen.column = column.label;
    unseen.records = scores.unseen[factor];
    for (std::size_t code = 0; code < column.levels.size(); ++code) {
      if (scores.unseenLevels[factor][code]) unseen.levels.push_back(column.levels[code]);
    }
  }
  for (std::size_t code = 0; code < scores.unknown.size(); ++code) {
    if (scores.unknown[code] == 0) continue;
    use.unknownCategories.push_back(
        {columns[ModelBinding::kDependent].levels[code], scores.unknown[code]});
  }
  return use;
}

void Validation::AddNotes(const ValidationResult& validation,
                          std::vector<std::string>& notes) const {
  const HeldOutUse& use = validation.use;
  if (use.unscorable > 0) {
    notes.push_back(fmt::format(
        "{} held out cannot be scored and {} left out of the validation: {}.",
        Records(use.unscorable), use.unscorable == 1 ? "is" : "are", UnscorableText(use)));
  }
  if (!use.unknownCategories.empty()) {
    notes.push_back(
        fmt::format("The records fitted lack levels of the dependent that records held out have; "
                    "these are left out of the validation: {}.",
                    UnknownText(use)));
  }
  if (categories_.empty()) return;
  if (!validation.score.logLoss) {
    notes.emplace_back(
        "The log-loss of the validation is infinite: the level of a record held out has the "
        "probability 0.");
  }
  if (!isRanked_) {
    notes.push_back(TooManyText("the validation"));
  }
}

void Validation::FitFold(int number, const GroupedRecords* grouped, ScoreSorter* all,
                         ValidationResult& validation, std::vector<int>& unsettled) {
  ModelBinding binding = binding_;
  binding.partCount = options_.binding.validation.folds;
  // A level that is the user's reference may be missing here; probabilities do not depend on it.
  FitOptions options = options_;
  options.logistic.reference.clear();
  RunSettings settings(formula_, binding, table_, options);
  if (grouped != nullptr) settings.UseGroups(*grouped, options.logistic);
  ModelRun run(settings.Get(), grouped != nullptr ? grouped->table : table_, options.threads,
               progress_, interrupt_);
  try {
    run.Build();
  } catch (const Cancelled&) {
    throw;
  } catch (const Error& error) {
    throw Error(error.Code(),
                fmt::format("Without the records of fold {} of {} there is no fit: {} Choose fewer "
                            "folds, or another --seed.",
                            number + 1, binding.partCount, error.what()));
  }
  if (!AreSettled(run)) unsettled.push_back(number + 1);
  ScoreSorter own(options_.spoolDir);
  const std::unique_ptr<HeldOutScores> scores =
      ScoreBy({run, grouped, isRanked_ ? std::vector{all, &own} : std::vector<ScoreSorter*>()});
  const std::optional<ScoreRanking> ranking = isRanked_ ? Rank(own, *scores, {}) : std::nullopt;
  FoldScore& fold = validation.folds.emplace_back();
  fold.training = run.Records().used;
  fold.heldOut = scores->heldOut;
  fold.score = ScoreOf(*scores, ranking ? &*ranking : nullptr);
  if (heldOut_) {
    heldOut_->Merge(*scores);
  } else {
    heldOut_ = std::make_unique<HeldOutScores>(*scores);
  }
}

void Validation::FitFolds(ValidationResult& validation, std::vector<std::string>& notes) {
  const PartChange change{.interrupt = interrupt_, .threads = QvThreadCount(options_.threads)};
  AssignParts(table_, binding_, options_.binding.validation, change);
  std::optional<GroupedRecords> grouped =
      GroupForFit(table_, binding_, options_, progress_, interrupt_);
  CodedTable& source = grouped ? grouped->table : table_;
  isRanked_ = IsRanked(source);
  sorter_.emplace(options_.spoolDir);
  std::vector<int> unsettled;
  for (int fold = 0; fold < options_.binding.validation.folds; ++fold) {
    progress_.SetTask(fmt::format("fold {} of {}", fold + 1, options_.binding.validation.folds));
    HoldOut(source, binding_, fold, change);
    FitFold(fold, grouped ? &*grouped : nullptr, &*sorter_, validation, unsettled);
  }
  progress_.SetTask({});
  validation.training =
      std::ranges::min_element(validation.folds, {}, &FoldScore::training)->training;
  AddMoments(validation);
  AddFoldNotes(validation, unsettled, notes);
}

void Validation::AddFoldNotes(const ValidationResult& validation, const std::vector<int>& unsettled,
                              std::vector<std::string>& notes) const {
  std::vector<int> empty;
  bool hasSingle = false;
  for (std::size_t i = 0; i < validation.folds.size(); ++i) {
    if (validation.folds[i].score.records == 0) empty.push_back(static_cast<int>(i) + 1);
    hasSingle = hasSingle || validation.folds[i].score.records == 1;
  }
  if (!empty.empty()) {
    notes.push_back(
        fmt::format("No record of fold {} can be scored: the mean over folds and their standard "
                    "deviation are without {}.",
                    fmt::join(empty, ", "), empty.size() == 1 ? "it" : "them"));
  }
  if (hasSingle) {
    notes.push_back(fmt::format("Folds of one record have no {} of their own, {} over all folds.",
                                categories_.empty() ? "R square" : "area under a curve",
                                "only that"));
  }
  if (unsettled.empty()) return;
  notes.push_back(fmt::format(
      "The estimation did not converge without fold {}: what it predicts for the fold is rough.",
      fmt::join(unsettled, ", ")));
}

void Validation::DrawFitted(const ModelRun& run, const GroupedRecords* grouped, FitResult& result) {
  if (!result.plots || !result.plots->logistic) return;
  SettleLevels(run);
  ranked_ = DrawnLevels(result.logistic->levels);
  if (!IsRanked(grouped != nullptr ? grouped->table : table_)) {
    result.warnings.push_back(TooManyText("the report"));
    return;
  }
  ScoreSorter sorter(options_.spoolDir);
  const std::unique_ptr<HeldOutScores> scores = ScoreBy({run, grouped, {&sorter}});
  DrawLevels(*Rank(sorter, *scores, ranked_), ranked_, result.logistic->levels,
             *result.plots->logistic);
}

void Validation::Finish(const ModelRun& run, const GroupedRecords* grouped, FitResult& result) {
  if (IsOf(ValidationKind::kNone)) return DrawFitted(run, grouped, result);
  ValidationResult validation;
  validation.options = options_.binding.validation;
  validation.training = result.records.used;
  if (IsOf(ValidationKind::kFolds)) {
    SettleLevels(run);
    FitFolds(validation, result.warnings);
  }
  validation.use = UseOf(*heldOut_);
  LogisticPlots* const plots =
      result.plots && result.plots->logistic ? &*result.plots->logistic : nullptr;
  const std::vector<std::size_t> drawn =
      plots != nullptr ? DrawnLevels(result.logistic->levels) : std::vector<std::size_t>();
  const std::optional<ScoreRanking> ranking =
      isRanked_ ? Rank(*sorter_, *heldOut_, drawn) : std::nullopt;
  if (plots != nullptr) plots->heldOut = true;
  if (plots != nullptr && ranking) DrawLevels(*ranking, drawn, result.logistic->levels, *plots);
  validation.score = ScoreOf(*heldOut_, ranking ? &*ranking : nullptr);
  if (binding_.kind == ModelKind::kLogistic) {
    AddLevels(*heldOut_, ranking ? &*ranking : nullptr, validation);
  }
  AddNotes(validation, result.warnings);
  result.validation = std::move(validation);
}

}  // namespace qvhost
