#pragma once

#include <span>
#include <string>

#include "host/report/ReportTables.h"
#include "host/report/SectionsText.h"

namespace qvhost {

/// The parts of a summary as plain text prints them.

inline std::string ParameterTable(std::span<const ParameterResult> parameters, ModelKind kind,
                                  double confidence, const TextStyle& style = {}) {
  return SectionsText({{"", "", {ParameterTable(parameters, kind, confidence, DetailOf(style))}}},
                      style);
}

inline std::string EffectTable(const FitResult& fit, const TextStyle& style = {}) {
  return SectionsText(EffectSections(fit, DetailOf(style)), style);
}

inline std::string CollinearityText(const FitResult& fit, const TextStyle& style = {}) {
  return SectionsText(CollinearitySections(fit, DetailOf(style)), style);
}

inline std::string MarginTables(const FitResult& fit, const TextStyle& style = {}) {
  return SectionsText(MarginSections(fit, DetailOf(style)), style);
}

inline std::string MeansText(const FitResult& fit, const TextStyle& style = {}) {
  return SectionsText(MeansSections(fit, DetailOf(style)), style);
}

inline std::string ValidationText(const FitResult& fit, const TextStyle& style = {}) {
  return SectionsText(ValidationSections(fit, DetailOf(style)), style);
}

inline std::string LevelTable(const FitResult& fit, const TextStyle& style = {}) {
  return SectionsText(LevelSections(fit, DetailOf(style)), style);
}

inline std::string LevelParameters(const FitResult& fit, const TextStyle& style = {}) {
  return SectionsText(LevelParameterSections(fit, DetailOf(style)), style);
}

inline std::string LikelihoodText(const FitResult& fit, const TextStyle& style = {}) {
  return SectionsText(LikelihoodSections(fit, DetailOf(style)), style);
}

inline std::string ClassificationText(const FitResult& fit, const TextStyle& style = {}) {
  return SectionsText(ClassificationSections(fit, DetailOf(style)), style);
}

}  // namespace qvhost
