// Fits `growth ~ soil + sun` to records that the program holds in memory, and prints the estimates.
//
// A host needs two things: an iterator over its own data, which the library reads as often as it
// needs, and settings that say which position of a record plays which role.

#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
#include <vector>

#include "qvreg/qvreg.h"

namespace {

enum Variable { kGrowth, kSoil, kSun, kNVariables };  // positions in a record
using Row = std::array<double, kNVariables>;

/// Hands out the rows of a vector, which it borrows, one record at a time.
class VectorIter : public QvCommon::MultiPassRecordIter {
 public:
  explicit VectorIter(const std::vector<Row>& rows) : rows_(rows), record_(kNVariables) {}

  bool HasMore() const override { return next_ < rows_.size(); }
  const QvCommon::Record* Next() override {
    if (!HasMore()) return nullptr;
    for (int i = 0; i < kNVariables; ++i) record_[i] = rows_[next_][static_cast<std::size_t>(i)];
    ++next_;
    return &record_;
  }
  int GetFailReason() const override {
    return HasMore() ? QvCommon::kIterOk : QvCommon::kIterEndOfData;
  }
  int NewPass() override {
    next_ = 0;
    return GetFailReason();
  }

 private:
  const std::vector<Row>& rows_;
  std::size_t next_ = 0;
  QvCommon::Record record_;
};

int Fail(const char* what, const QvCommon::QvStatus& status) {
  std::fprintf(stderr, "%s: status %ld\n", what, status.GetCode());
  return 1;
}

void Print(const IQvRegOutputStats& stats) {
  for (std::size_t i = 0; i < stats.GetParameters().size(); ++i) {
    const QvRegrParameter& parameter = stats.GetParameters()[i];
    if (parameter.IsIntercept()) std::printf("intercept ");
    if (parameter.GetNFactors() > 0) std::printf("soil=%d    ", parameter.GetCategories()[0]);
    if (parameter.GetNCovariates() > 0) std::printf("sun       ");
    const bool redundant = stats.GetParamStats()[i].fbRedundant;
    std::printf("%8.4f%s\n", stats.GetParamEstimates()[i], redundant ? "  (redundant)" : "");
  }
  std::printf("R square  %8.4f\n", stats.GetModelFitStat(QvConst::QvFitMultipleRSquare));
}

}  // namespace

int main() {
  // Growth in centimetres, soil 0 or 1, hours of sun.
  const std::vector<Row> rows{{12.1, 0, 3}, {15.9, 0, 5}, {19.2, 0, 6}, {22.0, 0, 8},
                              {10.4, 1, 4}, {13.1, 1, 5}, {16.8, 1, 7}, {20.5, 1, 9}};
  VectorIter records(rows);

  // What is refused is not part of the model: every answer counts.
  QvRegSettings settings;
  bool isTaken = settings.SetDependent(kGrowth) && settings.AddFactor(kSoil, 2) > 0 &&
                 settings.AddCovariate(kSun) > 0;

  const std::vector<int> variables{kSoil, kSun};  // the factors, then the covariates
  QvModelEffect soil(1, 1, &variables);
  isTaken = isTaken && soil.AddNewFactor(kSoil, false) && settings.AddModelEffect(soil);
  QvModelEffect sun(1, 1, &variables);
  isTaken = isTaken && sun.AddCovariate(kSun) > 0 && settings.AddModelEffect(sun);
  if (!isTaken) {
    std::fprintf(stderr, "a part of the model was refused\n");
    return 1;
  }

  QvRegFactory factory;
  const std::unique_ptr<IQvRegComponent> model(factory.CreateRegAlgorithm(settings));
  if (!model) return Fail("the settings were refused", factory.GetStatus());

  const QvCommon::QvStatus built = model->BuildModel(records);
  if (built.IsError()) return Fail("the model could not be built", built);

  IQvRegOutputStats* stats = nullptr;  // the component keeps it
  const QvCommon::QvStatus given = model->GetOutputStats(stats);
  if (given.IsError()) return Fail("there are no results", given);
  Print(*stats);
}
