#include "host/fit/Sandwich.h"

#include <cmath>

#include <gtest/gtest.h>

#include "host/Error.h"

namespace qvhost {
namespace {

/// A symmetric matrix of small whole numbers; products are exact.
QvCommon::QvSymMatrix Made(int order, int seed) {
  QvCommon::QvSymMatrix matrix(order);
  for (int i = 0; i < order; ++i) {
    for (int j = 0; j <= i; ++j) matrix.SetElem(i, j, (i * seed + j * 5 + i * j) % 7 - 3);
    matrix.SetElem(i, i, 1 + i % 4);
  }
  return matrix;
}

/// The element of the product, as it is written.
double Product(const QvCommon::QvSymMatrix& bread, const QvCommon::QvSymMatrix& filling, int i,
               int j) {
  double sum = 0.0;
  for (int k = 0; k < bread.GetOrder(); ++k) {
    for (int l = 0; l < bread.GetOrder(); ++l) {
      sum += bread.GetElem(i, k) * filling.GetElem(k, l) * bread.GetElem(l, j);
    }
  }
  return sum;
}

class SandwichTest : public ::testing::Test {
 protected:
  Interrupt interrupt_;
};

TEST_F(SandwichTest, IsTheProduct) {
  for (const int order : {1, 3, 17, 40}) {
    const QvCommon::QvSymMatrix bread = Made(order, 3);
    const QvCommon::QvSymMatrix filling = Made(order, 11);
    const QvCommon::QvSymMatrix found = Sandwich(bread, filling, 2, interrupt_);
    for (int i = 0; i < order; ++i) {
      for (int j = 0; j <= i; ++j) {
        EXPECT_EQ(found.GetElem(i, j), Product(bread, filling, i, j)) << i << " " << j;
      }
    }
  }
}

TEST_F(SandwichTest, IsSoBeyondATile) {
  constexpr int kOrder = 600;
  const QvCommon::QvSymMatrix bread = Made(kOrder, 3);
  const QvCommon::QvSymMatrix filling = Made(kOrder, 11);
  const QvCommon::QvSymMatrix found = Sandwich(bread, filling, 2, interrupt_);
  for (const int i : {0, 511, 512, 599}) {
    EXPECT_EQ(found.GetElem(i, 5), Product(bread, filling, i, 5));
  }
}

TEST_F(SandwichTest, LeavesOutRowsWithoutBread) {
  QvCommon::QvSymMatrix bread = Made(5, 3);
  for (int i = 0; i < 5; ++i) bread.SetElem(2, i, 0.0);
  QvCommon::QvSymMatrix filling = Made(5, 11);
  for (int i = 0; i < 5; ++i) filling.SetElem(2, i, std::nan(""));
  const QvCommon::QvSymMatrix found = Sandwich(bread, filling, 1, interrupt_);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(found.GetElem(2, i), 0.0);
  for (int i = 0; i < 5; ++i) filling.SetElem(2, i, 0.0);
  EXPECT_EQ(found.GetElem(4, 0), Product(bread, filling, 4, 0));
}

TEST_F(SandwichTest, StopsWhenInterrupted) {
  std::raise(SIGINT);
  EXPECT_THROW(static_cast<void>(Sandwich(Made(3, 1), Made(3, 2), 1, interrupt_)), Cancelled);
}

}  // namespace
}  // namespace qvhost
