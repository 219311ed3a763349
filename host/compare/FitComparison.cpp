#include "host/compare/FitComparison.h"

#include <algorithm>
#include <numeric>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/compare/NestedTerms.h"
#include "host/inference/Inference.h"
#include "host/inference/LinearQuality.h"

namespace qvhost {

namespace {

[[noreturn]] void Refuse(const std::string& message) { throw Error(ExitCode::kBadInput, message); }

const char* ModelOf(const SavedFit& fit) { return fit.isLogistic ? "logistic" : "linear"; }

void CheckAlike(const std::vector<SavedFit>& fits) {
  const SavedFit& first = fits.front();
  for (const SavedFit& fit : fits) {
    if (fit.isLogistic != first.isLogistic) {
      Refuse(fmt::format("'{}' is a {} model and '{}' a {} one; compare fits of one kind.",
                         first.file, ModelOf(first), fit.file, ModelOf(fit)));
    }
    if (fit.dependent != first.dependent) {
      Refuse(
          fmt::format("'{}' is a model of '{}' and '{}' one of '{}'; compare fits of one "
                      "dependent.",
                      first.file, first.dependent, fit.file, fit.dependent));
    }
  }
}

/// Both residual sums of squares by that of the larger model, which no double may hold.
NestedTest LinearTest(const SavedFit& smaller, const SavedFit& larger, int degrees) {
  NestedTest test;
  test.degrees = degrees;
  test.residualDegrees = larger.degreesOfFreedom;
  const std::optional<double> s0 = smaller.Statistic("residual_std_error");
  const std::optional<double> s1 = larger.Statistic("residual_std_error");
  const std::optional<double> df0 = smaller.degreesOfFreedom;
  const std::optional<double> df1 = larger.degreesOfFreedom;
  if (!s0 || !s1 || !df0 || !df1 || !(*df1 > 0.0)) return test;
  const double ratio = *s0 / *s1;
  // Rounding may take it below 0.
  test.statistic = Finite(std::max(ratio * ratio * *df0 - *df1, 0.0) / degrees);
  test.pValue = UpperF(test.statistic, degrees, *df1);
  test.sumOfSquares = Finite(std::max(*s0 * *s0 * *df0 - *s1 * *s1 * *df1, 0.0));
  return test;
}

NestedTest LogisticTest(const SavedFit& smaller, const SavedFit& larger, int degrees) {
  NestedTest test;
  test.degrees = degrees;
  const std::optional<double> l0 = smaller.Statistic("loglik");
  const std::optional<double> l1 = larger.Statistic("loglik");
  if (!l0 || !l1) return test;
  test.statistic = Finite(std::max(2.0 * (*l1 - *l0), 0.0));
  test.pValue = UpperChiSquare(test.statistic, degrees);
  return test;
}

/// Makes the tests and notes of a comparison.
class Tester {
 public:
  explicit Tester(FitComparison& comparison) : comparison_(comparison) {}

  void Run() {
    const std::vector<SavedFit>& fits = comparison_.fits;
    std::vector<std::size_t> order(fits.size());
    std::iota(order.begin(), order.end(), std::size_t{0});
    std::ranges::stable_sort(order, {}, [&](std::size_t i) { return fits[i].Kept(); });
    for (std::size_t k = 1; k < order.size(); ++k) {
      std::string reason;
      bool isTested = false;
      for (std::size_t j = k; j-- > 0 && !isTested;) {
        const std::string why = Test(order[j], order[k]);
        isTested = why.empty();
        if (reason.empty()) reason = why;
      }
      if (!isTested) comparison_.notes.push_back(reason);
    }
    AddNotes();
  }

 private:
  /// Tests a fit against a smaller one; else the sentence that says why not.
  std::string Test(std::size_t smaller, std::size_t larger) {
    const SavedFit& inner = comparison_.fits[smaller];
    const SavedFit& outer = comparison_.fits[larger];
    const std::string start = fmt::format(
        "Fits {} and {} are not tested against each other: ", std::min(smaller, larger) + 1,
        std::max(smaller, larger) + 1);
    if (inner.used != outer.used) {
      return start + fmt::format("{} records were used by fit {}, {} by fit {}.", inner.used,
                                 smaller + 1, outer.used, larger + 1);
    }
    if (inner.digest != outer.digest) {
      return start + "the values or weights of the dependent differ in the records that they used.";
    }
    if (const std::optional<std::string> beyond = TermBeyond(inner, outer)) {
      return start + fmt::format("the terms of fit {} do not hold '{}' of fit {}.", larger + 1,
                                 *beyond, smaller + 1);
    }
    const int degrees = outer.Kept() - inner.Kept();
    if (degrees == 0) return start + "they are the same model, with equally many parameters.";
    NestedTest test =
        outer.isLogistic ? LogisticTest(inner, outer, degrees) : LinearTest(inner, outer, degrees);
    if (!test.statistic) {
      return start + (outer.isLogistic ? "a log-likelihood does not exist."
                                       : "no residual variance is left to fit " +
                                             std::to_string(larger + 1) + ".");
    }
    test.fit = larger;
    test.against = smaller;
    comparison_.tests.push_back(test);
    return {};
  }

  void AddNotes() {
    std::vector<std::string>& notes = comparison_.notes;
    const std::vector<SavedFit>& fits = comparison_.fits;
    const auto differs = [&](const auto& member) {
      return std::ranges::any_of(
          fits, [&](const SavedFit& fit) { return fit.*member != fits.front().*member; });
    };
    if (differs(&SavedFit::digest)) {
      notes.emplace_back(
          "The records used differ: log-likelihood, AIC and BIC do not compare such fits.");
    }
    if (fits.front().isLogistic && differs(&SavedFit::reference)) {
      notes.emplace_back("The reference levels differ, so estimates do not compare.");
    }
    for (std::size_t i = 0; i < fits.size(); ++i) {
      if (fits[i].isSound) continue;
      notes.push_back(
          fmt::format("Fit {} did not converge, or its levels are separated: its "
                      "numbers and tests mean little.",
                      i + 1));
    }
    const auto isRobust = [](const SavedFit& fit) { return fit.covariance != "model"; };
    if (!comparison_.tests.empty() && std::ranges::any_of(fits, isRobust)) {
      notes.emplace_back("The tests rest on the models' variances, not on robust errors.");
    }
  }

  FitComparison& comparison_;
};

}  // namespace

FitComparison CompareFits(std::vector<SavedFit> fits) {
  CheckAlike(fits);
  FitComparison comparison;
  comparison.fits = std::move(fits);
  Tester(comparison).Run();
  return comparison;
}

}  // namespace qvhost
