#include "qvreg/c/QvCReport.h"

#include <algorithm>
#include <cstdio>
#include <string>

#include "qvreg/c/QvCMessages.h"
#include "qvreg/c/QvCStruct.h"

static_assert(QVREG_MAX_DATA == QvCommon::QvStatus::kMaxData);

QvCReport::QvCReport(std::int32_t code) : QvCReport(code, QvCMessages::Text(code)) {}

QvCReport::QvCReport(std::int32_t code, std::string_view message) {
  fError.code = code;
  SetMessage(message);
}

QvCReport::QvCReport(const QvCommon::QvStatus& status) {
  fError.code = static_cast<std::int32_t>(status.GetCode());
  fError.is_warning = status.IsWarning() ? 1 : 0;
  CopyData(status);
  if (!status.IsOK()) SetMessage(QvCMessages::Text(status));
}

QvCReport QvCReport::OfDefect(const char* what) {
  QvCReport report(QVREG_INTERNAL_ERROR);
  std::snprintf(report.fError.message, sizeof report.fError.message,
                "The call ended unexpectedly (%.200s); this is a defect of the library, please "
                "report it.",
                what);
  return report;
}

void QvCReport::CopyData(const QvCommon::QvStatus& status) {
  for (unsigned i = 0; i < QVREG_MAX_DATA; ++i) {
    long discrete = 0;
    if (status.GetDiscreteDatum(i, discrete)) SetDiscrete(i, discrete);
    if (status.GetScaleDatum(i, fError.scale[i])) fError.has_scale[i] = 1;
  }
}

void QvCReport::SetDiscrete(std::size_t index, std::int64_t value) {
  fError.has_discrete[index] = 1;
  fError.discrete[index] = value;
}

void QvCReport::Prefix(std::string_view words) { SetMessage(std::string(words) + fError.message); }

void QvCReport::SetMessage(std::string_view message) {
  std::size_t length = std::min(message.size(), sizeof fError.message - 1);
  const auto isInsideCharacter = [&](std::size_t place) {
    return place < message.size() && (static_cast<unsigned char>(message[place]) & 0xC0U) == 0x80U;
  };
  while (length > 0 && isInsideCharacter(length)) --length;
  std::copy_n(message.data(), length, fError.message);
  fError.message[length] = '\0';
}

void QvCReport::CopyTo(qvreg_error& error) const { QvCStruct::HandOver(fError, error); }
