#include "bench/ClassModel.h"

#include "bench/Require.h"

namespace qvbench {

ClassModel::ClassModel(const ClassRecords& shape) {
  // An effect is defined against the factors, then the covariates; records hold them the other way.
  const auto nFactors = static_cast<int>(shape.levels.size());
  for (int f = 0; f < nFactors; ++f) variables_.push_back(shape.covariates + f);
  for (int var = 0; var < shape.covariates; ++var) variables_.push_back(var);

  const QvModelEffect empty(nFactors, shape.covariates, &variables_);
  for (int var = 0; var < shape.covariates; ++var) {
    Require(settings_.AddCovariate(var) > 0);
    QvModelEffect effect = empty;
    Require(effect.AddCovariate(var) > 0);
    Require(settings_.AddModelEffect(effect));
  }
  int var = shape.covariates;
  for (const int count : shape.levels) {
    Require(settings_.AddFactor(var, count) > 0);
    QvModelEffect effect = empty;
    Require(effect.AddNewFactor(var++, false));
    Require(settings_.AddModelEffect(effect));
  }
  Require(settings_.SetDependent(shape.Dependent()));
  Require(settings_.SetDependentRefCat(QvLogRegSettings::kLastObserved, shape.classes));
}

}  // namespace qvbench
