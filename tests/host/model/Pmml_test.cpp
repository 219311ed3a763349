// Models saved as PMML, read again; and what the document says to others.
#include "host/model/Pmml.h"

#include <algorithm>
#include <filesystem>
#include <pugixml.hpp>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/report/Report.h"
#include "tests/host/model/SavedFits.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Strings = std::vector<std::string>;

constexpr const char* kTable =
    "SELECT i * 0.75 + sin(i * 17.0) AS y, (i * 7 % 11)::DOUBLE AS x, i % 3 + 2000 AS year, "
    "chr(CAST(97 + i % 3 AS INTEGER)) AS g, i % 4 = 1 AS b, CAST(i % 5 + 1 AS DOUBLE) AS w, "
    "DATE '2020-01-01' + CAST(i % 6 AS INTEGER) AS day, i % 13 + 0.5 AS \"odd <&\"\"> name\", "
    "i % 7 * 1e300 AS huge, 'a' || chr(CAST(10 + 22 * (i % 2) AS INTEGER)) || '\"<é&' || i % 2 AS "
    "t "
    "FROM range(60) t(i)";

/// A saved model, its text, and what is read of that.
struct Case {
  SavedModel model;
  std::string text;
  SavedModel again;
};

Case SaveAndRead(const SavedModel& model) {
  const qvtest::TempFolder folder;
  Case saved{model, WritePmml(model), {}};
  saved.again = ReadSavedModel(folder.Write("model.pmml", saved.text));
  return saved;
}

void ExpectSameVariables(const SavedModel& a, const SavedModel& b) {
  ASSERT_EQ(a.variables.size(), b.variables.size());
  for (std::size_t i = 0; i < a.variables.size(); ++i) {
    const SavedVariable& one = a.variables[i];
    const SavedVariable& other = b.variables[i];
    EXPECT_EQ(one.label, other.label);
    EXPECT_EQ(one.field, other.field);
    EXPECT_EQ(one.expression, other.expression);
    EXPECT_EQ(one.columns, other.columns);
    EXPECT_EQ(one.isColumn, other.isColumn);
    EXPECT_EQ(one.isFactor, other.isFactor);
    EXPECT_EQ(one.levels, other.levels);
    EXPECT_EQ(one.kind, other.kind);
    EXPECT_EQ(one.position, other.position);
    EXPECT_EQ(one.isWeight, other.isWeight);
    ASSERT_EQ(one.scale.has_value(), other.scale.has_value());
    if (!one.scale) continue;
    EXPECT_EQ(one.scale->mean, other.scale->mean);
    EXPECT_EQ(one.scale->deviation, other.scale->deviation);
    EXPECT_EQ(one.scale->exponent, other.scale->exponent);
  }
}

void ExpectSame(const SavedModel& a, const SavedModel& b) {
  EXPECT_EQ(a.component, b.component);
  EXPECT_EQ(JsonReport(a.fit), JsonReport(b.fit));
  EXPECT_EQ(TextReport(a.fit), TextReport(b.fit));
  EXPECT_EQ(a.reading.na, b.reading.na);
  EXPECT_EQ(a.reading.decimal, b.reading.decimal);
  EXPECT_EQ(a.reading.thousands, b.reading.thousands);
  ASSERT_EQ(a.columns.size(), b.columns.size());
  for (std::size_t i = 0; i < a.columns.size(); ++i) {
    EXPECT_EQ(a.columns[i].name, b.columns[i].name);
    EXPECT_EQ(a.columns[i].kind, b.columns[i].kind);
    EXPECT_EQ(a.columns[i].type, b.columns[i].type);
  }
  ExpectSameVariables(a, b);
}

class PmmlTest : public ::testing::TestWithParam<const char*> {};

TEST_P(PmmlTest, ReadsWhatWasWritten) {
  const Case saved = SaveAndRead(SavedFit(OptionsFor(kTable, GetParam())));
  ExpectSame(saved.model, saved.again);
  EXPECT_EQ(WritePmml(saved.again), saved.text);
}

INSTANTIATE_TEST_SUITE_P(
    Formulas, PmmlTest,
    ::testing::Values("y ~ x", "y ~ 0 + x", "y ~ 1",
                      "log(y + 2) ~ C(year)*x + I(x^2) + b + day:x - day:x",
                      "y ~ scale(huge) + center(x) + `odd <&\"> name` + t", "g ~ x + t",
                      "b ~ x + C(year)", "C(year) ~ x + I(x > 3)", "I(y > 20) ~ w",
                      "y ~ C(day) + year(day) + substr(t, 1, 1)", "y ~ g/x + b:year",
                      // Texts that XML would leave out or change.
                      "y ~ I(t = '') + I(t = ' ') + I(t = '\t') + I(t <> 'a\r\nb') + I(t = '\n')",
                      "y ~ x +\n\tg"));

TEST(Pmml, ReadsWhatWasWrittenOfWeightedModels) {
  for (const char* const dependent : {"y", "y3"}) {
    FitOptions options = Everything(dependent);
    options.source.na = {"NA", "-"};
    options.source.reading.decimal = '.';
    options.margins.emplace();
    options.anova = 2;
    options.binding.validation.kind = ValidationKind::kFolds;
    options.binding.validation.folds = 3;
    const Case saved = SaveAndRead(SavedFit(options));
    ExpectSame(saved.model, saved.again);
    EXPECT_EQ(WritePmml(saved.again), saved.text);
  }
}

TEST(Pmml, ReadsWindowsLinesAByteOrderMarkAndComments) {
  const qvtest::TempFolder folder;
  const SavedModel model = SavedFit(OptionsFor(kTable, "y ~ g + t"));
  std::string text = WritePmml(model);
  for (std::size_t at = text.find('\n'); at != std::string::npos; at = text.find('\n', at + 2)) {
    text.replace(at, 1, "\r\n");
  }
  text.insert(text.find(" <Header"), "<!-- saved & kept < > -->");
  ExpectSame(ReadSavedModel(folder.Write("a.pmml", "\xEF\xBB\xBF" + text)), model);
}

TEST(Pmml, IsTheSameEachTime) {
  const auto write = [] { return WritePmml(SavedFit(OptionsFor(kTable, "b ~ x + g + scale(y)"))); };
  EXPECT_EQ(write(), write());
}

TEST(Pmml, RefusesALevelThatXmlCannotHold) {
  const SavedModel model = SavedFit(OptionsFor(
      "SELECT i AS y, 'a' || chr(CAST(1 + i % 2 AS INTEGER)) AS g FROM range(9) t(i)", "y ~ g"));
  try {
    static_cast<void>(WritePmml(model));
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.Code(), ExitCode::kRunFailed);
    EXPECT_STREQ(error.what(),
                 "The level 'a ' holds a control character, which PMML cannot; replace it in the "
                 "data, or by replace() in the formula, to save the model.");
  }
}

/// The document of a model.
class Document {
 public:
  explicit Document(const SavedModel& model) {
    const std::string text = WritePmml(model);
    if (!document_.load_string(text.c_str())) throw std::runtime_error("no XML");
  }

  [[nodiscard]] pugi::xml_node Root() const { return document_.document_element(); }

  /// The element of this name in a list, as XML on one line.
  [[nodiscard]] std::string Field(const char* list, const char* name) const {
    for (const pugi::xml_node& field : Root().child(list).children()) {
      if (field.attribute("name").value() != std::string(name)) continue;
      std::ostringstream text;
      field.print(text, "", pugi::format_raw | pugi::format_no_declaration);
      return text.str();
    }
    return "none";
  }

  [[nodiscard]] Strings Names(const char* path) const {
    Strings names;
    for (const pugi::xpath_node& found : Root().select_nodes(path)) {
      names.emplace_back(found.attribute().value());
    }
    return names;
  }

 private:
  pugi::xml_document document_;
};

TEST(Pmml, NamesFieldsAsTheStandardHasThem) {
  FitOptions options = OptionsFor(
      kTable, "log(y + 2) ~ C(year) + g + b + scale(x) + x + substr(t, 1, 2) + I(b and x > 2)");
  options.binding.freqWeight = "w";
  const Document document(SavedFit(options));
  EXPECT_EQ(document.Names("DataDictionary/DataField/@name"),
            (Strings{"y", "year", "g", "b", "x", "t", "w", "log(y + 2)", "substr(t, 1, 2)"}));
  EXPECT_EQ(document.Names("TransformationDictionary/DerivedField/@name"),
            (Strings{"C(year)", "scale(x)", "I(b and x > 2)"}));
  EXPECT_EQ(document.Names("GeneralRegressionModel/MiningSchema/MiningField/@name"),
            (Strings{"log(y + 2)", "year", "g", "b", "x", "substr(t, 1, 2)", "w"}));
  EXPECT_EQ(
      document.Names("GeneralRegressionModel/MiningSchema/MiningField/@usageType"),
      (Strings{"target", "active", "active", "active", "active", "active", "frequencyWeight"}));
  EXPECT_EQ(document.Field("DataDictionary", "year"),
            R"(<DataField name="year" optype="continuous" dataType="integer"/>)");
  EXPECT_EQ(document.Field("DataDictionary", "b"),
            R"(<DataField name="b" optype="categorical" dataType="boolean"><Value value="false"/>)"
            R"(<Value value="true"/></DataField>)");
  EXPECT_EQ(document.Field("TransformationDictionary", "C(year)"),
            R"x(<DerivedField name="C(year)" optype="categorical" dataType="integer">)x"
            R"(<FieldRef field="year"/><Value value="2000"/><Value value="2001"/>)"
            R"(<Value value="2002"/></DerivedField>)");
}

}  // namespace
}  // namespace qvhost
