#include <limits>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CEveryKind.h"
#include "tests/qvreg/c/CRecordFeed.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {
namespace {

class CMessages : public testing::TestWithParam<bool> {
 protected:
  const CEveryKind of_{GetParam()};
};

INSTANTIATE_TEST_SUITE_P(CInterface, CMessages, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "Logistic" : "Linear"; });

TEST_P(CMessages, SayThatASecondCallEndsTheComponent) {
  const qvreg_error built = ErrorOf([&](qvreg_error* e) {
    return qvreg_component_build(of_.component.get(), of_.source.get(), e);
  });
  EXPECT_EQ(built.code, QVREG_ALREADY_BUILT);
  EXPECT_STREQ(built.message,
               "The model of this component is built; the component has ended with this call, and "
               "a new one is needed. Results taken before stay usable.");
  EXPECT_FALSE(ListOf<double>([&](auto... buffer) {
                 return qvreg_results_get_estimates(of_.results.get(), buffer...);
               }).empty());

  const CComponent component = CComponentOf(of_.settings);
  const auto create = [&](qvreg_error* e) {
    return qvreg_component_create_parameters(component.get(), of_.source.get(), nullptr, e);
  };
  Require(create);
  const qvreg_error created = ErrorOf(create);
  EXPECT_EQ(created.code, QVREG_DATA_PROCESSED);
  EXPECT_STREQ(created.message,
               "The parameters of this component were created before; the component has ended with "
               "this call, and a new one is needed.");
}

TEST_P(CMessages, TellBothSizesOfAShortRecord) {
  const std::string words =
      "The record has 2 values and 3 are needed; check the record size and "
      "the variables.";
  const double record[2] = {0, 1};
  double predicted = 0.0;
  std::int32_t answer = 0;
  const qvreg_results* results = of_.results.get();
  const auto expect = [&](auto&& call) {
    const qvreg_error error = ErrorOf(call);
    EXPECT_EQ(error.code, QVREG_SHORT_RECORD);
    EXPECT_EQ(error.message, words);
  };
  expect([&](qvreg_error* e) {
    return qvreg_component_score(of_.component.get(), record, 2, &predicted, nullptr, 0, nullptr,
                                 e);
  });
  expect(
      [&](qvreg_error* e) { return qvreg_results_check_record(results, record, 2, &answer, e); });
  expect(
      [&](qvreg_error* e) { return qvreg_results_check_scoring(results, record, 2, &answer, e); });
  expect([&](qvreg_error* e) { return qvreg_results_is_in_range(results, record, 2, &answer, e); });

  CRecordFeed feed(MakeRecords({{1, 0}}));
  const CSource source = feed.Source();
  const CComponent component = CComponentOf(of_.settings);
  const qvreg_error error = ErrorOf(
      [&](qvreg_error* e) { return qvreg_component_build(component.get(), source.get(), e); });
  EXPECT_EQ(error.code, QVREG_SHORT_RECORD);
  EXPECT_EQ(error.message, "Record 1: " + words);
}

TEST_P(CMessages, AreNotWrittenOverTheStatusAskedFor) {
  qvreg_error both = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_component_get_status(of_.component.get(), &both, &both), QVREG_BAD_ARGUMENT);
  EXPECT_EQ(both.code, QVREG_BAD_ARGUMENT);
  EXPECT_STREQ(both.message, "The arguments status and error are one structure; pass two.");
}

TEST_P(CMessages, AskForTheIsExpandedAloneInBothForms) {
  // A category that was never seen.
  const double unseen[3] = {0, 3, 2};
  const double seen[3] = {0, 1, 2};
  for (const double* record : {seen, unseen}) {
    const std::int32_t expected = record == seen ? 1 : 0;
    std::size_t count = 99;
    std::int32_t isExpanded = -1;
    ASSERT_EQ(qvreg_results_expand_row(of_.results.get(), record, 3, nullptr, 0, &count,
                                       &isExpanded, nullptr),
              QVREG_OK);
    EXPECT_EQ(isExpanded, expected);
    if (!GetParam()) continue;
    isExpanded = -1;
    ASSERT_EQ(qvreg_logistic_expand_sparse(of_.results.get(), record, 3, nullptr, nullptr, 0,
                                           &count, &isExpanded, nullptr),
              QVREG_OK);
    EXPECT_EQ(isExpanded, expected);
  }
}

TEST(CScoringFaults, LeaveTheFailingRecordsNumbersAlone) {
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

TEST(CScoringFaults, ANeededLengthBeyondAllNumbersIsTheHighestOne) {
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
