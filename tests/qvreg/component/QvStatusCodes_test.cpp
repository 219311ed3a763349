#include "qvreg/component/QvStatusCodes.h"

#include <gtest/gtest.h>

namespace {

// Hosts keep message tables by number, so the numbers never change.
TEST(QvStatusCodes, NumbersAreFixed) {
  EXPECT_EQ(QvStatusCode::kOK, 0);
  EXPECT_EQ(QvStatusCode::kCancelled, 1);
  EXPECT_EQ(QvStatusCode::kNoDependent, 301);
  EXPECT_EQ(QvStatusCode::kEmptyModel, 302);
  EXPECT_EQ(QvStatusCode::kStageMissing, 303);
  EXPECT_EQ(QvStatusCode::kNoFurtherPass, 304);
  EXPECT_EQ(QvStatusCode::kTooManyParameters, 305);
  EXPECT_EQ(QvStatusCode::kDataProcessed, 306);
  EXPECT_EQ(QvStatusCode::kNoRecords, 307);
  EXPECT_EQ(QvStatusCode::kNothingToFit, 308);
  EXPECT_EQ(QvStatusCode::kNoParameters, 309);
  EXPECT_EQ(QvStatusCode::kAlreadyBuilt, 310);
  EXPECT_EQ(QvStatusCode::kNotBuilt, 311);
  EXPECT_EQ(QvStatusCode::kRecordMissing, 312);
  EXPECT_EQ(QvStatusCode::kDataNotProcessed, 313);
  EXPECT_EQ(QvStatusCode::kUnreadableRecord, 314);
  EXPECT_EQ(QvStatusCode::kShortRecord, 315);
  EXPECT_EQ(QvStatusCode::kBadCategory, 316);
  EXPECT_EQ(QvStatusCode::kOneCategory, 318);
  EXPECT_EQ(QvStatusCode::kReferenceNotObserved, 319);
}

}  // namespace
