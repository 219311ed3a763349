#pragma once

#include <new>
#include <stdexcept>

#include "qvreg/common/QvStatus.h"
#include "qvreg/common/QvStatusCodes.h"

/// Runs an operation of a component and returns its status; an allocation that fails inside it
/// becomes status 305. What a host's code throws passes through.
template <typename Operation>
QvCommon::QvStatus GuardOperation(Operation&& operation) {
  try {
    return operation();
  } catch (const std::bad_alloc&) {
    return {QvStatusCode::kTooManyParameters, false};
  } catch (const std::length_error&) {
    return {QvStatusCode::kTooManyParameters, false};
  }
}

/// Runs a diagnostic display; what memory that ran out leaves unprinted is lost.
template <typename Print>
void GuardDisplay(Print&& print) {
  GuardOperation([&] {
    print();
    return QvCommon::QvStatus();
  });
}

/// The same for an operation whose result becomes the component's status: nothing is done while
/// that is an error, and an exception of the host's leaves it in error.
template <typename Operation>
QvCommon::QvStatus RunOperation(QvCommon::QvStatus& status, Operation&& operation) {
  if (status.IsError()) return status;
  try {
    status = GuardOperation(operation);
  } catch (...) {
    status = QvCommon::QvStatus(QvStatusCode::kRecordMissing, false);
    throw;
  }
  return status;
}
