#include "host/fit/RobustCovariance.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <vector>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/fit/Sandwich.h"
#include "host/fit/ScaledEstimates.h"
#include "host/formula/Tokenizer.h"
#include "qvreg/logistic/QvLogOutputStats.h"

namespace qvhost {

namespace {

/// What matrices of concurrent parts may take.
constexpr double kMostMatrixBytes = 0x1p30;

/// A power of two that the regression weights are measured in, so that their squares stay in range.
int WeightExponent(const CodedTable& table, const FittedModel& model) {
  if (model.regressionWeight < 0) return 0;
  const double highest = table.Columns()[static_cast<std::size_t>(model.regressionWeight)].highest;
  return std::isfinite(highest) && highest > 0.0 ? std::ilogb(highest) : 0;
}

/// What the passes of one computation share. Borrows everything.
struct Task {
  const FittedModel& model;
  const RobustOptions& options;
  std::vector<std::unique_ptr<RecordFit>> fits;  ///< One for each worker.
  double weightUnit = 1.0;                       ///< Scores are multiplied by it.
  int order = 0;
};

/// Scores of records as sparse vectors over all parameters.
class Scores {
 public:
  explicit Scores(const Task& task, int worker)
      : fit_(*task.fits[static_cast<std::size_t>(worker)]), unit_(task.weightUnit) {}

  /// False for a record that is not used.
  bool Read(const QvCommon::Record& record) {
    if (!fit_.Read(record)) return false;
    const DesignRow& row = fit_.Row();
    places_.clear();
    values_.clear();
    int first = 0;
    for (const double multiplier : fit_.Multipliers()) {
      for (std::size_t i = 0; i < row.Places().size(); ++i) {
        places_.push_back(first + row.Places()[i]);
        values_.push_back(unit_ * multiplier * row.Values()[i]);
      }
      first += row.BlockSize();
    }
    return true;
  }

  [[nodiscard]] RecordFit& Fit() { return fit_; }
  [[nodiscard]] const std::vector<int>& Places() const { return places_; }
  [[nodiscard]] const std::vector<double>& Values() const { return values_; }

 private:
  RecordFit& fit_;
  double unit_;
  std::vector<int> places_;
  std::vector<double> values_;
};

/// A matrix of products, and where scores do not exist.
class ProductSums {
 public:
  explicit ProductSums(const Task& task) : products_(task.order) {
    if (!products_.IsValidMatrix()) throw std::bad_alloc();
  }

  void Add(const std::vector<int>& places, const std::vector<double>& values, double weight) {
    products_.UpdateXXSparse(static_cast<int>(places.size()), places, values, weight);
  }
  void Merge(const ProductSums& next) { products_.AddMatrix(next.products_, 1.0); }

  [[nodiscard]] const QvCommon::QvSymMatrix& Products() const { return products_; }

 private:
  QvCommon::QvSymMatrix products_;
};

/// Of records by themselves: HC0 to HC3.
class RecordSums {
 public:
  RecordSums(const Task& task, int worker)
      : kind_(task.options.kind), scores_(task, worker), sums_(task) {}

  bool Add(const QvCommon::Record& record, std::int64_t number) {
    if (!scores_.Read(record)) return true;
    const double weight = scores_.Fit().FreqWeight() * Correction(number);
    sums_.Add(scores_.Places(), scores_.Values(), weight);
    return true;
  }
  void EndPart() {}
  void Merge(const RecordSums& next) {
    sums_.Merge(next.sums_);
    if (full_ == 0) firstFull_ = next.firstFull_;
    full_ += next.full_;
  }

  [[nodiscard]] const QvCommon::QvSymMatrix& Products() const { return sums_.Products(); }

  void RefuseFullLeverage() const {
    if (full_ == 0) return;
    throw Error(ExitCode::kRunFailed,
                fmt::format("--vcov {0} does not exist: {1} of the records used {2} a leverage of "
                            "1, {3}row {4}, as the only one with a level or a combination of "
                            "levels has; choose hc0 or hc1, or leave such rows out with --where.",
                            CovarianceName(kind_), full_, full_ == 1 ? "has" : "have",
                            full_ == 1 ? "" : "the first in ", firstFull_ + 1));
  }

 private:
  double Correction(std::int64_t number) {
    if (kind_ != CovarianceKind::kHc2 && kind_ != CovarianceKind::kHc3) return 1.0;
    const double rest = 1.0 - scores_.Fit().Leverage().value_or(1.0);
    if (!(rest >= kLeastRest)) {
      if (full_++ == 0) firstFull_ = number;
      return 0.0;
    }
    return kind_ == CovarianceKind::kHc2 ? 1.0 / rest : 1.0 / (rest * rest);
  }

  CovarianceKind kind_;
  Scores scores_;
  ProductSums sums_;
  long long full_ = 0;
  std::int64_t firstFull_ = 0;
};

/// Of the clusters with codes from `first` up to but not including `end`, in the order of the
/// records whatever the threads.
class ClusterSums {
 public:
  ClusterSums(const Task& task, int worker, std::int64_t first, std::int64_t end)
      : position_(task.options.cluster),
        first_(static_cast<double>(first)),
        end_(static_cast<double>(end)),
        order_(static_cast<std::size_t>(task.order)),
        scores_(task, worker),
        sums_(task),
        isUsed_(static_cast<std::size_t>(end - first)),
        totals_(static_cast<std::size_t>(end - first) * order_) {}

  bool Add(const QvCommon::Record& record, std::int64_t /*number*/) {
    const double code = record[position_];
    if (code < first_ || code >= end_ || !scores_.Read(record)) return true;
    const auto cluster = static_cast<std::size_t>(code - first_);
    isUsed_[cluster] = true;
    double* total = totals_.data() + cluster * order_;
    const double weight = scores_.Fit().FreqWeight();
    for (std::size_t i = 0; i < scores_.Places().size(); ++i) {
      total[static_cast<std::size_t>(scores_.Places()[i])] += weight * scores_.Values()[i];
    }
    return true;
  }

  void EndPart() {
    std::vector<int> places;
    std::vector<double> values;
    for (std::size_t cluster = 0; cluster < isUsed_.size(); ++cluster) {
      if (!isUsed_[cluster]) continue;
      ++clusters_;
      const double* total = totals_.data() + cluster * order_;
      places.clear();
      values.clear();
      for (std::size_t i = 0; i < order_; ++i) {
        if (total[i] == 0.0) continue;
        places.push_back(static_cast<int>(i));
        values.push_back(total[i]);
      }
      sums_.Add(places, values, 1.0);
    }
    totals_ = {};
  }

  void Merge(const ClusterSums& next) {
    sums_.Merge(next.sums_);
    clusters_ += next.clusters_;
  }

  [[nodiscard]] const QvCommon::QvSymMatrix& Products() const { return sums_.Products(); }
  [[nodiscard]] long long Clusters() const { return clusters_; }

 private:
  int position_;
  double first_;
  double end_;
  std::size_t order_;
  Scores scores_;
  ProductSums sums_;
  std::vector<bool> isUsed_;
  std::vector<double> totals_;  ///< A vector of scores for each cluster.
  long long clusters_ = 0;
};

/// Counts records without a cluster among those that are used.
class MissingClusters {
 public:
  MissingClusters(const QvRegRecordValidator& validator, int cluster)
      : validator_(validator), cluster_(cluster) {}

  bool Add(const QvCommon::Record& record, std::int64_t number) {
    QvCommon::QvStatus status;
    if (record[cluster_] >= 0.0 || !validator_.IsValidRecord(record, status)) return true;
    if (count_++ == 0) first_ = number;
    return true;
  }
  void EndPart() {}
  void Merge(const MissingClusters& next) {
    if (count_ == 0) first_ = next.first_;
    count_ += next.count_;
  }

  [[nodiscard]] long long Count() const { return count_; }
  [[nodiscard]] std::int64_t First() const { return first_; }

 private:
  const QvRegRecordValidator& validator_;
  int cluster_;
  long long count_ = 0;
  std::int64_t first_ = 0;
};

Task MakeTask(const CodedTable& table, const FittedModel& model, const RobustOptions& options,
              const WalkOptions& walk) {
  Task task{.model = model, .options = options, .fits = {}};
  task.order = ScaledEstimatesOf(model.output).covariance.GetOrder();
  task.weightUnit = std::ldexp(1.0, -WeightExponent(table, model));
  for (int worker = 0; worker < walk.threads; ++worker) task.fits.push_back(RecordFit::Of(model));
  return task;
}

/// Fewer threads where each with a matrix would take too much memory.
WalkOptions BoundThreads(const WalkOptions& walk, const FittedModel& model, int parts) {
  const double order = ScaledEstimatesOf(model.output).covariance.GetOrder();
  const double bytes = std::max(order * (order + 1.0) / 2.0 * sizeof(double), 1.0);
  const double others = std::log2(parts) + 2.0;
  WalkOptions bounded = walk;
  bounded.threads = static_cast<int>(
      std::clamp(kMostMatrixBytes / bytes - others, 1.0, static_cast<double>(walk.threads)));
  return bounded;
}

/// Into how many ranges their codes are divided.
std::int64_t PartsOfClusters(std::int64_t clusters, int order, std::size_t mostBytes) {
  constexpr std::int64_t kLeastParts = 8;
  const double bytes = static_cast<double>(clusters) * order * sizeof(double);
  const auto bySize = static_cast<std::int64_t>(std::ceil(bytes / static_cast<double>(mostBytes)));
  return std::min(std::max(bySize, kLeastParts), clusters);
}

RobustCovariance OfClusters(const CodedTable& table, const Task& task, const WalkOptions& walk) {
  const auto clusters = static_cast<std::int64_t>(
      table.Columns()[static_cast<std::size_t>(task.options.cluster)].levels.size());
  const std::int64_t parts = PartsOfClusters(clusters, task.order, task.options.mostBytes);
  WalkOptions each = walk;
  each.eachReadsAll = true;
  const std::unique_ptr<ClusterSums> sums =
      WalkRecords<ClusterSums>(table, static_cast<int>(parts), each, [&](int part, int worker) {
        return std::make_unique<ClusterSums>(task, worker, clusters * part / parts,
                                             clusters * (part + 1) / parts);
      });
  if (sums->Clusters() < 2) {
    throw Error(ExitCode::kRunFailed,
                fmt::format("--vcov cluster:{0} needs two clusters or more, but all records used "
                            "have one value of '{0}'; name another column.",
                            task.options.clusterName));
  }
  return {sums->Products(), sums->Clusters()};
}

RobustCovariance OfRecords(const CodedTable& table, const Task& task, const WalkOptions& walk) {
  const std::unique_ptr<RecordSums> sums = WalkRecords<RecordSums>(
      table, task.options.parts, walk,
      [&](int, int worker) { return std::make_unique<RecordSums>(task, worker); });
  sums->RefuseFullLeverage();
  return {sums->Products(), std::nullopt};
}

/// What corrects for the number of parameters and of clusters.
double CorrectionOf(const FittedModel& model, CovarianceKind kind,
                    const std::optional<long long>& clusters) {
  if (kind != CovarianceKind::kHc1 && kind != CovarianceKind::kCluster) return 1.0;
  const double n = model.output.GetTotalFreqWeight();
  if (!clusters) return n / model.degreesOfFreedom;
  const auto count = static_cast<double>(*clusters);
  return count / (count - 1.0) * (n - 1.0) / model.degreesOfFreedom;
}

void RequireTwoCategories(const FittedModel& model, CovarianceKind kind) {
  const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&model.output);
  const bool needsLeverage = kind == CovarianceKind::kHc2 || kind == CovarianceKind::kHc3;
  if (!needsLeverage || logistic == nullptr || logistic->GetDependCategories().size() == 2) return;
  throw Error(ExitCode::kRunFailed,
              fmt::format("--vcov {} corrects for the leverage of one residual, but the dependent "
                          "has {} levels; choose hc0, hc1 or cluster.",
                          CovarianceName(kind), logistic->GetDependCategories().size()));
}

}  // namespace

RobustCovariance ComputeRobustCovariance(const CodedTable& table, const FittedModel& model,
                                         const RobustOptions& options, const WalkOptions& walk) {
  RequireTwoCategories(model, options.kind);
  const WalkOptions bounded = BoundThreads(walk, model, options.parts);
  const Task task = MakeTask(table, model, options, bounded);
  RobustCovariance result = options.kind == CovarianceKind::kCluster
                                ? OfClusters(table, task, bounded)
                                : OfRecords(table, task, bounded);
  // The products are in the squared unit of the weights, the covariance matrix in its inverse.
  const int exponent = WeightExponent(table, model);
  QvCommon::QvSymMatrix bread;
  static_cast<QvCommon::QvSymMatrixData&>(bread) = ScaledEstimatesOf(model.output).covariance;
  if (!bread.IsValidMatrix()) throw std::bad_alloc();
  bread.MultiplyByNumber(std::ldexp(1.0, exponent));
  result.matrix = Sandwich(bread, result.matrix, walk.threads, walk.interrupt);
  result.matrix.MultiplyByNumber(CorrectionOf(model, options.kind, result.clusters));
  return result;
}

void RequireClusters(const CodedTable& table, const QvRegRecordValidator& validator, int cluster,
                     const WalkOptions& walk) {
  const CodedColumn& column = table.Columns()[static_cast<std::size_t>(cluster)];
  if (column.missing == 0) return;
  constexpr int kParts = 16;
  const std::unique_ptr<MissingClusters> missing = WalkRecords<MissingClusters>(
      table, kParts, walk,
      [&](int, int) { return std::make_unique<MissingClusters>(validator, cluster); });
  if (missing->Count() == 0) return;
  throw Error(
      ExitCode::kBadInput,
      fmt::format("The clusters of --vcov, '{}', are missing in {} of the records that "
                  "the model uses, {}row {}; fill it, or leave such rows out with "
                  "--where \"{} is not null\".",
                  column.label, missing->Count(), missing->Count() == 1 ? "" : "the first in ",
                  missing->First() + 1, WrittenName(column.label)));
}

}  // namespace qvhost
