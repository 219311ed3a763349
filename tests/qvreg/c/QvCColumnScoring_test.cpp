// Scores of typed columns: those of the same records one by one, wherever they are to go and
// however many threads make them.
#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CTyped.h"
#include "tests/qvreg/support/RandomModels.h"

namespace qvtest {
namespace {

using Records = std::vector<QvCommon::Record>;
using Numbers = std::vector<double>;

constexpr double kNone = QVREG_MISSING_VALUE;

/// What scoring is told to write, each value by itself.
struct Scores {
  Scores(std::size_t nRecords, std::size_t nCategories)
      : predicted(nRecords, 77.0),
        errors(nRecords, 77.0),
        probabilities(nRecords * nCategories, 77.0),
        categories(nRecords, 77),
        verdicts(nRecords, 77) {}

  /// All that the model has.
  [[nodiscard]] qvreg_scores To() {
    auto to = Sized<qvreg_scores>();
    to.predicted = predicted.data();
    to.verdicts = verdicts.data();
    if (probabilities.empty()) {
      to.standard_errors = errors.data();
    } else {
      to.probabilities = probabilities.data();
      to.categories = categories.data();
    }
    return to;
  }

  Numbers predicted;
  Numbers errors;
  Numbers probabilities;
  std::vector<std::int32_t> categories;
  std::vector<std::int32_t> verdicts;
  std::size_t nScored = 99;
  qvreg_error error = QVREG_ERROR_INIT;
};

/// Records to score, of which two parts have different numbers; some have combinations that the
/// model has not seen.
Records ScoredRecords() {
  Records records = RandomRecords(5001, 9);
  for (const std::size_t i : {3U, 4000U}) {
    records[i][kF] = 3.0;
    records[i][kG] = 2.0;
  }
  return records;
}

class CColumnScoring : public testing::TestWithParam<ModelKind> {
 protected:
  [[nodiscard]] bool IsLinear() const { return GetParam() == ModelKind::kLinear; }
  [[nodiscard]] std::size_t NCategories() const { return IsLinear() ? 0 : 3; }
  [[nodiscard]] const qvreg_component* Component() const { return fit_.component.get(); }
  [[nodiscard]] std::size_t NParameters() const {
    return ListOf<double>([&](auto... rest) {
             return qvreg_results_get_estimates(fit_.results.get(), rest...);
           })
        .size();
  }
  void Score(const std::vector<qvreg_typed_column>& columns, std::size_t nRecords, int threads,
             const qvreg_scores& to, Scores& scores) const {
    scores.error = ErrorOf([&](qvreg_error* e) {
      return qvreg_component_score_columns(Component(), columns.data(), columns.size(), nRecords,
                                           threads, &to, &scores.nScored, e);
    });
  }
  [[nodiscard]] Scores ScoresBy(int threads) const {
    Scores scores(scored_.size(), NCategories());
    Score(typed_.Columns(), typed_.Count(), threads, scores.To(), scores);
    EXPECT_EQ(scores.error.code, QVREG_OK) << scores.error.message;
    EXPECT_EQ(scores.nScored, scored_.size());
    return scores;
  }
  /// The same, record by record; without errors and categories.
  [[nodiscard]] Scores Expected() const {
    Scores scores(scored_.size(), NCategories());
    for (std::size_t i = 0; i < scored_.size(); ++i) {
      double* probabilities =
          IsLinear() ? nullptr : scores.probabilities.data() + i * NCategories();
      Require([&](qvreg_error* e) {
        return qvreg_component_score(Component(), scored_[i].GetAll(), 8, &scores.predicted[i],
                                     probabilities, NCategories(), &scores.verdicts[i], e);
      });
    }
    return scores;
  }
  /// The design row of a record; empty without one.
  [[nodiscard]] Numbers RowOf(const QvCommon::Record& record) const {
    Numbers row(NParameters() + 1);
    std::int32_t isExpanded = 0;
    Require([&](qvreg_error* e) {
      return qvreg_results_expand_row(fit_.results.get(), record.GetAll(), 8, row.data(),
                                      row.size(), nullptr, &isExpanded, e);
    });
    return isExpanded != 0 ? row : Numbers();
  }
  [[nodiscard]] Numbers Covariance() const {
    return ListOf<double>([&](auto... rest) {
      return qvreg_results_get_covariance_packed(fit_.results.get(), rest...);
    });
  }

  const CFit fit_ = CFitOf(RandomModel(GetParam()).Get(), RandomRecords(3000));
  const Records scored_ = ScoredRecords();
  const CTypedRecords typed_{scored_};
};

INSTANTIATE_TEST_SUITE_P(CInterface, CColumnScoring,
                         testing::Values(ModelKind::kLinear, ModelKind::kLogistic),
                         [](const auto& tested) { return ModelKindName(tested.param); });

TEST_P(CColumnScoring, GivesTheScoresOfSingleRecordsOnAnyNumberOfThreads) {
  const Scores expected = Expected();
  // The logistic model has no crossing, so that every level of it was seen.
  EXPECT_EQ(std::count(expected.verdicts.begin(), expected.verdicts.end(), QVREG_VERDICT_UNSEEN),
            IsLinear() ? 2 : 0);
  EXPECT_GT(std::count(expected.verdicts.begin(), expected.verdicts.end(), QVREG_VERDICT_MISSING),
            0);
  for (const int threads : {1, 2, 7, 0}) {
    SCOPED_TRACE(threads);
    const Scores scores = ScoresBy(threads);
    EXPECT_EQ(scores.predicted, expected.predicted);
    EXPECT_EQ(scores.probabilities, expected.probabilities);
    EXPECT_EQ(scores.verdicts, expected.verdicts);
    if (IsLinear()) continue;
    for (std::size_t i = 0; i < scored_.size(); ++i) {
      const double code = expected.predicted[i] == kNone ? -1.0 : expected.predicted[i];
      EXPECT_EQ(scores.categories[i], code);
    }
  }
}

class CColumnErrors : public CColumnScoring {};

INSTANTIATE_TEST_SUITE_P(CInterface, CColumnErrors, testing::Values(ModelKind::kLinear),
                         [](const auto& tested) { return ModelKindName(tested.param); });

TEST_P(CColumnErrors, AreThoseOfTheCovarianceMatrix) {
  auto summary = Sized<qvreg_summary>();
  double rmse = 0.0;
  Require(
      [&](qvreg_error* e) { return qvreg_results_get_summary(fit_.results.get(), &summary, e); });
  Require([&](qvreg_error* e) {
    return qvreg_results_get_fit_stat(fit_.results.get(), QVREG_FIT_RMSE, &rmse, e);
  });
  const double total = summary.total_frequency_weight;
  const double variance = rmse * rmse * total / (total - summary.n_kept);
  const Numbers covariance = Covariance();
  const Scores scores = ScoresBy(3);
  for (std::size_t i = 0; i < 300; ++i) {
    if (scores.verdicts[i] != QVREG_VERDICT_VALID) {
      EXPECT_EQ(scores.errors[i], kNone);
      continue;
    }
    const Numbers row = RowOf(scored_[i]);
    double form = 0.0;
    for (std::size_t a = 0; a + 1 < row.size(); ++a) {
      for (std::size_t b = 0; b + 1 < row.size(); ++b) {
        const std::size_t high = std::max(a, b);
        form += row[a] * row[b] * covariance[high * (high + 1) / 2 + std::min(a, b)];
      }
    }
    EXPECT_NEAR(scores.errors[i], std::sqrt(variance * form), 1e-10 * scores.errors[i]) << i;
  }
  // The host's own, of which this one is four times as much.
  Numbers other = covariance;
  for (double& element : other) element *= 4.0 * variance;
  Scores twice(scored_.size(), 0);
  qvreg_scores to = twice.To();
  to.covariance = other.data();
  to.covariance_size = other.size();
  Score(typed_.Columns(), typed_.Count(), 2, to, twice);
  for (std::size_t i = 0; i < scored_.size(); ++i) {
    if (scores.errors[i] == kNone) continue;
    EXPECT_NEAR(twice.errors[i], 2.0 * scores.errors[i], 1e-9 * scores.errors[i]);
  }
  to.covariance_size -= 1;
  Score(typed_.Columns(), typed_.Count(), 2, to, twice);
  EXPECT_EQ(twice.error.code, QVREG_BAD_ARGUMENT);
}

TEST_P(CColumnScoring, WritesWhereTheHostWants) {
  const Scores expected = ScoresBy(1);
  const std::size_t n = scored_.size();
  const std::size_t width = 1 + NCategories();
  // From the last record to the first, each with its prediction, then its categories backwards.
  Numbers table(n * width, 77.0);
  struct Verdict {
    char before;
    std::int32_t verdict;
    char after;
  };
  std::vector<Verdict> verdicts(n, {'x', 77, 'y'});
  auto to = Sized<qvreg_scores>();
  to.predicted = &table[(n - 1) * width];
  to.predicted_stride = -static_cast<std::ptrdiff_t>(width * sizeof(double));
  if (!IsLinear()) {
    to.probabilities = &table[n * width - 1];
    to.probability_stride = to.predicted_stride;
    to.category_stride = -static_cast<std::ptrdiff_t>(sizeof(double));
  }
  to.verdicts = &verdicts[0].verdict;
  to.verdict_stride = sizeof(Verdict);
  to.is_missing_nan = 1;
  Scores scores(0, 0);
  Score(typed_.Columns(), typed_.Count(), 2, to, scores);
  ASSERT_EQ(scores.error.code, QVREG_OK);
  const auto isSame = [](double got, double wanted) {
    return wanted == kNone ? std::isnan(got) : got == wanted;
  };
  for (std::size_t i = 0; i < n; ++i) {
    const double* row = &table[(n - 1 - i) * width];
    EXPECT_TRUE(isSame(row[0], expected.predicted[i])) << i;
    for (std::size_t k = 0; k < NCategories(); ++k) {
      EXPECT_TRUE(isSame(row[width - 1 - k], expected.probabilities[i * NCategories() + k])) << i;
    }
    EXPECT_EQ(verdicts[i].verdict, expected.verdicts[i]);
    EXPECT_EQ(verdicts[i].before, 'x');
    EXPECT_EQ(verdicts[i].after, 'y');
  }
}

TEST_P(CColumnErrors, OfACovarianceThatIsNoNumberAreMissingAndNotZero) {
  Numbers other(Covariance().size(), std::numeric_limits<double>::quiet_NaN());
  Scores scores(scored_.size(), 0);
  qvreg_scores to = scores.To();
  to.covariance = other.data();
  to.covariance_size = other.size();
  Score(typed_.Columns(), typed_.Count(), 2, to, scores);
  EXPECT_EQ(scores.error.code, QVREG_OK) << scores.error.message;
  EXPECT_EQ(scores.errors, Numbers(scored_.size(), kNone));
}

TEST_P(CColumnScoring, RefusesAWrongColumnThatTheModelUses) {
  std::vector<qvreg_typed_column> columns = typed_.Columns();
  columns[kF].type = 99;
  Scores scores(scored_.size(), NCategories());
  Score(columns, typed_.Count(), 2, scores.To(), scores);
  EXPECT_EQ(scores.error.code, QVREG_BAD_ARGUMENT);
  EXPECT_EQ(scores.nScored, 0U);
}

TEST_P(CColumnScoring, DoesNotReadWhatTheModelDoesNotUse) {
  std::vector<qvreg_typed_column> columns = typed_.Columns();
  for (const int unused : {kY, kCategory}) {
    columns[static_cast<std::size_t>(unused)].values = nullptr;
    columns[static_cast<std::size_t>(unused)].type = 99;
  }
  columns.resize(kZ + 1);
  Scores scores(scored_.size(), NCategories());
  Score(columns, typed_.Count(), 2, scores.To(), scores);
  EXPECT_EQ(scores.error.code, QVREG_OK) << scores.error.message;
  EXPECT_EQ(scores.predicted, ScoresBy(1).predicted);
  columns.pop_back();
  Score(columns, typed_.Count(), 2, scores.To(), scores);
  EXPECT_EQ(scores.error.code, QVREG_SHORT_RECORD);
  EXPECT_EQ(scores.nScored, 0U);
}

TEST_P(CColumnScoring, EndsAtTheFirstRecordThatCannotBeScored) {
  std::vector<double> x;
  std::vector<double> factor;
  for (const QvCommon::Record& record : scored_) {
    x.push_back(record[kX]);
    factor.push_back(record[kF]);
  }
  x[3333] = std::numeric_limits<double>::infinity();
  factor[4500] = 8.0;
  std::vector<qvreg_typed_column> columns = typed_.Columns();
  columns[kX] = TypedColumn(x);
  columns[kX].infinite = QVREG_REFUSE;
  columns[kX].name = "x";
  columns[kF] = TypedColumn(factor);
  const Scores expected = ScoresBy(1);
  for (const int threads : {1, 4}) {
    SCOPED_TRACE(threads);
    Scores scores(scored_.size(), NCategories());
    Score(columns, scored_.size(), threads, scores.To(), scores);
    EXPECT_EQ(scores.error.code, QVREG_REFUSED_VALUE);
    EXPECT_EQ(scores.error.discrete[0], 3334);
    EXPECT_EQ(scores.error.discrete[2], static_cast<std::int64_t>(kX));
    EXPECT_EQ(std::string(scores.error.message).substr(0, 40),
              "Record 3334: Column 4 ('x') has an infin");
    EXPECT_EQ(scores.nScored, 3333U);
    EXPECT_TRUE(std::equal(scores.predicted.begin(), scores.predicted.begin() + 3333,
                           expected.predicted.begin()));
    EXPECT_EQ(scores.verdicts[3333], 77);
  }
  x[3333] = 0.0;
  Scores scores(scored_.size(), NCategories());
  Score(columns, scored_.size(), 3, scores.To(), scores);
  EXPECT_EQ(scores.error.code, QVREG_BAD_CATEGORY);
  EXPECT_EQ(scores.error.discrete[0], 4501);
  EXPECT_EQ(scores.nScored, 4500U);
}

TEST_P(CColumnScoring, IsCancelled) {
  Require([&](qvreg_error* e) { return qvreg_component_cancel(fit_.component.get(), e); });
  Scores scores(scored_.size(), NCategories());
  Score(typed_.Columns(), typed_.Count(), 1, scores.To(), scores);
  EXPECT_EQ(scores.error.code, QVREG_CANCELLED);
  EXPECT_EQ(scores.nScored, 0U);
}

TEST_P(CColumnScoring, RefusesWhatTheModelDoesNotHave) {
  Scores scores(scored_.size(), 3);
  auto to = Sized<qvreg_scores>();
  if (IsLinear()) {
    to.probabilities = scores.probabilities.data();
    Score(typed_.Columns(), typed_.Count(), 1, to, scores);
    EXPECT_EQ(scores.error.code, QVREG_WRONG_MODEL);
    to.probabilities = nullptr;
    to.categories = scores.categories.data();
  } else {
    to.standard_errors = scores.errors.data();
  }
  Score(typed_.Columns(), typed_.Count(), 1, to, scores);
  EXPECT_EQ(scores.error.code, QVREG_WRONG_MODEL);
  Score(typed_.Columns(), typed_.Count(), -1, Sized<qvreg_scores>(), scores);
  EXPECT_EQ(scores.error.code, QVREG_BAD_ARGUMENT);
}

TEST_P(CColumnScoring, OfNoRecordsIsAllowed) {
  std::vector<qvreg_typed_column> columns = typed_.Columns();
  for (qvreg_typed_column& column : columns) column.values = nullptr;
  Scores scores(0, NCategories());
  Score(columns, 0, 0, scores.To(), scores);
  EXPECT_EQ(scores.error.code, QVREG_OK) << scores.error.message;
  EXPECT_EQ(scores.nScored, 0U);
}

/// Sums of products of scores by multipliers, on so many threads, added to what there is.
class CScoreProducts : public CColumnScoring {
 protected:
  [[nodiscard]] std::size_t Equations() const { return IsLinear() ? 1 : NCategories() - 1; }
  [[nodiscard]] Numbers Multipliers() const {
    Numbers multipliers;
    for (std::size_t i = 0; i < scored_.size() * Equations(); ++i) {
      multipliers.push_back(std::sin(static_cast<double>(i)));
    }
    return multipliers;
  }
  [[nodiscard]] qvreg_error Add(const Numbers& multipliers, int threads, Numbers& elements) const {
    return ErrorOf([&](qvreg_error* e) {
      return qvreg_component_add_score_products(Component(), typed_.Columns().data(), 8,
                                                typed_.Count(), threads, multipliers.data(), 0,
                                                elements.data(), elements.size(), e);
    });
  }
  [[nodiscard]] std::size_t Elements() const { return NParameters() * (NParameters() + 1) / 2; }
};

INSTANTIATE_TEST_SUITE_P(CInterface, CScoreProducts,
                         testing::Values(ModelKind::kLinear, ModelKind::kLogistic),
                         [](const auto& tested) { return ModelKindName(tested.param); });

TEST_P(CScoreProducts, AreThoseOfTheRowsThatAreExpanded) {
  const std::size_t n = NParameters();
  const std::size_t size = n / Equations();
  const Numbers multipliers = Multipliers();
  const std::vector<std::int32_t> redundant = ListOf<std::int32_t>(
      [&](auto... rest) { return qvreg_results_get_redundant(fit_.results.get(), rest...); });
  ASSERT_NE(std::count(redundant.begin(), redundant.end(), 1), 0);
  Numbers expected(Elements());
  const std::vector<std::int32_t> verdicts = ScoresBy(1).verdicts;
  for (std::size_t i = 0; i < scored_.size(); ++i) {
    if (verdicts[i] != QVREG_VERDICT_VALID) continue;
    const Numbers row = RowOf(scored_[i]);
    Numbers score(n);
    for (std::size_t a = 0; a < n; ++a) {
      if (redundant[a] == 0) {
        score[a] = multipliers[i * Equations() + a / size] * row[a % size];
      }
    }
    for (std::size_t a = 0; a < n; ++a) {
      for (std::size_t b = 0; b <= a; ++b) expected[a * (a + 1) / 2 + b] += score[a] * score[b];
    }
  }
  Numbers elements(Elements(), 1000.0);
  ASSERT_EQ(Add(multipliers, 2, elements).code, QVREG_OK);
  for (std::size_t e = 0; e < elements.size(); ++e) {
    EXPECT_NEAR(elements[e], 1000.0 + expected[e], 1e-8 * std::max(1.0, std::abs(expected[e])))
        << e;
  }
}

TEST_P(CScoreProducts, AreTheSameOnAnyNumberOfThreads) {
  const Numbers multipliers = Multipliers();
  Numbers expected(Elements());
  ASSERT_EQ(Add(multipliers, 1, expected).code, QVREG_OK);
  for (const int threads : {2, 5, 0}) {
    Numbers elements(Elements());
    ASSERT_EQ(Add(multipliers, threads, elements).code, QVREG_OK);
    EXPECT_EQ(elements, expected);
  }
}

TEST_P(CScoreProducts, OfNoRecordsNeedNoMultipliers) {
  Numbers elements(Elements(), 5.0);
  Require([&](qvreg_error* e) {
    return qvreg_component_add_score_products(Component(), typed_.Columns().data(), 8, 0, 1,
                                              nullptr, 0, elements.data(), elements.size(), e);
  });
  EXPECT_EQ(elements, Numbers(Elements(), 5.0));
}

TEST_P(CScoreProducts, LeaveOutRecordsWithoutAMultiplier) {
  Numbers multipliers(scored_.size() * Equations());
  Numbers elements(Elements(), 5.0);
  for (std::size_t i = 0; i < scored_.size(); i += 2) {
    multipliers[i * Equations()] = std::numeric_limits<double>::quiet_NaN();
  }
  ASSERT_EQ(Add(multipliers, 2, elements).code, QVREG_OK);
  EXPECT_EQ(elements, Numbers(Elements(), 5.0));
}

TEST_P(CScoreProducts, LeaveTheSumsAloneWhenTheyFail) {
  std::vector<double> factor;
  for (const QvCommon::Record& record : scored_) factor.push_back(record[kF]);
  factor[4321] = 8.0;
  std::vector<qvreg_typed_column> columns = typed_.Columns();
  columns[kF] = TypedColumn(factor);
  const Numbers multipliers = Multipliers();
  for (const int threads : {1, 3}) {
    Numbers elements(Elements(), 5.0);
    const qvreg_error error = ErrorOf([&](qvreg_error* e) {
      return qvreg_component_add_score_products(Component(), columns.data(), columns.size(),
                                                typed_.Count(), threads, multipliers.data(), 0,
                                                elements.data(), elements.size(), e);
    });
    EXPECT_EQ(error.code, QVREG_BAD_CATEGORY);
    EXPECT_EQ(error.discrete[0], 4322);
    EXPECT_EQ(elements, Numbers(Elements(), 5.0));
  }
}

TEST_P(CScoreProducts, NeedRoomForATriangle) {
  Numbers elements(Elements() - 1);
  const qvreg_error error = Add(Multipliers(), 1, elements);
  EXPECT_EQ(error.code, QVREG_BUFFER_TOO_SMALL);
  EXPECT_EQ(error.discrete[0], static_cast<std::int64_t>(Elements()));
}

}  // namespace
}  // namespace qvtest
