#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <span>
#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvBitSet.h"

namespace QvCommon {

/// The elements of a symmetric n x n matrix of doubles, kept as its lower triangle row by row.
///
/// Owns its storage; a value: what was moved from is empty. Const operations may be called from
/// several threads at once. No operation throws: a matrix that could not be allocated is empty, and
/// IsValidMatrix() is false.
class QVREG_EXPORT QvSymMatrixData {
 public:
  /// An empty matrix, order 0.
  QvSymMatrixData() = default;
  /// An n x n zero matrix, n being the `order`. When the storage cannot be allocated the order is 0
  /// and IsValidMatrix() is false.
  explicit QvSymMatrixData(int order);
  /// A copy of `other`, its validity included; empty and not valid without memory.
  QvSymMatrixData(const QvSymMatrixData& other);
  /// Takes the elements of `other`, which becomes empty.
  QvSymMatrixData(QvSymMatrixData&& other) noexcept;
  /// Becomes a copy of `other`, its validity included; empty and not valid without memory.
  QvSymMatrixData& operator=(const QvSymMatrixData& other);
  /// Takes the elements of `other`, which becomes empty.
  QvSymMatrixData& operator=(QvSymMatrixData&& other) noexcept;
  ~QvSymMatrixData() = default;

  /// The order n.
  [[nodiscard]] int GetOrder() const { return fOrder; }
  /// Element (i, j); either triangle may be named. 0 when there is no such element.
  [[nodiscard]] double GetElem(int i, int j) const {
    return HasElem(i, j) ? fElements[IndexOf(i, j)] : 0.0;
  }
  /// Stores `value` as element (i, j), and so as (j, i); false when there is no such element.
  bool SetElem(int i, int j, double value);
  /// The first of `elements` receive row i in `columns`. REQUIRES: a row and, in increasing order,
  /// columns up to its diagonal; as many elements.
  void GetRowElems(int i, std::span<const int> columns, std::span<double> elements) const {
    const double* row = Row(i);
    for (std::size_t c = 0; c < columns.size(); ++c) elements[c] = row[columns[c]];
  }
  /// `diagonal` receives the n diagonal elements; false, and nothing changed, without memory.
  bool GetDiagonal(std::vector<double>& diagonal) const;
  /// The lower triangle, row by row, each row up to its diagonal.
  [[nodiscard]] const std::vector<double>& GetTriangle() const { return fElements; }
  /// False when memory ran out as the matrix was made or copied.
  [[nodiscard]] bool IsValidMatrix() const { return fbValid; }
  /// Prints the order and the lower triangle to standard output, a line per row.
  void Display() const;

 protected:
  /// Where row i of the lower triangle starts among the elements.
  static std::size_t RowStart(int i) {
    const auto row = static_cast<std::size_t>(i);
    return row * (row + 1) / 2;
  }
  /// Where element (i, j) is among the elements; either triangle may be named.
  static std::size_t IndexOf(int i, int j) {
    return i >= j ? RowStart(i) + static_cast<std::size_t>(j)
                  : RowStart(j) + static_cast<std::size_t>(i);
  }
  /// The i + 1 elements of row i.
  [[nodiscard]] double* Row(int i) { return fElements.data() + RowStart(i); }
  /// The i + 1 elements of row i, to read.
  [[nodiscard]] const double* Row(int i) const { return fElements.data() + RowStart(i); }
  /// Makes it a zero matrix of the given `order`, and so valid; false, and nothing changed, without
  /// memory.
  bool Reset(int order);
  /// Makes it the matrix of this `order` whose lower triangle `elements` are, and so valid; false,
  /// and nothing changed, where these are not as many.
  bool Adopt(int order, std::vector<double>&& elements);
  /// Makes it empty and not valid.
  void Invalidate();

  /// The lower triangle, row by row: n (n + 1) / 2 elements.
  std::vector<double> fElements;

 private:
  [[nodiscard]] bool HasElem(int i, int j) const {
    return i >= 0 && i < fOrder && j >= 0 && j < fOrder;
  }

  int fOrder = 0;
  bool fbValid = true;
};

class QvBlockSweep;
class QvByteReader;
class QvByteWriter;
class QvExactProducts;

/// Asked now and then during a long operation: true to stop it.
using QvStopQuery = std::function<bool()>;

/// A symmetric matrix with the operations that estimation needs: weighted rank-one updates, the
/// sweep operator and the Cholesky factorisation, all in place.
///
/// A value that owns its elements. Operations that change the matrix must not overlap with any
/// other on the same object; const operations may run together. Operations that return bool answer
/// false for a wrong shape or a failed allocation and then leave the matrix as it was.
class QVREG_EXPORT QvSymMatrix : public QvSymMatrixData {
 public:
  /// An empty matrix, order 0.
  QvSymMatrix() = default;
  /// As QvSymMatrixData: zeros of the given `order`.
  explicit QvSymMatrix(int order) : QvSymMatrixData(order) {}
  /// As QvSymMatrixData: a copy of `other`, what compensation keeps included.
  QvSymMatrix(const QvSymMatrix& other);
  QvSymMatrix(QvSymMatrix&& other) noexcept = default;
  /// As the copy of `other`.
  QvSymMatrix& operator=(const QvSymMatrix& other);
  QvSymMatrix& operator=(QvSymMatrix&& other) noexcept = default;
  ~QvSymMatrix() = default;

  /// Adds w x x' for a dense x of GetOrder() values: every element of the triangle is touched.
  bool UpdateXX(const std::vector<double>& x, double w);
  /// Adds w x x' for a sparse x: its non-zeros are the first `n` of `values`, in the places that
  /// the first `n` of `indices` name. Costs n^2/2. REQUIRES: distinct indices below GetOrder().
  bool UpdateXXSparse(int n, const std::vector<int>& indices, const std::vector<double>& values,
                      double w);

  /// From now on the two updates above form exact products and keep what each sum loses to
  /// rounding, in a second matrix: the sums are double-double. False without memory.
  bool StartCompensation();
  /// Adds what was kept, and ends the compensation. REQUIRED before anything reads the elements.
  void EndCompensation();
  /// The same; `products` receives the sums before their rounding, and nothing where none were
  /// kept. False without memory.
  bool EndCompensation(QvExactProducts& products);
  /// Adds `other`, a matrix of the same order, both with compensation or both without it: what the
  /// sums lose is kept as well. False, and nothing changed, for any other.
  bool AddCompensated(const QvSymMatrix& other);
  /// Becomes the matrix of this `order` with the lower `triangle`, which is moved out, and without
  /// compensation; false, and nothing changed, for a triangle of another order.
  bool TakeTriangle(int order, std::vector<double>&& triangle);
  /// Appends the elements, and what compensation keeps, to the `writer`. May throw std::bad_alloc.
  void Write(QvByteWriter& writer) const;
  /// Replaces them by those of a matrix of the same order, with compensation or without it alike;
  /// the `reader` fails for any other, and the elements are then undefined.
  void Read(QvByteReader& reader);

  /// Sweeps on pivot k (Goodnight, A Tutorial on the SWEEP Operator, The American Statistician 33,
  /// 1979) and sets bit k of `swept`. The pivot is skipped, and its bit stays clear, when its
  /// current diagonal is not finite, not positive, or not greater than tol times diagonal[k], its
  /// value before the first sweep.
  ///
  /// `swept` tells which pivots were swept before. Once all wanted pivots are done, the block of
  /// swept rows and columns holds the generalized inverse of that block, with its own (positive)
  /// sign, and a row that was not swept holds its regression coefficients on the swept ones.
  /// `trackSwept` false leaves bit k as it is; the caller then sets it before the next pivot.
  bool Sweep(int k, double tol, const std::vector<double>& diagonal, QvBitSet& swept,
             bool trackSwept);
  /// After the sweep of the first n - 1 pivots: the n - 1 coefficients of the last row on the
  /// swept ones, 0 for a pivot whose bit is clear.
  bool GetRegCoeffs(std::vector<double>& coefficients, const QvBitSet& swept) const;
  /// Sets to 0 every element in a row or column whose bit of `swept` is clear, or missing for the
  /// last row.
  bool ZeroOutRedundant(const QvBitSet& swept);

  /// The i + 1 elements of row i, to add to. REQUIRES: such a row; no compensation.
  [[nodiscard]] double* GetRow(std::size_t i) { return Row(static_cast<int>(i)); }
  /// Adds `values` to row i from column `first` on, up to the diagonal. REQUIRES: such a row; no
  /// compensation.
  void AddToRow(std::size_t i, std::size_t first, std::span<const double> values) {
    double* row = Row(static_cast<int>(i));
    const std::size_t last = std::min(first + values.size(), i + 1);
    for (std::size_t j = first; j < last; ++j) row[j] += values[j - first];
  }

  /// Adds the sum of two doubles, of `values` and the smaller `rests`, to each of the i + 1
  /// elements of row i. REQUIRES: such a row; as many of both; compensation.
  void AddToCompensatedRow(int i, const double* values, const double* rests);

  /// The same for the elements of row i in `n` columns, with as many `values` and `rests`.
  /// REQUIRES: such a row; columns up to the diagonal; compensation.
  void AddToCompensatedElems(int i, int n, const int* columns, const double* values,
                             const double* rests);

  /// Adds weights[k] x x' to matrices[k], all of one order, for a sparse x of `values` in the
  /// places `indices`: the places are looked up once. REQUIRES: a weight per matrix, distinct
  /// indices below their order, no compensation.
  static void UpdateEachXXSparse(std::vector<QvSymMatrix>& matrices,
                                 const std::vector<double>& weights,
                                 const std::vector<int>& indices,
                                 const std::vector<double>& values);

  /// Replaces the matrix by x x' for a dense x of GetOrder() values.
  bool SetOuterProduct(const std::vector<double>& x);
  /// Adds c times `other`, a matrix of the same order.
  bool AddMatrix(const QvSymMatrix& other, double c);
  /// Sets every element to 0; the order stays.
  void SetToZero();
  /// Multiplies every element by c.
  void MultiplyByNumber(double c);
  /// Multiplies every element (i, j) by 2 to the power of exponents[i] + exponents[j]; an element
  /// that no double holds becomes infinite or 0. REQUIRES: an exponent per row.
  void MultiplyByPowersOf2(const std::vector<int>& exponents);
  /// Multiplies every element by -1.
  void ChangeSign();
  /// Copies the leading block of out's order (at most this matrix's) into `out`.
  void ExtractFirstNRows(QvSymMatrix& out) const;
  /// Scatters this matrix, whose rows stand for the set bits of `keep` in increasing order, into
  /// `out`, made of order keep.Size() with zeros elsewhere, and so valid; false when the counts do
  /// not fit, when this matrix is not valid, or without memory.
  bool Expand(const QvBitSet& keep, QvSymMatrix& out) const;

  /// Factors the matrix as L L', L in the lower triangle. Returns 0 when every pivot is sound.
  ///
  /// A pivot not greater than tol times its original diagonal (or not finite) is singular: the
  /// first one gives the return value 1 + its index, and its row and column of L are treated as
  /// zero, so that the operations below stay finite and give 0 in that place. `measure` becomes the
  /// smallest L(k,k) / sqrt(a(k,k)), a(k,k) being the original diagonal: between 0 and 1 whatever
  /// the units of rows and columns, 0 when a pivot is singular. `stopAtSingular` ends at the first
  /// singular pivot; what the rows after it then hold is not defined.
  int LTChol(double tol, double& measure, bool stopAtSingular);
  /// The same with `tol`, `measure` and `stopAtSingular`, of large matrices until `isStopped`,
  /// which is asked every few hundredths of a second, answers true: kStopped then, and the elements
  /// are undefined.
  int LTChol(double tol, double& measure, bool stopAtSingular, const QvStopQuery& isStopped);
  /// Returned by LTChol when it was stopped.
  static constexpr int kStopped = -1;
  /// With the factor L in place: solves L L' x = b; 0, or 1 for a wrong shape or without memory.
  int LTSubstitute(const std::vector<double>& b, std::vector<double>& x) const;
  /// With the factor L in place: replaces it by the inverse of L L', zero in singular places.
  void LTInverse();
  /// The same, until `isStopped` answers true: false then, and the elements are undefined.
  bool LTInverse(const QvStopQuery& isStopped);

 private:
  friend class QvBlockSweep;

  void InvertFactor();

  /// What the updates lost to rounding so far; empty without compensation.
  std::vector<double> fLost;
};

}  // namespace QvCommon
