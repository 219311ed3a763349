#include "qvreg/design/QvCrossProducts.h"

#include <cmath>
#include <cstddef>

QvCrossProducts::QvCrossProducts(int order) : fMatrix(order) {
  fbValid = fMatrix.IsValidMatrix() && fMatrix.StartCompensation();
  if (fbValid) fDenseRow.assign(static_cast<std::size_t>(order), 0.0);
}

void QvCrossProducts::Add(QvDesignRow& row, double w, double y) {
  fbWeightsFinite = fbWeightsFinite && std::isfinite(w);
  fbDependentFinite = fbDependentFinite && std::isfinite(y);
  const int count = row.GetCount();
  if (count == fMatrix.GetOrder() && row.GetValues().size() == fDenseRow.size()) {
    // Every column is there: the non-zeros are the dense row.
    fMatrix.UpdateXX(row.GetValues(), w);
  } else if (2 * count > fMatrix.GetOrder()) {
    // A row that fills half of its columns is added faster without looking up places.
    row.Scatter(fDenseRow);
    fMatrix.UpdateXX(fDenseRow, w);
    row.Unscatter(fDenseRow);
  } else {
    fMatrix.UpdateXXSparse(count, row.GetIndices(), row.GetValues(), w);
  }
  ++fRecordsAdded;
}

bool QvCrossProducts::Merge(const IQvPassSums& other) {
  const auto* products = dynamic_cast<const QvCrossProducts*>(&other);
  if (products == nullptr || !fMatrix.AddCompensated(products->fMatrix)) return false;
  fRecordsAdded += products->fRecordsAdded;
  fbWeightsFinite = fbWeightsFinite && products->fbWeightsFinite;
  fbDependentFinite = fbDependentFinite && products->fbDependentFinite;
  return true;
}

void QvCrossProducts::Write(QvCommon::QvByteWriter& writer) const {
  fMatrix.Write(writer);
  writer.PutInt(fRecordsAdded);
  writer.PutBool(fbWeightsFinite);
  writer.PutBool(fbDependentFinite);
}

void QvCrossProducts::Read(QvCommon::QvByteReader& reader) {
  fMatrix.Read(reader);
  fRecordsAdded = reader.GetInt();
  fbWeightsFinite = reader.GetBool();
  fbDependentFinite = reader.GetBool();
  if (fRecordsAdded < 0) reader.Fail();
}

std::size_t QvCrossProducts::GetSize() const {
  // The elements and what they lost.
  return fDenseRow.size() * (fDenseRow.size() + 1) * sizeof(double);
}
