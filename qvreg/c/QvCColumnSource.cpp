#include "qvreg/c/QvCColumnSource.h"

#include <utility>

QvCColumnSource::QvCColumnSource(std::vector<qvreg_column> columns, std::size_t nRecords)
    : QvCSource(static_cast<int>(columns.size())),
      fColumns(std::move(columns)),
      fNRecords(nRecords) {}

bool QvCColumnSource::Rewind() {
  fPosition = 0;
  return true;
}

QvCSource::Answer QvCColumnSource::Read(QvCommon::Record& record) {
  if (fPosition == fNRecords) return Answer::kEnd;
  double* value = record.GetAll();
  const auto position = static_cast<std::ptrdiff_t>(fPosition);
  for (const qvreg_column& column : fColumns) *value++ = column.values[position * column.stride];
  ++fPosition;
  return Answer::kRecord;
}
