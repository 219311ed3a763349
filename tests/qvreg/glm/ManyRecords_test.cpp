#include <memory>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/component/IQvRegComponent.h"
#include "qvreg/component/IQvRegOutputStats.h"
#include "qvreg/data/MultiPassRecordIter.h"
#include "qvreg/factory/QvRegFactory.h"
#include "tests/qvreg/support/FittedModel.h"
#include "tests/qvreg/support/ModelSettings.h"
#include "tests/qvreg/support/VectorRecordIter.h"

namespace {

/// Makes records (y, a, b, weight) as it goes, a and b factors of 40 and 7 levels.
class GeneratedIter : public QvCommon::MultiPassRecordIter {
 public:
  explicit GeneratedIter(long nRecords) : nRecords_(nRecords) {}

  [[nodiscard]] bool HasMore() const override { return next_ < nRecords_; }
  const QvCommon::Record* Next() override {
    const long i = next_++;
    record_[0] = static_cast<double>((i * 7919) % 1000) / 16.0;
    record_[1] = static_cast<double>((i * 13 + i / 97) % 40);
    record_[2] = static_cast<double>((i / 11) % 7);
    record_[3] = 0.1;
    return &record_;
  }
  [[nodiscard]] int GetFailReason() const override { return QvCommon::kIterOk; }
  int NewPass() override {
    next_ = 0;
    return QvCommon::kIterOk;
  }

 private:
  long nRecords_;
  long next_ = 0;
  QvCommon::Record record_{4};
};

class ManyRecords : public testing::Test {
 protected:
  /// Fits y ~ a + b and expects both factors' last levels to be redundant, and nothing else.
  void ExpectTwoRedundant(qvtest::LinearSettings& settings, long nRecords) {
    settings.Effect({1}).Effect({2});
    GeneratedIter iter(nRecords);
    QvRegFactory factory;
    const std::unique_ptr<IQvRegComponent> component(factory.CreateRegAlgorithm(settings.Get()));
    ASSERT_NE(component, nullptr);
    ASSERT_TRUE(component->BuildModel(iter).IsOK());

    IQvRegOutputStats* stats = nullptr;
    ASSERT_TRUE(component->GetOutputStats(stats).IsOK());
    ASSERT_EQ(stats->GetParameters().size(), 48U);
    EXPECT_EQ(stats->GetRedundancyIndicators().Count(), 46);
    EXPECT_FALSE(stats->GetRedundancyIndicators().IsIn(40));
    EXPECT_FALSE(stats->GetRedundancyIndicators().IsIn(47));
  }

  qvtest::LinearSettings settings_{0, {{1, 40}, {2, 7}}, {}};
};

// The number of records is no power of two, so that its reciprocal rounds: summing reciprocals, a
// million and a half of them drift apart by more than the tolerance.
TEST_F(ManyRecords, DependentColumnsStayDependentOverMillionsOfRecords) {
  ExpectTwoRedundant(settings_, 1'500'007);
}

// 0.1 is no double either, and it rounds the same way record after record.
TEST_F(ManyRecords, DependentColumnsStayDependentWithAConstantRegressionWeight) {
  settings_.RegressionWeight(3);
  ExpectTwoRedundant(settings_, 100'003);
}

TEST_F(ManyRecords, DependentColumnsStayDependentWithAConstantFrequencyWeight) {
  settings_.FrequencyWeight(3);
  ExpectTwoRedundant(settings_, 100'003);
}

/// Rows y, a, b and their sum, which is exact: whole numbers of 40 bits and more.
std::vector<QvCommon::Record> MakeDependentColumns(int n) {
  std::mt19937_64 random(7);
  const auto whole = [&random] { return static_cast<double>(random() >> 24); };
  std::vector<std::vector<double>> rows;
  for (int i = 0; i < n; ++i) {
    const double a = whole();
    const double b = whole();
    rows.push_back({whole(), a, b, a + b, 0.1});
  }
  return qvtest::MakeRecords(rows);
}

// Rounding in a panel of rows is far above that of single rows.
TEST(ManyDenseRecords, ADependentColumnIsFoundWithoutTolerance) {
  for (const bool isWeighted : {false, true}) {
    qvtest::LinearSettings settings(0, {}, {1, 2, 3});
    settings.Effect({}, {1}).Effect({}, {2}).Effect({}, {3});
    if (isWeighted) settings.RegressionWeight(4);
    settings.Get().SetTolerance(0.0);
    const qvtest::FittedModel model(settings.Get(), MakeDependentColumns(5000));
    EXPECT_TRUE(model.Stats().GetRedundancyIndicators().IsIn(2));
    EXPECT_FALSE(model.Stats().GetRedundancyIndicators().IsIn(3));
    EXPECT_EQ(model.Stats().GetParamEstimates()[3], 0.0);
  }
}

}  // namespace
