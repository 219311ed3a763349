// Components made by the library and deleted by the host, as seen from the host's side of the
// boundary between the two.

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/shared/HeapUse.h"
#include "tests/shared/SmallModel.h"

namespace {

using qvtest::SmallModel;

class SharedLifetime : public testing::TestWithParam<QvConst::QvRegModelType> {};

TEST_P(SharedLifetime, AComponentDeletedThroughItsVirtualDestructorLeavesNothing) {
  ASSERT_FALSE(qvtest::FitSmallModel(GetParam()).empty());
  EXPECT_EQ(qvtest::HeapGrowth([] { (void)qvtest::FitSmallModel(GetParam()); }), 0U);
}

TEST_P(SharedLifetime, AComponentOfTheHostsOwnStackIsDestroyedAsWell) {
  EXPECT_EQ(qvtest::HeapGrowth([] {
              SmallModel model(GetParam());
              qvtest::VectorRecordIter records(SmallModel::Records());
              if (GetParam() == QvConst::QvRegModelGLM) {
                QvGLMComponent component(model.Settings());
                EXPECT_TRUE(component.BuildModel(records).IsOK());
              } else {
                QvLogComponent component(dynamic_cast<QvLogRegSettings&>(model.Settings()));
                EXPECT_TRUE(component.BuildModel(records).IsOK());
              }
            }),
            0U);
}

TEST_P(SharedLifetime, VectorsThatTheLibraryFillsAreTheHostsToRelease) {
  EXPECT_EQ(qvtest::HeapGrowth([] {
              SmallModel model(GetParam());
              qvtest::VectorRecordIter records(SmallModel::Records());
              const auto component = model.MakeComponent();
              std::vector<QvRegrParameter> parameters;
              ASSERT_TRUE(component->CreateParameters(records, parameters).IsOK());
              ASSERT_TRUE(component->BuildModel(records).IsOK());
              double predicted = 0.0;
              std::vector<double> values;
              EXPECT_TRUE(component->Score(records.Records()[0], predicted, values).IsOK());
              EXPECT_FALSE(parameters.empty());
            }),
            0U);
}

std::string NameOf(const testing::TestParamInfo<QvConst::QvRegModelType>& info) {
  return info.param == QvConst::QvRegModelGLM ? "Linear" : "Logistic";
}

INSTANTIATE_TEST_SUITE_P(Models, SharedLifetime,
                         testing::Values(QvConst::QvRegModelGLM, QvConst::QvRegModelLogistic),
                         NameOf);

TEST(HeapUse, SeesABlockThatIsKept) {
  const std::size_t before = qvtest::HeapBytesInUse();
  if (before == 0) GTEST_SKIP() << "this run-time library does not tell";
  const auto kept = std::make_unique<std::vector<double>>(1000, 1.0);
  EXPECT_GE(qvtest::HeapBytesInUse() - before, 8000U);
}

TEST(HeapUse, SeesAComponentOfTheLibrarysThatIsKept) {
  if (qvtest::HeapBytesInUse() == 0) GTEST_SKIP() << "this run-time library does not tell";
  std::vector<std::unique_ptr<IQvRegComponent>> kept;
  kept.reserve(1000);
  EXPECT_GT(qvtest::HeapGrowth([&kept] {
              SmallModel model(QvConst::QvRegModelGLM);
              kept.push_back(model.MakeComponent());
            }),
            100U);
}

}  // namespace
