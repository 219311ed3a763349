#pragma once

#include <cstddef>
#include <cstring>

namespace qvtest {

/// Whether VirtualSlot can tell the place of an operation with this compiler.
#if defined(_MSC_VER)
inline constexpr bool kKnowsVirtualSlots = false;
#else
inline constexpr bool kKnowsVirtualSlots = true;
#endif

/// The place of a virtual operation in its class's table of virtual functions, counted from 0.
///
/// Reads the representation of a pointer to member that the Itanium C++ ABI prescribes: its first
/// word holds the offset in the table, in bytes, with the lowest bit as a mark on most machines. A
/// virtual destructor takes two places.
template <typename Member>
[[nodiscard]] std::size_t VirtualSlot(Member member) {
  std::size_t word = 0;
  static_assert(sizeof(member) >= sizeof(word));
  std::memcpy(&word, &member, sizeof(word));
  return word / sizeof(void*);
}

/// The first place behind a virtual destructor that is declared first.
inline constexpr std::size_t kSlotAfterDestructor = 2;

}  // namespace qvtest
