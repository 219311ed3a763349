#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "host/table/TableWriter.h"
#include "qvreg/common/Record.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/parallel/QvScorer.h"

namespace qvhost {

/// The categories that a logistic model gives probabilities of; empty for a linear model.
struct PredictedCategories {
  std::vector<int> codes;           ///< In the order in which Score gives their probabilities.
  std::vector<std::string> levels;  ///< The text of every code of the dependent, observed or not.
};

/// What a built model predicts for one record after the other. Borrows the statistics. One thread
/// at a time; several are independent.
class RecordPredictor {
 public:
  /// What became of a record.
  enum class Outcome {
    kPredicted,
    kMissing,   ///< A factor or a covariate has no value.
    kUnseen,    ///< A combination of levels never occurred in the records fitted.
    kNotFinite  ///< The prediction is no finite number.
  };

  /// `scoring` is what the model's component wrote for scorers. Throws Error (kRunFailed).
  RecordPredictor(const IQvRegOutputStats& output, const std::vector<unsigned char>& scoring);

  Outcome Predict(const QvCommon::Record& record);

  /// Of a record that was predicted: the predicted value, or the code of the most probable
  /// category; and the probabilities of a logistic model, in the library's order.
  [[nodiscard]] double Value() const { return value_; }
  [[nodiscard]] const std::vector<double>& Probabilities() const { return probabilities_; }

  [[nodiscard]] QvScorer& Scorer() { return scorer_; }

 private:
  const QvRegRecordValidator validator_;
  const bool isLogistic_;
  QvScorer scorer_;
  double value_ = 0.0;
  std::vector<double> probabilities_;
};

/// The columns of a logistic model's predictions, whichever stand before them: the text
/// `predicted`, the most probable level, and for each level that was observed `p_LEVEL`, its
/// probability, in the order of the codes. Borrows the categories.
class CategoryColumns {
 public:
  explicit CategoryColumns(const PredictedCategories& categories);

  /// Appends them.
  void AppendTo(std::vector<WrittenColumn>& columns) const;
  /// Sets them, from the first value of `row` on, to what was predicted.
  void Fill(const RecordPredictor& predictor, std::span<double> row) const;

  /// How many they are.
  [[nodiscard]] std::size_t Size() const { return 1 + order_.size(); }
  /// Of the levels, as the columns have them, the places in the library's order.
  [[nodiscard]] const std::vector<std::size_t>& Order() const { return order_; }
  [[nodiscard]] const std::string& Level(std::size_t place) const;

 private:
  const PredictedCategories& categories_;
  std::vector<std::size_t> order_;
};

}  // namespace qvhost
