#include "host/fit/HeldOutScores.h"

#include <algorithm>
#include <cmath>
#include <optional>

#include "host/fit/ModelBinding.h"
#include "host/fit/RecordParts.h"
#include "host/fit/ScaledEstimates.h"
#include "qvreg/common/Record.h"
#include "qvreg/design/QvFactorCounts.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {

namespace {

constexpr std::size_t kNone = static_cast<std::size_t>(-1);

/// For each code its place among `codes`.
std::vector<std::size_t> PlacesOf(const std::vector<int>& codes, std::size_t count) {
  std::vector<std::size_t> places(count, kNone);
  for (std::size_t place = 0; place < codes.size(); ++place) {
    places.at(static_cast<std::size_t>(codes[place])) = place;
  }
  return places;
}

/// What belongs to one thread.
struct Worker {
  explicit Worker(const FittedModel& model, int recordSize)
      : fit(RecordFit::Of(model)), record(recordSize) {}

  std::unique_ptr<RecordFit> fit;
  QvCommon::Record record;
  std::vector<ScoreEntry> entries;
  std::vector<double> probabilities;  ///< By the places of levels.
};

/// What all threads share. Borrows the scoring.
class Scorer {
 public:
  explicit Scorer(const HeldOutScoring& scoring)
      : scoring_(scoring),
        model_{.output = scoring.output,
               .scoring = scoring.scoring,
               .validator = scoring.validator,
               .freqWeight = scoring.freqWeight,
               .regressionWeight = scoring.regressionWeight},
        exponent_(ScaledEstimatesOf(scoring.output).dependentExponent) {
    const auto& columns = scoring.table.Columns();
    codes_ = columns[ModelBinding::kDependent].levels.size();
    places_ = PlacesOf(scoring.categories, codes_);
    for (int factor = 0; factor < scoring.factors; ++factor) {
      sizes_.push_back(columns[static_cast<std::size_t>(factor) + 1].levels.size());
    }
    const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&scoring.output);
    if (logistic == nullptr) return;
    for (const int code : logistic->GetDependCategories()) {
      fitted_.push_back(places_.at(static_cast<std::size_t>(code)));
    }
  }

  [[nodiscard]] Worker MakeWorker() const { return Worker(model_, scoring_.table.RecordSize()); }
  [[nodiscard]] HeldOutScores MakeScores() const {
    return {codes_, scoring_.categories.size(), sizes_};
  }

  void Add(const QvCommon::Record& record, Worker& worker, HeldOutScores& scores) const {
    if (scoring_.part >= 0 && !IsHeldOut(record[scoring_.part])) return;
    const auto count = scoring_.count < 0 ? 1LL : static_cast<long long>(record[scoring_.count]);
    scores.heldOut += count;
    QvCommon::QvStatus status;
    const QvRecordVerdict verdict = scoring_.validator.CheckRecord(record, status);
    if (verdict == QvRecordVerdict::kMissing) scores.missing += count;
    if (verdict == QvRecordVerdict::kBadWeight) scores.badWeight += count;
    if (verdict != QvRecordVerdict::kValid) return;
    if (!IsCategoryKnown(record)) {
      scores.unknown[static_cast<std::size_t>(record[ModelBinding::kDependent])] += count;
      return;
    }
    // Held out, it would count as one without a level.
    worker.record = record;
    if (scoring_.part >= 0) worker.record[scoring_.part] = 0.0;
    if (!worker.fit->Read(worker.record) || !AddErrors(worker, scores)) {
      AddUnscorable(record, count, scores);
      return;
    }
    scores.scored += count;
    scores.weight.Add(worker.fit->FreqWeight());
  }

  /// Hands the probabilities that wait to the sorters.
  void Flush(Worker& worker) const {
    for (ScoreSorter* sorter : scoring_.sorters) sorter->Add(worker.entries);
    worker.entries.clear();
  }

 private:
  [[nodiscard]] bool IsCategoryKnown(const QvCommon::Record& record) const {
    if (fitted_.empty()) return true;
    const auto code = static_cast<std::size_t>(record[ModelBinding::kDependent]);
    return std::ranges::find(fitted_, places_.at(code)) != fitted_.end() &&
           places_.at(code) != kNone;
  }

  bool AddErrors(Worker& worker, HeldOutScores& scores) const {
    if (fitted_.empty()) {
      return AddLinear(dynamic_cast<LinearRecordFit&>(*worker.fit), worker.record, scores);
    }
    return AddLogistic(dynamic_cast<LogisticRecordFit&>(*worker.fit), worker, scores);
  }

  bool AddLinear(const LinearRecordFit& fit, const QvCommon::Record& record,
                 HeldOutScores& scores) const {
    const double error = std::ldexp(fit.Residual(), exponent_);
    if (!std::isfinite(error)) return false;
    const double weight = fit.FreqWeight() * fit.RegressionWeight();
    scores.squares.Add(weight * error * error);
    scores.sizes.Add(fit.FreqWeight() * std::sqrt(fit.RegressionWeight()) * std::abs(error));
    scores.dependent.Add(record[ModelBinding::kDependent], weight);
    return true;
  }

  bool AddLogistic(const LogisticRecordFit& fit, Worker& worker, HeldOutScores& scores) const {
    const std::vector<double>& fitted = fit.Probabilities();
    const auto isNumber = [](double p) { return std::isfinite(p); };
    if (!std::ranges::all_of(fitted, isNumber)) return false;
    // A level that the fit has not seen has no probability.
    worker.probabilities.assign(scoring_.categories.size(), 0.0);
    for (std::size_t i = 0; i < fitted_.size(); ++i) {
      if (fitted_[i] != kNone) worker.probabilities[fitted_[i]] = fitted[i];
    }
    const auto own = places_[static_cast<std::size_t>(worker.record[ModelBinding::kDependent])];
    const double count = fit.FreqWeight();
    const double weight = count * fit.RegressionWeight();
    scores.lossWeight.Add(weight);
    scores.loss.Add(-weight * fit.LogProbability());
    scores.brier.Add(weight * BrierScore(worker.probabilities, own));
    scores.classification[own][places_[static_cast<std::size_t>(fit.Predicted())]] += count;
    if (scoring_.sorters.empty()) return true;
    for (const std::size_t level : scoring_.ranked) {
      worker.entries.push_back({static_cast<double>(level), worker.probabilities[level],
                                static_cast<double>(own), count});
    }
    constexpr std::size_t kMostWaiting = 4096;
    if (worker.entries.size() >= kMostWaiting) Flush(worker);
    return true;
  }

  /// Of two levels that of the first, of more the sum over all.
  static double BrierScore(const std::vector<double>& probabilities, std::size_t own) {
    double sum = 0.0;
    for (std::size_t level = 0; level < probabilities.size(); ++level) {
      const double error = probabilities[level] - (level == own ? 1.0 : 0.0);
      sum += error * error;
      if (probabilities.size() == 2) break;
    }
    return sum;
  }

  void AddUnscorable(const QvCommon::Record& record, long long count, HeldOutScores& scores) const {
    scores.unscorable += count;
    bool isUnseen = false;
    for (int factor = 0; factor < scoring_.factors; ++factor) {
      const auto place = static_cast<std::size_t>(factor);
      const auto code = static_cast<std::size_t>(record[factor + ModelBinding::kDependent + 1]);
      if (scoring_.output.GetFactorCounts().GetCountsPtr(factor)->at(code).first > 0.0) continue;
      isUnseen = true;
      scores.unseen[place] += count;
      scores.unseenLevels[place][code] = true;
    }
    if (!isUnseen) scores.unseenCombinations += count;
  }

  const HeldOutScoring& scoring_;
  const FittedModel model_;
  const int exponent_;
  std::size_t codes_ = 0;
  std::vector<std::size_t> sizes_;   ///< Of factors.
  std::vector<std::size_t> places_;  ///< Of levels, by codes.
  std::vector<std::size_t> fitted_;  ///< Places of the levels of the scores, in their order.
};

/// Those of a part of the table.
class PartScores {
 public:
  PartScores(const Scorer& scorer, Worker& worker)
      : scorer_(scorer), worker_(worker), scores_(scorer.MakeScores()) {}

  bool Add(const QvCommon::Record& record, std::int64_t /*number*/) {
    scorer_.Add(record, worker_, scores_);
    return true;
  }
  void EndPart() { scorer_.Flush(worker_); }
  void Merge(const PartScores& next) { scores_.Merge(next.scores_); }

  [[nodiscard]] const HeldOutScores& Scores() const { return scores_; }

 private:
  const Scorer& scorer_;
  Worker& worker_;
  HeldOutScores scores_;
};

}  // namespace

void WeightedMoments::Merge(const WeightedMoments& next) {
  const double total = weight_ + next.weight_;
  if (!(next.weight_ > 0.0)) return;
  const double distance = next.mean_ - mean_;
  squares_ += next.squares_ + distance * distance * (weight_ * (next.weight_ / total));
  mean_ += distance * (next.weight_ / total);
  weight_ = total;
}

HeldOutScores::HeldOutScores(std::size_t codes, std::size_t levels,
                             const std::vector<std::size_t>& factorSizes)
    : unseen(factorSizes.size()),
      unknown(codes),
      classification(levels, std::vector<double>(levels)) {
  for (const std::size_t size : factorSizes) unseenLevels.emplace_back(size);
}

void HeldOutScores::Merge(const HeldOutScores& next) {
  heldOut += next.heldOut;
  missing += next.missing;
  badWeight += next.badWeight;
  unscorable += next.unscorable;
  unseenCombinations += next.unseenCombinations;
  for (std::size_t i = 0; i < unseen.size(); ++i) {
    unseen[i] += next.unseen[i];
    for (std::size_t code = 0; code < unseenLevels[i].size(); ++code) {
      if (next.unseenLevels[i][code]) unseenLevels[i][code] = true;
    }
  }
  for (std::size_t i = 0; i < unknown.size(); ++i) unknown[i] += next.unknown[i];
  scored += next.scored;
  weight.Add(next.weight);
  squares.Add(next.squares);
  sizes.Add(next.sizes);
  dependent.Merge(next.dependent);
  lossWeight.Add(next.lossWeight);
  loss.Add(next.loss);
  brier.Add(next.brier);
  for (std::size_t i = 0; i < classification.size(); ++i) {
    for (std::size_t j = 0; j < classification.size(); ++j) {
      classification[i][j] += next.classification[i][j];
    }
  }
}

std::unique_ptr<HeldOutScores> ScoreHeldOut(const HeldOutScoring& scoring, int parts,
                                            const WalkOptions& walk) {
  const Scorer scorer(scoring);
  std::vector<Worker> workers;
  while (static_cast<int>(workers.size()) < walk.threads) workers.push_back(scorer.MakeWorker());
  const auto scores = WalkRecords<PartScores>(scoring.table, parts, walk, [&](int, int worker) {
    return std::make_unique<PartScores>(scorer, workers[static_cast<std::size_t>(worker)]);
  });
  return std::make_unique<HeldOutScores>(scores->Scores());
}

}  // namespace qvhost
