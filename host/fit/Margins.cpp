#include "host/fit/Margins.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <set>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Threads.h"
#include "host/fit/DesignTerms.h"
#include "host/fit/EffectTesting.h"
#include "host/fit/MarginSums.h"
#include "host/fit/ScaledEstimates.h"
#include "host/inference/DeltaMethod.h"
#include "host/inference/Inference.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {

namespace {

/// What the sums of a pass may take on a thread.
constexpr std::size_t kMostBytes = std::size_t{16} << 20;

/// Shares of columns below which one counts as dependent on others are about the square of this.
constexpr double kTolerance = 1e-6;

/// Computes the effects of one model. Borrows everything it is made of.
class MarginComputer {
 public:
  MarginComputer(const MarginInput& input, const WalkOptions& walk)
      : input_(input),
        walk_(walk),
        terms_(input.output, input.table),
        redundant_(RedundantColumnsOf(input.output, KeptParameters(input.output))),
        isLogistic_(dynamic_cast<const QvLogOutputStats*>(&input.output) != nullptr),
        order_(input.output.GetParameters().size() / terms_.BlockSize()) {}

  Margins Run() {
    FindCategories();
    for (std::size_t i = 0; i < input_.plan.variables.size(); ++i) AddVariable(i);
    Flush();
    AddNotes();
    return std::move(margins_);
  }

 private:
  /// What became of the effects of a level, or of a covariate.
  struct Outcome {
    std::size_t variable;
    bool exists = true;
    bool isKnown = false;
  };

  /// What is computed of the sums of a pass: an effect for each category.
  struct Job {
    std::size_t target;
    std::size_t cell;
    std::size_t base;
    std::size_t first;    ///< Place of the results.
    std::size_t outcome;  ///< Place of the outcome.
  };

  void FindCategories() {
    categories_ = {""};
    const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&input_.output);
    if (logistic == nullptr) return;
    categories_.clear();
    const CodedColumn& dependent = input_.table.Columns()[ModelBinding::kDependent];
    for (const int code : logistic->GetDependCategories()) {
      categories_.push_back(dependent.levels.at(static_cast<std::size_t>(code)));
    }
  }

  [[nodiscard]] MarginTask TaskOf(const std::vector<MarginTarget>& targets) const {
    return {terms_,
            ScaledEstimatesOf(input_.output).estimates,
            order_,
            input_.validator,
            input_.freqWeight,
            targets};
  }

  /// That of the covariates of a variable in each term.
  [[nodiscard]] MarginTarget CovariateTarget(const MarginVariable& variable) const {
    MarginTarget target;
    for (std::size_t term = 0; term < terms_.Size(); ++term) {
      MarginTarget::TermSlopes slopes{term, {}};
      for (std::size_t i = 0; i < terms_.Covariates(term).size(); ++i) {
        for (const MarginVariable::Slope& slope : variable.slopes) {
          const auto index = static_cast<std::size_t>(slope.variable);
          if (input_.binding.positions[index] != terms_.Covariates(term)[i].position) continue;
          slopes.slopes.push_back({i, slope.position, variable.isWhole ? 1.0 : FactorOf(index)});
        }
      }
      if (!slopes.slopes.empty()) target.slopes.push_back(std::move(slopes));
    }
    return target;
  }

  /// What standardizing did to the derivative of a covariate.
  [[nodiscard]] double FactorOf(std::size_t variable) const {
    const Variable& own = input_.formula.variables[variable];
    if (own.standardizing == Standardizing::kNone) return 1.0;
    const auto found =
        std::ranges::find(input_.standardized, own.label, &StandardizedVariable::label);
    return found != input_.standardized.end() && found->deviation ? 1.0 / *found->deviation : 1.0;
  }

  [[nodiscard]] MarginTarget FactorTarget(int position) const {
    MarginTarget target;
    target.factor = position;
    for (std::size_t term = 0; term < terms_.Size(); ++term) {
      const std::int64_t stride = terms_.StrideOf(term, position);
      if (stride == 0) {
        target.others.push_back(term);
      } else {
        target.terms.push_back({term, stride});
      }
    }
    return target;
  }

  /// The levels that occur among the records used, ascending: the base is the last.
  [[nodiscard]] std::vector<int> LevelsOf(int position) const {
    std::set<int> levels;
    for (std::size_t i = 0; i < terms_.BlockSize(); ++i) {
      const int code = input_.output.GetParameters()[i].ContainsFactor(position, -1);
      if (code >= 0) levels.insert(code);
    }
    return {levels.begin(), levels.end()};
  }

  void AddVariable(std::size_t index) {
    const MarginVariable& variable = input_.plan.variables[index];
    if (variable.factor < 0) {
      Reserve(1);
      AddJob(index, 0, 0, "", "");
      targets_.push_back(CovariateTarget(variable));
      return;
    }
    const int position = input_.binding.positions[static_cast<std::size_t>(variable.factor)];
    const std::vector<int> levels = LevelsOf(position);
    if (levels.size() < 2) {
      margins_.notes.push_back(
          fmt::format("There is no marginal effect of {}: the records used have one level of it.",
                      variable.name));
      return;
    }
    const std::vector<std::string>& texts =
        input_.table.Columns()[static_cast<std::size_t>(position)].levels;
    const std::string& base = texts[static_cast<std::size_t>(levels.back())];
    for (std::size_t next = 0; next + 1 < levels.size();) {
      const std::size_t rest = levels.size() - 1 - next;
      const std::size_t count = std::min(Reserve(rest + 1) - 1, rest);
      MarginTarget target = FactorTarget(position);
      for (std::size_t cell = 0; cell < count; ++cell, ++next) {
        target.levels.push_back(levels[next]);
        AddJob(index, cell, count, texts[static_cast<std::size_t>(levels[next])], base);
      }
      target.levels.push_back(levels.back());
      targets_.push_back(std::move(target));
    }
  }

  /// How many cells of the next target the pass may take, 2 at least, where so many are wanted.
  std::size_t Reserve(std::size_t cells) {
    const std::size_t bytes = isLogistic_ ? LogisticMarginSums::BytesOfCell(TaskOf(targets_))
                                          : terms_.BlockSize() * sizeof(double);
    if (bytes_ + cells * bytes > kMostBytes && bytes_ > 0) Flush();
    const std::size_t most = std::max<std::size_t>(kMostBytes / bytes, 2);
    const std::size_t taken = isLogistic_ ? std::min(cells, most) : cells;
    bytes_ += (isLogistic_ ? taken : 1) * bytes;
    return taken;
  }

  /// Of the target that is added next.
  void AddJob(std::size_t variable, std::size_t cell, std::size_t base, const std::string& level,
              const std::string& baseLevel) {
    jobs_.push_back({targets_.size(), cell, base, margins_.results.size(), outcomes_.size()});
    outcomes_.push_back({variable});
    for (const std::string& category : categories_) {
      MarginResult& result = margins_.results.emplace_back();
      result.variable = input_.plan.variables[variable].name;
      if (!level.empty() || !baseLevel.empty()) {
        result.level = level;
        result.base = baseLevel;
      }
      if (isLogistic_) result.category = category;
    }
  }

  /// Makes the pass for the targets so far.
  void Flush() {
    if (targets_.empty()) return;
    const MarginTask task = TaskOf(targets_);
    if (isLogistic_) {
      Finish(*Walk<LogisticMarginSums>(task));
    } else {
      Finish(*Walk<LinearMarginSums>(task));
    }
    targets_.clear();
    jobs_.clear();
    bytes_ = 0;
  }

  template <typename Sums>
  [[nodiscard]] std::unique_ptr<Sums> Walk(const MarginTask& task) const {
    return WalkRecords<Sums>(input_.table, input_.parts, walk_,
                             [&](int, int) { return std::make_unique<Sums>(task); });
  }

  void Finish(const MarginMeans& means) {
    ForEachOnThreads(walk_.threads, jobs_.size(), [&](std::size_t index) {
      const Job& job = jobs_[index];
      for (std::size_t k = 0; k < categories_.size(); ++k) {
        if (walk_.interrupt.Requested()) throw Cancelled();
        const AverageEffect effect = means.Of(job.target, job.cell, job.base, k);
        outcomes_[job.outcome].exists = effect.exists;
        if (!effect.exists || !IsEstimable(effect)) continue;
        outcomes_[job.outcome].isKnown = true;
        Take(effect, margins_.results[job.first + k]);
      }
    });
  }

  /// Whether all estimates that fit the records alike have the same effect: it weighs a redundant
  /// column as it weighs the columns that this one depends on.
  [[nodiscard]] bool IsEstimable(const AverageEffect& effect) const {
    return std::ranges::all_of(redundant_, [&](const RedundantColumn& column) {
      double rest = effect.gradient[column.parameter];
      double size = effect.sizes[column.parameter];
      for (std::size_t i = 0; i < column.places.size(); ++i) {
        rest -= column.coefficients[i] * effect.gradient[column.places[i]];
        size += std::abs(column.coefficients[i]) * effect.sizes[column.places[i]];
      }
      return std::abs(rest) <= kTolerance * size;
    });
  }

  void Take(const AverageEffect& effect, MarginResult& result) const {
    const int exponent = ScaledEstimatesOf(input_.output).dependentExponent;
    if (!Finite(effect.value)) return;
    result.effect = TimesPowerOf2(effect.value, exponent);
    Gradient gradient;
    for (std::size_t i = 0; i < effect.gradient.size(); ++i) {
      if (effect.gradient[i] == 0.0 || !input_.covariance.IsKept(i)) continue;
      gradient.parameters.push_back(i);
      gradient.weights.push_back(effect.gradient[i]);
    }
    const std::optional<double> error = StdErrorOf(input_.covariance, gradient);
    if (!error) return;
    // In a unit in which its square is in range.
    const int unit = *error > 0.0 ? std::ilogb(*error) : 0;
    const double root = std::ldexp(*error, -unit);
    result.statistics =
        CoefficientInference(1.0, input_.covariance.DegreesOfFreedom(), input_.confidence)
            .Of(std::ldexp(effect.value, -unit), root * root, exponent + unit);
  }

  void AddNotes() {
    for (std::size_t i = 0; i < input_.plan.variables.size(); ++i) {
      std::size_t all = 0;
      std::size_t open = 0;
      bool exists = true;
      for (const Outcome& outcome : outcomes_) {
        if (outcome.variable != i) continue;
        ++all;
        if (!outcome.isKnown) ++open;
        exists = exists && outcome.exists;
      }
      if (open == 0) continue;
      const MarginVariable& variable = input_.plan.variables[i];
      const std::string which = open == all
                                    ? fmt::format("The marginal effect of {} is", variable.name)
                                    : fmt::format("{} of {} marginal effects of {} {}", open, all,
                                                  variable.name, open == 1 ? "is" : "are");
      const char* why = "the columns of terms depend on each other";
      if (!exists) {
        why = variable.factor >= 0
                  ? "there are records whose other levels do not occur with all of its levels"
                  : "there are records for which a function of it has no finite derivative";
      }
      margins_.notes.push_back(fmt::format("{} not estimable: {}.", which, why));
    }
  }

  const MarginInput& input_;
  const WalkOptions& walk_;
  const DesignTerms terms_;
  const std::vector<RedundantColumn> redundant_;
  const bool isLogistic_;
  const std::size_t order_;  ///< Blocks of parameters.
  std::vector<std::string> categories_;
  std::vector<MarginTarget> targets_;  ///< Of the next pass,
  std::vector<Job> jobs_;
  std::vector<Outcome> outcomes_;
  std::size_t bytes_ = 0;  ///< and what its sums take.
  Margins margins_;
};

}  // namespace

Margins ComputeMargins(const MarginInput& input, const WalkOptions& walk) {
  return MarginComputer(input, walk).Run();
}

}  // namespace qvhost
