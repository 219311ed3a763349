#pragma once

/// \file
/// What the handles of the C interface point to.
///
/// Whatever can call the host back is shared: a call holds it by value, so that a host that
/// destroys the handle meanwhile leaves it whole.

#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCEffect.h"
#include "qvreg/c/QvCHandle.h"
#include "qvreg/c/QvCRun.h"
#include "qvreg/c/QvCSettings.h"
#include "qvreg/c/QvCSource.h"
#include "qvreg/c/qvreg_c_types.h"
#include "qvreg/settings/QvRegrParameter.h"

struct qvreg_settings final : QvCHandle {
  static constexpr std::uint64_t kKind = 0x7176736574740001;
  static constexpr const char* kName = "settings";

  explicit qvreg_settings(QvCSettings settings)
      : QvCHandle(kKind), fSettings(std::move(settings)) {}

  QvCSettings fSettings;
};

struct qvreg_effect final : QvCHandle {
  static constexpr std::uint64_t kKind = 0x7176656666650002;
  static constexpr const char* kName = "an effect";

  explicit qvreg_effect(QvCEffect effect) : QvCHandle(kKind), fEffect(std::move(effect)) {}

  QvCEffect fEffect;
};

struct qvreg_source final : QvCHandle {
  static constexpr std::uint64_t kKind = 0x7176736f75720003;
  static constexpr const char* kName = "a source";

  explicit qvreg_source(std::shared_ptr<QvCSource> source)
      : QvCHandle(kKind), fSource(std::move(source)) {}

  std::shared_ptr<QvCSource> fSource;
};

struct qvreg_component final : QvCHandle {
  static constexpr std::uint64_t kKind = 0x7176636f6d700004;
  static constexpr const char* kName = "a component";

  explicit qvreg_component(std::shared_ptr<QvCRun> run) : QvCHandle(kKind), fRun(std::move(run)) {}

  std::shared_ptr<QvCRun> fRun;
};

struct qvreg_parameters final : QvCHandle {
  static constexpr std::uint64_t kKind = 0x7176706172610005;
  static constexpr const char* kName = "parameters";

  qvreg_parameters() : QvCHandle(kKind) {}

  std::vector<QvRegrParameter> fParameters;
};

struct qvreg_results final : QvCHandle {
  static constexpr std::uint64_t kKind = 0x7176726573750006;
  static constexpr const char* kName = "results";

  qvreg_results(std::shared_ptr<QvCRun> run, IQvRegOutputStats& stats)
      : QvCHandle(kKind), fRun(std::move(run)), fStats(stats) {}

  std::shared_ptr<QvCRun> fRun;
  IQvRegOutputStats& fStats;  ///< The run's.
};

/// Makes a handle for the host, which destroys it by DestroyHandle, and stores it at `place`, the
/// argument of that name.
template <typename Handle, typename... Arguments>
void HandOut(Handle** place, const char* name, Arguments&&... arguments) {
  Handle*& handle = QvCCheck::NotNull(place, name);
  handle = std::make_unique<Handle>(std::forward<Arguments>(arguments)...).release();
}

/// Ends a handle of this kind; null, and what is none, is left alone.
template <typename Handle>
void DestroyHandle(Handle* handle) {
  if (handle != nullptr && handle->IsOfKind(Handle::kKind)) std::unique_ptr<Handle>(handle).reset();
}
