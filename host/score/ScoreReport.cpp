#include "host/score/ScoreReport.h"

#include <nlohmann/json.hpp>

#include <fmt/format.h>

#include "host/Text.h"
#include "host/report/HeadingLines.h"
#include "host/report/TextTable.h"

namespace qvhost {
namespace {

using Json = nlohmann::ordered_json;

std::string RowsText(const ScoreResult& result) {
  std::string text =
      fmt::format("{} read, {} scored", CountText(result.rows), CountText(result.scored));
  const auto add = [&text](long long count, const char* why) {
    if (count > 0) text += fmt::format(", {} {}", CountText(count), why);
  };
  add(result.incomplete, "without: a value is missing or unknown");
  add(result.unseen, "without: a combination of levels that the fit did not have");
  add(result.notFinite, "without: no finite prediction");
  return text;
}

std::string Heading(const ScoreResult& result, const TextStyle& style) {
  HeadingLines lines(style);
  lines.Add("Model", fmt::format("{} ({})", Printable(result.model), ModelName(result.kind)));
  lines.Add("Formula", Printable(result.formula));
  lines.Add("Data", Printable(result.data));
  if (!result.where.empty()) {
    lines.Add("Where", fmt::format("{} ({} row{} left out)", Printable(result.where),
                                   CountText(result.leftOut), result.leftOut == 1 ? "" : "s"));
  }
  lines.Add("Rows", RowsText(result));
  if (result.confidence) {
    lines.Add("Limits", fmt::format("of confidence {}", NumberText(result.confidence)));
  }
  lines.Add("Written", Printable(result.out));
  return lines.Text();
}

std::string ColumnText(const ScoreResult& result, const TextStyle& style) {
  if (result.columns.empty()) return {};
  TextTable table({"Column", "Missing", "Unknown level", "First unknown"});
  for (const UnscoredColumn& column : result.columns) {
    table.AddRow({Printable(column.name), CountText(column.missing), CountText(column.unknown),
                  Printable(column.example)});
  }
  return "\n" + table.Render(style);
}

std::string Notes(const ScoreResult& result, const TextStyle& style) {
  if (result.warnings.empty()) return {};
  std::string text = "\n" + style.Heading("Notes") + "\n";
  for (const std::string& note : result.warnings) {
    text += style.Warning(NoteText(Printable(note), style)) + "\n";
  }
  return text;
}

Json Column(const UnscoredColumn& column) {
  return {{"name", column.name},
          {"missing", column.missing},
          {"unknown", column.unknown},
          {"first_unknown", column.unknown > 0 ? Json(column.example) : Json()}};
}

}  // namespace

std::string TextReport(const ScoreResult& result, const TextStyle& style) {
  return Heading(result, style) + ColumnText(result, style) + Notes(result, style);
}

std::string JsonReport(const ScoreResult& result) {
  Json columns = Json::array();
  for (const UnscoredColumn& column : result.columns) columns.push_back(Column(column));
  const Json json = {{"model", result.model},
                     {"kind", ModelName(result.kind)},
                     {"formula", result.formula},
                     {"data", result.data},
                     {"where", result.where.empty() ? Json() : Json(result.where)},
                     {"rows", result.rows},
                     {"left_out", result.leftOut},
                     {"scored", result.scored},
                     {"incomplete", result.incomplete},
                     {"unseen_combinations", result.unseen},
                     {"not_finite", result.notFinite},
                     {"columns", columns},
                     {"interval", result.hasInterval},
                     {"confidence", result.confidence ? Json(*result.confidence) : Json()},
                     {"out", result.out},
                     {"warnings", result.warnings}};
  return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n";
}

}  // namespace qvhost
