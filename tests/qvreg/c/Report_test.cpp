#include <cstring>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include "qvreg/QvVersion.h"
#include "qvreg/c/QvCCall.h"
#include "qvreg/c/QvCHandle.h"
#include "qvreg/c/QvCMessages.h"
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

TEST(CMessages, ExplainEveryCode) {
  const std::string unknown = qvreg_code_text(-1);
  const auto isExplained = [&](std::int32_t code) {
    const std::string text = qvreg_code_text(code);
    return !text.empty() && text != unknown && text.back() == '.';
  };
  EXPECT_STREQ(qvreg_code_text(QVREG_OK), "");
  EXPECT_TRUE(isExplained(QVREG_CANCELLED));
  for (std::int32_t code = QVREG_NO_DEPENDENT; code <= QVREG_REFERENCE_NOT_OBSERVED; ++code) {
    EXPECT_EQ(isExplained(code), code != 317) << code;
  }
  for (std::int32_t code = QVREG_NULL_HANDLE; code <= QVREG_RECORDS_CHANGED; ++code) {
    EXPECT_TRUE(isExplained(code)) << code;
  }
  EXPECT_EQ(unknown, qvreg_code_text(317));
}

TEST(CMessages, ShowTheNumbersOfAStatus) {
  QvCommon::QvStatus tooMany(QvStatusCode::kTooManyParameters, false);
  EXPECT_EQ(QvCMessages::Text(tooMany), qvreg_code_text(QVREG_TOO_MANY_PARAMETERS));
  tooMany.SetDiscreteDatum(0, 70000);
  tooMany.SetDiscreteDatum(1, 46340);
  EXPECT_EQ(QvCMessages::Text(tooMany),
            "The model has 70000 parameters, and 46340 is the most it may have; leave out factors "
            "or crossings with many categories.");
  const QvCommon::QvStatus bad(QvStatusCode::kBadCategory, false);
  EXPECT_EQ(QvCMessages::Text(bad), qvreg_code_text(QVREG_BAD_CATEGORY));
}

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

TEST(CCall, TurnsEveryExceptionIntoACode) {
  qvreg_error error = QVREG_ERROR_INIT;
  EXPECT_EQ(QvCCall(&error, [] { throw std::bad_alloc(); }), QVREG_OUT_OF_MEMORY);
  EXPECT_EQ(QvCCall(&error, [] { throw std::length_error("long"); }), QVREG_OUT_OF_MEMORY);
  EXPECT_EQ(QvCCall(&error, [] { throw 5; }), QVREG_INTERNAL_ERROR);
  EXPECT_EQ(QvCCall(&error, [] { throw std::runtime_error("why"); }), QVREG_INTERNAL_ERROR);
  EXPECT_STREQ(error.message,
               "The call ended unexpectedly (why); this is a defect of the library, please report "
               "it.");
}

struct Marked : QvCHandle {
  static constexpr std::uint64_t kKind = 0x1234567890abcdef;
  Marked() : QvCHandle(kKind) {}
};

/// Reads as the library does that a destroyed handle is passed to: without knowing its history.
[[gnu::noinline]] bool HoldsMark(void* place) {
  std::uint64_t mark = 0;
  std::memcpy(&mark, place, sizeof mark);
  return mark == Marked::kKind;
}

TEST(CHandle, LosesItsMark) {
  alignas(Marked) unsigned char place[sizeof(Marked)] = {};
  Marked* marked = std::construct_at(reinterpret_cast<Marked*>(place));
  EXPECT_TRUE(marked->IsOfKind(Marked::kKind));
  EXPECT_TRUE(HoldsMark(place));
  std::destroy_at(marked);
  EXPECT_FALSE(HoldsMark(place));
}

TEST(CMessages, MemoryThatRanOutWithinTheBoundIsNoMatterOfTheBound) {
  QvCommon::QvStatus status(QvStatusCode::kTooManyParameters, false);
  status.SetDiscreteDatum(0, 46340);
  status.SetDiscreteDatum(1, 46340);
  EXPECT_EQ(QvCMessages::Text(status), qvreg_code_text(QVREG_TOO_MANY_PARAMETERS));
}

}  // namespace
}  // namespace qvtest
