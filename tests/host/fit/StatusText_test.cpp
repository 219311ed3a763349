#include "host/fit/StatusText.h"

#include <set>

#include <gtest/gtest.h>

#include "qvreg/common/QvStatusCodes.h"

namespace qvhost {
namespace {

using QvCommon::QvStatus;

TEST(StatusText, HasASentenceForEveryCode) {
  std::set<std::string> texts;
  std::size_t codes = 0;
  for (const long code : {QvStatusCode::kOK,
                          QvStatusCode::kCancelled,
                          QvStatusCode::kNoDependent,
                          QvStatusCode::kEmptyModel,
                          QvStatusCode::kStageMissing,
                          QvStatusCode::kNoFurtherPass,
                          QvStatusCode::kTooManyParameters,
                          QvStatusCode::kDataProcessed,
                          QvStatusCode::kNoRecords,
                          QvStatusCode::kNothingToFit,
                          QvStatusCode::kNoParameters,
                          QvStatusCode::kAlreadyBuilt,
                          QvStatusCode::kNotBuilt,
                          QvStatusCode::kRecordMissing,
                          QvStatusCode::kDataNotProcessed,
                          QvStatusCode::kUnreadableRecord,
                          QvStatusCode::kShortRecord,
                          QvStatusCode::kBadCategory,
                          QvStatusCode::kOneCategory,
                          QvStatusCode::kReferenceNotObserved}) {
    const std::string text = StatusText(QvStatus(code, false));
    EXPECT_TRUE(text.ends_with('.')) << text;
    EXPECT_EQ(text.find("unknown"), std::string::npos) << code;
    texts.insert(text);
    ++codes;
  }
  EXPECT_EQ(texts.size(), codes) << "each says something of its own";
}

TEST(StatusText, TellsTheNumberOfParameters) {
  QvStatus status(QvStatusCode::kTooManyParameters, false);
  status.SetDiscreteDatum(0, 50000);
  status.SetDiscreteDatum(1, 46339);
  EXPECT_EQ(
      StatusText(status),
      "The model has 50000 parameters, and 46339 is the most it may have. Leave out factors or "
      "crossings with many levels.");
  EXPECT_EQ(StatusText(QvStatus(QvStatusCode::kTooManyParameters, false)),
            "The model needs more memory than there is. Leave out factors or crossings with many "
            "levels.");
}

TEST(StatusText, NamesACodeItDoesNotKnow) {
  EXPECT_EQ(StatusText(QvStatus(999, false)),
            "The run stopped with the unknown status 999. This is a defect of qvreg; please report "
            "it.");
}

TEST(StatusText, MemoryThatRanOutWithinTheBoundIsNoMatterOfTheBound) {
  QvStatus status(QvStatusCode::kTooManyParameters, false);
  status.SetDiscreteDatum(0, 46339);
  status.SetDiscreteDatum(1, 46339);
  EXPECT_EQ(StatusText(status), StatusText(QvStatus(QvStatusCode::kTooManyParameters, false)));
}

}  // namespace
}  // namespace qvhost
