// Standardized variables: the records that count, the numbers, and what becomes of the records.
#include "host/fit/Standardization.h"

#include <cmath>
#include <csignal>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/fit/RunSettings.h"
#include "tests/host/fit/Fitting.h"
#include "tests/host/table/TableTest.h"

namespace qvhost {
namespace {

/// What was done to the coded records of a formula over a query, and the records.
struct Standard {
  std::vector<Standardization> exact;
  std::vector<StandardizedVariable> results;
  std::vector<std::vector<double>> columns;
  std::vector<CodedColumn> infos;
};

QvRegRecordValidator ValidatorFor(const Formula& formula, const ModelBinding& binding,
                                  const CodedTable& table) {
  RunSettings settings(formula, binding, table, {});
  return ValidatorOf(settings.Get());
}

Standard Of(const std::string& sql, const std::string& text, const BindingOptions& options = {}) {
  const TableSource source = OpenSql(sql);
  const Formula formula = ParseFormula(text, ColumnsOf(source, text));
  const ModelBinding binding = BindModel(formula, source, options);
  CodedTable table = CodeTable(source, binding.columns);
  Standard made;
  made.exact =
      Standardize(formula, binding, table, ValidatorFor(formula, binding, table), Interrupt(), {});
  made.results = VariablesOf(made.exact);
  EXPECT_EQ(std::ftell(table.File()), 0) << "whoever reads on starts at the first record";
  for (int i = 0; i < table.RecordSize(); ++i) {
    made.columns.push_back(Values(table, static_cast<std::size_t>(i)));
  }
  made.infos = table.Columns();
  return made;
}

std::string ErrorOf(const std::string& sql, const std::string& text,
                    const BindingOptions& options = {}) {
  try {
    static_cast<void>(Of(sql, text, options));
  } catch (const Error& error) {
    return error.what();
  }
  return "no error";
}

// Mean 4, standard deviation sqrt(20 / 3).
constexpr const char* kFour =
    "SELECT * FROM (VALUES (1, 1, 1.0), (2, 3, 2.0), (3, 5, 1.0), (4, 7, 1.0)) t(y, x, w)";

TEST(Standardization, SubtractsTheMeanAndDividesByTheDeviation) {
  const Standard made = Of(kFour, "y ~ scale(x) + center(x) + x");
  ASSERT_EQ(made.results.size(), 2U);
  EXPECT_EQ(made.results[0].label, "scale(x)");
  EXPECT_EQ(made.results[0].argument, "x");
  EXPECT_DOUBLE_EQ(made.results[0].centre, 4.0);
  EXPECT_DOUBLE_EQ(made.results[0].deviation.value_or(0), std::sqrt(20.0 / 3));
  EXPECT_EQ(made.results[1].label, "center(x)");
  EXPECT_DOUBLE_EQ(made.results[1].centre, 4.0);
  EXPECT_FALSE(made.results[1].deviation.has_value());
  const double deviation = std::sqrt(20.0 / 3);
  const std::vector<double> centred = {-3, -1, 1, 3};
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_DOUBLE_EQ(made.columns[1][i], centred[i] / deviation);
    EXPECT_DOUBLE_EQ(made.columns[2][i], centred[i]);
    EXPECT_DOUBLE_EQ(made.columns[3][i], 1.0 + 2.0 * static_cast<double>(i));
  }
  EXPECT_DOUBLE_EQ(made.infos[1].lowest, -3 / deviation);
  EXPECT_DOUBLE_EQ(made.infos[1].highest, 3 / deviation);
}

// A mean of the numbers 3 and 5 alone.
TEST(Standardization, CountsTheRecordsThatAreUsed) {
  const std::string rows =
      "SELECT * FROM (VALUES (1, 3, 0.5, 'a', 2.0), (2, 5, 1.0, 'b', 1.0), (NULL, 100, 1.0, 'a', "
      "1.0), (4, 200, 0.0, 'a', 1.0), (5, 300, NULL, 'a', 1.0), (6, 400, 1.0, NULL, 1.0), (7, 500, "
      "1.0, 'a', NULL), (8, NULL, 1.0, 'a', 1.0)) t(y, x, w, g, r)";
  BindingOptions options;
  options.freqWeight = "w";
  options.regressionWeight = "r";
  const Standard made = Of(rows, "y ~ g + scale(x)", options);
  ASSERT_EQ(made.results.size(), 1U);
  EXPECT_DOUBLE_EQ(made.results[0].centre, 4.0);
  EXPECT_DOUBLE_EQ(made.results[0].deviation.value_or(0), std::sqrt(2.0));
  EXPECT_DOUBLE_EQ(made.columns[2][0], -1 / std::sqrt(2.0));
  EXPECT_DOUBLE_EQ(made.columns[2][2], 96 / std::sqrt(2.0)) << "of a record without a dependent";
  EXPECT_EQ(made.columns[2][7], QvMV::gMissingValue);
}

TEST(Standardization, ARecordWithoutACategoryIsNotUsed) {
  const Standard made = Of("SELECT * FROM (VALUES ('no', 3), ('yes', 5), (NULL, 100)) t(answer, x)",
                           "answer ~ scale(x)");
  ASSERT_EQ(made.results.size(), 1U);
  EXPECT_DOUBLE_EQ(made.results[0].centre, 4.0);
}

// A variance from sums of squares would have no right digit.
TEST(Standardization, KeepsTheDigitsOfALargeMean) {
  const Standard made =
      Of("SELECT i AS y, 1e9 + (i % 2) AS x FROM (SELECT range AS i FROM range(1000))",
         "y ~ scale(x)");
  EXPECT_DOUBLE_EQ(made.results[0].centre, 1e9 + 0.5);
  EXPECT_NEAR(made.results[0].deviation.value_or(0), 0.5 * std::sqrt(1000.0 / 999), 1e-15);
}

TEST(Standardization, HoldsNumbersOfAnySize) {
  const Standard made = Of(
      "SELECT * FROM (VALUES (1, -1e308, 1e-300), (2, 1e308, 3e-300), (3, 0.0, 2e-300)) t(y, x, z)",
      "y ~ scale(x) + scale(z)");
  EXPECT_DOUBLE_EQ(made.results[0].deviation.value_or(0), 1e308);
  EXPECT_DOUBLE_EQ(made.columns[1][1], 1.0);
  EXPECT_DOUBLE_EQ(made.results[1].deviation.value_or(0), 1e-300);
  EXPECT_DOUBLE_EQ(made.columns[2][0], -1.0);
}

TEST(Standardization, HoldsMoreRecordsThanABlock) {
  const Standard made =
      Of("SELECT range AS y, range::DOUBLE AS x FROM range(300001)", "y ~ scale(x)");
  EXPECT_DOUBLE_EQ(made.results[0].centre, 150000.0);
  EXPECT_DOUBLE_EQ(made.columns[1][150000], 0.0);
  EXPECT_DOUBLE_EQ(made.columns[1][300000], -made.columns[1][0]);
}

TEST(Standardization, AnExpressionAndTheResponse) {
  const Standard made = Of(kFour, "scale(y) ~ center(I(2 * x) + 0)");
  EXPECT_EQ(made.results[0].label, "scale(y)");
  EXPECT_DOUBLE_EQ(made.columns[0][0], -1.5 / std::sqrt(5.0 / 3));
  EXPECT_EQ(made.results[1].argument, "I(2 * x) + 0");
  EXPECT_DOUBLE_EQ(made.columns[1][3], 6.0);
}

TEST(Standardization, ADeviationOfZeroIsAnError) {
  EXPECT_EQ(ErrorOf("SELECT range AS y, 3.5 AS x FROM range(5)", "y ~ 1 + scale(x)"),
            "'scale(x)' has no value, as x is 3.5 in all records used and its standard deviation "
            "0; take the term out.\n  y ~ 1 + scale(x)\n          ^");
  for (const char* const rows : {"3", "41", "43", "81", "1000"}) {
    const std::string same =
        "SELECT range AS y, 0.1::DOUBLE AS x FROM range(" + std::string(rows) + ")";
    EXPECT_EQ(ErrorOf(same, "y ~ scale(x)").substr(0, 41),
              "'scale(x)' has no value, as x is 0.1 in a");
    EXPECT_EQ(Of(same, "y ~ center(x)").columns[1][0], 0.0);
  }
  EXPECT_EQ(ErrorOf("SELECT 1 AS y, 3.5 AS x", "y ~ scale(x)"),
            "'scale(x)' needs at least two records, and one is used.\n  y ~ scale(x)\n      ^");
  EXPECT_EQ(ErrorOf("SELECT range AS y, 3.5 AS x FROM range(5)", "y ~ center(x)"), "no error");
  EXPECT_EQ(ErrorOf("SELECT NULL::INTEGER AS y, 3 AS x", "y ~ scale(x)"), "no error");
}

// Also where the mean in the values' own units has lost digits, as that of subnormal numbers.
TEST(Standardization, TheScalesGiveTheSameBitsAgain) {
  for (const char* const unit : {"1.0", "1e300", "7e-310", "-3e-322", "1e-30"}) {
    const std::string rows =
        "SELECT i AS y, (i * i % 11) * " + std::string(unit) + "::DOUBLE AS x FROM range(9) t(i)";
    const Standard made = Of(rows, "y ~ scale(x) + center(x) + x");
    ASSERT_EQ(made.exact.size(), 2U);
    for (const Standardization& one : made.exact) {
      const auto position = static_cast<std::size_t>(one.position);
      for (std::size_t i = 0; i < made.columns[3].size(); ++i) {
        EXPECT_EQ(ScaledValue(one.scale, made.columns[3][i]), made.columns[position][i]) << unit;
      }
    }
  }
}

TEST(Standardization, OfACategoryIsAnError) {
  BindingOptions options;
  options.model = ModelKind::kLogistic;
  EXPECT_EQ(ErrorOf(kFour, "scale(y) ~ x", options),
            "The dependent of a logistic model is a category and cannot be standardized; name the "
            "column alone.\n  scale(y) ~ x\n  ^");
  EXPECT_EQ(ErrorOf("SELECT 1 AS y, 'a' AS g", "y ~ scale(g)"),
            "scale() takes a number here, but 'g' is text; if it holds numbers, write cast(g as "
            "double).\n  y ~ scale(g)\n            ^");
}

TEST(Standardization, StopsWhenInterrupted) {
  const TableSource source = OpenSql(kFour);
  const std::string text = "y ~ scale(x)";
  const Formula formula = ParseFormula(text, ColumnsOf(source, text));
  const ModelBinding binding = BindModel(formula, source, {});
  CodedTable table = CodeTable(source, binding.columns);
  const QvRegRecordValidator validator = ValidatorFor(formula, binding, table);
  Interrupt interrupt;
  std::raise(SIGINT);
  EXPECT_THROW(static_cast<void>(Standardize(formula, binding, table, validator, interrupt, {})),
               Cancelled);
}

TEST(Standardization, TheSentenceHasSixDigits) {
  EXPECT_EQ(StandardizedText({"scale(m)", "m", 4201.7543859, 801.95453}),
            "scale(m): mean 4201.75, standard deviation 801.955, of the records used.");
  EXPECT_EQ(StandardizedText({"center(m)", "m", 0.5, {}}),
            "center(m): mean 0.5, of the records used.");
}

// The fit is that of the numbers standardized by hand; y = 10 + 3 x exactly.
TEST(Standardization, TheModelIsThatOfTheStandardizedNumbers) {
  const std::string rows =
      "SELECT 10 + 3 * i AS y, i AS x, i % 2 AS g FROM (SELECT range AS i FROM range(9))";
  const FitResult fit = Fit(rows, "y ~ scale(x)");
  EXPECT_NEAR(fit.parameters.at(0).estimate.value_or(0), 22.0, 1e-12);
  EXPECT_NEAR(fit.parameters.at(1).estimate.value_or(0), 3 * std::sqrt(7.5), 1e-12);
  ASSERT_EQ(fit.standardized.size(), 1U);
  EXPECT_EQ(fit.warnings.size(), Fit(rows, "y ~ x").warnings.size() + 1);
  const FitResult square = Fit(rows, "y ~ I(scale(x)^2) + scale(x):C(g)");
  EXPECT_EQ(square.parameters.at(1).label, "I(scale(x)^2)");
  EXPECT_NEAR(square.parameters.at(2).estimate.value_or(0), 3 * std::sqrt(7.5), 1e-10);
}

}  // namespace
}  // namespace qvhost
