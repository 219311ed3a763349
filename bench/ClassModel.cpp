#include "bench/ClassModel.h"

namespace qvbench {

ClassModel::ClassModel(const ClassRecords& shape) {
  // An effect is defined against the factors, then the covariates; records hold them the other way.
  const auto nFactors = static_cast<int>(shape.levels.size());
  for (int f = 0; f < nFactors; ++f) variables_.push_back(shape.covariates + f);
  for (int var = 0; var < shape.covariates; ++var) variables_.push_back(var);

  const QvModelEffect empty(nFactors, shape.covariates, &variables_);
  for (int var = 0; var < shape.covariates; ++var) {
    settings_.AddCovariate(var);
    QvModelEffect effect = empty;
    effect.AddCovariate(var);
    settings_.AddModelEffect(effect);
  }
  int var = shape.covariates;
  for (const int count : shape.levels) {
    settings_.AddFactor(var, count);
    QvModelEffect effect = empty;
    effect.AddNewFactor(var++, false);
    settings_.AddModelEffect(effect);
  }
  settings_.SetDependent(shape.Dependent());
  settings_.SetDependentRefCat(QvLogRegSettings::kLastObserved, shape.classes);
}

}  // namespace qvbench
