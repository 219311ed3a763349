#include "qvreg/design/QvCrossProducts.h"

#include <algorithm>
#include <cstddef>
#include <utility>

using QvCommon::QvKernels;

QvCrossProducts::QvCrossProducts(int order) : fMatrix(order) {
  fbValid = fMatrix.IsValidMatrix() && fMatrix.StartCompensation();
  if (!fbValid) return;
  fDenseRow.assign(static_cast<std::size_t>(order), 0.0);
  fSingleRow = fDenseRow;
}

void QvCrossProducts::AddSingleRow(double w) {
  fMatrix.UpdateXX(fSingleRow, w);
  fbRowsUsual = fbRowsUsual && QvKernels::AreUsual(fSingleRow.size(), fSingleRow.data());
}

void QvCrossProducts::Settle() const {
  fPanel.AddTo(fMatrix);
  fbRounded = fbRounded || fPanel.HasRounded();
  fbRowsUsual = fbRowsUsual && !fPanel.HasUnusual();
}

QvCommon::QvSymMatrix& QvCrossProducts::GetMatrix() {
  Settle();
  return fMatrix;
}

const QvCommon::QvSymMatrix& QvCrossProducts::GetMatrix() const {
  Settle();
  return fMatrix;
}

void QvCrossProducts::Add(QvDesignRow& row, double w, double y) {
  NoteRecord(w, y);
  const int count = row.GetCount();
  if (count == fMatrix.GetOrder() && row.GetValues().size() == fDenseRow.size()) {
    // Every column is there: the non-zeros are the dense row.
    AddDenseRow(w, [&](double* values) { std::copy_n(row.GetValues().begin(), count, values); });
  } else if (2 * count > fMatrix.GetOrder()) {
    row.Scatter(fDenseRow);
    AddDenseRow(w, [&](double* values) { std::copy(fDenseRow.begin(), fDenseRow.end(), values); });
    row.Unscatter(fDenseRow);
  } else {
    AddSparse(count, row.GetIndices(), row.GetValues(), w);
  }
}

void QvCrossProducts::AddSparse(int n, const std::vector<int>& indices,
                                const std::vector<double>& values, double w) {
  fMatrix.UpdateXXSparse(n, indices, values, w);
  fbRowsUsual = fbRowsUsual && QvKernels::IsUsualWeight(w) &&
                QvKernels::AreUsual(static_cast<std::size_t>(n), values.data());
}

bool QvCrossProducts::Merge(const IQvPassSums& other) {
  const auto* products = dynamic_cast<const QvCrossProducts*>(&other);
  if (products == nullptr || !GetMatrix().AddCompensated(products->GetMatrix())) return false;
  fbRounded = fbRounded || products->fbRounded;
  fbRowsUsual = fbRowsUsual && products->fbRowsUsual;
  fRecordsAdded += products->fRecordsAdded;
  fbWeightsFinite = fbWeightsFinite && products->fbWeightsFinite;
  fbDependentFinite = fbDependentFinite && products->fbDependentFinite;
  return true;
}

void QvCrossProducts::Write(QvCommon::QvByteWriter& writer) const {
  GetMatrix().Write(writer);
  writer.PutInt(fRecordsAdded);
  writer.PutBool(fbRounded);
  writer.PutBool(fbRowsUsual);
  writer.PutBool(fbWeightsFinite);
  writer.PutBool(fbDependentFinite);
}

void QvCrossProducts::Read(QvCommon::QvByteReader& reader) {
  GetMatrix().Read(reader);
  fRecordsAdded = reader.GetTotal();
  fbRounded = reader.GetBool();
  fbRowsUsual = reader.GetBool();
  fbWeightsFinite = reader.GetBool();
  fbDependentFinite = reader.GetBool();
}

void QvCrossProducts::FillContents(QvLinearContents& contents) const {
  contents.fCovariance = GetMatrix().GetTriangle();
  contents.fRecordsAdded = fRecordsAdded;
  contents.fbProductsRounded = fbRounded;
  contents.fbProductsUsual = fbRowsUsual;
  contents.fbWeightsFinite = fbWeightsFinite;
  contents.fbDependentsFinite = fbDependentFinite;
}

bool QvCrossProducts::TakeContents(int order, QvLinearContents& contents) {
  const bool isTaken =
      contents.fRecordsAdded >= 0 && fMatrix.TakeTriangle(order, std::move(contents.fCovariance));
  fRecordsAdded = contents.fRecordsAdded;
  fbRounded = contents.fbProductsRounded;
  fbRowsUsual = contents.fbProductsUsual;
  fbWeightsFinite = contents.fbWeightsFinite;
  fbDependentFinite = contents.fbDependentsFinite;
  return isTaken;
}

std::size_t QvCrossProducts::GetSize() const {
  // The elements and what they lost.
  const std::size_t matrix = fDenseRow.size() * (fDenseRow.size() + 1) * sizeof(double);
  return matrix + QvCommon::QvProductPanel::GetSize(fDenseRow.size());
}
