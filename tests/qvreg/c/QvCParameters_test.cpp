#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"

namespace qvtest {
namespace {

TEST(CParameters, HaveNoOthersThanTheirs) {
  const CEveryKind of(false);
  const qvreg_parameters* p = of.parameters.get();
  std::size_t count = 0;
  auto info = Sized<qvreg_parameter_info>();
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_parameters_get_info(p, 5, &info, &error), QVREG_BAD_INDEX);
  EXPECT_STREQ(error.message, "There is no parameter of index 5; there are 5, counted from 0.");
  EXPECT_EQ(qvreg_parameters_get_factors(p, 5, nullptr, nullptr, nullptr, 0, &count, nullptr),
            QVREG_BAD_INDEX);
  EXPECT_EQ(qvreg_parameters_get_covariates(p, 5, nullptr, nullptr, 0, &count, nullptr),
            QVREG_BAD_INDEX);
}

TEST(CParameters, TellTheirFactorsAndCovariates) {
  const CEveryKind of(true);
  const qvreg_parameters* p = of.parameters.get();
  // An intercept, three levels, the covariate.
  const ParameterParts intercept = ParameterOf(p, 0);
  EXPECT_EQ(intercept.info.is_intercept, 1);
  EXPECT_EQ(intercept.info.effect_index, 0);
  EXPECT_EQ(intercept.info.target_category, 0);
  EXPECT_TRUE(intercept.factors.empty());
  const ParameterParts level = ParameterOf(p, 2);
  EXPECT_EQ(level.factors, (std::vector<std::int32_t>{CEveryKind::kFactor}));
  EXPECT_EQ(level.categories, (std::vector<std::int32_t>{1}));
  EXPECT_EQ(level.levels, (std::vector<std::int32_t>{0}));
  EXPECT_EQ(level.info.effect_index, 1);
  const ParameterParts slope = ParameterOf(p, 4);
  EXPECT_EQ(slope.covariates, (std::vector<std::int32_t>{CEveryKind::kX}));
  EXPECT_EQ(slope.multiplicities, (std::vector<std::int32_t>{1}));
  EXPECT_EQ(slope.info.covariate_multiplicity, 1);
}

TEST(CParameters, RefuseShortBuffersAndSayHowLong) {
  const CEveryKind of(false);
  const qvreg_parameters* p = of.parameters.get();
  std::int32_t unused = 0;
  std::size_t count = 0;
  EXPECT_EQ(qvreg_parameters_get_factors(p, 1, nullptr, &unused, nullptr, 0, &count, nullptr),
            QVREG_BUFFER_TOO_SMALL);
  EXPECT_EQ(count, 1U);
  count = 0;
  EXPECT_EQ(qvreg_parameters_get_covariates(p, 4, nullptr, &unused, 0, &count, nullptr),
            QVREG_BUFFER_TOO_SMALL);
  EXPECT_EQ(count, 1U);
}

TEST(CParameters, CreatedBeforeTheBuildAreThoseOfTheResults) {
  const CEveryKind of(false);
  const CComponent component = CComponentOf(of.settings);
  const CParameters created = Made<CParameters>([&](qvreg_parameters** made, qvreg_error* e) {
    return qvreg_component_create_parameters(component.get(), of.source.get(), made, e);
  });
  Require(
      [&](qvreg_error* e) { return qvreg_component_build(component.get(), of.source.get(), e); });
  std::size_t count = 0;
  ASSERT_EQ(qvreg_parameters_get_count(created.get(), &count, nullptr), QVREG_OK);
  EXPECT_EQ(count, 5U);
  for (std::size_t i = 0; i < count; ++i) {
    const ParameterParts one = ParameterOf(created.get(), i);
    const ParameterParts other = ParameterOf(of.parameters.get(), i);
    EXPECT_EQ(one.factors, other.factors);
    EXPECT_EQ(one.categories, other.categories);
    EXPECT_EQ(one.covariates, other.covariates);
    EXPECT_EQ(one.info.effect_index, other.info.effect_index);
  }
}

}  // namespace
}  // namespace qvtest
