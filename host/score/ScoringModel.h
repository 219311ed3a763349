#pragma once

#include <string>
#include <vector>

#include "host/fit/RecordPredictor.h"
#include "host/fit/SavedModel.h"
#include "host/model/RestoredModel.h"
#include "qvreg/component/IQvRegOutputStats.h"

namespace qvhost {

/// A saved model that is ready to score. One thread at a time.
class ScoringModel {
 public:
  /// `file` is what errors call the model. Throws Error (kBadInput) as RestoredModel does, and for
  /// a component of other variables.
  ScoringModel(const SavedModel& saved, const std::string& file);

  [[nodiscard]] const IQvRegOutputStats& Output() const { return restored_.Output(); }
  /// What a QvScorer opens.
  [[nodiscard]] const std::vector<unsigned char>& Scoring() const { return scoring_; }
  /// Of a logistic model.
  [[nodiscard]] const PredictedCategories& Categories() const { return categories_; }
  /// Values in a record.
  [[nodiscard]] int RecordSize() const { return recordSize_; }

 private:
  RestoredModel restored_;
  std::vector<unsigned char> scoring_;
  PredictedCategories categories_;
  int recordSize_ = 0;
};

/// The variables of a model of which records to be scored hold values: all but the dependent and
/// weights.
[[nodiscard]] std::vector<const SavedVariable*> ScoredVariables(const SavedModel& saved);

}  // namespace qvhost
