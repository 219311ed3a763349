#include "host/fit/RunSettings.h"

#include <cstdint>
#include <utility>

#include <fmt/format.h>
#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/table/CodeTable.h"
#include "qvreg/settings/QvLogRegSettings.h"
#include "tests/host/fit/Fitting.h"

namespace qvhost {
namespace {

constexpr const char* kRows =
    "SELECT ['u', 'v', 'w'][1 + range % 3] AS y, range % 2 AS x, 1.5 AS z, ['p', 'q'][1 + range % "
    "2] "
    "AS g, 2 AS n, 0.5 AS r FROM range(12)";

/// The settings of a run, with what they were made of.
class MadeSettings {
 public:
  explicit MadeSettings(const FitOptions& options) : MadeSettings(options, std::nullopt) {}

  /// The table claims to hold so many records.
  MadeSettings(const FitOptions& options, std::optional<std::int64_t> records)
      : formula_(ParseFormula(options.formula)),
        source_(options.source),
        binding_(BindModel(formula_, source_, options.binding)),
        coded_(CodeTable(source_, binding_.columns)),
        claimed_(SpoolFile(""), coded_.Columns(), records.value_or(coded_.RecordCount())),
        settings_(formula_, binding_, claimed_, options) {}

  void Settle() { settings_.SettleReference(coded_, {}, Interrupt()); }
  QvRegSettings& Get() { return settings_.Get(); }
  QvLogRegSettings& Logistic() { return dynamic_cast<QvLogRegSettings&>(settings_.Get()); }

 private:
  Formula formula_;
  TableSource source_;
  ModelBinding binding_;
  CodedTable coded_;
  CodedTable claimed_;
  RunSettings settings_;
};

TEST(RunSettings, OfALinearModelHaveItsType) {
  MadeSettings made(OptionsFor(kRows, "x ~ z"));
  EXPECT_EQ(made.Get().GetModelType(), QvConst::QvRegModelGLM);
}

TEST(RunSettings, OfALinearModelRefineAsFarAsItHelps) {
  FitOptions options = OptionsFor(kRows, "x ~ z");
  MadeSettings refined(options);
  EXPECT_TRUE(refined.Get().GetRefineEstimates());
  EXPECT_EQ(refined.Get().GetMaxRefinements(), 5);
  options.refine = false;
  MadeSettings plain(options);
  EXPECT_FALSE(plain.Get().GetRefineEstimates());
}

TEST(RunSettings, OfALogisticModelHaveTheLibrarysDefaults) {
  MadeSettings made(OptionsFor(kRows, "y ~ x"));
  const QvLogRegSettings defaults;
  QvLogRegSettings& settings = made.Logistic();
  EXPECT_EQ(settings.GetModelType(), QvConst::QvRegModelLogistic);
  EXPECT_TRUE(settings.IsValidSettings().IsOK());
  EXPECT_EQ(settings.GetDependentNCategs(), 3);
  EXPECT_EQ(settings.GetDependentRefCateg(), defaults.GetDependentRefCateg());
  EXPECT_EQ(settings.GetMaxIterations(), defaults.GetMaxIterations());
  EXPECT_EQ(settings.GetMaxStepHalvingValue(), 30) << "as many as rare levels need";
  EXPECT_EQ(settings.GetStartingIteration(), defaults.GetStartingIteration());
  EXPECT_EQ(settings.GetLLConCriterion(), defaults.GetLLConCriterion());
  EXPECT_EQ(settings.GetLLFuncChange(), defaults.GetLLFuncChange());
  EXPECT_EQ(settings.GetParamEstConCriterion(), defaults.GetParamEstConCriterion());
  EXPECT_EQ(settings.GetParamEstChange(), defaults.GetParamEstChange());
}

TEST(RunSettings, CarryEveryLogisticOption) {
  FitOptions options = OptionsFor(kRows, "y ~ x");
  options.logistic = {"v", false, 7, 3, 1e-4, true, 1e-5, true, 11};
  MadeSettings made(options);
  QvLogRegSettings& settings = made.Logistic();
  EXPECT_EQ(settings.GetDependentRefCateg(), 1);
  EXPECT_FALSE(settings.GetUsePatternTabulator());
  EXPECT_EQ(settings.GetMaxIterations(), 7);
  EXPECT_EQ(settings.GetMaxStepHalvingValue(), 3);
  EXPECT_EQ(settings.GetLLConCriterion(), 1e-4);
  EXPECT_TRUE(settings.GetLLFuncChange());
  EXPECT_EQ(settings.GetParamEstConCriterion(), 1e-5);
  EXPECT_TRUE(settings.GetParamEstChange());
  EXPECT_EQ(settings.GetStartingIteration(), 11);
}

TEST(RunSettings, TheToleranceSuitsTheModel) {
  MadeSettings linear(OptionsFor(kRows, "x ~ z"));
  EXPECT_EQ(linear.Get().GetTolerance(), 1e-14);
  FitOptions options = OptionsFor(kRows, "y ~ x + g");
  options.binding.model = ModelKind::kLogistic;
  MadeSettings logistic(options);
  EXPECT_EQ(logistic.Get().GetTolerance(), 1e-12);
}

TEST(RunSettings, CarryWhatEveryModelHas) {
  FitOptions options = OptionsFor(kRows, "y ~ x + g");
  options.binding.freqWeight = "n";
  options.binding.regressionWeight = "r";
  options.tolerance = 1e-9;
  options.confidence = 0.8;
  options.intercept = false;
  MadeSettings made(options);
  QvRegSettings& settings = made.Get();
  EXPECT_TRUE(settings.IsValidSettings().IsOK());
  EXPECT_FALSE(settings.GetInterceptUse());
  EXPECT_EQ(settings.GetTolerance(), 1e-9);
  EXPECT_EQ(settings.GetConfidenceLevel(), 0.8);
  EXPECT_EQ(settings.GetFrequencyWeightVar(), 3);
  EXPECT_EQ(settings.GetRegrWeightVar(), 4);
}

TEST(RunSettings, RefuseAnUnknownReference) {
  FitOptions options = OptionsFor(kRows, "y ~ x");
  options.logistic.reference = "uu";
  EXPECT_THROW(MadeSettings{options}, Error);
}

// ---- The reference of two levels --------------------------------------------

/// The library's code of the reference, when the dependent's levels occur in these rows.
int Settled(const std::string& rows, const std::string& reference = "",
            const std::string& formula = "y ~ x") {
  FitOptions options = OptionsFor(rows, formula);
  options.logistic.reference = reference;
  MadeSettings made(options);
  made.Settle();
  return made.Logistic().GetDependentRefCateg();
}

TEST(RunSettings, OfTwoLevelsTheFirstIsTheReference) {
  const std::string two = "SELECT range % 2 = 0 AS y, range % 3 AS x FROM range(12)";
  EXPECT_EQ(Settled(two), QvLogRegSettings::kFirstObserved);
  EXPECT_EQ(Settled(kRows), QvLogRegSettings::kLastObserved);
  EXPECT_EQ(Settled(two, "last"), QvLogRegSettings::kLastObserved);
  EXPECT_EQ(Settled(two, "true"), 1);
}

TEST(RunSettings, LevelsOfRecordsThatAreLeftOutDoNotCount) {
  const std::string rows =
      "SELECT ['u', 'v', 'w'][1 + range % 3] AS y, nullif(range % 3, {}) AS x FROM range(12)";
  for (const char* missing : {"0", "1", "2"}) {
    EXPECT_EQ(Settled(fmt::format(fmt::runtime(rows), missing)), QvLogRegSettings::kFirstObserved);
  }
  EXPECT_EQ(Settled(fmt::format(fmt::runtime(rows), 3)), QvLogRegSettings::kLastObserved);
  EXPECT_EQ(Settled(fmt::format(fmt::runtime(rows), 0), "last"), QvLogRegSettings::kLastObserved);
}

TEST(RunSettings, TheThirdLevelMayComeLast) {
  EXPECT_EQ(Settled("SELECT 'abc'[1 + range % 2] AS y, 1 AS x FROM range(50000) UNION ALL SELECT "
                    "'c', 1 ORDER BY y"),
            QvLogRegSettings::kLastObserved);
}

TEST(RunSettings, ALinearModelHasNoReference) {
  MadeSettings made(OptionsFor(kRows, "x ~ z"));
  EXPECT_NO_THROW(made.Settle());
}

// ---- Where the records are kept ---------------------------------------------

/// A record of two values: 128 MiB hold 8,388,608.
constexpr std::int64_t kMostRecords = 8388608;

bool IsKept(std::int64_t records, std::optional<bool> asked = std::nullopt) {
  FitOptions options = OptionsFor(kRows, "y ~ x");
  options.logistic.inMemory = asked;
  return MadeSettings(options, records).Logistic().GetUsePatternTabulator();
}

TEST(RunSettings, TablesUpTo128MiBAreKeptInMemory) {
  EXPECT_TRUE(IsKept(0));
  EXPECT_TRUE(IsKept(kMostRecords));
  EXPECT_FALSE(IsKept(kMostRecords + 1));
  EXPECT_FALSE(IsKept(INT64_MAX)) << "no overflow on the way";
}

TEST(RunSettings, TheUserDecidesWhateverTheSize) {
  EXPECT_FALSE(IsKept(1, false));
  EXPECT_TRUE(IsKept(100 * kMostRecords, true));
}

using Levels = std::vector<std::string>;

CodedColumn Dependent(Levels levels) {
  CodedColumn column;
  column.label = "y";
  column.kind = CodedColumn::Kind::kFactor;
  column.levels = std::move(levels);
  return column;
}

int Find(const std::string& reference, const Levels& levels) {
  return FindReferenceLevel(reference, Dependent(levels));
}

std::string MessageOf(const std::string& reference, const Levels& levels) {
  try {
    static_cast<void>(Find(reference, levels));
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kBadInput);
    return error.what();
  }
  return "";
}

TEST(ReferenceLevel, IsTheCodeOfItsText) {
  const Levels levels = {"agree", "doubt", "deny"};
  EXPECT_EQ(Find("agree", levels), 0);
  EXPECT_EQ(Find("doubt", levels), 1);
  EXPECT_EQ(Find("deny", levels), 2);
}

TEST(ReferenceLevel, FirstAndLastAreLeftToTheLibrary) {
  const Levels levels = {"agree", "doubt", "deny"};
  EXPECT_EQ(Find("first", levels), QvLogRegSettings::kFirstObserved);
  EXPECT_EQ(Find("last", levels), QvLogRegSettings::kLastObserved);
  EXPECT_EQ(Find("", levels), QvLogRegSettings::kLastObserved);
}

TEST(ReferenceLevel, ALevelOfThatNameGoesBefore) {
  const Levels levels = {"zero", "last", "first"};
  EXPECT_EQ(Find("first", levels), 2);
  EXPECT_EQ(Find("last", levels), 1);
}

TEST(ReferenceLevel, ALevelThatDoesNotExistIsRefusedWithTheNearest) {
  EXPECT_EQ(MessageOf("agreee", {"agree", "doubt"}),
            "'y' has no level 'agreee' to be the --reference; give one of its levels, first or "
            "last. Did you mean 'agree'? Its levels are 'agree', 'doubt'.");
  EXPECT_EQ(MessageOf("Agree", {"agree", "doubt"}),
            "'y' has no level 'Agree' to be the --reference; give one of its levels, first or "
            "last. Did you mean 'agree'? Its levels are 'agree', 'doubt'.");
  EXPECT_EQ(MessageOf("zzz", {"agree", "doubt"}),
            "'y' has no level 'zzz' to be the --reference; give one of its levels, first or last. "
            "Its levels are 'agree', 'doubt'.");
  EXPECT_EQ(MessageOf("zzz", {"1", "2", "3", "4", "5", "6"}),
            "'y' has no level 'zzz' to be the --reference; give one of its levels, first or last. "
            "Its levels are '1', '2', '3', '4', '5', '6'.");
}

TEST(ReferenceLevel, QuotesInALevelDoNoHarm) {
  EXPECT_EQ(Find("it's", {"it's", "\"so\""}), 0);
  EXPECT_EQ(MessageOf("it'", {"it's", "\"so\""}),
            "'y' has no level 'it'' to be the --reference; give one of its levels, first or last. "
            "Did you mean 'it's'? Its levels are 'it's', '\"so\"'.");
}

TEST(ReferenceLevel, ADependentWithoutAnyLevelHasNone) {
  EXPECT_EQ(Find("last", {}), QvLogRegSettings::kLastObserved);
  EXPECT_EQ(MessageOf("yes", {}),
            "'y' has no level 'yes' to be the --reference; give one of its levels, first or last.");
}

}  // namespace
}  // namespace qvhost
