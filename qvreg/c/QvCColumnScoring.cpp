#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "qvreg/c/QvCColumns.h"
#include "qvreg/c/QvCScorer.h"
#include "qvreg/common/Constants.h"
#include "qvreg/glm/QvGLMOutputStats.h"
#include "qvreg/parallel/QvForEach.h"

using QvCCheck::NotNegative;
using QvCCheck::Valid;

namespace {

/// A host's buffer with a value per record, which may be null.
template <typename T>
class Output {
 public:
  Output(T* first, std::ptrdiff_t stride, std::size_t sideBySide = sizeof(T))
      : fFirst(reinterpret_cast<char*>(first)),
        fStride(stride == 0 ? static_cast<std::ptrdiff_t>(sideBySide) : stride) {}

  [[nodiscard]] bool IsWanted() const { return fFirst != nullptr; }
  [[nodiscard]] std::ptrdiff_t Stride() const { return fStride; }
  /// Where the values of a record begin, for several each.
  [[nodiscard]] char* At(std::size_t record) const {
    return fFirst + static_cast<std::ptrdiff_t>(record) * fStride;
  }
  void Put(std::size_t record, T value) const {
    if (IsWanted()) std::memcpy(At(record), &value, sizeof value);
  }

 private:
  char* fFirst;
  std::ptrdiff_t fStride;
};

/// The standard errors of the means that a linear model predicts. Borrows what it is made of; it
/// does not change.
class MeanErrors {
 public:
  /// By the host's covariance matrix, or the model's own where that is null. Throws the refusal of
  /// one of another size.
  MeanErrors(QvCRun& run, const QvGLMOutputStats& stats, const qvreg_scores& scores)
      : fStats(stats), fTriangle(scores.covariance), fbOwn(scores.covariance == nullptr) {
    const std::size_t n = stats.GetParameters().size();
    if (fbOwn) {
      fTriangle = stats.GetScaledCovarianceMatrix()->GetTriangle().data();
      fFactor = ResidualStdError(run.Component().GetCompSettings());
    } else if (scores.covariance_size != n * (n + 1) / 2) {
      throw QvCRefusal(QVREG_BAD_ARGUMENT,
                       "The covariance has " + std::to_string(scores.covariance_size) +
                           " elements, and the lower triangle of " + std::to_string(n) +
                           " parameters has " + std::to_string(n * (n + 1) / 2) +
                           "; pass that, redundant parameters included.");
    }
  }

  /// Of a design row as QvCScorer::Expand has it; the missing value where it does not exist. May
  /// change the values.
  double Of(const std::vector<int>& places, std::vector<double>& values) const {
    if (fFactor == QvMV::gMissingValue) return QvMV::gMissingValue;
    const QvCommon::QvBitSet& kept = fStats.GetRedundancyIndicators();
    for (std::size_t i = 0; i < places.size(); ++i) {
      if (!kept.IsIn(places[i])) {
        values[i] = 0.0;
      } else if (!fbOwn) {
        const int exponent = fStats.GetParameterExponents()[static_cast<std::size_t>(places[i])];
        if (exponent != 0) values[i] = std::ldexp(values[i], exponent);
      }
    }
    // Rounding may take a form of 0 below it.
    const double error = fFactor * std::sqrt(std::max(Form(places, values), 0.0));
    return std::isfinite(error) ? error : QvMV::gMissingValue;
  }

 private:
  /// x' C x for the row x. REQUIRES: ascending places.
  [[nodiscard]] double Form(const std::vector<int>& places,
                            const std::vector<double>& values) const {
    double sum = 0.0;
    for (std::size_t i = 0; i < places.size(); ++i) {
      if (values[i] == 0.0) continue;
      const auto place = static_cast<std::size_t>(places[i]);
      const double* row = fTriangle + place * (place + 1) / 2;
      double product = 0.5 * row[place] * values[i];
      for (std::size_t j = 0; j < i; ++j) product += row[places[j]] * values[j];
      sum += 2.0 * product * values[i];
    }
    return sum;
  }
  /// In units of the dependent; the missing value without degrees of freedom.
  [[nodiscard]] double ResidualStdError(const QvRegSettings& settings) const {
    const double rmse = fStats.GetScaledRootMeanSquareError();
    const double total = fStats.GetTotalFreqWeight();
    const double imposed = settings.GetDF();
    const double df = imposed > 0.0 ? imposed : total - fStats.GetRedundancyIndicators().Count();
    if (rmse == QvMV::gMissingValue || !(df > 0.0)) return QvMV::gMissingValue;
    return std::ldexp(rmse * std::sqrt(total / df), fStats.GetDependentExponent());
  }

  const QvGLMOutputStats& fStats;
  const double* fTriangle;
  bool fbOwn;
  double fFactor = 1.0;
};

/// Where scores go, as the host wants them.
class Outputs {
 public:
  /// Throws the refusal of what a model of so many probabilities does not have.
  Outputs(const qvreg_scores& to, std::size_t nProbabilities)
      : fNProbabilities(nProbabilities),
        fMissing(to.is_missing_nan != 0 ? std::numeric_limits<double>::quiet_NaN()
                                        : QvMV::gMissingValue),
        fPredicted(to.predicted, to.predicted_stride),
        fErrors(to.standard_errors, to.standard_error_stride),
        fProbabilities(to.probabilities, to.probability_stride, nProbabilities * sizeof(double)),
        fCategoryStride(Output<double>(nullptr, to.category_stride).Stride()),
        fCategories(to.categories, to.category_code_stride),
        fVerdicts(to.verdicts, to.verdict_stride) {
    const bool isLinear = nProbabilities == 0;
    if (isLinear && (fProbabilities.IsWanted() || fCategories.IsWanted())) {
      throw QvCRefusal(QVREG_WRONG_MODEL,
                       "A linear model has no probabilities and categories; pass null for both.");
    }
    if (!isLinear && fErrors.IsWanted()) {
      throw QvCRefusal(QVREG_WRONG_MODEL,
                       "A logistic model has no standard errors of predicted means; pass null.");
    }
  }

  [[nodiscard]] bool AreErrorsWanted() const { return fErrors.IsWanted(); }
  void PutError(std::size_t record, double error) const { fErrors.Put(record, Shown(error)); }
  void Put(std::size_t record, std::int32_t verdict, double predicted,
           const std::vector<double>& probabilities) const {
    const bool isValid = verdict == QVREG_VERDICT_VALID;
    fPredicted.Put(record, Shown(predicted));
    fCategories.Put(record,
                    isValid && fNProbabilities > 0 ? static_cast<std::int32_t>(predicted) : -1);
    fVerdicts.Put(record, verdict);
    if (!fProbabilities.IsWanted()) return;
    char* place = fProbabilities.At(record);
    for (std::size_t k = 0; k < fNProbabilities; ++k, place += fCategoryStride) {
      const double value = isValid ? probabilities[k] : fMissing;
      std::memcpy(place, &value, sizeof value);
    }
  }

 private:
  [[nodiscard]] double Shown(double value) const {
    return value == QvMV::gMissingValue ? fMissing : value;
  }

  std::size_t fNProbabilities;
  double fMissing;
  Output<double> fPredicted;
  Output<double> fErrors;
  Output<double> fProbabilities;
  std::ptrdiff_t fCategoryStride;
  Output<std::int32_t> fCategories;
  Output<std::int32_t> fVerdicts;
};

/// Scores columns on one thread. Borrows all that it is made of.
class Worker {
 public:
  Worker(std::unique_ptr<QvCScorer> scorer, const QvCColumns& columns, const Outputs& to,
         const MeanErrors* errors)
      : fScorer(std::move(scorer)),
        fReader(columns),
        fSize(columns.Size()),
        fTo(to),
        fErrors(errors) {}

  /// The records from `begin` to before `end`. Throws the refusal of the first that ends the call.
  void Score(std::size_t begin, std::size_t end) {
    fReader.Start(begin, end);
    for (std::size_t i = begin; i < end; ++i) {
      std::copy_n(fReader.Next(), fSize, fScorer->Record());
      try {
        ScoreRecord(i);
      } catch (const QvCRefusal& refusal) {
        throw QvCAtRecord(refusal, i + 1);
      }
    }
  }

 private:
  void ScoreRecord(std::size_t record) {
    double predicted = QvMV::gMissingValue;
    const std::int32_t verdict = fScorer->Score(predicted);
    if (fErrors != nullptr) {
      const bool hasRow = verdict == QVREG_VERDICT_VALID && fScorer->Expand(fPlaces, fValues);
      fTo.PutError(record, hasRow ? fErrors->Of(fPlaces, fValues) : QvMV::gMissingValue);
    }
    fTo.Put(record, verdict, predicted, fScorer->Probabilities());
  }

  std::unique_ptr<QvCScorer> fScorer;
  QvCRowReader fReader;
  std::size_t fSize;
  const Outputs& fTo;
  const MeanErrors* fErrors;  ///< Null when not wanted.
  std::vector<int> fPlaces;
  std::vector<double> fValues;
};

/// Scores all records of columns; `nScored`, which may be null, receives how
/// many precede the one that ended the call.
void ScoreColumns(QvCRun& run, const QvCColumns& columns, std::size_t nRecords, int threads,
                  const qvreg_scores& scores, std::size_t* nScored) {
  constexpr std::size_t kTogether = 1024;
  const std::size_t blocks = nRecords / kTogether + (nRecords % kTogether > 0 ? 1 : 0);
  auto first = std::make_unique<QvCScorer>(run, columns.Size());
  const Outputs to(scores, first->NProbabilities());
  std::unique_ptr<const MeanErrors> errors;
  if (to.AreErrorsWanted()) {
    const auto& stats = dynamic_cast<const QvGLMOutputStats&>(run.Results());
    errors = std::make_unique<const MeanErrors>(run, stats, scores);
  }
  std::vector<Worker> workers;
  // The component itself on the calling thread, so that a cancel stops the call.
  workers.emplace_back(std::move(first), columns, to, errors.get());
  const auto wanted = std::min(static_cast<std::size_t>(threads), blocks);
  const std::vector<unsigned char> scoring =
      wanted > 1 ? run.Scoring() : std::vector<unsigned char>();
  while (workers.size() < wanted) {
    workers.emplace_back(std::make_unique<QvCScorer>(run, columns.Size(), scoring), columns, to,
                         errors.get());
  }
  try {
    const auto count = static_cast<long long>(blocks);
    QvForEach(static_cast<int>(workers.size()), count, [&](int worker, long long block) {
      const std::size_t begin = static_cast<std::size_t>(block) * kTogether;
      workers[static_cast<std::size_t>(worker)].Score(begin, std::min(begin + kTogether, nRecords));
    });
  } catch (const QvCRefusal& refusal) {
    if (nScored != nullptr) {
      *nScored = static_cast<std::size_t>(refusal.Report().Discrete(0) - 1);
    }
    throw;
  }
  if (nScored != nullptr) *nScored = nRecords;
}

}  // namespace

int32_t qvreg_component_score_columns(const qvreg_component* component,
                                      const qvreg_typed_column* columns, size_t n_columns,
                                      size_t n_records, int32_t threads, const qvreg_scores* scores,
                                      size_t* n_scored, qvreg_error* error) {
  return QvCCall(error, [&] {
    const std::shared_ptr<QvCRun> run = Valid(component).fRun;
    const qvreg_scores to = QvCStruct::Take(scores, "scores");
    if (n_scored != nullptr) *n_scored = 0;
    const int threadCount = QvThreadCount(NotNegative(threads, "threads"));
    const QvCInUse use = run->Use();
    const QvCColumns wanted = run->DesignColumns(columns, n_columns, n_records);
    ScoreColumns(*run, wanted, n_records, threadCount, to, n_scored);
  });
}
