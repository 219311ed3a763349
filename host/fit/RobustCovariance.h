#pragma once

#include <cstddef>
#include <optional>
#include <string>

#include "host/fit/FitResult.h"
#include "host/fit/RecordFit.h"
#include "host/fit/RecordWalk.h"
#include "host/table/CodedTable.h"
#include "qvreg/common/QvSymMatrix.h"

namespace qvhost {

/// A covariance matrix of estimates that holds whatever the variances of records are.
struct RobustCovariance {
  QvCommon::QvSymMatrix matrix;  ///< In the units of the estimation, see ScaledEstimates.
  std::optional<long long> clusters;
};

/// How to compute it.
struct RobustOptions {
  CovarianceKind kind = CovarianceKind::kHc1;
  int cluster = -1;  ///< Position of the clusters' codes in the records, of kCluster.
  std::string clusterName = {};
  int parts = 1;  ///< Into how many to divide the records; see QvPartCount.
  /// A bound for the sums of clusters that are kept at once on a thread, in bytes.
  std::size_t mostBytes = std::size_t{16} << 20;
};

/// The sandwich A^-1 B A^-1 for the covariance matrix A^-1 of the model (of a linear one without
/// the residual variance) and the sum B of the outer products of the records' or clusters' scores.
/// With f frequency weight, n the sum of those, k the number of parameters kept, h a leverage and g
/// the score of one record:
///
/// - HC0 (White, Econometrica 48, 1980): B = sum of f g g'. HC1: times n / (n - k).
/// - HC2, HC3 (MacKinnon and White, Journal of Econometrics 29, 1985): every g g' over 1 - h or
///   (1 - h)^2.
/// - Of clusters (Liang and Zeger, Biometrika 73, 1986): B = sum of u u', u being the sum of a
///   cluster's f g, times G / (G - 1) (n - 1) / (n - k) for G clusters.
///
/// n - k is the `degreesOfFreedom` of a linear model, so that imposed ones count here, too. Makes
/// one pass, for many clusters several: memory does not grow with records or clusters. The result
/// depends on the number of parts alone. `walk` is for all passes.
///
/// REQUIRES: every record used has a cluster. Throws Error (kRunFailed): for a leverage of 1 with
/// HC2 and HC3, which do not exist then, and for HC2 and HC3 of more than two categories; for a
/// single cluster; and as WalkRecords does.
[[nodiscard]] RobustCovariance ComputeRobustCovariance(const CodedTable& table,
                                                       const FittedModel& model,
                                                       const RobustOptions& options,
                                                       const WalkOptions& walk);

/// Throws Error (kBadInput) when the cluster of a record that is used is missing: how many are, and
/// which is the first.
void RequireClusters(const CodedTable& table, const QvRegRecordValidator& validator, int cluster,
                     const WalkOptions& walk);

}  // namespace qvhost
