#include "host/score/ScoreReport.h"

#include <nlohmann/json.hpp>
#include <string>

#include <gtest/gtest.h>

namespace qvhost {
namespace {

ScoreResult Result() {
  ScoreResult result;
  result.model = "m.pmml";
  result.formula = "y ~ g";
  result.data = "new.csv";
  result.rows = 1200;
  result.scored = 1200;
  result.out = "scores.csv";
  return result;
}

TEST(ScoreReport, TellsWhatWasScored) {
  EXPECT_EQ(TextReport(Result()),
            "Model    m.pmml (linear)\n"
            "Formula  y ~ g\n"
            "Data     new.csv\n"
            "Rows     1,200 read, 1,200 scored\n"
            "Written  scores.csv\n");
}

TEST(ScoreReport, TellsWhyRowsWereNotScoredAndByWhatColumns) {
  ScoreResult result = Result();
  result.where = "x > 1";
  result.leftOut = 1;
  result.scored = 1194;
  result.incomplete = 3;
  result.unseen = 2;
  result.notFinite = 1;
  result.confidence = 0.9;
  result.columns = {{"g", 1, 2, "zz"}, {"h", 1, 0, ""}};
  result.warnings = {"A note.", "Another."};
  TextStyle style;
  style.width = 100;
  style.color = true;
  EXPECT_EQ(TextReport(result, style),
            "Model    m.pmml (linear)\n"
            "Formula  y ~ g\n"
            "Data     new.csv\n"
            "Where    x > 1 (1 row left out)\n"
            "Rows     1,200 read, 1,194 scored, 3 without: a value is missing or unknown, 2 "
            "without: a\n"
            "         combination of levels that the fit did not have, 1 without: no finite "
            "prediction\n"
            "Limits   of confidence 0.9\n"
            "Written  scores.csv\n"
            "\n"
            "\x1b[1mColumn  Missing  Unknown level  First unknown\x1b[0m\n"
            "---------------------------------------------\n"
            "g             1              2             zz\n"
            "h             1              0\n"
            "\n"
            "\x1b[1mNotes\x1b[0m\n"
            "\x1b[33m- A note.\x1b[0m\n"
            "\x1b[33m- Another.\x1b[0m\n");
  result.leftOut = 2;
  EXPECT_NE(TextReport(result, style).find("x > 1 (2 rows left out)"), std::string::npos);
}

TEST(ScoreReport, JsonHasEveryNumber) {
  ScoreResult result = Result();
  result.kind = ModelKind::kLogistic;
  result.hasInterval = true;
  EXPECT_EQ(nlohmann::json::parse(JsonReport(result)), nlohmann::json::parse(R"({
    "model": "m.pmml", "kind": "logistic", "formula": "y ~ g", "data": "new.csv",
    "where": null, "rows": 1200, "left_out": 0, "scored": 1200, "incomplete": 0,
    "unseen_combinations": 0, "not_finite": 0, "columns": [], "interval": true,
    "confidence": null, "out": "scores.csv", "warnings": []})"));
  result.where = "x > 1";
  result.leftOut = 7;
  result.confidence = 0.9;
  result.columns = {{"g", 1, 2, "zz"}, {"h", 1, 0, "no example"}};
  const nlohmann::json json = nlohmann::json::parse(JsonReport(result));
  EXPECT_EQ(json.at("where"), "x > 1");
  EXPECT_EQ(json.at("left_out"), 7);
  EXPECT_EQ(json.at("confidence"), 0.9);
  EXPECT_EQ(json.at("columns"), nlohmann::json::parse(R"([
    {"name": "g", "missing": 1, "unknown": 2, "first_unknown": "zz"},
    {"name": "h", "missing": 1, "unknown": 0, "first_unknown": null}])"));
}

TEST(ScoreReport, JsonStandsOnLinesOfItsOwnAndHoldsNoBrokenByte) {
  ScoreResult result = Result();
  result.data = "caf\xE9.csv";
  const std::string json = JsonReport(result);
  EXPECT_TRUE(json.starts_with("{\n  \"model\": \"m.pmml\",\n")) << json;
  EXPECT_TRUE(json.ends_with("\n}\n"));
  EXPECT_NE(json.find("caf\xEF\xBF\xBD.csv"), std::string::npos);
}

}  // namespace
}  // namespace qvhost
