#include <algorithm>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/c/CTyped.h"
#include "tests/qvreg/support/AllocationHooks.h"

namespace qvtest {
namespace {

/// A whole run through the interface, given back: the first code that was not success.
std::int32_t RunAll(const CColumns& columns, bool isLogistic, double& firstEstimate) {
  struct Handles {
    qvreg_settings* settings = nullptr;
    qvreg_effect* effect = nullptr;
    qvreg_source* source = nullptr;
    qvreg_component* component = nullptr;
    qvreg_parameters* parameters = nullptr;
    qvreg_results* results = nullptr;
    ~Handles() {
      qvreg_results_destroy(results);
      qvreg_parameters_destroy(parameters);
      qvreg_component_destroy(component);
      qvreg_source_destroy(source);
      qvreg_effect_destroy(effect);
      qvreg_settings_destroy(settings);
    }
  } h;
  const std::int32_t x = CEveryKind::kX;
  const double record[3] = {0, 1, 2};
  double estimates[8] = {};
  double predicted = 0.0;
  std::int32_t isExpanded = 0;
  std::int32_t code = qvreg_settings_create(isLogistic ? QVREG_MODEL_LOGISTIC : QVREG_MODEL_LINEAR,
                                            &h.settings, nullptr);
  const auto next = [&](auto&& call) {
    if (code == QVREG_OK) code = call();
  };
  next([&] { return qvreg_settings_set_dependent(h.settings, CEveryKind::kY, nullptr); });
  next([&] { return qvreg_settings_add_factor(h.settings, CEveryKind::kFactor, 3, nullptr); });
  next([&] { return qvreg_settings_add_covariate(h.settings, x, nullptr); });
  next([&] { return qvreg_effect_create(nullptr, 0, &x, 1, &h.effect, nullptr); });
  next([&] { return qvreg_effect_add_covariate(h.effect, x, nullptr, nullptr); });
  next([&] { return qvreg_settings_add_effect(h.settings, h.effect, nullptr); });
  next([&] { return columns.TrySource(&h.source); });
  next([&] { return qvreg_component_create(h.settings, &h.component, nullptr); });
  next([&] {
    return qvreg_component_create_parameters(h.component, h.source, &h.parameters, nullptr);
  });
  next([&] { return qvreg_component_build(h.component, h.source, nullptr); });
  next([&] { return qvreg_component_get_results(h.component, &h.results, nullptr); });
  next([&] { return qvreg_results_get_estimates(h.results, estimates, 8, nullptr, nullptr); });
  next([&] {
    return qvreg_component_score(h.component, record, 3, &predicted, nullptr, 0, nullptr, nullptr);
  });
  next([&] {
    return qvreg_results_expand_row(h.results, record, 3, estimates + 2, 6, nullptr, &isExpanded,
                                    nullptr);
  });
  firstEstimate = estimates[0];
  return code;
}

class CAllocation : public testing::TestWithParam<bool> {};

INSTANTIATE_TEST_SUITE_P(CInterface, CAllocation, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "Logistic" : "Linear"; });

/// Every allocation of a run fails once; none is fatal, and nothing is lost.
TEST_P(CAllocation, ThatFailsIsACode) {
  const CEveryKind of(GetParam());
  double expected = 0.0;
  const long long before = AllocationCount();
  ASSERT_EQ(RunAll(of.columns, GetParam(), expected), QVREG_OK);
  const long long total = AllocationCount() - before;
  ASSERT_GT(total, 50);
  for (const auto extent : {AllocationFault::Extent::kOnce, AllocationFault::Extent::kEverAfter}) {
    for (long long n = 1; n <= total; ++n) {
      SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total));
      const long long live = LiveAllocations();
      double estimate = 0.0;
      std::int32_t code = -1;
      bool hasStruck = false;
      {
        const AllocationFault fault(n, extent);
        code = RunAll(of.columns, GetParam(), estimate);
        hasStruck = fault.HasStruck();
      }
      EXPECT_EQ(LiveAllocations(), live);
      EXPECT_TRUE(hasStruck);
      if (code == QVREG_OK) {
        EXPECT_EQ(estimate, expected);
      } else {
        EXPECT_TRUE(code == QVREG_OUT_OF_MEMORY || code == QVREG_TOO_MANY_PARAMETERS) << code;
      }
    }
  }
}

/// Typed columns read, summed up, scored on threads, and products of their scores: the first code
/// that was not success, and a sum of results.
std::int32_t RunTyped(const CEveryKind& of, const CTypedRecords& typed, double& sum) {
  const std::vector<qvreg_typed_column>& columns = typed.Columns();
  double record[CEveryKind::kWidth] = {};
  double predicted[64] = {};
  double products[64] = {};
  double multipliers[64];
  std::fill_n(multipliers, 64, 1.0);
  std::int32_t hasRecord = 0;
  auto summary = Sized<qvreg_column_summary>();
  auto scores = Sized<qvreg_scores>();
  scores.predicted = predicted;
  qvreg_source* source = nullptr;
  std::int32_t code = qvreg_source_create_typed_columns(columns.data(), columns.size(),
                                                        typed.Count(), &source, nullptr);
  const auto next = [&](auto&& call) {
    if (code == QVREG_OK) code = call();
  };
  next([&] { return qvreg_source_next(source, record, CEveryKind::kWidth, &hasRecord, nullptr); });
  qvreg_source_destroy(source);
  next([&] { return qvreg_column_summarize(columns.data(), typed.Count(), &summary, nullptr); });
  next([&] {
    return qvreg_component_score_columns(of.component.get(), columns.data(), columns.size(),
                                         typed.Count(), 2, &scores, nullptr, nullptr);
  });
  next([&] {
    return qvreg_component_add_score_products(of.component.get(), columns.data(), columns.size(),
                                              typed.Count(), 2, multipliers, 0, products, 64,
                                              nullptr);
  });
  sum = record[0] + predicted[0] + products[0];
  return code;
}

TEST_P(CAllocation, ThatFailsOverTypedColumnsIsACode) {
  const CEveryKind of(GetParam());
  const CTypedRecords typed(of.records);
  ASSERT_LE(typed.Count(), 64U);
  double expected = 0.0;
  const long long before = AllocationCount();
  ASSERT_EQ(RunTyped(of, typed, expected), QVREG_OK);
  const long long total = AllocationCount() - before;
  ASSERT_GT(total, 10);
  for (const auto extent : {AllocationFault::Extent::kOnce, AllocationFault::Extent::kEverAfter}) {
    for (long long n = 1; n <= total; ++n) {
      SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total));
      const long long live = LiveAllocations();
      double sum = 0.0;
      std::int32_t code = -1;
      {
        const AllocationFault fault(n, extent);
        code = RunTyped(of, typed, sum);
      }
      EXPECT_EQ(LiveAllocations(), live);
      if (code == QVREG_OK) {
        EXPECT_EQ(sum, expected);
      } else {
        EXPECT_TRUE(code == QVREG_OUT_OF_MEMORY || code == QVREG_TOO_MANY_PARAMETERS) << code;
      }
    }
  }
}

TEST_P(CAllocation, OfScoresAndReadingDoesNotGrowWithTheRecords) {
  const CEveryKind of(GetParam());
  const auto allocations = [&](std::size_t copies) {
    std::vector<QvCommon::Record> records;
    for (std::size_t i = 0; i < copies; ++i) {
      records.insert(records.end(), of.records.begin(), of.records.end());
    }
    const CTypedRecords typed(records);
    const std::vector<qvreg_typed_column>& columns = typed.Columns();
    std::vector<double> predicted(typed.Count());
    auto scores = Sized<qvreg_scores>();
    scores.predicted = predicted.data();
    double record[CEveryKind::kWidth] = {};
    std::int32_t hasRecord = 1;
    const long long before = AllocationCount();
    EXPECT_EQ(qvreg_component_score_columns(of.component.get(), columns.data(), columns.size(),
                                            typed.Count(), 1, &scores, nullptr, nullptr),
              QVREG_OK);
    const CSource source = typed.Source();
    while (hasRecord != 0) {
      if (qvreg_source_next(source.get(), record, CEveryKind::kWidth, &hasRecord, nullptr) != 0) {
        throw std::runtime_error("not read");
      }
    }
    return AllocationCount() - before;
  };
  EXPECT_EQ(allocations(2000), allocations(500));
}

/// A worker over all records, and what it and its runner need.
struct LoneWorker {
  qvreg_worker* worker = nullptr;
  qvreg_source* source = nullptr;

  static std::int32_t Run(void* user, const qvreg_bytes* request, qvreg_bytes** answer) {
    const auto& self = *static_cast<LoneWorker*>(user);
    qvreg_bytes* whole = nullptr;
    qvreg_bytes* none = nullptr;
    std::int32_t code = qvreg_worker_run(self.worker, request, 0, self.source, &whole, nullptr);
    if (code == QVREG_OK) {
      // Merging is another step that may fail; its result is not needed.
      code = qvreg_worker_merge(self.worker, request, whole, whole, &none, nullptr);
    }
    qvreg_bytes_destroy(none);
    *answer = whole;
    return code;
  }
};

/// Settings by way of their bytes, then a run on a thread or by a worker: the first code that was
/// not success, and a sum of results.
std::int32_t RunInParts(const CEveryKind& of, bool isLogistic, bool isOnThreads, double& sum) {
  struct Handles {
    qvreg_settings* settings = nullptr;
    qvreg_bytes* bytes = nullptr;
    qvreg_component* component = nullptr;
    qvreg_bytes* model = nullptr;
    qvreg_component* restored = nullptr;
    qvreg_bytes* text = nullptr;
    qvreg_component* again = nullptr;
    qvreg_results* results = nullptr;
    LoneWorker alone;
    ~Handles() {
      qvreg_component_destroy(again);
      qvreg_bytes_destroy(text);
      qvreg_component_destroy(restored);
      qvreg_bytes_destroy(model);
      qvreg_results_destroy(results);
      qvreg_component_destroy(component);
      qvreg_bytes_destroy(bytes);
      qvreg_settings_destroy(settings);
      qvreg_source_destroy(alone.source);
      qvreg_worker_destroy(alone.worker);
    }
  } h;
  double estimates[8] = {};
  std::int32_t code = qvreg_settings_write(of.settings.get(), &h.bytes, nullptr);
  const auto next = [&](auto&& call) {
    if (code == QVREG_OK) code = call();
  };
  next([&] { return qvreg_settings_read(h.bytes, &h.settings, nullptr); });
  next([&] { return of.columns.TrySource(&h.alone.source); });
  if (isOnThreads) {
    next([&] { return qvreg_settings_set_threads(h.settings, h.alone.source, 1, 0, nullptr); });
  } else {
    next([&] { return qvreg_worker_create(&h.alone.worker, nullptr); });
    next(
        [&] { return qvreg_settings_set_runner(h.settings, &LoneWorker::Run, &h.alone, nullptr); });
  }
  next([&] { return qvreg_component_create(h.settings, &h.component, nullptr); });
  next([&] { return qvreg_component_build(h.component, nullptr, nullptr); });
  next([&] { return qvreg_component_write(h.component, &h.model, nullptr); });
  next([&] { return qvreg_component_restore(h.model, &h.restored, nullptr); });
  next([&] { return qvreg_component_write_text(h.restored, &h.text, nullptr); });
  next([&] { return qvreg_component_restore_text(h.text, &h.again, nullptr); });
  next([&] { return qvreg_component_get_results(h.restored, &h.results, nullptr); });
  next([&] { return qvreg_results_get_estimates(h.results, estimates, 8, nullptr, nullptr); });
  sum = estimates[0];
  if (isLogistic) {
    next([&] {
      return qvreg_logistic_get_classification(h.results, estimates, 2, 8, nullptr, nullptr);
    });
    sum += estimates[0];
  }
  return code;
}

TEST_P(CAllocation, ThatFailsInPartsIsACode) {
  const CEveryKind of(GetParam());
  for (const bool isOnThreads : {false, true}) {
    double expected = 0.0;
    const long long before = AllocationCount();
    ASSERT_EQ(RunInParts(of, GetParam(), isOnThreads, expected), QVREG_OK);
    const long long total = AllocationCount() - before;
    for (const auto extent :
         {AllocationFault::Extent::kOnce, AllocationFault::Extent::kEverAfter}) {
      // Fewer of the many that iterations make.
      for (long long n = 1; n <= total; n += 1 + n / 400) {
        SCOPED_TRACE("allocation " + std::to_string(n) + " of " + std::to_string(total));
        const long long live = LiveAllocations();
        double estimate = 0.0;
        std::int32_t code = -1;
        {
          const AllocationFault fault(n, extent);
          code = RunInParts(of, GetParam(), isOnThreads, estimate);
        }
        EXPECT_EQ(LiveAllocations(), live);
        if (code == QVREG_OK) {
          EXPECT_EQ(estimate, expected);
        } else {
          EXPECT_TRUE(code == QVREG_OUT_OF_MEMORY || code == QVREG_TOO_MANY_PARAMETERS ||
                      code == QVREG_UNREADABLE_MESSAGE || code == QVREG_UNREADABLE_RECORD)
              << code;
        }
      }
    }
  }
}

}  // namespace
}  // namespace qvtest
