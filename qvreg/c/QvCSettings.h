#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "qvreg/c/QvCEffect.h"
#include "qvreg/c/QvCProgressListener.h"
#include "qvreg/c/QvCQueryCancel.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "qvreg/settings/QvRegSettings.h"

/// Settings together with what they borrow: the lists that their effects point to, and the
/// callbacks. A copy shares those, which never change. Used from one thread at a time.
class QvCSettings {
 public:
  /// Settings of a qvreg_model. Throws the refusal for an unknown one.
  explicit QvCSettings(std::int32_t model);
  QvCSettings(const QvCSettings& other);
  QvCSettings(QvCSettings&&) = default;
  QvCSettings& operator=(const QvCSettings&) = delete;
  QvCSettings& operator=(QvCSettings&&) = default;
  ~QvCSettings() = default;

  [[nodiscard]] QvRegSettings& Get() const { return *fSettings; }
  [[nodiscard]] bool IsLogistic() const;
  /// Throws the refusal for linear settings.
  [[nodiscard]] QvLogRegSettings& GetLogistic() const;

  /// Changes the settings by `change`, which answers whether it could. Throws std::bad_alloc when
  /// it could not, and leaves them as they were then: it works on a copy.
  template <typename Change>
  void Update(Change&& change) {
    std::unique_ptr<QvRegSettings> changed = Copy(*fSettings);
    if (!change(*changed)) throw std::bad_alloc();
    fSettings = std::move(changed);
  }
  /// Adds a copy. Effects over equal lists come to point to one.
  void AddEffect(QvCEffect effect);
  /// A copy of an effect. REQUIRES: there is one of this index.
  [[nodiscard]] QvCEffect Effect(std::size_t index) const;
  /// Throws the refusal when an effect uses a variable in a role that it does not have here.
  void RequireKnownVariables() const;

  /// Throws the refusal when the settings name a variable for a role that it does not have.
  void RequireWholeRoles() const;

  void SetProgress(qvreg_progress_callback callback, void* user);
  void SetCancel(qvreg_cancel_callback callback, void* user);
  /// Null for none.
  [[nodiscard]] const QvCProgressListener* Progress() const { return fProgress.get(); }
  [[nodiscard]] const QvCQueryCancel* Cancel() const { return fCancel.get(); }

 private:
  [[nodiscard]] static std::unique_ptr<QvRegSettings> Copy(const QvRegSettings& settings);
  [[nodiscard]] QvCEffect::Variables KnownList(const QvCEffect::Variables& variables);

  std::unique_ptr<QvRegSettings> fSettings;
  std::vector<QvCEffect::Variables> fLists;
  std::shared_ptr<QvCProgressListener> fProgress;
  std::shared_ptr<QvCQueryCancel> fCancel;
};
