#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "qvreg/c/qvreg_c.h"

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

}  // namespace qvtest
