#pragma once

#include <cstdio>
#include <memory>
#include <string>

#include "qvreg/c/QvCSource.h"
#include "qvreg/data/BinaryRecordIterator.h"

/// Records from a record file, which it opens and owns.
class QvCFileSource : public QvCSource {
 public:
  /// `path` is UTF-8 on every system. Throws the refusal when the file cannot be opened.
  QvCFileSource(const std::string& path, int recordSize);

 protected:
  bool Rewind() override;
  Answer Read(QvCommon::Record& record) override;

 private:
  struct Close {
    void operator()(std::FILE* file) const;
  };
  using File = std::unique_ptr<std::FILE, Close>;

  static File Open(const std::string& path);

  std::string fPath;
  File fFile;
  QvCommon::BinaryRecordIterator fRecords;
};
