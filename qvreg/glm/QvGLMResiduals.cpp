#include "qvreg/glm/QvGLMResiduals.h"

#include <cstddef>

bool QvGLMResiduals::Merge(const IQvPassSums& other) {
  const auto* residuals = dynamic_cast<const QvGLMResiduals*>(&other);
  if (residuals == nullptr || residuals->fGradient.size() != fGradient.size()) return false;
  fFit.Merge(residuals->fFit);
  fWeightedRecords += residuals->fWeightedRecords;
  for (std::size_t k = 0; k < fGradient.size(); ++k) fGradient[k].Add(residuals->fGradient[k]);
  return true;
}

void QvGLMResiduals::Write(QvCommon::QvByteWriter& writer) const {
  fFit.Write(writer);
  writer.PutInt(fWeightedRecords);
  writer.PutWord(fGradient.size());
  for (const QvCommon::QvDoubleDouble& element : fGradient) {
    writer.PutDouble(element.fHigh);
    writer.PutDouble(element.fLow);
  }
}

void QvGLMResiduals::Read(QvCommon::QvByteReader& reader) {
  fFit.Read(reader);
  fWeightedRecords = reader.GetTotal();
  if (reader.GetWord() != fGradient.size()) return reader.Fail();
  for (QvCommon::QvDoubleDouble& element : fGradient) {
    element.fHigh = reader.GetDouble();
    element.fLow = reader.GetDouble();
  }
}
