#pragma once

#include <bit>
#include <cstdint>
#include <memory>
#include <vector>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/logistic/QvLogOutputStats.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvtest {

/// A model fitted to records through the factory. Owns the component; an operation that fails
/// throws.
class FittedModel {
 public:
  FittedModel(QvRegSettings& settings, const std::vector<QvCommon::Record>& records);
  /// Creates the parameters before the model is built, which must have the same.
  FittedModel(QvRegSettings& settings, QvCommon::MultiPassRecordIter& records);

  [[nodiscard]] IQvRegComponent& Component() { return *component_; }
  [[nodiscard]] const IQvRegOutputStats& Stats() const { return *stats_; }

  [[nodiscard]] double Predict(const QvCommon::Record& record);
  /// One prediction per record.
  [[nodiscard]] std::vector<double> Predict(const std::vector<QvCommon::Record>& records);

 private:
  void Build(QvCommon::MultiPassRecordIter& records);

  std::unique_ptr<IQvRegComponent> component_;
  IQvRegOutputStats* stats_ = nullptr;
};

/// What scoring records comes to, bit by bit: codes of the statuses, predictions, probabilities.
template <typename Scores>
[[nodiscard]] std::vector<std::uint64_t> ScoresOf(const std::vector<QvCommon::Record>& records,
                                                  Scores& scores) {
  std::vector<std::uint64_t> bits;
  for (const QvCommon::Record& record : records) {
    double predicted = -99.0;
    std::vector<double> values;
    bits.push_back(static_cast<std::uint64_t>(scores.Score(record, predicted, values).GetCode()));
    bits.push_back(std::bit_cast<std::uint64_t>(predicted));
    for (const double value : values) bits.push_back(std::bit_cast<std::uint64_t>(value));
  }
  return bits;
}

/// What Score answers for a record.
struct LogisticScore {
  QvCommon::QvStatus status;
  /// The value from before the call where Score wrote none.
  double predicted = -99.0;
  std::vector<double> probabilities;
};

/// A logistic model fitted to records through the factory. An operation that fails throws.
class LogisticFit {
 public:
  LogisticFit(QvLogRegSettings& settings, const std::vector<QvCommon::Record>& records);

  [[nodiscard]] IQvRegComponent& Component() { return model_.Component(); }
  [[nodiscard]] const QvLogOutputStats& Stats() const { return *stats_; }
  [[nodiscard]] LogisticScore Score(const QvCommon::Record& record);

  /// The probabilities of a record by category code, 0 for one that was not observed.
  [[nodiscard]] std::vector<double> ProbabilitiesByCode(const QvCommon::Record& record,
                                                        int nCategories);
  /// The classification table by category codes, row after row; 0 for those not observed.
  [[nodiscard]] std::vector<double> TableByCode(int nCategories) const;
  /// Every number that the statistics answer, to look for one that is not finite.
  [[nodiscard]] std::vector<double> AllNumbers() const;

 private:
  FittedModel model_;
  const QvLogOutputStats* stats_;
};

}  // namespace qvtest
