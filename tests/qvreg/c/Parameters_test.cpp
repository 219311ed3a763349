#include <gtest/gtest.h>

#include "tests/qvreg/c/CEveryKind.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace qvtest {
namespace {

CParameters Make(std::size_t count) {
  CParameters parameters = Made<CParameters>(
      [](qvreg_parameters** made, qvreg_error* e) { return qvreg_parameters_create(made, e); });
  for (std::size_t i = 0; i < count; ++i) {
    std::size_t index = 99;
    EXPECT_EQ(qvreg_parameters_append(parameters.get(), &index, nullptr), QVREG_OK);
    EXPECT_EQ(index, i);
  }
  return parameters;
}

qvreg_parameter_info InfoOf(const CParameters& parameters, std::size_t index) {
  auto info = Sized<qvreg_parameter_info>();
  Require(
      [&](qvreg_error* e) { return qvreg_parameters_get_info(parameters.get(), index, &info, e); });
  return info;
}

TEST(CParameters, AreBuiltByAHost) {
  const CParameters parameters = Make(2);
  qvreg_parameters* p = parameters.get();
  EXPECT_EQ(qvreg_parameters_add_factor(p, 0, 4, 1, 1, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_parameters_add_factor(p, 0, 2, 3, 0, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_parameters_set_category(p, 0, 1, 7, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_parameters_add_covariate(p, 0, 5, 2, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_parameters_add_covariate(p, 0, 5, 1, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_parameters_set_effect_index(p, 0, 3, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_parameters_set_target_category(p, 0, 1, nullptr), QVREG_OK);
  const qvreg_parameter_info info = InfoOf(parameters, 0);
  EXPECT_EQ(info.n_factors, 2);
  EXPECT_EQ(info.n_covariates, 1);
  EXPECT_EQ(info.covariate_multiplicity, 3);
  EXPECT_EQ(info.is_intercept, 0);
  EXPECT_EQ(info.effect_index, 3);
  EXPECT_EQ(info.target_category, 1);
  EXPECT_EQ(InfoOf(parameters, 1).is_intercept, 1);
  EXPECT_EQ(InfoOf(parameters, 1).effect_index, -1);

  std::vector<std::int32_t> variables(2);
  std::vector<std::int32_t> categories(2);
  std::vector<std::int32_t> levels(2);
  EXPECT_EQ(qvreg_parameters_get_factors(p, 0, variables.data(), categories.data(), levels.data(),
                                         2, nullptr, nullptr),
            QVREG_OK);
  EXPECT_EQ(variables, (std::vector<std::int32_t>{2, 4}));
  EXPECT_EQ(categories, (std::vector<std::int32_t>{3, 7}));
  EXPECT_EQ(levels, (std::vector<std::int32_t>{0, 1}));
  std::int32_t number = 0;
  EXPECT_EQ(qvreg_parameters_get_category(p, 0, 4, -5, &number, nullptr), QVREG_OK);
  EXPECT_EQ(number, 7);
  EXPECT_EQ(qvreg_parameters_get_category(p, 0, 5, -5, &number, nullptr), QVREG_OK);
  EXPECT_EQ(number, -5);
  EXPECT_EQ(qvreg_parameters_get_covariate_multiplicity(p, 0, 5, &number, nullptr), QVREG_OK);
  EXPECT_EQ(number, 3);
}

TEST(CParameters, RefuseWhatTheyCannotHold) {
  const CParameters parameters = Make(1);
  qvreg_parameters* p = parameters.get();
  EXPECT_EQ(qvreg_parameters_add_factor(p, 0, -1, 0, 0, nullptr), QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_parameters_add_factor(p, 0, 1, 0, -1, nullptr), QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_parameters_add_factor(p, 0, 1, 0, 0, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_parameters_add_factor(p, 0, 1, 0, 0, nullptr), QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_parameters_add_covariate(p, 0, 1, 0, nullptr), QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_parameters_set_effect_index(p, 0, -1, nullptr), QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_parameters_set_category(p, 0, 1, 0, nullptr), QVREG_BAD_INDEX);
}

TEST(CParameters, HaveNoOthersThanTheirs) {
  const CParameters parameters = Make(1);
  qvreg_parameters* p = parameters.get();
  std::int32_t number = 0;
  std::size_t count = 0;
  auto info = Sized<qvreg_parameter_info>();
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_parameters_get_info(p, 1, &info, &error), QVREG_BAD_INDEX);
  EXPECT_STREQ(error.message, "There is no parameter of index 1; there are 1, counted from 0.");
  EXPECT_EQ(qvreg_parameters_get_factors(p, 1, nullptr, nullptr, nullptr, 0, &count, nullptr),
            QVREG_BAD_INDEX);
  EXPECT_EQ(qvreg_parameters_get_covariates(p, 1, nullptr, nullptr, 0, &count, nullptr),
            QVREG_BAD_INDEX);
  EXPECT_EQ(qvreg_parameters_get_category(p, 1, 0, 0, &number, nullptr), QVREG_BAD_INDEX);
  EXPECT_EQ(qvreg_parameters_equal(p, 0, p, 1, &number, nullptr), QVREG_BAD_INDEX);
  EXPECT_EQ(qvreg_parameters_add_factor(p, 1, 0, 0, 0, nullptr), QVREG_BAD_INDEX);
  EXPECT_EQ(qvreg_parameters_display(p, 1, nullptr), QVREG_BAD_INDEX);
}

TEST(CParameters, AreSetUpFromAnEffect) {
  const CEveryKind of(false);
  const CParameters parameters = Make(2);
  qvreg_parameters* p = parameters.get();
  EXPECT_EQ(qvreg_parameters_setup_from_effect(p, 0, of.effect.get(), 2, 0, nullptr), QVREG_OK);
  EXPECT_EQ(InfoOf(parameters, 0).n_covariates, 1);
  EXPECT_EQ(InfoOf(parameters, 0).effect_index, 2);
  EXPECT_EQ(qvreg_parameters_setup_from_effect(p, 0, of.effect.get(), -1, 0, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(qvreg_parameters_setup_from_effect(p, 0, nullptr, 1, 0, nullptr), QVREG_NULL_HANDLE);
  ASSERT_EQ(qvreg_effect_reset(of.effect.get(), nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_parameters_setup_from_effect(p, 0, of.effect.get(), 1, 0, nullptr),
            QVREG_BAD_ARGUMENT);
}

TEST(CParameters, AreCompared) {
  const CParameters parameters = Make(2);
  qvreg_parameters* p = parameters.get();
  std::int32_t answer = -1;
  EXPECT_EQ(qvreg_parameters_equal(p, 0, p, 1, &answer, nullptr), QVREG_OK);
  EXPECT_EQ(answer, 1);
  ASSERT_EQ(qvreg_parameters_set_target_category(p, 1, 4, nullptr), QVREG_OK);
  EXPECT_EQ(qvreg_parameters_equal(p, 0, p, 1, &answer, nullptr), QVREG_OK);
  EXPECT_EQ(answer, 0);
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
    std::int32_t isEqual = 0;
    EXPECT_EQ(qvreg_parameters_equal(created.get(), i, of.parameters.get(), i, &isEqual, nullptr),
              QVREG_OK);
    EXPECT_EQ(isEqual, 1);
  }
}

TEST(CParameters, ArePrinted) {
  const CEveryKind of(false);
  const std::string text = OutputOf(
      [&] { EXPECT_EQ(qvreg_parameters_display(of.parameters.get(), 1, nullptr), QVREG_OK); });
  EXPECT_FALSE(text.empty());
}

}  // namespace
}  // namespace qvtest
