#pragma once

#include <memory>
#include <vector>

#include "bench/ClassModel.h"
#include "bench/ClassRecords.h"
#include "qvreg/common/Record.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/data/QvCancelInfo.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/design/QvModelDesign.h"
#include "qvreg/logistic/QvAccumStatsLogistic.h"
#include "qvreg/logistic/QvLogModel.h"
#include "qvreg/logistic/QvPatternTabulator.h"
#include "qvreg/logistic/QvRecordIterHandler.h"

namespace qvbench {

/// Made-up records in memory, again and again.
class MadeUpRecords : public QvCommon::MultiPassRecordIter {
 public:
  MadeUpRecords(const ClassRecords& shape, int count);

  [[nodiscard]] bool HasMore() const override { return next_ < records_.size(); }
  const QvCommon::Record* Next() override { return &records_[next_++]; }
  [[nodiscard]] int GetFailReason() const override;
  int NewPass() override;
  [[nodiscard]] const std::vector<QvCommon::Record>& All() const { return records_; }

 private:
  std::vector<QvCommon::Record> records_;
  std::size_t next_ = 0;
};

/// A logistic model of made-up records, taken up to where the iterations start, with what feeds
/// them: by a walk over the records, or by the tabulator's over what it keeps in memory.
class LogisticCase {
 public:
  enum class Feed { kRecords, kTabulator };

  LogisticCase(const ClassRecords& shape, int records, Feed feed);
  LogisticCase(const LogisticCase&) = delete;
  LogisticCase& operator=(const LogisticCase&) = delete;

  [[nodiscard]] const std::vector<QvCommon::Record>& Records() const { return records_.All(); }
  /// Where a record holds its class.
  [[nodiscard]] int Dependent() const { return shape_.Dependent(); }
  [[nodiscard]] const QvLogModel& Model() const { return model_; }
  [[nodiscard]] QvAccumStatsLogistic& Stats() { return *stats_; }
  [[nodiscard]] IQvDataHandler& Handler() { return *handler_; }
  /// False when a step of the set-up failed; nothing else may be used then.
  [[nodiscard]] bool IsReady() const { return stats_ != nullptr && stats_->IsValid(); }

 private:
  QvCommon::QvStatus FirstPass();
  QvCommon::QvStatus SecondPass();

  ClassRecords shape_;
  MadeUpRecords records_;
  ClassModel description_;
  QvLogRegSettings& settings_;
  QvCancelInfo cancel_;
  QvRegRecordValidator validator_;
  QvModelDesign design_;
  QvFactorTables tables_;
  QvLogModel model_;
  std::unique_ptr<QvPatternTabulator> tabulator_;
  std::unique_ptr<QvRecordIterHandler> recordHandler_;
  IQvDataHandler* handler_ = nullptr;
  std::vector<double> estimates_;
  std::unique_ptr<QvAccumStatsLogistic> stats_;
};

}  // namespace qvbench
