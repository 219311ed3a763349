#include "tests/host/report/JsonSchema.h"

#include <stdexcept>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "host/report/Report.h"
#include "tests/host/report/SampleFit.h"
#include "tests/support/TempFolder.h"

namespace qvhost {
namespace {

using Json = nlohmann::json;
using Strings = std::vector<std::string>;

Strings FaultsOf(const char* schema, const char* document) {
  return JsonSchema(Json::parse(schema)).FaultsOf(Json::parse(document));
}

bool IsValid(const char* schema, const char* document) {
  return FaultsOf(schema, document).empty();
}

TEST(JsonSchema, NamesThePlaceAndTheFault) {
  EXPECT_EQ(
      FaultsOf(R"({"properties": {"a": {"items": {"type": "integer"}}}})", R"({"a": [1, "2"]})"),
      Strings{R"(/a/1: "2" is not of the type "integer")"});
  EXPECT_EQ(FaultsOf(R"({"required": ["a", "b"]})", R"({"a": 1})"), Strings{": lacks b"});
  EXPECT_EQ(FaultsOf(R"({"properties": {"a": true}, "additionalProperties": false})",
                     R"({"a": 1, "b": 2})"),
            Strings{"/b: is not allowed"});
}

TEST(JsonSchema, ChecksEveryKeyword) {
  EXPECT_TRUE(IsValid(R"({"type": ["number", "null"]})", "null"));
  EXPECT_FALSE(IsValid(R"({"type": ["number", "null"]})", "\"1\""));
  EXPECT_FALSE(IsValid(R"({"type": "integer"})", "1.5"));
  EXPECT_FALSE(IsValid(R"({"const": 1})", "2"));
  EXPECT_FALSE(IsValid(R"({"enum": [1, 3]})", "2"));
  EXPECT_TRUE(IsValid(R"({"minimum": 0, "maximum": 1})", "1"));
  EXPECT_FALSE(IsValid(R"({"minimum": 0})", "-1"));
  EXPECT_FALSE(IsValid(R"({"maximum": 1})", "1.5"));
  EXPECT_FALSE(IsValid(R"({"exclusiveMaximum": 1})", "1"));
  EXPECT_FALSE(IsValid(R"({"minLength": 1})", "\"\""));
  EXPECT_FALSE(IsValid(R"({"minItems": 2})", "[1]"));
  EXPECT_FALSE(IsValid(R"({"additionalProperties": {"type": "string"}})", R"({"a": 1})"));
  EXPECT_FALSE(IsValid(R"({"$ref": "#/$defs/a", "$defs": {"a": {"type": "null"}}})", "1"));
  EXPECT_TRUE(IsValid(R"({"anyOf": [{"type": "null"}, {"minimum": 1}]})", "null"));
  EXPECT_FALSE(IsValid(R"({"anyOf": [{"type": "null"}, {"minimum": 1}]})", "0"));
  EXPECT_TRUE(IsValid(R"({"oneOf": [{"type": "null"}, {"type": "number"}]})", "0"));
  EXPECT_FALSE(IsValid(R"({"oneOf": [{"maximum": 1}, {"type": "number"}]})", "0")) << "both";
}

TEST(JsonSchema, RefusesWhatItDoesNotKnow) {
  EXPECT_THROW(JsonSchema(Json::parse(R"({"pattern": "a"})")), std::runtime_error);
  EXPECT_THROW(JsonSchema(Json::parse(R"({"properties": {"a": {"pattern": "a"}}})")),
               std::runtime_error);
  EXPECT_THROW(JsonSchema(Json::parse(R"({"$ref": "other.json"})")), std::runtime_error);
  EXPECT_THROW(JsonSchema(Json::parse(R"({"$ref": "#/$defs/a"})")), Json::exception);
}

// ---- Of a fit ---------------------------------------------------------------

Json SampleJson(const FitResult& fit) { return Json::parse(JsonReport(fit)); }

TEST(FitSchema, DescribesBothKindsOfModel) {
  EXPECT_EQ(JsonSchema::Of("fit").FaultsOf(SampleJson(SampleFit())), Strings{});
  EXPECT_EQ(JsonSchema::Of("fit").FaultsOf(SampleJson(SampleLogisticFit())), Strings{});
}

/// Every key and every item of a document, as JSON pointers.
void AddPlaces(const Json& value, const Json::json_pointer& place,
               std::vector<Json::json_pointer>& places) {
  if (!value.is_structured()) return;
  for (const auto& [name, entry] : value.items()) {
    const Json::json_pointer inside = value.is_object() ? place / name : place / std::stoul(name);
    places.push_back(inside);
    AddPlaces(entry, inside, places);
  }
}

std::vector<Json::json_pointer> PlacesOf(const Json& document) {
  std::vector<Json::json_pointer> places;
  AddPlaces(document, Json::json_pointer(), places);
  return places;
}

TEST(FitSchema, ConstrainsEveryValue) {
  for (const FitResult& fit : {SampleFit(), SampleLogisticFit()}) {
    const Json valid = SampleJson(fit);
    for (const Json::json_pointer& place : PlacesOf(valid)) {
      Json broken = valid;
      broken[place] = Json{{"neither", Json::array()}};
      EXPECT_FALSE(JsonSchema::Of("fit").FaultsOf(broken).empty()) << place.to_string();
    }
  }
}

TEST(FitSchema, AllowsNoOtherKeyAndMissesEach) {
  for (const FitResult& fit : {SampleFit(), SampleLogisticFit()}) {
    const Json valid = SampleJson(fit);
    for (const char* object : {"", "/records", "/parameters/0", "/fit", "/status"}) {
      const Json::json_pointer place{std::string(object)};
      Json more = valid;
      more[place]["another"] = 1;
      EXPECT_FALSE(JsonSchema::Of("fit").FaultsOf(more).empty()) << object;
      for (const auto& [name, entry] : valid[place].items()) {
        Json less = valid;
        less[place].erase(name);
        EXPECT_FALSE(JsonSchema::Of("fit").FaultsOf(less).empty()) << object << "/" << name;
      }
    }
  }
}

void AddNames(const Json& schema, Strings& names) {
  if (!schema.is_structured()) return;
  for (const auto& [keyword, value] : schema.items()) {
    if (keyword == "properties") {
      for (const auto& [name, entry] : value.items()) names.push_back(name);
    }
    AddNames(value, names);
  }
}

TEST(FitSchema, EveryKeyIsDocumented) {
  const std::string page = qvtest::ReadFile(QVREG_DOCS "/json.md");
  Strings names;
  AddNames(Json::parse(qvtest::ReadFile(QVREG_DOCS "/fit.schema.json")), names);
  EXPECT_GT(names.size(), 50U);
  for (const std::string& name : names) {
    EXPECT_NE(page.find("`" + name + "`"), std::string::npos) << name;
  }
}

}  // namespace
}  // namespace qvhost
