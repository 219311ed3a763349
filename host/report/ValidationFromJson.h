#pragma once

#include "host/fit/FitResult.h"
#include "host/report/JsonReader.h"

namespace qvhost {

/// The member `validation` of the JSON of a fit of this kind. Throws as the reader does.
[[nodiscard]] ValidationResult ReadValidation(const JsonReader& json, ModelKind kind);

/// The member `calibration` of an object. Throws as the reader does.
[[nodiscard]] std::vector<CalibrationGroup> ReadCalibration(const JsonReader& json);

/// A table of observed and predicted levels: of so many rows and columns. Throws as the reader
/// does.
[[nodiscard]] std::vector<std::vector<double>> ReadClassification(const JsonReader& json,
                                                                  std::size_t levels);

}  // namespace qvhost
