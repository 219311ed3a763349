#include "qvreg/data/QvCancelInfo.h"

QvCancelInfo::QvCancelInfo(const QvCancelInfo& other)
    : fpQuery(other.fpQuery), fbCancel(other.fbCancel.load(std::memory_order_relaxed)) {}

QvCancelInfo& QvCancelInfo::operator=(const QvCancelInfo& other) {
  if (this == &other) return *this;
  fpQuery = other.fpQuery;
  fbCancel.store(other.fbCancel.load(std::memory_order_relaxed), std::memory_order_relaxed);
  return *this;
}

bool QvCancelInfo::IsCancel() {
  if (fbCancel.load(std::memory_order_relaxed)) return true;
  if (fpQuery != nullptr && fpQuery->QueryCancel()) SetCancel();
  return fbCancel.load(std::memory_order_relaxed);
}
