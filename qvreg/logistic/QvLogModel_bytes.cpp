// The model as plain numbers and as bytes: what workers and scorers need of it, and what is kept.

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <vector>

#include "qvreg/component/QvContentsBytes.h"
#include "qvreg/logistic/QvLogModel.h"

using QvCommon::QvSymMatrix;

namespace {

std::optional<std::vector<double>> TriangleOf(const std::unique_ptr<QvSymMatrix>& matrix) {
  if (matrix == nullptr) return std::nullopt;
  return matrix->GetTriangle();
}

/// Moves the triangle to a matrix; false for one of another order.
bool Take(int order, std::optional<std::vector<double>>& triangle,
          std::unique_ptr<QvSymMatrix>& matrix) {
  matrix.reset();
  if (!triangle) return true;
  matrix = std::make_unique<QvSymMatrix>();
  return matrix->TakeTriangle(order, std::move(*triangle));
}

}  // namespace

QvLogisticEstimates QvLogModel::GetEstimateContents() const {
  return {FlagsOf(fBasicRedundancy), fEstimates};
}

bool QvLogModel::TakeEstimateContents(const QvLogisticEstimates& contents) {
  const bool areAlike = contents.fKept.size() == static_cast<std::size_t>(fNBasic) &&
                        contents.fEstimates.size() == fEstimates.size();
  if (!areAlike) return false;
  fBasicRedundancy = BitsOf(contents.fKept);
  SetRedundancy();
  fEstimates = contents.fEstimates;
  return true;
}

void QvLogModel::WriteEstimates(QvCommon::QvByteWriter& writer) const {
  ::WriteEstimates(GetEstimateContents(), writer);
}

void QvLogModel::ReadEstimates(QvCommon::QvByteReader& reader) {
  QvLogisticEstimates contents;
  ::ReadEstimates(reader, contents);
  if (!TakeEstimateContents(contents)) reader.Fail();
}

QvLogisticContents QvLogModel::GetContents() const {
  QvLogisticContents contents;
  contents.fEstimates = GetEstimateContents();
  contents.fRecordsAdded = GetRecordsAdded();
  contents.fNonFinite = FlagsOf(fNonFinite);
  contents.fRedundant = fRedundantColumns.GetContents();
  contents.fCovariance = TriangleOf(fpHessianGI);
  contents.fScaledCovariance = TriangleOf(fpScaledHessianGI);
  fpClassification->FillContents(contents);
  return contents;
}

bool QvLogModel::TakeContents(QvLogisticContents& contents) {
  const bool areTaken =
      TakeEstimateContents(contents.fEstimates) &&
      contents.fNonFinite.size() == static_cast<std::size_t>(fNBasic) &&
      fRedundantColumns.TakeContents(contents.fRedundant, fNBasic) &&
      Take(GetNumAllParameters(), contents.fCovariance, fpHessianGI) &&
      Take(GetNumAllParameters(), contents.fScaledCovariance, fpScaledHessianGI) &&
      fpClassification->TakeContents(contents);
  if (!areTaken) return false;
  fRecordsAdded = contents.fRecordsAdded;
  fNonFinite = BitsOf(contents.fNonFinite);
  SetHostEstimates();
  fbFinished = true;
  return true;
}
