#include <functional>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"

namespace qvtest {
namespace {

/// A component whose cancel callback runs what a test likes, at its fifth call.
class CReentry : public testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    const qvreg_cancel_callback callback = [](void* user) -> std::int32_t {
      auto& self = *static_cast<CReentry*>(user);
      if (++self.calls_ == self.callAt_) self.inside_();
      return 0;
    };
    Require([&](qvreg_error* e) {
      return qvreg_settings_set_cancel(of_.settings.get(), callback, this, e);
    });
    component_ = CComponentOf(of_.settings);
  }

  [[nodiscard]] std::int32_t Build() {
    return qvreg_component_build(component_.get(), of_.source.get(), nullptr);
  }
  void ExpectRefused(const std::function<std::int32_t(qvreg_error*)>& call) {
    const qvreg_error error = ErrorOf(call);
    EXPECT_EQ(error.code, QVREG_BAD_ARGUMENT);
    EXPECT_NE(std::string(error.message).find("a callback may only cancel"), std::string::npos)
        << error.message;
    ++refusals_;
  }

  const CEveryKind of_{GetParam()};
  CComponent component_;
  std::function<void()> inside_ = [] {};
  int calls_ = 0;
  int callAt_ = 5;
  int refusals_ = 0;
};

INSTANTIATE_TEST_SUITE_P(CInterface, CReentry, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "Logistic" : "Linear"; });

TEST_P(CReentry, ADestroyedComponentLivesToTheEndOfTheCall) {
  inside_ = [this] { qvreg_component_destroy(component_.release()); };
  EXPECT_EQ(Build(), QVREG_OK);
  EXPECT_EQ(component_, nullptr);
}

TEST_P(CReentry, ADestroyedSourceLivesToTheEndOfTheCall) {
  CRecordFeed feed(of_.records);
  CSource source = feed.Source();
  inside_ = [&source] { qvreg_source_destroy(source.release()); };
  EXPECT_EQ(qvreg_component_build(component_.get(), source.get(), nullptr), QVREG_OK);
  EXPECT_EQ(source, nullptr);
}

TEST_P(CReentry, ARunningComponentIsRefused) {
  const CColumns columns(of_.records);
  const CSource other = columns.Source();
  inside_ = [&] {
    ExpectRefused(
        [&](qvreg_error* e) { return qvreg_component_build(component_.get(), other.get(), e); });
    ExpectRefused([&](qvreg_error* e) {
      return qvreg_component_create_parameters(component_.get(), other.get(), nullptr, e);
    });
    ExpectRefused([&](qvreg_error* e) {
      const double record[3] = {0, 1, 2};
      double predicted = 0.0;
      return qvreg_component_score(component_.get(), record, 3, &predicted, nullptr, 0, nullptr, e);
    });
  };
  // What was refused leaves the run alone.
  EXPECT_EQ(Build(), QVREG_OK);
  EXPECT_EQ(refusals_, 3);
}

TEST_P(CReentry, ARunningSourceIsRefused) {
  const CComponent second = CComponentOf(of_.settings);
  inside_ = [&] {
    qvreg_source* source = of_.source.get();
    ExpectRefused([&](qvreg_error* e) { return qvreg_component_build(second.get(), source, e); });
    ExpectRefused([&](qvreg_error* e) { return qvreg_source_rewind(source, e); });
    ExpectRefused([&](qvreg_error* e) {
      double record[3] = {};
      std::int32_t hasRecord = 0;
      return qvreg_source_next(source, record, 3, &hasRecord, e);
    });
  };
  EXPECT_EQ(Build(), QVREG_OK);
  EXPECT_EQ(refusals_, 3);
  // The second component was not spoiled.
  EXPECT_EQ(qvreg_component_build(second.get(), of_.source.get(), nullptr), QVREG_OK);
}

TEST_P(CReentry, ARunMayCancelItself) {
  inside_ = [this] { EXPECT_EQ(qvreg_component_cancel(component_.get(), nullptr), QVREG_OK); };
  EXPECT_EQ(Build(), QVREG_CANCELLED);
}

TEST_P(CReentry, ACancelIsKept) {
  ASSERT_EQ(qvreg_component_cancel(component_.get(), nullptr), QVREG_OK);
  EXPECT_EQ(Build(), QVREG_CANCELLED);
  EXPECT_EQ(Build(), QVREG_CANCELLED);
}

TEST_P(CReentry, AScoringComponentIsRefused) {
  ASSERT_EQ(Build(), QVREG_OK);
  const CResults results = Made<CResults>([&](qvreg_results** made, qvreg_error* e) {
    return qvreg_component_get_results(component_.get(), made, e);
  });
  const double record[3] = {0, 1, 2};
  double predicted = 0.0;
  calls_ = 0;
  callAt_ = 1;
  inside_ = [&] {
    ExpectRefused([&](qvreg_error* e) {
      return qvreg_component_score(component_.get(), record, 3, &predicted, nullptr, 0, nullptr, e);
    });
    ExpectRefused([&](qvreg_error* e) {
      double row[8] = {};
      std::int32_t isExpanded = 0;
      return qvreg_results_expand_row(results.get(), record, 3, row, 8, nullptr, &isExpanded, e);
    });
    qvreg_component_destroy(component_.release());
  };
  EXPECT_EQ(
      qvreg_component_score(component_.get(), record, 3, &predicted, nullptr, 0, nullptr, nullptr),
      QVREG_OK);
  EXPECT_EQ(refusals_, 2);
}

TEST_P(CReentry, ASourceReadByItsOwnCallbackIsRefused) {
  CRecordFeed feed(of_.records);
  const CSource source = feed.Source();
  feed.onNext = [&](int /*pass*/, std::size_t position) {
    if (position == 1) {
      ExpectRefused([&](qvreg_error* e) { return qvreg_source_rewind(source.get(), e); });
    }
    return QVREG_NEXT_RECORD;
  };
  EXPECT_EQ(qvreg_component_build(component_.get(), source.get(), nullptr), QVREG_OK);
  EXPECT_GE(refusals_, 1);
}

}  // namespace
}  // namespace qvtest
