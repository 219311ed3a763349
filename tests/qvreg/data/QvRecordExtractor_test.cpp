#include "qvreg/data/QvRecordExtractor.h"

#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"
#include "tests/qvreg/support/CapturedOutput.h"

namespace {

using Ints = std::vector<int>;

TEST(QvRecordExtractor, ByDefaultExtractsNothing) {
  const QvRecordExtractor extractor;
  EXPECT_EQ(extractor.GetExtractSize(), 0);
  EXPECT_TRUE(extractor.GetAllRecordIndices().empty());
  EXPECT_TRUE(extractor.GetFactorOffsets().empty());
  EXPECT_TRUE(extractor.GetCovariateOffsets().empty());
  EXPECT_EQ(extractor.GetFreqWeightOffset(), -1);
  EXPECT_EQ(extractor.GetRegrWeightOffset(), -1);
}

TEST(QvRecordExtractor, OrdersTheRowByRole) {
  const QvRecordExtractor extractor(8, {3, 1}, {6, 0, 2}, 5, 4);
  EXPECT_EQ(extractor.GetExtractSize(), 8);
  EXPECT_EQ(extractor.GetAllRecordIndices(), (Ints{8, 3, 1, 6, 0, 2, 5, 4}));
  EXPECT_EQ(extractor.GetDependentOffset(), 0);
  EXPECT_EQ(extractor.GetFactorOffsets(), (Ints{1, 2}));
  EXPECT_EQ(extractor.GetCovariateOffsets(), (Ints{3, 4, 5}));
  EXPECT_EQ(extractor.GetFreqWeightOffset(), 6);
  EXPECT_EQ(extractor.GetRegrWeightOffset(), 7);
}

TEST(QvRecordExtractor, WithoutFrequencyWeightTheRegressionWeightTakesItsPlace) {
  const QvRecordExtractor extractor(0, {1, 2}, {3}, -1, 7);
  EXPECT_EQ(extractor.GetExtractSize(), 5);
  EXPECT_EQ(extractor.GetFreqWeightOffset(), -1);
  EXPECT_EQ(extractor.GetRegrWeightOffset(), 4);
}

TEST(QvRecordExtractor, WithoutRegressionWeightTheRowEndsWithTheFrequencyWeight) {
  const QvRecordExtractor extractor(0, {}, {3}, 9, -1);
  EXPECT_EQ(extractor.GetExtractSize(), 3);
  EXPECT_EQ(extractor.GetFreqWeightOffset(), 2);
  EXPECT_EQ(extractor.GetRegrWeightOffset(), -1);
}

TEST(QvRecordExtractor, TheDependentAloneIsARow) {
  const QvRecordExtractor extractor(4, {}, {}, -1, -1);
  EXPECT_EQ(extractor.GetExtractSize(), 1);
  EXPECT_EQ(extractor.GetAllRecordIndices(), (Ints{4}));
}

TEST(QvRecordExtractor, SetRecordIndicesStartsAnew) {
  QvRecordExtractor extractor(8, {3, 1}, {6, 0, 2}, 5, 4);
  extractor.SetRecordIndices(0, {2}, {}, -1, -1);
  EXPECT_EQ(extractor.GetExtractSize(), 2);
  EXPECT_EQ(extractor.GetAllRecordIndices(), (Ints{0, 2}));
  EXPECT_EQ(extractor.GetFactorOffsets(), (Ints{1}));
  EXPECT_TRUE(extractor.GetCovariateOffsets().empty());
  EXPECT_EQ(extractor.GetFreqWeightOffset(), -1);
  EXPECT_EQ(extractor.GetRegrWeightOffset(), -1);
}

TEST(QvRecordExtractor, CopiesTheValuesAsTheyAre) {
  const QvRecordExtractor extractor(2, {0}, {3}, 1, -1);
  const std::vector<double> record = {7.5, -3.0, QvMV::gMissingValue, 1.25, 99.0};
  const std::vector<double> expected = {QvMV::gMissingValue, 7.5, 1.25, -3.0};

  std::vector<double> vectorForm(4);
  extractor.ExtractRecord(vectorForm, record.data());
  EXPECT_EQ(vectorForm, expected);

  std::vector<double> pointerForm(4);
  extractor.ExtractRecord(pointerForm.data(), record.data());
  EXPECT_EQ(pointerForm, expected);
}

TEST(QvRecordExtractor, WritesItsOwnPlacesOnly) {
  const QvRecordExtractor extractor(1, {}, {0}, -1, -1);
  const std::vector<double> record = {4, 5};
  std::vector<double> out = {0, 0, 42};
  extractor.ExtractRecord(out, record.data());
  EXPECT_EQ(out, (std::vector<double>{5, 4, 42}));
}

TEST(QvRecordExtractor, DisplayPrintsEveryField) {
  const QvRecordExtractor extractor(8, {3, 1}, {6}, -1, 4);
  EXPECT_EQ(qvtest::OutputOf([&] { extractor.Display(); }),
            "QvRecordExtractor display start\n"
            "fExtractSize: 5\n"
            "fExtract: 8 3 1 6 4\n"
            "fDependentOffset: 0\n"
            "fFactorOffsets: 1 2\n"
            "fCovariateOffsets: 3\n"
            "fFreqWeightOffset: -1\n"
            "fRegrWeightOffset: 4\n"
            "QvRecordExtractor display end\n");
}

TEST(QvRecordExtractor, AFrequencyWeightMayBeTheFirstVariableOfARecord) {
  const QvRecordExtractor extractor(1, {}, {2}, 0, -1);
  EXPECT_EQ(extractor.GetAllRecordIndices(), (Ints{1, 2, 0}));
  EXPECT_EQ(extractor.GetFreqWeightOffset(), 2);
}

TEST(QvRecordExtractor, ARegressionWeightMayBeTheFirstVariableOfARecord) {
  const QvRecordExtractor extractor(1, {}, {2}, -1, 0);
  EXPECT_EQ(extractor.GetAllRecordIndices(), (Ints{1, 2, 0}));
  EXPECT_EQ(extractor.GetRegrWeightOffset(), 2);
}

}  // namespace
