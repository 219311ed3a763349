#pragma once

#include "qvreg/common/QvRectMatrix.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/component/QvModelContents.h"

/// What the classification pass learns: sums of frequency weights by observed and predicted
/// category, both in local order. Used from one thread at a time.
class QvClassification : public IQvPassSums {
 public:
  /// Zeros for K categories. May throw std::bad_alloc.
  explicit QvClassification(int K) : fTable(K, K) {}

  bool Merge(const IQvPassSums& other) override;
  void Write(QvCommon::QvByteWriter& writer) const override;
  void Read(QvCommon::QvByteReader& reader) override;
  [[nodiscard]] std::size_t GetSize() const override {
    return static_cast<std::size_t>(fTable.GetNRows()) *
           static_cast<std::size_t>(fTable.GetNColumns()) * sizeof(double);
  }

  /// Adds a row. REQUIRES: two local categories.
  void Add(int observed, int predicted, double weight) {
    fTable.SetElem(observed, predicted, fTable.GetElem(observed, predicted) + weight);
    fTotalWeight += weight;
    fbAnyWeight = fbAnyWeight || weight != 0.0;
  }
  /// The sums, and takes them where they are of as many categories.
  void FillContents(QvLogisticContents& contents) const;
  [[nodiscard]] bool TakeContents(const QvLogisticContents& contents);
  /// True when something of positive weight was added.
  [[nodiscard]] bool HasWeight() const { return fbAnyWeight && fTotalWeight > 0.0; }
  /// Rows observed, columns predicted.
  [[nodiscard]] const QvCommon::QvRectMatrix& GetTable() const { return fTable; }

 private:
  /// Calls visit(i, j) for every cell.
  template <typename Visit>
  void ForEachCell(Visit&& visit) const;

  QvCommon::QvRectMatrix fTable;
  double fTotalWeight = 0.0;
  bool fbAnyWeight = false;
};
