#include "host/fit/Predictions.h"

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "tests/host/fit/Fitting.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

using Cells = std::vector<std::optional<std::string>>;

/// 300,000 rows whose dependent is exactly 3 i + 10 for g = 'b', and 3 i for 'a'.
constexpr const char* kManyRows =
    "SELECT 3.0 * i + CASE WHEN i % 3 = 0 THEN 10 ELSE 0 END AS y, i::DOUBLE AS x, "
    "CASE WHEN i % 3 = 0 THEN 'b' ELSE 'a' END AS g FROM range(300000) t(i)";

/// Of the weight 8 with x = 'l', 6 are 'no', 1 'yes' and 1 'may'; of the 8 with 'r' 1, 3 and 4.
constexpr const char* kAnswers =
    "SELECT * FROM (VALUES ('no', 'l', 6), ('yes', 'l', 1), ('may', 'l', 1), ('no', 'r', 1), "
    "('yes', 'r', 3), ('may', 'r', 4)) t(y, x, w)";

class PredictionsTest : public TableTest {
 protected:
  static std::vector<Cells> Read(const std::string& path, const std::string& columns = "*") {
    return Connection().Rows("SELECT " + columns + " FROM " + QuoteText(path));
  }

  static std::vector<std::string> NamesIn(const std::string& path) {
    std::vector<std::string> names;
    for (const ColumnInfo& column : Connection().Describe("FROM " + QuoteText(path))) {
      names.push_back(column.name);
    }
    return names;
  }
};

class PredictionsFormats : public PredictionsTest, public testing::WithParamInterface<const char*> {
 protected:
  [[nodiscard]] std::string Out() const { return Path(std::string("out") + GetParam()); }
};

INSTANTIATE_TEST_SUITE_P(, PredictionsFormats, testing::Values(".csv", ".tsv", ".parquet"),
                         [](const auto& format) { return format.param + 1; });

TEST_P(PredictionsFormats, ALinearModelKeepsTheOrderOfManyRows) {
  BuiltModel model(kManyRows, "y ~ x + g");
  model.Predict(Out());
  EXPECT_EQ(NamesIn(Out()),
            (std::vector<std::string>{"observed", "predicted", "residual", "std_error"}));
  const std::vector<double> read = Values(CodeOne("FROM " + QuoteText(Out()), "predicted"));
  ASSERT_EQ(read.size(), 300000U);
  for (std::size_t i = 0; i < read.size(); ++i) {
    const double expected = 3.0 * static_cast<double>(i) + (i % 3 == 0 ? 10.0 : 0.0);
    ASSERT_NEAR(read[i], expected, 1e-6) << i;
  }
}

TEST_P(PredictionsFormats, TheFileHoldsTheSameDoublesAsScore) {
  BuiltModel model("SELECT sqrt(i) + i % 5 AS y, ln(i + 1) AS x, i % 7 AS z FROM range(1000) t(i)",
                   "y ~ x*z + C(z)");
  model.Predict(Out());
  const std::vector<double> read = Values(CodeOne("FROM " + QuoteText(Out()), "predicted"));
  const auto answers = model.Answers();
  ASSERT_EQ(read.size(), 1000U);
  ASSERT_EQ(answers.size(), 1000U);
  for (std::size_t i = 0; i < read.size(); ++i) EXPECT_EQ(read[i], answers[i].predicted);
}

TEST_P(PredictionsFormats, ALogisticModelGivesTheSharesOfItsCells) {
  FitOptions options = OptionsFor(kAnswers, "y ~ x");
  options.binding.freqWeight = "w";
  BuiltModel model(options);
  model.Predict(Out());
  EXPECT_EQ(NamesIn(Out()),
            (std::vector<std::string>{"observed", "predicted", "p_may", "p_no", "p_yes"}));

  const auto read = Read(Out(), "predicted, p_may, p_no, p_yes");
  ASSERT_EQ(read.size(), 6U);
  for (std::size_t i = 0; i < 6; ++i) {
    const bool left = i < 3;
    EXPECT_EQ(read[i][0], left ? "no" : "may");
    EXPECT_NEAR(std::atof(read[i][1]->c_str()), left ? 1.0 / 8 : 4.0 / 8, 1e-7);
    EXPECT_NEAR(std::atof(read[i][2]->c_str()), left ? 6.0 / 8 : 1.0 / 8, 1e-7);
    EXPECT_NEAR(std::atof(read[i][3]->c_str()), left ? 1.0 / 8 : 3.0 / 8, 1e-7);
  }
}

TEST_P(PredictionsFormats, ARowThatCannotBeScoredIsNull) {
  // Neither the missing dependent nor the missing weight matters; a missing x or g does.
  const std::string rows =
      "SELECT * FROM (VALUES (1.0, 1.0, 'a', 1), (2, 2, 'b', 1), (4, 4, 'a', 1), (5, 5, 'b', 1), "
      "(NULL, 7, 'a', 1), (9, NULL, 'a', 1), (9, 1, NULL, 1), (1000, 8, 'b', NULL), "
      "(1000, 9, 'b', -1), (6, 6, 'a', 2)) t(y, x, g, w)";
  FitOptions options = OptionsFor(rows, "y ~ x + g");
  options.binding.freqWeight = "w";
  BuiltModel(options).Predict(Out());
  const auto read = Read(Out(), "predicted");
  const std::vector<std::optional<double>> expected = {1, 2, 4, 5, 7, {}, {}, 8, 9, 6};
  ASSERT_EQ(read.size(), expected.size());
  for (std::size_t i = 0; i < expected.size(); ++i) {
    ASSERT_EQ(read[i][0].has_value(), expected[i].has_value()) << i;
    if (!expected[i]) continue;
    EXPECT_NEAR(std::atof(read[i][0]->c_str()), *expected[i], 1e-9) << i;
  }
}

TEST_P(PredictionsFormats, ACombinationThatWasNeverSeenIsNull) {
  // Level 'c' of g occurs with a missing dependent only.
  const std::string rows =
      "SELECT * FROM (VALUES (1.0, 'no', 'a'), (2, 'yes', 'a'), (3, 'no', 'b'), (5, 'yes', 'b'), "
      "(NULL, NULL, 'c'), (NULL, NULL, 'b')) t(y, z, g)";
  BuiltModel(rows, "y ~ g").Predict(Out());
  const auto linear = Read(Out(), "predicted");
  ASSERT_EQ(linear.size(), 6U);
  EXPECT_EQ(linear[4], Cells{std::nullopt});
  EXPECT_NEAR(std::atof(linear[5][0]->c_str()), 4.0, 1e-12);

  BuiltModel(rows, "z ~ g").Predict(Out());
  const auto logistic = Read(Out(), "predicted, p_no, p_yes");
  ASSERT_EQ(logistic.size(), 6U);
  EXPECT_EQ(logistic[4], (Cells{std::nullopt, std::nullopt, std::nullopt}));
  EXPECT_NEAR(std::atof(logistic[5][1]->c_str()), 0.5, 1e-9);
}

TEST_P(PredictionsFormats, OddLevelsReadBack) {
  const std::string rows =
      "SELECT ['a,b', 'say \"no\"', 'two' || chr(10) || 'lines', 'é; ü|', '''q''', '# 1', ' x']"
      "[1 + i % 7] AS y, i % 7 = (i / 7)::BIGINT % 3 AS f, i // 49 AS x FROM range(700) t(i)";
  BuiltModel model(rows, "y ~ f + x");
  model.Predict(Out());
  const std::vector<std::string>& levels = model.Categories().levels;
  ASSERT_EQ(levels.size(), 7U);
  std::vector<std::string> names = {"observed", "predicted"};
  for (const std::string& level : levels) names.push_back("p_" + level);
  EXPECT_EQ(NamesIn(Out()), names);

  const auto read = Read(Out(), "predicted");
  const auto answers = model.Answers();
  ASSERT_EQ(read.size(), answers.size());
  for (std::size_t i = 0; i < read.size(); ++i) {
    ASSERT_EQ(read[i][0], levels.at(static_cast<std::size_t>(answers[i].predicted))) << i;
  }
}

TEST_F(PredictionsTest, ProbabilitiesStandInTheOrderOfTheCodesForEveryReference) {
  std::vector<std::vector<Cells>> found;
  for (const char* reference : {"may", "no", "yes"}) {
    FitOptions options = OptionsFor(kAnswers, "y ~ x");
    options.binding.freqWeight = "w";
    options.logistic.reference = reference;
    BuiltModel model(options);
    ASSERT_EQ(
        model.Categories().levels.at(static_cast<std::size_t>(model.Categories().codes.back())),
        reference);
    model.Predict(Path("out.parquet"));
    EXPECT_EQ(NamesIn(Path("out.parquet")),
              (std::vector<std::string>{"observed", "predicted", "p_may", "p_no", "p_yes"}));
    found.push_back(
        Read(Path("out.parquet"), "predicted, round(p_may, 6), round(p_no, 6), round(p_yes, 6)"));
  }
  EXPECT_EQ(found[0], found[1]);
  EXPECT_EQ(found[0], found[2]);
}

TEST_F(PredictionsTest, ALevelThatWasNotObservedHasNoColumn) {
  // 'mid' stands in the table, but its record lacks the covariate.
  const std::string rows =
      "SELECT * FROM (VALUES ('low', 1.0), ('up', 2.0), ('mid', NULL), ('low', 3.0), ('up', 4.0), "
      "('up', 1.5)) t(y, x)";
  BuiltModel(rows, "y ~ x").Predict(Path("out.parquet"));
  EXPECT_EQ(NamesIn(Path("out.parquet")),
            (std::vector<std::string>{"observed", "predicted", "p_low", "p_up"}));
  const auto read = Read(Path("out.parquet"), "predicted, round(p_low + p_up, 12)");
  EXPECT_EQ(read[2], (Cells{std::nullopt, std::nullopt}));
  EXPECT_EQ(read[5][1], "1.0");
}

TEST_F(PredictionsTest, ALogisticFileHoldsTheSameDoublesAsScore) {
  BuiltModel model(
      "SELECT ['u', 'v', 'w'][1 + (i * 7919) % 1009 % 3] AS y, sin(i) AS x FROM range(500) t(i)",
      "y ~ x");
  model.Predict(Path("out.csv"));
  const auto answers = model.Answers();
  const PredictedCategories categories = model.Categories();
  for (std::size_t place = 0; place < categories.codes.size(); ++place) {
    const std::string& level =
        categories.levels.at(static_cast<std::size_t>(categories.codes[place]));
    const std::vector<double> read =
        Values(CodeOne("FROM " + QuoteText(Path("out.csv")), "p_" + level));
    ASSERT_EQ(read.size(), answers.size());
    for (std::size_t i = 0; i < read.size(); ++i) EXPECT_EQ(read[i], answers[i].values[place]);
  }
}

TEST_F(PredictionsTest, APredictionThatIsNoFiniteNumberIsNull) {
  // The second and last row take part in nothing but the scoring.
  const std::string rows =
      "SELECT * FROM (VALUES (1e10, 1.0), (NULL, 1e300), (2e10, 2.0), (3e10, 3.0), (NULL, -1e300)) "
      "t(y, x)";
  BuiltModel(rows, "y ~ x").Predict(Path("out.parquet"));
  const auto read = Read(Path("out.parquet"), "predicted");
  ASSERT_EQ(read.size(), 5U);
  EXPECT_TRUE(read[0][0]);
  EXPECT_FALSE(read[1][0]);
  EXPECT_FALSE(read[4][0]);
}

TEST_F(PredictionsTest, MayBeWrittenAgainAndTellsHowFarItIs) {
  BuiltModel model(kManyRows, "y ~ x");
  for (const char* name : {"a.csv", "b.csv"}) {
    std::vector<long long> seen;
    model.Predict(Path(name), [&](long long records) { seen.push_back(records); });
    ASSERT_GT(seen.size(), 10U);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
    EXPECT_GT(seen.back(), 290000);
  }
  EXPECT_EQ(Connection().Rows("SELECT count(*) FROM (FROM " + QuoteText(Path("a.csv")) +
                              " EXCEPT FROM " + QuoteText(Path("b.csv")) + ")")[0][0],
            "0");
}

TEST_P(PredictionsFormats, CtrlCLeavesTheOldFile) {
  std::ofstream(Out()) << "old";
  BuiltModel model(kManyRows, "y ~ x");
  long long reached = 0;
  const auto press = [&reached](long long records) {
    reached = records;
    if (records >= 150000) std::raise(SIGINT);
  };
  EXPECT_THROW(model.Predict(Out(), press), Cancelled);
  EXPECT_GE(reached, 150000);
  EXPECT_LT(reached, 170000);
  EXPECT_EQ(qvtest::ReadFile(Out()), "old");
  EXPECT_EQ(FilesInFolder(), 1);
}

TEST_F(PredictionsTest, ATableThatCannotBeReadBackIsNoEndOfTheRows) {
  BuiltModel model(kManyRows, "y ~ x");
  SpoolFile file("");
  file.Append(std::vector<double>{1.0, 2.0, 3.0, 4.0});
  file.Flush();
  const CodedTable cut(std::move(file), model.Table().Columns(), 3);
  const Refusal refusal = RefusalOf([&] {
    WritePredictions(WholeFile(Path("out.csv")), cut, model.Predictor(), 1, {}, model.CtrlC());
  });
  EXPECT_EQ(refusal.code, ExitCode::kRunFailed);
  EXPECT_EQ(FilesInFolder(), 0);
}

TEST_F(PredictionsTest, NamesTheFileThatCannotBeWritten) {
  BuiltModel model("SELECT i AS y, i % 3 AS x FROM range(9) t(i)", "y ~ x");
  const Refusal missing = RefusalOf([&] { model.Predict(Path("missing/out.csv")); });
  EXPECT_EQ(missing.code, ExitCode::kRunFailed);
  EXPECT_NE(missing.text.find("'" + Path("missing/out.csv") + "'"), std::string::npos);
  const Refusal ending = RefusalOf([&] { model.Predict(Path("out.xlsx")); });
  EXPECT_EQ(ending.code, ExitCode::kBadInput);
  EXPECT_EQ(FilesInFolder(), 0);
}

}  // namespace
}  // namespace qvhost
