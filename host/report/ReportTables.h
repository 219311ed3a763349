#pragma once

#include <span>

#include "host/fit/FitResult.h"
#include "host/report/ReportDocument.h"

namespace qvhost {

/// The parts of a summary of a fit. All texts are printable.

/// The parameters of one linear predictor as a table: estimate, standard error, test and limits; of
/// a logistic model also the odds ratio with its limits.
[[nodiscard]] ReportTable ParameterTable(std::span<const ParameterResult> parameters,
                                         ModelKind kind, double confidence,
                                         const ReportDetail& detail);

/// The tests of the terms; empty where there are none, and where those of a linear model that
/// nobody asked for repeat the tests of single parameters.
[[nodiscard]] ReportSections EffectSections(const FitResult& fit, const ReportDetail& detail);

/// What --vif asks for; empty without.
[[nodiscard]] ReportSections CollinearitySections(const FitResult& fit, const ReportDetail& detail);

/// The average effects on predictions, of a logistic model a table for each category but the
/// reference of two. REQUIRES: `fit.margins` is there.
[[nodiscard]] ReportSections MarginSections(const FitResult& fit, const ReportDetail& detail);

/// What --contrast and --means ask for; empty without.
[[nodiscard]] ReportSections MeansSections(const FitResult& fit, const ReportDetail& detail);

/// How records held out compare with what is predicted. REQUIRES: `fit.validation` is there.
[[nodiscard]] ReportSections ValidationSections(const FitResult& fit, const ReportDetail& detail);

/// The most influential records. REQUIRES: `fit.influential` is there.
[[nodiscard]] ReportSections InfluentialSections(const FitResult& fit);

/// The parts that only a logistic model has. REQUIRES for all: `fit.logistic` is there.

/// The dependent's levels with their weighted counts, and which one is the reference.
[[nodiscard]] ReportSections LevelSections(const FitResult& fit, const ReportDetail& detail);

/// One table of parameters for each level but the reference.
[[nodiscard]] ReportSections LevelParameterSections(const FitResult& fit,
                                                    const ReportDetail& detail);

/// How well the model fits and how the iterations ended.
[[nodiscard]] ReportSections LikelihoodSections(const FitResult& fit, const ReportDetail& detail);

/// What the model predicts for the records that it was fitted to, beside what they are.
[[nodiscard]] ReportSections ClassificationSections(const FitResult& fit,
                                                    const ReportDetail& detail);

}  // namespace qvhost
