#pragma once

#include <climits>
#include <cstddef>
#include <string>

#include "qvreg/c/QvCRefusal.h"

/// Checks of what a host passes; each throws the refusal.
namespace QvCCheck {

/// The handle's object. `Handle` has its kind and its name.
template <typename Handle>
Handle& Valid(Handle* handle) {
  if (handle == nullptr) {
    throw QvCRefusal(QVREG_NULL_HANDLE, std::string("The handle of ") + Handle::kName +
                                            " is null; pass one that a function handed out.");
  }
  if (!handle->IsOfKind(Handle::kKind)) {
    throw QvCRefusal(QVREG_BAD_HANDLE,
                     std::string("The handle of ") + Handle::kName +
                         " is of another kind, or was destroyed; pass one that is in use.");
  }
  return *handle;
}

/// What a pointer leads to; `name` is the argument's.
template <typename T>
T& NotNull(T* pointer, const char* name) {
  if (pointer != nullptr) return *pointer;
  throw QvCRefusal(QVREG_NULL_POINTER,
                   std::string("The argument ") + name + " is null; pass a valid pointer.");
}

/// A size that the library counts in an int; `name` is the argument's.
inline int Size(std::size_t size, const char* name) {
  if (size <= static_cast<std::size_t>(INT_MAX)) return static_cast<int>(size);
  throw QvCRefusal(QVREG_BAD_ARGUMENT, std::string("The argument ") + name + " is " +
                                           std::to_string(size) + ", and " +
                                           std::to_string(INT_MAX) + " is the most it may be.");
}

/// The same for a size of 1 or more.
inline int PositiveSize(std::size_t size, const char* name) {
  if (size > 0) return Size(size, name);
  throw QvCRefusal(QVREG_BAD_ARGUMENT,
                   std::string("The argument ") + name + " is 0; it must be 1 or more.");
}

/// An index below `count`; `what` is what it counts.
template <typename Index>
std::size_t Below(Index index, std::size_t count, const char* what) {
  if (index >= Index{0} && static_cast<std::size_t>(index) < count) {
    return static_cast<std::size_t>(index);
  }
  throw QvCRefusal(QVREG_BAD_INDEX, std::string("There is no ") + what + " of index " +
                                        std::to_string(index) + "; there are " +
                                        std::to_string(count) + ", counted from 0.");
}

}  // namespace QvCCheck
