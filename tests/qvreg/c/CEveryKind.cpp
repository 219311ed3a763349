#include "tests/qvreg/c/CEveryKind.h"

#include <utility>

#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {
namespace {

std::vector<QvCommon::Record> Records(bool isLogistic) {
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < 12; ++i) {
    const double noise = (i * 5) % 7;
    const double y = isLogistic ? (noise > 3.0 ? 1.0 : 0.0) : 3.0 * i + noise;
    rows.push_back({y, static_cast<double>(i % 3), 0.5 * i});
  }
  return MakeRecords(rows);
}

CSettings Settings(bool isLogistic, const CEffect& slope) {
  CSettings made = Made<CSettings>([&](qvreg_settings** handle, qvreg_error* e) {
    return qvreg_settings_create(isLogistic ? QVREG_MODEL_LOGISTIC : QVREG_MODEL_LINEAR, handle, e);
  });
  qvreg_settings* settings = made.get();
  Require(
      [&](qvreg_error* e) { return qvreg_settings_set_dependent(settings, CEveryKind::kY, e); });
  Require([&](qvreg_error* e) {
    return qvreg_settings_add_factor(settings, CEveryKind::kFactor, 3, e);
  });
  Require(
      [&](qvreg_error* e) { return qvreg_settings_add_covariate(settings, CEveryKind::kX, e); });
  CEffect groups = Made<CEffect>([&](qvreg_effect** copy, qvreg_error* e) {
    return qvreg_effect_clone(slope.get(), copy, e);
  });
  Require([&](qvreg_error* e) { return qvreg_effect_reset(groups.get(), e); });
  Require([&](qvreg_error* e) {
    return qvreg_effect_add_factor(groups.get(), CEveryKind::kFactor, 0, e);
  });
  for (const qvreg_effect* effect : {groups.get(), slope.get()}) {
    Require([&](qvreg_error* e) { return qvreg_settings_add_effect(settings, effect, e); });
  }
  return made;
}

CEffect Slope() {
  const std::int32_t factor = CEveryKind::kFactor;
  const std::int32_t covariate = CEveryKind::kX;
  CEffect slope = Made<CEffect>([&](qvreg_effect** effect, qvreg_error* e) {
    return qvreg_effect_create(&factor, 1, &covariate, 1, effect, e);
  });
  Require([&](qvreg_error* e) {
    return qvreg_effect_add_covariate(slope.get(), covariate, nullptr, e);
  });
  return slope;
}

}  // namespace

CEveryKind::CEveryKind(bool isLogistic)
    : records(Records(isLogistic)), columns(records), effect(Slope()), source(columns.Source()) {
  settings = Settings(isLogistic, effect);
  CFit fit = CFitOf(settings, source);
  component = std::move(fit.component);
  results = std::move(fit.results);
  parameters = Made<CParameters>([&](qvreg_parameters** made, qvreg_error* e) {
    return qvreg_results_get_parameters(results.get(), made, e);
  });
}

}  // namespace qvtest
