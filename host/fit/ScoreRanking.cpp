#include "host/fit/ScoreRanking.h"

#include <algorithm>

namespace qvhost {

ScoreRanking::ScoreRanking(std::size_t levels, double total) : total_(total), sums_(levels) {
  for (LevelSums& sums : sums_) {
    sums.weights.resize(levels);
    sums.above.resize(levels);
  }
}

void ScoreRanking::KeepCurve(std::size_t level, double having) {
  const double others = total_ - having;
  if (having > 0.0 && others > 0.0) sums_[level].curve.emplace(having, others);
}

void ScoreRanking::Add(const ScoreEntry& entry) {
  if (entry.level != tie_.level || entry.score != tie_.score) {
    EndTie();
    if (entry.level != tie_.level) before_ = {};
    tie_ = entry;
  }
  const auto own = static_cast<std::size_t>(entry.own);
  if (tied_.empty() || tied_.back().first != own) tied_.emplace_back(own, 0.0);
  tied_.back().second += entry.weight;
}

void ScoreRanking::EndTie() {
  if (tied_.empty()) return;
  const auto level = static_cast<std::size_t>(tie_.level);
  LevelSums& sums = sums_[level];
  double weight = 0.0;
  double having = 0.0;
  for (const auto& [own, share] : tied_) {
    weight += share;
    if (own == level) having = share;
  }
  const double below = sums.weights[level].Value() + having / 2.0;
  for (const auto& [own, share] : tied_) {
    if (own != level) sums.above[own].Add(share * below);
    sums.weights[own].Add(share);
  }
  const double middle = (before_.Value() + weight / 2.0) / total_;
  const auto tenth = static_cast<std::size_t>(middle * static_cast<double>(kGroups));
  Group& group = sums.groups.at(std::min(tenth, kGroups - 1));
  group.weight.Add(weight);
  group.predicted.Add(weight * tie_.score);
  group.observed.Add(having);
  before_.Add(weight);
  tied_.clear();
  if (!sums.curve) return;
  const double with = sums.weights[level].Value();
  sums.curve->Add(with, before_.Value() - with);
}

void ScoreRanking::End() { EndTie(); }

std::vector<RocCurve::Point> ScoreRanking::CurveOf(std::size_t level) const {
  const std::optional<RocPoints>& curve = sums_[level].curve;
  if (!curve || !Auc(level)) return {};
  return curve->Thinned(RocCurve::kMostPoints);
}

std::optional<double> ScoreRanking::Auc(std::size_t i, std::size_t j) const {
  const LevelSums& sums = sums_[i];
  const double pairs = sums.weights[i].Value() * sums.weights[j].Value();
  if (!(pairs > 0.0)) return std::nullopt;
  return std::clamp(1.0 - sums.above[j].Value() / pairs, 0.0, 1.0);
}

std::optional<double> ScoreRanking::Auc(std::size_t level) const {
  const LevelSums& sums = sums_[level];
  CompensatedSum others;
  CompensatedSum above;
  for (std::size_t j = 0; j < sums_.size(); ++j) {
    if (j == level) continue;
    others.Add(sums.weights[j]);
    above.Add(sums.above[j]);
  }
  const double pairs = sums.weights[level].Value() * others.Value();
  if (!(pairs > 0.0)) return std::nullopt;
  return std::clamp(1.0 - above.Value() / pairs, 0.0, 1.0);
}

std::optional<double> ScoreRanking::MeanAuc() const {
  CompensatedSum sum;
  double count = 0.0;
  for (std::size_t i = 0; i < sums_.size(); ++i) {
    for (std::size_t j = 0; j < sums_.size(); ++j) {
      const std::optional<double> auc = i == j ? std::nullopt : Auc(i, j);
      if (!auc) continue;
      sum.Add(*auc);
      count += 1.0;
    }
  }
  return count > 0.0 ? std::optional(sum.Value() / count) : std::nullopt;
}

std::optional<double> ScoreRanking::WeightedAuc() const {
  CompensatedSum sum;
  CompensatedSum weights;
  for (std::size_t level = 0; level < sums_.size(); ++level) {
    const std::optional<double> auc = Auc(level);
    if (!auc) continue;
    const double weight = sums_[level].weights[level].Value();
    sum.Add(weight * *auc);
    weights.Add(weight);
  }
  return weights.Value() > 0.0 ? std::optional(sum.Value() / weights.Value()) : std::nullopt;
}

}  // namespace qvhost
