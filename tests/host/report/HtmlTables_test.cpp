#include "host/report/HtmlTables.h"

#include <gtest/gtest.h>

namespace qvhost {
namespace {

ReportTable Sample() {
  ReportTable table{"Of <b>", {"Name", "", "p"}};
  table.rows = {{"a", "reference", "0.5"}, {"b", "", "<1e-16"}, {"Sum", "", "1"}};
  table.totals = 1;
  return table;
}

TEST(HtmlTable, HasACaptionHeadingsThatSortAndTotalsApart) {
  EXPECT_EQ(HtmlTable(Sample()),
            R"(<div class="table" role="region" tabindex="0" aria-label="Table: Of &lt;b&gt;">
<table>
<caption><span>Of &lt;b&gt;</span></caption>
<thead><tr><th scope="col"><button type="button">Name</button></th><td></td><th scope="col"><button type="button">p</button></th></tr></thead>
<tbody>
<tr><th scope="row">a</th><td>reference</td><td>0.5</td></tr>
<tr><th scope="row">b</th><td></td><td>&lt;1e-16</td></tr>
</tbody>
<tfoot>
<tr><th scope="row">Sum</th><td></td><td>1</td></tr>
</tfoot>
</table>
</div>
)");
}

TEST(HtmlTable, BreaksNamesBetweenTheirParts) {
  ReportTable table = Sample();
  table.rows[0][0] = "a=<:b";
  EXPECT_NE(HtmlTable(table).find("<th scope=\"row\">a=<wbr>&lt;:<wbr>b</th>"), std::string::npos);
}

TEST(HtmlTable, SortsNoSingleRow) {
  ReportTable table = Sample();
  table.rows.erase(table.rows.begin());
  EXPECT_EQ(HtmlTable(table).find("<button"), std::string::npos);
}

TEST(HtmlTable, SaysHowManyRowsItLeavesOut) {
  ReportTable table = Sample();
  EXPECT_EQ(HtmlTable(table).find("left out"), std::string::npos);
  table.omitted = {1234, "parameters"};
  EXPECT_NE(HtmlTable(table).find("1,234 more parameters are left out of this page"),
            std::string::npos);
}

}  // namespace
}  // namespace qvhost
