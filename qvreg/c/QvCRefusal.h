#pragma once

#include <cstdint>
#include <exception>
#include <string_view>

#include "qvreg/c/QvCReport.h"

/// Ends a call of the C interface with a report. Never leaves the library: QvCCall catches it.
class QvCRefusal : public std::exception {
 public:
  explicit QvCRefusal(const QvCReport& report) : fReport(report) {}
  QvCRefusal(std::int32_t code, std::string_view message) : fReport(code, message) {}

  [[nodiscard]] const QvCReport& Report() const { return fReport; }
  [[nodiscard]] const char* what() const noexcept override { return fReport.Message(); }

 private:
  QvCReport fReport;
};
