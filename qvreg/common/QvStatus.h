#pragma once

#include <array>

#include "qvreg/QvExport.h"

namespace QvCommon {

/// The result of an operation that can fail: a code (0 is success), a warning flag, and a few
/// numbers that a message about it shows.
///
/// A value without heap storage: copying one never fails, so a status can report a failed
/// allocation. Distinct objects may be used from distinct threads.
class QVREG_EXPORT QvStatus {
 public:
  /// Data of each kind are numbered from 0 to kMaxData - 1.
  static constexpr unsigned kMaxData = 4;

  /// Success.
  QvStatus() = default;
  /// A status with a code of `QvStatusCode`; `warning` marks one that does not end the run.
  QvStatus(long code, bool warning) : fCode(code), fbWarning(warning) {}

  /// One of QvStatusCode; 0 is success.
  [[nodiscard]] long GetCode() const { return fCode; }
  /// True for code 0.
  [[nodiscard]] bool IsOK() const { return fCode == 0; }
  /// True for a code other than 0 without the warning flag.
  [[nodiscard]] bool IsError() const { return fCode != 0 && !fbWarning; }
  /// True for a code other than 0 with the warning flag.
  [[nodiscard]] bool IsWarning() const { return fCode != 0 && fbWarning; }

  /// Attaches `value` as whole number `index`; false, and nothing attached, from kMaxData on.
  bool SetDiscreteDatum(unsigned index, long value);
  /// Attaches `value` as real number `index`; false, and nothing attached, from kMaxData on.
  bool SetScaleDatum(unsigned index, double value);
  /// Reads whole number `index`; false, `value` untouched, when none was attached there.
  bool GetDiscreteDatum(unsigned index, long& value) const;
  /// Reads real number `index`; false, `value` untouched, when none was attached there.
  bool GetScaleDatum(unsigned index, double& value) const;

  /// True when `other` is equal and has the same numbers attached.
  [[nodiscard]] bool IsIdenticalTo(const QvStatus& other) const;

  /// Same code and same warning flag; the attached numbers are details and are not compared.
  friend bool operator==(const QvStatus& a, const QvStatus& b) {
    return a.fCode == b.fCode && a.fbWarning == b.fbWarning;
  }

 private:
  template <typename Value>
  struct Datum {
    Value fValue{};
    bool fbSet = false;

    bool operator==(const Datum&) const = default;
  };

  long fCode = 0;
  bool fbWarning = false;
  std::array<Datum<long>, kMaxData> fDiscrete{};
  std::array<Datum<double>, kMaxData> fScale{};
};

}  // namespace QvCommon
