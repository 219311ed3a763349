#pragma once

#include <algorithm>
#include <cstddef>
#include <new>

#include "qvreg/c/QvCCheck.h"
#include "qvreg/c/QvCShortRecord.h"
#include "qvreg/common/Record.h"

/// A host's record as one of the library, with at least `needed` values: throws the refusal for a
/// shorter one.
inline QvCommon::Record QvCMakeRecord(const double* values, std::size_t size, int needed) {
  const int length = QvCCheck::Size(size, "record_size");
  if (length > 0) QvCCheck::NotNull(values, "record");
  if (length < needed) throw QvCRefusal(QvCShortRecord(size, needed));
  QvCommon::Record record(length);
  if (record.Size() != length) throw std::bad_alloc();
  std::copy_n(values, size, record.GetAll());
  return record;
}
