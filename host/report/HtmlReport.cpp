#include "host/report/HtmlReport.h"

#include <algorithm>
#include <array>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include <fmt/format.h>

#include "host/Sha256.h"
#include "host/Text.h"
#include "host/report/HeadingLines.h"
#include "host/report/HtmlTables.h"
#include "host/report/HtmlText.h"
#include "host/report/PageFiles.h"
#include "host/report/ReportDocument.h"
#include "host/report/ReportPlot.h"
#include "host/report/TextTable.h"

namespace qvhost {

namespace {

/// Sections and plots about one thing.
struct Part {
  std::string name;
  std::vector<const ReportSection*> sections;
  ReportPlots plots;
  bool isSideBySide = false;  ///< The plots, where the window is wide enough.

  /// The anchor: letters in lower case, and hyphens.
  [[nodiscard]] std::string Id() const {
    std::string id = Lower(name);
    std::ranges::replace(id, ' ', '-');
    return id;
  }
};

Part& PartOf(std::vector<Part>& parts, const std::string& name) {
  const auto found = std::ranges::find(parts, name, &Part::name);
  if (found != parts.end()) return *found;
  return parts.emplace_back(Part{name, {}, {}, false});
}

void InsertAfter(std::vector<Part>& parts, std::string_view name, Part added) {
  const auto found = std::ranges::find(parts, name, &Part::name);
  parts.insert(found == parts.end() ? found : found + 1, std::move(added));
}

std::vector<Part> PartsOf(const FitResult& fit, const ReportDocument& document) {
  std::vector<Part> parts;
  for (const ReportSection& section : document.sections) {
    PartOf(parts, section.part).sections.push_back(&section);
  }
  PartOf(parts, "Parameters").plots = ForestPlots(fit);
  if (fit.logistic) {
    Part& classification = PartOf(parts, "Classification");
    classification.plots = ClassificationPlots(fit);
    classification.isSideBySide = true;
  }
  if (fit.margins && !fit.margins->empty()) {
    PartOf(parts, "Marginal effects").plots = MarginPlots(fit);
  }
  if (fit.plots && fit.plots->linear) {
    InsertAfter(parts, "Fit", {"Residuals", {}, LinearPlotsOf(fit), false});
  }
  if (fit.plots && fit.plots->logistic) {
    PartOf(parts, "Fit").plots = IterationPlots(fit);
    InsertAfter(parts, "Classification",
                {"Quality of predictions", {}, PredictionPlots(fit), true});
  }
  std::erase_if(parts,
                [](const Part& part) { return part.sections.empty() && part.plots.empty(); });
  return parts;
}

/// The table of the parameters of a logistic model with its odds ratios and their limits in one
/// column, so that it is no wider than a page.
ReportTable WithOddsInOneColumn(ReportTable table) {
  constexpr std::size_t kOdds = 7;
  constexpr std::string_view kLow = " low";
  const std::string percent = table.headings[kOdds + 1];
  table.headings.resize(kOdds);
  table.headings.push_back(
      fmt::format("Odds ratio ({})", percent.substr(0, percent.size() - kLow.size())));
  for (std::vector<std::string>& row : table.rows) {
    std::string odds = row[kOdds];
    const std::string& low = row[kOdds + 1];
    const std::string& high = row[kOdds + 2];
    if (!low.empty() && !high.empty()) odds += fmt::format(" ({} to {})", low, high);
    row.resize(kOdds);
    row.push_back(std::move(odds));
  }
  return table;
}

bool HasOdds(const ReportTable& table) {
  return std::ranges::find(table.headings, "exp(est.)") != table.headings.end();
}

std::string BlockHtml(const ReportBlock& block) {
  if (const auto* table = std::get_if<ReportTable>(&block)) {
    return HtmlTable(HasOdds(*table) ? WithOddsInOneColumn(*table) : *table);
  }
  if (const auto* omission = std::get_if<ReportOmission>(&block)) return HtmlOmission(*omission);
  return fmt::format("<p>{}</p>\n", HtmlText(std::get<std::string>(block)));
}

std::string PlotHtml(const ReportPlot& plot, const std::string& id) {
  if (plot.spec.is_null()) {
    return fmt::format("<h3>{}</h3>\n<p class=\"facts\">{}</p>\n", HtmlText(plot.title),
                       HtmlText(plot.facts));
  }
  const nlohmann::json data = {{"spec", plot.spec}, {"columns", plot.columns}};
  const std::string json = data.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  return fmt::format(
      "<figure aria-labelledby=\"{0}\">\n<figcaption><h3 id=\"{0}\">{1}</h3>\n<p>{2}</p>"
      "</figcaption>\n<div class=\"plot\"><div class=\"drawing\" data-plot=\"{0}-data\" "
      "data-label=\"{3}\"></div></div>\n<p class=\"facts\">{4}</p>\n"
      "<script type=\"application/json\" id=\"{0}-data\">{5}</script>\n</figure>\n",
      id, HtmlText(plot.title), HtmlText(plot.aid), HtmlEscaped(plot.title + ". " + plot.facts),
      HtmlText(plot.facts), HtmlJson(json));
}

std::string PartHtml(const Part& part) {
  const std::string id = part.Id();
  std::string html =
      fmt::format("<section aria-labelledby=\"{0}\">\n<h2 id=\"{0}\">{1}</h2>\n", id, part.name);
  for (const ReportSection* section : part.sections) {
    for (const ReportBlock& block : section->blocks) html += BlockHtml(block);
  }
  const bool isSideBySide = part.isSideBySide && part.plots.size() > 1;
  if (isSideBySide) html += "<div class=\"pair\">\n";
  for (std::size_t i = 0; i < part.plots.size(); ++i) {
    html += PlotHtml(part.plots[i], fmt::format("{}-plot-{}", id, i + 1));
  }
  if (isSideBySide) html += "</div>\n";
  return html + "</section>\n";
}

/// What was fitted, as a list of names and what is said of them.
std::string LinesHtml(const ReportDocument& document) {
  std::string html = "<dl>\n";
  for (const auto& [name, value] : document.lines) {
    std::string text = value;
    std::ranges::replace(text, HeadingLines::kNoBreak, ' ');
    if (!name.empty()) html += fmt::format("<dt>{}</dt>", HtmlText(name));
    html += fmt::format("<dd>{}</dd>\n", HtmlText(text));
  }
  return html + "</dl>\n";
}

/// The share of the records fitted that are predicted right.
std::optional<double> CorrectShare(const LogisticFit& fit) {
  double total = 0.0;
  double correct = 0.0;
  for (std::size_t i = 0; i < fit.classification.size(); ++i) {
    correct += fit.classification[i].at(i);
    for (const double weight : fit.classification[i]) total += weight;
  }
  return total > 0.0 ? std::optional(correct / total) : std::nullopt;
}

/// What one looks for first.
std::string KeyHtml(const FitResult& fit) {
  constexpr int kDigits = 3;
  std::string text = fmt::format("{} record{} fitted", CountText(fit.records.used),
                                 fit.records.used == 1 ? "" : "s");
  const auto add = [&text](std::string_view name, const std::optional<double>& value) {
    if (value) text += fmt::format("\u00a0· {} {}", name, NumberText(value, kDigits));
  };
  const auto addTest = [&text](const char* name, const std::optional<double>& p) {
    if (!p) return;
    const std::string digits = ProbabilityText(p);
    text += fmt::format("\u00a0· {} p\u00a0{}", name,
                        digits.starts_with('<') ? digits : "=\u00a0" + digits);
  };
  const ValidationScore* score = fit.validation ? &fit.validation->score : nullptr;
  if (fit.logistic) {
    add("McFadden R square", fit.logistic->mcFadden);
    if (const std::optional<double> share = CorrectShare(*fit.logistic)) {
      text += fmt::format("\u00a0· {:.1f}% predicted right", 100.0 * *share);
    }
    addTest("likelihood-ratio test", fit.logistic->chiSquareP);
    if (score != nullptr && score->accuracy) {
      text += fmt::format("\u00a0· of {} held out {:.1f}% predicted right",
                          CountText(score->records), 100.0 * *score->accuracy);
    }
  } else {
    add("R square", fit.rSquare);
    addTest("F test", fit.quality.fP);
    if (score != nullptr && score->rSquare) {
      add(fmt::format("of {} held out R square", CountText(score->records)), score->rSquare);
    }
  }
  return fmt::format("<p class=\"key\">{}</p>\n", HtmlText(text));
}

std::string WarningsHtml(const ReportDocument& document) {
  if (document.warnings.empty()) return "";
  std::string html =
      "<section class=\"warnings\" aria-labelledby=\"warnings\">\n<h2 "
      "id=\"warnings\">Warnings</h2>\n<ul>\n";
  for (const std::string& warning : document.warnings) {
    html += fmt::format("<li>{}</li>\n", HtmlText(warning));
  }
  return html + "</ul>\n</section>\n";
}

std::string NotesHtml(const FitResult& fit, const ReportDocument& document) {
  std::string html;
  for (const std::string& remark : document.remarks) {
    html += fmt::format("<p class=\"remark\">{}</p>\n", HtmlText(remark));
  }
  if (!fit.plots) {
    html +=
        "<p class=\"remark\">Plots of the records are made while fitting: fit once more with "
        "<code>--report FILE.html</code> to have them.</p>\n";
  }
  return html;
}

std::string ContentsHtml(const std::vector<Part>& parts) {
  std::string html = "<nav aria-label=\"Contents\">\n<ul>\n";
  for (const Part& part : parts) {
    html += fmt::format("<li><a href=\"#{}\">{}</a></li>\n", part.Id(), part.name);
  }
  return html + "</ul>\n</nav>\n";
}

/// The bytes of hexadecimal digits in base 64.
std::string Base64OfHex(const std::string& hex) {
  constexpr std::string_view kLetters =
      "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  constexpr int kSix = 6;
  constexpr int kFour = 4;
  std::string text;
  unsigned bits = 0;
  int count = 0;
  for (const char digit : hex) {
    const auto value = static_cast<unsigned>(digit <= '9' ? digit - '0' : digit - 'a' + 10);
    bits = (bits << kFour) | value;
    count += kFour;
    if (count < kSix) continue;
    count -= kSix;
    text += kLetters[(bits >> count) & 63U];
  }
  if (count > 0) text += kLetters[(bits << (kSix - count)) & 63U];
  while (text.size() % kFour != 0) text += '=';
  return text;
}

/// The scripts that the page runs, none of which names a map of its source.
std::vector<std::string> Scripts(const PageFiles& files) {
  std::vector<std::string> scripts;
  for (const std::string_view library : files.libraries) {
    scripts.emplace_back(library.substr(0, library.find("\n//# sourceMappingURL=")));
  }
  scripts.emplace_back(files.script);
  return scripts;
}

/// Lets the page run its own scripts and load nothing. Vega and its companions set styles.
std::string Policy(const std::vector<std::string>& scripts) {
  std::string policy = "default-src 'none'; script-src";
  for (const std::string& script : scripts) {
    Sha256 hash;
    hash.Add(script);
    policy += fmt::format(" 'sha256-{}'", Base64OfHex(hash.Finish()));
  }
  return policy + "; style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'";
}

std::string Page(const FitResult& fit, const ReportDetail& detail) {
  const PageFiles files = EmbeddedPageFiles();
  const ReportDocument document = MakeReportDocument(fit, detail);
  const std::vector<Part> parts = PartsOf(fit, document);
  const std::vector<std::string> scripts = Scripts(files);
  const std::string title = document.title + " of " + Printable(fit.dependent);
  std::string html = fmt::format(
      "<!DOCTYPE html>\n<html lang=\"en\">\n<head>\n<meta charset=\"utf-8\">\n"
      "<meta http-equiv=\"Content-Security-Policy\" content=\"{}\">\n"
      "<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n"
      "<meta name=\"color-scheme\" content=\"light dark\">\n"
      "<meta name=\"generator\" content=\"qvreg {}\">\n<title>{}</title>\n<style>\n{}</style>\n",
      Policy(scripts), QVREG_VERSION, HtmlEscaped(title), files.style);
  for (const std::string_view licence : files.licences) {
    html += fmt::format("<!--\n{}-->\n", licence);
  }
  html += fmt::format(
      "</head>\n<body>\n<a class=\"skip\" href=\"#results\">Skip to the results</a>\n"
      "<header>\n<h1>{}</h1>\n{}{}</header>\n{}<main id=\"results\" tabindex=\"-1\">\n{}",
      HtmlText(title), KeyHtml(fit), LinesHtml(document), ContentsHtml(parts),
      WarningsHtml(document));
  html += NotesHtml(fit, document);
  for (const Part& part : parts) html += PartHtml(part);
  if (document.warnings.empty()) {
    html += "<p class=\"fine\">No numerical problems were found.</p>\n";
  }
  html += fmt::format("</main>\n<footer><p>Made by qvreg {}.</p></footer>\n", QVREG_VERSION);
  for (const std::string& script : scripts) html += "<script>" + script + "</script>\n";
  return html + "</body>\n</html>\n";
}

}  // namespace

std::string HtmlReport(const FitResult& fit, std::optional<int> digits) {
  constexpr std::array<std::size_t, 4> kRows = {1000, 300, 100, 30};
  std::string page;
  for (const std::size_t rows : kRows) {
    ReportDetail detail;
    detail.rows = {rows, rows, 0};
    detail.tables = {rows, rows, 0};
    detail.digits = digits;
    page = Page(fit, detail);
    if (page.size() <= kMostPageBytes) break;
  }
  return page;
}

}  // namespace qvhost
