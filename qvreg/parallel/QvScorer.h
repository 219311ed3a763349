#pragma once

#include <memory>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvStatus.h"
#include "qvreg/common/Record.h"

/// Scores records as the component does whose IQvRegComponent::WriteScoring made the bytes that it
/// is opened with: bit by bit the same, and independent of the component from then on.
///
/// Used from one thread at a time; several scorers are independent, so that as many threads can
/// score.
class QVREG_EXPORT QvScorer {
 public:
  QvScorer();
  QvScorer(const QvScorer&) = delete;
  QvScorer& operator=(const QvScorer&) = delete;
  ~QvScorer();

  /// Gets ready to score by `model`, which may go afterwards. kUnreadableMessage for bytes that
  /// WriteScoring did not write; without memory that, too, or kTooManyParameters. Nothing is open
  /// then.
  QvCommon::QvStatus Open(const std::vector<unsigned char>& model);
  /// Scores one `record` as IQvRegComponent::Score does: the linear model sets `predicted`, the
  /// logistic one also `values`, the probabilities of the categories. kNotBuilt while nothing is
  /// open.
  QvCommon::QvStatus Score(const QvCommon::Record& record, double& predicted,
                           std::vector<double>& values);
  /// The design row of `record`: `indices` and `values` as
  /// QvGLMOutputStats::ExpandScaledRow and QvLogOutputStats::ExpandRow give them. False as these,
  /// while nothing is open, and without memory. Where it is false for a level combination without a
  /// parameter alone, the row is that of all other effects; otherwise it is undefined.
  bool ExpandRow(const QvCommon::Record& record, std::vector<int>& indices,
                 std::vector<double>& values);

 private:
  struct QVREG_NO_EXPORT State;
  std::unique_ptr<State> fpState;
};
