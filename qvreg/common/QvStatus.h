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

  [[nodiscard]] long GetCode() const { return fCode; }
  /// True for code 0.
  [[nodiscard]] bool IsOK() const { return fCode == 0; }
  /// True for a code other than 0 without the warning flag.
  [[nodiscard]] bool IsError() const { return fCode != 0 && !fbWarning; }
  /// True for a code other than 0 with the warning flag.
  [[nodiscard]] bool IsWarning() const { return fCode != 0 && fbWarning; }

  /// Attaches a whole number; false, and nothing attached, for an index of kMaxData or more.
  bool SetDiscreteDatum(unsigned index, long value);
  /// Attaches a real number; false, and nothing attached, for an index of kMaxData or more.
  bool SetScaleDatum(unsigned index, double value);
  /// Reads a whole number that was attached; false, `value` untouched, when there is none.
  bool GetDiscreteDatum(unsigned index, long& value) const;
  /// Reads a real number that was attached; false, `value` untouched, when there is none.
  bool GetScaleDatum(unsigned index, double& value) const;

  /// True when the attached numbers are the same too.
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
