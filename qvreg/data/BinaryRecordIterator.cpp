#include "qvreg/data/BinaryRecordIterator.h"

#include <cstddef>
#include <utility>

#include "qvreg/common/QvPlatform.h"

namespace QvCommon {

BinaryRecordIterator::BinaryRecordIterator(std::FILE* file, int recordSize)
    : fCurrent(recordSize), fLookAhead(recordSize), fFile(file), fRecordSize(recordSize) {
  if (file == nullptr) {
    std::printf("Error: file handle is NULL in BinaryRecordIterator constructor");
    fFailReason = kIterReadError;
    return;
  }
  fFailReason = NextRecord();
}

int BinaryRecordIterator::NextRecord() {
  // The record handed out last is no longer in use: its storage takes the next one.
  std::swap(fCurrent, fLookAhead);
  if (fFailReason != kIterOk) return fFailReason;
  if (fRecordSize < 1 || fCurrent.Size() != fRecordSize || fLookAhead.Size() != fRecordSize) {
    return fFailReason = kIterReadError;
  }
  // Counted in bytes, so that a piece of a double at the end is not taken for the end itself.
  const std::size_t wanted = static_cast<std::size_t>(fRecordSize) * sizeof(double);
  const std::size_t read = QVREG_FREAD(fLookAhead.GetAll(), 1, wanted, fFile);
  if (read == 0 && std::feof(fFile) != 0) return fFailReason = kIterEndOfData;
  if (read < wanted) fFailReason = kIterReadError;
  return fFailReason;
}

const Record* BinaryRecordIterator::Next() {
  if (fFailReason != kIterOk) return nullptr;
  fFailReason = NextRecord();
  return &fCurrent;
}

int BinaryRecordIterator::NewPass() {
  if (fFailReason == kIterNoRewind) return kIterNoRewind;
  if (fFile == nullptr) return fFailReason = kIterReadError;
  // The caller guarantees that the stream can be rewound; one that cannot be goes on at its
  // position.
  static_cast<void>(std::fseek(fFile, 0, SEEK_SET));
  fFailReason = kIterOk;
  return fFailReason = NextRecord();
}

}  // namespace QvCommon
