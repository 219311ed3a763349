#pragma once

#include <cstddef>
#include <vector>

#include "qvreg/QvExport.h"

namespace QvCommon {

/// One data record: a row of doubles, one per variable, of a length fixed at construction.
///
/// A value; distinct objects may be used from distinct threads. A record whose storage could not be
/// allocated has size 0, which every check of a record's length refuses.
class QVREG_EXPORT Record {
 public:
  /// `size` values, all 0; a negative size gives an empty record.
  explicit Record(int size);
  /// A copy of `other`, of size 0 without memory.
  Record(const Record& other);
  Record(Record&& other) noexcept = default;
  /// Takes the values and the size of `other`; size 0 without memory.
  Record& operator=(const Record& other);
  Record& operator=(Record&& other) noexcept = default;
  ~Record() = default;

  /// The number of values.
  [[nodiscard]] int Size() const { return static_cast<int>(fValues.size()); }
  /// The value of the variable at `index`. REQUIRES: 0 <= index < Size().
  [[nodiscard]] double operator[](int index) const {
    return fValues[static_cast<std::size_t>(index)];
  }
  /// The value at `index`, to be written. REQUIRES: 0 <= index < Size().
  [[nodiscard]] double& operator[](int index) { return fValues[static_cast<std::size_t>(index)]; }
  /// All Size() values in order; valid until the record is assigned or destroyed.
  [[nodiscard]] const double* GetAll() const { return fValues.data(); }
  /// The same, to be written.
  [[nodiscard]] double* GetAll() { return fValues.data(); }

 private:
  std::vector<double> fValues;
};

}  // namespace QvCommon
