#pragma once

#include <cstddef>
#include <string>

#include "qvreg/c/QvCRefusal.h"

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
    std::size_t i = 0;
    for (const auto& value : source) buffer[i++] = static_cast<Target>(value);
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
