#pragma once

#include "qvreg/component/IQvPassSums.h"
#include "qvreg/data/QvRecordPass.h"
#include "qvreg/data/QvRegRecordValidator.h"
#include "qvreg/design/QvFactorTables.h"
#include "qvreg/settings/QvRegSettings.h"

/// What the first pass of a model learns: the factor tables, and what became of the records. Used
/// from one thread at a time.
class QvTableSums : public IQvPassSums {
 public:
  /// Empty tables of the settings' factors, which know no effects yet, and of the categories of
  /// the dependent where it has any. May throw std::bad_alloc.
  QvTableSums(const QvRegSettings& settings, int nDependentCategories)
      : fTables(settings.GetFactors(), settings.GetFactorSizes(), settings.GetFrequencyWeightVar(),
                nDependentCategories > 0 ? settings.GetDependent() : -1, nDependentCategories, 0,
                -1, 0.0, QvConst::QvOffsetNone) {}

  bool Merge(const IQvPassSums& other) override;
  void Write(QvCommon::QvByteWriter& writer) const override;
  void Read(QvCommon::QvByteReader& reader) override;
  [[nodiscard]] std::size_t GetSize() const override { return sizeof(*this); }

  /// Adds the records of a pass; its status, kNoRecords where none was used.
  QvCommon::QvStatus AddRecords(QvRecordPass& pass) {
    return FillFactorTables(pass, fTables, fCounts);
  }
  /// Adds all to a model's own tables, which hold nothing yet, and replaces its counts; kNoRecords
  /// where no record was used. May throw std::bad_alloc.
  QvCommon::QvStatus GiveTo(QvFactorTables& tables, QvRecordCounts& counts) const;

  QvFactorTables fTables;
  QvRecordCounts fCounts;
};
