#include "host/inference/DeltaMethod.h"

#include <array>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/QvSymMatrix.h"

namespace qvhost {
namespace {

using Numbers = std::vector<double>;
using Places = std::vector<std::size_t>;

TEST(DeltaMethod, TheErrorIsTheRootOfTheQuadraticForm) {
  QvCommon::QvSymMatrix matrix(3);
  matrix.SetElem(0, 0, 4.0);
  matrix.SetElem(1, 1, 7.0);
  matrix.SetElem(2, 2, 9.0);
  matrix.SetElem(2, 0, 1.0);
  const CoefficientCovariance covariance({.estimates = {0, 0, 0},
                                          .kept = {true, true, true},
                                          .exponents = {0, 0, 0},
                                          .matrix = &matrix});
  EXPECT_EQ(StdErrorOf(covariance, {{0, 2}, {1.0, -2.0}}), 6.0);
  EXPECT_EQ(StdErrorOf(covariance, {}), 0.0);
}

TEST(DeltaMethod, AProbabilityChangesWithEachPredictorButTheReference) {
  constexpr std::array kProbabilities = {0.25, 0.125, 0.625};
  std::array<double, 2> derivatives = {};
  DeriveProbability(kProbabilities, 0, derivatives);
  EXPECT_EQ(derivatives, (std::array{0.1875, -0.03125}));
  DeriveProbability(kProbabilities, 1, derivatives);
  EXPECT_EQ(derivatives, (std::array{-0.03125, 0.109375}));
  DeriveProbability(kProbabilities, 2, derivatives);
  EXPECT_EQ(derivatives, (std::array{-0.15625, -0.078125}));
}

TEST(DeltaMethod, AProbabilityNearOneKeepsTheDigitsOfTheOthers) {
  constexpr std::array kProbabilities = {1.0, 1e-30};
  std::array<double, 1> derivatives = {};
  DeriveProbability(kProbabilities, 0, derivatives);
  EXPECT_EQ(derivatives[0], 1e-30);
}

TEST(DeltaMethod, RowsAddUpToAGradientInTheOrderOfTheParameters) {
  GradientSum sum(6);
  const std::vector<int> first = {2, 0};
  const std::vector<int> second = {2, 1};
  const Numbers values = {1.0, 3.0};
  sum.Add(3, first, values, 0.5);
  sum.Add(3, second, values, 1.0);
  sum.Add(0, first, values, 1.0);
  sum.Add(0, first, values, -1.0);
  const Gradient gradient = sum.Take(2.0);
  EXPECT_EQ(gradient.parameters, (Places{3, 4, 5}));
  EXPECT_EQ(gradient.weights, (Numbers{3.0, 6.0, 3.0}));
  EXPECT_TRUE(sum.Take().parameters.empty());
}

TEST(DeltaMethod, AGradientHoldsNothingOfTheOneBefore) {
  GradientSum sum(6);
  const std::vector<int> places = {1, 4};
  const Numbers values = {2.0, 3.0};
  sum.Add(0, places, values, 1.0);
  static_cast<void>(sum.Take());
  sum.Add(1, places, values, 1.0);
  const Gradient gradient = sum.Take();
  EXPECT_EQ(gradient.parameters, (Places{2, 5}));
  EXPECT_EQ(gradient.weights, values);
  sum.Add(0, places, values, 1.0);
  const Gradient first = sum.Take();
  EXPECT_EQ(first.parameters, (Places{1, 4}));
  EXPECT_EQ(first.weights, values);
}

TEST(DeltaMethod, WhatCancelsLeavesACombination) {
  const Gradient one{{0, 2, 5}, {1.0, 0.5, 3.0}};
  const Gradient other{{1, 2, 5, 6}, {4.0, 0.25, 3.0, 1.0}};
  const Gradient sum = Combined(one, 1.0, other, -1.0);
  EXPECT_EQ(sum.parameters, (Places{0, 1, 2, 6}));
  EXPECT_EQ(sum.weights, (Numbers{1.0, -4.0, 0.25, -1.0}));
}

}  // namespace
}  // namespace qvhost
