#pragma once

#include <cstdint>

/// The start of everything that a handle of the C interface points to: a mark that tells its kind.
///
/// The mark is wiped out at the end, so that most uses of a destroyed handle are noticed.
class QvCHandle {
 public:
  QvCHandle(const QvCHandle&) = delete;
  QvCHandle& operator=(const QvCHandle&) = delete;

  [[nodiscard]] bool IsOfKind(std::uint64_t kind) const { return fMark == kind; }

 protected:
  explicit QvCHandle(std::uint64_t kind) : fMark(kind) {}
  ~QvCHandle() { fMark = 0; }

 private:
  /// Volatile, so that the last write is not left out.
  volatile std::uint64_t fMark;
};
