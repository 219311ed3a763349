// Cross-products of dense rows, one by one and in panels.

#include "qvreg/design/QvCrossProducts.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
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

TEST(QvCrossProducts, TellHowMuchTheyHold) {
  // Of a hundred columns 5050 sums of two doubles, and a panel.
  EXPECT_EQ(QvCrossProducts(100).GetSize(),
            5050 * 2 * sizeof(double) + QvCommon::QvProductPanel::GetSize(100));
}

TEST(QvCrossProducts, WhatIsUnusualOrNotFiniteInAPartIsSoInAll) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  const Doubles usual{1.0, 2.0, 3.0, 4.0, 5.0};
  const auto add = [&usual](QvCrossProducts& products, double w, double y) {
    products.AddDense(w, y, [&](double* row) { std::copy(usual.begin(), usual.end(), row); });
  };
  for (const bool isFirst : {true, false}) {
    QvCrossProducts all(static_cast<int>(kColumns));
    QvCrossProducts odd(static_cast<int>(kColumns));
    QvCrossProducts even(static_cast<int>(kColumns));
    add(odd, kInfinity, kInfinity);
    AddDense(odd, {1.0, 2.0, 0x1p+301, 4.0, 5.0}, 1.0);
    add(even, 1.0, 1.0);
    ASSERT_TRUE(all.Merge(isFirst ? odd : even));
    ASSERT_TRUE(all.Merge(isFirst ? even : odd));
    EXPECT_FALSE(all.AreRowsUsual());
    EXPECT_FALSE(all.AreWeightsFinite());
    EXPECT_FALSE(all.IsDependentFinite());
    EXPECT_EQ(all.GetRecordsAdded(), 3);
    EXPECT_TRUE(even.AreRowsUsual());
    EXPECT_TRUE(even.AreWeightsFinite());
    EXPECT_TRUE(even.IsDependentFinite());
  }
}

TEST(QvCrossProducts, OfAnotherShapeAreNotMerged) {
  QvCrossProducts products(static_cast<int>(kColumns));
  AddAll(MakeRows(3, 20), 1.0, products);
  QvCrossProducts more(static_cast<int>(kColumns) + 1);
  EXPECT_FALSE(products.Merge(more));
  EXPECT_EQ(products.GetRecordsAdded(), 3);
}

TEST(QvCrossProducts, WhatAModelKeepsOfThemComesBack) {
  QvLinearContents contents;
  contents.fRecordsAdded = 12;
  contents.fCovariance = {1, 2, 3, 4, 5, 6};
  for (bool QvLinearContents::*flag :
       {&QvLinearContents::fbProductsRounded, &QvLinearContents::fbProductsUsual,
        &QvLinearContents::fbWeightsFinite, &QvLinearContents::fbDependentsFinite}) {
    for (const bool value : {true, false}) {
      QvLinearContents given = contents;
      given.*flag = value;
      QvCrossProducts products(0);
      QvLinearContents moved = given;
      ASSERT_TRUE(products.TakeContents(3, moved));
      QvLinearContents taken;
      products.FillContents(taken);
      EXPECT_EQ(taken.fRecordsAdded, 12);
      EXPECT_EQ(taken.fCovariance, contents.fCovariance);
      EXPECT_EQ(taken.fbProductsRounded, given.fbProductsRounded);
      EXPECT_EQ(taken.fbProductsUsual, given.fbProductsUsual);
      EXPECT_EQ(taken.fbWeightsFinite, given.fbWeightsFinite);
      EXPECT_EQ(taken.fbDependentsFinite, given.fbDependentsFinite);
    }
  }
}

TEST(QvCrossProducts, OfAnotherOrderOrOfFewerThanNoRecordsAreRefused) {
  QvLinearContents contents;
  contents.fCovariance = {1, 2, 3};
  QvLinearContents moved = contents;
  EXPECT_TRUE(QvCrossProducts(0).TakeContents(2, moved));
  moved = contents;
  EXPECT_FALSE(QvCrossProducts(0).TakeContents(3, moved));
  moved = contents;
  moved.fRecordsAdded = -1;
  EXPECT_FALSE(QvCrossProducts(0).TakeContents(2, moved));
}

}  // namespace
