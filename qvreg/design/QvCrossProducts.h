#pragma once

#include <vector>

#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/design/QvDesignRow.h"

/// The weighted cross-products X'WX of design rows, in double-double: what the second pass of
/// either model learns. Columns that depend on each other do so to the last digit after any number
/// of records. Used from one thread at a time.
class QvCrossProducts : public IQvPassSums {
 public:
  /// Zeros for so many columns, the dependent's among them; see IsValid.
  explicit QvCrossProducts(int order);

  bool Merge(const IQvPassSums& other) override;
  void Write(QvCommon::QvByteWriter& writer) const override;
  void Read(QvCommon::QvByteReader& reader) override;
  [[nodiscard]] std::size_t GetSize() const override;

  /// False without memory: the object is then unusable.
  [[nodiscard]] bool IsValid() const { return fbValid; }
  /// Adds a row with the dependent `y`, if it is a column, already appended, and the weight w.
  void Add(QvDesignRow& row, double w, double y = 0.0);

  /// To be swept; adding is over then.
  [[nodiscard]] QvCommon::QvSymMatrix& GetMatrix() { return fMatrix; }
  [[nodiscard]] const QvCommon::QvSymMatrix& GetMatrix() const { return fMatrix; }
  [[nodiscard]] long long GetRecordsAdded() const { return fRecordsAdded; }
  /// False when a weight was not finite.
  [[nodiscard]] bool AreWeightsFinite() const { return fbWeightsFinite; }
  /// False when a value of the dependent was not finite.
  [[nodiscard]] bool IsDependentFinite() const { return fbDependentFinite; }

 private:
  QvCommon::QvSymMatrix fMatrix;
  long long fRecordsAdded = 0;
  bool fbWeightsFinite = true;
  bool fbDependentFinite = true;
  bool fbValid = false;
  /// Scratch, zero between rows.
  std::vector<double> fDenseRow;
};
