#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
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
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/VectorParts.h"

namespace qvtest {
namespace {

using Records = std::vector<QvCommon::Record>;

void SetThreads(const CSettings& settings, const CSource& source, int threads,
                std::int64_t memory = 0) {
  Require([&](qvreg_error* e) {
    return qvreg_settings_set_threads(settings.get(), source.get(), threads, memory, e);
  });
}

/// A fit of settings that have threads or a runner: without a source.
CFit FitWithoutSource(const CSettings& settings) { return CFitOf(settings, CSource()); }

/// What building a component of the settings comes to.
qvreg_error BuildError(const CSettings& settings, const CSource& source = CSource()) {
  const CComponent component = CComponentOf(settings);
  return ErrorOf(
      [&](qvreg_error* e) { return qvreg_component_build(component.get(), source.get(), e); });
}

/// Expects a run on threads to end with the same error as one on the calling thread.
qvreg_error ExpectSameError(ModelKind model, const CSource& source) {
  const CSettings settings = CSettingsOf(RandomModel(model).Get());
  const qvreg_error expected = BuildError(settings, source);
  EXPECT_NE(expected.code, QVREG_OK);
  for (const int threads : {1, 3}) {
    SetThreads(settings, source, threads);
    const qvreg_error error = BuildError(settings);
    EXPECT_EQ(error.code, expected.code);
    EXPECT_STREQ(error.message, expected.message);
    for (int i = 0; i < QVREG_MAX_DATA; ++i) {
      EXPECT_EQ(error.has_discrete[i], expected.has_discrete[i]) << i;
      EXPECT_EQ(error.discrete[i], expected.discrete[i]) << i;
      EXPECT_EQ(error.scale[i], expected.scale[i]) << i;
    }
  }
  return expected;
}

class CThreads : public testing::TestWithParam<ModelKind> {
 protected:
  static constexpr int kRecords = 9000;
  static constexpr std::size_t kWidth = 8;

  [[nodiscard]] static CSettings Settings() { return CSettingsOf(RandomModel(GetParam()).Get()); }

  const Records records_ = RandomRecords(kRecords);
  const CColumns columns_{records_};
};

INSTANTIATE_TEST_SUITE_P(CInterface, CThreads,
                         testing::Values(ModelKind::kLinear, ModelKind::kLogistic,
                                         ModelKind::kInMemory),
                         [](const auto& tested) { return ModelKindName(tested.param); });

TEST_P(CThreads, GiveTheBitsOfCppForAnyNumberAndEverySource) {
  RandomModel model(GetParam());
  const int count = QvPartCount(kRecords, model.Get());
  ASSERT_EQ(count, 4);
  VectorParts parts(records_, static_cast<std::size_t>(count));
  QvThreadRunner runner(parts, 2);
  model.Get().SetPassRunner(&runner);
  UntouchedIter none;
  FittedModel expected(model.Get(), none);
  const CRecordFile file(records_);
  const CSettings settings = Settings();
  for (const CSource& source : {columns_.Source(), file.Source(kWidth)}) {
    for (const int threads : {1, 2, 7, 0}) {
      SetThreads(settings, source, threads);
      ExpectSameResults(FitWithoutSource(settings).results, expected.Stats());
    }
    // So little memory that one thread runs.
    SetThreads(settings, source, 7, 1);
    ExpectSameResults(FitWithoutSource(settings).results, expected.Stats());
  }
}

TEST_P(CThreads, GiveTheBitsOfARunWithoutThemOverOnePart) {
  const Records few = RandomRecords(500);
  const CColumns columns(few);
  RandomModel model(GetParam());
  FittedModel expected(model.Get(), few);
  const CSettings settings = Settings();
  SetThreads(settings, columns.Source(), 7);
  ExpectSameResults(FitWithoutSource(settings).results, expected.Stats());
}

TEST_P(CThreads, KeepWhatTheyNeedWhateverIsDestroyed) {
  CSettings settings = Settings();
  auto file = std::make_unique<CRecordFile>(records_);
  for (const bool isFile : {false, true}) {
    CSource source = isFile ? file->Source(kWidth) : columns_.Source();
    SetThreads(settings, source, 2);
    const CFit expected = FitWithoutSource(settings);
    const CComponent component = CComponentOf(settings);
    // A copy of its settings has threads of its own.
    const CSettings copy = Made<CSettings>([&](qvreg_settings** made, qvreg_error* e) {
      return qvreg_component_get_settings(component.get(), made, e);
    });
    source.reset();
    settings.reset();
    Require([&](qvreg_error* e) { return qvreg_component_build(component.get(), nullptr, e); });
    CFit fit = FitWithoutSource(copy);
    fit.component.reset();
    const auto estimates = [](const CResults& results) {
      return ListOf<double>(
          [&](auto... rest) { return qvreg_results_get_estimates(results.get(), rest...); });
    };
    EXPECT_EQ(estimates(fit.results), estimates(expected.results));
    settings = Settings();
  }
}

TEST_P(CThreads, AreOfEveryComponentItself) {
  const CSettings settings = Settings();
  SetThreads(settings, columns_.Source(), 2);
  const CFit expected = FitWithoutSource(settings);
  std::vector<CComponent> components;
  std::vector<std::thread> hosts;
  std::atomic<int> good = 0;
  for (int i = 0; i < 3; ++i) components.push_back(CComponentOf(settings));
  for (const CComponent& component : components) {
    hosts.emplace_back([&good, &component] {
      if (qvreg_component_build(component.get(), nullptr, nullptr) == QVREG_OK) ++good;
    });
  }
  for (std::thread& host : hosts) host.join();
  EXPECT_EQ(good, 3);
}

TEST_P(CThreads, DoNotReadTheSourceOfTheCall) {
  CRecordFeed feed(RandomRecords(5, 7));
  const CSettings settings = Settings();
  SetThreads(settings, columns_.Source(), 2);
  static_cast<void>(CFitOf(settings, feed.Source()));
  EXPECT_EQ(feed.Passes(), 0);
  const CComponent component = CComponentOf(settings);
  auto* other = reinterpret_cast<qvreg_source*>(settings.get());
  EXPECT_EQ(qvreg_component_build(component.get(), other, nullptr), QVREG_BAD_HANDLE);
}

TEST_P(CThreads, AreTakenBack) {
  const CSettings settings = Settings();
  SetThreads(settings, columns_.Source(), 2);
  Require([&](qvreg_error* e) {
    return qvreg_settings_set_runner(settings.get(), nullptr, nullptr, e);
  });
  const CComponent component = CComponentOf(settings);
  EXPECT_EQ(qvreg_component_build(component.get(), nullptr, nullptr), QVREG_NULL_HANDLE);
}

TEST_P(CThreads, ReportARecordOfAnyPartAsOneThreadDoes) {
  // In the first record, at the end of a part and behind it, within one, and last.
  for (const std::size_t bad : {0U, 4499U, 4500U, 5000U, 8999U}) {
    Records records = records_;
    records[bad][kF] = 9.0;
    // Another one behind is not reached.
    records[8999][kG] = 7.0;
    const qvreg_error error = ExpectSameError(GetParam(), CColumns(records).Source());
    EXPECT_EQ(error.code, QVREG_BAD_CATEGORY);
    EXPECT_EQ(error.discrete[0], static_cast<std::int64_t>(bad) + 1);
  }
}

TEST_P(CThreads, ReportShortRecordsAsOneThreadDoes) {
  Records records;
  for (const QvCommon::Record& record : records_) records.push_back(MakeRecord({record[0]}));
  const qvreg_error error = ExpectSameError(GetParam(), CColumns(records).Source());
  EXPECT_EQ(error.code, QVREG_SHORT_RECORD);
  EXPECT_EQ(error.discrete[0], 1);
}

TEST_P(CThreads, ReportAFileThatIsCutAsOneThreadDoes) {
  const CRecordFile file(records_);
  file.Write(records_, sizeof(double) * kWidth - 1);
  const qvreg_error error = ExpectSameError(GetParam(), file.Source(kWidth));
  EXPECT_EQ(error.code, QVREG_UNREADABLE_RECORD);
  EXPECT_EQ(error.discrete[0], kRecords + 1);
  EXPECT_EQ(error.discrete[1], 1);
}

TEST_P(CThreads, ReportThePassInWhichAFileWasCut) {
  const CRecordFile file(records_);
  const CSettings settings = Settings();
  const CSource source = file.Source(kWidth);
  SetThreads(settings, source, 2);
  const CComponent component = CComponentOf(settings);
  Require([&](qvreg_error* e) {
    return qvreg_component_create_parameters(component.get(), nullptr, nullptr, e);
  });
  // In the second of four parts.
  file.Write(Records(records_.begin(), records_.begin() + 3000), 1);
  const qvreg_error error =
      ErrorOf([&](qvreg_error* e) { return qvreg_component_build(component.get(), nullptr, e); });
  EXPECT_EQ(error.code, QVREG_UNREADABLE_RECORD);
  EXPECT_EQ(error.discrete[0], 3001);
  EXPECT_EQ(error.discrete[1], 1);
  auto status = Sized<qvreg_error>();
  Require([&](qvreg_error* e) { return qvreg_component_get_status(component.get(), &status, e); });
  EXPECT_STREQ(status.message, error.message);
}

TEST_P(CThreads, NoticeAFileWithOtherRecordsInALaterPass) {
  for (const std::ptrdiff_t left : {4000, 9000}) {
    const CRecordFile file(Records(records_.begin(), records_.begin() + 8000));
    const CSettings settings = Settings();
    SetThreads(settings, file.Source(kWidth), 2);
    const CComponent component = CComponentOf(settings);
    Require([&](qvreg_error* e) {
      return qvreg_component_create_parameters(component.get(), nullptr, nullptr, e);
    });
    file.Write(Records(records_.begin(), records_.begin() + left));
    EXPECT_EQ(qvreg_component_build(component.get(), nullptr, nullptr), QVREG_RECORDS_CHANGED);
  }
}

TEST_P(CThreads, ReportAFileThatIsGone) {
  const CRecordFile file(records_);
  const CSettings settings = Settings();
  SetThreads(settings, file.Source(kWidth), 2);
  const CComponent component = CComponentOf(settings);
  file.Remove();
  const qvreg_error error =
      ErrorOf([&](qvreg_error* e) { return qvreg_component_build(component.get(), nullptr, e); });
  EXPECT_EQ(error.code, QVREG_CANNOT_OPEN);
  qvreg_component* none = nullptr;
  EXPECT_EQ(qvreg_component_create(settings.get(), &none, nullptr), QVREG_CANNOT_OPEN);
  EXPECT_EQ(none, nullptr);
}

TEST_P(CThreads, OpenTheFileOfARelativePathFromAnyFolder) {
  const TempFolder folder;
  const CRecordFile file(records_);
  std::filesystem::copy_file(file.Path(), folder.Path() / "relative.bin");
  const std::filesystem::path before = std::filesystem::current_path();
  std::filesystem::current_path(folder.Path());
  const CSource source = Made<CSource>([&](qvreg_source** made, qvreg_error* e) {
    return qvreg_source_open_file("relative.bin", kWidth, made, e);
  });
  std::filesystem::current_path(before);
  const CSettings settings = Settings();
  SetThreads(settings, source, 2);
  EXPECT_EQ(BuildError(settings).code, QVREG_OK);
}

TEST_P(CThreads, AskTheHostsCallbackOnItsOwnThread) {
  struct Host {
    std::thread::id id = std::this_thread::get_id();
    int asked = 0;
    int elsewhere = 0;
    int stopAt = 0;
    bool isThrown = false;
  } host;
  const CSettings settings = Settings();
  const qvreg_cancel_callback callback = [](void* user) -> std::int32_t {
    auto& self = *static_cast<Host*>(user);
    if (std::this_thread::get_id() != self.id) ++self.elsewhere;
    if (++self.asked != self.stopAt) return 0;
    if (self.isThrown) throw std::runtime_error("boom");
    return 1;
  };
  Require([&](qvreg_error* e) {
    return qvreg_settings_set_cancel(settings.get(), callback, &host, e);
  });
  SetThreads(settings, columns_.Source(), 2);
  EXPECT_EQ(BuildError(settings).code, QVREG_OK);
  EXPECT_GT(host.asked, 2);
  const int last = host.asked;
  host.asked = 0;
  host.stopAt = last / 2;
  EXPECT_EQ(BuildError(settings).code, QVREG_CANCELLED);
  host.asked = 0;
  host.isThrown = true;
  EXPECT_EQ(BuildError(settings).code, QVREG_CALLBACK_THREW);
  EXPECT_EQ(host.elsewhere, 0);
}

TEST_P(CThreads, StopForACancelledComponent) {
  const CSettings settings = Settings();
  SetThreads(settings, columns_.Source(), 2);
  const CComponent component = CComponentOf(settings);
  Require([&](qvreg_error* e) { return qvreg_component_cancel(component.get(), e); });
  EXPECT_EQ(qvreg_component_build(component.get(), nullptr, nullptr), QVREG_CANCELLED);
}

TEST(CSettingsThreads, CountThePassesOfACallAsOneThreadDoes) {
  struct Host {
    Records records = RandomRecords(9000);
    CRecordFile file{records};
    bool isCut = false;
  } host;
  const CSettings settings = CSettingsOf(RandomModel(ModelKind::kLogistic).Get());
  const qvreg_progress_callback cut = [](void* user, const qvreg_progress* /*progress*/) {
    auto& self = *static_cast<Host*>(user);
    if (std::exchange(self.isCut, true)) return;
    self.file.Write(Records(self.records.begin(), self.records.begin() + 3000), 1);
  };
  Require(
      [&](qvreg_error* e) { return qvreg_settings_set_progress(settings.get(), cut, &host, e); });
  const auto run = [&](const CSource& source) {
    host.file.Write(host.records);
    host.isCut = false;
    return BuildError(settings, source);
  };
  const CSource source = host.file.Source(8);
  const qvreg_error expected = run(source);
  EXPECT_EQ(expected.code, QVREG_UNREADABLE_RECORD);
  EXPECT_GT(expected.discrete[1], 2);
  SetThreads(settings, source, 2);
  const qvreg_error error = run(CSource());
  EXPECT_EQ(error.code, QVREG_UNREADABLE_RECORD);
  EXPECT_EQ(error.discrete[0], 3001);
  EXPECT_EQ(error.discrete[1], expected.discrete[1]);
  EXPECT_STREQ(error.message, expected.message);
}

TEST(CSettingsThreads, RefuseWhatTheyCannotDo) {
  const CEveryKind of(false);
  CRecordFeed feed(of.records);
  const CSource callbacks = feed.Source();
  const auto set = [&](const CSource& source, int threads, std::int64_t memory) {
    return ErrorOf([&](qvreg_error* e) {
      return qvreg_settings_set_threads(of.settings.get(), source.get(), threads, memory, e);
    });
  };
  const qvreg_error error = set(callbacks, 1, 0);
  EXPECT_EQ(error.code, QVREG_BAD_ARGUMENT);
  EXPECT_STREQ(error.message,
               "Threads cannot share a source of callbacks, whose records come one after the "
               "other; pass one of columns or of a record file, or set a runner.");
  EXPECT_EQ(set(of.source, -1, 0).code, QVREG_BAD_ARGUMENT);
  EXPECT_EQ(set(of.source, 1, -1).code, QVREG_BAD_ARGUMENT);
  // Nothing was set.
  EXPECT_EQ(BuildError(of.settings, callbacks).code, QVREG_OK);
  EXPECT_GT(feed.Passes(), 0);
}

TEST(CSettingsThreads, TakeColumnsWithoutRecords) {
  const CEveryKind of(false);
  const qvreg_column column{nullptr, 1};
  const std::vector<qvreg_column> columns(CEveryKind::kWidth, column);
  const CSource source = Made<CSource>([&](qvreg_source** made, qvreg_error* e) {
    return qvreg_source_create_columns(columns.data(), columns.size(), 0, made, e);
  });
  SetThreads(of.settings, source, 2);
  EXPECT_EQ(BuildError(of.settings).code, QVREG_NO_RECORDS);
}

}  // namespace
}  // namespace qvtest
