#include "host/fit/Continuation.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "host/fit/ModelBinding.h"
#include "host/fit/RecordFit.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/parallel/QvScorer.h"
#include "qvreg/parallel/QvThreadRunner.h"

namespace qvhost {

namespace {

// A decrease of log odds in an iteration up to this is due to rounding.
constexpr double kSettled = 1e-6;
// Log odds that increase by more keep growing.
constexpr double kGrowing = 0.1;
constexpr double kCertainty = 0.99;
// Enough for separation to show after the library suspected it, at little cost.
constexpr int kIterationsPerBuild = 10;

/// Compares one record after the other with the direction. Borrows all that it is made of.
class SeparationTest {
 public:
  SeparationTest(const QvLogOutputStats& output, QvScorer& scorer,
                 const std::vector<double>& direction)
      : output_(output),
        scorer_(scorer),
        direction_(direction),
        categories_(output.GetDependCategories()),
        blockSize_(direction.size() / (categories_.size() - 1)),
        changes_(categories_.size()),
        predictors_(categories_.size()) {}

  /// False when the record contradicts separation.
  bool Add(const QvCommon::Record& record, std::int64_t /*number*/) {
    isContradicted_ = isContradicted_ || !Accepts(record);
    return !isContradicted_;
  }
  void EndPart() {}
  void Merge(const SeparationTest& next) {
    isContradicted_ = isContradicted_ || next.isContradicted_;
    isGrowing_ = isGrowing_ || next.isGrowing_;
    isCertain_ = isCertain_ && next.isCertain_;
  }

  [[nodiscard]] Separation Result() const {
    if (isContradicted_ || !isGrowing_) return Separation::kNone;
    return isCertain_ ? Separation::kComplete : Separation::kQuasiComplete;
  }

 private:
  bool Accepts(const QvCommon::Record& record) {
    QvCommon::QvStatus status;
    if (!output_.GetRecordValidator().IsValidRecord(record, status)) return true;
    if (!scorer_.ExpandRow(record, indices_, values_)) return true;
    for (std::size_t j = 0; j + 1 < categories_.size(); ++j) {
      changes_[j] = Predictor(direction_, j);
      predictors_[j] = Predictor(output_.GetParamEstimates(), j);
    }
    const auto code = static_cast<int>(record[ModelBinding::kDependent]);
    const auto own =
        static_cast<std::size_t>(std::ranges::find(categories_, code) - categories_.begin());
    isCertain_ = isCertain_ && Probability(own) >= kCertainty;
    return MovesTowards(own);
  }

  /// Of the category at this place; that of the reference is 0.
  [[nodiscard]] double Predictor(const std::vector<double>& parameters, std::size_t place) const {
    double sum = 0.0;
    for (std::size_t i = 0; i < indices_.size(); ++i) {
      if (indices_[i] < 0) continue;
      sum += values_[i] * parameters[place * blockSize_ + static_cast<std::size_t>(indices_[i])];
    }
    return sum;
  }

  [[nodiscard]] double Probability(std::size_t own) const {
    double odds = 0.0;
    for (const double predictor : predictors_) odds += std::exp(predictor - predictors_[own]);
    return 1.0 / odds;
  }

  bool MovesTowards(std::size_t own) {
    for (const double other : changes_) {
      const double change = changes_[own] - other;
      // NaN is no evidence.
      if (!(change >= -kSettled)) return false;
      isGrowing_ = isGrowing_ || change > kGrowing;
    }
    return true;
  }

  const QvLogOutputStats& output_;
  QvScorer& scorer_;
  const std::vector<double>& direction_;
  const std::vector<int>& categories_;
  std::size_t blockSize_;
  std::vector<int> indices_;
  std::vector<double> values_;
  std::vector<double> changes_;     ///< Of the predictors, along the direction.
  std::vector<double> predictors_;  ///< By the estimates.
  bool isContradicted_ = false;
  bool isGrowing_ = false;
  bool isCertain_ = true;
};

void Require(bool accepted) {
  if (!accepted) throw std::bad_alloc();
}

bool AreFinite(const std::vector<double>& values) {
  return std::ranges::all_of(values, [](double value) { return std::isfinite(value); });
}

/// In the layout of all parameters, from that of those which are not redundant; empty from empty.
std::vector<double> Expand(const std::vector<double>& kept, const QvCommon::QvBitSet& indicators) {
  if (kept.empty()) return {};
  std::vector<double> all(static_cast<std::size_t>(indicators.Size()), 0.0);
  std::size_t next = 0;
  for (int i = 0; i < indicators.Size(); ++i) {
    if (indicators.IsIn(i)) all[static_cast<std::size_t>(i)] = kept.at(next++);
  }
  return all;
}

}  // namespace

Separation CheckSeparation(const CodedTable& table, IQvRegComponent& component,
                           const QvLogOutputStats& output, const std::vector<double>& direction,
                           const WalkOptions& walk) {
  const std::vector<unsigned char> bytes = ScoringBytesOf(component);
  std::vector<QvScorer> scorers(static_cast<std::size_t>(walk.threads));
  for (QvScorer& scorer : scorers) OpenScorer(bytes, scorer);
  const int parts = QvPartCount(table.RecordCount(), component.GetCompSettings());
  return WalkRecords<SeparationTest>(table, parts, walk,
                                     [&](int, int worker) {
                                       return std::make_unique<SeparationTest>(
                                           output, scorers[static_cast<std::size_t>(worker)],
                                           direction);
                                     })
      ->Result();
}

Continuation::Continuation(QvLogRegSettings& settings, const CodedTable& table,
                           IterationHistory& history, WalkOptions walk)
    : settings_(settings),
      table_(table),
      history_(history),
      walk_(std::move(walk)),
      maxIterations_(settings.GetMaxIterations()),
      checksSeparation_(settings.GetStartingIteration() > 0),
      logLikelihoodCriterion_(settings.GetLLConCriterion()) {}

bool Continuation::IsHalvedToSettle(const QvLogOutputStats& output) const {
  const auto isWithin = [this](double change, double criterion) {
    return std::ldexp(change, history_.Halvings()) <= criterion;
  };
  if (history_.Halvings() == 0) return false;
  switch (output.GetOutcome()) {
    case kOptParamConverged:
    case kOptBothConverged:
      return !isWithin(output.GetParameterChange(), settings_.GetParamEstConCriterion());
    case kOptLLConverged:
      return !isWithin(output.GetLLChange(), settings_.GetLLConCriterion());
    default:
      return false;
  }
}

void Continuation::Count(const QvLogOutputStats& output) {
  ++builds_;
  ending_.outcome = IsHalvedToSettle(output) ? kOptStepHalvingFailed : output.GetOutcome();
  ending_.iterations += output.GetIterations();
  ending_.stepHalvings += output.GetStepHalvings();
}

bool Continuation::IsSeparated(IQvRegComponent& component, const QvLogOutputStats& output) {
  if (!checksSeparation_) return false;
  const QvCommon::QvBitSet& kept = output.GetRedundancyIndicators();
  for (const IterationHistory::Candidate& candidate : history_.Candidates()) {
    const Separation found =
        CheckSeparation(table_, component, output, Expand(candidate.step, kept), walk_);
    if (found == Separation::kNone) continue;
    ending_.outcome = found == Separation::kComplete ? kOptCompleteSeparation : kOptQuasiSeparation;
    ending_.growth = Expand(candidate.growth, kept);
    return true;
  }
  history_.ClearCandidates();
  return false;
}

bool Continuation::IsStuck(const QvLogOutputStats& output) const {
  // From the same estimates the same step is taken, and no more halvings are allowed.
  if (ending_.outcome == kOptStepHalvingFailed) return true;
  if (ending_.outcome != kOptHessianSingular || builds_ < 2) return false;
  return history_.IsNegligible(output.GetFinalLL() - logLikelihoodBefore_);
}

void Continuation::PrepareBuild(const QvLogOutputStats& output) {
  logLikelihoodBefore_ = output.GetFinalLL();
  Require(settings_.SetStartingValues(output.GetParamEstimates()));
  Require(settings_.SetStartingIteration(0));
  Require(settings_.SetMaxIterations(
      std::min(maxIterations_ - ending_.iterations, kIterationsPerBuild)));
  // A log-likelihood that changes little is no maximum as long as estimates grow.
  Require(settings_.SetLLConCriterion(history_.IsGrowing() ? 0.0 : logLikelihoodCriterion_));
}

bool Continuation::IsNeededAfter(IQvRegComponent& component, const QvLogOutputStats& output) {
  Count(output);
  switch (ending_.outcome) {
    case kOptHessianSingular:
    case kOptStepHalvingFailed:
    case kOptMaxIterations:
    case kOptQuasiSeparation:
      break;
    case kOptCompleteSeparation:
      // Every record was predicted with certainty: the estimates themselves separate them.
      ending_.growth = Expand(history_.Growth(), output.GetRedundancyIndicators());
      return false;
    default:
      return false;
  }
  if (IsSeparated(component, output) || IsStuck(output)) return false;
  if (ending_.iterations >= maxIterations_) {
    if (ending_.outcome == kOptQuasiSeparation) ending_.outcome = kOptMaxIterations;
    return false;
  }
  // Estimates beyond the range of a double, which the report names, are no starting values.
  if (!AreFinite(output.GetParamEstimates())) return false;
  PrepareBuild(output);
  return true;
}

}  // namespace qvhost
