#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"

namespace qvtest {
namespace {

constexpr double kNone = QVREG_MISSING_VALUE;

/// What the functions over records answer for one.
struct Answer {
  std::int32_t code = -1;
  std::int32_t answer = -1;
};

template <typename Check>
Answer Ask(Check check, const CEveryKind& of, const std::vector<double>& record) {
  Answer answer;
  answer.code = check(of.results.get(), record.data(), record.size(), &answer.answer, nullptr);
  return answer;
}

void ExpectAnswer(const Answer& got, std::int32_t code, std::int32_t answer) {
  EXPECT_EQ(got.code, code);
  EXPECT_EQ(got.answer, answer);
}

TEST(CResults, CheckRecords) {
  const CEveryKind of(false);
  const auto check = [&](const std::vector<double>& record) {
    return Ask(qvreg_results_check_record, of, record);
  };
  ExpectAnswer(check({1, 2, 3}), QVREG_OK, QVREG_VERDICT_VALID);
  ExpectAnswer(check({kNone, 2, 3}), QVREG_OK, QVREG_VERDICT_MISSING);
  ExpectAnswer(check({1, -1, 3}), QVREG_OK, QVREG_VERDICT_MISSING);
  ExpectAnswer(check({1, 2}), QVREG_SHORT_RECORD, -1);
  ExpectAnswer(check({}), QVREG_SHORT_RECORD, -1);
  ExpectAnswer(check({1, 0.5, 3}), QVREG_BAD_CATEGORY, -1);
  // Left out by the run, since its code is the number of categories: the host compares them.
  ExpectAnswer(check({1, 3, 3}), QVREG_OK, QVREG_VERDICT_VALID);
}

TEST(CResults, ExpandNoRowOfAnUnusableRecord) {
  for (const bool isLogistic : {false, true}) {
    const CEveryKind of(isLogistic);
    for (const std::vector<double>& record :
         {std::vector<double>{1, 2, kNone}, {1, -1, 0}, {1, 0.5, 0}, {1, 3, 0}}) {
      std::vector<double> row(6, 5.0);
      std::size_t count = 0;
      std::int32_t isExpanded = -1;
      EXPECT_EQ(qvreg_results_expand_row(of.results.get(), record.data(), 3, row.data(), 6, &count,
                                         &isExpanded, nullptr),
                QVREG_OK);
      EXPECT_EQ(isExpanded, 0);
      EXPECT_EQ(count, isLogistic ? 5U : 6U);
    }
  }
}

TEST(CResults, TellIsExpandedToAHostThatAsksForTheCount) {
  for (const bool isLogistic : {false, true}) {
    const CEveryKind of(isLogistic);
    // A category that was never seen.
    const double unseen[3] = {0, 3, 2};
    const double seen[3] = {0, 1, 2};
    for (const double* record : {seen, unseen}) {
      const std::int32_t expected = record == seen ? 1 : 0;
      std::size_t count = 99;
      std::int32_t isExpanded = -1;
      ASSERT_EQ(qvreg_results_expand_row(of.results.get(), record, 3, nullptr, 0, &count,
                                         &isExpanded, nullptr),
                QVREG_OK);
      EXPECT_EQ(isExpanded, expected);
      if (!isLogistic) continue;
      isExpanded = -1;
      ASSERT_EQ(qvreg_logistic_expand_sparse(of.results.get(), record, 3, nullptr, nullptr, 0,
                                             &count, &isExpanded, nullptr),
                QVREG_OK);
      EXPECT_EQ(isExpanded, expected);
    }
  }
}

TEST(CResults, RefuseToExpandAShortRecord) {
  const CEveryKind of(true);
  const double record[2] = {1, 2};
  std::int32_t isExpanded = -1;
  std::size_t count = 99;
  EXPECT_EQ(qvreg_results_expand_row(of.results.get(), record, 2, nullptr, 0, &count, &isExpanded,
                                     nullptr),
            QVREG_SHORT_RECORD);
  EXPECT_EQ(qvreg_logistic_expand_sparse(of.results.get(), record, 2, nullptr, nullptr, 0, &count,
                                         &isExpanded, nullptr),
            QVREG_SHORT_RECORD);
}

TEST(CResults, RefuseShortBuffersAndSayHowLong) {
  const CEveryKind of(true);
  const qvreg_results* results = of.results.get();
  double numbers[64] = {};
  std::int32_t whole[64] = {};
  std::size_t count = 0;
  const double record[3] = {1, 1, 1};
  std::int32_t flag = 0;
  const auto expectTooSmall = [&](std::int32_t code, std::size_t needed) {
    EXPECT_EQ(code, QVREG_BUFFER_TOO_SMALL);
    EXPECT_EQ(count, needed);
  };
  expectTooSmall(qvreg_results_get_estimates(results, numbers, 4, &count, nullptr), 5);
  expectTooSmall(qvreg_results_get_redundant(results, whole, 4, &count, nullptr), 5);
  expectTooSmall(qvreg_results_get_non_finite(results, whole, 4, &count, nullptr), 5);
  expectTooSmall(qvreg_results_get_means(results, numbers, 0, &count, nullptr), 1);
  expectTooSmall(qvreg_results_get_covariance_packed(results, numbers, 14, &count, nullptr), 15);
  expectTooSmall(qvreg_results_get_covariance_full(results, numbers, 6, 28, &count, nullptr), 29);
  expectTooSmall(qvreg_scaled_get_exponents(results, whole, 4, &count, nullptr), 5);
  expectTooSmall(qvreg_scaled_get_estimates(results, numbers, 4, &count, nullptr), 5);
  expectTooSmall(qvreg_scaled_get_covariance_packed(results, numbers, 14, &count, nullptr), 15);
  expectTooSmall(qvreg_scaled_get_redundant_combination(results, 0, numbers, 4, &count, nullptr),
                 5);
  expectTooSmall(qvreg_results_get_factor_counts(results, 0, numbers, nullptr, 2, &count, nullptr),
                 3);
  expectTooSmall(qvreg_results_get_dependent_counts(results, nullptr, numbers, 1, &count, nullptr),
                 2);
  expectTooSmall(qvreg_results_expand_row(results, record, 3, numbers, 4, &count, &flag, nullptr),
                 5);
  expectTooSmall(qvreg_logistic_get_categories(results, whole, numbers, 1, &count, nullptr), 2);
  expectTooSmall(qvreg_logistic_get_classification(results, numbers, 2, 3, &count, nullptr), 4);
  expectTooSmall(
      qvreg_logistic_expand_sparse(results, record, 3, whole, numbers, 2, &count, &flag, nullptr),
      3);
}

TEST(CResults, RefuseAStrideShorterThanARow) {
  const CEveryKind of(true);
  double elements[64] = {};
  EXPECT_EQ(qvreg_results_get_covariance_full(of.results.get(), elements, 4, 64, nullptr, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_logistic_get_classification(of.results.get(), elements, 1, 64, nullptr, nullptr),
            QVREG_BAD_ARGUMENT);
}

TEST(CResults, LeaveThePlacesBetweenRowsAlone) {
  const CEveryKind of(true);
  double elements[8] = {7, 7, 7, 7, 7, 7, 7, 7};
  ASSERT_EQ(qvreg_logistic_get_classification(of.results.get(), elements, 4, 8, nullptr, nullptr),
            QVREG_OK);
  EXPECT_EQ(elements[2], 7.0);
  EXPECT_EQ(elements[3], 7.0);
  EXPECT_EQ(elements[6], 7.0);
  EXPECT_EQ(elements[0] + elements[1] + elements[4] + elements[5], 12.0);
}

TEST(CResults, RefuseIndicesOutOfRange) {
  const CEveryKind of(false);
  const qvreg_results* results = of.results.get();
  double value = 0.0;
  EXPECT_EQ(qvreg_results_get_covariance(results, 5, 0, &value, nullptr), QVREG_BAD_INDEX);
  EXPECT_EQ(qvreg_results_get_covariance(results, 0, 5, &value, nullptr), QVREG_BAD_INDEX);
  std::vector<double> combination(10);
  EXPECT_EQ(
      qvreg_scaled_get_redundant_combination(results, 5, combination.data(), 10, nullptr, nullptr),
      QVREG_BAD_INDEX);
  for (const std::int32_t factor : {-1, 1}) {
    EXPECT_EQ(
        qvreg_results_get_factor_counts(results, factor, nullptr, nullptr, 0, nullptr, nullptr),
        QVREG_BAD_INDEX);
  }
}

TEST(CResults, DoNotServeWhatTheModelHasNot) {
  const CEveryKind linear(false);
  const CEveryKind logistic(true);
  double value = 5.0;
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(
      qvreg_results_get_fit_stat(linear.results.get(), QVREG_FIT_MCFADDEN_R_SQUARE, &value, &error),
      QVREG_NOT_SERVED);
  EXPECT_STREQ(error.message,
               "The model does not serve fit statistic 4, which belongs to the other model.");
  EXPECT_EQ(qvreg_results_get_fit_stat(logistic.results.get(), QVREG_FIT_RMSE, &value, nullptr),
            QVREG_NOT_SERVED);
  for (const std::int32_t stat : {-1, 5}) {
    EXPECT_EQ(qvreg_results_get_fit_stat(linear.results.get(), stat, &value, nullptr),
              QVREG_BAD_ARGUMENT);
  }
  EXPECT_EQ(value, 5.0);
  EXPECT_EQ(qvreg_results_get_dependent_counts(linear.results.get(), nullptr, nullptr, 0, nullptr,
                                               nullptr),
            QVREG_NOT_SERVED);
}

TEST(CResults, OfALinearModelAreNotLogistic) {
  const CEveryKind of(false);
  const qvreg_results* results = of.results.get();
  auto summary = Sized<qvreg_logistic_summary>();
  const double record[3] = {0, 0, 0};
  std::int32_t flag = 0;
  std::size_t count = 0;
  EXPECT_EQ(qvreg_logistic_get_summary(results, &summary, nullptr), QVREG_WRONG_MODEL);
  EXPECT_EQ(qvreg_logistic_get_categories(results, nullptr, nullptr, 0, &count, nullptr),
            QVREG_WRONG_MODEL);
  EXPECT_EQ(qvreg_logistic_get_classification(results, nullptr, 9, 0, &count, nullptr),
            QVREG_WRONG_MODEL);
  EXPECT_EQ(
      qvreg_logistic_expand_sparse(results, record, 3, nullptr, nullptr, 0, &count, &flag, nullptr),
      QVREG_WRONG_MODEL);
}

}  // namespace
}  // namespace qvtest
