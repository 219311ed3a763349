#include "host/report/HtmlTables.h"

#include <cstddef>
#include <vector>

#include <fmt/format.h>

#include "host/report/HtmlText.h"
#include "host/report/TextTable.h"

namespace qvhost {

namespace {

/// Tables of fewer rows have nothing to sort.
constexpr std::size_t kFewestSorted = 2;

std::string Headings(const ReportTable& table) {
  const bool sorts = table.rows.size() - table.totals >= kFewestSorted;
  std::string html = "<thead><tr>";
  for (const std::string& heading : table.headings) {
    if (heading.empty()) {
      html += "<td></td>";
    } else if (sorts) {
      html += fmt::format("<th scope=\"col\"><button type=\"button\">{}</button></th>",
                          HtmlText(heading));
    } else {
      html += fmt::format("<th scope=\"col\">{}</th>", HtmlText(heading));
    }
  }
  return html + "</tr></thead>\n";
}

/// A name that may be broken between its parts, as on a phone.
std::string Name(const std::string& name) {
  std::string html;
  for (const char c : HtmlText(name)) {
    html += c;
    if (c == ':' || c == '=') html += "<wbr>";
  }
  return html;
}

std::string Row(const std::vector<std::string>& cells) {
  std::string html = fmt::format("<tr><th scope=\"row\">{}</th>", Name(cells.front()));
  for (std::size_t i = 1; i < cells.size(); ++i) {
    html += fmt::format("<td>{}</td>", HtmlText(cells[i]));
  }
  return html + "</tr>\n";
}

}  // namespace

std::string HtmlOmission(const ReportOmission& omission) {
  return fmt::format(
      "<p class=\"omitted\">{} more {} are left out of this page; the JSON of the fit has them "
      "all.</p>\n",
      CountText(static_cast<long long>(omission.count)), HtmlText(omission.things));
}

std::string HtmlTable(const ReportTable& table) {
  const std::size_t end = table.rows.size() - table.totals;
  std::string html = fmt::format(
      "<div class=\"table\" role=\"region\" tabindex=\"0\" aria-label=\"Table: {}\">\n"
      "<table>\n<caption><span>{}</span></caption>\n",
      HtmlEscaped(table.caption), HtmlText(table.caption));
  html += Headings(table) + "<tbody>\n";
  for (std::size_t i = 0; i < end; ++i) html += Row(table.rows[i]);
  html += "</tbody>\n";
  if (table.totals > 0) {
    html += "<tfoot>\n";
    for (std::size_t i = end; i < table.rows.size(); ++i) html += Row(table.rows[i]);
    html += "</tfoot>\n";
  }
  html += "</table>\n</div>\n";
  return table.omitted.count > 0 ? html + HtmlOmission(table.omitted) : html;
}

}  // namespace qvhost
