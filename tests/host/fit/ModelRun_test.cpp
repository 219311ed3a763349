#include "host/fit/ModelRun.h"

#include <string>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/Error.h"
#include "qvreg/common/Constants.h"
#include "tests/host/fit/Fitting.h"

#if !defined(_WIN32)
#include <unistd.h>
#endif

namespace qvhost {
namespace {

#if !defined(_WIN32)
constexpr int kRecords = 40000;  // more than the stream keeps in memory between the passes
constexpr int kY = 0;
constexpr int kX = 1;

CodedTable MakeTable() {
  SpoolFile file("");
  for (int i = 0; i < kRecords; ++i) file.Append(std::vector<double>{i % 3 * 1.0, i % 7 * 1.0});
  file.Flush();
  file.Rewind();
  return {std::move(file), std::vector<CodedColumn>(2), kRecords};
}

/// Makes a number of the first record a missing one, after the first pass has read it.
class Meddler : public Interrupt {
 public:
  explicit Meddler(const CodedTable& table) : descriptor_(fileno(table.File())) {}

  bool QueryWillCancel() override {
    const double missing = QvMV::gMissingValue;
    EXPECT_EQ(pwrite(descriptor_, &missing, sizeof missing, kX * sizeof(double)),
              static_cast<ssize_t>(sizeof missing));
    return false;
  }

 private:
  int descriptor_;
};

TEST(ModelRun, ATemporaryFileThatChangesBetweenThePassesEndsTheRun) {
  const CodedTable table = MakeTable();
  QvRegSettings settings;
  ASSERT_TRUE(settings.SetDependent(kY));
  ASSERT_EQ(settings.AddCovariate(kX), 1);
  const std::vector<int> variables{kX};
  QvModelEffect effect(0, 1, &variables);
  ASSERT_EQ(effect.AddCovariate(kX), 1);
  ASSERT_TRUE(settings.AddModelEffect(effect));
  ProgressBar progress;
  Meddler meddler(table);
  ModelRun run(settings, table, 2, progress, meddler);
  try {
    run.Build();
    FAIL() << "the model was built";
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kRunFailed);
    EXPECT_STREQ(
        error.what(),
        "The first pass over the temporary file used 40000 records, and a later one 39999. Check "
        "the disk, or name another folder with --spool-dir.");
  }
}
#endif

// A table of which no record can be used is an error that says why.

/// Linear, then logistic: the dependent y.
class UnusableRecords : public ::testing::TestWithParam<ModelKind> {
 protected:
  /// Five records of i from 0 to 4; Y in the text is a dependent that suits the model.
  static FitOptions Options(std::string columns, const std::string& formula = "y ~ x",
                            const std::string& where = "true") {
    const std::string dependent = GetParam() == ModelKind::kLinear ? "(i + i % 3)" : "(i % 3 = 0)";
    for (std::size_t at = 0; (at = columns.find('Y')) != std::string::npos;) {
      columns.replace(at, 1, dependent);
    }
    FitOptions options =
        OptionsFor(fmt::format("SELECT {} FROM range(5) r(i) WHERE {}", columns, where), formula);
    options.binding.model = GetParam();
    return options;
  }

  static void Expect(const FitOptions& options, const std::string& text) {
    const Failure failure = FailureOf(options);
    EXPECT_EQ(failure.code, 1);
    EXPECT_EQ(failure.message, text);
  }
};

TEST_P(UnusableRecords, NoRecordAtAll) {
  const std::string text =
      "The data hold no record. Check that the file, the pattern or the query gives rows.";
  Expect(Options("i AS x, Y AS y", "y ~ x", "i > 9"), text);
  Expect(Options("Y AS y", "y ~ 1", "i > 9"), text);
}

TEST_P(UnusableRecords, ACovariateIsMissing) {
  Expect(Options("NULL::DOUBLE AS x, Y AS y"),
         "None of the 5 records can be used. In 5 a value is missing ('x' in 5); leave 'x' out of "
         "the model, or fill it.");
}

TEST_P(UnusableRecords, AFactorIsMissing) {
  Expect(Options("NULL::VARCHAR AS g, i AS x, Y AS y", "y ~ x + g"),
         "None of the 5 records can be used. In 5 a value is missing ('g' in 5); leave 'g' out of "
         "the model, or fill it.");
}

TEST_P(UnusableRecords, TheDependentIsMissing) {
  Expect(
      Options("i AS x, CASE WHEN i > 9 THEN Y END AS y"),
      "None of the 5 records can be used. In 5 a value is missing ('y' in 5); fill the dependent "
      "'y', or choose another.");
}

TEST_P(UnusableRecords, EachRecordLacksAnotherValue) {
  Expect(Options("CASE WHEN i % 2 = 0 THEN i END AS x, CASE WHEN i % 2 = 1 THEN Y END AS y"),
         "None of the 5 records can be used. In 5 a value is missing ('y' in 3, 'x' in 2); leave "
         "'x' out of the model, or fill it.");
}

TEST_P(UnusableRecords, TheEmptiestColumnIsNamed) {
  Expect(Options("CASE WHEN i = 1 THEN i END AS x, CASE WHEN i = 2 THEN i END AS z, "
                 "CASE WHEN i < 2 THEN 1 END AS v, Y AS y",
                 "y ~ v + x + z"),
         "None of the 5 records can be used. In 5 a value is missing ('v' in 3, 'x' in 4, 'z' in "
         "4); leave 'x' out of the model, or fill it.");
}

TEST_P(UnusableRecords, TheOnlyRecord) {
  Expect(Options("NULL::DOUBLE AS x, Y AS y", "y ~ x", "i = 0"),
         "The only record cannot be used. In 1 a value is missing ('x' in 1); leave 'x' out of the "
         "model, or fill it.");
}

TEST_P(UnusableRecords, WeightsThatAreNotAboveZero) {
  for (const char* weight : {"0", "-1.5", "NULL::DOUBLE", "'NaN'::DOUBLE"}) {
    FitOptions options = Options(fmt::format("i AS x, Y AS y, {} AS w", weight));
    const std::string text =
        "None of the 5 records can be used. In 5 a weight is missing or not above 0; check 'w'.";
    options.binding.freqWeight = "w";
    Expect(options, text);
    options.binding.freqWeight.clear();
    options.binding.regressionWeight = "w";
    Expect(options, text);
  }
}

TEST_P(UnusableRecords, TwoWeights) {
  FitOptions options = Options("i AS x, Y AS y, i % 2 AS w, (i + 1) % 2 AS v");
  options.binding.freqWeight = "w";
  options.binding.regressionWeight = "v";
  Expect(options,
         "None of the 5 records can be used. In 5 a weight is missing or not above 0; check 'w', "
         "'v'.");
}

TEST_P(UnusableRecords, MissingValuesAndWeights) {
  FitOptions options =
      Options("CASE WHEN i % 2 = 0 THEN i END AS x, Y AS y, CASE WHEN i % 2 = 1 THEN 1 END AS w");
  options.binding.freqWeight = "w";
  Expect(options,
         "None of the 5 records can be used. In 2 a value is missing ('x' in 2); leave 'x' out of "
         "the model, or fill it. In 3 a weight is missing or not above 0; check 'w'.");
}

// A record without a weight is one of those with a bad weight.
TEST(ModelRunRecords, AMissingWeightIsNoMissingValue) {
  FitOptions options = OptionsFor(
      "SELECT range AS x, range * 5 % 7 AS y, CASE WHEN range > 2 THEN 1 END AS w, "
      "CASE WHEN range > 0 THEN 1 END AS r FROM range(12)",
      "nullif(y, 1) ~ x");
  options.binding.freqWeight = "w";
  options.binding.regressionWeight = "r";
  const RecordUse records = Fit(options).records;
  EXPECT_EQ(records.missing + records.badWeight + records.used, 12);
  EXPECT_EQ(records.badWeight, 3);
  ASSERT_EQ(records.missingByColumn.size(), 1U);
  EXPECT_EQ(records.missingByColumn[0].name, "nullif(y, 1)");
  EXPECT_EQ(records.missingByColumn[0].count, records.missing);

  options.formula = "y ~ x + w";
  const RecordUse both = Fit(options).records;
  ASSERT_EQ(both.missingByColumn.size(), 1U) << "as a covariate it is one";
  EXPECT_EQ(both.missingByColumn[0].count, 3);
}

INSTANTIATE_TEST_SUITE_P(Kinds, UnusableRecords,
                         ::testing::Values(ModelKind::kLinear, ModelKind::kLogistic),
                         [](const auto& kind) {
                           return kind.param == ModelKind::kLinear ? "Linear" : "Logistic";
                         });

}  // namespace
}  // namespace qvhost
