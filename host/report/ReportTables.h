#pragma once

#include <span>
#include <string>

#include "host/fit/FitResult.h"
#include "host/report/TextStyle.h"

namespace qvhost {

/// The parameters of one linear predictor as a table: estimate, standard error, test and limits; of
/// a logistic model also the odds ratio with its limits. Of more than 60 parameters the first 40
/// and the last 10 are printed unless the style asks for all.
[[nodiscard]] std::string ParameterTable(std::span<const ParameterResult> parameters,
                                         ModelKind kind, double confidence,
                                         const TextStyle& style = {});

/// The tests of the terms; empty where there are none, and where those of a linear model that
/// nobody asked for repeat the tests of single parameters.
[[nodiscard]] std::string EffectTable(const FitResult& fit, const TextStyle& style = {});

/// What --vif asks for; empty without.
[[nodiscard]] std::string CollinearityText(const FitResult& fit, const TextStyle& style = {});

/// The average effects on predictions, of a logistic model a table for each category but the
/// reference of two. REQUIRES: `fit.margins` is there.
[[nodiscard]] std::string MarginTables(const FitResult& fit, const TextStyle& style = {});

/// What --contrast and --means ask for; empty without.
[[nodiscard]] std::string MeansText(const FitResult& fit, const TextStyle& style = {});

/// How records held out compare with what is predicted. REQUIRES: `fit.validation` is there.
[[nodiscard]] std::string ValidationText(const FitResult& fit, const TextStyle& style = {});

/// The most influential records. REQUIRES: `fit.influential` is there.
[[nodiscard]] std::string InfluentialTable(const FitResult& fit, const TextStyle& style = {});

/// The parts of the printed summary that only a logistic model has.
/// REQUIRES for all: `fit.logistic` is there.

/// The dependent's levels with their weighted counts, and which one is the reference; of more than
/// 60 as many as of parameters.
[[nodiscard]] std::string LevelTable(const FitResult& fit, const TextStyle& style = {});

/// One table of parameters for each level but the reference; of more than 12 tables the first 8 and
/// the last 2 unless the style asks for all.
[[nodiscard]] std::string LevelParameters(const FitResult& fit, const TextStyle& style = {});

/// How well the model fits and how the iterations ended.
[[nodiscard]] std::string LikelihoodText(const FitResult& fit, const TextStyle& style = {});

/// What the model predicts for the records that it was fitted to, beside what they are.
[[nodiscard]] std::string ClassificationText(const FitResult& fit, const TextStyle& style = {});

}  // namespace qvhost
