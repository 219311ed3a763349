// Which tables are separated along a direction.

#include <algorithm>
#include <csignal>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/fit/Continuation.h"
#include "tests/host/fit/Fitting.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace qvhost {
namespace {

using Doubles = std::vector<double>;

/// Answers no and yes over x, which overlap at 1; some records are not used.
constexpr const char* kOverlapAtOne =
    "SELECT * FROM (VALUES ('no', 0, 1), ('no', 1, 1), ('yes', 1, 1), ('yes', 2, 1), ('yes', 0, 0),"
    " ('no', 2, -1), ('a', NULL, 1), ('no', NULL, 1), ('no', 5, NULL)) AS t(answer, x, n)";

FitOptions Options(const std::string& sql, const std::string& formula, int iterations = 1) {
  FitOptions options = OptionsFor(sql, formula);
  options.logistic.maxIterations = iterations;
  return options;
}

Separation Check(BuiltModel& model, const Doubles& direction) {
  return CheckSeparation(model.Table(), model.Component(),
                         dynamic_cast<const QvLogOutputStats&>(model.Output()), direction,
                         {.interrupt = model.CtrlC(), .threads = 2});
}

/// Directions have the intercept and the slope of the log odds of no.
class SeparationCheckTest : public ::testing::Test {
 protected:
  static FitOptions Weighted() {
    FitOptions options = Options(kOverlapAtOne, "answer ~ x");
    options.binding.freqWeight = "n";
    return options;
  }

  BuiltModel model_{Weighted()};
};

TEST_F(SeparationCheckTest, SeesWhatNoRecordContradicts) {
  EXPECT_EQ(Check(model_, {1.0, -1.0}), Separation::kQuasiComplete);
  EXPECT_EQ(Check(model_, {0.25, -0.25}), Separation::kQuasiComplete);
}

TEST_F(SeparationCheckTest, OneRecordThatIsMovedAwayIsEnough) {
  EXPECT_EQ(Check(model_, {1.1, -1.0}), Separation::kNone) << "yes at 1";
  EXPECT_EQ(Check(model_, {0.9, -1.0}), Separation::kNone) << "no at 1";
  EXPECT_EQ(Check(model_, {-1.0, 1.0}), Separation::kNone);
}

TEST_F(SeparationCheckTest, AllowsForRounding) {
  EXPECT_EQ(Check(model_, {1.0 + 0.9e-6, -1.0}), Separation::kQuasiComplete);
  EXPECT_EQ(Check(model_, {1.0 + 1.1e-6, -1.0}), Separation::kNone);
}

TEST_F(SeparationCheckTest, ADirectionThatMovesNothingShowsNothing) {
  EXPECT_EQ(Check(model_, {0.0, 0.0}), Separation::kNone);
  EXPECT_EQ(Check(model_, {0.09, -0.09}), Separation::kNone);
  EXPECT_EQ(Check(model_, {0.11, -0.11}), Separation::kQuasiComplete);
}

TEST(SeparationCheck, IsCompleteWhenEveryRecordIsPredictedForCertain) {
  const std::string rows = "SELECT range >= 3 AS y, range AS x FROM range(6)";
  const Doubles direction{5.0, -2.0};
  BuiltModel certain(Options(rows, "y ~ x", 12));
  EXPECT_EQ(Check(certain, direction), Separation::kComplete);
  BuiltModel early(Options(rows, "y ~ x", 2));
  EXPECT_EQ(Check(early, direction), Separation::kQuasiComplete);
}

TEST(SeparationCheck, ComparesEachCategoryWithEveryOther) {
  const std::string rows =
      "SELECT ['a', 'b', 'c'][1 + range % 3] AS y, CASE WHEN range % 3 = 2 THEN 10 ELSE range * 5 "
      "% 7 END AS x FROM range(60)";
  BuiltModel model(Options(rows, "y ~ x"));
  EXPECT_EQ(Check(model, {8.0, -1.0, 8.0, -1.0}), Separation::kQuasiComplete);
  EXPECT_EQ(Check(model, {8.0, -1.0, 8.1, -1.0}), Separation::kNone) << "a against b";
  EXPECT_EQ(Check(model, {8.0, -1.0, 0.0, 0.0}), Separation::kNone) << "b against a";
  EXPECT_EQ(Check(model, {11.0, -1.0, 11.0, -1.0}), Separation::kNone) << "c against both";
}

TEST(SeparationCheck, UsesTheTermsOfFactors) {
  BuiltModel model(Options(
      "SELECT * FROM (VALUES ('l', 'no'), ('l', 'yes'), ('r', 'yes'), ('l', 'no')) AS t(g, y)",
      "y ~ g"));
  EXPECT_EQ(Check(model, {-1.0, 1.0, 0.0}), Separation::kQuasiComplete);
  EXPECT_EQ(Check(model, {1.0, -1.0, 0.0}), Separation::kNone);
}

TEST(SeparationCheck, FindsInAnyPartWhatTellsOfAll) {
  // The intercept and the slope of the log odds of 'no'; only two of 20,000 records move.
  const auto check = [](const std::string& first, const std::string& last) {
    BuiltModel model(Options("SELECT if(i % 2 = 0, 'no', 'yes') AS y, CASE i WHEN 0 THEN " + first +
                                 " WHEN 19998 THEN " + last +
                                 " ELSE 0 END AS x FROM range(20000) t(i)",
                             "y ~ x"));
    return Check(model, {0.0, 1.0});
  };
  EXPECT_EQ(check("0", "1"), Separation::kQuasiComplete);
  EXPECT_EQ(check("1", "0"), Separation::kQuasiComplete);
  EXPECT_EQ(check("1", "-1"), Separation::kNone);
  EXPECT_EQ(check("-1", "1"), Separation::kNone);
}

TEST_F(SeparationCheckTest, CountsTheRecords) {
  BuiltModel model(Options("SELECT range % 2 = 0 AS y, 0 * range AS x FROM range(40000)", "y ~ 1"));
  std::vector<long long> told;
  const auto& output = dynamic_cast<const QvLogOutputStats&>(model.Output());
  const auto tell = [&](long long records) { told.push_back(records); };
  EXPECT_EQ(CheckSeparation(model.Table(), model.Component(), output, {0.0},
                            {.interrupt = model.CtrlC(), .progress = tell}),
            Separation::kNone);
  EXPECT_TRUE(std::ranges::is_sorted(told));
  EXPECT_GT(told.size(), 1U);
  EXPECT_EQ(told.back(), 40000);
}

TEST_F(SeparationCheckTest, StopsWhenInterrupted) {
  std::raise(SIGINT);
  EXPECT_THROW(static_cast<void>(Check(model_, {1.0, -1.0})), Cancelled);
}

#if !defined(_WIN32)
TEST(SeparationCheck, DoesNotTakeAShortFileForTheEnd) {
  BuiltModel model(Options("SELECT range % 2 = 0 AS y, range AS x FROM range(20000)", "y ~ x"));
  ASSERT_EQ(ftruncate(fileno(model.Table().File()), 160000), 0);
  try {
    static_cast<void>(Check(model, {0.0, 0.0}));
    FAIL() << "half a file was taken for the whole";
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kRunFailed);
    EXPECT_TRUE(std::string(error.what()).ends_with("cannot be read back (it is too short)."))
        << error.what();
  }
}
#endif

}  // namespace
}  // namespace qvhost
