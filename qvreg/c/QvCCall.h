#pragma once

/// \file
/// Handles, the calls that host and library make to one another, and what a host passes in and out:
/// structures that grow, lists and matrices in its buffers.

#include <algorithm>
#include <climits>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <exception>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "qvreg/c/QvCReport.h"
#include "qvreg/c/qvreg_c.h"

/// The start of everything that a handle points to: a mark that tells its kind.
///
/// The mark is cleared at the end, so that most uses of a destroyed handle are detected.
template <std::uint64_t kMark>
class QvCHandle {
 public:
  QvCHandle() = default;
  QvCHandle(const QvCHandle&) = delete;
  QvCHandle& operator=(const QvCHandle&) = delete;

  /// False for a handle of another kind, which a host passed as this one.
  [[nodiscard]] bool IsMarked() const { return fMark == kMark; }

 protected:
  ~QvCHandle() { fMark = 0; }

 private:
  /// Volatile, so that the last write is not left out.
  volatile std::uint64_t fMark = kMark;
};

/// Checks of what a host passes; each throws the refusal.
namespace QvCCheck {

/// What a pointer leads to; `name` is the argument's.
template <typename T>
T& NotNull(T* pointer, const char* name) {
  if (pointer != nullptr) return *pointer;
  throw QvCRefusal(QVREG_NULL_POINTER,
                   std::string("The argument ") + name + " is null; pass a valid pointer.");
}

/// The handle's object. `Handle` has its name.
template <typename Handle>
Handle& Valid(Handle* handle) {
  if (handle == nullptr) {
    throw QvCRefusal(QVREG_NULL_HANDLE, std::string("The handle of ") + Handle::kName +
                                            " is null; pass one that a function handed out.");
  }
  if (handle->IsMarked()) return *handle;
  throw QvCRefusal(QVREG_BAD_HANDLE,
                   std::string("The handle of ") + Handle::kName +
                       " is of another kind, or was destroyed; pass one that is in use.");
}

/// A number that is 0 or more; `name` is the argument's.
template <typename Number>
Number NotNegative(Number value, const char* name) {
  if (value >= 0) return value;
  throw QvCRefusal(QVREG_BAD_ARGUMENT, std::string("The argument ") + name + " is " +
                                           std::to_string(value) + "; it must be 0 or more.");
}

inline QvCRefusal TooLarge(std::size_t size, const char* name, int most) {
  return {QVREG_BAD_ARGUMENT, std::string("The argument ") + name + " is " + std::to_string(size) +
                                  ", and " + std::to_string(most) + " is the most it may be."};
}

/// A size that the library counts in an int; `name` is the argument's.
inline int Size(std::size_t size, const char* name) {
  if (size <= static_cast<std::size_t>(INT_MAX)) return static_cast<int>(size);
  throw TooLarge(size, name, INT_MAX);
}

/// The same for a size of 1 or more.
inline int PositiveSize(std::size_t size, const char* name) {
  if (size > 0) return Size(size, name);
  throw QvCRefusal(QVREG_BAD_ARGUMENT,
                   std::string("The argument ") + name + " is 0; it must be 1 or more.");
}

/// The size of the records of a source, for which memory is taken before there are any.
inline int RecordSize(std::size_t size, const char* name) {
  if (size <= QVREG_MAX_RECORD_SIZE) return PositiveSize(size, name);
  throw TooLarge(size, name, QVREG_MAX_RECORD_SIZE);
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

/// Makes a handle for the host, which destroys it by QvCDestroy, and stores it at `place`, the
/// argument of that name.
template <typename Handle, typename... Arguments>
void QvCMake(Handle** place, const char* name, Arguments&&... arguments) {
  Handle*& handle = QvCCheck::NotNull(place, name);
  handle = std::make_unique<Handle>(std::forward<Arguments>(arguments)...).release();
}

/// Ends a handle of this kind; null, and what is none, is left alone.
template <typename Handle>
void QvCDestroy(Handle* handle) {
  if (handle != nullptr && handle->IsMarked()) std::unique_ptr<Handle>(handle).reset();
}

/// Structures between a host and the library, which may have been compiled with different versions
/// of them: both begin with the size that their side was compiled with, and later versions grow at
/// the end.
namespace QvCStruct {

/// The size of a structure in the first version that had it: a host's is never shorter. One that
/// has grown since needs its first size here.
template <typename T>
inline constexpr std::size_t kFirstSize = sizeof(T);
template <>
inline constexpr std::size_t kFirstSize<qvreg_record_counts> = offsetof(qvreg_record_counts,
                                                                        used_later);
template <>
inline constexpr std::size_t kFirstSize<qvreg_options> = offsetof(qvreg_options, max_refinements);

/// A host's structure, or the refusal of one without a proper size; `name` is the argument's.
template <typename T>
T& Checked(T* pointer, const char* name) {
  constexpr std::size_t kLeast = kFirstSize<std::remove_const_t<T>>;
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

/// A list on its way into the host's buffers of one capacity: checks that it fits, then copies.
class QvCList {
 public:
  /// A list of `length` elements; `count`, which may be null, receives that.
  QvCList(std::size_t length, std::size_t capacity, std::size_t* count)
      : fLength(length), fCapacity(capacity) {
    if (count != nullptr) *count = length;
  }

  /// True when the buffers, of which some may be null, are to be filled; false when the host asks
  /// for the count alone.
  template <typename... Buffers>
  [[nodiscard]] bool IsWanted(const Buffers*... buffers) const {
    if (!((buffers != nullptr) || ...)) {
      if (fCapacity == 0) return false;
      throw QvCRefusal(QVREG_NULL_POINTER,
                       "A buffer is null, and its capacity is not 0; pass a buffer of that "
                       "capacity, or 0 to ask for the count.");
    }
    if (fCapacity < fLength) Refuse();
    return true;
  }

  /// Copies the elements to a buffer that was found wanted; a null one is passed over.
  template <typename Target, typename Source>
  void Copy(const Source& source, Target* buffer) const {
    if (buffer == nullptr) return;
    for (const auto& value : source) *buffer++ = static_cast<Target>(value);
  }

 private:
  [[noreturn]] void Refuse() const {
    QvCReport report(QVREG_BUFFER_TOO_SMALL,
                     "The buffer has room for " + std::to_string(fCapacity) + " elements, and " +
                         std::to_string(fLength) + " are needed; pass a longer one.");
    report.SetDiscrete(0, static_cast<std::int64_t>(fLength));
    throw QvCRefusal(report);
  }

  std::size_t fLength;
  std::size_t fCapacity;
};

/// The common case: one list, one buffer.
template <typename Target, typename Source>
// NOLINTNEXTLINE(readability-non-const-parameter): the list's constructor writes to `count`
void QvCCopyList(const Source& source, Target* buffer, std::size_t capacity, std::size_t* count) {
  const QvCList list(source.size(), capacity, count);
  if (list.IsWanted(buffer)) list.Copy(source, buffer);
}

/// Copies an n x n matrix to a host's buffer whose rows begin `rowStride` elements apart, at least
/// n; throws the refusal for a smaller or an endless stride or a buffer that is too short. `count`,
/// which may be null, receives what the buffer must hold. `element(i, j)` returns an element.
template <typename Element>
void QvCCopyMatrix(std::size_t n, std::size_t rowStride, double* elements, std::size_t capacity,
                   std::size_t* count, Element&& element) {
  const std::string given = "The row stride is " + std::to_string(rowStride);
  if (rowStride < n) {
    throw QvCRefusal(QVREG_BAD_ARGUMENT, given + ", less than the " + std::to_string(n) +
                                             " elements of a row; pass at least that.");
  }
  if (n > 1 && rowStride > (static_cast<std::size_t>(PTRDIFF_MAX) / sizeof(double) - n) / (n - 1)) {
    throw QvCRefusal(QVREG_BAD_ARGUMENT, given +
                                             ", and no memory holds such a matrix; pass the "
                                             "distance of its rows in doubles.");
  }
  const QvCList list(n == 0 ? 0 : (n - 1) * rowStride + n, capacity, count);
  if (!list.IsWanted(elements)) return;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j < n; ++j) elements[i * rowStride + j] = element(i, j);
  }
}

/// Copies the lower triangle of an n x n matrix row by row to a host's buffer, as QvCCopyMatrix.
template <typename Element>
void QvCCopyPacked(std::size_t n, double* elements, std::size_t capacity, std::size_t* count,
                   Element&& element) {
  const QvCList list(n * (n + 1) / 2, capacity, count);
  if (!list.IsWanted(elements)) return;
  for (std::size_t i = 0; i < n; ++i) {
    for (std::size_t j = 0; j <= i; ++j) *elements++ = element(i, j);
  }
}

/// The one way into the library from C: runs `body`, which returns nothing or a QvCReport, and
/// turns its report, or whatever exception ends it, into `error` and the code to return.
///
/// A warning goes to `error` only. Nothing is run when `error` is no proper structure.
template <typename Body>
std::int32_t QvCCall(qvreg_error* error, Body&& body) noexcept {
  if (error != nullptr && error->struct_size < QvCStruct::kFirstSize<qvreg_error>)
    return QVREG_BAD_STRUCT_SIZE;
  QvCReport report;
  try {
    if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
      body();
    } else {
      report = body();
    }
  } catch (const QvCRefusal& refusal) {
    report = refusal.Report();
  } catch (const std::bad_alloc&) {
    report = QvCReport(QVREG_OUT_OF_MEMORY);
  } catch (const std::length_error&) {
    report = QvCReport(QVREG_OUT_OF_MEMORY);
  } catch (const std::exception& exception) {
    report = QvCReport::OfDefect(exception.what());
  } catch (...) {
    report = QvCReport(QVREG_INTERNAL_ERROR);
  }
  if (error != nullptr) report.CopyTo(*error);
  return report.IsError() ? report.Code() : QVREG_OK;
}

/// Calls a callback of the host's; an exception out of it becomes a refusal that passes through the
/// library to QvCCall.
template <typename Callback>
auto QvCHostCall(const char* name, Callback&& callback) {
  const auto text = [name] {
    return std::string("The ") + name + " callback threw an exception, which it must not";
  };
  try {
    return callback();
  } catch (const std::exception& exception) {
    throw QvCRefusal(QVREG_CALLBACK_THREW, text() + ": " + QvCText::Utf8(exception.what()));
  } catch (...) {
    throw QvCRefusal(QVREG_CALLBACK_THREW, text() + ".");
  }
}

/// Marks a component or a source as in use, for the length of a call that may call the host back.
/// Throws the refusal when it is in use already: by the call that the callback was made from.
class QvCInUse {
 public:
  /// `what` names it in the message. REQUIRES: the mark outlives this object.
  QvCInUse(bool& mark, const char* what) : fMark(mark) {
    if (mark) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT,
                       std::string("The ") + what +
                           " is in use by the call that made this callback; on its handles a "
                           "callback may only cancel.");
    }
    mark = true;
  }
  QvCInUse(const QvCInUse&) = delete;
  QvCInUse& operator=(const QvCInUse&) = delete;
  ~QvCInUse() { fMark = false; }

 private:
  bool& fMark;
};
