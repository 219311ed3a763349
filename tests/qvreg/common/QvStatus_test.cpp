#include "qvreg/common/QvStatus.h"

#include <climits>

#include <gtest/gtest.h>

namespace QvCommon {
namespace {

TEST(QvStatus, IsSuccessByDefault) {
  const QvStatus status;
  EXPECT_EQ(status.GetCode(), 0);
  EXPECT_TRUE(status.IsOK());
  EXPECT_FALSE(status.IsError());
  EXPECT_FALSE(status.IsWarning());
}

TEST(QvStatus, ACodeWithoutTheFlagIsAnError) {
  const QvStatus status(301, false);
  EXPECT_EQ(status.GetCode(), 301);
  EXPECT_FALSE(status.IsOK());
  EXPECT_TRUE(status.IsError());
  EXPECT_FALSE(status.IsWarning());
}

TEST(QvStatus, AWarningIsNeitherSuccessNorError) {
  const QvStatus status(319, true);
  EXPECT_FALSE(status.IsOK());
  EXPECT_FALSE(status.IsError());
  EXPECT_TRUE(status.IsWarning());
}

TEST(QvStatus, CodeZeroIsSuccessWhateverTheFlag) {
  const QvStatus status(0, true);
  EXPECT_TRUE(status.IsOK());
  EXPECT_FALSE(status.IsError());
  EXPECT_FALSE(status.IsWarning());
}

TEST(QvStatus, NegativeCodesAreErrors) {
  EXPECT_EQ(QvStatus(-5, false).GetCode(), -5);
  EXPECT_TRUE(QvStatus(-5, false).IsError());
}

TEST(QvStatus, EqualityComparesCodeAndFlag) {
  EXPECT_TRUE(QvStatus(301, false) == QvStatus(301, false));
  EXPECT_FALSE(QvStatus(301, false) == QvStatus(302, false));
  EXPECT_FALSE(QvStatus(319, true) == QvStatus(319, false));
  EXPECT_TRUE(QvStatus() == QvStatus(0, false));
}

TEST(QvStatus, EqualityIgnoresTheAttachedNumbers) {
  QvStatus detailed(316, false);
  detailed.SetDiscreteDatum(1, 4);
  EXPECT_TRUE(detailed == QvStatus(316, false));
}

TEST(QvStatus, KeepsNumbersOfBothKindsApart) {
  QvStatus status(316, false);
  EXPECT_TRUE(status.SetDiscreteDatum(1, LONG_MIN));
  EXPECT_TRUE(status.SetScaleDatum(1, -0.25));
  long discrete = 0;
  double scale = 0.0;
  EXPECT_TRUE(status.GetDiscreteDatum(1, discrete));
  EXPECT_TRUE(status.GetScaleDatum(1, scale));
  EXPECT_EQ(discrete, LONG_MIN);
  EXPECT_EQ(scale, -0.25);
}

TEST(QvStatus, ALaterNumberReplacesAnEarlierOne) {
  QvStatus status(305, false);
  status.SetDiscreteDatum(0, 1);
  status.SetDiscreteDatum(0, 2);
  long value = 0;
  EXPECT_TRUE(status.GetDiscreteDatum(0, value));
  EXPECT_EQ(value, 2);
}

TEST(QvStatus, TellsThatANumberWasNotAttached) {
  const QvStatus status(316, false);
  long discrete = 42;
  double scale = 42.0;
  EXPECT_FALSE(status.GetDiscreteDatum(0, discrete));
  EXPECT_FALSE(status.GetScaleDatum(0, scale));
  EXPECT_EQ(discrete, 42);
  EXPECT_EQ(scale, 42.0);
}

TEST(QvStatus, RefusesAnIndexBehindTheLast) {
  QvStatus status(316, false);
  long discrete = 42;
  double scale = 42.0;
  for (const unsigned index : {QvStatus::kMaxData, UINT_MAX}) {
    EXPECT_FALSE(status.SetDiscreteDatum(index, 1));
    EXPECT_FALSE(status.SetScaleDatum(index, 1.0));
    EXPECT_FALSE(status.GetDiscreteDatum(index, discrete));
    EXPECT_FALSE(status.GetScaleDatum(index, scale));
  }
  EXPECT_EQ(discrete, 42);
  EXPECT_EQ(scale, 42.0);
}

TEST(QvStatus, CopiesCarryTheAttachedNumbers) {
  QvStatus original(316, false);
  original.SetScaleDatum(1, 2.5);
  const QvStatus copy = original;
  original.SetScaleDatum(1, 9.0);
  double value = 0.0;
  EXPECT_TRUE(copy.GetScaleDatum(1, value));
  EXPECT_EQ(value, 2.5);
}

TEST(QvStatus, IsIdenticalOnlyWithTheSameNumbersAttached) {
  QvStatus status(316, false);
  status.SetDiscreteDatum(1, 7);
  status.SetScaleDatum(1, 2.5);
  QvStatus other(316, false);
  EXPECT_FALSE(status.IsIdenticalTo(other));
  other.SetDiscreteDatum(1, 7);
  EXPECT_FALSE(status.IsIdenticalTo(other));
  other.SetScaleDatum(1, 2.5);
  EXPECT_TRUE(status.IsIdenticalTo(other));
  EXPECT_TRUE(other.IsIdenticalTo(status));
  other.SetDiscreteDatum(1, 8);
  EXPECT_FALSE(status.IsIdenticalTo(other));
  EXPECT_TRUE(status == other) << "equality looks at code and flag only";
}

TEST(QvStatus, IsNotIdenticalToOneOfAnotherCodeOrFlag) {
  EXPECT_TRUE(QvStatus().IsIdenticalTo(QvStatus()));
  EXPECT_TRUE(QvStatus(319, true).IsIdenticalTo(QvStatus(319, true)));
  EXPECT_FALSE(QvStatus(319, true).IsIdenticalTo(QvStatus(319, false)));
  EXPECT_FALSE(QvStatus(319, true).IsIdenticalTo(QvStatus(318, true)));
}

TEST(QvStatus, AnAttachedZeroIsNotTheSameAsNothingAttached) {
  QvStatus zero(305, false);
  zero.SetDiscreteDatum(0, 0);
  EXPECT_FALSE(zero.IsIdenticalTo(QvStatus(305, false)));
  QvStatus elsewhere(305, false);
  elsewhere.SetDiscreteDatum(1, 0);
  EXPECT_FALSE(zero.IsIdenticalTo(elsewhere));
}

}  // namespace
}  // namespace QvCommon
