#include "host/fit/IterationHistory.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

#include <fmt/format.h>

#include "qvreg/component/ProgressListener.h"

namespace qvhost {

namespace {

// Steps of estimates that settle shrink: quadratically near a maximum, and by a factor of e beside
// others that grow without bound.
constexpr double kSameStep = 0.7;
// A change of a smaller share of the estimate is due to rounding.
constexpr double kLeastShare = 1e-6;

bool AreAboutEqual(double step, double before) {
  if (step * before <= 0.0) return false;
  const double ratio = step / before;
  return ratio >= kSameStep && ratio <= 1.0 / kSameStep;
}

}  // namespace

void IterationHistory::Add(double logLikelihood, const std::vector<double>& estimates) {
  if (points_.empty()) {
    firstLogLikelihood_ = logLikelihood;
  } else if (points_.back().estimates == estimates) {
    return;
  }
  if (HasSteps()) points_.pop_front();
  points_.push_back({logLikelihood, estimates});
  if (!IsStationary() || !IsGrowing()) return;
  if (candidates_.size() > 1) candidates_.pop_back();
  candidates_.push_back({LastStep(), Growth()});
}

bool IterationHistory::IsNegligible(double change) const {
  return std::abs(change) <= kNegligible * std::abs(firstLogLikelihood_);
}

bool IterationHistory::IsStationary() const {
  if (!HasSteps()) return false;
  for (std::size_t i = 1; i < points_.size(); ++i) {
    if (!IsNegligible(points_[i].logLikelihood - points_[i - 1].logLikelihood)) return false;
  }
  return true;
}

double IterationHistory::Change(std::size_t parameter, int stepsBack) const {
  const std::size_t to = points_.size() - static_cast<std::size_t>(stepsBack);
  return points_[to].estimates.at(parameter) - points_[to - 1].estimates.at(parameter);
}

std::vector<double> IterationHistory::LastStep() const {
  std::vector<double> step;
  if (points_.size() < 2) return step;
  for (std::size_t i = 0; i < points_.back().estimates.size(); ++i) step.push_back(Change(i, 1));
  return step;
}

std::vector<double> IterationHistory::Growth() const {
  std::vector<double> growth = LastStep();
  for (std::size_t i = 0; i < growth.size(); ++i) {
    bool isGrowing = HasSteps();
    for (int back = 1; isGrowing && back < kSteps; ++back) {
      isGrowing = AreAboutEqual(Change(i, back), Change(i, back + 1));
    }
    const double size = std::abs(points_.back().estimates[i]);
    if (!isGrowing || std::abs(growth[i]) <= kLeastShare * size) growth[i] = 0.0;
  }
  return growth;
}

bool IterationHistory::IsGrowing() const {
  const std::vector<double> growth = Growth();
  return std::ranges::any_of(growth, [](double change) { return change != 0.0; });
}

void IterationListener::AddPoint(const IterationPoint& point) {
  const bool isKnown = !points_.empty() && point.iteration <= points_.back().iteration;
  if (!isKnown && std::isfinite(point.logLikelihood)) points_.push_back(point);
}

void IterationListener::ReportProgress(ProgressReport* report) {
  const int halvings = report->DiscreteMeasure("stepHalving");
  const int iteration = iterationsBefore_ + report->DiscreteMeasure("iterNum");
  const double logLikelihood = report->ScaleMeasure("loglik");
  stage_ = fmt::format("iteration {}, log-likelihood {:.6g}", iteration + 1, logLikelihood);
  AddPoint({iteration, logLikelihood, halvings});
  history_.SetHalvings(halvings);
  if (halvings > 0) {
    stage_ += fmt::format(", {} step-halving{}", halvings, halvings == 1 ? "" : "s");
  }
  if (auto* vectors = dynamic_cast<ProgressReportVect*>(report); vectors != nullptr) {
    history_.Add(logLikelihood, *vectors->VectorMeasure("paramEstim"));
  }
  onChange_();
}

}  // namespace qvhost
