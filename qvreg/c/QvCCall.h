#pragma once

#include <cstdint>
#include <new>
#include <stdexcept>
#include <type_traits>

#include "qvreg/c/QvCRefusal.h"
#include "qvreg/c/QvCReport.h"
#include "qvreg/c/QvCStruct.h"

/// The one way into the library from C: runs `body`, which answers nothing or a QvCReport, and
/// turns its report, or whatever exception ends it, into `error` and the code to return.
///
/// A warning goes to `error` only. Nothing is run when `error` is no proper structure.
template <typename Body>
std::int32_t QvCCall(qvreg_error* error, Body&& body) noexcept {
  if (error != nullptr && error->struct_size < QvCStruct::kFirstSize<qvreg_error>)
    return QVREG_BAD_STRUCT_SIZE;
  QvCReport report;
  try {
    if constexpr (std::is_void_v<std::invoke_result_t<Body>>) {
      body();
    } else {
      report = body();
    }
  } catch (const QvCRefusal& refusal) {
    report = refusal.Report();
  } catch (const std::bad_alloc&) {
    report = QvCReport(QVREG_OUT_OF_MEMORY);
  } catch (const std::length_error&) {
    report = QvCReport(QVREG_OUT_OF_MEMORY);
  } catch (const std::exception& exception) {
    report = QvCReport::OfDefect(exception.what());
  } catch (...) {
    report = QvCReport(QVREG_INTERNAL_ERROR);
  }
  if (error != nullptr) report.CopyTo(*error);
  return report.IsError() ? report.Code() : QVREG_OK;
}
