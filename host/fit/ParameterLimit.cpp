#include "host/fit/ParameterLimit.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/SpoolRunner.h"
#include "host/formula/Terms.h"

namespace qvhost {
namespace {

/// Peak memory of a fit in full matrices of doubles, as measured.
constexpr double kLinearMatrices = 7.0;
constexpr double kLogisticMatrices = 11.0;

/// Counts the parameters of a model. Borrows everything it is made of.
class ParameterCount {
 public:
  ParameterCount(const Formula& formula, const ModelBinding& binding, const CodedTable& table,
                 int most)
      : formula_(formula), binding_(binding), table_(table), most_(most) {
    for (const Term& term : formula.terms) {
      std::vector<std::size_t>& factors = factors_.emplace_back();
      for (const FactorStep& step : FactorSteps(term, binding.isFactor)) {
        factors.push_back(
            static_cast<std::size_t>(binding.positions[static_cast<std::size_t>(step.variable)]));
      }
    }
    cells_.resize(factors_.size());
  }

  /// By the numbers of levels: of a crossing the most cells that there may be.
  [[nodiscard]] bool MayExceed() const {
    double count = Intercept();
    for (const auto& factors : factors_) {
      double cells = 1.0;
      for (const std::size_t position : factors) cells *= Levels(position);
      count += cells;
    }
    return count * Predictors() > most_;
  }

  /// The least that there may be: a crossing has a cell for each level of its largest factor.
  [[nodiscard]] double Least() const {
    double count = Intercept();
    for (std::size_t i = 0; i < factors_.size(); ++i) count += LargestOf(i);
    return count * Predictors();
  }

  /// Whether the cells of the records so far are too many.
  bool ExceedsWith(const QvCommon::Record& record) {
    for (std::size_t i = 0; i < factors_.size(); ++i) {
      std::vector<int> cell;
      cell.reserve(factors_[i].size());
      for (const std::size_t position : factors_[i]) {
        cell.push_back(static_cast<int>(record[static_cast<int>(position)]));
      }
      if (cells_[i].insert(std::move(cell)).second) ++count_;
    }
    return Seen() > most_;
  }

  /// The parameters of the cells so far.
  [[nodiscard]] double Seen() const {
    return (static_cast<double>(count_) + Intercept()) * Predictors();
  }

  /// `count`: the least number of parameters that is known.
  [[noreturn]] void Refuse(double count) const {
    const std::size_t largest = LargestTerm();
    const std::size_t levels = std::max(cells_[largest].size(), Count(LargestOf(largest)));
    throw Error(
        ExitCode::kBadInput,
        fmt::format("The model would have at least {} parameters, more than the {} that "
                    "--max-parameters allows; '{}' has most of them, {} levels{}. Its matrices "
                    "would take {}: leave the term out, group its levels with --sql, or raise "
                    "--max-parameters.",
                    Count(count), most_, TermLabel(formula_, formula_.terms[largest]), levels,
                    Predictors() > 1.0
                        ? fmt::format(" for each of {:g} levels of the dependent", Predictors())
                        : "",
                    MemoryText(count)));
  }

 private:
  static std::size_t Count(double number) { return static_cast<std::size_t>(number); }

  [[nodiscard]] double Levels(std::size_t position) const {
    return static_cast<double>(std::max<std::size_t>(table_.Columns()[position].levels.size(), 1));
  }

  [[nodiscard]] double LargestOf(std::size_t term) const {
    double largest = 1.0;
    for (const std::size_t position : factors_[term]) largest = std::max(largest, Levels(position));
    return largest;
  }

  [[nodiscard]] std::size_t LargestTerm() const {
    std::size_t largest = 0;
    for (std::size_t i = 1; i < factors_.size(); ++i) {
      const bool hasMoreCells = cells_[i].size() > cells_[largest].size();
      const bool hasAsMany = cells_[i].size() == cells_[largest].size();
      if (hasMoreCells || (hasAsMany && LargestOf(i) > LargestOf(largest))) largest = i;
    }
    return largest;
  }

  [[nodiscard]] double Intercept() const { return formula_.intercept ? 1.0 : 0.0; }

  /// How often each term has its parameters.
  [[nodiscard]] double Predictors() const {
    if (binding_.kind == ModelKind::kLinear) return 1.0;
    return std::max(Levels(ModelBinding::kDependent) - 1.0, 1.0);
  }

  [[nodiscard]] std::string MemoryText(double count) const {
    constexpr double kMega = 1e6;
    constexpr double kGiga = 1e9;
    const double matrices =
        binding_.kind == ModelKind::kLinear ? kLinearMatrices : kLogisticMatrices;
    const double bytes = matrices * sizeof(double) * count * count;
    return bytes < kGiga ? fmt::format("{:.0f} MB", bytes / kMega)
                         : fmt::format("{:.1f} GB", bytes / kGiga);
  }

  const Formula& formula_;
  const ModelBinding& binding_;
  const CodedTable& table_;
  int most_;
  std::vector<std::vector<std::size_t>> factors_;  ///< Of each term, as positions of columns.
  std::vector<std::set<std::vector<int>>> cells_;  ///< Of each term, those seen.
  std::size_t count_ = 0;                          ///< Of all cells.
};

}  // namespace

void CheckParameterCount(const Formula& formula, const ModelBinding& binding,
                         const CodedTable& table, const QvRegRecordValidator& validator, int most,
                         const std::function<void(long long)>& progress,
                         const Interrupt& interrupt) {
  if (formula.terms.empty()) return;
  ParameterCount parameters(formula, binding, table, most);
  if (!parameters.MayExceed()) return;
  if (parameters.Least() > most) parameters.Refuse(parameters.Least());
  SpoolRecords records(table, progress);
  while (const QvCommon::Record* record = records.Fetch(interrupt)) {
    QvCommon::QvStatus status;
    if (!validator.IsValidRecord(*record, status)) continue;
    if (parameters.ExceedsWith(*record)) parameters.Refuse(parameters.Seen());
  }
}

}  // namespace qvhost
