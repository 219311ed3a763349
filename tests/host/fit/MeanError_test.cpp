#include "host/fit/MeanError.h"

#include "qvreg/common/Constants.h"
#include "tests/host/fit/Fitting.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

/// Three rows at the end take part in nothing but the scoring.
constexpr const char* kRows =
    "SELECT *, 2 * x + 1 AS x2 FROM (VALUES (3.1, 1.0, 'a', 1, 1.0), (4.9, 2, 'b', 2, 0.5), "
    "(7.2, 3, 'a', 1, 2), (8.8, 4, 'b', 3, 1), (2.0, 1.5, 'c', 1, 1.5), (9.5, 5, 'c', 1, 0.25), "
    "(11.1, 6, 'a', 2, 1), (6.4, 3.5, 'b', 1, 3), (5.0, 2.5, 'c', 2, 1), (12.5, 7, 'a', 1, 0.75), "
    "(NULL, 1, 'a', 1, 1), (NULL, 4, 'b', NULL, 1), (NULL, 10, 'c', 1, 1), (NULL, 10, 'd', 1, 1)) "
    "t(y, x, g, f, w)";

class MeanErrorTest : public TableTest {
 protected:
  using Errors = std::vector<std::optional<double>>;

  /// Of every record of the table that a model was fitted to.
  static Errors Of(const FitOptions& options) {
    const BuiltModel model(options);
    const auto& output = dynamic_cast<const QvGLMOutputStats&>(model.Output());
    std::vector<unsigned char> bytes;
    QvScorer scorer;
    EXPECT_FALSE(model.Predictor().component.WriteScoring(bytes).IsError());
    EXPECT_FALSE(scorer.Open(bytes).IsError());
    MeanError error(output, model.Predictor().residualStdError, scorer);
    Errors errors;
    for (const std::vector<double>& values : Records(model.Table())) {
      QvCommon::Record record(static_cast<int>(values.size()));
      for (std::size_t i = 0; i < values.size(); ++i) record[static_cast<int>(i)] = values[i];
      errors.push_back(error.Of(record));
    }
    return errors;
  }

  static void ExpectNear(std::optional<double> error, double expected) {
    ASSERT_TRUE(error);
    EXPECT_NEAR(*error / expected, 1.0, 1e-12);
  }
};

// R: m <- lm(y ~ x + g, d); predict(m, se.fit = TRUE)$se.fit
TEST_F(MeanErrorTest, IsThatOfR) {
  const Errors errors = Of(OptionsFor(kRows, "y ~ x + g"));
  const std::vector<double> expected = {
      0.61420748189680396, 0.49233775137661168, 0.43919580911485445, 0.47826804488532687,
      0.51049451155401460, 0.54447406764799489, 0.47288399291621047, 0.46560842069308189,
      0.46865363575922064, 0.56195925723610873};
  for (std::size_t i = 0; i < expected.size(); ++i) ExpectNear(errors[i], expected[i]);
}

// R: m <- lm(y ~ x + g + x2, d[rep(1:10, d$f), ], weights = w); predict(m, n, se.fit = TRUE)$se.fit
TEST_F(MeanErrorTest, IsThatOfRWithBothWeightsAndARedundantColumn) {
  FitOptions options = OptionsFor(kRows, "y ~ x + g + x2");
  options.binding.freqWeight = "f";
  options.binding.regressionWeight = "w";
  const Errors errors = Of(options);
  const std::vector<double> expected = {0.56575922923748423, 0.30942841957746647,
                                        1.17503485112994999};
  for (std::size_t i = 0; i < expected.size(); ++i) ExpectNear(errors[10 + i], expected[i]);
}

TEST_F(MeanErrorTest, ALevelThatWasNotUsedHasNone) {
  EXPECT_FALSE(Of(OptionsFor(kRows, "y ~ x + g")).back());
}

TEST_F(MeanErrorTest, GoesWithTheUnitsHoweverExtreme) {
  const Errors usual = Of(OptionsFor(kRows, "y ~ x + g"));
  const Errors extreme = Of(OptionsFor(
      std::string("SELECT y * 1e-100 AS y, x * 1e150 AS x, g FROM (") + kRows + ")", "y ~ x + g"));
  for (std::size_t i = 0; i < 13; ++i) ExpectNear(extreme[i], *usual[i] * 1e-100);
}

TEST_F(MeanErrorTest, ARedundantColumnMayHoldAnything) {
  // The last record's square is infinite in a column that repeats the one before.
  const std::string rows =
      "SELECT * FROM (VALUES (1.0, 1.0, 1.0), (3, 2, 2), (4, 3, 3), (9, 4, 4), (NULL, 1, 1e200)) "
      "t(y, x, z)";
  const Errors errors = Of(OptionsFor(rows, "y ~ I(x^2) + I(z^2)"));
  ASSERT_TRUE(errors[0]);
  ExpectNear(errors[4], *errors[0]);
}

TEST_F(MeanErrorTest, WithoutAResidualThereIsNone) {
  const Errors errors = Of(OptionsFor("SELECT * FROM (VALUES (1, 1), (2, 3)) t(y, x)", "y ~ x"));
  EXPECT_FALSE(errors.front());
}

TEST_F(MeanErrorTest, OfAnExactFitIsZeroAndNoNaN) {
  for (const auto& error :
       Of(OptionsFor("SELECT 2 * i AS y, i AS x FROM range(9) t(i)", "y ~ x"))) {
    ASSERT_TRUE(error);
    EXPECT_NEAR(*error, 0.0, 1e-12);
  }
}

}  // namespace
}  // namespace qvhost
