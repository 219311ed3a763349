#pragma once

/// \file
/// A host of the C interface in the tests: handles that give themselves back, calls that throw,
/// records from callbacks and from columns, fits, and one handle of each kind.

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/Record.h"
#include "qvreg/settings/QvRegSettings.h"

namespace qvtest {

/// Handles of the C interface that give themselves back.
template <auto kDestroy>
struct GiveBack {
  template <typename Handle>
  void operator()(Handle* handle) const {
    kDestroy(handle);
  }
};
using CSettings = std::unique_ptr<qvreg_settings, GiveBack<&qvreg_settings_destroy>>;
using CEffect = std::unique_ptr<qvreg_effect, GiveBack<&qvreg_effect_destroy>>;
using CSource = std::unique_ptr<qvreg_source, GiveBack<&qvreg_source_destroy>>;
using CComponent = std::unique_ptr<qvreg_component, GiveBack<&qvreg_component_destroy>>;
using CParameters = std::unique_ptr<qvreg_parameters, GiveBack<&qvreg_parameters_destroy>>;
using CResults = std::unique_ptr<qvreg_results, GiveBack<&qvreg_results_destroy>>;
using CBytes = std::unique_ptr<qvreg_bytes, GiveBack<&qvreg_bytes_destroy>>;
using CWorker = std::unique_ptr<qvreg_worker, GiveBack<&qvreg_worker_destroy>>;

/// A structure of the C interface with its size set.
template <typename Struct>
[[nodiscard]] Struct Sized() {
  Struct structure{};
  structure.struct_size = sizeof(Struct);
  return structure;
}

/// Throws with the message when a call did not return QVREG_OK: `Require([&](qvreg_error* e) {
/// return qvreg_...(..., e); })`.
template <typename Call>
void Require(Call&& call) {
  qvreg_error error = QVREG_ERROR_INIT;
  const std::int32_t code = call(&error);
  if (code != QVREG_OK) throw std::runtime_error(std::to_string(code) + ": " + error.message);
}

/// What a call that hands out a handle hands out: `Made<CEffect>([&](qvreg_effect** h, qvreg_error*
/// e) { return qvreg_...(h, e); })`.
template <typename Handle, typename Call>
[[nodiscard]] Handle Made(Call&& call) {
  typename Handle::pointer handle = nullptr;
  Require([&](qvreg_error* error) { return call(&handle, error); });
  return Handle(handle);
}

/// A whole list: `call(buffer, capacity, count, error)` is asked for the count, then for the list.
template <typename T, typename Call>
[[nodiscard]] std::vector<T> ListOf(Call&& call) {
  std::size_t count = 0;
  Require([&](qvreg_error* error) {
    return call(static_cast<T*>(nullptr), std::size_t{0}, &count, error);
  });
  std::vector<T> list(count);
  if (count == 0) return list;
  Require([&](qvreg_error* error) {
    return call(list.data(), list.size(), static_cast<std::size_t*>(nullptr), error);
  });
  return list;
}

/// What an effect consists of, as the interface has it.
struct EffectParts {
  std::vector<std::int32_t> factors;
  std::vector<std::int32_t> levels;
  std::vector<std::int32_t> covariates;
  std::vector<std::int32_t> multiplicities;
  bool operator==(const EffectParts& other) const = default;
};
[[nodiscard]] EffectParts EffectOf(const CEffect& effect);

/// What a parameter stands for, as the interface has it.
struct ParameterParts {
  qvreg_parameter_info info;
  std::vector<std::int32_t> factors;
  std::vector<std::int32_t> categories;
  std::vector<std::int32_t> levels;
  std::vector<std::int32_t> covariates;
  std::vector<std::int32_t> multiplicities;
};
[[nodiscard]] ParameterParts ParameterOf(const qvreg_parameters* parameters, std::size_t index);

/// What a call leaves in its error, whose code it must return unless that is a warning.
template <typename Call>
[[nodiscard]] qvreg_error ErrorOf(Call&& call) {
  qvreg_error error = QVREG_ERROR_INIT;
  const std::int32_t code = call(&error);
  if (code != (error.is_warning != 0 ? QVREG_OK : error.code)) {
    throw std::runtime_error("returned " + std::to_string(code) + ", not " +
                             std::to_string(error.code));
  }
  return error;
}

/// Records of a test as a host's callbacks, and what a test lets go wrong. Outlives its sources.
class CRecordFeed {
 public:
  explicit CRecordFeed(std::vector<QvCommon::Record> records) : records_(std::move(records)) {}

  /// What happens before record `position`, from 0 on, of pass `pass`, from 1 on: 1 to go on,
  /// another number to return, or an exception.
  std::function<std::int32_t(int pass, std::size_t position)> onNext;
  /// What the rewind of a pass returns.
  std::function<std::int32_t(int pass)> onRewind;

  [[nodiscard]] qvreg_record_callbacks Callbacks() {
    auto callbacks = Sized<qvreg_record_callbacks>();
    callbacks.record_size = Width();
    callbacks.user = this;
    callbacks.next = &Next;
    callbacks.rewind = &Rewind;
    return callbacks;
  }
  [[nodiscard]] CSource Source() {
    const qvreg_record_callbacks callbacks = Callbacks();
    return Made<CSource>([&](qvreg_source** source, qvreg_error* error) {
      return qvreg_source_create_callbacks(&callbacks, source, error);
    });
  }

  [[nodiscard]] std::size_t Width() const {
    return records_.empty() ? 1 : static_cast<std::size_t>(records_.front().Size());
  }
  [[nodiscard]] int Passes() const { return passes_; }
  [[nodiscard]] const std::vector<QvCommon::Record>& Records() const { return records_; }

 private:
  static std::int32_t Next(void* user, double* record, std::size_t size) {
    auto& feed = *static_cast<CRecordFeed*>(user);
    if (feed.onNext) {
      const std::int32_t told = feed.onNext(feed.passes_, feed.position_);
      if (told != QVREG_NEXT_RECORD) return told;
    }
    if (feed.position_ == feed.records_.size()) return QVREG_NEXT_END;
    const QvCommon::Record& from = feed.records_[feed.position_++];
    for (std::size_t i = 0; i < size; ++i) record[i] = from[static_cast<int>(i)];
    return QVREG_NEXT_RECORD;
  }
  static std::int32_t Rewind(void* user) {
    auto& feed = *static_cast<CRecordFeed*>(user);
    feed.position_ = 0;
    ++feed.passes_;
    return feed.onRewind ? feed.onRewind(feed.passes_) : 0;
  }

  std::vector<QvCommon::Record> records_;
  std::size_t position_ = 0;
  int passes_ = 0;
};

/// The settings, effects and choices included, told to the C interface. Callbacks are not.
[[nodiscard]] CSettings CSettingsOf(const QvRegSettings& settings);

/// A component of settings of the C interface.
[[nodiscard]] CComponent CComponentOf(const CSettings& settings);

/// A model fitted through the C interface. What fails throws.
struct CFit {
  CComponent component;
  CResults results;
};
[[nodiscard]] CFit CFitOf(const CSettings& settings, const CSource& source);
/// The same over records in memory, through callbacks.
[[nodiscard]] CFit CFitOf(const QvRegSettings& settings,
                          const std::vector<QvCommon::Record>& records);

/// A built model as bytes and as text, and what is restored of bytes.
[[nodiscard]] CBytes ModelOf(const CComponent& component);
[[nodiscard]] CBytes TextOf(const CComponent& component);
[[nodiscard]] CFit Restored(const CBytes& model);

/// Columns of records in memory, one after the other; a source may be made of them as long as they
/// live.
class CColumns {
 public:
  explicit CColumns(const std::vector<QvCommon::Record>& records);
  [[nodiscard]] CSource Source() const;
  /// The same with the code that it came to.
  [[nodiscard]] std::int32_t TrySource(qvreg_source** source) const;

 private:
  std::size_t nRecords_;
  std::vector<double> values_;
  std::vector<qvreg_column> columns_;
};

/// One valid handle of each kind, of a small logistic or linear model: y over a factor and a
/// covariate.
struct CEveryKind {
  explicit CEveryKind(bool isLogistic);

  /// Record positions.
  enum Variable { kY, kFactor, kX, kWidth };

  std::vector<QvCommon::Record> records;
  CColumns columns;
  CSettings settings;
  CEffect effect;  ///< The covariate.
  CSource source;
  CComponent component;
  CParameters parameters;
  CResults results;
  CBytes bytes;  ///< The settings.
  CWorker worker;
};

}  // namespace qvtest
