#include <memory>

#include <gtest/gtest.h>

#include "qvreg/qvreg.h"
#include "tests/qvreg/c/CHost.h"
#include "tests/qvreg/c/CPasses.h"
#include "tests/qvreg/c/ExpectSameResults.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/ReferenceCase.h"
#include "tests/qvreg/support/ReferenceRun.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace qvtest {
namespace {

/// Expects the scores of all records to be those of the C++ component, record by record and all at
/// once.
void ExpectSameScores(const CFit& fit, IQvRegComponent& expected, const IQvRegOutputStats& stats,
                      const std::vector<QvCommon::Record>& records) {
  std::size_t nCategories = 0;
  if (const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&stats)) {
    nCategories = logistic->GetDependCategories().size();
  }
  const bool isLinear = nCategories == 0;
  const auto width = static_cast<std::size_t>(records.at(0).Size());
  std::vector<double> rows;
  for (const QvCommon::Record& record : records) {
    rows.insert(rows.end(), record.GetAll(), record.GetAll() + width);
  }
  auto strided = Sized<qvreg_rows>();
  strided.values = rows.data();
  strided.n_records = records.size();
  strided.record_size = width;
  strided.record_stride = static_cast<std::ptrdiff_t>(width);
  strided.value_stride = 1;
  std::vector<double> predicted(records.size());
  std::vector<double> probabilities(records.size() * nCategories);
  std::vector<std::int32_t> verdicts(records.size());
  std::size_t nScored = 0;
  double* room = isLinear ? nullptr : probabilities.data();
  Require([&](qvreg_error* e) {
    return qvreg_component_score_rows(fit.component.get(), &strided, predicted.data(), room,
                                      probabilities.size(), verdicts.data(), &nScored, e);
  });
  EXPECT_EQ(nScored, records.size());
  for (std::size_t i = 0; i < records.size(); ++i) {
    QvCommon::QvStatus status;
    double value = QVREG_MISSING_VALUE;
    std::vector<double> all;
    const bool isValid = stats.GetRecordValidator().IsValid4Scoring(records[i], status);
    EXPECT_EQ(isValid, verdicts[i] != QVREG_VERDICT_MISSING);
    if (isValid) {
      ASSERT_TRUE(expected.Score(records[i], value, all).IsOK());
    }
    const bool isPredicted = value != QVREG_MISSING_VALUE && (isLinear || value >= 0.0);
    EXPECT_EQ(isPredicted, verdicts[i] == QVREG_VERDICT_VALID);
    if (!isPredicted) value = QVREG_MISSING_VALUE;
    EXPECT_EQ(predicted[i], value);

    double one = 0.0;
    std::vector<double> ones(nCategories);
    std::int32_t verdict = -1;
    Require([&](qvreg_error* e) {
      return qvreg_component_score(fit.component.get(), records[i].GetAll(), width, &one,
                                   isLinear ? nullptr : ones.data(), ones.size(), &verdict, e);
    });
    EXPECT_EQ(one, value);
    EXPECT_EQ(verdict, verdicts[i]);
    for (std::size_t k = 0; k < nCategories; ++k) {
      const double probability = isPredicted ? all[k] : QVREG_MISSING_VALUE;
      EXPECT_EQ(ones[k], probability);
      EXPECT_EQ(probabilities[i * nCategories + k], probability);
    }
  }
}

void ExpectSameRows(const CFit& fit, const IQvRegOutputStats& stats,
                    const std::vector<QvCommon::Record>& records) {
  for (const QvCommon::Record& record : records) {
    const auto width = static_cast<std::size_t>(record.Size());
    QvCommon::QvStatus status;
    std::vector<double> expected;
    const bool isExpanded = stats.GetRecordValidator().IsValid4Scoring(record, status) &&
                            stats.ExpandRow(record, expected);
    std::int32_t answer = -1;
    const auto row = ListOf<double>(
        [&](double* buffer, std::size_t capacity, std::size_t* count, qvreg_error* e) {
          return qvreg_results_expand_row(fit.results.get(), record.GetAll(), width, buffer,
                                          capacity, count, &answer, e);
        });
    EXPECT_EQ(answer != 0, isExpanded);
    if (isExpanded) {
      EXPECT_EQ(row, expected);
    }
    const auto* logistic = dynamic_cast<const QvLogOutputStats*>(&stats);
    if (logistic == nullptr) continue;
    std::vector<int> places;
    std::vector<double> numbers;
    const bool isSparse = logistic->ExpandRow(record, places, numbers);
    std::vector<std::int32_t> indices(stats.GetParameters().size());
    std::vector<double> values(indices.size());
    std::size_t count = 0;
    Require([&](qvreg_error* e) {
      return qvreg_logistic_expand_sparse(fit.results.get(), record.GetAll(), width, indices.data(),
                                          values.data(), indices.size(), &count, &answer, e);
    });
    EXPECT_EQ(answer != 0, isSparse);
    ASSERT_EQ(count, places.size());
    for (std::size_t k = 0; k < count; ++k) {
      EXPECT_EQ(indices[k], places[k]);
      EXPECT_EQ(values[k], numbers[k]);
    }
  }
}

/// Expects results, scores and rows to be those of the C++ component, also once the model was
/// written and restored.
void ExpectSame(const CFit& fit, IQvRegComponent& expected, const IQvRegOutputStats& stats,
                const std::vector<QvCommon::Record>& records) {
  const CFit restored = Restored(ModelOf(fit.component));
  for (const CFit* each : {&fit, &restored}) {
    ExpectSameResults(each->results, stats);
    ExpectSameScores(*each, expected, stats, records);
    ExpectSameRows(*each, stats, records);
  }
}

class LinearAgreement : public testing::TestWithParam<std::string> {};

TEST_P(LinearAgreement, IsToTheLastBit) {
  const ReferenceCase reference = LoadReferenceCase(GetParam());
  for (const bool refine : {false, true}) {
    const std::unique_ptr<LinearSettings> settings = LinearSettingsOf(reference);
    if (refine) settings->Refined();
    FittedModel expected(settings->Get(), reference.table.records);
    const CFit fit = CFitOf(settings->Get(), reference.table.records);
    ExpectSame(fit, expected.Component(), expected.Stats(), reference.table.records);
  }
}

std::string TestName(const testing::TestParamInfo<std::string>& info) {
  return NameInFolder(info.param);
}

INSTANTIATE_TEST_SUITE_P(Exact, LinearAgreement, testing::ValuesIn(ReferenceNames("linear")),
                         TestName);
INSTANTIATE_TEST_SUITE_P(R, LinearAgreement, testing::ValuesIn(ReferenceNames("r")), TestName);

class LogisticAgreement : public testing::TestWithParam<std::string> {};

TEST_P(LogisticAgreement, IsToTheLastBit) {
  const ReferenceCase reference = LoadReferenceCase(GetParam());
  for (const bool inMemory : {false, true}) {
    LogisticReferenceRun run(reference, inMemory);
    LogisticFit& expected = run.Fit();
    const std::vector<QvCommon::Record>& records = reference.table.records;
    const CFit fit = CFitOf(expected.Component().GetCompSettings(), records);
    ExpectSame(fit, expected.Component(), expected.Stats(), records);
  }
}

INSTANTIATE_TEST_SUITE_P(CInterface, LogisticAgreement,
                         testing::ValuesIn(ReferenceNames("logistic/fits")), TestName);

TEST(CInterface, GivesTheSameFromEverySource) {
  const ReferenceCase reference = LoadReferenceCase("r/missing_weights");
  const std::vector<QvCommon::Record>& records = reference.table.records;
  const std::unique_ptr<LinearSettings> settings = LinearSettingsOf(reference);
  FittedModel expected(settings->Get(), records);
  const CSettings told = CSettingsOf(settings->Get());
  const CColumns columns(records);
  const CRecordFile file(records);
  ExpectSameResults(CFitOf(told, columns.Source()).results, expected.Stats());
  const CSource fileSource = file.Source(static_cast<std::size_t>(records.at(0).Size()));
  ExpectSameResults(CFitOf(told, fileSource).results, expected.Stats());
  // A source serves one run after the other.
  ExpectSameResults(CFitOf(told, fileSource).results, expected.Stats());
}

TEST(CInterface, TellsNumbersOfExtremeSize) {
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < 12; ++i) {
    rows.push_back(
        {(3.0 * i + i % 4) * 1e-170, (i + 1) * 1e200, 1e160 * (i % 5), i % 3 == 0 ? 1.0 : 0.0});
  }
  const std::vector<QvCommon::Record> records = MakeRecords(rows);
  LinearSettings linear(0, {}, {1, 2});
  linear.Effect({}, {1}).Effect({}, {2}).Effect({}, {1, 2});
  FittedModel expected(linear.Get(), records);
  const CFit fit = CFitOf(linear.Get(), records);
  ExpectSameResults(fit.results, expected.Stats());
  ExpectSameScores(fit, expected.Component(), expected.Stats(), records);
  ExpectSameRows(fit, expected.Stats(), records);
  const auto exponents = ListOf<std::int32_t>(
      [&](auto... rest) { return qvreg_scaled_get_exponents(fit.results.get(), rest...); });
  EXPECT_EQ(exponents, (std::vector<std::int32_t>{0, 667, 533, 1201}));

  LogisticSettings logistic(3, 2, {}, {1, 2});
  logistic.Effect({}, {1}).Effect({}, {2});
  LogisticFit expectedLogistic(logistic.Get(), records);
  const CFit logisticFit = CFitOf(logistic.Get(), records);
  ExpectSameResults(logisticFit.results, expectedLogistic.Stats());
  ExpectSameScores(logisticFit, expectedLogistic.Component(), expectedLogistic.Stats(), records);
}

}  // namespace
}  // namespace qvtest
