#include <string>

#include <gtest/gtest.h>

#include "qvreg/QvVersion.h"
#include "qvreg/c/QvCReport.h"
#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/QvStatusCodes.h"

namespace qvtest {
namespace {

TEST(CVersion, IsThatOfTheBuild) {
  EXPECT_STREQ(qvreg_version_string(), QVREG_VERSION_STRING);
  EXPECT_EQ(qvreg_version() / 65536, QVREG_VERSION_MAJOR);
  EXPECT_EQ(qvreg_version() / 256 % 256, QVREG_VERSION_MINOR);
  EXPECT_EQ(qvreg_version() % 256, QVREG_VERSION_PATCH);
}

TEST(CCodes, ExplainEveryCode) {
  const std::string unknown = qvreg_code_text(-1);
  const auto isExplained = [&](std::int32_t code) {
    const std::string text = qvreg_code_text(code);
    return !text.empty() && text != unknown && text.back() == '.';
  };
  EXPECT_STREQ(qvreg_code_text(QVREG_OK), "");
  EXPECT_TRUE(isExplained(QVREG_CANCELLED));
  for (std::int32_t code = QVREG_NO_DEPENDENT; code <= QVREG_UNREADABLE_MESSAGE; ++code) {
    EXPECT_EQ(isExplained(code), code != 317) << code;
  }
  for (std::int32_t code = QVREG_NULL_HANDLE; code <= QVREG_RECORDS_CHANGED; ++code) {
    EXPECT_TRUE(isExplained(code)) << code;
  }
  EXPECT_EQ(unknown, qvreg_code_text(317));
}

TEST(CCodes, ShowTheNumbersOfAStatus) {
  QvCommon::QvStatus tooMany(QvStatusCode::kTooManyParameters, false);
  EXPECT_EQ(QvCText::OfStatus(tooMany), qvreg_code_text(QVREG_TOO_MANY_PARAMETERS));
  tooMany.SetDiscreteDatum(0, 70000);
  tooMany.SetDiscreteDatum(1, 46340);
  EXPECT_EQ(QvCText::OfStatus(tooMany),
            "The model has 70000 parameters, and 46340 is the most it may have; leave out factors "
            "or crossings with many categories.");
  const QvCommon::QvStatus bad(QvStatusCode::kBadCategory, false);
  EXPECT_EQ(QvCText::OfStatus(bad), qvreg_code_text(QVREG_BAD_CATEGORY));
}

TEST(CCodes, MemoryThatRanOutWithinTheBoundIsNoMatterOfTheBound) {
  QvCommon::QvStatus status(QvStatusCode::kTooManyParameters, false);
  status.SetDiscreteDatum(0, 46340);
  status.SetDiscreteDatum(1, 46340);
  EXPECT_EQ(QvCText::OfStatus(status), qvreg_code_text(QVREG_TOO_MANY_PARAMETERS));
}

}  // namespace
}  // namespace qvtest
