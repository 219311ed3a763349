#pragma once

#include <cstddef>

#include "qvreg/common/QvBytes.h"

/// The kinds of pass over the records; their numbers travel.
enum class QvPassKind : int {
  kTables = 1,          ///< Level combinations, counts, means and sizes; the first.
  kProducts = 2,        ///< Cross-products of the design's columns.
  kResiduals = 3,       ///< Linear model: sums of squares, and the gradient of a refinement.
  kDerivatives = 4,     ///< Logistic model: log-likelihood, score vector and information matrix.
  kClassification = 5,  ///< Logistic model: the classification table.
  kScoring = 6          ///< No pass: what scores single records travels as a request for one does.
};

/// What one pass learns from its records: sums, to which those of other records can be added.
///
/// Merging the sums of any division of the records gives those of all of them: numbers
/// of records and level combinations exactly, sums of numbers but for rounding; the same division
/// and order give the same bits. Used from one thread at a time.
class IQvPassSums {
 public:
  IQvPassSums() = default;
  IQvPassSums(const IQvPassSums&) = delete;
  IQvPassSums& operator=(const IQvPassSums&) = delete;
  IQvPassSums(IQvPassSums&&) = default;
  IQvPassSums& operator=(IQvPassSums&&) = default;

  virtual ~IQvPassSums() = default;
  /// Adds the sums of further records, which were started alike; false, with nothing changed, for
  /// those of another pass or shape. May throw std::bad_alloc.
  virtual bool Merge(const IQvPassSums& other) = 0;
  /// Appends all that Merge and the run need. May throw std::bad_alloc.
  virtual void Write(QvCommon::QvByteWriter& writer) const = 0;
  /// Replaces sums that were started alike by those written, bit by bit; the reader fails for any
  /// other, and these are then undefined. May throw std::bad_alloc.
  virtual void Read(QvCommon::QvByteReader& reader) = 0;

  /// About how many bytes it holds.
  [[nodiscard]] virtual std::size_t GetSize() const = 0;

  /// How many records a pass after the first used.
  long long fNUsed = 0;
};

/// What a model keeps of a part's records between passes. A value for its owner only to hold.
class IQvKeptRows {
 public:
  IQvKeptRows() = default;
  IQvKeptRows(const IQvKeptRows&) = delete;
  IQvKeptRows& operator=(const IQvKeptRows&) = delete;
  virtual ~IQvKeptRows() = default;
};
