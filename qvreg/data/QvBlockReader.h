#pragma once

#include <cstddef>

#include "qvreg/common/Record.h"
#include "qvreg/data/IQvRecordBlocks.h"
#include "qvreg/data/MultiPassRecordIter.h"

/// Reads any iterator by blocks: one that lends none gives blocks of one record.
///
/// Borrows the iterator. Used from one thread at a time.
class QvBlockReader {
 public:
  explicit QvBlockReader(QvCommon::MultiPassRecordIter& iter)
      : fIter(iter), fpBlocks(dynamic_cast<QvCommon::IQvRecordBlocks*>(&iter)) {}

  /// As IQvRecordBlocks.
  QvCommon::QvRecordBlock NextBlock() {
    if (fpBlocks != nullptr) return fpBlocks->NextBlock();
    const QvCommon::Record* record = fIter.Next();
    if (record == nullptr) return {};
    return {record->GetAll(), 1, 0, record->Size()};
  }
  void EndBlock(std::size_t nRead) noexcept {
    if (fpBlocks != nullptr) fpBlocks->EndBlock(nRead);
  }

  [[nodiscard]] QvCommon::MultiPassRecordIter& Iter() const { return fIter; }

 private:
  QvCommon::MultiPassRecordIter& fIter;
  QvCommon::IQvRecordBlocks* fpBlocks;
};

/// A block that is lent, from its beginning to its end; counts what was read of it.
class QvLentBlock {
 public:
  explicit QvLentBlock(QvBlockReader& reader) : fReader(reader), fBlock(reader.NextBlock()) {}
  QvLentBlock(const QvLentBlock&) = delete;
  QvLentBlock& operator=(const QvLentBlock&) = delete;
  ~QvLentBlock() {
    if (fBlock.fCount > 0) fReader.EndBlock(fNRead);
  }

  /// The block as a whole.
  [[nodiscard]] const QvCommon::QvRecordBlock& Get() const { return fBlock; }
  /// True when a record of it was not read yet.
  [[nodiscard]] bool HasMore() const { return fNRead < fBlock.fCount; }
  /// The next record's values. REQUIRES: HasMore().
  const double* Next() { return fBlock.Row(fNRead++); }

 private:
  QvBlockReader& fReader;
  const QvCommon::QvRecordBlock fBlock;
  std::size_t fNRead = 0;
};
