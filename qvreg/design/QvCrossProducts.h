#pragma once

#include <cmath>
#include <vector>

#include "qvreg/common/QvProductPanel.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/component/IQvPassSums.h"
#include "qvreg/component/QvModelContents.h"
#include "qvreg/design/QvDesignRow.h"

/// The weighted cross-products X'WX of design rows, in double-double: what the second pass of
/// either model learns. Columns that depend on each other do so to the last digit after any number
/// of records. Rows that fill half of their columns and more are added 128 at a time, but for the
/// first 1024: so many cost little, and products of few are exact to the last digit of
/// double-double numbers. Used from one thread at a time, const operations included.
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
  /// The same for a row of as many values as there are columns, which `fill(double* row)` writes.
  template <typename Fill>
  void AddDense(double w, double y, Fill&& fill) {
    NoteRecord(w, y);
    AddDenseRow(w, fill);
  }

  /// Counts a record whose products are added by the two below.
  void NoteRecord(double w, double y) {
    fbWeightsFinite = fbWeightsFinite && std::isfinite(w);
    fbDependentFinite = fbDependentFinite && std::isfinite(y);
    ++fRecordsAdded;
  }
  /// Adds the products of a row whose non-zeros are the first `n` of `values`, in the columns that
  /// the first `n` of `indices` name.
  void AddSparse(int n, const std::vector<int>& indices, const std::vector<double>& values,
                 double w);
  /// Adds sums of products, each of two doubles, to the elements of row i in `n` columns up to i.
  void AddElements(int i, int n, const int* columns, const double* highs, const double* lows) {
    fMatrix.AddToCompensatedElems(i, n, columns, highs, lows);
  }

  /// To be swept; adding is over then.
  [[nodiscard]] QvCommon::QvSymMatrix& GetMatrix();
  [[nodiscard]] const QvCommon::QvSymMatrix& GetMatrix() const;
  [[nodiscard]] long long GetRecordsAdded() const { return fRecordsAdded; }
  /// What is kept of a linear model's products, now its covariance. Takes it, for this `order`, and
  /// moves the matrix out of `contents`: false for another order.
  void FillContents(QvLinearContents& contents) const;
  [[nodiscard]] bool TakeContents(int order, QvLinearContents& contents);
  /// What rounding of products may change in a sum, as a share of the root of the sums of its
  /// columns' squares; 0 where that is no more than the rounding of double-double numbers.
  [[nodiscard]] double GetRounding() const {
    Settle();
    return fbRounded ? QvCommon::QvProductPanel::kRounding : 0.0;
  }
  /// False when a number of a row was so large that products of three may not be finite, or a
  /// weight so large or small that products with it may not be exact, but for some dense rows'.
  [[nodiscard]] bool AreRowsUsual() const {
    Settle();
    return fbRowsUsual;
  }
  /// False when a weight was not finite.
  [[nodiscard]] bool AreWeightsFinite() const { return fbWeightsFinite; }
  /// False when a value of the dependent was not finite.
  [[nodiscard]] bool IsDependentFinite() const { return fbDependentFinite; }

 private:
  /// The first dense rows, which are added one by one.
  static constexpr long long kExactRows = 1024;

  template <typename Fill>
  void AddDenseRow(double w, Fill&& fill) {
    if (fDenseRows++ < kExactRows) {
      fill(fSingleRow.data());
      AddSingleRow(w);
      return;
    }
    if (fPanel.GetWidth() == 0) fPanel.SetWidth(fDenseRow.size());
    fill(fPanel.Append(w));
    if (fPanel.IsFull()) Settle();
  }
  void AddSingleRow(double w);
  /// Empties the panel.
  void Settle() const;

  // What the panel holds is part of the sums.
  mutable QvCommon::QvSymMatrix fMatrix;
  mutable QvCommon::QvProductPanel fPanel;  ///< Without room until a row needs it.
  mutable bool fbRounded = false;
  mutable bool fbRowsUsual = true;
  long long fDenseRows = 0;
  long long fRecordsAdded = 0;
  bool fbWeightsFinite = true;
  bool fbDependentFinite = true;
  bool fbValid = false;
  /// Scratch, zero between rows.
  std::vector<double> fDenseRow;
  /// Scratch: a dense row that is added by itself.
  std::vector<double> fSingleRow;
};
