#include "qvreg/c/QvCReport.h"

#include <string>

#include <gtest/gtest.h>

#include "qvreg/c/qvreg_c.h"
#include "qvreg/common/QvStatusCodes.h"

namespace qvtest {
namespace {

TEST(CReport, CarriesAStatus) {
  QvCommon::QvStatus status(QvStatusCode::kReferenceNotObserved, true);
  status.SetDiscreteDatum(3, -5);
  status.SetScaleDatum(0, 2.5);
  qvreg_error error = QVREG_ERROR_INIT;
  QvCReport(status).CopyTo(error);
  EXPECT_EQ(error.code, QVREG_REFERENCE_NOT_OBSERVED);
  EXPECT_EQ(error.is_warning, 1);
  EXPECT_EQ(error.has_discrete[0], 0);
  EXPECT_EQ(error.has_discrete[3], 1);
  EXPECT_EQ(error.discrete[3], -5);
  EXPECT_EQ(error.has_scale[0], 1);
  EXPECT_EQ(error.scale[0], 2.5);
  EXPECT_FALSE(QvCReport(status).IsError());
}

TEST(CReport, CutsALongMessageBetweenCharacters) {
  std::string text(QVREG_MESSAGE_SIZE - 2, 'a');
  text += "ü";
  const QvCReport report(QVREG_BAD_ARGUMENT, text);
  EXPECT_EQ(report.Message(), std::string(QVREG_MESSAGE_SIZE - 2, 'a'));
  const QvCReport whole(QVREG_BAD_ARGUMENT, text.substr(1));
  EXPECT_EQ(whole.Message(), text.substr(1));
}

TEST(CReport, OfALaterHostsStructureKeepsWhatItAdds) {
  struct Later {
    qvreg_error known = QVREG_ERROR_INIT;
    int added = 7;
  } later;
  later.known.struct_size = sizeof later;
  EXPECT_EQ(qvreg_settings_validate(nullptr, &later.known), QVREG_NULL_HANDLE);
  EXPECT_EQ(later.known.code, QVREG_NULL_HANDLE);
  EXPECT_EQ(later.known.struct_size, sizeof later);
  EXPECT_EQ(later.added, 7);
}

TEST(CReport, IsClearedByTheNextCall) {
  qvreg_error error = QVREG_ERROR_INIT;
  ASSERT_EQ(qvreg_settings_validate(nullptr, &error), QVREG_NULL_HANDLE);
  qvreg_settings* settings = nullptr;
  ASSERT_EQ(qvreg_settings_create(QVREG_MODEL_LINEAR, &settings, &error), QVREG_OK);
  EXPECT_EQ(error.code, QVREG_OK);
  EXPECT_STREQ(error.message, "");
  qvreg_settings_destroy(settings);
}

TEST(CText, KeepsWhatIsUtf8) {
  for (const std::string text : {"", "plain", "\xc3\xa9", "\xe6\xb8\xac", "\xf0\x9f\x98\x80",
                                 "\xed\x9f\xbf", "\xf4\x8f\xbf\xbf"}) {
    EXPECT_EQ(QvCText::Utf8(text), text);
  }
}

TEST(CText, ReplacesBytesOfNoCharacter) {
  EXPECT_EQ(QvCText::Utf8("a\xff"
                          "b"),
            "a?b");
  EXPECT_EQ(QvCText::Utf8("\xc3"), "?");
  EXPECT_EQ(QvCText::Utf8("\xe6\xb8"
                          "x"),
            "??x");
  EXPECT_EQ(QvCText::Utf8("\x80\xc3\xa9"), "?\xc3\xa9");
  // Too long for its number, half of a pair, larger than any.
  EXPECT_EQ(QvCText::Utf8("\xc0\x80"), "??");
  EXPECT_EQ(QvCText::Utf8("\xe0\x80\x80"), "???");
  EXPECT_EQ(QvCText::Utf8("\xed\xa0\x80"), "???");
  EXPECT_EQ(QvCText::Utf8("\xf0\x80\x80\x80"), "????");
  EXPECT_EQ(QvCText::Utf8("\xf4\x90\x80\x80"), "????");
}

TEST(CText, LosesItsMiddleWhenItIsLong) {
  EXPECT_EQ(QvCText::Shortened("0123456789", 10), "0123456789");
  EXPECT_EQ(QvCText::Shortened("0123456789a", 10), "012...789a");
  EXPECT_EQ(QvCText::Shortened("0123456789a", 3), "...");
}

TEST(CText, IsCutBetweenCharacters) {
  std::string text;
  for (int i = 0; i < 20; ++i) text += "\xe6\xb8\xac";
  for (std::size_t longest = 3; longest < text.size(); ++longest) {
    const std::string shown = QvCText::Shortened(text, longest);
    EXPECT_LE(shown.size(), longest);
    EXPECT_EQ(QvCText::Utf8(shown), shown);
    EXPECT_EQ(shown.find('?'), std::string::npos);
  }
}

}  // namespace
}  // namespace qvtest
