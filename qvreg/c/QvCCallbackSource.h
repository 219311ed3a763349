#pragma once

#include "qvreg/c/QvCSource.h"
#include "qvreg/c/qvreg_c_source.h"

/// Records from the host's callbacks, which it copies; what they use is the host's.
class QvCCallbackSource : public QvCSource {
 public:
  QvCCallbackSource(const qvreg_record_callbacks& callbacks, int recordSize);

 protected:
  bool Rewind() override;
  Answer Read(QvCommon::Record& record) override;

 private:
  qvreg_record_callbacks fCallbacks;
};
