#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

#include "qvreg/settings/QvModelEffect.h"

/// An effect together with the list of the model's variables that it points to, which never
/// changes and is shared by copies. A value; used from one thread at a time.
class QvCEffect {
 public:
  using Variables = std::shared_ptr<const std::vector<int>>;

  /// An empty effect. Throws the refusal for a negative variable.
  QvCEffect(const std::int32_t* factors, std::size_t nFactors, const std::int32_t* covariates,
            std::size_t nCovariates);
  /// A copy of `effect`, which points to the list.
  QvCEffect(const QvModelEffect& effect, Variables variables)
      : fVariables(std::move(variables)), fEffect(effect) {}

  [[nodiscard]] const QvModelEffect& Get() const { return fEffect; }
  [[nodiscard]] QvModelEffect& Get() { return fEffect; }
  [[nodiscard]] const std::vector<int>& ModelVariables() const { return *fVariables; }
  [[nodiscard]] const Variables& SharedVariables() const { return fVariables; }

  /// Takes another list: the same variables as before, or one as long as the main vector, for which
  /// the refusal is thrown otherwise.
  void SetVariables(const std::int32_t* variables, std::size_t count);
  void Share(const Variables& variables);

  /// Throws the refusal when the list is not as long as the main vector, which a mask cuts.
  void RequireWholeList() const;
  /// The effects' comparisons tell lists apart by their place: a copy that points to the list of
  /// `other` when the two are equal.
  [[nodiscard]] QvModelEffect OverListOf(const QvCEffect& other) const;

 private:
  Variables fVariables;
  QvModelEffect fEffect;
};
