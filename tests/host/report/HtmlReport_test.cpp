#include "host/report/HtmlReport.h"

#include <cstddef>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "tests/host/report/SampleFit.h"

namespace qvhost {
namespace {

/// How often a text stands in another.
std::size_t Count(std::string_view text, std::string_view part) {
  std::size_t count = 0;
  for (std::size_t at = text.find(part); at != std::string_view::npos;
       at = text.find(part, at + part.size())) {
    ++count;
  }
  return count;
}

/// What the page's plots are drawn of.
std::vector<nlohmann::json> PlotsIn(const std::string& page) {
  constexpr std::string_view kBegin = "<script type=\"application/json\"";
  std::vector<nlohmann::json> plots;
  for (std::size_t at = page.find(kBegin); at != std::string::npos; at = page.find(kBegin, at)) {
    at = page.find('>', at) + 1;
    plots.push_back(nlohmann::json::parse(page.substr(at, page.find("</script>", at) - at)));
  }
  return plots;
}

/// The page without the scripts and styles that every page has.
std::string Body(const std::string& page) {
  const std::size_t begin = page.find("<body>");
  return page.substr(begin, page.find("<script>", begin) - begin);
}

TEST(HtmlReport, SaysWhatWasFittedAndWarnsBeforeTheTables) {
  const std::string body = Body(HtmlReport(SampleFit()));
  EXPECT_NE(body.find("<h1>Linear model of y</h1>"), std::string::npos);
  EXPECT_NE(body.find("<dt>Formula</dt><dd>y ~ g*x</dd>"), std::string::npos);
  EXPECT_NE(body.find("<dd>90 left out for a missing value (g 40, x 60)</dd>"), std::string::npos)
      << "blanks at which no line is broken are blanks";
  const std::size_t warning = body.find("<li>Something is odd.</li>");
  EXPECT_LT(warning, body.find("<table>"));
  EXPECT_EQ(body.find("No numerical problems"), std::string::npos);
  FitResult fit = SampleFit();
  fit.warnings.clear();
  EXPECT_NE(HtmlReport(fit).find("No numerical problems were found."), std::string::npos);
}

TEST(HtmlReport, BeginsWithWhatOneLooksForFirst) {
  FitResult fit = SampleFit();
  EXPECT_NE(HtmlReport(fit).find("<p class=\"key\">1,100 records fitted\u00a0· R square 0.75</p>"),
            std::string::npos);
  fit.quality.fP = 0.25;
  EXPECT_NE(HtmlReport(fit).find("0.75\u00a0· F test p\u00a0=\u00a00.2500</p>"), std::string::npos);
  fit = SampleLogisticFit();
  const char* key =
      "<p class=\"key\">1,100 records fitted\u00a0· McFadden R square 0.1\u00a0· 57.5% predicted "
      "right\u00a0· "
      "likelihood-ratio test p\u00a0&lt;1e-16";
  EXPECT_NE(HtmlReport(fit).find(std::string(key) + "</p>"), std::string::npos);
  ValidationResult& validation = fit.validation.emplace();
  validation.score.records = 1234;
  validation.score.accuracy = 0.5;
  EXPECT_NE(HtmlReport(fit).find(std::string(key) +
                                 "\u00a0· of 1,234 held out 50.0% predicted right</p>"),
            std::string::npos);
}

TEST(HtmlReport, HasOddsRatiosAndTheirLimitsInOneColumn) {
  const std::string body = Body(HtmlReport(SampleLogisticFit()));
  EXPECT_NE(body.find("Odds ratio (90%)"), std::string::npos);
  EXPECT_NE(body.find("<td>0.2231 (0.09778 to 0.5092)</td></tr>"), std::string::npos);
  EXPECT_EQ(Count(body, ">90% low<"), 2U) << "of estimates alone, in each table";
}

TEST(HtmlReport, LoadsNothing) {
  const std::string page = HtmlReport(SampleFit());
  EXPECT_NE(page.find("content=\"default-src 'none'; script-src 'sha256-"), std::string::npos);
  EXPECT_EQ(Count(page.substr(0, page.find("</head>")), "'sha256-"), 4U);
  for (const char* loads : {" src=", "<link", "@import", "url(http", "sourceMappingURL"}) {
    EXPECT_EQ(Body(page).find(loads), std::string::npos) << loads;
  }
  EXPECT_EQ(page.find("sourceMappingURL="), std::string::npos);
}

TEST(HtmlReport, NamesAreNeverMarkup) {
  FitResult fit = SampleFit();
  const std::string wild = "</script><script>alert(1)</script><img src=x>\"'&";
  fit.dependent = wild;
  fit.formula = wild;
  fit.warnings = {wild};
  fit.parameters[1].label = wild;
  const std::string page = HtmlReport(fit);
  const std::string plain = HtmlReport(SampleFit());
  EXPECT_EQ(Count(page, "<script"), Count(plain, "<script"));
  EXPECT_EQ(Count(page, "</script"), Count(plain, "</script"));
  EXPECT_EQ(Body(page).find("<img"), std::string::npos);
  EXPECT_NE(page.find("&lt;/script&gt;&lt;script&gt;alert(1)"), std::string::npos);
  ASSERT_EQ(PlotsIn(page).size(), 1U);
  EXPECT_EQ(PlotsIn(page)[0]["columns"]["name"][0], wild);
}

TEST(HtmlReport, TellsHowToGetPlotsOfRecords) {
  FitResult fit = SampleFit();
  EXPECT_NE(HtmlReport(fit).find("fit once more with"), std::string::npos);
  fit.plots.emplace().linear.emplace().residuals.cells = {{1.0, 2.0}, {2.0, -2.0}};
  const std::string page = HtmlReport(fit);
  EXPECT_EQ(page.find("fit once more with"), std::string::npos);
  EXPECT_EQ(PlotsIn(page).size(), 2U);
  EXPECT_LT(page.find("<h2 id=\"fit\">"), page.find("<h2 id=\"residuals\">"));
}

TEST(HtmlReport, HoldsFewerRowsWhereThePageWouldBeTooLarge) {
  FitResult fit = SampleFit();
  const ParameterResult cell = fit.parameters[1];
  for (std::size_t i = fit.parameters.size(); i < 1000; ++i) fit.parameters.push_back(cell);
  EXPECT_EQ(HtmlReport(fit).find("left out of this page"), std::string::npos);
  fit.parameters.push_back(cell);
  EXPECT_NE(HtmlReport(fit).find("1 more parameters are left out of this page"), std::string::npos);
  for (ParameterResult& parameter : fit.parameters) parameter.label = std::string(600, 'g');
  const std::string page = HtmlReport(fit);
  EXPECT_LE(page.size(), kMostPageBytes);
  EXPECT_NE(page.find("701 more parameters are left out of this page"), std::string::npos);
}

TEST(HtmlReport, HasEveryTableOfTheLevels) {
  const std::string body = Body(HtmlReport(SampleLogisticFit()));
  EXPECT_NE(body.find("Estimates, tests and limits: y = high against mid"), std::string::npos);
  EXPECT_NE(body.find("Estimates, tests and limits: y = low against mid"), std::string::npos);
  EXPECT_EQ(Count(body, "<caption>"), Count(body, "</table>"));
  EXPECT_EQ(Count(body, "<h2"), Count(body, "<li><a href=\"#") + 1U) << "and the warnings";
}

}  // namespace
}  // namespace qvhost
