#include <cstddef>
#include <string>
#include <variant>
#include <vector>

#include "host/TextLayout.h"
#include "host/report/HeadingLines.h"
#include "host/report/Report.h"
#include "host/report/SectionsText.h"
#include "host/report/TextTable.h"

namespace qvhost {

namespace {

constexpr std::size_t kIndent = 2;

/// Text of its own, continued below its beginning.
std::string Paragraph(std::string_view text, const TextStyle& style) {
  return Wrap(text, style.width, 0, kIndent) + "\n";
}

std::string TableText(const ReportTable& table, const TextStyle& style) {
  TextTable text(table.headings);
  for (const std::size_t first : table.groups) text.StartGroup(first);
  for (std::size_t i = 0; i < table.rows.size(); ++i) {
    if (table.omitted.count > 0 && i == table.omittedAt) {
      text.AddLine(Shown::OmissionText(table.omitted.count, table.omitted.things));
    }
    text.AddRow(table.rows[i]);
  }
  return text.Render(style);
}

std::string BlockText(const ReportBlock& block, const TextStyle& style) {
  if (const auto* table = std::get_if<ReportTable>(&block)) return TableText(*table, style);
  if (const auto* omission = std::get_if<ReportOmission>(&block)) {
    return Paragraph(Shown::OmissionText(omission->count, omission->things), style);
  }
  return Paragraph(std::get<std::string>(block), style);
}

std::string SectionText(const ReportSection& section, const TextStyle& style) {
  std::string text;
  if (!section.title.empty()) {
    text = style.Heading(Wrap(section.title, style.width, 0, kIndent)) +
           (section.isTight ? "\n" : "\n\n");
  }
  bool afterTable = false;
  for (std::size_t i = 0; i < section.blocks.size(); ++i) {
    const bool isTable = std::holds_alternative<ReportTable>(section.blocks[i]);
    if (i > 0 && (isTable || afterTable)) text += "\n";
    text += BlockText(section.blocks[i], style);
    afterTable = isTable;
  }
  return text;
}

std::string Notes(const ReportDocument& document, const TextStyle& style) {
  std::string notes;
  for (const std::string& remark : document.remarks) notes += NoteText(remark, style) + "\n";
  for (const std::string& warning : document.warnings) {
    notes += style.Warning(NoteText(warning, style)) + "\n";
  }
  return notes.empty() ? notes : "\n" + style.Heading("Notes") + "\n" + notes;
}

}  // namespace

ReportDetail DetailOf(const TextStyle& style) {
  ReportDetail detail;
  if (style.all) {
    detail.rows = kShownAll;
    detail.tables = kShownAll;
  }
  detail.digits = style.digits;
  return detail;
}

std::string SectionsText(const ReportSections& sections, const TextStyle& style) {
  std::string text;
  for (const ReportSection& section : sections) {
    if (!text.empty()) text += "\n";
    text += SectionText(section, style);
  }
  return text;
}

std::string TextReport(const FitResult& fit, const TextStyle& style) {
  const ReportDocument document = MakeReportDocument(fit, DetailOf(style));
  HeadingLines lines(style);
  for (const auto& [name, value] : document.lines) lines.Add(name, value);
  return style.Heading(document.title) + "\n\n" + lines.Text() + "\n" +
         SectionsText(document.sections, style) + Notes(document, style);
}

}  // namespace qvhost
