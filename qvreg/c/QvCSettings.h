#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "qvreg/c/QvCCall.h"
#include "qvreg/c/qvreg_c.h"
#include "qvreg/component/ProgressListener.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvModelEffect.h"
#include "qvreg/settings/QvRegSettings.h"

/// The variables of a model that an effect is defined over. They never change and are shared by the
/// effect and its copies.
using QvCVariables = std::shared_ptr<const std::vector<int>>;

struct qvreg_effect final : QvCHandle<0x7176656666650002> {
  static constexpr const char* kName = "an effect";

  /// A copy of `effect`, which borrows the variables.
  qvreg_effect(QvCVariables variables, const QvModelEffect& effect)
      : fVariables(std::move(variables)), fEffect(effect) {
    fEffect.SetVarIndices(fVariables.get());
  }

  QvCVariables fVariables;
  QvModelEffect fEffect;
};

class QvCRunner;
class QvCRunnerPlan;

/// Settings together with what they borrow: the variables of their effects, and the callbacks; and
/// the plan of the runner, which each component makes for itself. A copy shares those, which never
/// change. Used from one thread at a time.
class QvCSettings {
 public:
  /// Settings of a qvreg_model. Throws the refusal for an unknown one.
  explicit QvCSettings(std::int32_t model);
  /// Takes settings over. REQUIRES: effects that are defined over the variables that they use.
  explicit QvCSettings(std::unique_ptr<QvRegSettings> settings);
  QvCSettings(const QvCSettings& other);
  QvCSettings(QvCSettings&&) = default;
  QvCSettings& operator=(const QvCSettings&) = delete;
  QvCSettings& operator=(QvCSettings&&) = default;
  ~QvCSettings() = default;

  [[nodiscard]] QvRegSettings& Get() const { return *fSettings; }
  /// Throws the refusal for linear settings.
  [[nodiscard]] QvLogRegSettings& GetLogistic() const;

  /// Changes the settings by `change`, which returns whether it could. Throws std::bad_alloc when
  /// it could not, and leaves them as they were then: it works on a copy.
  template <typename Change>
  void Update(Change&& change) {
    std::unique_ptr<QvRegSettings> changed = Copy(*fSettings);
    if (!change(*changed)) throw std::bad_alloc();
    fSettings = std::move(changed);
  }
  /// Adds a copy.
  void AddEffect(const qvreg_effect& effect);
  /// The variables of an effect. REQUIRES: there is one of this index.
  [[nodiscard]] const QvCVariables& VariablesOf(std::size_t index) const {
    return fVariables[index];
  }
  /// Throws the refusal when an effect uses a variable in a role that it does not have here.
  void RequireKnownVariables() const;

  void SetProgress(qvreg_progress_callback callback, void* user);
  void SetCancel(qvreg_cancel_callback callback, void* user);
  /// Null for none.
  void SetRunner(std::shared_ptr<const QvCRunnerPlan> plan) { fPlan = std::move(plan); }
  /// The runner of a component of these settings, null for none. Throws the refusal when it cannot
  /// be made.
  [[nodiscard]] std::unique_ptr<QvCRunner> MakeRunner() const;
  /// Settings of the same model, which own nothing in common with these.
  [[nodiscard]] static std::unique_ptr<QvRegSettings> Copy(const QvRegSettings& settings);

 private:
  std::unique_ptr<QvRegSettings> fSettings;
  std::vector<QvCVariables> fVariables;  ///< Per effect.
  std::shared_ptr<ProgressListener> fProgress;
  std::shared_ptr<QvQueryCancel> fCancel;
  std::shared_ptr<const QvCRunnerPlan> fPlan;
};

struct qvreg_settings final : QvCHandle<0x7176736574740001> {
  static constexpr const char* kName = "settings";

  explicit qvreg_settings(QvCSettings settings) : fSettings(std::move(settings)) {}

  QvCSettings fSettings;
};
