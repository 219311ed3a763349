#include "host/model/GeneralRegression.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <functional>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <pugixml.hpp>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "host/Error.h"
#include "host/model/RestoredModel.h"
#include "qvreg/common/Constants.h"
#include "qvreg/component/QvModelMessage.h"
#include "tests/host/fit/Everything.h"
#include "tests/host/model/Saving.h"

namespace qvhost {
namespace {

/// 120 rows: numbers of usual and of extreme size, texts, few values, weights, parts.
constexpr const char* kTable =
    "SELECT i * 0.75 + sin(i * 17.0) AS y, (i * 7 % 11)::DOUBLE AS x, cos(i * 3.0) AS z, "
    "(i * 7 % 11) * 1e-250 AS tiny, cos(i * 5.0) * 1e-150 AS small, (1 + i * 5 % 13) * 1e100 AS "
    "large, "
    "['a', 'b & c', 'd \"<\"é'][1 + i % 3] AS g, chr(CAST(112 + i * 3 % 5 AS INTEGER)) AS h, "
    "i % 3 + 2000 AS year, ['no', 'yes'][1 + CAST(sin(i * 5.0) + x / 8 > 0.6 AS INTEGER)] AS "
    "bought, "
    "['k', 'l', 'm', 'n'][1 + CAST(abs(sin(i * 7.0)) * 4 - 0.5 AS INTEGER) % 4] AS kind, "
    "1 + i % 4 AS f, 0.5 + i % 3 AS r, ['train', 'test'][1 + CAST(i % 5 = 0 AS INTEGER)] AS part "
    "FROM (SELECT i, (i * 7 % 11)::DOUBLE AS x FROM range(120) t(i))";

struct Kind {
  std::string name;
  FitOptions options;
};

Kind Of(const std::string& name, const std::string& formula,
        const std::function<void(FitOptions&)>& change = {}) {
  Kind kind{name, OptionsFor(kTable, formula)};
  if (change) change(kind.options);
  return kind;
}

void Weigh(FitOptions& options) {
  options.binding.freqWeight = "f";
  options.binding.regressionWeight = "r";
}

std::vector<Kind> Kinds() {
  std::vector<Kind> kinds = {
      Of("line", "y ~ x"),
      Of("intercept_only", "y ~ 1"),
      Of("no_intercept", "y ~ x + z - 1"),
      Of("factors_without_intercept", "y ~ g + h - 1"),
      Of("crossed", "y ~ g*h + x"),
      Of("nested", "y ~ g/h + g:x"),
      Of("powers", "y ~ x + I(x^2) + x:z + I(z^3)"),
      Of("redundant", "y ~ g + C(year) + x + I(2 * x)"),
      Of("expressions", "log(y + 2) ~ scale(x) + C(year) + sqrt(x + 1)"),
      Of("weights", "y ~ g + x", Weigh),
      Of("weight_is_a_covariate", "y ~ f + x", Weigh),
      Of("unrefined", "y ~ g + x", [](FitOptions& o) { o.refine = false; }),
      Of("imposed_df", "y ~ g + x", [](FitOptions& o) { o.degreesOfFreedom = 7.5; }),
      Of("small_columns", "y ~ tiny + x + tiny:x"),
      Of("large_columns", "y ~ large + I(large^2) + x"),
      Of("large_dependent", "large ~ x + tiny"),
      Of("held_out", "y ~ g + x",
         [](FitOptions& o) {
           o.binding.validation.kind = ValidationKind::kSplit;
           o.binding.validation.column = "part";
           o.binding.validation.level = "train";
         }),
      Of("by_lots", "kind ~ g + x",
         [](FitOptions& o) {
           o.binding.validation.kind = ValidationKind::kHoldout;
           o.binding.validation.share = 0.3;
         }),
      Of("binary", "bought ~ x + z"),
      Of("binary_collapsed", "bought ~ g + C(year)"),
      Of("binary_apart", "bought ~ g + x", [](FitOptions& o) { o.logistic.collapse = false; }),
      Of("categories", "kind ~ g + x"),
      Of("categories_in_memory", "kind ~ g*x", [](FitOptions& o) { o.logistic.inMemory = true; }),
      Of("categories_by_record", "kind ~ g*x", [](FitOptions& o) { o.logistic.inMemory = false; }),
      Of("categories_by_first", "kind ~ x", [](FitOptions& o) { o.logistic.reference = "first"; }),
      Of("categories_weighted", "kind ~ g + x + I(x^2)", Weigh),
      Of("categories_without_intercept", "kind ~ g + x - 1"),
      Of("categories_intercept_only", "kind ~ 1"),
      Of("categories_redundant", "kind ~ g + C(year) + x"),
      Of("categories_small_columns", "kind ~ tiny + large + g"),
      Of("levels_are_numbers", "C(year) ~ x + z"),
      Of("separated", "C(x > 4) ~ x + z"),
  };
  FitOptions everything = Everything("y");
  kinds.push_back({"everything", everything});
  FitOptions saturated =
      OptionsFor("SELECT * FROM (VALUES (1.5, 2.0), (2.5, 5.0)) t(y, x)", "y ~ x");
  kinds.push_back({"saturated", saturated});
  return kinds;
}

std::string TextOf(const pugi::xml_document& document) {
  std::ostringstream text;
  document.save(text);
  return text.str();
}

pugi::xml_document Parsed(const std::string& text) {
  pugi::xml_document document;
  EXPECT_TRUE(document.load_buffer(text.data(), text.size()));
  return document;
}

pugi::xml_document Written(const SavedModel& saved) {
  pugi::xml_document document;
  WriteGeneralRegression(document.append_child("PMML"), saved);
  return document;
}

pugi::xml_node ModelOf(const pugi::xml_document& document) {
  return document.first_child().first_child();
}

class GeneralRegression : public testing::TestWithParam<Kind> {
 protected:
  GeneralRegression()
      : saved_(FitToSave(GetParam().options)), document_(Parsed(TextOf(Written(saved_)))) {}

  SavedModel saved_;
  pugi::xml_document document_;
};

INSTANTIATE_TEST_SUITE_P(Fits, GeneralRegression, testing::ValuesIn(Kinds()),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(GeneralRegression, ComesBackByteForByte) {
  SavedModel read;
  read.variables = saved_.variables;
  ReadGeneralRegression(ModelOf(document_), read);
  EXPECT_TRUE(read.component == saved_.component);
  // Of the element alone, too.
  SavedModel alone;
  ReadGeneralRegression(ModelOf(document_), alone);
  EXPECT_TRUE(alone.component == saved_.component);
}

TEST_P(GeneralRegression, HasItsPartsInTheOrderOfTheSchema) {
  std::vector<std::string> names;
  for (const pugi::xml_node part : ModelOf(document_).children()) {
    if (names.empty() || names.back() != part.name()) names.emplace_back(part.name());
  }
  std::vector<std::string> expected = {"MiningSchema",  "ParameterList", "FactorList",
                                       "CovariateList", "PPMatrix",      "PCovMatrix",
                                       "ParamMatrix",   "Extension"};
  // Two records leave nothing to estimate a variance by.
  if (GetParam().name == "saturated") expected.erase(expected.begin() + 5);
  EXPECT_EQ(names, expected);
}

/// Scores as the standard says: sums of beta times the product of what a parameter's cells say.
class PmmlScorer {
 public:
  PmmlScorer(pugi::xml_node model, const SavedModel& saved) : model_(model) {
    for (const pugi::xml_node cell : model.child("PPMatrix").children("PPCell")) {
      const std::string field = cell.attribute("predictorName").value();
      const auto variable = std::find_if(saved.variables.begin(), saved.variables.end(),
                                         [&](const auto& v) { return v.field == field; });
      EXPECT_NE(variable, saved.variables.end()) << field;
      cells_[cell.attribute("parameterName").value()].push_back(
          {&*variable, cell.attribute("value").value()});
    }
  }

  /// By category of the target: the sums; of a linear model that of the category "".
  [[nodiscard]] std::map<std::string, double> SumsOf(const QvCommon::Record& record) const {
    std::map<std::string, double> sums;
    for (const pugi::xml_node cell : model_.child("ParamMatrix").children("PCell")) {
      sums[cell.attribute("targetCategory").value()] +=
          cell.attribute("beta").as_double() *
          ProductOf(cell.attribute("parameterName").value(), record);
    }
    return sums;
  }

 private:
  [[nodiscard]] double ProductOf(const std::string& parameter,
                                 const QvCommon::Record& record) const {
    double product = 1.0;
    const auto cells = cells_.find(parameter);
    if (cells == cells_.end()) return product;
    for (const auto& [variable, value] : cells->second) {
      const double number = record[variable->position];
      if (!variable->isFactor) {
        product *= std::pow(number, std::stod(value));
      } else if (variable->levels.at(static_cast<std::size_t>(number)) != value) {
        return 0.0;
      }
    }
    return product;
  }

  pugi::xml_node model_;
  std::map<std::string, std::vector<std::pair<const SavedVariable*, std::string>>> cells_;
};

/// Records of all variables: levels in turn, and numbers of the size of the data's.
std::vector<QvCommon::Record> RecordsOf(const SavedModel& saved, const QvModelContents& contents) {
  const auto size = static_cast<int>(contents.fSettings.fRoles.size());
  std::vector<QvCommon::Record> records;
  for (int i = 0; i < 60; ++i) {
    QvCommon::Record record(size);
    for (const SavedVariable& variable : saved.variables) {
      if (variable.isFactor) {
        const auto levels = static_cast<int>(variable.levels.size());
        record[variable.position] = (i + i / levels * variable.position) % levels;
        continue;
      }
      const auto& covariates = contents.fSettings.fCovariates;
      const auto place = std::find(covariates.begin(), covariates.end(), variable.position);
      if (place == covariates.end()) continue;
      const auto index = static_cast<std::size_t>(place - covariates.begin());
      record[variable.position] = contents.fTables.fSizes.fLargest[index] * (i % 7) / 7.0;
    }
    records.push_back(record);
  }
  return records;
}

TEST_P(GeneralRegression, ScoresByTheStandardAsTheComponentDoes) {
  const RestoredModel restored = RestoredModel::OfBytes(saved_.component);
  const PmmlScorer scorer(ModelOf(document_), saved_);
  const std::string reference = ModelOf(document_).attribute("targetReferenceCategory").value();
  int scored = 0;
  for (const QvCommon::Record& record : RecordsOf(saved_, restored.Contents())) {
    double predicted = 0.0;
    std::vector<double> probabilities;
    const bool isScored = !restored.Component().Score(record, predicted, probabilities).IsError() &&
                          predicted != QvMV::gMissingValue && predicted != -1.0;
    if (!isScored) continue;
    std::map<std::string, double> sums = scorer.SumsOf(record);
    ++scored;
    if (probabilities.empty()) {
      EXPECT_NEAR(sums.at(""), predicted, 1e-9 * std::max(std::abs(predicted), 1e-3));
      continue;
    }
    sums[reference] = 0.0;
    const auto& levels = saved_.variables.front().levels;
    double total = 0.0;
    for (const auto& [level, sum] : sums) total += std::exp(sum);
    const auto& codes =
        dynamic_cast<const QvLogOutputStats&>(restored.Output()).GetDependCategories();
    ASSERT_EQ(codes.size(), sums.size());
    for (std::size_t k = 0; k < codes.size(); ++k) {
      const double sum = sums.at(levels.at(static_cast<std::size_t>(codes[k])));
      EXPECT_NEAR(std::exp(sum) / total, probabilities[k], 1e-9);
    }
  }
  EXPECT_GT(scored, 3);
}

TEST_P(GeneralRegression, HasTheEstimatesAndErrorsOfTheReport) {
  std::vector<double> betas;
  std::vector<bool> kept;
  for (const pugi::xml_node cell : ModelOf(document_).child("ParamMatrix").children("PCell")) {
    betas.push_back(cell.attribute("beta").as_double());
    kept.push_back(cell.attribute("df").as_int() == 1);
  }
  ASSERT_EQ(betas.size(), saved_.fit.parameters.size());
  std::vector<double> variances;
  std::size_t i = 0;
  std::size_t j = 0;
  for (const pugi::xml_node cell : ModelOf(document_).child("PCovMatrix").children("PCovCell")) {
    if (i == j) variances.push_back(cell.attribute("value").as_double());
    j = j == i ? (++i, 0) : j + 1;
  }
  for (std::size_t k = 0; k < betas.size(); ++k) {
    const ParameterResult& parameter = saved_.fit.parameters[k];
    EXPECT_EQ(kept[k], !parameter.redundant) << k;
    EXPECT_EQ(betas[k], parameter.estimate.value_or(betas[k])) << k;
    const std::optional<double> error = parameter.statistics.stdError;
    if (error && !variances.empty() && variances[k] > 1e-300 && std::isfinite(variances[k])) {
      EXPECT_NEAR(std::sqrt(variances[k]) / *error, 1.0, 1e-12) << k;
    }
  }
}

/// The code and message with which reading ends; 0 where it does not.
std::pair<int, std::string> FaultOf(const pugi::xml_document& document,
                                    const std::vector<SavedVariable>& variables) {
  SavedModel read;
  read.variables = variables;
  read.component = {1, 2, 3};
  try {
    ReadGeneralRegression(ModelOf(document), read);
  } catch (const Error& error) {
    EXPECT_EQ(read.component, (std::vector<unsigned char>{1, 2, 3}));
    return {static_cast<int>(error.Code()), error.what()};
  }
  return {0, ""};
}

void Collect(pugi::xml_node element, std::vector<pugi::xml_node>& elements) {
  for (const pugi::xml_node inner : element.children()) {
    elements.push_back(inner);
    Collect(inner, elements);
  }
}

constexpr int kBad = static_cast<int>(ExitCode::kBadInput);

/// Kinds of which every element and attribute is changed.
class WrongElement : public testing::TestWithParam<Kind> {
 protected:
  WrongElement() : saved_(FitToSave(GetParam().options)), text_(TextOf(Written(saved_))) {}

  SavedModel saved_;
  std::string text_;
};

INSTANTIATE_TEST_SUITE_P(Fits, WrongElement,
                         testing::Values(Of("linear", "y ~ g*x + I(2 * x) + I(x^2)", Weigh),
                                         Of("scaled", "large ~ x:z + g + small"),
                                         Of("logistic", "kind ~ g + C(year) + x + tiny")),
                         [](const auto& tested) { return tested.param.name; });

TEST_P(WrongElement, WithoutAnyOneIsRefused) {
  std::vector<pugi::xml_node> all;
  const pugi::xml_document whole = Parsed(text_);
  Collect(ModelOf(whole), all);
  for (std::size_t i = 0; i < all.size(); ++i) {
    // A model may say less of what its redundant parameters depend on.
    if (all[i].attribute("name").value() == std::string_view("redundant")) continue;
    pugi::xml_document document = Parsed(text_);
    std::vector<pugi::xml_node> elements;
    Collect(ModelOf(document), elements);
    elements[i].parent().remove_child(elements[i]);
    EXPECT_EQ(FaultOf(document, saved_.variables).first, kBad)
        << all[i].path() << " " << all[i].attribute("name").value();
  }
}

TEST_P(WrongElement, TwiceIsRefused) {
  std::vector<pugi::xml_node> all;
  const pugi::xml_document whole = Parsed(text_);
  Collect(ModelOf(whole), all);
  for (std::size_t i = 0; i < all.size(); ++i) {
    pugi::xml_document document = Parsed(text_);
    std::vector<pugi::xml_node> elements;
    Collect(ModelOf(document), elements);
    elements[i].parent().insert_copy_after(elements[i], elements[i]);
    EXPECT_EQ(FaultOf(document, saved_.variables).first, kBad)
        << all[i].path() << " " << all[i].attribute("name").value();
  }
}

/// What an attribute may be changed to; each is refused or means another model.
TEST_P(WrongElement, WithAnotherTextIsRefusedOrAnotherModel) {
  std::vector<pugi::xml_node> all;
  const pugi::xml_document whole = Parsed(text_);
  all.push_back(ModelOf(whole));
  Collect(ModelOf(whole), all);
  for (std::size_t i = 0; i < all.size(); ++i) {
    for (const pugi::xml_attribute attribute : all[i].attributes()) {
      const std::string name = attribute.name();
      if (name == "label" || name == "extender") continue;
      for (const char* text : {"?", "", "-1", "NaN", "2147483648", "1e999", "0 0"}) {
        if (attribute.value() == std::string_view(text)) continue;
        pugi::xml_document document = Parsed(text_);
        std::vector<pugi::xml_node> elements = {ModelOf(document)};
        Collect(ModelOf(document), elements);
        elements[i].attribute(name.c_str()) = text;
        SavedModel read;
        read.variables = saved_.variables;
        try {
          ReadGeneralRegression(ModelOf(document), read);
          EXPECT_TRUE(read.component != saved_.component)
              << all[i].path() << " " << all[i].attribute("name").value() << " " << name << "='"
              << text << "'";
        } catch (const Error& error) {
          EXPECT_EQ(error.Code(), ExitCode::kBadInput) << error.what();
        }
      }
    }
  }
}

TEST(WrongElement, IsNamed) {
  const SavedModel saved = FitToSave(OptionsFor(kTable, "kind ~ g + x"));
  const std::string text = TextOf(Written(saved));
  const auto faultOf = [&](const std::function<void(pugi::xml_node)>& change) {
    pugi::xml_document document = Parsed(text);
    change(ModelOf(document));
    return FaultOf(document, saved.variables).second;
  };
  using Node = pugi::xml_node;
  EXPECT_EQ(faultOf([](Node m) { m.remove_child("PPMatrix"); }),
            "This is no model that --save wrote: its element PPMatrix is missing where it belongs. "
            "Fit the model again, and save it.");
  EXPECT_EQ(faultOf([](Node m) { m.child("ParamMatrix").first_child().attribute("beta") = "x"; }),
            "This is no model that --save wrote: its element PCell has no number as its beta. Fit "
            "the model again, and save it.");
  EXPECT_EQ(
      faultOf([](Node m) { m.child("Extension").child("Extension").attribute("value") = "1 x"; }),
      "This is no model that --save wrote: its element Extension 'roles' holds something "
      "else. Fit the model again, and save it.");
  EXPECT_EQ(
      faultOf([](Node m) { m.set_name("TreeModel"); }),
      "This is no model that --save wrote: its element GeneralRegressionModel is missing. Fit "
      "the model again, and save it.");
  EXPECT_EQ(
      faultOf([](Node m) { m.child("PPMatrix").first_child().attribute("value") = "another"; }),
      "This is no model that --save wrote: its element PPMatrix is not that of the model's "
      "variables. Fit the model again, and save it.");
  // A category in the place of another, wherever it is named.
  std::string renamed = text;
  for (std::size_t at = 0; (at = renamed.find("\"k\"", at)) != std::string::npos; ++at) {
    renamed.replace(at, 3, "\"j\"");
  }
  ASSERT_NE(renamed, text);
  EXPECT_EQ(FaultOf(Parsed(renamed), saved.variables).second,
            "This is no model that --save wrote: its element PCell has a wrong targetCategory. Fit "
            "the model again, and save it.");
}

TEST(WrongElement, WithMoreRecordsThanCanBeCountedIsRefused) {
  for (const char* formula : {"y ~ g + x", "kind ~ g + x"}) {
    const SavedModel saved = FitToSave(OptionsFor(kTable, formula));
    const pugi::xml_document document = Parsed(TextOf(Written(saved)));
    for (const char* count : {"read", "used", "missing", "badWeight", "outOfRange"}) {
      pugi::xml_node number = ModelOf(document)
                                  .find_child_by_attribute("name", "recordCounts")
                                  .find_child_by_attribute("name", count);
      const std::string right = number.attribute("value").value();
      for (const char* wrong : {"9223372036854775807", "-1"}) {
        ASSERT_TRUE(number.attribute("value").set_value(wrong)) << count;
        const auto& [code, message] = FaultOf(document, saved.variables);
        EXPECT_EQ(code, kBad) << count;
        EXPECT_EQ(message,
                  "This is no model that --save wrote: its element GeneralRegressionModel holds a "
                  "number that no model has. Fit the model again, and save it.")
            << count << " " << wrong;
      }
      number.attribute("value") = right.c_str();
    }
    EXPECT_EQ(FaultOf(document, saved.variables).first, 0);
  }
}

TEST(GeneralRegressionOf, OtherVariablesIsRefused) {
  SavedModel saved = FitToSave(OptionsFor(kTable, "y ~ g + x"));
  pugi::xml_document document;
  SavedModel none = saved;
  none.variables.clear();
  EXPECT_THROW(WriteGeneralRegression(document.append_child("PMML"), none), Error);
  SavedModel few = saved;
  for (SavedVariable& variable : few.variables) {
    if (variable.isFactor) variable.levels.pop_back();
  }
  EXPECT_THROW(WriteGeneralRegression(document.append_child("PMML"), few), Error);
  SavedModel damaged = saved;
  damaged.component.pop_back();
  EXPECT_THROW(WriteGeneralRegression(document.append_child("PMML"), damaged), Error);
}

/// A saved fit whose component has these contents.
SavedModel Changed(const char* formula, const std::function<void(QvModelContents&)>& change) {
  SavedModel saved = FitToSave(OptionsFor(kTable, formula));
  QvModelContents contents;
  EXPECT_FALSE(QvModelMessage::Read(saved.component, contents).IsError());
  change(contents);
  EXPECT_FALSE(QvModelMessage::Write(contents, saved.component).IsError());
  return saved;
}

void ExpectSameBytes(const SavedModel& saved) {
  const pugi::xml_document document = Parsed(TextOf(Written(saved)));
  SavedModel read;
  read.variables = saved.variables;
  ReadGeneralRegression(ModelOf(document), read);
  EXPECT_TRUE(read.component == saved.component);
}

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(GeneralRegressionOf, NumbersThatAreNotFiniteComesBack) {
  ExpectSameBytes(Changed("y ~ g + x", [](QvModelContents& c) {
    c.fLinear.fEstimates.fEstimates = {kNaN, -kInfinity, -0.0, 1e-320, -kNaN};
    c.fLinear.fEstimates.fNonFinite = {false, true, false, false, true};
    c.fLinear.fCovariance[3] = kInfinity;
    c.fLinear.fCovariance[4] = kNaN;
    c.fLinear.fCovariance.back() = -0.0;
    c.fTables.fMeans.back() = QvMV::gMissingValue;
  }));
  ExpectSameBytes(Changed("kind ~ x", [](QvModelContents& c) {
    c.fLogistic.fEstimates.fEstimates[2] = kNaN;
    c.fLogistic.fNonFinite[1] = true;
    (*c.fLogistic.fCovariance)[5] = -kInfinity;
    c.fLogistic.fClassification[1] = kNaN;
  }));
}

TEST(GeneralRegressionOf, StatusesAndWarningsComeBack) {
  ExpectSameBytes(Changed("y ~ g + x", [](QvModelContents& c) {
    QvCommon::QvStatus warning(77, true);
    EXPECT_TRUE(warning.SetDiscreteDatum(1, -5));
    EXPECT_TRUE(warning.SetDiscreteDatum(3, 1 << 30));
    EXPECT_TRUE(warning.SetScaleDatum(0, 0.1));
    c.fWarnings = {warning, QvCommon::QvStatus(78, true)};
    c.fStatus = warning;
    c.fRecordCounts.fUsedLater = 12;
  }));
}

TEST(GeneralRegressionOf, AResidualVarianceThatIsMissingHasNoCovariance) {
  const SavedModel saved = Changed("y ~ g + x", [](QvModelContents& c) {
    c.fLinear.fScaledError = QvMV::gMissingValue;
    c.fLinear.fRootMeanSquareError = QvMV::gMissingValue;
  });
  EXPECT_FALSE(ModelOf(Written(saved)).child("PCovMatrix"));
  ExpectSameBytes(saved);
}

}  // namespace
}  // namespace qvhost
