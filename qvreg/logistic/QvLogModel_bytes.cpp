// The model as bytes: what workers and scorers need of it, and what is kept of it.

#include <memory>
#include <new>

#include "qvreg/logistic/QvLogModel.h"

using QvCommon::QvSymMatrix;

void QvLogModel::WriteEstimates(QvCommon::QvByteWriter& writer) const {
  writer.PutInt(fNBasic);
  writer.PutBits(fBasicRedundancy);
  writer.PutDoubles(fEstimates);
}

void QvLogModel::ReadEstimates(QvCommon::QvByteReader& reader) {
  if (reader.GetInt() != fNBasic) return reader.Fail();
  if (!fBasicRedundancy.Resize(fNBasic, false)) throw std::bad_alloc();
  reader.GetBitsInto(fBasicRedundancy);
  SetRedundancy();
  reader.GetDoublesInto(fEstimates);
}

void QvLogModel::WriteResults(QvCommon::QvByteWriter& writer) const {
  writer.PutInt(GetRecordsAdded());
  writer.PutBits(fNonFinite);
  fRedundantColumns.Write(writer);
  for (const QvSymMatrix* matrix : {fpHessianGI.get(), fpScaledHessianGI.get()}) {
    writer.PutBool(matrix != nullptr);
    if (matrix != nullptr) matrix->Write(writer);
  }
  fpClassification->Write(writer);
}

void QvLogModel::ReadResults(QvCommon::QvByteReader& reader) {
  fRecordsAdded = reader.GetInt();
  if (!fNonFinite.Resize(fNBasic, false)) throw std::bad_alloc();
  reader.GetBitsInto(fNonFinite);
  fRedundantColumns.Read(fNBasic, reader);
  for (std::unique_ptr<QvSymMatrix>* matrix : {&fpHessianGI, &fpScaledHessianGI}) {
    matrix->reset();
    if (!reader.GetBool()) continue;
    *matrix = std::make_unique<QvSymMatrix>(GetNumAllParameters());
    if (!(*matrix)->IsValidMatrix()) throw std::bad_alloc();
    (*matrix)->Read(reader);
  }
  fpClassification->Read(reader);
  SetHostEstimates();
  fbFinished = true;
}
