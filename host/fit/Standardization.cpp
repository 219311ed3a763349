#include "host/fit/Standardization.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/CompensatedSum.h"
#include "host/fit/SpoolRunner.h"
#include "host/formula/FormulaError.h"
#include "qvreg/common/Constants.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"

namespace qvhost {
namespace {

/// One variable to be standardized. Its values are divided by a power of two, so that no sum or
/// difference of any numbers overflows.
struct Target {
  const Variable* variable = nullptr;
  std::size_t position = 0;
  SavedScale scale;  ///< Its exponent is that of the largest value.
  CompensatedSum sum;
  CompensatedSum deviations;  ///< From the mean; 0 but for rounding.
  CompensatedSum squares;

  [[nodiscard]] double Scaled(double value) const { return std::ldexp(value, -scale.exponent); }
};

/// Makes the passes. Borrows everything it is made of.
class Standardizer {
 public:
  Standardizer(const Formula& formula, const ModelBinding& binding, CodedTable& table,
               const QvRegRecordValidator& validator, const Interrupt& interrupt,
               const StandardizingProgress& progress)
      : formula_(formula),
        binding_(binding),
        table_(table),
        validator_(validator),
        interrupt_(interrupt),
        progress_(progress) {}

  std::vector<Standardization> Run() {
    FindTargets();
    if (targets_.empty()) return {};
    std::int64_t used = 0;
    VisitUsed([&](Target& target, double value) {
      target.sum.Add(value);
      used += &target == &targets_.front() ? 1 : 0;
    });
    // The run ends without any record, with a sentence of its own.
    if (used == 0) return {};
    for (Target& target : targets_)
      target.scale.mean = target.sum.Value() / static_cast<double>(used);
    VisitUsed([](Target& target, double value) {
      target.deviations.Add(value - target.scale.mean);
      target.squares.Add((value - target.scale.mean) * (value - target.scale.mean));
    });
    for (Target& target : targets_) Settle(target, static_cast<double>(used));
    Apply();
    return Results();
  }

 private:
  void FindTargets() {
    Add(formula_.response, ModelBinding::kDependent);
    for (std::size_t i = 0; i < formula_.variables.size(); ++i) {
      Add(formula_.variables[i], binding_.positions[i]);
    }
    std::ranges::sort(targets_, {}, &Target::position);
  }

  void Add(const Variable& variable, int position) {
    if (variable.standardizing == Standardizing::kNone) return;
    const CodedColumn& column = table_.Columns()[static_cast<std::size_t>(position)];
    if (column.kind == CodedColumn::Kind::kFactor) {
      Fail(variable,
           "The dependent of a logistic model is a category and cannot be standardized; "
           "name the column alone.");
    }
    Target target;
    target.variable = &variable;
    target.position = static_cast<std::size_t>(position);
    const double largest = std::max(std::abs(column.lowest), std::abs(column.highest));
    if (largest > 0.0 && std::isfinite(largest)) target.scale.exponent = std::ilogb(largest) + 1;
    targets_.push_back(target);
  }

  [[noreturn]] void Fail(const Variable& variable, const std::string& message) const {
    throw FormulaError::At(formula_.text, variable.place, message);
  }

  /// Calls `visit` for each target with its value in each record that the model uses.
  void VisitUsed(const std::function<void(Target&, double)>& visit) {
    SpoolRecords records(table_, progress_);
    while (const QvCommon::Record* record = records.Fetch(interrupt_)) {
      QvCommon::QvStatus status;
      if (!validator_.IsValidRecord(*record, status)) continue;
      for (Target& target : targets_) {
        visit(target, target.Scaled((*record)[static_cast<int>(target.position)]));
      }
    }
  }

  /// The mean and the deviation, corrected for what rounding the mean cost. Of equal numbers they
  /// are that number and 0 exactly: the mean is off by a last digit at most.
  void Settle(Target& target, double used) const {
    const double rest = target.deviations.Value();
    target.scale.mean += rest / used;
    if (target.variable->standardizing != Standardizing::kScale) return;
    if (used < 2.0) {
      Fail(*target.variable, fmt::format("'{}' needs at least two records, and one is used.",
                                         target.variable->label));
    }
    const double squares = target.squares.Value() - rest * rest / used;
    target.scale.deviation = std::sqrt(std::max(squares, 0.0) / (used - 1.0));
    if (*target.scale.deviation > 0.0) return;
    Fail(*target.variable,
         fmt::format("'{}' has no value, as {} is {} in all records used and its standard "
                     "deviation 0; take the term out.",
                     target.variable->label, ArgumentOf(*target.variable),
                     std::ldexp(target.scale.mean, target.scale.exponent)));
  }

  void Apply() {
    const auto size = static_cast<std::size_t>(table_.RecordSize());
    const auto change = [&](std::int64_t, std::span<double> records) {
      for (const Target& target : targets_) {
        for (std::size_t at = target.position; at < records.size(); at += size) {
          double& value = records[at];
          if (value != QvMV::gMissingValue) value = ScaledValue(target.scale, value);
        }
      }
    };
    table_.Spool().ChangeRecords(size, 1, change, [this](std::int64_t records) {
      if (interrupt_.Requested()) throw Cancelled();
      if (progress_) progress_(records);
    });
    for (const Target& target : targets_) {
      CodedColumn& column = table_.Column(static_cast<int>(target.position));
      column.lowest = ScaledValue(target.scale, column.lowest);
      column.highest = ScaledValue(target.scale, column.highest);
    }
  }

  static std::string ArgumentOf(const Variable& variable) {
    const std::size_t open = variable.label.find('(');
    return variable.label.substr(open + 1, variable.label.size() - open - 2);
  }

  [[nodiscard]] std::vector<Standardization> Results() const {
    std::vector<Standardization> results;
    for (const Target& target : targets_) {
      const SavedScale& scale = target.scale;
      StandardizedVariable shown;
      shown.label = target.variable->label;
      shown.argument = ArgumentOf(*target.variable);
      shown.centre = std::ldexp(scale.mean, scale.exponent);
      if (scale.deviation) shown.deviation = std::ldexp(*scale.deviation, scale.exponent);
      results.push_back({std::move(shown), static_cast<int>(target.position), scale});
    }
    return results;
  }

  const Formula& formula_;
  const ModelBinding& binding_;
  CodedTable& table_;
  const QvRegRecordValidator& validator_;
  const Interrupt& interrupt_;
  const StandardizingProgress& progress_;
  std::vector<Target> targets_;
};

}  // namespace

double ScaledValue(const SavedScale& scale, double value) {
  const double difference = std::ldexp(value, -scale.exponent) - scale.mean;
  return scale.deviation ? difference / *scale.deviation : std::ldexp(difference, scale.exponent);
}

std::vector<Standardization> Standardize(const Formula& formula, const ModelBinding& binding,
                                         CodedTable& table, const QvRegRecordValidator& validator,
                                         const Interrupt& interrupt,
                                         const StandardizingProgress& progress) {
  return Standardizer(formula, binding, table, validator, interrupt, progress).Run();
}

std::vector<StandardizedVariable> VariablesOf(const std::vector<Standardization>& standardized) {
  std::vector<StandardizedVariable> variables;
  variables.reserve(standardized.size());
  for (const Standardization& one : standardized) variables.push_back(one.variable);
  return variables;
}

std::string StandardizedText(const StandardizedVariable& variable) {
  return fmt::format(
      "{}: mean {:.6g}{}, of the records used.", variable.label, variable.centre,
      variable.deviation ? fmt::format(", standard deviation {:.6g}", *variable.deviation) : "");
}

}  // namespace qvhost
