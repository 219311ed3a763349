#pragma once

/// How many records the first pass of a run saw, and what became of them; and whether the later
/// passes saw the same.
struct QvRecordCounts {
  /// All records that the iterator delivered.
  long long fRead = 0;
  /// Counted and used by the later passes.
  long long fUsed = 0;
  /// Left out for a missing number, a missing category or a missing dependent.
  long long fMissing = 0;
  /// Left out for a weight that is not above 0.
  long long fBadWeight = 0;
  /// Left out for a category code equal to the variable's number of categories.
  long long fOutOfRange = 0;
  /// What the first later pass that did not use fUsed records used: an iterator that does not
  /// deliver the same records in every pass gives a wrong model. -1 when all used as many.
  long long fUsedLater = -1;

  /// Takes note that a later pass used `nRecords` records.
  void NoteLaterPass(long long nRecords) {
    if (nRecords != fUsed && fUsedLater < 0) fUsedLater = nRecords;
  }
};
