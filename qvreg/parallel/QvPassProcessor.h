#pragma once

#include <cstdint>
#include <memory>

#include "qvreg/common/QvStatus.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/component/QvPassMessages.h"
#include "qvreg/component/QvRegAlgorithm.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/settings/QvRegSettings.h"

/// Runs requested passes over parts: an algorithm that is set up by requests, and stays so as long
/// as they are of the same run.
///
/// Borrows the query that can stop it; null for none. Used from one thread at a time. What a part's
/// iterator throws passes through.
class QvPassProcessor {
 public:
  explicit QvPassProcessor(QvQueryCancel* query) : fpQuery(query) {}

  /// Gets ready for the request's pass; kUnreadableMessage for one that no run makes. May throw
  /// std::bad_alloc.
  QvCommon::QvStatus Prepare(const QvPassRequest& request);
  /// The algorithm, ready to score, instead; null for a request of anything else. Borrowed. May
  /// throw std::bad_alloc.
  [[nodiscard]] QvRegAlgorithm* PrepareScoring(const QvPassRequest& request);
  /// Empty sums of that pass. REQUIRES: Prepare. May throw std::bad_alloc.
  [[nodiscard]] std::unique_ptr<IQvPassSums> MakeSums();
  /// Adds a part's records to empty sums; a part without records changes nothing. `rows` is what
  /// was kept of the part, and receives what is to be kept; null for nothing. May throw
  /// std::bad_alloc. REQUIRES: Prepare.
  QvCommon::QvStatus RunPart(QvCommon::MultiPassRecordIter& iter, IQvPassSums& sums,
                             std::unique_ptr<IQvKeptRows>& rows);

 private:
  QvCommon::QvStatus SetUp(const QvPassRequest& request);
  /// Gets ready for the request, of whatever kind.
  QvCommon::QvStatus PrepareAny(const QvPassRequest& request);

  QvQueryCancel* fpQuery;
  QvPassKind fKind = QvPassKind::kTables;
  std::uint64_t fBaseDigest = 0;
  std::unique_ptr<QvRegSettings> fpSettings;
  std::unique_ptr<QvRegAlgorithm> fpAlgorithm;
};

/// Merges the sums of further records into `sums`; false for those of another pass. May throw
/// std::bad_alloc.
bool MergeSums(IQvPassSums& sums, const IQvPassSums& others);
