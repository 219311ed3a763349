#include <cstring>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "qvreg/c/QvCCall.h"
#include "tests/qvreg/c/CHost.h"

namespace qvtest {
namespace {

/// What every call may be given besides its handle; the numbers are valid for any of them.
struct Arguments {
  std::int32_t i = 0;
  std::size_t n = 0;
  double x = 0.0;
  const std::uint8_t* data = nullptr;
  std::vector<double> record{1.0, 1.0, 1.0};
  qvreg_error other = QVREG_ERROR_INIT;
};

/// A function of the interface with all its arguments but the handle.
struct Function {
  const char* name;
  const char* kind;
  /// Takes a handle of the function's kind.
  std::function<std::int32_t(void* handle, qvreg_error* error)> call;
};

template <typename T>
T* As(void* handle) {
  return static_cast<T*>(handle);
}

#define QV_CALL(kind, function, ...)                                           \
  {                                                                            \
#function, #kind, [](void* h, qvreg_error* e) {                              \
      [[maybe_unused]] static Arguments a;                                       \
      [[maybe_unused]] static CEveryKind k(true);                                \
      return function(As<kind>(h) __VA_OPT__(, ) __VA_ARGS__, e);                \
    } \
  }

template <typename Struct>
Struct* Room() {
  static Struct structure;
  structure = Sized<Struct>();
  return &structure;
}

/// Every function that takes a handle first, but those that give one back.
const std::vector<Function>& Functions() {
  static qvreg_settings* settings = nullptr;
  static qvreg_effect* effect = nullptr;
  static qvreg_parameters* parameters = nullptr;
  static qvreg_results* results = nullptr;
  static qvreg_bytes* bytes = nullptr;
  static qvreg_component* component = nullptr;
  static const std::vector<Function> functions = {
      QV_CALL(qvreg_settings, qvreg_settings_get_model, &a.i),
      QV_CALL(qvreg_settings, qvreg_settings_validate),
      QV_CALL(qvreg_settings, qvreg_settings_set_dependent, 7),
      QV_CALL(qvreg_settings, qvreg_settings_add_factor, 8, 2),
      QV_CALL(qvreg_settings, qvreg_settings_add_covariate, 9),
      QV_CALL(qvreg_settings, qvreg_settings_set_frequency_weight, 10),
      QV_CALL(qvreg_settings, qvreg_settings_set_regression_weight, 11),
      QV_CALL(qvreg_settings, qvreg_settings_set_record_count, 12),
      QV_CALL(qvreg_settings, qvreg_settings_get_record_count, &a.i),
      QV_CALL(qvreg_settings, qvreg_settings_add_effect, k.effect.get()),
      QV_CALL(qvreg_settings, qvreg_settings_get_effect, 0, &effect),
      QV_CALL(qvreg_settings, qvreg_settings_get_roles, Room<qvreg_roles>()),
      QV_CALL(qvreg_settings, qvreg_settings_get_factors, nullptr, nullptr, 0, &a.n),
      QV_CALL(qvreg_settings, qvreg_settings_get_covariates, nullptr, 0, &a.n),
      QV_CALL(qvreg_settings, qvreg_settings_get_options, Room<qvreg_options>()),
      QV_CALL(qvreg_settings, qvreg_settings_set_options, Room<qvreg_options>()),
      QV_CALL(qvreg_settings, qvreg_settings_get_logistic_options, Room<qvreg_logistic_options>()),
      QV_CALL(qvreg_settings, qvreg_settings_set_logistic_options, Room<qvreg_logistic_options>()),
      QV_CALL(qvreg_settings, qvreg_settings_set_starting_values, nullptr, 0),
      QV_CALL(qvreg_settings, qvreg_settings_set_progress, nullptr, nullptr),
      QV_CALL(qvreg_settings, qvreg_settings_set_cancel, nullptr, nullptr),

      QV_CALL(qvreg_settings, qvreg_settings_set_runner, nullptr, nullptr),
      QV_CALL(qvreg_settings, qvreg_settings_set_threads, k.source.get(), 1, 0),
      QV_CALL(qvreg_settings, qvreg_settings_write, &bytes),

      QV_CALL(qvreg_bytes, qvreg_bytes_get_data, &a.data, &a.n),
      QV_CALL(qvreg_bytes, qvreg_settings_read, &settings),
      QV_CALL(qvreg_bytes, qvreg_component_restore, &component),
      QV_CALL(qvreg_bytes, qvreg_component_restore_text, &component),

      QV_CALL(qvreg_worker, qvreg_worker_run, k.bytes.get(), 0, k.source.get(), &bytes),
      QV_CALL(qvreg_worker, qvreg_worker_merge, k.bytes.get(), k.bytes.get(), k.bytes.get(),
              &bytes),
      QV_CALL(qvreg_worker, qvreg_worker_cancel),

      QV_CALL(qvreg_effect, qvreg_effect_reset),
      QV_CALL(qvreg_effect, qvreg_effect_add_factor, 1, 0),
      QV_CALL(qvreg_effect, qvreg_effect_add_covariate, 2, &a.i),
      QV_CALL(qvreg_effect, qvreg_effect_get_factors, nullptr, nullptr, 0, &a.n),
      QV_CALL(qvreg_effect, qvreg_effect_get_covariates, nullptr, nullptr, 0, &a.n),

      QV_CALL(qvreg_source, qvreg_source_rewind),
      QV_CALL(qvreg_source, qvreg_source_next, a.record.data(), 3, &a.i),

      QV_CALL(qvreg_component, qvreg_component_get_settings, &settings),
      QV_CALL(qvreg_component, qvreg_component_create_parameters, k.source.get(), &parameters),
      QV_CALL(qvreg_component, qvreg_component_build, k.source.get()),
      QV_CALL(qvreg_component, qvreg_component_is_built, &a.i),
      QV_CALL(qvreg_component, qvreg_component_cancel),
      QV_CALL(qvreg_component, qvreg_component_get_status, &a.other),
      QV_CALL(qvreg_component, qvreg_component_get_warning_count, &a.n),
      QV_CALL(qvreg_component, qvreg_component_get_warning, 0, &a.other),
      QV_CALL(qvreg_component, qvreg_component_get_record_counts, Room<qvreg_record_counts>()),
      QV_CALL(qvreg_component, qvreg_component_get_results, &results),
      QV_CALL(qvreg_component, qvreg_component_score, a.record.data(), 3, &a.x, nullptr, 0, &a.i),
      QV_CALL(qvreg_component, qvreg_component_score_rows, Room<qvreg_rows>(), &a.x, nullptr, 0,
              &a.i, &a.n),
      QV_CALL(qvreg_component, qvreg_component_score_columns, Room<qvreg_typed_column>(), 0, 0, 1,
              Room<qvreg_scores>(), &a.n),
      QV_CALL(qvreg_component, qvreg_component_add_score_products, Room<qvreg_typed_column>(), 0, 0,
              1, &a.x, 0, &a.x, 1),
      QV_CALL(qvreg_component, qvreg_component_display),
      QV_CALL(qvreg_component, qvreg_component_write, &bytes),
      QV_CALL(qvreg_component, qvreg_component_write_text, &bytes),

      QV_CALL(qvreg_parameters, qvreg_parameters_get_count, &a.n),
      QV_CALL(qvreg_parameters, qvreg_parameters_get_info, 0, Room<qvreg_parameter_info>()),
      QV_CALL(qvreg_parameters, qvreg_parameters_get_factors, 0, nullptr, nullptr, nullptr, 0,
              &a.n),
      QV_CALL(qvreg_parameters, qvreg_parameters_get_covariates, 0, nullptr, nullptr, 0, &a.n),

      QV_CALL(qvreg_results, qvreg_results_get_summary, Room<qvreg_summary>()),
      QV_CALL(qvreg_results, qvreg_results_get_fit_stat, QVREG_FIT_COX_SNELL_R_SQUARE, &a.x),
      QV_CALL(qvreg_results, qvreg_results_get_parameters, &parameters),
      QV_CALL(qvreg_results, qvreg_results_get_estimates, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_results_get_redundant, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_results_get_non_finite, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_results_is_dependent_finite, &a.i),
      QV_CALL(qvreg_results, qvreg_results_get_means, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_results_get_covariance, 0, 0, &a.x),
      QV_CALL(qvreg_results, qvreg_results_get_covariance_packed, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_results_get_covariance_full, nullptr, 9, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_scaled_get_summary, Room<qvreg_scaled_summary>()),
      QV_CALL(qvreg_results, qvreg_scaled_get_exponents, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_scaled_get_estimates, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_scaled_get_covariance_packed, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_scaled_get_redundant_combination, 0, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_results_get_factor_counts, 0, nullptr, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_results_get_dependent_counts, nullptr, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_results_get_record_counts, Room<qvreg_record_counts>()),
      QV_CALL(qvreg_results, qvreg_results_check_record, a.record.data(), 3, &a.i),
      QV_CALL(qvreg_results, qvreg_results_expand_row, a.record.data(), 3, nullptr, 0, &a.n, &a.i),

      QV_CALL(qvreg_results, qvreg_logistic_get_summary, Room<qvreg_logistic_summary>()),
      QV_CALL(qvreg_results, qvreg_logistic_get_categories, nullptr, nullptr, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_logistic_get_classification, nullptr, 9, 0, &a.n),
      QV_CALL(qvreg_results, qvreg_logistic_expand_sparse, a.record.data(), 3, nullptr, nullptr, 0,
              &a.n, &a.i),
  };
  return functions;
}

#undef QV_CALL

/// A handle of each kind, for the functions of another.
std::vector<std::pair<std::string, void*>> Handles(CEveryKind& of) {
  return {{"qvreg_settings", of.settings.get()},     {"qvreg_effect", of.effect.get()},
          {"qvreg_source", of.source.get()},         {"qvreg_component", of.component.get()},
          {"qvreg_parameters", of.parameters.get()}, {"qvreg_results", of.results.get()},
          {"qvreg_bytes", of.bytes.get()},           {"qvreg_worker", of.worker.get()}};
}

class EveryFunction : public testing::TestWithParam<Function> {};

TEST_P(EveryFunction, RefusesANullHandle) {
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(GetParam().call(nullptr, &error), QVREG_NULL_HANDLE);
  EXPECT_EQ(error.code, QVREG_NULL_HANDLE);
  EXPECT_STRNE(error.message, "");
  EXPECT_EQ(GetParam().call(nullptr, nullptr), QVREG_NULL_HANDLE);
}

TEST_P(EveryFunction, RefusesAHandleOfAnotherKind) {
  CEveryKind of(false);
  for (const auto& [kind, handle] : Handles(of)) {
    if (kind == GetParam().kind) continue;
    qvreg_error error = QVREG_ERROR_INIT;
    EXPECT_EQ(GetParam().call(handle, &error), QVREG_BAD_HANDLE) << kind;
    EXPECT_EQ(error.code, QVREG_BAD_HANDLE);
  }
}

TEST_P(EveryFunction, RefusesAnErrorWithoutItsSize) {
  CEveryKind of(false);
  for (const auto& [kind, handle] : Handles(of)) {
    if (kind != GetParam().kind) continue;
    qvreg_error error = QVREG_ERROR_INIT;
    error.struct_size = sizeof(qvreg_error) - 1;
    error.code = 12345;
    EXPECT_EQ(GetParam().call(handle, &error), QVREG_BAD_STRUCT_SIZE);
    EXPECT_EQ(error.code, 12345);
  }
}

INSTANTIATE_TEST_SUITE_P(CInterface, EveryFunction, testing::ValuesIn(Functions()),
                         [](const auto& tested) { return std::string(tested.param.name); });

/// The functions that the header declares.
std::set<std::string> DeclaredFunctions() {
  const auto header =
      std::filesystem::path(QVREG_TEST_DATA).parent_path().parent_path() / "qvreg/c/qvreg_c.h";
  std::ostringstream text;
  text << std::ifstream(header).rdbuf();
  const std::string all = text.str();
  std::set<std::string> names;
  // A declaration's name stands before its first parenthesis.
  for (std::size_t mark = all.find("QVREG_EXPORT "); mark != std::string::npos;
       mark = all.find("QVREG_EXPORT ", mark + 1)) {
    const std::size_t end = all.find('(', mark);
    const std::size_t begin = all.find_last_of(" *\n", end) + 1;
    names.insert(all.substr(begin, end - begin));
  }
  return names;
}

TEST(CInterface, HasNoFunctionThatTheTableLeavesOut) {
  std::set<std::string> expected;
  for (const Function& function : Functions()) expected.insert(function.name);
  const std::set<std::string> elsewhere = {"qvreg_version",
                                           "qvreg_version_string",
                                           "qvreg_code_text",
                                           "qvreg_settings_create",
                                           "qvreg_settings_destroy",
                                           "qvreg_effect_create",
                                           "qvreg_effect_destroy",
                                           "qvreg_source_create_callbacks",
                                           "qvreg_source_create_columns",
                                           "qvreg_source_create_typed_columns",
                                           "qvreg_source_create_blocks",
                                           "qvreg_source_open_file",
                                           "qvreg_source_destroy",
                                           "qvreg_column_summarize",
                                           "qvreg_component_create",
                                           "qvreg_component_destroy",
                                           "qvreg_parameters_destroy",
                                           "qvreg_results_destroy",
                                           "qvreg_bytes_create",
                                           "qvreg_bytes_destroy",
                                           "qvreg_worker_create",
                                           "qvreg_worker_destroy"};
  expected.insert(elsewhere.begin(), elsewhere.end());
  EXPECT_EQ(DeclaredFunctions(), expected);
}

TEST(CInterface, GivesNothingBackForANullHandle) {
  qvreg_settings_destroy(nullptr);
  qvreg_effect_destroy(nullptr);
  qvreg_source_destroy(nullptr);
  qvreg_component_destroy(nullptr);
  qvreg_parameters_destroy(nullptr);
  qvreg_results_destroy(nullptr);
  qvreg_bytes_destroy(nullptr);
  qvreg_worker_destroy(nullptr);
}

TEST(CInterface, LeavesAHandleOfAnotherKindAlone) {
  CEveryKind of(false);
  qvreg_effect_destroy(reinterpret_cast<qvreg_effect*>(of.settings.get()));
  EXPECT_EQ(qvreg_settings_validate(of.settings.get(), nullptr), QVREG_OK);
}

/// Each lacks one pointer that the function needs.
TEST(CInterface, RefusesANullPointer) {
  CEveryKind of(true);
  const double record[3] = {1.0, 1.0, 1.0};
  std::int32_t i = 0;
  double x = 0.0;
  const auto columns = std::vector<qvreg_column>{{nullptr, 1}};
  auto callbacks = Sized<qvreg_record_callbacks>();
  callbacks.record_size = 1;
  const auto typed = Sized<qvreg_typed_column>();
  auto blocks = Sized<qvreg_block_callbacks>();
  blocks.n_columns = 1;
  auto summary = Sized<qvreg_column_summary>();
  const auto scores = Sized<qvreg_scores>();
  auto rows = Sized<qvreg_rows>();
  rows.n_records = 1;
  rows.record_size = 3;
  qvreg_source* source = nullptr;
  qvreg_bytes* bytes = nullptr;
  const std::uint8_t* data = nullptr;
  std::size_t size = 0;
  const std::vector<std::function<std::int32_t(qvreg_error*)>> calls = {
      [&](qvreg_error* e) { return qvreg_bytes_create(nullptr, 1, &bytes, e); },
      [&](qvreg_error* e) { return qvreg_bytes_create(nullptr, 0, nullptr, e); },
      [&](qvreg_error* e) { return qvreg_bytes_get_data(of.bytes.get(), nullptr, &size, e); },
      [&](qvreg_error* e) { return qvreg_bytes_get_data(of.bytes.get(), &data, nullptr, e); },
      [&](qvreg_error* e) { return qvreg_settings_write(of.settings.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_settings_read(of.bytes.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_component_write(of.component.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_component_restore(of.bytes.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_component_write_text(of.component.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_component_restore_text(of.bytes.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_worker_create(nullptr, e); },
      [&](qvreg_error* e) {
        return qvreg_worker_run(of.worker.get(), of.bytes.get(), 0, of.source.get(), nullptr, e);
      },
      [&](qvreg_error* e) {
        return qvreg_worker_merge(of.worker.get(), of.bytes.get(), of.bytes.get(), of.bytes.get(),
                                  nullptr, e);
      },
      [&](qvreg_error* e) { return qvreg_settings_create(QVREG_MODEL_LINEAR, nullptr, e); },
      [&](qvreg_error* e) { return qvreg_settings_get_model(of.settings.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_settings_get_effect(of.settings.get(), 0, nullptr, e); },
      [&](qvreg_error* e) { return qvreg_settings_get_roles(of.settings.get(), nullptr, e); },
      [&](qvreg_error* e) {
        return qvreg_settings_get_covariates(of.settings.get(), nullptr, 9, nullptr, e);
      },
      [&](qvreg_error* e) { return qvreg_settings_get_options(of.settings.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_settings_set_options(of.settings.get(), nullptr, e); },
      [&](qvreg_error* e) {
        return qvreg_settings_get_logistic_options(of.settings.get(), nullptr, e);
      },
      [&](qvreg_error* e) {
        return qvreg_settings_set_logistic_options(of.settings.get(), nullptr, e);
      },
      [&](qvreg_error* e) { return qvreg_effect_create(nullptr, 0, nullptr, 0, nullptr, e); },
      [&](qvreg_error* e) { return qvreg_source_create_callbacks(nullptr, &source, e); },
      [&](qvreg_error* e) { return qvreg_source_create_callbacks(&callbacks, &source, e); },
      [&](qvreg_error* e) { return qvreg_source_create_columns(nullptr, 1, 1, &source, e); },
      [&](qvreg_error* e) { return qvreg_source_create_columns(columns.data(), 1, 1, &source, e); },
      [&](qvreg_error* e) { return qvreg_source_create_columns(columns.data(), 1, 0, nullptr, e); },
      [&](qvreg_error* e) { return qvreg_source_create_typed_columns(nullptr, 1, 1, &source, e); },
      [&](qvreg_error* e) { return qvreg_source_create_typed_columns(&typed, 1, 1, &source, e); },
      [&](qvreg_error* e) { return qvreg_source_create_typed_columns(&typed, 1, 0, nullptr, e); },
      [&](qvreg_error* e) { return qvreg_source_create_blocks(nullptr, &source, e); },
      [&](qvreg_error* e) { return qvreg_source_create_blocks(&blocks, &source, e); },
      [&](qvreg_error* e) { return qvreg_column_summarize(nullptr, 0, &summary, e); },
      [&](qvreg_error* e) { return qvreg_column_summarize(&typed, 0, nullptr, e); },
      [&](qvreg_error* e) { return qvreg_source_open_file(nullptr, 1, &source, e); },
      [&](qvreg_error* e) { return qvreg_source_next(of.source.get(), nullptr, 3, &i, e); },
      [&](qvreg_error* e) { return qvreg_source_next(of.source.get(), &x, 3, nullptr, e); },
      [&](qvreg_error* e) { return qvreg_component_create(of.settings.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_component_get_settings(of.component.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_component_is_built(of.component.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_component_get_status(of.component.get(), nullptr, e); },
      [&](qvreg_error* e) {
        return qvreg_component_get_warning_count(of.component.get(), nullptr, e);
      },
      [&](qvreg_error* e) {
        return qvreg_component_get_record_counts(of.component.get(), nullptr, e);
      },
      [&](qvreg_error* e) { return qvreg_component_get_results(of.component.get(), nullptr, e); },
      [&](qvreg_error* e) {
        return qvreg_component_score(of.component.get(), nullptr, 3, &x, nullptr, 0, &i, e);
      },
      [&](qvreg_error* e) {
        return qvreg_component_score(of.component.get(), record, 3, nullptr, nullptr, 0, &i, e);
      },
      [&](qvreg_error* e) {
        return qvreg_component_score(of.component.get(), record, 3, &x, nullptr, 2, &i, e);
      },
      [&](qvreg_error* e) {
        return qvreg_component_score_rows(of.component.get(), nullptr, &x, nullptr, 0, &i, nullptr,
                                          e);
      },
      [&](qvreg_error* e) {
        return qvreg_component_score_rows(of.component.get(), &rows, &x, nullptr, 0, &i, nullptr,
                                          e);
      },
      [&](qvreg_error* e) {
        return qvreg_component_score_columns(of.component.get(), nullptr, 3, 1, 1, &scores, nullptr,
                                             e);
      },
      [&](qvreg_error* e) {
        return qvreg_component_score_columns(of.component.get(), nullptr, 3, 1, 1, nullptr, nullptr,
                                             e);
      },
      [&](qvreg_error* e) {
        return qvreg_component_add_score_products(of.component.get(), &typed, 3, 1, 1, nullptr, 0,
                                                  &x, 1, e);
      },
      [&](qvreg_error* e) {
        return qvreg_component_add_score_products(of.component.get(), &typed, 3, 1, 1, &x, 0,
                                                  nullptr, 9, e);
      },
      [&](qvreg_error* e) { return qvreg_parameters_get_count(of.parameters.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_parameters_get_info(of.parameters.get(), 0, nullptr, e); },
      [&](qvreg_error* e) { return qvreg_results_get_summary(of.results.get(), nullptr, e); },
      [&](qvreg_error* e) {
        return qvreg_results_get_fit_stat(of.results.get(), QVREG_FIT_MCFADDEN_R_SQUARE, nullptr,
                                          e);
      },
      [&](qvreg_error* e) { return qvreg_results_get_parameters(of.results.get(), nullptr, e); },
      [&](qvreg_error* e) {
        return qvreg_results_is_dependent_finite(of.results.get(), nullptr, e);
      },
      [&](qvreg_error* e) {
        return qvreg_results_get_covariance(of.results.get(), 0, 0, nullptr, e);
      },
      [&](qvreg_error* e) { return qvreg_results_get_record_counts(of.results.get(), nullptr, e); },
      [&](qvreg_error* e) {
        return qvreg_results_check_record(of.results.get(), nullptr, 3, &i, e);
      },
      [&](qvreg_error* e) {
        return qvreg_results_check_record(of.results.get(), record, 3, nullptr, e);
      },
      [&](qvreg_error* e) {
        return qvreg_results_expand_row(of.results.get(), record, 3, &x, 1, nullptr, nullptr, e);
      },
      [&](qvreg_error* e) { return qvreg_logistic_get_summary(of.results.get(), nullptr, e); },
      [&](qvreg_error* e) {
        return qvreg_logistic_expand_sparse(of.results.get(), record, 3, &i, &x, 1, nullptr,
                                            nullptr, e);
      },
  };
  for (std::size_t n = 0; n < calls.size(); ++n) {
    qvreg_error error = QVREG_ERROR_INIT;
    EXPECT_EQ(calls[n](&error), QVREG_NULL_POINTER) << n << ": " << error.message;
    EXPECT_STRNE(error.message, "") << n;
  }
}

/// Each lacks one handle other than its first.
TEST(CInterface, RefusesAFurtherHandleThatIsNull) {
  CEveryKind of(false);
  qvreg_bytes* out = nullptr;
  const qvreg_bytes* bytes = of.bytes.get();
  qvreg_worker* worker = of.worker.get();
  const std::vector<std::function<std::int32_t(qvreg_error*)>> calls = {
      [&](qvreg_error* e) { return qvreg_settings_add_effect(of.settings.get(), nullptr, e); },
      [&](qvreg_error* e) { return qvreg_component_build(of.component.get(), nullptr, e); },
      [&](qvreg_error* e) {
        return qvreg_component_create_parameters(of.component.get(), nullptr, nullptr, e);
      },
      [&](qvreg_error* e) {
        return qvreg_settings_set_threads(of.settings.get(), nullptr, 1, 0, e);
      },
      [&](qvreg_error* e) {
        return qvreg_worker_run(worker, nullptr, 0, of.source.get(), &out, e);
      },
      [&](qvreg_error* e) { return qvreg_worker_run(worker, bytes, 0, nullptr, &out, e); },
      [&](qvreg_error* e) { return qvreg_worker_merge(worker, nullptr, bytes, bytes, &out, e); },
      [&](qvreg_error* e) { return qvreg_worker_merge(worker, bytes, nullptr, bytes, &out, e); },
      [&](qvreg_error* e) { return qvreg_worker_merge(worker, bytes, bytes, nullptr, &out, e); },
  };
  for (std::size_t n = 0; n < calls.size(); ++n) {
    qvreg_error error = QVREG_ERROR_INIT;
    EXPECT_EQ(calls[n](&error), QVREG_NULL_HANDLE) << n << ": " << error.message;
  }
  EXPECT_EQ(out, nullptr);
}

/// `call(structure, error)`.
template <typename Struct, typename Call>
void ExpectSizeChecked(Call&& call) {
  auto structure = Sized<Struct>();
  for (const std::size_t size : {std::size_t{0}, QvCStruct::kFirstSize<Struct> - 1}) {
    structure.struct_size = size;
    EXPECT_EQ(call(&structure, nullptr), QVREG_BAD_STRUCT_SIZE);
  }
  // A later version's structure is longer.
  struct Longer {
    Struct known;
    double added;
  };
  Longer longer{Sized<Struct>(), 2.5};
  longer.known.struct_size = sizeof longer;
  EXPECT_NE(call(&longer.known, nullptr), QVREG_BAD_STRUCT_SIZE);
  EXPECT_EQ(longer.known.struct_size, sizeof longer);
  EXPECT_EQ(longer.added, 2.5);
}

TEST(CInterface, ChecksTheSizesOfStructures) {
  CEveryKind of(true);
  qvreg_settings* settings = of.settings.get();
  qvreg_source* source = nullptr;
  double x = 0.0;
  ExpectSizeChecked<qvreg_roles>(
      [&](auto... rest) { return qvreg_settings_get_roles(settings, rest...); });
  ExpectSizeChecked<qvreg_options>(
      [&](auto... rest) { return qvreg_settings_get_options(settings, rest...); });
  ExpectSizeChecked<qvreg_options>(
      [&](auto... rest) { return qvreg_settings_set_options(settings, rest...); });
  ExpectSizeChecked<qvreg_logistic_options>(
      [&](auto... rest) { return qvreg_settings_get_logistic_options(settings, rest...); });
  ExpectSizeChecked<qvreg_logistic_options>(
      [&](auto... rest) { return qvreg_settings_set_logistic_options(settings, rest...); });
  ExpectSizeChecked<qvreg_record_callbacks>([&](qvreg_record_callbacks* callbacks, qvreg_error* e) {
    return qvreg_source_create_callbacks(callbacks, &source, e);
  });
  ExpectSizeChecked<qvreg_error>(
      [&](auto... rest) { return qvreg_component_get_status(of.component.get(), rest...); });
  ExpectSizeChecked<qvreg_record_counts>(
      [&](auto... rest) { return qvreg_component_get_record_counts(of.component.get(), rest...); });
  ExpectSizeChecked<qvreg_rows>([&](qvreg_rows* rows, qvreg_error* e) {
    return qvreg_component_score_rows(of.component.get(), rows, &x, nullptr, 0, nullptr, nullptr,
                                      e);
  });
  ExpectSizeChecked<qvreg_block_callbacks>([&](qvreg_block_callbacks* callbacks, qvreg_error* e) {
    return qvreg_source_create_blocks(callbacks, &source, e);
  });
  ExpectSizeChecked<qvreg_typed_column>([&](qvreg_typed_column* column, qvreg_error* e) {
    auto summary = Sized<qvreg_column_summary>();
    return qvreg_column_summarize(column, 0, &summary, e);
  });
  ExpectSizeChecked<qvreg_column_summary>([&](qvreg_column_summary* summary, qvreg_error* e) {
    const auto column = Sized<qvreg_typed_column>();
    return qvreg_column_summarize(&column, 0, summary, e);
  });
  ExpectSizeChecked<qvreg_scores>([&](qvreg_scores* scores, qvreg_error* e) {
    const std::vector<qvreg_typed_column> columns(3, Sized<qvreg_typed_column>());
    return qvreg_component_score_columns(of.component.get(), columns.data(), 3, 0, 1, scores,
                                         nullptr, e);
  });
  ExpectSizeChecked<qvreg_parameter_info>(
      [&](auto... rest) { return qvreg_parameters_get_info(of.parameters.get(), 0, rest...); });
  ExpectSizeChecked<qvreg_summary>(
      [&](auto... rest) { return qvreg_results_get_summary(of.results.get(), rest...); });
  ExpectSizeChecked<qvreg_record_counts>(
      [&](auto... rest) { return qvreg_results_get_record_counts(of.results.get(), rest...); });
  ExpectSizeChecked<qvreg_logistic_summary>(
      [&](auto... rest) { return qvreg_logistic_get_summary(of.results.get(), rest...); });
  ExpectSizeChecked<qvreg_scaled_summary>(
      [&](auto... rest) { return qvreg_scaled_get_summary(of.results.get(), rest...); });
}

}  // namespace
}  // namespace qvtest
