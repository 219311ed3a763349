// A host with a data source of its own: `origin ~ displacement + horsepower` of the cars, fetched
// from a table by a cursor that runs its query again for every pass, with the iterations shown and
// a limit on the time.
//
//   fit_from_cursor data/cars.csv [seconds]

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "qvreg/qvreg.h"

namespace {

/// Stands for a database's cursor: some columns of a table, row by row, as text. An empty text is
/// NULL. This one reads a CSV file without quoted fields.
class Cursor {
 public:
  Cursor(const std::string& path, const std::vector<std::string>& columns) : file_(path) {
    const std::vector<std::string> heading = ReadFields();
    for (const std::string& column : columns) {
      const auto found = std::find(heading.begin(), heading.end(), column);
      isSound_ = isSound_ && found != heading.end();
      places_.push_back(static_cast<std::size_t>(std::distance(heading.begin(), found)));
    }
  }

  /// Moves to the next row; false at the end and after a failure.
  bool Fetch() {
    if (!isSound_) return false;
    row_ = ReadFields();
    if (row_.empty()) return false;
    for (const std::size_t place : places_) isSound_ = isSound_ && place < row_.size();
    return isSound_;
  }
  [[nodiscard]] const std::string& Text(std::size_t column) const { return row_[places_[column]]; }
  [[nodiscard]] bool HasFailed() const { return !isSound_; }

 private:
  std::vector<std::string> ReadFields() {
    std::vector<std::string> fields;
    std::string line;
    if (!std::getline(file_, line)) return fields;
    std::istringstream rest(line);
    for (std::string field; std::getline(rest, field, ',');) fields.push_back(field);
    return fields;
  }

  std::ifstream file_;
  std::vector<std::size_t> places_;
  std::vector<std::string> row_;
  bool isSound_ = true;
};

const std::vector<std::string> kColumns{"origin", "displacement", "horsepower"};
enum Variable { kOrigin, kDisplacement, kHorsepower, kNVariables };  // positions in a record

/// The categories of the dependent, in the order of their codes: a query of its own.
std::vector<std::string> DistinctOrigins(const std::string& path) {
  std::vector<std::string> origins;
  for (Cursor cursor(path, {"origin"}); cursor.Fetch();) {
    if (!cursor.Text(0).empty()) origins.push_back(cursor.Text(0));
  }
  std::sort(origins.begin(), origins.end());
  origins.erase(std::unique(origins.begin(), origins.end()), origins.end());
  return origins;
}

/// Turns the cursor's rows into records: text into codes, NULL into what the library takes for
/// missing. It stands on the next record, so that HasMore knows whether there is one.
class CursorIter : public QvCommon::MultiPassRecordIter {
 public:
  CursorIter(std::string path, const std::vector<std::string>& origins)
      : path_(std::move(path)), origins_(origins), current_(kNVariables), ahead_(kNVariables) {
    NewPass();
  }

  bool HasMore() const override { return reason_ == QvCommon::kIterOk; }
  const QvCommon::Record* Next() override {
    if (!HasMore()) return nullptr;
    std::swap(current_, ahead_);
    FetchAhead();
    return &current_;
  }
  int GetFailReason() const override { return reason_; }
  int NewPass() override {
    cursor_ = std::make_unique<Cursor>(path_, kColumns);
    FetchAhead();
    return reason_;
  }

 private:
  void FetchAhead() {
    reason_ = QvCommon::kIterOk;
    if (!cursor_->Fetch()) {
      reason_ = cursor_->HasFailed() ? QvCommon::kIterReadError : QvCommon::kIterEndOfData;
      return;
    }
    const auto code = std::find(origins_.begin(), origins_.end(), cursor_->Text(kOrigin));
    ahead_[kOrigin] =
        code == origins_.end() ? -1.0 : static_cast<double>(std::distance(origins_.begin(), code));
    for (const Variable variable : {kDisplacement, kHorsepower}) {
      const std::string& text = cursor_->Text(static_cast<std::size_t>(variable));
      ahead_[variable] = text.empty() ? QvMV::gMissingValue : std::strtod(text.c_str(), nullptr);
    }
  }

  std::string path_;
  const std::vector<std::string>& origins_;
  std::unique_ptr<Cursor> cursor_;
  QvCommon::Record current_;
  QvCommon::Record ahead_;
  int reason_ = QvCommon::kIterOk;
};

/// Called after every iteration, on this thread.
class Listener : public ProgressListener {
 public:
  void ReportProgress(ProgressReport* report) override {
    std::printf("iteration %d  log-likelihood %.6f\n", report->DiscreteMeasure("iterNum"),
                report->ScaleMeasure("loglik"));
  }
};

/// Says stop once the time is over. It is asked for every record, so it looks at the clock rarely.
class TimeLimit : public QvQueryCancel {
 public:
  explicit TimeLimit(double seconds)
      : end_(std::chrono::steady_clock::now() +
             std::chrono::duration_cast<std::chrono::steady_clock::duration>(
                 std::chrono::duration<double>(seconds))) {}
  bool QueryCancel() override { return std::chrono::steady_clock::now() >= end_; }
  bool QueryWillCancel() override { return asked_++ % 256 == 0 && QueryCancel(); }

 private:
  std::chrono::steady_clock::time_point end_;
  unsigned asked_ = 0;
};

int Fail(const char* what, const QvCommon::QvStatus& status) {
  if (status.GetCode() == QvStatusCode::kCancelled) {
    std::fprintf(stderr, "stopped: the time is over\n");
  } else {
    std::fprintf(stderr, "%s: status %ld\n", what, status.GetCode());
  }
  return 1;
}

void Print(const QvLogOutputStats& stats, const std::vector<std::string>& origins) {
  const char* const names[] = {"intercept", "displacement", "horsepower"};
  for (std::size_t i = 0; i < stats.GetParameters().size(); ++i) {
    const int category = stats.GetParameters()[i].GetTargetCategory();
    std::printf("%-6s  %-12s  %9.5f\n", origins[static_cast<std::size_t>(category)].c_str(),
                names[i % 3], stats.GetParamEstimates()[i]);
  }
  std::printf("McFadden's R square  %.4f\n", stats.GetModelFitStat(QvConst::QvFitMcFaddenRSquare));
  std::printf("records used  %lld of %lld\n", stats.GetRecordCounts().fUsed,
              stats.GetRecordCounts().fRead);
}

}  // namespace

int main(int count, char** arguments) {
  if (count < 2 || count > 3) {
    std::fprintf(stderr, "usage: fit_from_cursor TABLE.csv [SECONDS]\n");
    return 2;
  }
  const std::vector<std::string> origins = DistinctOrigins(arguments[1]);
  if (origins.size() < 2) {
    std::fprintf(stderr, "%s: no column 'origin' with two values or more\n", arguments[1]);
    return 2;
  }
  CursorIter records(arguments[1], origins);
  Listener listener;
  TimeLimit limit(count == 3 ? std::strtod(arguments[2], nullptr) : 60.0);

  // What is refused is not part of the model: every answer counts.
  QvLogRegSettings settings;
  const auto nOrigins = static_cast<int>(origins.size());
  bool isTaken = settings.SetDependent(kOrigin) &&
                 settings.SetDependentRefCat(QvLogRegSettings::kLastObserved, nOrigins);
  settings.SetProgressListener(&listener);
  settings.SetCancelPointer(&limit);
  const std::vector<int> variables{kDisplacement, kHorsepower};  // no factors, two covariates
  for (const int variable : variables) {
    QvModelEffect effect(0, 2, &variables);
    isTaken = isTaken && settings.AddCovariate(variable) > 0 && effect.AddCovariate(variable) > 0 &&
              settings.AddModelEffect(effect);
  }
  if (!isTaken) {
    std::fprintf(stderr, "a part of the model was refused\n");
    return 1;
  }

  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> model(factory.CreateRegAlgorithm(settings));
  if (!model) return Fail("the settings were refused", factory.GetStatus());
  // A row that could not be read ended the data early. It must be asked for after each call, since
  // a new pass forgets it.
  std::vector<QvRegrParameter> parameters;
  const QvCommon::QvStatus created = model->CreateParameters(records, parameters);
  bool isWhole = records.GetFailReason() != QvCommon::kIterReadError;
  const QvCommon::QvStatus built = created.IsError() ? created : model->BuildModel(records);
  isWhole = isWhole && records.GetFailReason() != QvCommon::kIterReadError;
  if (!isWhole) {
    std::fprintf(stderr, "%s: a row could not be read\n", arguments[1]);
    return 1;
  }
  if (built.IsError()) return Fail("the model could not be built", built);

  IQvRegOutputStats* stats = nullptr;  // the component keeps it
  const QvCommon::QvStatus given = model->GetOutputStats(stats);
  if (given.IsError()) return Fail("there are no results", given);
  const auto& results = dynamic_cast<const QvLogOutputStats&>(*stats);
  if (results.GetRecordCounts().fUsedLater >= 0) {
    std::fprintf(stderr, "%s: the rows changed between two passes\n", arguments[1]);
    return 1;
  }
  Print(results, origins);
}
