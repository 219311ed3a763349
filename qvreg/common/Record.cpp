#include "qvreg/common/Record.h"

#include <new>

namespace QvCommon {

Record::Record(int size) {
  if (size <= 0) return;
  try {
    fValues.resize(static_cast<std::size_t>(size));
  } catch (const std::bad_alloc&) {
    fValues.clear();
  }
}

Record::Record(const Record& other) { *this = other; }

Record& Record::operator=(const Record& other) {
  if (this == &other) return *this;
  try {
    fValues = other.fValues;
  } catch (const std::bad_alloc&) {
    fValues.clear();
  }
  return *this;
}

}  // namespace QvCommon
