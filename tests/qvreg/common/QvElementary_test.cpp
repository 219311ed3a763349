#include "qvreg/common/QvElementary.h"

#include <algorithm>
#include <cmath>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "qvreg/common/Constants.h"

namespace QvCommon {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

/// A value of tests/reference/elementary: the nearest double, and what it lacks of the exact one.
struct Value {
  std::string function;
  double argument = 0.0;
  double nearest = 0.0;
  double rest = 0.0;
};

std::vector<Value> ReadValues() {
  std::ifstream file(QVREG_TEST_DATA "/elementary/values.csv");
  std::vector<Value> values;
  std::string line;
  std::getline(file, line);  // the heading
  while (std::getline(file, line)) {
    std::istringstream fields(line);
    Value value;
    std::getline(fields, value.function, ',');
    for (double* number : {&value.argument, &value.nearest, &value.rest}) {
      std::string digits;
      std::getline(fields, digits, ',');
      *number = std::stod(digits);
    }
    values.push_back(value);
  }
  return values;
}

/// The distance from the exact value in units of the last place.
double Error(double got, const Value& value) {
  const double unit =
      std::nextafter(std::fabs(value.nearest), kInfinity) - std::fabs(value.nearest);
  return std::fabs((got - value.nearest) - value.rest) / unit;
}

double LargestError(const std::string& function, double (*compute)(double)) {
  double largest = 0.0;
  int count = 0;
  for (const Value& value : ReadValues()) {
    if (value.function != function) continue;
    largest = std::max(largest, Error(compute(value.argument), value));
    ++count;
  }
  EXPECT_GT(count, 300);
  return largest;
}

TEST(QvElementary, ExpIsRightToHalfAUnitOfTheLastPlace) {
  EXPECT_LE(LargestError("exp", QvElementary::Exp), 0.52);
}

TEST(QvElementary, ExpsOfManyAreRightToAUnitOfTheLastPlace) {
  std::vector<double> arguments;
  std::vector<Value> values;
  for (const Value& value : ReadValues()) {
    if (value.function != "exp" || value.argument > 0.0 || value.argument < -708.0) continue;
    values.push_back(value);
    arguments.push_back(value.argument);
  }
  ASSERT_GT(values.size(), 100U);
  QvElementary::ExpMany(arguments.size(), arguments.data(), arguments.data());
  for (std::size_t i = 0; i < values.size(); ++i) {
    EXPECT_LE(Error(arguments[i], values[i]), 1.0) << values[i].argument;
  }
}

TEST(QvElementary, ExpsOfManyAtTheEnds) {
  std::vector<double> numbers{0.0, -0.0, -708.0, -0x1p-60};
  QvElementary::ExpMany(numbers.size(), numbers.data(), numbers.data());
  EXPECT_EQ(numbers[0], 1.0);
  EXPECT_EQ(numbers[1], 1.0);
  EXPECT_NEAR(numbers[2] / 3.307553003638408e-308, 1.0, 1e-15);
  EXPECT_EQ(numbers[3], 1.0);
}

TEST(QvElementary, LogIsRightToOneUnitOfTheLastPlace) {
  EXPECT_LE(LargestError("log", QvElementary::Log), 1.0);
}

TEST(QvElementary, ExpAtItsEnds) {
  EXPECT_EQ(QvElementary::Exp(0.0), 1.0);
  EXPECT_EQ(QvElementary::Exp(-0.0), 1.0);
  EXPECT_EQ(QvElementary::Exp(709.782712893384), 0x1.fffffffffff2ap+1023);
  EXPECT_EQ(QvElementary::Exp(709.7827128933841), kInfinity);
  EXPECT_EQ(QvElementary::Exp(kInfinity), kInfinity);
  EXPECT_EQ(QvElementary::Exp(-745.13), std::numeric_limits<double>::denorm_min());
  EXPECT_EQ(QvElementary::Exp(-745.14), 0.0);
  EXPECT_EQ(QvElementary::Exp(-kInfinity), 0.0);
  EXPECT_TRUE(std::isnan(QvElementary::Exp(kNaN)));
}

TEST(QvElementary, MachineMaxExpIsTheLargestArgumentWithAFiniteExponential) {
  EXPECT_LT(std::exp(QvPower::gMachineMaxExp), kInfinity);
  EXPECT_EQ(std::exp(std::nextafter(QvPower::gMachineMaxExp, kInfinity)), kInfinity);
}

TEST(QvElementary, ExpOfASubnormalResultIsWithinOneOfItsUnits) {
  for (double x = -745.0; x < -708.5; x += 0.37) {
    EXPECT_NEAR(QvElementary::Exp(x), std::exp(x), 0x1p-1074) << x;
  }
}

TEST(QvElementary, LogAtItsEnds) {
  EXPECT_EQ(QvElementary::Log(1.0), 0.0);
  EXPECT_FALSE(std::signbit(QvElementary::Log(1.0)));
  EXPECT_EQ(QvElementary::Log(0.0), -kInfinity);
  EXPECT_EQ(QvElementary::Log(-0.0), -kInfinity);
  EXPECT_EQ(QvElementary::Log(kInfinity), kInfinity);
  EXPECT_TRUE(std::isnan(QvElementary::Log(-1.0)));
  EXPECT_TRUE(std::isnan(QvElementary::Log(kNaN)));
}

}  // namespace
}  // namespace QvCommon
