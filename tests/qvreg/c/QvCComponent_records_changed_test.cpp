// A source that does not deliver the same records in every pass ends the run.
#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"

namespace qvtest {
namespace {

class CRecordsChanged : public testing::TestWithParam<bool> {
 protected:
  /// Builds from records of which the last is missing in one pass.
  qvreg_error Build(int pass) {
    const std::size_t last = of_.records.size() - 1;
    feed_.onNext = [=](int now, std::size_t position) -> std::int32_t {
      return now == pass && position == last ? QVREG_NEXT_END : QVREG_NEXT_RECORD;
    };
    return ErrorOf(
        [&](qvreg_error* e) { return qvreg_component_build(component_.get(), source_.get(), e); });
  }
  [[nodiscard]] qvreg_record_counts Counts() const {
    auto counts = Sized<qvreg_record_counts>();
    Require([&](qvreg_error* e) {
      return qvreg_component_get_record_counts(component_.get(), &counts, e);
    });
    return counts;
  }

  const CEveryKind of_{GetParam()};
  CRecordFeed feed_{of_.records};
  const CSource source_ = feed_.Source();
  const CComponent component_ = CComponentOf(of_.settings);
};

INSTANTIATE_TEST_SUITE_P(CInterface, CRecordsChanged, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "Logistic" : "Linear"; });

TEST_P(CRecordsChanged, EndTheRunWithAnErrorOfTheirOwn) {
  const auto n = static_cast<std::int64_t>(of_.records.size());
  const qvreg_error error = Build(2);
  EXPECT_EQ(error.code, QVREG_RECORDS_CHANGED);
  EXPECT_EQ(error.is_warning, 0);
  EXPECT_EQ(error.discrete[0], n - 1);
  EXPECT_EQ(error.discrete[1], n);
  EXPECT_EQ(error.message,
            "The first pass used " + std::to_string(n) + " records, and a later one " +
                std::to_string(n - 1) +
                "; check that the record source delivers the same records in every pass.");
  EXPECT_EQ(Counts().used, n);
  EXPECT_EQ(Counts().used_later, n - 1);
}

TEST_P(CRecordsChanged, LeaveTheComponentWithoutAModel) {
  Build(2);
  auto status = Sized<qvreg_error>();
  Require([&](qvreg_error* e) { return qvreg_component_get_status(component_.get(), &status, e); });
  EXPECT_EQ(status.code, QVREG_RECORDS_CHANGED);
  std::int32_t isBuilt = -1;
  Require([&](qvreg_error* e) { return qvreg_component_is_built(component_.get(), &isBuilt, e); });
  EXPECT_EQ(isBuilt, 0);
  qvreg_results* results = nullptr;
  EXPECT_EQ(qvreg_component_get_results(component_.get(), &results, nullptr),
            QVREG_RECORDS_CHANGED);
  EXPECT_EQ(results, nullptr);
  const double record[3] = {0, 1, 2};
  double predicted = 77.0;
  EXPECT_EQ(
      qvreg_component_score(component_.get(), record, 3, &predicted, nullptr, 0, nullptr, nullptr),
      QVREG_RECORDS_CHANGED);
  EXPECT_EQ(predicted, 77.0);
  EXPECT_EQ(Build(0).code, QVREG_RECORDS_CHANGED);
}

TEST_P(CRecordsChanged, AreNoneWhereEveryPassIsTheSame) {
  EXPECT_EQ(Build(0).code, QVREG_OK);
  EXPECT_EQ(Counts().used_later, -1);
}

}  // namespace
}  // namespace qvtest
