// A host that loads the library when it needs it, unloads it, and loads it again.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/QvVersion.h"
#include "qvreg/c/qvreg_c.h"
#include "tests/shared/HeapUse.h"
#include "tests/shared/Library.h"

namespace {

using qvtest::Library;

const std::string kPath = QVREG_LIBRARY;

/// y = 1 + 2 x, fitted through the C interface of a library that was loaded just now.
std::vector<double> FitLine(const Library& library) {
#define QVREG_GET(name) auto* const name = library.Get<decltype(::name)>(#name)
  QVREG_GET(qvreg_settings_create);
  QVREG_GET(qvreg_settings_set_dependent);
  QVREG_GET(qvreg_settings_add_covariate);
  QVREG_GET(qvreg_settings_add_effect);
  QVREG_GET(qvreg_settings_destroy);
  QVREG_GET(qvreg_effect_create);
  QVREG_GET(qvreg_effect_add_covariate);
  QVREG_GET(qvreg_effect_destroy);
  QVREG_GET(qvreg_source_create_columns);
  QVREG_GET(qvreg_source_destroy);
  QVREG_GET(qvreg_component_create);
  QVREG_GET(qvreg_component_build);
  QVREG_GET(qvreg_component_get_results);
  QVREG_GET(qvreg_component_destroy);
  QVREG_GET(qvreg_results_get_estimates);
  QVREG_GET(qvreg_results_destroy);
#undef QVREG_GET

  const std::vector<double> y{1, 3, 5, 7, 9};
  const std::vector<double> x{0, 1, 2, 3, 4};
  const qvreg_column columns[] = {{y.data(), 1}, {x.data(), 1}};
  const std::int32_t covariate = 1;
  std::vector<double> estimates(2);

  qvreg_settings* settings = nullptr;
  qvreg_effect* effect = nullptr;
  qvreg_source* source = nullptr;
  qvreg_component* component = nullptr;
  qvreg_results* results = nullptr;
  EXPECT_EQ(qvreg_settings_create(QVREG_MODEL_LINEAR, &settings, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_set_dependent(settings, 0, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_add_covariate(settings, covariate, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_effect_create(nullptr, 0, &covariate, 1, &effect, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_effect_add_covariate(effect, covariate, nullptr, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_settings_add_effect(settings, effect, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_source_create_columns(columns, 2, y.size(), &source, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_component_create(settings, &component, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_component_build(component, source, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_component_get_results(component, &results, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_results_get_estimates(results, estimates.data(), 2, nullptr, nullptr), QVREG_OK);
  qvreg_results_destroy(results);
  qvreg_component_destroy(component);
  qvreg_source_destroy(source);
  qvreg_effect_destroy(effect);
  qvreg_settings_destroy(settings);
  return estimates;
}

TEST(Reload, UnloadedItIsGoneAndLoadedAgainItFits) {
  ASSERT_FALSE(Library::IsLoaded(kPath));
  for (int i = 0; i < 20; ++i) {
    {
      const Library library(kPath);
      EXPECT_STREQ(library.Get<decltype(qvreg_version_string)>("qvreg_version_string")(),
                   QVREG_VERSION_STRING);
      const std::vector<double> estimates = FitLine(library);
      EXPECT_NEAR(estimates[0], 1.0, 1e-12);
      EXPECT_NEAR(estimates[1], 2.0, 1e-12);
    }
    ASSERT_FALSE(Library::IsLoaded(kPath)) << "time " << i;
  }
}

TEST(Reload, NothingIsLeftBehind) {
  const std::size_t growth = qvtest::HeapGrowth([] {
    const Library library(kPath);
    (void)FitLine(library);
  });
  EXPECT_EQ(growth, 0U);
}

TEST(Reload, TwoCopiesLoadedTogetherAreOne) {
  const Library first(kPath);
  const Library second(kPath);
  EXPECT_EQ(first.Get<decltype(qvreg_version)>("qvreg_version"),
            second.Get<decltype(qvreg_version)>("qvreg_version"));
}

}  // namespace
