#include <limits>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"

namespace qvtest {
namespace {

constexpr double kNone = QVREG_MISSING_VALUE;

struct Scores {
  std::int32_t code = -1;
  qvreg_error error = QVREG_ERROR_INIT;
  std::size_t nScored = 99;
  std::vector<double> predicted;
  std::vector<double> probabilities;
  std::vector<std::int32_t> verdicts;
};

/// Scores records that stand one after the other.
Scores Score(const CEveryKind& of, const std::vector<double>& values, std::size_t nProbabilities) {
  auto rows = Sized<qvreg_rows>();
  rows.values = values.data();
  rows.n_records = values.size() / 3;
  rows.record_size = 3;
  rows.record_stride = 3;
  rows.value_stride = 1;
  Scores scores;
  scores.predicted.assign(rows.n_records, 77.0);
  scores.probabilities.assign(rows.n_records * nProbabilities, 77.0);
  scores.verdicts.assign(rows.n_records, 77);
  scores.code = qvreg_component_score_rows(
      of.component.get(), &rows, scores.predicted.data(),
      nProbabilities == 0 ? nullptr : scores.probabilities.data(), scores.probabilities.size(),
      scores.verdicts.data(), &scores.nScored, &scores.error);
  return scores;
}

TEST(CScoring, TellsWhatCannotBeScored) {
  for (const bool isLogistic : {false, true}) {
    const CEveryKind of(isLogistic);
    // Valid, a missing number, a missing category, a category that was never seen.
    const Scores scores = Score(of, {0, 1, 2, 0, 1, kNone, 0, -1, 2, 0, 3, 2}, isLogistic ? 2 : 0);
    EXPECT_EQ(scores.code, QVREG_OK);
    EXPECT_EQ(scores.nScored, 4U);
    EXPECT_EQ(scores.verdicts,
              (std::vector<std::int32_t>{QVREG_VERDICT_VALID, QVREG_VERDICT_MISSING,
                                         QVREG_VERDICT_MISSING, QVREG_VERDICT_UNSEEN}));
    EXPECT_NE(scores.predicted[0], kNone);
    for (std::size_t i = 1; i < 4; ++i) EXPECT_EQ(scores.predicted[i], kNone);
    if (!isLogistic) continue;
    EXPECT_NEAR(scores.probabilities[0] + scores.probabilities[1], 1.0, 1e-15);
    for (std::size_t i = 2; i < 8; ++i) EXPECT_EQ(scores.probabilities[i], kNone);
  }
}

TEST(CScoring, OfNoPlaceForARecordIsRefused) {
  const CEveryKind of(false);
  double predicted = 77.0;
  std::int32_t verdict = 77;
  for (const std::size_t size : {1U, 3U}) {
    EXPECT_EQ(qvreg_component_score(of.component.get(), nullptr, size, &predicted, nullptr, 0,
                                    &verdict, nullptr),
              QVREG_NULL_POINTER);
  }
  EXPECT_EQ(predicted, 77.0);
}

TEST(CScoring, StopsAtABadCategory) {
  for (const bool isLogistic : {false, true}) {
    const CEveryKind of(isLogistic);
    const Scores scores = Score(of, {0, 1, 2, 0, 0, 1, 0, 8, 2, 0, 1, 2}, 0);
    EXPECT_EQ(scores.code, QVREG_BAD_CATEGORY);
    EXPECT_EQ(scores.nScored, 2U);
    EXPECT_EQ(scores.error.discrete[0], 3);
    EXPECT_EQ(scores.error.discrete[1], 1);
    EXPECT_EQ(scores.error.scale[1], 8.0);
    EXPECT_EQ(std::string(scores.error.message).substr(0, 33), "Record 3: Variable 1 has the valu");
    EXPECT_EQ(scores.verdicts[3], 77);
    EXPECT_EQ(scores.predicted[3], 77.0);
  }
}

TEST(CScoring, ReadsColumnsToo) {
  const CEveryKind of(false);
  // Three variables of two records, variable by variable, from the end to the start.
  const std::vector<double> columns{5, 2, 1, 2, 0, 0};
  auto rows = Sized<qvreg_rows>();
  rows.values = columns.data() + 5;
  rows.n_records = 2;
  rows.record_size = 3;
  rows.record_stride = -1;
  rows.value_stride = -2;
  double predicted[2] = {};
  ASSERT_EQ(qvreg_component_score_rows(of.component.get(), &rows, predicted, nullptr, 0, nullptr,
                                       nullptr, nullptr),
            QVREG_OK);
  const Scores expected = Score(of, {0, 2, 2, 0, 1, 5}, 0);
  EXPECT_EQ(predicted[0], expected.predicted[0]);
  EXPECT_EQ(predicted[1], expected.predicted[1]);
}

TEST(CScoring, OfNoRecordsIsAllowed) {
  const CEveryKind of(false);
  auto rows = Sized<qvreg_rows>();
  rows.record_size = 3;
  std::size_t nScored = 99;
  EXPECT_EQ(qvreg_component_score_rows(of.component.get(), &rows, nullptr, nullptr, 0, nullptr,
                                       &nScored, nullptr),
            QVREG_OK);
  EXPECT_EQ(nScored, 0U);
}

TEST(CScoring, NeedsWholeRecords) {
  const CEveryKind of(true);
  const double record[3] = {0, 1, 2};
  double predicted = 5.0;
  for (const std::size_t size : {std::size_t{0}, std::size_t{2}}) {
    EXPECT_EQ(qvreg_component_score(of.component.get(), record, size, &predicted, nullptr, 0,
                                    nullptr, nullptr),
              QVREG_SHORT_RECORD);
  }
  EXPECT_EQ(
      qvreg_component_score(of.component.get(), record, std::numeric_limits<std::size_t>::max(),
                            &predicted, nullptr, 0, nullptr, nullptr),
      QVREG_BAD_ARGUMENT);
  EXPECT_EQ(predicted, 5.0);
}

TEST(CScoring, NeedsRoomForTheProbabilities) {
  const CEveryKind of(true);
  const double record[3] = {0, 1, 2};
  double predicted = 5.0;
  double probabilities[2] = {};
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_component_score(of.component.get(), record, 3, &predicted, probabilities, 1,
                                  nullptr, &error),
            QVREG_BUFFER_TOO_SMALL);
  EXPECT_EQ(error.discrete[0], 2);
  EXPECT_EQ(predicted, 5.0);
  EXPECT_EQ(Score(of, {0, 1, 2, 0, 1, 2}, 1).code, QVREG_BUFFER_TOO_SMALL);
}

TEST(CScoring, OfALinearModelHasNoProbabilities) {
  const CEveryKind of(false);
  const double record[3] = {0, 1, 2};
  double predicted = 0.0;
  double probabilities[2] = {};
  EXPECT_EQ(qvreg_component_score(of.component.get(), record, 3, &predicted, probabilities, 2,
                                  nullptr, nullptr),
            QVREG_WRONG_MODEL);
}

TEST(CScoring, LeavesTheFailingRecordsNumbersAlone) {
  const CEveryKind of(true);
  const double bad[3] = {0, 8, 2};
  double predicted = 77.0;
  double probabilities[2] = {77.0, 77.0};
  std::int32_t verdict = 77;
  EXPECT_EQ(qvreg_component_score(of.component.get(), bad, 3, &predicted, probabilities, 2,
                                  &verdict, nullptr),
            QVREG_BAD_CATEGORY);
  EXPECT_EQ(predicted, 77.0);
  EXPECT_EQ(probabilities[0], 77.0);
  EXPECT_EQ(probabilities[1], 77.0);
  EXPECT_EQ(verdict, 77);
}

TEST(CScoring, ANeededLengthBeyondAllNumbersIsTheHighestOne) {
  const CEveryKind of(true);
  auto rows = Sized<qvreg_rows>();
  const double record[3] = {0, 1, 2};
  rows.values = record;
  rows.n_records = std::numeric_limits<std::size_t>::max() / 2;
  rows.record_size = 3;
  rows.value_stride = 1;
  double predicted = 0.0;
  double probabilities[2] = {};
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_component_score_rows(of.component.get(), &rows, &predicted, probabilities, 2,
                                       nullptr, nullptr, &error),
            QVREG_BUFFER_TOO_SMALL);
  EXPECT_EQ(error.discrete[0], std::numeric_limits<std::int64_t>::max());
}

}  // namespace
}  // namespace qvtest
