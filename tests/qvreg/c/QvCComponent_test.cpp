#include <cmath>
#include <ctime>
#include <stdexcept>
#include <thread>

#include <gtest/gtest.h>

#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/support/CapturedOutput.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {
namespace {

/// Both models meet the same hosts.
class CComponent_ : public testing::TestWithParam<bool> {
 protected:
  CEveryKind of_{GetParam()};
  CRecordFeed feed_{of_.records};
  CComponent component_ = CComponentOf(of_.settings);

  qvreg_error Build(const CSource& source) {
    return ErrorOf(
        [&](qvreg_error* e) { return qvreg_component_build(component_.get(), source.get(), e); });
  }
  [[nodiscard]] qvreg_error Status() const {
    qvreg_error status = QVREG_ERROR_INIT;
    EXPECT_EQ(qvreg_component_get_status(component_.get(), &status, nullptr), QVREG_OK);
    return status;
  }
  [[nodiscard]] bool IsBuilt() const {
    std::int32_t isBuilt = -1;
    EXPECT_EQ(qvreg_component_is_built(component_.get(), &isBuilt, nullptr), QVREG_OK);
    return isBuilt != 0;
  }
};

INSTANTIATE_TEST_SUITE_P(CInterface, CComponent_, testing::Bool(),
                         [](const auto& tested) { return tested.param ? "Logistic" : "Linear"; });

TEST_P(CComponent_, CountsItsRecords) {
  feed_ = CRecordFeed(MakeRecords({{0, 0, QVREG_MISSING_VALUE},
                                   {1, 1, 2},
                                   {0, 2, 5},
                                   {1, 0, 3},
                                   {0, 1, 4},
                                   {0, 3, 1},
                                   {1, 2, 6},
                                   {1, -1, 1}}));
  EXPECT_FALSE(IsBuilt());
  EXPECT_EQ(Build(feed_.Source()).code, QVREG_OK);
  EXPECT_TRUE(IsBuilt());
  EXPECT_EQ(Status().code, QVREG_OK);
  auto counts = Sized<qvreg_record_counts>();
  EXPECT_EQ(qvreg_component_get_record_counts(component_.get(), &counts, nullptr), QVREG_OK);
  EXPECT_EQ(counts.read, 8);
  EXPECT_EQ(counts.used, 5);
  EXPECT_EQ(counts.missing, 2);
  EXPECT_EQ(counts.bad_weight, 0);
  EXPECT_EQ(counts.out_of_range, 1);
}

TEST_P(CComponent_, IsBuiltOnce) {
  EXPECT_EQ(Build(feed_.Source()).code, QVREG_OK);
  EXPECT_EQ(Build(feed_.Source()).code, QVREG_ALREADY_BUILT);
}

TEST_P(CComponent_, HasNoResultsBeforeItIsBuilt) {
  qvreg_results* results = nullptr;
  EXPECT_EQ(qvreg_component_get_results(component_.get(), &results, nullptr), QVREG_NOT_BUILT);
  EXPECT_EQ(results, nullptr);
  const double record[3] = {0, 0, 0};
  double predicted = 5.0;
  EXPECT_EQ(
      qvreg_component_score(component_.get(), record, 3, &predicted, nullptr, 0, nullptr, nullptr),
      QVREG_NOT_BUILT);
  EXPECT_EQ(predicted, 5.0);
}

TEST_P(CComponent_, LeavesItsResultsBehind) {
  EXPECT_EQ(Build(feed_.Source()).code, QVREG_OK);
  const CResults results = Made<CResults>([&](qvreg_results** made, qvreg_error* e) {
    return qvreg_component_get_results(component_.get(), made, e);
  });
  component_.reset();
  auto summary = Sized<qvreg_summary>();
  EXPECT_EQ(qvreg_results_get_summary(results.get(), &summary, nullptr), QVREG_OK);
  std::int32_t isExpanded = -1;
  const auto row = ListOf<double>([&](auto... rest) {
    const std::vector<double> record{0.0, 1.0, 2.0};
    const auto expand = [&](double* buffer, std::size_t capacity, std::size_t* count,
                            qvreg_error* e) {
      return qvreg_results_expand_row(results.get(), record.data(), 3, buffer, capacity, count,
                                      &isExpanded, e);
    };
    return expand(rest...);
  });
  EXPECT_EQ(isExpanded, 1);
  EXPECT_EQ(row[0], 1.0);
}

TEST_P(CComponent_, SaysWhichRecordCouldNotBeRead) {
  for (const int badPass : {1, 2, 3}) {
    for (const std::size_t bad : {std::size_t{0}, std::size_t{5}}) {
      SCOPED_TRACE(testing::Message() << "pass " << badPass << ", record " << bad + 1);
      component_ = CComponentOf(of_.settings);
      feed_ = CRecordFeed(of_.records);
      feed_.onNext = [=](int pass, std::size_t position) {
        return pass == badPass && position == bad ? 42 : QVREG_NEXT_RECORD;
      };
      const qvreg_error error = Build(feed_.Source());
      EXPECT_EQ(error.code, QVREG_UNREADABLE_RECORD);
      EXPECT_EQ(error.has_discrete[0], 1);
      EXPECT_EQ(error.discrete[0], static_cast<std::int64_t>(bad) + 1);
      EXPECT_EQ(error.discrete[1], badPass);
      EXPECT_EQ(error.discrete[2], 42);
      EXPECT_EQ(error.message, "The record source failed at record " + std::to_string(bad + 1) +
                                   " of pass " + std::to_string(badPass) +
                                   ": its next callback returned 42; check the host's data.");
      EXPECT_FALSE(IsBuilt());
      // The component keeps it, and does nothing more.
      EXPECT_EQ(Status().code, QVREG_UNREADABLE_RECORD);
      EXPECT_STREQ(Status().message, error.message);
      const int passes = feed_.Passes();
      EXPECT_STREQ(Build(feed_.Source()).message, error.message);
      EXPECT_EQ(feed_.Passes(), passes);
    }
  }
}

TEST_P(CComponent_, SaysThatRecordsCouldNotBeReadAgain) {
  for (const int badPass : {1, 2, 3}) {
    SCOPED_TRACE(badPass);
    component_ = CComponentOf(of_.settings);
    feed_ = CRecordFeed(of_.records);
    feed_.onRewind = [=](int pass) { return pass == badPass ? 3 : (pass > badPass ? 4 : 0); };
    const qvreg_error error = Build(feed_.Source());
    EXPECT_EQ(error.code, QVREG_NO_FURTHER_PASS);
    EXPECT_EQ(error.discrete[1], badPass);
    EXPECT_EQ(error.discrete[2], 3);
    EXPECT_EQ(error.message, "The record source could not start pass " + std::to_string(badPass) +
                                 ": its rewind callback returned 3; check the host's data.");
    EXPECT_EQ(Status().code, QVREG_NO_FURTHER_PASS);
  }
}

TEST_P(CComponent_, TurnsAnExceptionOfTheHostIntoACode) {
  feed_.onNext = [](int pass, std::size_t position) -> std::int32_t {
    if (pass == 2 && position == 4) throw std::runtime_error("lost");
    return QVREG_NEXT_RECORD;
  };
  const qvreg_error error = Build(feed_.Source());
  EXPECT_EQ(error.code, QVREG_CALLBACK_THREW);
  EXPECT_STREQ(error.message, "The next callback threw an exception, which it must not: lost");
  EXPECT_EQ(Status().code, QVREG_CALLBACK_THREW);
  EXPECT_FALSE(IsBuilt());
}

TEST_P(CComponent_, NamesTheRecordWithABadCategory) {
  std::vector<QvCommon::Record> records = of_.records;
  records[3][CEveryKind::kFactor] = 1.5;
  feed_ = CRecordFeed(records);
  const qvreg_error error = Build(feed_.Source());
  EXPECT_EQ(error.code, QVREG_BAD_CATEGORY);
  EXPECT_EQ(error.discrete[0], 4);
  EXPECT_EQ(error.discrete[1], CEveryKind::kFactor);
  EXPECT_EQ(error.scale[1], 1.5);
  EXPECT_STREQ(error.message,
               "Record 4: Variable 1 has the value 1.5, which is no category code; codes are "
               "whole numbers from 0 to below the number of categories in the settings.");
}

TEST_P(CComponent_, NamesTheRecordThatIsTooShort) {
  feed_ = CRecordFeed(MakeRecords({{1, 0}}));
  const qvreg_error error = Build(feed_.Source());
  EXPECT_EQ(error.code, QVREG_SHORT_RECORD);
  EXPECT_EQ(error.discrete[0], 1);
}

TEST_P(CComponent_, NeedsRecords) {
  feed_ = CRecordFeed({});
  EXPECT_EQ(Build(feed_.Source()).code, QVREG_NO_RECORDS);
  EXPECT_EQ(Build(of_.source).code, QVREG_NO_RECORDS);
}

TEST_P(CComponent_, CreatesItsParametersOnce) {
  const CSource source = feed_.Source();
  EXPECT_EQ(qvreg_component_create_parameters(component_.get(), source.get(), nullptr, nullptr),
            QVREG_OK);
  EXPECT_EQ(feed_.Passes(), 1);
  qvreg_parameters* parameters = nullptr;
  EXPECT_EQ(qvreg_component_create_parameters(component_.get(), source.get(), &parameters, nullptr),
            QVREG_DATA_PROCESSED);
  EXPECT_EQ(parameters, nullptr);
}

TEST_P(CComponent_, RefusesAnEffectWithAnUnknownVariable) {
  const std::int32_t unknown = 17;
  const CEffect effect = Made<CEffect>([&](qvreg_effect** made, qvreg_error* e) {
    return qvreg_effect_create(nullptr, 0, &unknown, 1, made, e);
  });
  ASSERT_EQ(qvreg_effect_add_covariate(effect.get(), unknown, nullptr, nullptr), QVREG_OK);
  ASSERT_EQ(qvreg_settings_add_effect(of_.settings.get(), effect.get(), nullptr), QVREG_OK);
  qvreg_component* component = nullptr;
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_component_create(of_.settings.get(), &component, &error), QVREG_BAD_ARGUMENT);
  EXPECT_STREQ(error.message,
               "Effect 2 uses variable 17 as a covariate, which the settings do not; add it to "
               "them.");
}

TEST_P(CComponent_, IsCancelledByTheHost) {
  struct Answers {
    int asked = 0;
    static std::int32_t Ask(void* user) {
      return ++static_cast<Answers*>(user)->asked > 20 ? -1 : 0;
    }
  } answers;
  ASSERT_EQ(qvreg_settings_set_cancel(of_.settings.get(), &Answers::Ask, &answers, nullptr),
            QVREG_OK);
  component_ = CComponentOf(of_.settings);
  // The component keeps the callback without the settings.
  of_.settings.reset();
  EXPECT_EQ(Build(feed_.Source()).code, QVREG_CANCELLED);
  EXPECT_EQ(answers.asked, 21);
  EXPECT_EQ(Status().code, QVREG_CANCELLED);
}

TEST_P(CComponent_, IsCancelledByAnotherThread) {
  feed_.onNext = [&](int pass, std::size_t position) {
    if (pass == 2 && position == 3) {
      std::thread([&] { qvreg_component_cancel(component_.get(), nullptr); }).join();
    }
    return QVREG_NEXT_RECORD;
  };
  EXPECT_EQ(Build(feed_.Source()).code, QVREG_CANCELLED);
  EXPECT_EQ(feed_.Passes(), 2);
}

TEST_P(CComponent_, ScoresNothingAfterItWasCancelled) {
  EXPECT_EQ(qvreg_component_cancel(of_.component.get(), nullptr), QVREG_OK);
  const double record[3] = {0, 1, 2};
  double predicted = 0.0;
  EXPECT_EQ(qvreg_component_score(of_.component.get(), record, 3, &predicted, nullptr, 0, nullptr,
                                  nullptr),
            QVREG_CANCELLED);
}

TEST_P(CComponent_, KeepsTheCallbackItWasMadeWith) {
  const qvreg_cancel_callback stop = [](void* /*user*/) { return std::int32_t{1}; };
  ASSERT_EQ(qvreg_settings_set_cancel(of_.settings.get(), stop, nullptr, nullptr), QVREG_OK);
  component_ = CComponentOf(of_.settings);
  ASSERT_EQ(qvreg_settings_set_cancel(of_.settings.get(), nullptr, nullptr, nullptr), QVREG_OK);
  EXPECT_EQ(Build(feed_.Source()).code, QVREG_CANCELLED);
  component_ = CComponentOf(of_.settings);
  EXPECT_EQ(Build(feed_.Source()).code, QVREG_OK);
}

TEST_P(CComponent_, TurnsAnExceptionOfTheCancelCallbackIntoACode) {
  const qvreg_cancel_callback fail = [](void* /*user*/) -> std::int32_t { throw 1; };
  ASSERT_EQ(qvreg_settings_set_cancel(of_.settings.get(), fail, nullptr, nullptr), QVREG_OK);
  component_ = CComponentOf(of_.settings);
  const qvreg_error error = Build(feed_.Source());
  EXPECT_EQ(error.code, QVREG_CALLBACK_THREW);
  EXPECT_STREQ(error.message, "The cancel callback threw an exception, which it must not.");
  EXPECT_EQ(Status().code, QVREG_CALLBACK_THREW);
}

TEST_P(CComponent_, IsPrinted) {
  const std::string text =
      OutputOf([&] { EXPECT_EQ(qvreg_component_display(of_.component.get(), nullptr), QVREG_OK); });
  EXPECT_NE(text.find("Component display end"), std::string::npos);
}

TEST_P(CComponent_, HasNoWarningsOfAnOrdinaryRun) {
  std::size_t count = 99;
  EXPECT_EQ(qvreg_component_get_warning_count(of_.component.get(), &count, nullptr), QVREG_OK);
  EXPECT_EQ(count, 0U);
  qvreg_error warning = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_component_get_warning(of_.component.get(), 0, &warning, nullptr),
            QVREG_BAD_INDEX);
}

TEST_P(CComponent_, SaysThatASecondCallEndsTheComponent) {
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

TEST_P(CComponent_, TellsBothSizesOfAShortRecord) {
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

  CRecordFeed feed(MakeRecords({{1, 0}}));
  const CSource source = feed.Source();
  const CComponent component = CComponentOf(of_.settings);
  const qvreg_error error = ErrorOf(
      [&](qvreg_error* e) { return qvreg_component_build(component.get(), source.get(), e); });
  EXPECT_EQ(error.code, QVREG_SHORT_RECORD);
  EXPECT_EQ(error.message, "Record 1: " + words);
}

TEST_P(CComponent_, KeepsStatusAndErrorApart) {
  qvreg_error both = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_component_get_status(of_.component.get(), &both, &both), QVREG_BAD_ARGUMENT);
  EXPECT_EQ(both.code, QVREG_BAD_ARGUMENT);
  EXPECT_STREQ(both.message, "The arguments status and error are one structure; pass two.");
}

TEST(CComponent, WarnsOfAReferenceThatDoesNotOccur) {
  CEveryKind of(true);
  auto options = Sized<qvreg_logistic_options>();
  ASSERT_EQ(qvreg_settings_get_logistic_options(of.settings.get(), &options, nullptr), QVREG_OK);
  options.n_categories = 3;
  options.reference_category = 2;
  ASSERT_EQ(qvreg_settings_set_logistic_options(of.settings.get(), &options, nullptr), QVREG_OK);
  const CComponent component = CComponentOf(of.settings);
  qvreg_error told = QVREG_ERROR_INIT;
  ASSERT_EQ(qvreg_component_build(component.get(), of.source.get(), &told), QVREG_OK);
  EXPECT_EQ(told.code, QVREG_REFERENCE_NOT_OBSERVED);
  EXPECT_EQ(told.is_warning, 1);
  std::size_t count = 0;
  EXPECT_EQ(qvreg_component_get_warning_count(component.get(), &count, nullptr), QVREG_OK);
  ASSERT_EQ(count, 1U);
  qvreg_error warning = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_component_get_warning(component.get(), 0, &warning, nullptr), QVREG_OK);
  EXPECT_EQ(warning.code, QVREG_REFERENCE_NOT_OBSERVED);
  EXPECT_EQ(warning.is_warning, 1);
  EXPECT_STREQ(warning.message, qvreg_code_text(QVREG_REFERENCE_NOT_OBSERVED));
}

TEST(CComponent, SaysThatThereIsNothingToTellApart) {
  CEveryKind of(true);
  std::vector<QvCommon::Record> records = of.records;
  for (QvCommon::Record& record : records) record[CEveryKind::kY] = 1.0;
  CRecordFeed feed(records);
  const CComponent component = CComponentOf(of.settings);
  EXPECT_EQ(qvreg_component_build(component.get(), feed.Source().get(), nullptr),
            QVREG_ONE_CATEGORY);
}

TEST(CComponent, SaysHowManyStartingValuesTheModelTakes) {
  CEveryKind of(true);
  const double value = 0.0;
  ASSERT_EQ(qvreg_settings_set_starting_values(of.settings.get(), &value, 1, nullptr), QVREG_OK);
  const CComponent component = CComponentOf(of.settings);
  const qvreg_error error = ErrorOf(
      [&](qvreg_error* e) { return qvreg_component_build(component.get(), of.source.get(), e); });
  EXPECT_EQ(error.code, QVREG_NO_PARAMETERS);
  std::size_t count = 0;
  ASSERT_EQ(qvreg_results_get_estimates(of.results.get(), nullptr, 0, &count, nullptr), QVREG_OK);
  EXPECT_EQ(error.message, "The settings have 1 starting values, and the model has " +
                               std::to_string(count) +
                               " parameters; pass one for each, in the order of the estimates.");
}

TEST(CComponent, GoesOnFromTheEstimatesOfAnother) {
  const CEveryKind of(true);
  const auto estimates = ListOf<double>(
      [&](auto... rest) { return qvreg_results_get_estimates(of.results.get(), rest...); });
  ASSERT_EQ(qvreg_settings_set_starting_values(of.settings.get(), estimates.data(),
                                               estimates.size(), nullptr),
            QVREG_OK);
  const CFit fit = CFitOf(of.settings, of.source);
  const auto further = ListOf<double>(
      [&](auto... rest) { return qvreg_results_get_estimates(fit.results.get(), rest...); });
  // The data are separated: an estimate gains 1 an iteration for ever, and each run makes 20.
  ASSERT_EQ(further.size(), estimates.size());
  EXPECT_NEAR(further[1], estimates[1] + 20.0, 0.01);
}

/// What a progress callback was told.
struct Told {
  std::vector<std::int32_t> iterations;
  std::vector<double> logLikelihoods;
  std::vector<double> lastEstimates;
  std::vector<double> seconds;
  static void Hear(void* user, const qvreg_progress* progress) {
    auto& told = *static_cast<Told*>(user);
    EXPECT_EQ(progress->struct_size, sizeof(qvreg_progress));
    EXPECT_GE(progress->step_halvings, 0);
    EXPECT_GE(progress->seconds, 0.0);
    told.seconds.push_back(progress->seconds);
    // Only once, since there are many.
    const std::clock_t start = std::clock();
    while (told.seconds.size() == 1 && std::clock() - start < CLOCKS_PER_SEC / 100) {
    }
    told.iterations.push_back(progress->iteration);
    told.logLikelihoods.push_back(progress->log_likelihood);
    told.lastEstimates.assign(progress->estimates, progress->estimates + progress->n_estimates);
  }
};

TEST(CComponent, TellsItsProgress) {
  CEveryKind of(true);
  Told told;
  ASSERT_EQ(qvreg_settings_set_progress(of.settings.get(), &Told::Hear, &told, nullptr), QVREG_OK);
  const CFit fit = CFitOf(of.settings, of.source);
  auto summary = Sized<qvreg_logistic_summary>();
  ASSERT_EQ(qvreg_logistic_get_summary(fit.results.get(), &summary, nullptr), QVREG_OK);
  ASSERT_FALSE(told.iterations.empty());
  EXPECT_EQ(told.iterations.back(), summary.iterations);
  EXPECT_EQ(told.logLikelihoods.back(), summary.final_log_likelihood);
  EXPECT_FALSE(told.lastEstimates.empty());
  EXPECT_GT(told.seconds.back(), told.seconds.front()) << "of processor, which go on";
}

TEST(CComponent, TurnsAnExceptionOfTheProgressCallbackIntoACode) {
  CEveryKind of(true);
  const qvreg_progress_callback fail = [](void* /*user*/, const qvreg_progress* /*progress*/) {
    throw std::runtime_error("no window");
  };
  ASSERT_EQ(qvreg_settings_set_progress(of.settings.get(), fail, nullptr, nullptr), QVREG_OK);
  const CComponent component = CComponentOf(of.settings);
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(qvreg_component_build(component.get(), of.source.get(), &error), QVREG_CALLBACK_THREW);
  EXPECT_STREQ(error.message,
               "The progress callback threw an exception, which it must not: no window");
}

}  // namespace
}  // namespace qvtest
