// Cross-products of dense rows, one by one and in panels.

#include "qvreg/design/QvCrossProducts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvBytes.h"

namespace {

using QvCommon::QvSymMatrix;
using Doubles = std::vector<double>;

constexpr std::size_t kColumns = 5;
/// So many rows are added one by one.
constexpr std::size_t kExactRows = 1024;

/// Rows of whole numbers of so many bits.
std::vector<Doubles> MakeRows(std::size_t n, int bits) {
  std::mt19937_64 random(n);
  std::vector<Doubles> rows(n, Doubles(kColumns));
  for (Doubles& row : rows) {
    for (double& value : row) {
      value = static_cast<double>(static_cast<std::int64_t>(random() >> (64 - bits)));
    }
  }
  return rows;
}

void AddDense(QvCrossProducts& products, const Doubles& row, double w) {
  products.AddDense(w, 0.0, [&](double* values) { std::copy(row.begin(), row.end(), values); });
}

void AddAll(const std::vector<Doubles>& rows, double w, QvCrossProducts& products) {
  for (const Doubles& row : rows) AddDense(products, row, w);
}

/// The rounded sums.
QvSymMatrix Ended(const QvCrossProducts& products) {
  QvSymMatrix matrix = products.GetMatrix();
  matrix.EndCompensation();
  return matrix;
}

void ExpectSame(const QvSymMatrix& actual, const QvSymMatrix& expected) {
  ASSERT_EQ(actual.GetOrder(), expected.GetOrder());
  for (int i = 0; i < actual.GetOrder(); ++i) {
    for (int j = 0; j <= i; ++j) {
      EXPECT_EQ(actual.GetElem(i, j), expected.GetElem(i, j)) << i << ", " << j;
    }
  }
}

TEST(QvCrossProducts, ManyWholeRowsGiveExactSums) {
  const std::vector<Doubles> rows = MakeRows(3 * kExactRows + 17, 20);
  QvCrossProducts products(static_cast<int>(kColumns));
  AddAll(rows, 0.25, products);
  QvSymMatrix expected(static_cast<int>(kColumns));
  for (const Doubles& row : rows) ASSERT_TRUE(expected.UpdateXX(row, 0.25));
  ExpectSame(Ended(products), expected);
  EXPECT_EQ(products.GetRounding(), 0.0);
  EXPECT_EQ(products.GetRecordsAdded(), static_cast<long long>(rows.size()));
}

TEST(QvCrossProducts, FewRowsAreNotRounded) {
  QvCrossProducts products(static_cast<int>(kColumns));
  AddAll(MakeRows(kExactRows, 50), 0.1, products);
  EXPECT_EQ(products.GetRounding(), 0.0);
  AddAll(MakeRows(1, 50), 0.1, products);
  EXPECT_EQ(products.GetRounding(), QvCommon::QvProductPanel::kRounding);
}

TEST(QvCrossProducts, AMergeAndTheBytesHoldWhatWaits) {
  const std::vector<Doubles> rows = MakeRows(kExactRows + 70, 21);
  QvCrossProducts all(static_cast<int>(kColumns));
  AddAll(rows, 1.0, all);
  AddAll(rows, 1.0, all);

  QvCrossProducts one(static_cast<int>(kColumns));
  QvCrossProducts other(static_cast<int>(kColumns));
  AddAll(rows, 1.0, one);
  AddAll(rows, 1.0, other);
  QvCommon::QvByteWriter writer;
  other.Write(writer);
  const QvCommon::QvBytes bytes = writer.TakeMessage(QvCommon::QvMessageType::kAnswer);
  QvCommon::QvByteReader reader(bytes, QvCommon::QvMessageType::kAnswer);
  QvCrossProducts read(static_cast<int>(kColumns));
  read.Read(reader);
  EXPECT_TRUE(reader.IsAtEnd());
  ASSERT_TRUE(one.Merge(read));
  ExpectSame(Ended(one), Ended(all));
  EXPECT_EQ(one.GetRecordsAdded(), all.GetRecordsAdded());
}

TEST(QvCrossProducts, WhatWasRoundedStaysKnown) {
  QvCrossProducts rounded(static_cast<int>(kColumns));
  AddAll(MakeRows(kExactRows + 1, 50), 1.0, rounded);
  QvCrossProducts exact(static_cast<int>(kColumns));
  ASSERT_TRUE(exact.Merge(rounded));
  EXPECT_GT(exact.GetRounding(), 0.0);
}

TEST(QvCrossProducts, ARowThatIsUnusualIsSeenAmongTheFirstAndInAPanel) {
  for (const std::size_t before : {std::size_t{0}, kExactRows + 3}) {
    QvCrossProducts products(static_cast<int>(kColumns));
    AddAll(MakeRows(before, 20), 1.0, products);
    EXPECT_TRUE(products.AreRowsUsual()) << before;
    const Doubles row{1.0, 2.0, 0x1p+301, 4.0, 5.0};
    AddDense(products, row, 1.0);
    EXPECT_FALSE(products.AreRowsUsual()) << before;
    EXPECT_TRUE(std::isfinite(Ended(products).GetElem(4, 4)));
  }
}

}  // namespace
