#include "qvreg/data/QvCancelInfo.h"

QvCancelInfo::QvCancelInfo(const QvCancelInfo& other)
    : fpQuery(other.fpQuery), fbCancel(other.IsFlagSet()) {}

QvCancelInfo& QvCancelInfo::operator=(const QvCancelInfo& other) {
  if (this == &other) return *this;
  fpQuery = other.fpQuery;
  fbCancel.store(other.IsFlagSet(), std::memory_order_relaxed);
  return *this;
}

bool QvCancelInfo::IsCancel() {
  if (!IsFlagSet() && fpQuery != nullptr && fpQuery->QueryCancel()) SetCancel();
  return IsFlagSet();
}
