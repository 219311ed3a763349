#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCRefusal.h"
#include "qvreg/c/qvreg_c.h"

/// Structures between a host and the library, which may have been compiled with different versions
/// of them: both begin with the size that their side knows, and later versions grow at the end.
namespace QvCStruct {

/// The size of a structure in the first version that had it: a host's is never shorter.
template <typename T>
inline constexpr std::size_t kFirstSize = 0;
template <>
inline constexpr std::size_t kFirstSize<qvreg_error> = 624;
template <>
inline constexpr std::size_t kFirstSize<qvreg_record_counts> = 48;
template <>
inline constexpr std::size_t kFirstSize<qvreg_record_callbacks> = 40;
template <>
inline constexpr std::size_t kFirstSize<qvreg_rows> = 48;
template <>
inline constexpr std::size_t kFirstSize<qvreg_roles> = 40;
template <>
inline constexpr std::size_t kFirstSize<qvreg_options> = 56;
template <>
inline constexpr std::size_t kFirstSize<qvreg_logistic_options> = 64;
template <>
inline constexpr std::size_t kFirstSize<qvreg_effect_info> = 40;
template <>
inline constexpr std::size_t kFirstSize<qvreg_parameter_info> = 32;
template <>
inline constexpr std::size_t kFirstSize<qvreg_summary> = 48;
template <>
inline constexpr std::size_t kFirstSize<qvreg_param_stats> = 32;
template <>
inline constexpr std::size_t kFirstSize<qvreg_logistic_summary> = 56;
template <>
inline constexpr std::size_t kFirstSize<qvreg_scaled_summary> = 24;

/// A host's structure, or the refusal of one without a proper size; `name` is the argument's.
template <typename T>
T& Checked(T* pointer, const char* name) {
  constexpr std::size_t kLeast = kFirstSize<std::remove_const_t<T>>;
  static_assert(kLeast > 0, "every structure has a first size");
  T& structure = QvCCheck::NotNull(pointer, name);
  if (structure.struct_size >= kLeast) return structure;
  throw QvCRefusal(QVREG_BAD_STRUCT_SIZE, std::string("The struct_size of ") + name + " is " +
                                              std::to_string(structure.struct_size) +
                                              ", less than the " + std::to_string(kLeast) +
                                              " bytes of the structure; set it to its sizeof.");
}

/// Copies as much as both sides know; the host's size stays.
template <typename T>
void HandOver(T local, T& host) {
  local.struct_size = host.struct_size;
  std::memcpy(&host, &local, std::min(host.struct_size, sizeof(T)));
}

/// Has `fill` write a structure and hands it over.
template <typename T, typename Writer>
void Fill(T* host, const char* name, Writer&& fill) {
  T& to = Checked(host, name);
  T local{};
  fill(local);
  HandOver(local, to);
}

/// A copy of a host's structure; what the host's version does not have is taken from `rest`.
template <typename T>
T Take(const T* host, const char* name, T rest = {}) {
  const T& from = Checked(host, name);
  std::memcpy(&rest, &from, std::min(from.struct_size, sizeof(T)));
  return rest;
}

}  // namespace QvCStruct
