#include "host/report/SpoolReport.h"

#include <algorithm>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <string_view>
#include <utility>

#include <fmt/format.h>

#include "host/Error.h"
#include "host/Text.h"
#include "host/report/HeadingLines.h"
#include "host/report/JsonReader.h"
#include "host/report/KindNames.h"
#include "host/report/ShownRows.h"
#include "host/report/TextTable.h"
#include "qvreg/common/Constants.h"

namespace qvhost {
namespace {

using Json = nlohmann::ordered_json;
using Role = SpooledColumn::Role;

const char* RoleName(Role role) {
  switch (role) {
    case Role::kDependent:
      return "dependent";
    case Role::kFactor:
      return "factor";
    case Role::kCovariate:
      return "covariate";
    case Role::kFreqWeight:
      return "freq_weight";
    case Role::kRegressionWeight:
      break;
  }
  return "regression_weight";
}

/// What a role is called in a sentence.
std::string RoleText(Role role) {
  std::string text = RoleName(role);
  std::ranges::replace(text, '_', ' ');
  return text;
}

std::string Heading(const SpoolResult& result, const TextStyle& style) {
  HeadingLines lines(style);
  lines.Add("Model", ModelName(result.kind));
  lines.Add("Formula", Printable(result.formula));
  lines.Add("Data", Printable(result.data));
  if (!result.where.empty()) {
    lines.Add("Where", fmt::format("{} ({} row{} left out)", Printable(result.where),
                                   CountText(result.leftOut), result.leftOut == 1 ? "" : "s"));
  }
  lines.Add("Records", fmt::format("{} of {} numbers", CountText(result.records),
                                   CountText(static_cast<long long>(result.columns.size()))));
  if (!result.out.empty()) lines.Add("Written", Printable(result.out));
  return lines.Text();
}

std::string ColumnTable(const SpoolResult& result, const TextStyle& style) {
  TextTable table({"Column", "Position", "Role", "Levels", "Missing"});
  const Shown shown = ShownRows(result.columns.size(), style.all);
  for (std::size_t i = 0; i < result.columns.size(); ++i) {
    if (!shown.Contains(i)) continue;
    if (shown.HasNoteBefore(i)) table.AddLine(shown.Note("columns"));
    const SpooledColumn& column = result.columns[i];
    table.AddRow({Printable(column.name), CountText(static_cast<long long>(i)),
                  RoleText(column.role),
                  column.hasLevels ? CountText(static_cast<long long>(column.levels.size())) : "",
                  column.missing ? CountText(*column.missing) : ""});
  }
  return "\n" + table.Render(style);
}

std::string Notes(const SpoolResult& result, const TextStyle& style) {
  if (result.warnings.empty()) return {};
  std::string text = "\n" + style.Heading("Notes") + "\n";
  for (const std::string& note : result.warnings) {
    text += style.Warning(NoteText(Printable(note), style)) + "\n";
  }
  return text;
}

Json OrNull(const std::string& text) { return text.empty() ? Json() : Json(text); }

template <typename Number>
Json OrNull(const std::optional<Number>& number) {
  return number ? Json(*number) : Json();
}

Json Column(const SpooledColumn& column) {
  return {{"name", column.name},
          {"role", RoleName(column.role)},
          {"kind", KindName(column.kind)},
          {"type", column.type},
          {"levels", column.hasLevels ? Json(column.levels) : Json()},
          {"missing", OrNull(column.missing)},
          {"minimum", OrNull(column.lowest)},
          {"maximum", OrNull(column.highest)}};
}

Json Effect(const SpooledEffect& effect) {
  Json factors = Json::array();
  for (const SpooledEffect::Factor& factor : effect.factors) {
    factors.push_back({{"column", factor.column}, {"nested", factor.isNested}});
  }
  Json covariates = Json::array();
  for (const SpooledEffect::Covariate& covariate : effect.covariates) {
    covariates.push_back({{"column", covariate.column}, {"power", covariate.power}});
  }
  return {{"term", effect.term},
          {"factors", std::move(factors)},
          {"covariates", std::move(covariates)}};
}

template <typename Item, typename Make>
Json List(const std::vector<Item>& items, Make make) {
  Json list = Json::array();
  for (const Item& item : items) list.push_back(make(item));
  return list;
}

/// The position of the column of this role; null for none.
Json PositionOf(const SpoolResult& result, Role role) {
  const auto found = std::ranges::find(result.columns, role, &SpooledColumn::role);
  return found == result.columns.end() ? Json() : Json(found - result.columns.begin());
}

[[noreturn]] void RefuseTwice(const std::string& file, const std::string& what) {
  throw Error(ExitCode::kBadInput, fmt::format("'{}' has {} twice.", file, what));
}

GivenLevels LevelsOf(const JsonReader& column, const std::string& file) {
  GivenLevels given{.name = column.Get<std::string>("name"), .kind = {}, .levels = {}};
  if (column.Has("kind")) given.kind = column.OneOf("kind", KindName, ColumnKind::kOther);
  given.levels = column.Get<std::vector<std::string>>("levels");
  std::set<std::string_view> seen;
  for (const std::string& level : given.levels) {
    if (!seen.insert(level).second) {
      RefuseTwice(file, fmt::format("the level '{}' of '{}'", level, given.name));
    }
  }
  return given;
}

}  // namespace

std::string TextReport(const SpoolResult& result, const TextStyle& style) {
  return Heading(result, style) + ColumnTable(result, style) + Notes(result, style);
}

std::string JsonReport(const SpoolResult& result) {
  const Json json = {{"model", ModelName(result.kind)},
                     {"formula", result.formula},
                     {"data", result.data},
                     {"where", OrNull(result.where)},
                     {"left_out", result.leftOut},
                     {"out", OrNull(result.out)},
                     {"records", result.records},
                     {"record_size", result.columns.size()},
                     {"missing_number", QvMV::gMissingValue},
                     {"missing_code", -1},
                     {"dependent", PositionOf(result, Role::kDependent)},
                     {"freq_weight", PositionOf(result, Role::kFreqWeight)},
                     {"regression_weight", PositionOf(result, Role::kRegressionWeight)},
                     {"intercept", result.hasIntercept},
                     {"columns", List(result.columns, Column)},
                     {"effects", List(result.effects, Effect)},
                     {"warnings", result.warnings}};
  constexpr int kIndent = 2;
  return json.dump(kIndent, ' ', false, Json::error_handler_t::replace) + "\n";
}

std::vector<GivenLevels> ReadLevels(const std::string& text, const std::string& file) {
  const JsonReader::Origin origin{.what = "levels", .writer = "qvreg spool --json"};
  const Json parsed = JsonReader::Parse(text, file, origin);
  std::vector<GivenLevels> levels;
  for (const JsonReader& column : JsonReader(parsed, file, origin).At("columns").Elements()) {
    // Numbers have none.
    if (column.At("levels").IsNull()) continue;
    GivenLevels given = LevelsOf(column, file);
    if (std::ranges::find(levels, given.name, &GivenLevels::name) != levels.end()) {
      RefuseTwice(file, fmt::format("the column '{}'", given.name));
    }
    levels.push_back(std::move(given));
  }
  return levels;
}

}  // namespace qvhost
