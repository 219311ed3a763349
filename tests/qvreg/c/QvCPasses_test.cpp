#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/parallel/QvThreadRunner.h"
#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/c/CPasses.h"
#include "tests/qvreg/c/ExpectSameResults.h"
#include "tests/qvreg/support/AllocationHooks.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/VectorParts.h"

namespace qvtest {
namespace {

using Bytes = std::vector<unsigned char>;
using Records = std::vector<QvCommon::Record>;

CBytes Written(const CSettings& settings) {
  return Made<CBytes>([&](qvreg_bytes** bytes, qvreg_error* e) {
    return qvreg_settings_write(settings.get(), bytes, e);
  });
}

CSettings ReadFrom(const CBytes& bytes) {
  return Made<CSettings>([&](qvreg_settings** settings, qvreg_error* e) {
    return qvreg_settings_read(bytes.get(), settings, e);
  });
}

qvreg_error BuildError(const CSettings& settings) {
  const CComponent component = CComponentOf(settings);
  return ErrorOf(
      [&](qvreg_error* e) { return qvreg_component_build(component.get(), nullptr, e); });
}

TEST(CBytesHandle, HoldsACopy) {
  Bytes data{1, 2, 255, 0, 7};
  const CBytes bytes = CBytesOf(data);
  data[0] = 9;
  EXPECT_EQ(DataOf(bytes.get()), (Bytes{1, 2, 255, 0, 7}));
  const CBytes none = Made<CBytes>(
      [](qvreg_bytes** made, qvreg_error* e) { return qvreg_bytes_create(nullptr, 0, made, e); });
  EXPECT_TRUE(DataOf(none.get()).empty());
}

TEST(CWorker, GivesItsMemoryBack) {
  const auto create = [] {
    return Made<CWorker>(
        [](qvreg_worker** worker, qvreg_error* e) { return qvreg_worker_create(worker, e); });
  };
  create().reset();
  const long long before = LiveAllocations();
  create().reset();
  EXPECT_EQ(LiveAllocations(), before);
}

TEST(CSettingsBytes, AreNotReadWithoutAPlaceForTheSettings) {
  const CBytes bytes = CBytesOf({1, 2, 3});
  const qvreg_error error =
      ErrorOf([&](qvreg_error* e) { return qvreg_settings_read(bytes.get(), nullptr, e); });
  EXPECT_EQ(error.code, QVREG_NULL_POINTER);
}

class CPasses : public testing::TestWithParam<ModelKind> {
 protected:
  [[nodiscard]] static CSettings Settings() { return CSettingsOf(RandomModel(GetParam()).Get()); }

  const Records records_ = RandomRecords(400);
};

INSTANTIATE_TEST_SUITE_P(CInterface, CPasses,
                         testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                         ModelKind::kInMemory),
                         [](const auto& tested) { return ModelKindName(tested.param); });

TEST_P(CPasses, SettingsAreReadAsTheyWereWritten) {
  CSettings settings = Settings();
  const CBytes bytes = Written(settings);
  const CFit expected = CFitOf(settings, CColumns(records_).Source());
  std::vector<EffectParts> effects;
  const auto effectsOf = [](const CSettings& of) {
    auto roles = Sized<qvreg_roles>();
    Require([&](qvreg_error* e) { return qvreg_settings_get_roles(of.get(), &roles, e); });
    std::vector<EffectParts> all;
    for (int i = 0; i < roles.n_effects; ++i) {
      all.push_back(EffectOf(Made<CEffect>([&](qvreg_effect** effect, qvreg_error* e) {
        return qvreg_settings_get_effect(of.get(), i, effect, e);
      })));
    }
    return all;
  };
  effects = effectsOf(settings);
  settings.reset();
  const CSettings read = ReadFrom(bytes);
  EXPECT_EQ(DataOf(Written(read).get()), DataOf(bytes.get()));
  EXPECT_EQ(effectsOf(read), effects);
  RandomModel model(GetParam());
  ExpectSameResults(CFitOf(read, CColumns(records_).Source()).results,
                    FittedModel(model.Get(), records_).Stats());
}

TEST_P(CPasses, DamagedSettingsAreRefused) {
  const Bytes whole = DataOf(Written(Settings()).get());
  const auto read = [](const Bytes& bytes) {
    qvreg_settings* settings = nullptr;
    const CBytes handle = CBytesOf(bytes);
    const std::int32_t code = qvreg_settings_read(handle.get(), &settings, nullptr);
    EXPECT_EQ(settings, nullptr);
    qvreg_settings_destroy(settings);
    return code;
  };
  for (std::size_t i = 0; i < whole.size(); ++i) {
    Bytes damaged = whole;
    damaged[i] ^= 0x20U;
    EXPECT_EQ(read(damaged), QVREG_UNREADABLE_MESSAGE) << i;
    const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(i));
    EXPECT_EQ(read(cut), QVREG_UNREADABLE_MESSAGE) << i;
  }
  Bytes longer = whole;
  longer.push_back(0);
  EXPECT_EQ(read(longer), QVREG_UNREADABLE_MESSAGE);
}

TEST(CSettingsBytes, AreOfValidSettingsOnly) {
  const CSettings settings = Made<CSettings>([](qvreg_settings** made, qvreg_error* e) {
    return qvreg_settings_create(QVREG_MODEL_LINEAR, made, e);
  });
  qvreg_bytes* bytes = nullptr;
  EXPECT_EQ(qvreg_settings_write(settings.get(), &bytes, nullptr), QVREG_NO_DEPENDENT);
  EXPECT_EQ(bytes, nullptr);
}

TEST_P(CPasses, AModelIsRestoredToTheLastBit) {
  CFit fit = CFitOf(Settings(), CColumns(records_).Source());
  const CBytes model = ModelOf(fit.component);
  fit.component.reset();
  fit.results.reset();
  const CFit again = Restored(model);
  const CComponent& restored = again.component;
  RandomModel cpp(GetParam());
  FittedModel expected(cpp.Get(), records_);
  ExpectSameResults(again.results, expected.Stats());
  EXPECT_EQ(DataOf(ModelOf(restored).get()), DataOf(model.get()));
  Bytes bytes;
  ASSERT_FALSE(expected.Component().WriteModel(bytes).IsError());
  EXPECT_EQ(DataOf(model.get()), bytes);
  for (const QvCommon::Record& record : RandomRecords(50, 7)) {
    double predicted = 0.0;
    std::vector<double> values;
    const bool isScored = !expected.Component().Score(record, predicted, values).IsError();
    if (!isScored || predicted == QvMV::gMissingValue || predicted < 0.0) continue;
    double ours = -99.0;
    std::int32_t verdict = -1;
    Require([&](qvreg_error* e) {
      return qvreg_component_score(restored.get(), record.GetAll(),
                                   static_cast<std::size_t>(record.Size()), &ours, nullptr, 0,
                                   &verdict, e);
    });
    if (verdict != QVREG_VERDICT_VALID) continue;
    EXPECT_EQ(ours, predicted);
  }
  const CSource source = CColumns(records_).Source();
  EXPECT_EQ(qvreg_component_build(restored.get(), source.get(), nullptr), QVREG_ALREADY_BUILT);
}

TEST_P(CPasses, OnlyABuiltModelIsWrittenAndOnlyAWholeOneRestored) {
  const CComponent unbuilt = CComponentOf(Settings());
  qvreg_bytes* written = nullptr;
  EXPECT_EQ(qvreg_component_write(unbuilt.get(), &written, nullptr), QVREG_NOT_BUILT);
  EXPECT_EQ(written, nullptr);
  const CFit fit = CFitOf(Settings(), CColumns(records_).Source());
  Bytes cut = DataOf(ModelOf(fit.component).get());
  cut.pop_back();
  for (const CBytes& bytes : {CBytesOf(cut), Written(Settings())}) {
    qvreg_component* component = nullptr;
    const qvreg_error error = ErrorOf(
        [&](qvreg_error* e) { return qvreg_component_restore(bytes.get(), &component, e); });
    EXPECT_EQ(error.code, QVREG_UNREADABLE_MESSAGE);
    EXPECT_NE(std::string(error.message).find("The bytes are no model"), std::string::npos);
    EXPECT_EQ(component, nullptr);
  }
}

TEST_P(CPasses, AModelIsRestoredFromTextToTheLastBit) {
  const CFit fit = CFitOf(Settings(), CColumns(records_).Source());
  const CBytes text = TextOf(fit.component);
  qvreg_component* made = nullptr;
  Require([&](qvreg_error* e) { return qvreg_component_restore_text(text.get(), &made, e); });
  const CComponent restored(made);
  EXPECT_EQ(DataOf(ModelOf(restored).get()), DataOf(ModelOf(fit.component).get()));
  EXPECT_EQ(DataOf(TextOf(restored).get()), DataOf(text.get()));
}

TEST_P(CPasses, OnlyABuiltModelIsWrittenAsTextAndOnlyATextOfOneRestored) {
  const CComponent unbuilt = CComponentOf(Settings());
  qvreg_bytes* written = nullptr;
  EXPECT_EQ(qvreg_component_write_text(unbuilt.get(), &written, nullptr), QVREG_NOT_BUILT);
  EXPECT_EQ(written, nullptr);
  const CFit fit = CFitOf(Settings(), CColumns(records_).Source());
  Bytes cut = DataOf(TextOf(fit.component).get());
  cut.pop_back();
  for (const CBytes& bytes : {CBytesOf(cut), ModelOf(fit.component)}) {
    qvreg_component* component = nullptr;
    const qvreg_error error = ErrorOf(
        [&](qvreg_error* e) { return qvreg_component_restore_text(bytes.get(), &component, e); });
    EXPECT_EQ(error.code, QVREG_UNREADABLE_MESSAGE);
    EXPECT_NE(std::string(error.message).find("The text is no model"), std::string::npos);
    EXPECT_EQ(component, nullptr);
  }
}

TEST_P(CPasses, WorkersGiveTheBitsOfCpp) {
  RandomModel model(GetParam());
  VectorParts parts(records_, 5);
  QvThreadRunner runner(parts, 2);
  model.Get().SetPassRunner(&runner);
  UntouchedIter none;
  FittedModel expected(model.Get(), none);
  for (const std::size_t workers : {1U, 3U}) {
    CCluster cluster(records_, 5, workers);
    const CSettings settings = Settings();
    cluster.SetIn(settings);
    ExpectSameResults(CFitOf(settings, CSource()).results, expected.Stats());
    EXPECT_GT(cluster.Requests().size(), 2U);
  }
}

TEST_P(CPasses, OnePartGivesTheBitsOfARunWithoutRunner) {
  CCluster cluster(records_, 1, 1);
  const CSettings settings = Settings();
  cluster.SetIn(settings);
  RandomModel model(GetParam());
  ExpectSameResults(CFitOf(settings, CSource()).results,
                    FittedModel(model.Get(), records_).Stats());
}

TEST_P(CPasses, DamagedRequestsAndAnswersAreRefused) {
  CCluster cluster(records_, 2, 1);
  const CSettings settings = Settings();
  cluster.SetIn(settings);
  static_cast<void>(CFitOf(settings, CSource()));
  const CBytes request = CBytesOf(cluster.Requests().front());
  const CBytes answer = cluster.Answer(request.get(), 0);
  const auto damaged = [](const CBytes& bytes) {
    Bytes data = DataOf(bytes.get());
    data[data.size() / 2] ^= 0x10U;
    return CBytesOf(data);
  };
  qvreg_worker* worker = cluster.Worker(0).get();
  const CSource source = CColumns(records_).Source();
  const CBytes other = CBytesOf(cluster.Requests().back());
  qvreg_bytes* out = nullptr;
  const auto merge = [&](const CBytes& asked, const CBytes& first, const CBytes& second) {
    return qvreg_worker_merge(worker, asked.get(), first.get(), second.get(), &out, nullptr);
  };
  EXPECT_EQ(qvreg_worker_run(worker, damaged(request).get(), 0, source.get(), &out, nullptr),
            QVREG_UNREADABLE_MESSAGE);
  EXPECT_EQ(merge(damaged(request), answer, answer), QVREG_UNREADABLE_MESSAGE);
  EXPECT_EQ(merge(request, damaged(answer), answer), QVREG_UNREADABLE_MESSAGE);
  EXPECT_EQ(merge(request, answer, damaged(answer)), QVREG_UNREADABLE_MESSAGE);
  EXPECT_EQ(merge(other, answer, answer), QVREG_UNREADABLE_MESSAGE);
  EXPECT_EQ(out, nullptr);
}

TEST_P(CPasses, AnErrorOfARecordTravelsToTheComponent) {
  Records records = records_;
  records[300][kF] = 9.0;
  CCluster cluster(records, 4, 2);
  const CSettings settings = Settings();
  cluster.SetIn(settings);
  const qvreg_error error = BuildError(settings);
  EXPECT_EQ(error.code, QVREG_BAD_CATEGORY);
  EXPECT_EQ(error.has_discrete[0], 0);
  EXPECT_EQ(error.discrete[1], kF);
  EXPECT_EQ(error.scale[1], 9.0);
}

TEST_P(CPasses, AWorkerReportsASourceThatFails) {
  CCluster cluster(records_, 1, 1);
  const CSettings settings = Settings();
  cluster.SetIn(settings);
  static_cast<void>(CFitOf(settings, CSource()));
  cluster.Feed(0).onNext = [](int /*pass*/, std::size_t position) {
    return position == 41 ? -5 : QVREG_NEXT_RECORD;
  };
  const CSource source = cluster.Feed(0).Source();
  const CBytes request = CBytesOf(cluster.Requests().front());
  qvreg_bytes* answer = nullptr;
  const CWorker worker = Made<CWorker>([](auto... rest) { return qvreg_worker_create(rest...); });
  const auto run = [&](qvreg_error* e) {
    return qvreg_worker_run(worker.get(), request.get(), 0, source.get(), &answer, e);
  };
  const qvreg_error error = ErrorOf(run);
  EXPECT_EQ(error.code, QVREG_UNREADABLE_RECORD);
  EXPECT_EQ(error.discrete[0], 42);
  EXPECT_EQ(error.discrete[1], 1);
  EXPECT_EQ(error.discrete[2], -5);
  cluster.Feed(0).onNext = [](int /*pass*/, std::size_t position) -> std::int32_t {
    if (position == 41) throw std::runtime_error("torn");
    return QVREG_NEXT_RECORD;
  };
  EXPECT_EQ(ErrorOf(run).code, QVREG_CALLBACK_THREW);
  cluster.Feed(0).onRewind = [](int /*pass*/) { return -6; };
  EXPECT_EQ(ErrorOf(run).code, QVREG_NO_FURTHER_PASS);
  EXPECT_EQ(qvreg_worker_run(worker.get(), request.get(), -1, source.get(), &answer, nullptr),
            QVREG_BAD_ARGUMENT);
  EXPECT_EQ(answer, nullptr);
  // Neither leaves the worker in a bad state.
  cluster.Feed(0).onNext = nullptr;
  cluster.Feed(0).onRewind = nullptr;
  const CBytes good = Made<CBytes>([&](qvreg_bytes** made, qvreg_error* e) {
    return qvreg_worker_run(worker.get(), request.get(), 0, source.get(), made, e);
  });
  EXPECT_EQ(DataOf(good.get()), DataOf(cluster.Answer(request.get(), 0).get()));
}

TEST_P(CPasses, AWorkerIsCancelledFromAnotherThread) {
  CCluster cluster(records_, 2, 2);
  const CSettings settings = Settings();
  cluster.SetIn(settings);
  cluster.Feed(1).onNext = [&cluster](int pass, std::size_t position) -> std::int32_t {
    if (pass == 2 && position == 50) {
      std::thread([&] { qvreg_worker_cancel(cluster.Worker(1).get(), nullptr); }).join();
    }
    return position < 100 || pass < 2 ? QVREG_NEXT_RECORD : -1;
  };
  EXPECT_EQ(BuildError(settings).code, QVREG_CANCELLED);
  // It stays so.
  EXPECT_EQ(BuildError(settings).code, QVREG_CANCELLED);
}

TEST_P(CPasses, HandlesThatACallbackDestroysLiveToTheEndOfTheCall) {
  CCluster cluster(records_, 1, 1);
  const CSettings settings = Settings();
  cluster.SetIn(settings);
  static_cast<void>(CFitOf(settings, CSource()));
  const Bytes expected =
      DataOf(cluster.Answer(CBytesOf(cluster.Requests().front()).get(), 0).get());
  CBytes request = CBytesOf(cluster.Requests().front());
  CWorker worker = Made<CWorker>([](auto... rest) { return qvreg_worker_create(rest...); });
  CRecordFeed feed(records_);
  CSource source = feed.Source();
  std::int32_t again = QVREG_OK;
  feed.onNext = [&](int /*pass*/, std::size_t position) -> std::int32_t {
    if (position != 10 || worker == nullptr) return QVREG_NEXT_RECORD;
    qvreg_bytes* none = nullptr;
    again = qvreg_worker_run(worker.get(), request.get(), 0, source.get(), &none, nullptr);
    request.reset();
    worker.reset();
    source.reset();
    return QVREG_NEXT_RECORD;
  };
  const CBytes answer = Made<CBytes>([&](qvreg_bytes** made, qvreg_error* e) {
    return qvreg_worker_run(worker.get(), request.get(), 0, source.get(), made, e);
  });
  EXPECT_EQ(again, QVREG_BAD_ARGUMENT);
  EXPECT_EQ(DataOf(answer.get()), expected);
}

/// A runner that does what a test likes in its pass `at`, and in the others what a cluster does.
struct Misbehaving {
  explicit Misbehaving(const Records& records) : cluster(records, 2, 1) {}

  [[nodiscard]] CSettings SettingsFor(ModelKind model) {
    CSettings settings = CSettingsOf(RandomModel(model).Get());
    Require(
        [&](qvreg_error* e) { return qvreg_settings_set_runner(settings.get(), &Run, this, e); });
    return settings;
  }
  static std::int32_t Run(void* user, const qvreg_bytes* request, qvreg_bytes** answer) {
    auto& self = *static_cast<Misbehaving*>(user);
    if (++self.passes == self.at) return self.inside(request, answer);
    return CCluster::Run(&self.cluster, request, answer);
  }

  CCluster cluster;
  std::function<std::int32_t(const qvreg_bytes*, qvreg_bytes**)> inside;
  int at = 2;
  int passes = 0;
};

TEST_P(CPasses, AFailureOfTheCallbackEndsTheRun) {
  Misbehaving runner(records_);
  // What it stored is destroyed, or a leak is reported.
  runner.inside = [](const qvreg_bytes* request, qvreg_bytes** answer) {
    *answer = CBytesOf(DataOf(request)).release();
    return -7;
  };
  const CSettings settings = runner.SettingsFor(GetParam());
  const CComponent component = CComponentOf(settings);
  const qvreg_error error =
      ErrorOf([&](qvreg_error* e) { return qvreg_component_build(component.get(), nullptr, e); });
  EXPECT_EQ(error.code, QVREG_UNREADABLE_RECORD);
  EXPECT_EQ(error.has_discrete[0], 0);
  EXPECT_EQ(error.discrete[1], 2);
  EXPECT_EQ(error.discrete[2], -7);
  EXPECT_STREQ(error.message,
               "In pass 2 the runner callback failed: it returned -7; check the host's runner.");
  auto status = Sized<qvreg_error>();
  Require([&](qvreg_error* e) { return qvreg_component_get_status(component.get(), &status, e); });
  EXPECT_STREQ(status.message, error.message);
}

TEST_P(CPasses, BadAnswersEndTheRun) {
  const std::vector<std::pair<std::function<qvreg_bytes*(const qvreg_bytes*)>, std::int32_t>>
      answers = {
          {[](const qvreg_bytes* /*request*/) { return nullptr; }, QVREG_UNREADABLE_MESSAGE},
          {[](const qvreg_bytes* request) { return CBytesOf(DataOf(request)).release(); },
           QVREG_UNREADABLE_MESSAGE},
          {[](const qvreg_bytes* /*request*/) { return CBytesOf({}).release(); },
           QVREG_UNREADABLE_MESSAGE},
      };
  for (const auto& [answer, code] : answers) {
    Misbehaving runner(records_);
    runner.inside = [&make = answer](const qvreg_bytes* request, qvreg_bytes** stored) {
      *stored = make(request);
      return 0;
    };
    EXPECT_EQ(BuildError(runner.SettingsFor(GetParam())).code, code);
  }
  Misbehaving runner(records_);
  const CEveryKind of(false);
  runner.inside = [&of](const qvreg_bytes* /*request*/, qvreg_bytes** stored) {
    *stored = reinterpret_cast<qvreg_bytes*>(of.settings.get());
    return 0;
  };
  EXPECT_EQ(BuildError(runner.SettingsFor(GetParam())).code, QVREG_BAD_HANDLE);
  EXPECT_EQ(qvreg_settings_validate(of.settings.get(), nullptr), QVREG_OK);
}

TEST_P(CPasses, AnExceptionOfTheCallbackEndsTheRun) {
  Misbehaving runner(records_);
  runner.inside = [](const qvreg_bytes* request, qvreg_bytes** answer) -> std::int32_t {
    *answer = CBytesOf(DataOf(request)).release();
    throw std::runtime_error("boom");
  };
  const qvreg_error error = BuildError(runner.SettingsFor(GetParam()));
  EXPECT_EQ(error.code, QVREG_CALLBACK_THREW);
  EXPECT_STREQ(error.message, "The runner callback threw an exception, which it must not: boom");
}

TEST_P(CPasses, ACallbackThatStopsForACancelledComponentCancels) {
  Misbehaving runner(records_);
  const CSettings settings = runner.SettingsFor(GetParam());
  const CComponent component = CComponentOf(settings);
  runner.inside = [&](const qvreg_bytes* /*request*/, qvreg_bytes** /*answer*/) {
    EXPECT_EQ(qvreg_component_cancel(component.get(), nullptr), QVREG_OK);
    return -1;
  };
  EXPECT_EQ(qvreg_component_build(component.get(), nullptr, nullptr), QVREG_CANCELLED);
  EXPECT_EQ(runner.passes, 2);
  // Before a pass it is asked too.
  const CComponent other = CComponentOf(settings);
  Require([&](qvreg_error* e) { return qvreg_component_cancel(other.get(), e); });
  EXPECT_EQ(qvreg_component_build(other.get(), nullptr, nullptr), QVREG_CANCELLED);
  EXPECT_EQ(runner.passes, 2);
}

TEST_P(CPasses, OnTheHandlesOfItsCallACallbackMayOnlyCancel) {
  Misbehaving runner(records_);
  CSettings settings = runner.SettingsFor(GetParam());
  CComponent component = CComponentOf(settings);
  CRecordFeed feed(records_);
  const CSource given = feed.Source();
  std::int32_t inside = QVREG_OK;
  runner.inside = [&](const qvreg_bytes* request, qvreg_bytes** answer) {
    inside = qvreg_component_build(component.get(), nullptr, nullptr);
    // The source of the call is free, since the run does not read it.
    EXPECT_EQ(qvreg_source_rewind(given.get(), nullptr), QVREG_OK);
    settings.reset();
    component.reset();
    return CCluster::Run(&runner.cluster, request, answer);
  };
  EXPECT_EQ(qvreg_component_build(component.get(), given.get(), nullptr), QVREG_OK);
  EXPECT_EQ(inside, QVREG_BAD_ARGUMENT);
}

}  // namespace
}  // namespace qvtest
