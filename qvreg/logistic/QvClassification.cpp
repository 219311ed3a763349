#include "qvreg/logistic/QvClassification.h"

#include <cstddef>

template <typename Visit>
void QvClassification::ForEachCell(Visit&& visit) const {
  for (int i = 0; i < fTable.GetNRows(); ++i) {
    for (int j = 0; j < fTable.GetNColumns(); ++j) visit(i, j);
  }
}

bool QvClassification::Merge(const IQvPassSums& other) {
  const auto* added = dynamic_cast<const QvClassification*>(&other);
  if (added == nullptr || added->fTable.GetNRows() != fTable.GetNRows()) return false;
  ForEachCell([&](int i, int j) {
    fTable.SetElem(i, j, fTable.GetElem(i, j) + added->fTable.GetElem(i, j));
  });
  fTotalWeight += added->fTotalWeight;
  fbAnyWeight = fbAnyWeight || added->fbAnyWeight;
  return true;
}

void QvClassification::Write(QvCommon::QvByteWriter& writer) const {
  writer.PutInt(fTable.GetNRows());
  ForEachCell([&](int i, int j) { writer.PutDouble(fTable.GetElem(i, j)); });
  writer.PutDouble(fTotalWeight);
  writer.PutBool(fbAnyWeight);
}

void QvClassification::Read(QvCommon::QvByteReader& reader) {
  if (reader.GetInt() != fTable.GetNRows()) return reader.Fail();
  ForEachCell([&](int i, int j) { fTable.SetElem(i, j, reader.GetDouble()); });
  fTotalWeight = reader.GetDouble();
  fbAnyWeight = reader.GetBool();
}

void QvClassification::FillContents(QvLogisticContents& contents) const {
  ForEachCell([&](int i, int j) { contents.fClassification.push_back(fTable.GetElem(i, j)); });
  contents.fClassifiedWeight = fTotalWeight;
  contents.fbAnyClassified = fbAnyWeight;
}

bool QvClassification::TakeContents(const QvLogisticContents& contents) {
  const auto rows = static_cast<std::size_t>(fTable.GetNRows());
  if (contents.fClassification.size() != rows * rows) return false;
  auto cell = contents.fClassification.begin();
  ForEachCell([&](int i, int j) { fTable.SetElem(i, j, *cell++); });
  fTotalWeight = contents.fClassifiedWeight;
  fbAnyWeight = contents.fbAnyClassified;
  return true;
}
