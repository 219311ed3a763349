#pragma once

#include <vector>

#include "qvreg/QvExport.h"
#include "qvreg/common/QvBitSet.h"
#include "qvreg/common/QvSymMatrix.h"
#include "qvreg/common/Record.h"
#include "qvreg/settings/QvConst.h"
#include "qvreg/settings/QvRegrParameter.h"

class QvFactorCounts;
class QvRegRecordValidator;

/// The results of a built model, as a host reads them.
///
/// Owned by the component that made it and valid as long as that component; returned references and
/// pointers live as long as this object. Const operations may run on several threads, except
/// ExpandRow, which shares scratch space with the component. Vectors of parameters, estimates and
/// statistics have one entry per parameter, in design order.
class QVREG_EXPORT IQvRegOutputStats {
 public:
  IQvRegOutputStats() = default;
  IQvRegOutputStats(const IQvRegOutputStats&) = default;
  IQvRegOutputStats& operator=(const IQvRegOutputStats&) = default;

  virtual ~IQvRegOutputStats() = default;
  /// The model whose results these are.
  virtual QvConst::QvRegModelType GetModelType() = 0;
  /// Records per category of every factor, in the order of the settings.
  [[nodiscard]] virtual const QvFactorCounts& GetFactorCounts() const = 0;
  /// Weighted means of the covariates in the order of the settings (the linear model: and last
  /// that of the dependent); the missing value for one with a value that is not finite.
  [[nodiscard]] virtual const std::vector<double>& GetMeanValues() const = 0;
  /// 0 for a redundant parameter.
  [[nodiscard]] virtual const std::vector<double>& GetParamEstimates() const = 0;
  /// What each parameter stands for.
  [[nodiscard]] virtual const std::vector<QvRegrParameter>& GetParameters() const = 0;
  /// The sum of the frequency weights of the records used.
  [[nodiscard]] virtual double GetTotalFreqWeight() const = 0;
  /// The sum of frequency times regression weight of the records used; infinite where no double is
  /// as large.
  [[nodiscard]] virtual double GetTotalRegrWeight() const = 0;
  /// The settings' degrees of freedom, or the total regression weight less the number of
  /// parameters, redundant ones included; infinite where that weight is.
  [[nodiscard]] virtual double GetNDegFreedom() const = 0;
  /// The fit statistic `stat`; the missing value for one that the model does not serve.
  [[nodiscard]] virtual double GetModelFitStat(QvConst::QvModelFitStat stat) const = 0;
  /// The covariance matrix of the estimates, of the order of the parameters, 0 in redundant rows;
  /// null where there is none. For the linear model it is still to be multiplied by the residual
  /// variance: the square of the root mean square error times W / (W - n), W the total frequency
  /// weight and n the number of parameters that are not redundant.
  [[nodiscard]] virtual const QvCommon::QvSymMatrixData* GetCovarianceMatrix() const = 0;
  /// Estimate, redundancy and effect of each parameter.
  [[nodiscard]] virtual const std::vector<QvRegrParameterStats>& GetParamStats() const = 0;
  /// One bit per parameter, set for one that is kept and clear for a redundant one.
  [[nodiscard]] virtual const QvCommon::QvBitSet& GetRedundancyIndicators() const = 0;
  /// The checks that records went through, for a host to ask before it scores one.
  [[nodiscard]] virtual const QvRegRecordValidator& GetRecordValidator() const = 0;
  /// The design row of a record, followed by the dependent (the missing value where the record is
  /// too short to hold it). False when a level combination has no parameter, whose columns are then
  /// 0, or when the record is too short for the design.
  virtual bool ExpandRow(const QvCommon::Record& record, std::vector<double>& row) const = 0;
  /// As the component's Cancel.
  virtual void Cancel() = 0;
  /// Prints the results to standard output, for diagnostics.
  virtual void Display() const = 0;
  /// How the column of a redundant parameter depends on the columns that are kept: `combination`
  /// receives one coefficient c_k per parameter, 0 for those that are redundant, for those behind
  /// it and, in a logistic model, for those of other categories. Of columns of unusual size, which
  /// the estimation divides by powers of two (see GetParameterExponents of the models' statistics),
  /// the coefficients are those of the columns as divided: x_j / 2^e_j = sum of c_k x_k / 2^e_k.
  ///
  /// False, and `combination` undefined, for a parameter that is kept or does not exist, for one
  /// whose column was not finite, without memory, and for statistics that do not tell.
  virtual bool GetRedundantCombination(int /*parameter*/,
                                       std::vector<double>& /*combination*/) const {
    return false;
  }
};
